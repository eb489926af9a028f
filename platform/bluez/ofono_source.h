// Hands-free links as oFono knows them: a modem of the type "hfp" is on line while the service level connection is up.
#pragma once

#include <map>
#include <optional>
#include <string>

#include "platform/bluez/hfp_source.h"

namespace vqbluez {

class OfonoSource final : public HfpSource {
 public:
  void start(Bus& bus, Report report) override;
  void stop() override;
  void tick(Time now) override;
  std::optional<Time> nextDue() const override { return due_; }

 private:
  struct Modem {
    bool isHandsFree = false;
    bool isOnline = false;
  };

  void askForModems();
  void onModems(const Reply& reply);
  void onModem(sd_bus_message* message);
  void onProperty(sd_bus_message* message);
  void readValue(sd_bus_message* message, const char* key, Modem& modem);
  void set(const std::string& path, const Modem& modem);
  void remove(const std::string& path);
  void forgetAll();

  Bus* bus_ = nullptr;
  Report report_;
  std::map<std::string, Modem> modems_;
  BackOff pause_;
  std::optional<Time> due_;  // when the modems are asked for again
  std::string reason_;       // why they were not told, as logged last
};

}  // namespace vqbluez
