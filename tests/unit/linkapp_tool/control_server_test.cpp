// The control socket with limits that a test can reach, and with commands of the test's own.
#include "control/server.h"

#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <stdexcept>

#include "scenario/source.h"

namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;

constexpr std::chrono::seconds kPatience{20};

// A client in the server's own loop.
class Client {
 public:
  Client(loop::Loop& loop, const std::string& path)
      : loop_(loop), fd_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, path.c_str(), path.size() + 1);
    EXPECT_EQ(connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    loop_.watch(fd_, 0, [this](short) { receive(); });
  }
  ~Client() {
    loop_.forget(fd_);
    close(fd_);
  }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  void send(const std::string& bytes) const {
    EXPECT_EQ(::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
  }
  // Says that nothing more will come.
  void finish() const { shutdown(fd_, SHUT_WR); }
  // False where the server has left.
  bool trySend(char byte) const { return ::send(fd_, &byte, 1, MSG_NOSIGNAL) == 1; }
  // From now on it reads; before it does not.
  void read() { loop_.watchFor(fd_, POLLIN); }
  bool awaitEnd() {
    read();
    return loop_.runUntil([this] { return hasEnded_; }, kPatience);
  }
  bool awaitLine() {
    read();
    return loop_.runUntil([this] { return told_.find('\n') != std::string::npos; }, kPatience);
  }
  const std::string& told() const { return told_; }

 private:
  void receive() {
    char buffer[65536];
    const ssize_t count = recv(fd_, buffer, sizeof buffer, 0);
    if (count > 0) {
      told_.append(buffer, static_cast<std::size_t>(count));
    } else if (count == 0 || errno != EAGAIN) {
      hasEnded_ = true;
      loop_.watchFor(fd_, 0);
    }
  }

  loop::Loop& loop_;
  const int fd_;
  std::string told_;
  bool hasEnded_ = false;
};

class ControlServer : public testing::Test {
 public:
  void start(control::Server::Obey obey) {
    sut_ = std::make_unique<control::Server>(loop_, hub_, path_, std::move(obey), limits_);
  }

  const scenario::TemporaryFolder folder_;
  const std::string path_ = folder_.path() + "/socket";
  control::Limits limits_;
  loop::Loop loop_;
  talk::Hub hub_;
  std::unique_ptr<control::Server> sut_;
};

TEST_F(ControlServer, answers_with_the_reason_where_a_command_throws) {
  start([](const auto& words, std::size_t) -> command::Reply {
    if (words[0].text == "fail") {
      throw std::runtime_error("the disk is gone");
    }
    return command::Reply::done();
  });
  Client client(loop_, path_);
  client.send("{\"id\":1,\"command\":\"fail\"}\n");
  ASSERT_TRUE(client.awaitLine());
  EXPECT_EQ(client.told(), "{\"id\":1,\"reply\":\"fail\",\"ok\":false,\"error\":\"the disk is gone\"}\n");
  Client other(loop_, path_);
  other.send("{\"command\":\"go\"}\n");
  ASSERT_TRUE(other.awaitLine());
  EXPECT_THAT(other.told(), HasSubstr(R"("reply":"go","ok":true)"));
}

// More than a socket holds, so that replies wait when the client's end is seen.
constexpr int kRequests = 200;

command::Reply longReply() {
  return command::Reply::done({{"text", std::string(10000, 'x')}});
}

void askOften(const Client& client) {
  for (int i = 0; i < kRequests; ++i) {
    client.send("{\"command\":\"tell\"}\n");
  }
}

TEST_F(ControlServer, sends_what_waits_to_a_client_that_has_ended_its_side) {
  start([](const auto&, std::size_t) { return longReply(); });
  Client client(loop_, path_);
  askOften(client);
  client.finish();
  ASSERT_TRUE(client.awaitEnd());
  EXPECT_EQ(std::count(client.told().begin(), client.told().end(), '\n'), kRequests);
}

TEST_F(ControlServer, sends_what_waits_before_the_error_to_a_client_that_sends_no_request) {
  start([](const auto&, std::size_t) { return longReply(); });
  Client client(loop_, path_);
  askOften(client);
  client.send("hello\n");
  ASSERT_TRUE(client.awaitEnd());
  EXPECT_EQ(std::count(client.told().begin(), client.told().end(), '\n'), kRequests + 1);
  EXPECT_THAT(client.told(), testing::EndsWith("\"error\":\"not a line of JSON\"}\n"));
}

TEST_F(ControlServer, does_not_wait_for_ever_until_its_last_replies_are_read) {
  limits_.lastReplies = milliseconds(20);
  start([](const auto&, std::size_t) { return longReply(); });
  Client client(loop_, path_);
  askOften(client);
  ASSERT_TRUE(loop_.runUntil([this] { return sut_->clientCount() == 1; }, kPatience));
  client.finish();
  EXPECT_TRUE(loop_.runUntil([this] { return sut_->clientCount() == 0; }, kPatience));
}

// A byte again and again, sooner than the limit; in the end the server gives up all the same.
TEST_F(ControlServer, gives_a_line_its_time_from_its_first_byte_however_slowly_it_comes) {
  limits_.halfLine = milliseconds(200);
  start([](const auto&, std::size_t) { return command::Reply::done(); });
  Client client(loop_, path_);
  client.send("{\"command\":\"go\"}\n{");
  ASSERT_TRUE(client.awaitLine());
  std::function<void()> goOn = [&] {
    if (client.trySend(' ')) {
      loop_.after(milliseconds(20), goOn);
    }
  };
  goOn();
  ASSERT_TRUE(client.awaitEnd());
  EXPECT_THAT(client.told(), testing::EndsWith("{\"ok\":false,\"error\":\"a line does not come to its end\"}\n"));
}

}  // namespace
