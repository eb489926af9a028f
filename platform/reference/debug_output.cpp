#include "VQFramework/Debug/VQDbgOutput.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <string>

#include "platform/inprocess/formatted.h"
#include "platform/inprocess/mutex.h"
#include "platform/reference/wake_debt.h"
#include "platform/uninterrupted.h"

using platform::uninterrupted;

namespace vqframework {
namespace {

constexpr const char* kJournalSocket = "/run/systemd/journal/socket";
constexpr const char* kFilePrefix = "file:";

enum class Place { kOff, kDescriptor, kJournal };

struct Sink {
  VQDbgSink function;
  void* context;
};

struct Output {
  Mutex mutex;  // serialises the sink's calls; lines to a descriptor need no lock, one write is one line
  // Null = none. Replaced as a whole and under the lock; atomic for the fork handler, which cannot wait for it.
  std::atomic<const Sink*> sink{nullptr};
  Place place = Place::kDescriptor;
  int fd = STDERR_FILENO;
  const Output* parents = nullptr;  // in a forked child: the one it was copied from, never used again
};

// Where the log goes into a pipe that nobody reads any more the kernel would end the program. Held back for the write,
// and taken away after it unless one was waiting before.
class NoBrokenPipeSignal {
 public:
  NoBrokenPipeSignal() {
    sigemptyset(&signal_);
    sigaddset(&signal_, SIGPIPE);
    sigset_t waiting;
    sigpending(&waiting);
    wasWaiting_ = sigismember(&waiting, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &signal_, &before_);
  }
  ~NoBrokenPipeSignal() {
    const timespec atOnce = {};
    while (!wasWaiting_ && sigtimedwait(&signal_, nullptr, &atOnce) == -1 && errno == EINTR) {
    }
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  NoBrokenPipeSignal(const NoBrokenPipeSignal&) = delete;
  NoBrokenPipeSignal& operator=(const NoBrokenPipeSignal&) = delete;

 private:
  sigset_t signal_;
  sigset_t before_;
  bool wasWaiting_ = false;
};

// Addressed anew with each line: the journal may be restarted, and another socket stands there then. Never waits for a
// journal that takes nothing: standard error gets the line then.
bool sendToJournal(int fd, const std::string& entry) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  strncpy(address.sun_path, kJournalSocket, sizeof address.sun_path - 1);
  return uninterrupted([&] {
           return sendto(fd, entry.data(), entry.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
                         reinterpret_cast<const sockaddr*>(&address), sizeof address);
         }) != -1;
}

// A place that cannot be had leaves standard error, so that no line is lost.
void choosePlace(Output& output) {
  const char* const choice = getenv("VQDBG");
  if (choice == nullptr || choice[0] == '\0' || strcmp(choice, "stderr") == 0) {
    return;
  }
  if (strcmp(choice, "off") == 0) {
    output.place = Place::kOff;
    return;
  }
  int fd = -1;
  if (strcmp(choice, "journal") == 0) {
    fd = access(kJournalSocket, F_OK) == 0 ? socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0) : -1;
    output.place = fd == -1 ? Place::kDescriptor : Place::kJournal;
  } else if (strncmp(choice, kFilePrefix, strlen(kFilePrefix)) == 0) {
    fd = static_cast<int>(uninterrupted(
        [&] { return open(choice + strlen(kFilePrefix), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644); }));
  }
  if (fd == -1) {
    dprintf(STDERR_FILENO, "VQDBG=%s cannot be had; the log goes to standard error\n", choice);
    return;
  }
  output.fd = fd;
}

// Never destroyed: late destructors log too. No lock guards the first use: a forked child would never get the copy of
// one that another thread of its parent held.
std::atomic<Output*> instance{nullptr};

Output& output() {
  Output* found = instance.load(std::memory_order_acquire);
  if (found == nullptr) {
    Output* const made = new Output;
    choosePlace(*made);
    if (instance.compare_exchange_strong(found, made, std::memory_order_acq_rel)) {
      return *made;
    }
    if (made->fd != STDERR_FILENO) {
      close(made->fd);
    }
    delete made;
  }
  return *found;
}

// The child's copy of the lock may be held for ever, by a thread that it does not have.
void renewInChild() {
  const Output* const old = instance.load(std::memory_order_acquire);
  if (old == nullptr) {
    return;
  }
  Output* const fresh = new Output;
  fresh->sink.store(old->sink.load(std::memory_order_relaxed), std::memory_order_relaxed);
  fresh->place = old->place;
  fresh->fd = old->fd;
  fresh->parents = old;
  instance.store(fresh, std::memory_order_release);
}

__attribute__((constructor)) void watchForks() {
  pthread_atfork(nullptr, nullptr, &renewInChild);
}

// One call is one line: line breaks at the end go, those within and other control characters are shown.
std::string visible(const char* text) {
  std::size_t length = strlen(text);
  while (length != 0 && (text[length - 1] == '\n' || text[length - 1] == '\r')) {
    --length;
  }
  std::string result;
  for (std::size_t i = 0; i < length; ++i) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    if (c >= 0x20 && c != 0x7F) {
      result += text[i];
    } else {
      char escaped[8];
      snprintf(escaped, sizeof escaped, "\\x%02x", c);
      result += escaped;
    }
  }
  return result;
}

