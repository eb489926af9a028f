// The phone in a box: what its user, its apps and its bad moods do, as an accessory-protocol stack tells it.
//
// Operations of the user return an empty text, or why they cannot be done; then nothing has changed.
// Threads: the errands' alone.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "loop/errands.h"
#include "phone/accessory_stack.h"
#include "phone/app.h"
#include "phone/builtin_apps.h"
#include "phone/event.h"
#include "text/duration.h"

namespace phone {

// How the phone answers launch requests, and how sends to it end.
struct LaunchPolicy {
  enum class Kind { kAccept, kRefuse, kSlow } kind = Kind::kAccept;
  text::Duration delay{};  // kSlow
};
struct ResultPolicy {
  enum class Kind { kSuccess, kFailure, kLate, kNone } kind = Kind::kSuccess;
  text::Duration delay{};  // kLate
};

// The launch string that stands for every one without an entry of its own.
constexpr const char* kAnyLaunchString = "*";

class SimulatedPhone final : public AccessoryStack {
 public:
  // `errands` and `sink` outlive it. Until something else is installed every launch string starts an echo.
  SimulatedPhone(loop::Errands& errands, EventSink sink);
  ~SimulatedPhone() override;
  SimulatedPhone(const SimulatedPhone&) = delete;
  SimulatedPhone& operator=(const SimulatedPhone&) = delete;

  void start(AccessoryListener& listener) override;
  void setApps(const std::vector<HeadUnitApp>& apps) override { headUnitApps_ = apps; }
  void launch(const LaunchRequest& request) override;
  void send(std::uint16_t session, std::vector<std::uint8_t> data) override;

  std::string plug(Link link, Generation generation);
  std::string unplug();
  // The same device over the other link; what was open is closed.
  std::string switchTo(Link link);
  // The device is gone in the middle of whatever it did, and is back after this time.
  std::string reboot(text::Duration downTime);
  // Its user opens or closes an app. Of several with this launch string the one that registered last.
  std::string open(const std::string& launchString);
  std::string close(const std::string& launchString);
  // An app of the phone sends, over its newest session.
  std::string sendFromApp(const std::string& launchString, const Bytes& message);
  std::string burstFromApp(const std::string& launchString, const Burst& burst);
  // The address stays what it was where none is given.
  std::string setHandsFree(bool isUp, const std::optional<Address>& address);
  std::string play(const std::string& app);  // empty = nothing plays any more

  void install(const std::string& launchString, Installed app);
  std::string remove(const std::string& launchString);
  void setLaunches(const std::string& launchString, const LaunchPolicy& policy);
  void setResults(const std::string& launchString, const ResultPolicy& policy);

  // For whoever watches.
  text::Fields state() const;
  text::List sessionList() const;
  text::List installedList() const;
  std::vector<std::string> launchStrings() const;

 private:
  class OpenSession;
  struct Reboot;

  void openSession(unsigned int appId, const std::string& launchString);
  void scheduleClose(std::uint16_t session);
  void closeSession(std::uint16_t session, const std::string& by);
  void closeAllSessions(const std::string& by);
  void finishSend(std::uint16_t session, SendOutcome outcome);
  void connect();
  void disconnect(const std::string& by);
  void comeBack();
  void refuseLaunch(const LaunchRequest& request, const std::string& reason);
  void post(loop::Task task);
  std::uint16_t freeSessionNumber();
  OpenSession* find(std::uint16_t session);
  OpenSession* newest(const std::string& launchString);
  const HeadUnitApp* appOf(unsigned int appId) const;
  template <class Entry>
  static const Entry& entryFor(const std::map<std::string, Entry>& entries, const std::string& launchString);

  loop::Errands& errands_;
  const EventSink sink_;
  AccessoryListener* listener_ = nullptr;
  const std::shared_ptr<bool> isAlive_ = std::make_shared<bool>(true);

  bool isConnected_ = false;
  unsigned int connection_ = 0;  // counts them
  Link link_ = Link::kUsb;
  Generation generation_ = Generation::kIap2;
  bool isHandsFreeUp_ = false;
  Address address_ = {0x12, 0x34, 0x56, 0x78, 0x9a, 0xbc};
  std::string playing_;
  std::unique_ptr<Reboot> reboot_;  // while it is under way

  std::vector<HeadUnitApp> headUnitApps_;
  std::map<std::string, Installed> installed_;
  std::map<std::string, LaunchPolicy> launches_;
  std::map<std::string, ResultPolicy> results_;
  std::map<std::uint16_t, std::unique_ptr<OpenSession>> sessions_;
  std::vector<std::uint16_t> order_;  // of opening
  std::uint16_t lastSession_ = 100;
  std::int64_t received_ = 0;
  std::int64_t sent_ = 0;
};

const char* nameOf(Link link);
const char* nameOf(Generation generation);
std::string textOf(const Address& address);
std::optional<Address> parseAddress(const std::string& text);

}  // namespace phone
