// A Unix socket for test benches: JSON lines in, JSON lines out (docs/control-socket.md).
//
//   {"id": 1, "command": "plug usb"}              {"id":1,"reply":"plug","ok":true}
//   {"id": 2, "command": ["send", "app", "a b"]}  {"id":2,"reply":"send","ok":false,"error":"...","column":6}
//   {"command": "events on"}                      {"event":"connected","time":0.123,"link":"usb","iap":"iap2"}
//
// What is no such request is answered with an error, and the client is disconnected; so is one that sends too long a
// line, half a line and then nothing more, or that does not read what it is told. Nobody else notices. Who is heard no
// more, by an end of his own or by a mistake, gets what was said to him until then.
// Threads: the loop's.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "command/command.h"
#include "loop/loop.h"
#include "talk/event.h"

namespace control {

struct Limits {
  std::size_t clients = 16;
  std::size_t lineBytes = std::size_t{64} * 1024;
  std::size_t waitingBytes = std::size_t{4} * 1024 * 1024;  // that a client has not read
  std::chrono::milliseconds halfLine{10000};                // a line that has begun has to end in this time
  std::chrono::milliseconds lastReplies{10000};             // to read them, for a client that is heard no more
};

class Connection;

class Server {
 public:
  using Obey = std::function<command::Reply(const std::vector<command::Word>& words, std::size_t end)>;

  // Makes the socket, for its owner alone, and removes it at the end. A socket that a dead process has left is
  // replaced. Throws std::runtime_error with the reason.
  Server(loop::Loop& loop, talk::Hub& hub, std::string path, Obey obey, const Limits& limits = {});
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  std::size_t clientCount() const { return connections_.size(); }

 private:
  friend class Connection;
  void accept();
  void drop(const Connection* connection);

  loop::Loop& loop_;
  talk::Hub& hub_;
  const std::string path_;
  const Obey obey_;
  const Limits limits_;
  int fd_ = -1;
  std::vector<std::unique_ptr<Connection>> connections_;
  const std::shared_ptr<bool> isAlive_ = std::make_shared<bool>(true);
};

}  // namespace control
