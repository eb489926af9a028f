// The two ends of the product: a device side with its device connected and the session of one app open, and that app.
//
// All objects of all processes exist before the device is connected, since each endpoint that is made resets the rings.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "LinkAppCommon/iOSAppCommonClient.h"
#include "LinkAppCommon/iOSAppCommonServer.h"
#include "benchmarks/support/futex.h"
#include "benchmarks/support/stage.h"
#include "benchmarks/support/usage.h"

namespace bench {

// What the processes share to start together. All zero is a fresh one.
struct ProductStart {
  Milestone up;     // processes whose objects exist
  Milestone ready;  // apps whose session is open
};

// Where the apps live that are registered and have nothing to do.
enum class IdleApps { kInOneProcess, kWithTheTalker, kInProcessesOfTheirOwn };

// How the product is run.
struct ProductKind {
  std::string name;
  unsigned int apps = 1;    // how many are registered; all but one have nothing to do
  std::string environment;  // "NAME=VALUE", or empty
  IdleApps idle = IdleApps::kInOneProcess;
};

// One for each environment, the present one first, and each number of apps.
std::vector<ProductKind> productKinds(const std::vector<std::string>& environments,
                                      const std::vector<unsigned int>& apps);

// A role's main, run in the product's environment.
std::function<void()> inEnvironment(const ProductKind& kind, std::function<void()> main);

class ProductServer {
 public:
  // Runs on the delivery thread; the data dies with the call.
  using OnData = std::function<void(unsigned short session, const std::uint8_t* data, unsigned int size)>;

  explicit ProductServer(OnData onData);
  ~ProductServer();

  // Waits until `processes` are up and `apps` are registered; then connects the device, and opens the session of each
  // app that asks for a launch.
  void connect(ProductStart& start, std::uint32_t processes, unsigned int apps);
  void announceConnection();
  void send(unsigned short session, const void* data, unsigned int size) {
    server_.sendDataFromDevice(session, static_cast<const unsigned char*>(data), size);
  }
  // Of the app that is registered with this number. Throws where it is not registered.
  unsigned short sessionOf(unsigned int app);

 private:
  unsigned int onNotification(unsigned int id, void* data, unsigned int size);

  const OnData onData_;
  VQObserver<ProductServer> observer_;
  iOSAppCommonServer server_;
};

class ProductClient {
 public:
  // Both run on the delivery thread.
  using OnData = std::function<void(const std::uint8_t* data, unsigned int size)>;
  using OnStatus = std::function<void()>;  // connection or session changed, once the session is open

  // Asks for a launch as soon as the device is connected, and advances start.ready when its session is open.
  ProductClient(ProductStart& start, unsigned int app, OnData onData, OnStatus onStatus = nullptr);
  ~ProductClient();

  void send(const void* data, unsigned int size);

 private:
  unsigned int onNotification(unsigned int id, void* data, unsigned int size);
  void onDevice(const iOSAppCommonClient::DeviceInfo& info);

  ProductStart& start_;
  const OnData onData_;
  const OnStatus onStatus_;
  bool isOpen_ = false;
  VQObserver<ProductClient> observer_;
  iOSAppCommonClient client_;
};

// Apps from `first` to `last`, registered with nothing to do.
std::vector<std::unique_ptr<iOSAppCommonClient>> idleClients(unsigned int first, unsigned int last);

// The processes of the apps that have nothing to do; none where the talker's has them.
std::vector<Role> idleProcesses(const ProductKind& kind, int processor, ProductStart& start, Crew& crew);
// The first of them, where there is one.
Role idleApplications(const ProductKind& kind, int processor, ProductStart& start, Crew& crew);

}  // namespace bench
