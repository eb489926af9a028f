// Everything that is there without the daemons: adapters, phones and the links between them. It outlives the daemons,
// as radios outlive a restart of bluetoothd.
#pragma once

#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bluez_sim/far_end.h"
#include "bluez_sim/loop.h"
#include "bluez_sim/phone.h"

namespace bluez_sim {

// Told after the change, except for removals, which are told before.
class WorldListener {
 public:
  virtual ~WorldListener() = default;
  virtual void onAdapterAdded(const Adapter& /*adapter*/) {}
  virtual void onAdapterRemoved(const Adapter& /*adapter*/) {}
  virtual void onAdapterChanged(const Adapter& /*adapter*/, const std::vector<std::string>& /*properties*/) {}
  virtual void onPhoneAdded(const Phone& /*phone*/) {}
  virtual void onPhoneRemoved(const Phone& /*phone*/) {}
  virtual void onPhoneChanged(const Phone& /*phone*/, const std::vector<std::string>& /*properties*/) {}
  virtual void onHandsFreeChanged(const Phone& /*phone*/) {}
};

struct Link {
  Phone* phone = nullptr;
  std::string uuid;
  std::shared_ptr<UniqueFd> nearEnd;  // the head unit's end: bluetoothd's duplicate, which it closes
  std::unique_ptr<FarEnd> farEnd;
};

enum class Drop { kEnd, kReset };  // the other side reads 0; it reads ECONNRESET

class World {
 public:
  using Say = std::function<void(const std::string& line)>;

  World(Loop& loop, Say say, int sendBuffer);
  World(const World&) = delete;
  World& operator=(const World&) = delete;

  void say(const std::string& line) const { say_(line); }
  void addListener(WorldListener* listener) { listeners_.push_back(listener); }
  void removeListener(WorldListener* listener);

  // Adapters. Lookups give null where there is none.
  const std::map<std::string, Adapter>& adapters() const { return adapters_; }
  Adapter* findAdapter(const std::string& name);
  void addAdapter(const Adapter& adapter);
  void removeAdapter(const std::string& name);  // its phones are forgotten, too
  void setPowered(Adapter& adapter, bool isPowered);

  const std::map<std::string, Phone>& phones() const { return phones_; }
  Phone* findPhone(const std::string& address);
  Phone* findPhoneByPath(const std::string& path);
  Phone& addPhone(const Phone& phone);
  void removePhone(Phone& phone);
  void tellChanged(const Phone& phone, const std::vector<std::string>& properties);

  // The ACL link; with it go the SPP links and hands-free.
  void setConnected(Phone& phone, bool isConnected);
  void setHandsFree(Phone& phone, bool isUp);

  // A new link. The near end is bluetoothd's, to hand out and to close.
  std::shared_ptr<UniqueFd> openLink(Phone& phone, const std::string& uuid);
  // Ends links from the phone's side; an empty UUID means all of its. How many there were.
  unsigned int dropLinks(const Phone& phone, const std::string& uuid, Drop how);
  std::vector<Link*> linksOf(const Phone& phone, const std::string& uuid = "");
  void setMode(Phone& phone, Mode mode);

 private:
  void putHandsFree(Phone& phone, bool isUp);
  template <class... Parameters, class... Arguments>
  void tell(void (WorldListener::*event)(Parameters...), const Arguments&... arguments) {
    for (WorldListener* const listener : std::vector<WorldListener*>(listeners_)) {
      (listener->*event)(arguments...);
    }
  }
  void endLink(const Link* link, const std::string& who);

  Loop& loop_;
  const Say say_;
  const int sendBuffer_;
  std::vector<WorldListener*> listeners_;
  std::map<std::string, Adapter> adapters_;
  std::map<std::string, Phone> phones_;
  std::list<Link> links_;
};

}  // namespace bluez_sim
