#include "scenario/actor.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "text/file.h"

namespace scenario {
namespace {

constexpr std::size_t kShown = 12;

// The value of a text field; empty where it is not there.
std::string textField(const nlohmann::json& object, const char* name) {
  const auto field = object.find(name);
  return field != object.end() && field->is_string() ? field->get<std::string>() : "";
}

}  // namespace

void Actor::begin(const std::string& log) {
  log_ = log.empty() ? std::ofstream() : text::openLog(log, !wasStarted());
  player_.reset();
  told_.clear();
  taken_ = 0;
  replies_.clear();
  ending_.reset();
  isEndAllowed_ = false;
}

void Actor::onLine(const std::string& line) {
  if (log_.is_open()) {
    log_ << line << '\n' << std::flush;
  }
  if (!line_.kind->speaksJson) {
    note({"line", text::toJson({{"text", line}})});
    return;
  }
  const nlohmann::json object = nlohmann::json::parse(line, nullptr, false);
  if (object.is_object() && object.contains("reply")) {
    replies_.push_back(line);
  } else if (object.is_object() && !textField(object, "event").empty()) {
    note({textField(object, "event"), line});
  } else {
    note({"problem", text::toJson({{"text", line}})});
  }
}

void Actor::note(Told told) {
  for (const Forbidden& forbidden : forbidden_) {
    if (offence_.empty() && told.event == forbidden.event && holds(told.json, forbidden.conditions)) {
      offence_ = told.json;
    }
  }
  told_.push_back(std::move(told));
}

void Actor::onEnded(const loop::Ending& ending) {
  ending_ = ending;
}

bool Actor::takeEvent(const std::string& event, const std::vector<Condition>& conditions) {
  for (std::size_t i = taken_; i < told_.size(); ++i) {
    if (told_[i].event == event && holds(told_[i].json, conditions)) {
      taken_ = i + 1;
      return true;
    }
  }
  return false;
}

std::string Actor::tellNearest(const std::string& event, const std::vector<Condition>& conditions) const {
  std::string all;
  for (std::size_t i = taken_; i < told_.size(); ++i) {
    std::string why;
    if (told_[i].event == event && !holds(told_[i].json, conditions, &why)) {
      all = "\n  nearest: " + why;
    }
  }
  const std::size_t begin = std::max(taken_, told_.size() - std::min(told_.size(), kShown));
  all += begin == told_.size() ? "\n  since then it has told nothing" : "\n  since then it has told:";
  for (std::size_t i = begin; i < told_.size(); ++i) {
    all += "\n    " + told_[i].json;
  }
  return all;
}

std::optional<std::string> Actor::takeReply() {
  if (replies_.empty()) {
    return std::nullopt;
  }
  std::string reply = std::move(replies_.front());
  replies_.pop_front();
  return reply;
}

}  // namespace scenario
