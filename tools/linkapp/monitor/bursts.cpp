#include "monitor/bursts.h"

#include <algorithm>

namespace monitor {

void Bursts::add(const inspect::Loss& loss, std::uint64_t now) {
  const auto [entry, isNew] = open_.try_emplace({loss.kind, loss.app, loss.pid, loss.ring});
  Burst& burst = entry->second;
  if (isNew) {
    burst.first = loss;
    burst.beginTime = now;
  } else {
    burst.first.count += loss.count;
  }
  burst.lastSequence = std::max(burst.lastSequence, loss.sequence);
  burst.lastTime = now;
}

std::vector<Burst> Bursts::takeOver(std::uint64_t now) {
  std::vector<Burst> over;
  for (auto entry = open_.begin(); entry != open_.end();) {
    const Burst& burst = entry->second;
    const bool isOver = now - burst.lastTime >= kSilence || now - burst.beginTime >= kLongest;
    if (isOver) {
      over.push_back(burst);
    }
    entry = isOver ? open_.erase(entry) : std::next(entry);
  }
  return over;
}

std::vector<Burst> Bursts::takeAll() {
  std::vector<Burst> all;
  for (const auto& entry : open_) {
    all.push_back(entry.second);
  }
  open_.clear();
  return all;
}

}  // namespace monitor
