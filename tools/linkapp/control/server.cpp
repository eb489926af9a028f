#include "control/server.h"

#include <errno.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "control/request.h"
#include "loop/lines.h"

namespace control {
namespace {

std::string reasonOf(int error) {
  return std::generic_category().message(error);
}

sockaddr_un addressOf(const std::string& path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address.sun_path) {
    throw std::runtime_error("control socket " + path + ": the path must have 1 to " +
                             std::to_string(sizeof address.sun_path - 1) + " bytes");
  }
  memcpy(address.sun_path, path.c_str(), path.size() + 1);
  return address;
}

const sockaddr* plain(const sockaddr_un& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

bool somebodyListens(const sockaddr_un& address) {
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const bool isThere = fd != -1 && connect(fd, plain(address), sizeof address) == 0;
  close(fd);
  return isThere;
}

int listenAt(const std::string& path) {
  const sockaddr_un address = addressOf(path);
  struct stat status = {};
  if (lstat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode)) {
    if (somebodyListens(address)) {
      throw std::runtime_error("control socket " + path + ": another process listens there");
    }
    unlink(path.c_str());
  }
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  const mode_t mask = umask(0077);
  const bool isBound = fd != -1 && bind(fd, plain(address), sizeof address) == 0;
  const int error = errno;
  umask(mask);
  if (!isBound || listen(fd, 8) != 0) {
    const std::string reason = reasonOf(isBound ? errno : error);
    close(fd);
    throw std::runtime_error("control socket " + path + ": " + reason);
  }
  return fd;
}

}  // namespace

