#include "record/story.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "command/words.h"

namespace record {
namespace {

using Kind = StoryStep::Kind;
using iosapp_def_::ConnectStatusNotify;

bool isOneOf(const std::string& word, std::initializer_list<const char*> words) {
  return std::any_of(words.begin(), words.end(), [&word](const char* one) { return word == one; });
}

std::string baseName(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

// An option and its value are one word, `--option=VALUE`, or two.
std::string optionIn(const std::string& word) {
  return word.substr(0, word.find('='));
}

// Of the option at `at`, which is moved to the value's word.
std::string takeValue(const std::vector<std::string>& words, std::size_t& at) {
  const std::size_t equals = words[at].find('=');
  if (equals != std::string::npos) {
    return words[at].substr(equals + 1);
  }
  return at + 1 < words.size() ? words[++at] : "";
}

// What came of such a command is in the recording, and is done once more.
bool isRecorded(const std::string& command) {
  std::vector<command::Word> words;
  std::size_t end = 0;
  command::Mistake mistake;
  return command::splitWords(command, words, end, mistake) && !words.empty() &&
         isOneOf(words[0].text, {"launch", "send", "send-hex", "send-file", "burst", "echo"});
}

// The tool starts itself by the kernel's name of its own file.
void readCommand(StoryProcess& process) {
  std::vector<command::Word> words;
  std::size_t end = 0;
  command::Mistake mistake;
  if (!command::splitWords(process.command, words, end, mistake) || words.size() < 2 ||
      !isOneOf(baseName(words[0].text), {"linkapp", "exe"}) || words[1].text != "app") {
    return;
  }
  process.isTool = true;
  std::vector<std::string> arguments;
  for (std::size_t i = 2; i < words.size(); ++i) {
    arguments.push_back(words[i].text);
  }
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string option = optionIn(arguments[i]);
    if (option == "--control") {
      takeValue(arguments, i);
    } else if (!isOneOf(option, {"--json", "--commands", "--quiet"})) {
      process.arguments.push_back(arguments[i]);
    }
    process.sendsByItself = process.sendsByItself || isOneOf(option, {"--send", "--file", "--generate"});
    process.launchesByItself = process.launchesByItself || option == "--launch";
  }
  process.launchesByItself = process.launchesByItself || process.sendsByItself;
}

// A step and its place among the entries: twice the index, so that something fits between two.
struct Placed {
  std::size_t place = 0;
  StoryStep step;
};

class Teller {
 public:
  explicit Teller(const Recording& recording) : items_(recording.items) {}

  Story tell() {
    for (index_ = 0; index_ < items_.size(); ++index_) {
      take(items_[index_]);
    }
    for (std::size_t i = 0; i < story_.processes.size(); ++i) {
      addEnd(i);
    }
    std::stable_sort(placed_.begin(), placed_.end(),
                     [](const Placed& a, const Placed& b) { return a.place < b.place; });
    std::uint64_t time = 0;
    for (Placed& placed : placed_) {
      const bool isOfChannel = isPart_.count(placed.step.process) != 0;
      time = std::max(time, placed.step.isBefore ? 0 : placed.step.time);
      placed.step.time = time;
      if (isOfChannel) {
        story_.steps.push_back(std::move(placed.step));
      }
    }
    return std::move(story_);
  }

 private:
  // What is known of a process beside the story.
  struct Life {
    std::optional<std::size_t> lastMessage;  // indexes of entries
    std::optional<std::size_t> end;
    std::uint64_t endTime = 0;
    std::optional<std::uint64_t> position;
    bool isLastForNobody = false;
    bool hasLeft = false;  // the table of receivers
    bool isStopped = false;
  };

  void take(const Recording::Item& item) {
    if (item.where.isRepeated && index_ > firstNews()) {
      return;  // behind damage: it was said before
    }
    if (const auto* const process = std::get_if<ProcessSeen>(&item.entry)) {
      takeProcess(*process);
    } else if (const auto* const receiver = std::get_if<ReceiverSeen>(&item.entry)) {
      const std::size_t index = processOf(receiver->pid, receiver->time);
      isPart_.insert(index);
      lives_[index].hasLeft = receiver->isGone;
    } else if (const auto* const taken = std::get_if<Taken>(&item.entry)) {
      for (const auto& [pid, position] : taken->positions) {
        lives_[processOf(pid, taken->time)].position = position;
      }
    } else if (const auto* const app = std::get_if<AppSeen>(&item.entry)) {
      takeApp(*app);
    } else if (const auto* const gap = std::get_if<Gap>(&item.entry)) {
      const bool isLoss = gap->kind == Gap::Kind::kOverwritten || gap->kind == Gap::Kind::kDamaged;
      story_.missed += isLoss ? gap->count : 0;
    } else if (const auto* const seen = std::get_if<MessageSeen>(&item.entry)) {
      takeMessage(*seen);
    }
  }