std::string lineOf(const VQDbgRecord& record) {
  const std::string tag = record.isStdErr ? "" : " " + std::to_string(record.tag);
  return std::string("[") + record.file + ":" + std::to_string(record.line) + " " + record.function + tag + "] " +
         visible(record.text);
}

// Whether a line goes out without waiting for a reader. A broken place counts, too: writing fails at once there.
bool takesLineAtOnce(int fd) {
  pollfd place = {fd, POLLOUT, 0};
  return uninterrupted([&place] { return poll(&place, 1, 0); }) == 1;
}

// The line goes out in one call, so that lines of several threads and processes do not mix.
void writeLine(const Output& target, const VQDbgRecord& record) {
  std::string line = lineOf(record);
  if (target.place == Place::kJournal) {
    const std::string entry = "PRIORITY=4\nSYSLOG_IDENTIFIER=linkapp\nMESSAGE=" + line + "\n";
    if (sendToJournal(target.fd, entry)) {
      return;
    }
  }
  const int fd = target.place == Place::kJournal ? STDERR_FILENO : target.fd;
  // A thread that waited for a reader with a named lock held would make every process wait that wants the lock.
  if (holdsNamedLock() && !takesLineAtOnce(fd)) {
    return;
  }
  line += '\n';
  // A log that cannot be written must not stop the program.
  const NoBrokenPipeSignal quiet;
  uninterrupted([&] { return write(fd, line.data(), line.size()); });
}

void emit(const VQDbgRecord& record) {
  Output& target = output();
  {
    MutexLock lock(target.mutex);
    const Sink* const sink = target.sink.load(std::memory_order_acquire);
    if (sink != nullptr) {
      sink->function(record, sink->context);
      return;
    }
  }
  if (target.place != Place::kOff) {
    writeLine(target, record);
  }
}

// The log changes nothing for its caller: not the error number, and a line that finds no memory is dropped.
__attribute__((format(printf, 2, 0))) void print(VQDbgRecord record, const char* format, va_list arguments) {
  const int errorBefore = errno;
  try {
    const std::string text = formatted(format, arguments);
    record.text = text.c_str();
    emit(record);
  } catch (const std::bad_alloc&) {  // dropped
  }
  errno = errorBefore;
}

}  // namespace
}  // namespace vqframework

void VQDbgOutput::DbgPrint(const char* file, const char* function, int line, unsigned int tag, const char* format,
                           ...) {
  va_list arguments;
  va_start(arguments, format);
  vqframework::print({file, function, line, tag, false, nullptr}, format, arguments);
  va_end(arguments);
}

void VQDbgOutput::DbgPrintStdErr(const char* file, const char* function, int line, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  vqframework::print({file, function, line, 0, true, nullptr}, format, arguments);
  va_end(arguments);
}

void VQDbgOutput::SetSink(VQDbgSink sink, void* context) {
  vqframework::Output& target = vqframework::output();
  const vqframework::Sink* const chosen = sink == nullptr ? nullptr : new vqframework::Sink{sink, context};
  vqframework::MutexLock lock(target.mutex);
  delete target.sink.exchange(chosen, std::memory_order_acq_rel);
}
