// The simulated phone, and what it tells the device side.
//
// A real accessory-protocol stack has the same shape: requests go in from any thread, what happens on the phone comes
// out on a thread of the stack's own. Nothing here knows the channel.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace demo {

class PhoneListener {
 public:
  virtual ~PhoneListener() = default;
  // All on the phone's own thread, in the order in which things happened.
  virtual void onPlugged(bool isPlugged) = 0;
  virtual void onSessionOpened(unsigned int appId, std::uint16_t session) = 0;
  virtual void onSessionClosed(std::uint16_t session) = 0;
  virtual void onData(std::uint16_t session, const std::vector<std::uint8_t>& data) = 0;
  virtual void onTransferDone(std::uint16_t session) = 0;
  virtual void onPlaying(const std::string& app) = 0;
  virtual void onHandsFree(bool isConnected) = 0;
  virtual void onProblem(const std::string& text) = 0;
};

class Phone {
 public:
  explicit Phone(PhoneListener& listener);
  ~Phone();
  Phone(const Phone&) = delete;
  Phone& operator=(const Phone&) = delete;

  // What its user does.
  void plugIn();
  void unplug();  // closes all sessions
  void play(const std::string& app);
  void setHandsFree(bool isConnected);

  // What the head unit asks for. Starts the app with this launch string; it opens a session. Unknown ones are
  // reported as a problem.
  void launch(const std::string& launchString, unsigned int appId);
  // Data for the app that has this session. The app checks every byte and sends the message back.
  void receive(std::uint16_t session, std::vector<std::uint8_t> data);

 private:
  struct App {
    std::string name;
    unsigned int received = 0;
  };

  void post(std::function<void()> task);
  void work();
  void startApp(const std::string& launchString, unsigned int appId);
  void runApp(std::uint16_t session, const std::vector<std::uint8_t>& data);
  void endAllApps();

  PhoneListener& listener_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> tasks_;  // guarded by mutex_
  bool isEnding_ = false;                    // guarded by mutex_
  std::map<std::uint16_t, App> apps_;        // by session; the phone's thread only
  std::uint16_t nextSession_ = 101;          // the phone's thread only
  std::thread thread_;                       // last: it uses all of the above
};

}  // namespace demo
