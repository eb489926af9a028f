#include "inspect/message.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

#include "text/message.h"

namespace inspect {
namespace {

using iosapp_def_::ConnectStatusNotify;

// The payload is followed by zeros up to its greatest length.
template <class Record>
std::optional<Record> recordOf(const Message& message) {
  static_assert(sizeof(Record) <= VQSharedMemNotifier::kMaxPayload, "every record fits");
  if (message.isForNobody || message.size == 0) {
    return std::nullopt;
  }
  Record record;
  std::memcpy(&record, message.payload.data(), sizeof record);
  return record;
}

std::string nameOf(const ConnectStatusNotify& status) {
  const char* const end = std::find(status.playbackAppName, std::end(status.playbackAppName), '\0');
  return {status.playbackAppName, end};
}

text::Fields fieldsOfKind(const ConnectStatusNotify& status) {
  text::Fields fields = {{"device", status.deviceId}};
  const auto add = [&fields](const char* name, const text::Value& value) { fields.push_back({name, value}); };
  switch (status.notifyType) {
    case iosapp_def_::NOTIFYID_APPLAUNCH:
      add("app", status.appId);
      add("launchMethod", status.launchMethod);
      break;
    case iosapp_def_::NOTIFYID_CONNECTSTATUS:
      add("connectStatus", status.connectStatus);
      add("connectType", status.connectType);
      add("iapType", status.iapType);
      break;
    case iosapp_def_::NOTIFYID_SESSIONSTATUS:
      add("app", status.appId);
      add("status", status.status);
      break;
    case iosapp_def_::NOTIFYID_SENDRESULT:
      add("app", status.appId);
      add("sendResult", status.sendResult);
      break;
    case iosapp_def_::NOTIFYID_BTHFSTATUS:
      add("btConnected", status.btConnected);
      add("btAddress", addressText(status.btAddress));
      break;
    case iosapp_def_::NOTIFYID_PLAYBACKAPPINFO:
      add("playbackAppName", nameOf(status));
      break;
    default:
      add("notifyType", status.notifyType);
      break;
  }
  return fields;
}

text::Fields payloadFields(const Message& message) {
  const auto begin = message.payload.begin();
  return text::messageFields({begin, begin + static_cast<std::ptrdiff_t>(message.size)});
}

}  // namespace

std::optional<ConnectStatusNotify> connectStatusOf(const Message& message) {
  return message.id == kIdConnectStatus ? recordOf<ConnectStatusNotify>(message) : std::nullopt;
}

std::optional<iOSAppCommonDataNotify> announcementOf(const Message& message) {
  return message.id == kIdFromHU || message.id == kIdFromDevice ? recordOf<iOSAppCommonDataNotify>(message)
                                                                : std::nullopt;
}

std::optional<std::uint32_t> registeredPlaceOf(const Message& message) {
  return message.id == kIdAppInfo ? recordOf<std::uint32_t>(message) : std::nullopt;
}

const char* identifierName(std::uint32_t id) {
  switch (id) {
    case kIdFromHU:
      return "FromHU";
    case kIdFromDevice:
      return "FromDevice";
    case kIdConnectStatus:
      return "ConnectStatus";
    case kIdAppInfo:
      return "AppInfo";
    default:
      return "";
  }
}

const char* kindName(std::uint32_t notifyType) {
  switch (notifyType) {
    case iosapp_def_::NOTIFYID_APPLAUNCH:
      return "NOTIFYID_APPLAUNCH";
    case iosapp_def_::NOTIFYID_CONNECTSTATUS:
      return "NOTIFYID_CONNECTSTATUS";
    case iosapp_def_::NOTIFYID_SESSIONSTATUS:
      return "NOTIFYID_SESSIONSTATUS";
    case iosapp_def_::NOTIFYID_SENDRESULT:
      return "NOTIFYID_SENDRESULT";
    case iosapp_def_::NOTIFYID_BTHFSTATUS:
      return "NOTIFYID_BTHFSTATUS";
    case iosapp_def_::NOTIFYID_PLAYBACKAPPINFO:
      return "NOTIFYID_PLAYBACKAPPINFO";
    default:
      return "";
  }
}

std::string nameOf(const Message& message) {
  if (message.isForNobody) {
    return "registrations";
  }
  const auto status = connectStatusOf(message);
  std::string kind = status ? kindName(status->notifyType) : "";
  const std::string identifier = identifierName(message.id);
  if (!kind.empty()) {
    return kind;
  }
  return identifier.empty() ? "id " + std::to_string(message.id) : identifier;
}

text::Fields fieldsOf(const Message& message) {
  if (message.isForNobody) {
    return {};
  }
  if (const auto status = connectStatusOf(message)) {
    return fieldsOfKind(*status);
  }
  if (const auto announcement = announcementOf(message)) {
    return {{"device", announcement->deviceId}, {"app", announcement->appId}, {"slot", announcement->slotIndex}};
  }
  if (const auto place = registeredPlaceOf(message)) {
    return {{"place", *place}};
  }
  return payloadFields(message);
}

std::string addressText(const std::uint8_t (&address)[6]) {
  char text[18];
  snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", address[0], address[1], address[2], address[3],
           address[4], address[5]);
  return text;
}

}  // namespace inspect
