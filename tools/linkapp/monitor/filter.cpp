#include "monitor/filter.h"

#include <algorithm>

namespace monitor {
namespace {

constexpr const char* kPrefix = "NOTIFYID_";

bool has(const std::vector<std::string>& list, const std::string& entry) {
  return std::find(list.begin(), list.end(), entry) != list.end();
}

std::string withoutPrefix(const std::string& kind) {
  return kind.rfind(kPrefix, 0) == 0 ? kind.substr(std::char_traits<char>::length(kPrefix)) : kind;
}

}  // namespace

const std::vector<std::string>& kindNames() {
  static const auto* const names = [] {
    auto* const all = new std::vector<std::string>;
    for (std::uint32_t type = iosapp_def_::NOTIFYID_APPLAUNCH; type <= iosapp_def_::NOTIFYID_PLAYBACKAPPINFO; ++type) {
      all->push_back(withoutPrefix(inspect::kindName(type)));
    }
    for (const std::uint32_t id : {inspect::kIdFromHU, inspect::kIdFromDevice, inspect::kIdAppInfo}) {
      all->emplace_back(inspect::identifierName(id));
    }
    all->emplace_back("registrations");
    return all;
  }();
  return *names;
}

bool Filter::isWanted(std::uint32_t app, const Watch& watch) const {
  return app != 0 && (has(apps, std::to_string(app)) || has(apps, watch.appName(app)));
}

bool Filter::passes(const inspect::Message& message, const Watch& watch) const {
  const bool isKind = kinds.empty() || has(kinds, withoutPrefix(nameOf(message)));
  const bool isId = ids.empty() || (!message.isForNobody && std::find(ids.begin(), ids.end(), message.id) != ids.end());
  return isKind && isId && (apps.empty() || (!message.isForNobody && isWanted(appOf(message), watch)));
}

bool Filter::passes(const inspect::Loss& loss, const Watch& watch) const {
  return apps.empty() || loss.app == 0 || isWanted(loss.app, watch);
}

}  // namespace monitor
