#include "bundle/contents.h"

#include <sys/utsname.h>

#include <algorithm>
#include <cstdio>
#include <map>

#include "doctor/checks.h"
#include "doctor/files.h"
#include "doctor/report.h"
#include "inspect/log_reader.h"
#include "inspect/message.h"
#include "inspect/status_json.h"
#include "inspect/status_text.h"
#include "platform/reference/message_log_layout.h"

namespace bundle {
namespace {

constexpr const char* kLeftOut = "(left out)";

std::string hexadecimal(const std::vector<std::uint8_t>& bytes) {
  std::string text;
  char two[3];
  for (const std::uint8_t byte : bytes) {
    snprintf(two, sizeof two, "%02x", byte);
    text += two;
  }
  return text;
}

std::string readMe(bool hasPayloads) {
  return std::string("What `linkapp bundle` saw of the channel.\n\n") +
         "versions.txt           tool, libraries, kernel, system\n"
         "status.txt, .json      the channel (`linkapp status`)\n"
         "doctor.txt, .json      what is wrong (`linkapp doctor`)\n"
         "notifications.jsonl    the notifications that were still in the log, oldest first\n"
         "maps/PID.txt           what the processes of the channel have mapped\n" +
         (hasPayloads ? "rings.jsonl            the slots of both rings\n\n"
                        "Payloads are in it: what applications and phones have sent each other.\n"
                      : "\nPayloads were left out: no bytes of the rings, no texts and addresses of notifications, no\n"
                        "arguments of command lines. Names and launch strings of applications are in it.\n");
}

std::string systemName(const std::string& root) {
  const std::string release = doctor::contentOf(root + "/etc/os-release", 65536);
  const std::string key = "PRETTY_NAME=";
  const std::size_t at = release.find(key);
  if (at == std::string::npos) {
    return "unknown";
  }
  const std::size_t begin = at + key.size();
  return release.substr(begin, release.find('\n', begin) - begin);
}

std::string versions(const doctor::Examination& all, const std::string& root) {
  utsname kernel = {};
  uname(&kernel);
  std::string text = "linkapp " LINKAPP_VERSION "\n";
  text += std::string("kernel ") + kernel.sysname + " " + kernel.release + " " + kernel.version + " " + kernel.machine +
          "\n";
  text += "system " + systemName(root) + "\n";
  text += "log layout " + std::to_string(vqframework::kMessageLogVersion) + "\n";
  std::map<std::string, std::string> libraries;  // words to pids
  for (const doctor::ChannelProcess& process : all.system.processes) {
    for (const doctor::Library& library : process.libraries) {
      const std::string build = library.buildId.empty() ? "unknown" : library.buildId;
      std::string& users = libraries[text::quoted(library.path) + " build " + build];
      users += " " + std::to_string(process.process.pid);
    }
  }
  for (const auto& library : libraries) {
    text += "library " + library.first + " in" + library.second + "\n";
  }
  return text;
}

// Numbers stay; what is a text was written by somebody.
text::Fields withoutTexts(const text::Fields& fields) {
  text::Fields kept;
  std::copy_if(fields.begin(), fields.end(), std::back_inserter(kept), [](const text::Field& field) {
    return !std::holds_alternative<std::string>(field.value.get()) && field.value.list() == nullptr &&
           field.value.fields() == nullptr;
  });
  return kept;
}

std::string notifications(const doctor::Places& places, bool hasPayloads) {
  const inspect::LogReader log(places.channel.folder);
  std::vector<inspect::Message> messages;
  if (log.isUsable()) {
    const std::uint64_t head = log.head();
    log.read(inspect::LogReader::oldest(head), head, vqframework::kSlotCount, messages);
  }
  std::string lines;
  for (const inspect::Message& message : messages) {
    const text::Fields fields = fieldsOf(message);
    lines += text::toJson({{"sequence", message.sequence},
                           {"time", message.time},
                           {"pid", message.pid},
                           {"id", message.id},
                           {"name", nameOf(message)},
                           {"size", message.size},
                           {"fields", hasPayloads ? fields : withoutTexts(fields)}}) +
             "\n";
  }
  return lines;
}

std::string rings(const doctor::Places& places) {
  std::string lines;
  for (const char* const name : {inspect::kFromHUSegment, inspect::kFromDeviceSegment}) {
    const inspect::Object object(places.channel.folder, name);
    const inspect::Bytes bytes = object.copyStable(0, inspect::kSizeWordBytes + inspect::recordBytesOf(name)).bytes;
    for (std::uint32_t slot = 0; slot < iOSAppCommonDataList::kSlotCount; ++slot) {
      const std::size_t begin = inspect::kSizeWordBytes + slot * sizeof(iOSAppCommonDataSlot);
      const auto size = bytes.at<std::uint32_t>(begin + iOSAppCommonDataList::kSlotBytes);
      if (size != 0 && size <= iOSAppCommonDataList::kSlotBytes) {
        lines +=
            text::toJson(
                {{"ring", name}, {"slot", slot}, {"size", size}, {"bytes", hexadecimal(bytes.part(begin, size))}}) +
            "\n";
      }
    }
  }
  return lines;
}

void dropArguments(inspect::Process& process) {
  process.command = process.command.substr(0, process.command.find(' '));
}

inspect::Snapshot withoutPayloads(inspect::Snapshot snapshot) {
  for (inspect::ReceiverView& receiver : snapshot.receivers) {
    dropArguments(receiver.process);
  }
  for (inspect::AppView& app : snapshot.apps) {
    if (app.owner) {
      dropArguments(*app.owner);
    }
  }
  for (inspect::Process& holder : snapshot.holders) {
    dropArguments(holder);
  }
  for (inspect::MappingProcess& mapping : snapshot.mappings.processes) {
    dropArguments(mapping.process);
  }
  dropArguments(snapshot.deviceSide);
  if (snapshot.state.playback) {
    snapshot.state.playback->appName = kLeftOut;
  }
  if (snapshot.state.handsFree) {
    snapshot.state.handsFree->btAddress = kLeftOut;
  }
  return snapshot;
}

}  // namespace

std::vector<File> contentsOf(const doctor::Examination& all, const doctor::Places& places, bool hasPayloads) {
  const inspect::Snapshot snapshot = hasPayloads ? all.snapshot : withoutPayloads(all.snapshot);
  const doctor::Findings findings = findingsOf(all);
  std::vector<File> files = {{"README.txt", readMe(hasPayloads)},
                             {"versions.txt", versions(all, places.root)},
                             {"status.txt", statusText(snapshot, false)},
                             {"status.json", text::toJson(statusFields(snapshot)) + "\n"},
                             {"doctor.txt", reportText(findings, all, false)},
                             {"doctor.json", text::toJson(reportFields(findings, all)) + "\n"},
                             {"notifications.jsonl", notifications(places, hasPayloads)}};
  if (hasPayloads) {
    files.push_back({"rings.jsonl", rings(places)});
  }
  for (const doctor::ChannelProcess& process : all.system.processes) {
    const std::string pid = std::to_string(process.process.pid);
    const std::string maps = doctor::contentOf(places.channel.proc + "/" + pid + "/maps");
    files.push_back({"maps/" + pid + ".txt", maps.empty() ? "cannot be read by this user\n" : maps});
  }
  return files;
}

}  // namespace bundle
