// Role "raw": a process that uses none of our libraries, only the kernel, with its user's rights. It says "ready" and
// hears, answered by the result,
//   may PATH                     "rw", "r-", "-w" or "--": how it may open it
//   chmod PATH | unlink PATH | rename PATH         "done" or why not
//   bytes PATH OFFSET COUNT      hex
//   poke PATH OFFSET HEX         "done" or why not
//   resize PATH BYTES            the same
//   make PATH MODE BYTES         a file with exactly this mode; the same
//   make-other PATH KIND         "pipe", "folder" or "link" in its place; the same
//   read-lock PATH               a file lock on the whole object, as a reader may hold one, kept until its end
//   lock-folder PATH             the lock that whoever may open a folder may hold; the same
//   move-sleepers PATH OFFSET    those who sleep on the word, to a word of its own, through a read-only mapping;
//                                answered by how many
//   wake-moved                   answered by how many
//   watch PATH                   from now on it hears of what happens in the folder
//   seen NAME                    waits until somebody opened the file; "opened" or "nothing"
#include <errno.h>
#include <fcntl.h>
#include <linux/futex.h>
#include <poll.h>
#include <string.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <climits>
#include <functional>
#include <map>
#include <memory>

#include "tests/process/message_pattern.h"
#include "tests/support/roles.h"
#include "tests/support/wait_until.h"

namespace {

using Words = std::vector<std::string>;

std::string outcome(bool isDone) {
  return isDone ? "done" : strerror(errno);
}

class Descriptor {
 public:
  Descriptor(const std::string& path, int flags) : fd_(open(path.c_str(), flags | O_CLOEXEC)) {}
  ~Descriptor() {
    if (fd_ != -1) {
      close(fd_);
    }
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return fd_; }

 private:
  const int fd_;
};

std::string mayOpen(const Words& words) {
  const bool mayRead = Descriptor(words.at(1), O_RDONLY).get() != -1;
  const bool mayWrite = Descriptor(words.at(1), O_WRONLY).get() != -1;
  return std::string(mayRead ? "r" : "-") + (mayWrite ? "w" : "-");
}

std::string bytesOf(const Words& words) {
  const Descriptor file(words.at(1), O_RDONLY);
  std::vector<std::uint8_t> bytes(numberOf(words.at(3)));
  const ssize_t count = pread(file.get(), bytes.data(), bytes.size(), static_cast<off_t>(numberOf(words.at(2))));
  return count == static_cast<ssize_t>(bytes.size()) ? toHex(bytes.data(), bytes.size()) : strerror(errno);
}

std::string poke(const Words& words) {
  const Descriptor file(words.at(1), O_WRONLY);
  const std::vector<std::uint8_t> bytes = fromHex(words.at(3));
  return outcome(pwrite(file.get(), bytes.data(), bytes.size(), static_cast<off_t>(numberOf(words.at(2)))) ==
                 static_cast<ssize_t>(bytes.size()));
}

std::string make(const Words& words) {
  const auto mode = static_cast<mode_t>(std::stoul(words.at(2), nullptr, 8));
  const int fd = open(words.at(1).c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  const bool isMade =
      fd != -1 && ftruncate(fd, static_cast<off_t>(numberOf(words.at(3)))) == 0 && fchmod(fd, mode) == 0;
  std::string result = outcome(isMade);
  if (fd != -1) {
    close(fd);
  }
  return result;
}

std::string makeOther(const Words& words) {
  const char* const path = words.at(1).c_str();
  if (words.at(2) == "pipe") {
    return outcome(mkfifo(path, 0666) == 0);
  }
  return outcome(words.at(2) == "folder" ? mkdir(path, 0777) == 0 : symlink("/dev/null", path) == 0);
}

std::string readLock(const Words& words) {
  static std::vector<std::unique_ptr<Descriptor>>* const kept = new std::vector<std::unique_ptr<Descriptor>>;
  kept->push_back(std::make_unique<Descriptor>(words.at(1), O_RDONLY));
  struct flock range = {};
  range.l_type = F_RDLCK;
  range.l_whence = SEEK_SET;
  return outcome(fcntl(kept->back()->get(), F_SETLK, &range) == 0);
}

std::string lockFolder(const Words& words) {
  static const Descriptor* const kept = new Descriptor(words.at(1), O_RDONLY | O_DIRECTORY);
  return outcome(flock(kept->get(), LOCK_EX | LOCK_NB) == 0);
}

std::uint32_t* ownWord() {
  static std::uint32_t word = 0;
  return &word;
}

std::string moveSleepers(const Words& words) {
  const Descriptor file(words.at(1), O_RDONLY);
  void* const page = mmap(nullptr, 4096, PROT_READ, MAP_SHARED, file.get(), 0);
  if (page == MAP_FAILED) {
    return strerror(errno);
  }
  void* const word = static_cast<char*>(page) + numberOf(words.at(2));
  return std::to_string(syscall(SYS_futex, word, FUTEX_REQUEUE, 0, INT_MAX, ownWord(), 0));
}

std::string wakeMoved(const Words& /*words*/) {
  return std::to_string(syscall(SYS_futex, ownWord(), FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0));
}

int watcher() {
  static const int fd = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
  return fd;
}

std::string watch(const Words& words) {
  return outcome(inotify_add_watch(watcher(), words.at(1).c_str(), IN_OPEN | IN_CREATE) != -1);
}

std::string seen(const Words& words) {
  bool isSeen = false;
  const bool isOver = test_support::waitUntil([&] {
    alignas(inotify_event) char buffer[4096];
    const ssize_t count = read(watcher(), buffer, sizeof buffer);
    for (ssize_t at = 0; at < count;) {
      inotify_event event = {};
      memcpy(&event, buffer + at, sizeof event);
      const char* const name = buffer + at + sizeof event;
      isSeen = isSeen || (event.len != 0 && words.at(1) == name && (event.mask & IN_OPEN) != 0);
      at += static_cast<ssize_t>(sizeof event + event.len);
    }
    return isSeen;
  });
  return isOver ? "opened" : "nothing";
}

TEST_ROLE(raw) {
  const std::map<std::string, std::function<std::string(const Words&)>> commands = {
      {"may", &mayOpen},
      {"chmod", [](const Words& words) { return outcome(chmod(words.at(1).c_str(), 0666) == 0); }},
      {"unlink", [](const Words& words) { return outcome(unlink(words.at(1).c_str()) == 0); }},
      {"rename", [](const Words& words) { return outcome(rename(words.at(1).c_str(), "/dev/shm/renamed") == 0); }},
      {"bytes", &bytesOf},
      {"poke", &poke},
      {"resize",
       [](const Words& words) {
         return outcome(truncate(words.at(1).c_str(), static_cast<off_t>(numberOf(words.at(2)))) == 0);
       }},
      {"make", &make},
      {"make-other", &makeOther},
      {"read-lock", &readLock},
      {"lock-folder", &lockFolder},
      {"move-sleepers", &moveSleepers},
      {"wake-moved", &wakeMoved},
      {"watch", &watch},
      {"seen", &seen},
  };
  test_support::say("ready");
  while (const auto line = test_support::hear()) {
    const Words words = wordsOf(*line);
    const auto found = words.empty() ? commands.end() : commands.find(words[0]);
    test_support::answer(found == commands.end() ? "unknown command" : found->second(words));
  }
  return 0;
}

}  // namespace
