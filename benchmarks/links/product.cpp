#include "benchmarks/links/product.h"

#include <stdio.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

namespace bench {
namespace {

constexpr unsigned int kDevice = 1;
constexpr unsigned short kFirstSession = 100;
constexpr unsigned int kUsb = 2;
constexpr unsigned int kIap2 = 1;

// The notifications of server and client.
constexpr unsigned int kLaunchRequest = 0;
constexpr unsigned int kDataFromApp = 1;
constexpr unsigned int kDeviceInfo = 0;
constexpr unsigned int kDataFromDevice = 2;

// Of a link in DeviceInfo.
constexpr std::uint32_t kConnected = 1;
constexpr std::uint32_t kSessionOpen = 2;

std::string appName(unsigned int app) {
  return "app" + std::to_string(app);
}

std::string launchString(unsigned int app) {
  return "launch." + appName(app);
}

Role idleRole(const ProductKind& kind, unsigned int first, unsigned int last, int processor, ProductStart& start,
              Crew& crew) {
  return {"idle applications", processor,
          inEnvironment(kind,
                        [first, last, &start, &crew] {
                          const auto clients = idleClients(first, last);
                          crew.join();
                          start.up.advance();
                          for (;;) {
                            pause();
                          }
                        }),
          true};
}

}  // namespace

std::vector<ProductKind> productKinds(const std::vector<std::string>& environments,
                                      const std::vector<unsigned int>& apps) {
  std::vector<ProductKind> kinds;
  const auto add = [&](const std::string& environment) {
    for (const unsigned int count : apps) {
      const std::string suffix = (count > 1 ? ", " + std::to_string(count) + " apps" : std::string()) +
                                 (environment.empty() ? "" : ", " + environment);
      kinds.push_back({"product" + suffix, count, environment});
    }
  };
  add("");
  for (const std::string& environment : environments) {
    add(environment);
  }
  return kinds;
}

std::function<void()> inEnvironment(const ProductKind& kind, std::function<void()> main) {
  return [environment = kind.environment, main = std::move(main)] {
    const std::size_t equals = environment.find('=');
    if (equals != std::string::npos) {
      setenv(environment.substr(0, equals).c_str(), environment.substr(equals + 1).c_str(), 1);
    }
    main();
  };
}

ProductServer::ProductServer(OnData onData)
    : onData_(std::move(onData)), observer_(this, &ProductServer::onNotification), server_(kDevice) {
  server_.AddObserver(&observer_);
}

ProductServer::~ProductServer() {
  server_.RemoveObserver(&observer_);
}

void ProductServer::connect(ProductStart& start, std::uint32_t processes, unsigned int apps) {
  start.up.advance();
  start.up.waitFor(processes);
  while (server_.getLaunchStringFromAppList(apps).empty()) {  // a registration arrives some time later
    usleep(1000);
  }
  announceConnection();
}

void ProductServer::announceConnection() {
  iosapp_def_::ConnectInfo info = {kDevice, 1, kUsb, kIap2};
  server_.notifyConnectionState(info);
}

unsigned short ProductServer::sessionOf(unsigned int app) {
  for (unsigned int appId = 1; appId <= iOSAppInfoList::kEntryCount; ++appId) {
    if (server_.getLaunchStringFromAppList(appId) == launchString(app)) {
      return static_cast<unsigned short>(kFirstSession + appId);
    }
  }
  throw std::runtime_error(appName(app) + " is not registered");
}

unsigned int ProductServer::onNotification(unsigned int id, void* data, unsigned int /*size*/) {
  if (id == kLaunchRequest) {
    const unsigned int appId = static_cast<const iOSAppLaunchRequest*>(data)->appId;
    server_.notifySessionOpen(appId, static_cast<unsigned short>(kFirstSession + appId));
  } else if (id == kDataFromApp) {
    const iosapp_def_::CommData& message = *static_cast<const iosapp_def_::CommData*>(data);
    onData_(message.sessionId, message.data, message.size);
    delete[] message.data;
  }
  return 0;
}

ProductClient::ProductClient(ProductStart& start, unsigned int app, OnData onData, OnStatus onStatus)
    : start_(start),
      onData_(std::move(onData)),
      onStatus_(std::move(onStatus)),
      observer_(this, &ProductClient::onNotification),
      client_("", appName(app), launchString(app)) {
  client_.AddObserver(&observer_);
  start_.up.advance();
}

ProductClient::~ProductClient() {
  client_.RemoveObserver(&observer_);
}

void ProductClient::send(const void* data, unsigned int size) {
  if (client_.sendDataFromHU(static_cast<const unsigned char*>(data), size) != 1) {
    fprintf(stderr, "the product refuses to send\n");
    _exit(1);  // on the delivery thread, too, where nobody catches
  }
}

unsigned int ProductClient::onNotification(unsigned int id, void* data, unsigned int /*size*/) {
  if (id == kDeviceInfo) {
    onDevice(*static_cast<const iOSAppCommonClient::DeviceInfo*>(data));
  } else if (id == kDataFromDevice) {
    const iosapp_def_::CommData& message = *static_cast<const iosapp_def_::CommData*>(data);
    onData_(message.data, message.size);
  }
  return 0;
}

void ProductClient::onDevice(const iOSAppCommonClient::DeviceInfo& info) {
  if (isOpen_) {
    if (onStatus_) {
      onStatus_();
    }
  } else if (info.usbStatus == kConnected) {
    client_.launch(kDevice, iosapp_def_::APPLAUNCH_WITHOUT_ALERT);
  } else if (info.usbStatus == kSessionOpen) {
    isOpen_ = true;
    start_.ready.advance();
  }
}

std::vector<std::unique_ptr<iOSAppCommonClient>> idleClients(unsigned int first, unsigned int last) {
  std::vector<std::unique_ptr<iOSAppCommonClient>> clients;
  for (unsigned int app = first; app <= last; ++app) {
    clients.push_back(std::make_unique<iOSAppCommonClient>("", appName(app), launchString(app)));
  }
  return clients;
}

std::vector<Role> idleProcesses(const ProductKind& kind, int processor, ProductStart& start, Crew& crew) {
  std::vector<Role> roles;
  if (kind.idle == IdleApps::kInOneProcess && kind.apps > 1) {
    roles.push_back(idleRole(kind, 2, kind.apps, processor, start, crew));
  } else if (kind.idle == IdleApps::kInProcessesOfTheirOwn) {
    for (unsigned int app = 2; app <= kind.apps; ++app) {
      roles.push_back(idleRole(kind, app, app, processor, start, crew));
    }
  }
  return roles;
}

Role idleApplications(const ProductKind& kind, int processor, ProductStart& start, Crew& crew) {
  return idleProcesses(kind, processor, start, crew).at(0);
}

}  // namespace bench