  // The first entry that is not repeated; before it stands what holds.
  std::size_t firstNews() const {
    const auto found =
        std::find_if(items_.begin(), items_.end(), [](const Recording::Item& item) { return !item.where.isRepeated; });
    return static_cast<std::size_t>(found - items_.begin());
  }

  std::size_t processOf(std::uint32_t pid, std::uint64_t time) {
    const auto known = byPid_.find(pid);
    if (known != byPid_.end()) {
      return known->second;
    }
    StoryProcess process;
    process.pid = pid;
    story_.processes.push_back(process);
    lives_.emplace_back();
    const std::size_t index = story_.processes.size() - 1;
    byPid_[pid] = index;
    StoryStep begin;
    begin.kind = Kind::kBegin;
    begin.time = time;
    begin.process = index;
    place(2 * index_, begin);
    return index;
  }

  void takeProcess(const ProcessSeen& seen) {
    const auto known = byPid_.find(seen.pid);
    if (known != byPid_.end() && lives_[known->second].end && !seen.isGone()) {
      byPid_.erase(known);  // the number is in use again
    }
    const std::size_t index = processOf(seen.pid, seen.time);
    StoryProcess& process = story_.processes[index];
    if (process.command.empty()) {
      process.name = seen.name;
      process.command = seen.command;
      readCommand(process);
    }
    Life& life = lives_[index];
    if (seen.isGone()) {
      life.end = life.end ? life.end : index_;
      life.endTime = seen.time;
    } else if (seen.isStopped() != life.isStopped) {
      life.isStopped = seen.isStopped();
      StoryStep step;
      step.kind = life.isStopped ? Kind::kStop : Kind::kContinue;
      step.time = seen.time;
      step.process = index;
      place(2 * index_, step);
    }
  }

  void takeApp(const AppSeen& seen) {
    if (!seen.isValid || story_.app(seen.appId()) != nullptr || seen.owner == 0) {
      return;
    }
    const auto owner = byPid_.find(seen.owner);
    if (owner == byPid_.end()) {
      return;  // it ended before the recording began
    }
    StoryStep step;
    step.kind = Kind::kRegister;
    step.time = seen.time;
    step.process = owner->second;
    step.app = {seen.appId(), seen.appName, seen.launchString, seen.iAP1Name};
    isPart_.insert(step.process);
    story_.apps.push_back(step.app);
    place(2 * index_, step);
  }

  void takeMessage(const MessageSeen& seen) {
    const inspect::Message& message = seen.message;
    if (seen.isBefore && byPid_.count(message.pid) == 0) {
      StoryProcess former;  // who said it has ended; what he said holds
      former.pid = message.pid;
      former.isDeviceSide = true;
      story_.processes.push_back(former);
      lives_.emplace_back();
      byPid_[message.pid] = story_.processes.size() - 1;
    }
    const std::size_t process = processOf(message.pid, message.time);
    if (!seen.isBefore) {
      lives_[process].lastMessage = index_;
      lives_[process].isLastForNobody = message.isForNobody;
      sequences_.emplace_back(message.sequence, index_);
    }
    StoryStep step;
    step.time = message.time;
    step.sequence = message.sequence;
    step.process = process;
    step.isBefore = seen.isBefore;
    if (const auto status = connectStatusOf(message)) {
      addStatus(*status, step);
    } else if (const auto announcement = announcementOf(message)) {
      step.kind = message.id == inspect::kIdFromHU ? Kind::kSend : Kind::kData;
      step.app.appId = announcement->appId;
      step.bytes = seen.content.bytes;
      step.areBytesKnown = seen.content.state == inspect::RingContent::State::kCertain;
      add(step);
    }
  }

  void addStatus(const ConnectStatusNotify& status, StoryStep step) {
    constexpr Kind kKinds[] = {Kind::kLaunch, Kind::kConnection, Kind::kSession,
                               Kind::kResult, Kind::kHandsFree,  Kind::kPlaying};
    if (status.notifyType < std::size(kKinds)) {
      step.kind = kKinds[status.notifyType];
      step.status = status;
      step.app.appId = status.appId;
      add(step);
    }
  }

  void add(const StoryStep& step) {
    isPart_.insert(step.process);
    if (step.kind != Kind::kLaunch && step.kind != Kind::kSend) {
      story_.processes[step.process].isDeviceSide = true;
    }
    place(2 * index_, step);
  }

