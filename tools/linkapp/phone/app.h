// An app on the phone, while its session is open.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "phone/event.h"

namespace phone {

using Bytes = std::vector<std::uint8_t>;

// What an app knows of its session and can do with it, as long as it lives.
class Session {
 public:
  virtual ~Session() = default;
  virtual std::uint16_t number() const = 0;
  virtual unsigned int appId() const = 0;
  virtual const std::string& launchString() const = 0;
  virtual void send(const Bytes& message) = 0;
  // The app ends. It is destroyed soon, but not within this call.
  virtual void close() = 0;
  // The fields "launch" and "session" are added.
  virtual void report(const std::string& event, const text::Fields& fields) = 0;
};

class App {
 public:
  virtual ~App() = default;
  // The session is open; the head unit has been told.
  virtual void onOpened() {}
  // False where the app cannot take it: the send counts as failed.
  virtual bool onMessage(const Bytes& message) = 0;
};

// An app as it is installed: runs once per session.
struct Installed {
  std::string description;  // "echo", "program python3 counterpart.py"
  std::function<std::unique_ptr<App>(Session& session)> run;
};

}  // namespace phone
