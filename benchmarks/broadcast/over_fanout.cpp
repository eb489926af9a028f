#include <stdexcept>

#include "benchmarks/broadcast/broadcast.h"
#include "benchmarks/support/shared_page.h"
#include "benchmarks/support/stage.h"

namespace bench {
namespace {

void send(Fanout& fanout, const BroadcastJob& job, BroadcastPage& page) {
  fanout.openSender();
  page.crew.join();
  page.open.advance();
  page.open.waitFor(job.plan.receivers + 1);
  BroadcastSender(page, job).run(
      [&fanout](const std::vector<unsigned char>& message) { fanout.send(message.data(), message.size()); });
}

void receive(Fanout& fanout, unsigned int index, const BroadcastJob& job, BroadcastPage& page) {
  fanout.openReceiver(index);
  page.crew.join();
  page.open.advance();
  unsigned char buffer[kMaxFanoutMessage] = {};
  for (;;) {
    const std::size_t size = fanout.receive(buffer);
    page.arrive(index);
    if (!isWhole(job, buffer, size)) {
      throw std::runtime_error("a message is damaged");
    }
  }
}

}  // namespace

BroadcastFigures broadcastOf(const FanoutKind& kind, const BroadcastJob& job) {
  const std::unique_ptr<Fanout> fanout = kind.make(job.plan);
  SharedPage<BroadcastPage> page;
  std::vector<Role> roles = {{"sender", job.placement.sender, [&] { send(*fanout, job, *page); }}};
  for (unsigned int i = 0; i < job.plan.receivers; ++i) {
    roles.push_back({"receiver", job.placement.receiver, [&, i] { receive(*fanout, i, job, *page); }, true});
  }
  runOnStage([&] { fanout->prepare(job.placement.receiver); }, roles);
  return page->figures;
}

}  // namespace bench
