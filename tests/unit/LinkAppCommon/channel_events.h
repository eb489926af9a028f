// Observers that keep what server, client and registry tell them.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "LinkAppCommon/iOSAppCommonClient.h"
#include "LinkAppCommon/iOSAppCommonServer.h"
#include "VQFramework/Observer/VQObserver.h"
#include "channel_fixture.h"

struct EventHeader {
  unsigned int id;
  unsigned int size;
  bool operator==(const EventHeader& other) const { return id == other.id && size == other.size; }
};

inline void PrintTo(const EventHeader& header, std::ostream* out) {
  *out << "id " << header.id << " size " << header.size;
}

// Any subject: identifier, payload and size as they come.
class PlainEvents {
 public:
  explicit PlainEvents(VQSubject& subject) { subject.AddObserver(&observer_); }

  std::vector<EventHeader> headers;
  std::vector<void*> payloads;
  std::vector<Bytes> copies;  // only where payloads are as long as their size says
  bool copyPayload = false;
  std::function<void()> during;

 private:
  unsigned int onEvent(unsigned int id, void* data, unsigned int size) {
    headers.push_back({id, size});
    payloads.push_back(data);
    if (copyPayload && data != nullptr) {
      const auto* const bytes = static_cast<const std::uint8_t*>(data);
      copies.emplace_back(bytes, bytes + size);
    }
    if (during) {
      during();
    }
    return 0;
  }

  VQObserver<PlainEvents> observer_{this, &PlainEvents::onEvent};
};

// One message's data as an observer got it. The array is a whole slot long, whatever `size` says.
struct ReceivedData {
  std::uint32_t deviceId;
  std::string appName;
  std::uint32_t size;
  std::uint16_t sessionId;
  Bytes slot;

  Bytes bytes() const { return Bytes(slot.begin(), slot.begin() + static_cast<std::ptrdiff_t>(size)); }
};

inline ReceivedData receivedData(const iosapp_def_::CommData& data) {
  return {data.deviceId, data.appName, data.size, data.sessionId,
          Bytes(data.data, data.data + iOSAppCommonDataList::kSlotBytes)};
}

class ClientEvents {
 public:
  explicit ClientEvents(iOSAppCommonClient& client) { client.AddObserver(&observer_); }

  std::vector<EventHeader> headers;
  std::vector<iOSAppCommonClient::DeviceInfo> devices;
  std::vector<iosapp_def_::SendResultInfo> results;
  std::vector<ReceivedData> data;
  std::vector<iosapp_def_::PlaybackAppInfo> playbackApps;
  std::function<void()> during;

  bool none() const { return headers.empty(); }

 private:
  unsigned int onEvent(unsigned int id, void* data_, unsigned int size) {
    headers.push_back({id, size});
    switch (id) {
      case 0:
        devices.push_back(*static_cast<iOSAppCommonClient::DeviceInfo*>(data_));
        break;
      case 1:
        results.push_back(*static_cast<iosapp_def_::SendResultInfo*>(data_));
        break;
      case 2:
        data.push_back(receivedData(*static_cast<iosapp_def_::CommData*>(data_)));
        break;
      case 3:
        playbackApps.push_back(*static_cast<iosapp_def_::PlaybackAppInfo*>(data_));
        break;
      default:
        ADD_FAILURE() << "foreign identifier " << id;
    }
    if (during) {
      during();
    }
    return 0;
  }

  VQObserver<ClientEvents> observer_{this, &ClientEvents::onEvent};
};

// Owns the arrays of notification 1, as the one observer of a server must.
class ServerEvents {
 public:
  explicit ServerEvents(iOSAppCommonServer& server) { server.AddObserver(&observer_); }

  std::vector<EventHeader> headers;
  std::vector<iOSAppLaunchRequest> launches;
  std::vector<ReceivedData> data;
  std::function<void()> during;

  bool none() const { return headers.empty(); }

 private:
  unsigned int onEvent(unsigned int id, void* data_, unsigned int size) {
    headers.push_back({id, size});
    if (id == 0) {
      launches.push_back(*static_cast<iOSAppLaunchRequest*>(data_));
    } else if (id == 1) {
      const auto& received = *static_cast<iosapp_def_::CommData*>(data_);
      data.push_back(receivedData(received));
      delete[] received.data;
    } else {
      ADD_FAILURE() << "foreign identifier " << id;
    }
    if (during) {
      during();
    }
    return 0;
  }

  VQObserver<ServerEvents> observer_{this, &ServerEvents::onEvent};
};

// A device as one line of text, all eight fields.
inline std::string describe(const iOSAppCommonClient::DeviceInfo& info) {
  return std::to_string(info.deviceId) + " " + info.btAddress + " spp " + std::to_string(info.btSppStatus) + " [" +
         info.btSppName + "] usb " + std::to_string(info.usbStatus) + " [" + info.usbName + "] iap " +
         std::to_string(info.iapVersion) + " hfp " + std::to_string(info.hfpConnected);
}

inline std::vector<std::string> describe(const ClientEvents& events) {
  std::vector<std::string> lines;
  for (const iOSAppCommonClient::DeviceInfo& info : events.devices) {
    lines.push_back(describe(info));
  }
  return lines;
}