class Connection {
 public:
  Connection(Server& server, int fd) : server_(server), fd_(fd), lines_(server.limits_.lineBytes) {
    server_.loop_.watch(fd_, POLLIN, [this](short events) { onReady(events); });
  }
  ~Connection() {
    server_.hub_.remove(hubId_);
    server_.loop_.cancel(halfLineTimer_);
    server_.loop_.cancel(endTimer_);
    server_.loop_.forget(fd_);
    close(fd_);
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  void refuse(const std::string& error) {
    send(R"({"ok":false,"error":)" + text::jsonQuoted(error) + "}");
    end();
  }

 private:
  void onReady(short events) {
    if (isEnding_ || (events & POLLOUT) != 0) {
      flush();
    }
    if (!isEnding_ && (events & (POLLIN | POLLHUP | POLLERR)) != 0) {
      receive();
    }
  }

  void receive() {
    char buffer[16384];
    const ssize_t count = recv(fd_, buffer, sizeof buffer, 0);
    if (count == -1 && (errno == EAGAIN || errno == EINTR)) {
      return;
    }
    if (count <= 0) {
      if (lines_.hasPartial()) {
        refuse("the last line has no end");
      } else {
        end();
      }
      return;
    }
    bool hasEnded = false;  // a line
    const bool isGood = lines_.add(buffer, static_cast<std::size_t>(count), [&](const std::string& line) {
      hasEnded = true;
      take(line);
      return !isEnding_;
    });
    if (!isGood && !isEnding_) {
      refuse("a line is longer than " + std::to_string(server_.limits_.lineBytes) + " bytes");
    }
    watchHalfLine(hasEnded);
  }

  // A line has its time from its first byte on, into however many pieces it is cut.
  void watchHalfLine(bool isNew) {
    if (isNew || isEnding_) {
      server_.loop_.cancel(std::exchange(halfLineTimer_, 0));
    }
    if (!isEnding_ && lines_.hasPartial() && halfLineTimer_ == 0) {
      halfLineTimer_ =
          server_.loop_.after(server_.limits_.halfLine, [this] { refuse("a line does not come to its end"); });
    }
  }

  void take(const std::string& line) {
    Request request;
    RequestError error;
    if (parseRequest(line, request, error)) {
      answer(request, request.words.empty() ? command::Reply::done() : obey(request));
      return;
    }
    command::Reply reply = command::Reply::refused(error.text);
    reply.column = error.column;
    answer(request, reply);
    if (error.isHopeless) {
      end();
    }
  }

  command::Reply obey(const Request& request) {
    command::Reply reply = obeyed(request);
    if (reply.isOk && request.words[0].text == "events" && request.words.size() > 1) {
      showEvents(request.words[1].text == "on");
    }
    return reply;
  }

  // What a command fails on concerns its client alone, not the process.
  command::Reply obeyed(const Request& request) const {
    try {
      return server_.obey_(request.words, request.end);
    } catch (const std::exception& error) {
      return command::Reply::refused(error.what());
    }
  }

  void showEvents(bool areShown) {
    server_.hub_.remove(hubId_);
    hubId_ = areShown ? server_.hub_.add([this](const talk::Event& event) { send(talk::toJsonLine(event)); }) : 0;
  }

  void answer(const Request& request, const command::Reply& reply) {
    const std::string line = talk::toJsonLine(request.words.empty() ? "" : request.words[0].text, reply);
    send(request.id.empty() ? line : "{\"id\":" + request.id + "," + line.substr(1));
  }

  void send(const std::string& line) {
    if (isEnding_) {
      return;
    }
    waiting_ += line + "\n";
    flush();
    if (waiting_.size() > server_.limits_.waitingBytes) {
      waiting_.clear();
      end();
    }
  }

  void flush() {
    while (!waiting_.empty()) {
      const ssize_t count = ::send(fd_, waiting_.data(), waiting_.size(), MSG_NOSIGNAL);
      if (count == -1 && errno == EINTR) {
        continue;
      }
      if (count == -1 && errno != EAGAIN) {
        waiting_.clear();
        end();
        return;
      }
      if (count == -1) {
        break;
      }
      waiting_.erase(0, static_cast<std::size_t>(count));
    }
    watch();
  }

  void watch() {
    if (isEnding_ && waiting_.empty()) {
      leave();
    } else {
      server_.loop_.watchFor(fd_, static_cast<short>((isEnding_ ? 0 : POLLIN) | (waiting_.empty() ? 0 : POLLOUT)));
    }
  }

  // The client is heard no more. What waits for it may still go out; what the socket has, it may read after the end.
  void end() {
    if (!isEnding_) {
      isEnding_ = true;
      server_.hub_.remove(hubId_);
      server_.loop_.cancel(std::exchange(halfLineTimer_, 0));
      endTimer_ = server_.loop_.after(server_.limits_.lastReplies, [this] { leave(); });
    }
    watch();
  }

  void leave() {
    server_.loop_.watchFor(fd_, 0);
    if (!std::exchange(hasLeft_, true)) {
      server_.drop(this);
    }
  }

  Server& server_;
  const int fd_;
  loop::Lines lines_;
  std::string waiting_;
  bool isEnding_ = false;
  bool hasLeft_ = false;
  talk::Hub::Id hubId_ = 0;
  loop::TimerId halfLineTimer_ = 0;
  loop::TimerId endTimer_ = 0;
};

Server::Server(loop::Loop& loop, talk::Hub& hub, std::string path, Obey obey, const Limits& limits)
    : loop_(loop), hub_(hub), path_(std::move(path)), obey_(std::move(obey)), limits_(limits), fd_(listenAt(path_)) {
  loop_.watch(fd_, POLLIN, [this](short) { accept(); });
}

Server::~Server() {
  *isAlive_ = false;
  connections_.clear();
  loop_.forget(fd_);
  close(fd_);
  unlink(path_.c_str());
}

void Server::accept() {
  const int fd = accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
  if (fd == -1) {
    return;
  }
  connections_.push_back(std::make_unique<Connection>(*this, fd));
  if (connections_.size() > limits_.clients) {
    connections_.back()->refuse("there are " + std::to_string(limits_.clients) + " clients already");
  }
}

// Later: the connection is in the middle of a call of its own.
void Server::drop(const Connection* connection) {
  loop_.post([this, isAlive = isAlive_, connection] {
    if (*isAlive) {
      connections_.erase(std::remove_if(connections_.begin(), connections_.end(),
                                        [connection](const auto& entry) { return entry.get() == connection; }),
                         connections_.end());
    }
  });
}

}  // namespace control
