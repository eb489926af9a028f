#include "tests/conformance/worker.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <utility>

#include "tests/support/wait_until.h"

using test_support::waitUntil;

namespace conformance {

bool isAsleep(long thread) {
  std::ifstream file("/proc/" + std::to_string(thread) + "/stat");
  std::string line;
  std::getline(file, line);
  const std::size_t nameEnd = line.rfind(") ");
  return nameEnd != std::string::npos && line.compare(nameEnd, 3, ") S") == 0;
}

Worker::Worker(std::function<void()> work)
    : thread_([this, work = std::move(work)] {
        id_ = syscall(SYS_gettid);
        work();
        isDone_ = true;
      }) {}

Worker::~Worker() {
  thread_.join();
}

bool Worker::isHeldUp() const {
  return waitUntil([this] { return isDone_ || (id_ != 0 && isAsleep(id_)); }) && !isDone_;
}

bool Worker::ends() const {
  return waitUntil([this] { return isDone_.load(); });
}

void Gate::open() {
  const std::lock_guard<std::mutex> lock(mutex_);
  isOpen_ = true;
  opened_.notify_all();
}

void Gate::pass() {
  std::unique_lock<std::mutex> lock(mutex_);
  opened_.wait(lock, [this] { return isOpen_; });
}

}  // namespace conformance