  // When its end was noticed it may have been over for a while. Who leaves in order posts a message for nobody and
  // gives his place back; of who is killed the table keeps how far he had read, until somebody takes the place.
  void addEnd(std::size_t index) {
    const Life& life = lives_[index];
    if (!life.end) {
      return;
    }
    StoryProcess& process = story_.processes[index];
    process.wasKilled = !life.hasLeft || !life.isLastForNobody;
    StoryStep step;
    step.kind = Kind::kEnd;
    step.time = life.endTime;
    step.process = index;
    std::size_t at = 2 * *life.end;
    if (process.wasKilled && life.position) {
      const auto unread = std::find_if(sequences_.begin(), sequences_.end(),
                                       [&life](const auto& one) { return one.first >= *life.position; });
      at = unread == sequences_.end() ? at : std::min(at, 2 * unread->second);
    } else if (life.lastMessage) {
      at = 2 * *life.lastMessage + 1;
    }
    if (life.lastMessage) {
      at = std::max(at, 2 * *life.lastMessage + 1);
    }
    place(at, step);
  }

  void place(std::size_t at, const StoryStep& step) { placed_.push_back({at, step}); }

  const std::vector<Recording::Item>& items_;
  std::size_t index_ = 0;
  Story story_;
  std::vector<Placed> placed_;
  std::vector<Life> lives_;  // as the story's processes
  std::map<std::uint32_t, std::size_t> byPid_;
  std::set<std::size_t> isPart_;
  std::vector<std::pair<std::uint64_t, std::size_t>> sequences_;  // of messages, and their entries
};

}  // namespace

std::vector<std::string> StoryProcess::valuesOf(const std::string& option) const {
  std::vector<std::string> values;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    if (optionIn(arguments[i]) == option) {
      values.push_back(takeValue(arguments, i));
    }
  }
  return values;
}

bool StoryProcess::hasPart(const std::string& part) const {
  const std::vector<std::string> lists = valuesOf("--listen");
  if (lists.empty()) {
    return part != "device-status";
  }
  return std::any_of(lists.begin(), lists.end(), [&part](const std::string& list) {
    return ("," + list + ",").find("," + part + ",") != std::string::npos;
  });
}

const StoryApp* Story::app(std::uint32_t appId) const {
  const auto found =
      std::find_if(apps.begin(), apps.end(), [appId](const StoryApp& app) { return app.appId == appId; });
  return found == apps.end() ? nullptr : &*found;
}

std::vector<std::string> Story::argumentsFor(std::size_t process) const {
  std::vector<std::string> words;
  if (processes[process].isTool) {
    const std::vector<std::string>& all = processes[process].arguments;
    for (std::size_t i = 0; i < all.size(); ++i) {
      const std::size_t begin = i;
      const std::string option = optionIn(all[i]);
      const bool isSending = isOneOf(option, {"--send", "--file", "--generate", "--expect", "--patience"});
      const std::string value = isSending || option == "--do" ? takeValue(all, i) : "";
      if (!isSending && !isRecorded(value)) {
        words.insert(words.end(), all.begin() + static_cast<std::ptrdiff_t>(begin),
                     all.begin() + static_cast<std::ptrdiff_t>(i + 1));
      }
    }
    if (processes[process].sendsByItself) {
      words.emplace_back("--launch");
    }
    return words;
  }
  const auto registered = std::find_if(steps.begin(), steps.end(), [process](const StoryStep& step) {
    return step.kind == Kind::kRegister && step.process == process;
  });
  if (registered == steps.end()) {
    return {"--listen", "device-status,hands-free,playback"};
  }
  const StoryApp& app = registered->app;
  words = {"--listen", "app", "--name", app.name, "--launch-string", app.launchString};
  if (!app.iAP1Name.empty()) {
    words.insert(words.end(), {"--iap1", app.iAP1Name});
  }
  return words;
}

// The first one since the phone was connected, or since it began itself.
bool Story::isLaunchByItself(std::size_t step) const {
  const std::size_t process = steps[step].process;
  if (!processes[process].launchesByItself) {
    return false;
  }
  for (std::size_t i = step; i-- > 0;) {
    if (steps[i].kind == Kind::kLaunch && steps[i].process == process) {
      return false;
    }
    if (steps[i].kind == Kind::kConnection && steps[i].status.connectStatus != 1) {
      return true;
    }
  }
  return true;
}

Story tellStory(const Recording& recording) {
  return Teller(recording).tell();
}

}  // namespace record
