// What bluetoothd does between ConnectProfile and NewConnection, and with the links afterwards.
#pragma once

#include <list>
#include <map>
#include <memory>
#include <string>

#include "bluez_sim/call.h"
#include "bluez_sim/loop.h"
#include "bluez_sim/profiles.h"
#include "bluez_sim/world.h"

namespace bluez_sim {

class Connector {
 public:
  Connector(Loop& loop, sd_bus& bus, World& world, const Profiles& profiles);
  ~Connector();
  Connector(const Connector&) = delete;
  Connector& operator=(const Connector&) = delete;

  // Device1.
  void connectProfile(const Call& call, Phone& phone, const std::string& uuid);
  void disconnectProfile(const Call& call, Phone& phone, const std::string& uuid);
  void disconnect(const Call& call, Phone& phone);  // all services, then the ACL link

  // The phone opens a link to a service of the head unit. Empty, or why it cannot.
  std::string connectFromPhone(Phone& phone, const std::string& uuid);
  // Lets a phone that holds answer.
  void releaseHeld(const Phone& phone);
  // Ends the connect that is under way, where there is one.
  void cancel(const Phone& phone, const DbusError& error);

  void dropOwner(const std::string& owner);

 private:
  // One link as bluetoothd sees it: it holds a duplicate of the descriptor until the link ends.
  struct Service {
    std::string address;
    std::string uuid;
    std::string owner;
    std::string path;
    std::shared_ptr<UniqueFd> nearEnd;
    Watch hangUp;
  };
  struct Pending {  // a ConnectProfile that waits for its phone or for NewConnection
    Call call;
    std::string uuid;
    Watch timer;
  };
  using Result = std::function<void(bool isAccepted)>;

  void answerFromPhone(const std::string& address);
  void search(Phone& phone);
  void openService(Phone& phone, const Profile& profile, Result onResult);
  void finish(const std::string& address, const DbusError* error);
  Service* findService(const Phone& phone, const std::string& uuid);
  void forget(const Service* service);
  void requestDisconnection(const Service& service, std::function<void()> onAnswer);

  Loop& loop_;
  sd_bus& bus_;
  World& world_;
  const Profiles& profiles_;
  std::list<Service> services_;
  std::map<std::string, Pending> pending_;  // by the phone's address
  // Answers that come when this object is gone already find it gone.
  const std::shared_ptr<int> alive_ = std::make_shared<int>(0);
};

}  // namespace bluez_sim
