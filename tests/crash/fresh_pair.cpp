#include "tests/crash/fresh_pair.h"

#include <string.h>

#include <memory>
#include <string>
#include <vector>

#include "LinkAppCommon/iOSAppCommonClient.h"
#include "LinkAppCommon/iOSAppCommonServer.h"
#include "tests/process/listener.h"
#include "tests/process/message_pattern.h"

namespace crash {
namespace {

using Bytes = std::vector<std::uint8_t>;

struct Messages {
  std::vector<Bytes> toDevice;
  std::vector<Bytes> fromDevice;
};

// Sizes from 1 to the largest; no two messages are alike.
Bytes makeMessage(std::uint32_t number, std::uint32_t seed) {
  const std::uint32_t largest = iOSAppCommonDataList::kSlotBytes;
  const std::uint32_t size = number + 1 == kMessages ? largest : 1 + (number * 337 + seed) % largest;
  return patternBytes(size, seed + number * 7919);
}

Messages makeMessages() {
  Messages messages;
  for (std::uint32_t number = 0; number < kMessages; ++number) {
    messages.toDevice.push_back(makeMessage(number, 0));
    messages.fromDevice.push_back(makeMessage(number, 2048));
  }
  return messages;
}

const Messages& messages() {
  static const Messages* const instance = new Messages(makeMessages());
  return *instance;
}

bool isSame(const iosapp_def_::CommData& received, const Bytes& expected) {
  return received.size == expected.size() && memcmp(received.data, expected.data(), expected.size()) == 0;
}

class FreshClient {
 public:
  explicit FreshClient(Board& board)
      : board_(board),
        listener_([this](unsigned int id, void* data, unsigned int) { onNotification(id, data); }),
        client_("", "fresh", kFreshLaunchString) {
    client_.AddObserver(listener_.observer());
    tell(board_, board_.clientIsReady);
  }
  ~FreshClient() { client_.RemoveObserver(listener_.observer()); }
  FreshClient(const FreshClient&) = delete;
  FreshClient& operator=(const FreshClient&) = delete;

  void exchange() {
    hear(board_, board_.clientMayExchange);
    for (std::uint32_t number = 0; number < kMessages; ++number) {
      const Bytes& bytes = messages().toDevice[number];
      if (client_.sendDataFromHU(bytes.data(), static_cast<unsigned int>(bytes.size())) != 1) {
        complain(board_, "the fresh client cannot send message " + std::to_string(number));
      }
      hearMore(board_.exchanged, number);
    }
  }

 private:
  void onNotification(unsigned int id, const void* data) {
    if (id == 0) {
      onDeviceInfo(*static_cast<const iOSAppCommonClient::DeviceInfo*>(data));
    } else if (id == 2) {
      onData(*static_cast<const iosapp_def_::CommData*>(data));
    }
  }

  void onDeviceInfo(const iOSAppCommonClient::DeviceInfo& info) {
    if (info.usbStatus == 1 && client_.launch(1, iosapp_def_::APPLAUNCH_WITHOUT_ALERT) != 1) {
      complain(board_, "the fresh client cannot launch its app");
    } else if (info.usbStatus == 2) {
      tell(board_, board_.clientMayExchange);
    }
  }

  void onData(const iosapp_def_::CommData& data) {
    const std::uint32_t number = board_.exchanged;
    if (number >= kMessages || !isSame(data, messages().fromDevice[number])) {
      complain(board_, "the fresh client got something else than message " + std::to_string(number));
    }
    tellQuietly(board_.exchanged, number + 1);
    if (number == 0) {
      tell(board_, board_.firstHasCome);
    }
  }

  Board& board_;
  Listener listener_;
  iOSAppCommonClient client_;
};

class FreshServer {
 public:
  explicit FreshServer(Board& board)
      : board_(board),
        listener_([this](unsigned int id, void* data, unsigned int) { onNotification(id, data); }),
        server_(1) {
    server_.AddObserver(listener_.observer());
    iosapp_def_::ConnectInfo usbWithAppIds = {0, 1, 0, 1};
    server_.notifyConnectionState(usbWithAppIds);
    tell(board_, board_.serverIsReady);
  }
  ~FreshServer() { server_.RemoveObserver(listener_.observer()); }
  FreshServer(const FreshServer&) = delete;
  FreshServer& operator=(const FreshServer&) = delete;

 private:
  void onNotification(unsigned int id, void* data) {
    if (id == 0) {
      const auto& request = *static_cast<const iOSAppLaunchRequest*>(data);
      board_.clientAppId = request.appId;
      server_.notifySessionOpen(request.appId, static_cast<unsigned short>(200 + request.appId));
    } else if (id == 1) {
      onData(*static_cast<const iosapp_def_::CommData*>(data));
    }
  }

  void onData(const iosapp_def_::CommData& data) {
    const std::unique_ptr<std::uint8_t[]> owned(data.data);
    const std::uint32_t number = received_++;
    if (number >= kMessages || !isSame(data, messages().toDevice[number])) {
      complain(board_, "the fresh server got something else than message " + std::to_string(number));
      return;
    }
    const Bytes& bytes = messages().fromDevice[number];
    server_.sendDataFromDevice(data.sessionId, bytes.data(), static_cast<unsigned int>(bytes.size()));
  }

  Board& board_;
  std::uint32_t received_ = 0;
  Listener listener_;
  iOSAppCommonServer server_;
};

}  // namespace

void prepareMessages() {
  messages();
}

void runFreshClient(Board& board) {
  FreshClient client(board);
  client.exchange();
  tell(board, board.clientIsDone);
}

void runFreshServer(Board& board) {
  const FreshServer server(board);
  hear(board, board.serverMustEnd);
}

}  // namespace crash
