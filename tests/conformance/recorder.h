// An observer that keeps what it is called with and then does what the test wants.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "VQFramework/Observer/VQObserver.h"

namespace conformance {

class Recorder {
 public:
  // Names of recorders, each time one was called.
  struct Diary {
    std::mutex mutex;
    std::vector<std::string> names;
  };

  Recorder() = default;
  Recorder(std::string name, Diary& diary) : name_(std::move(name)), diary_(&diary) {}

  VQObserver_* observer() { return observer_.get(); }
  void destroyObserver() { observer_.reset(); }

  std::vector<unsigned int> ids() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return ids_;
  }
  std::vector<std::string> payloads() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return payloads_;
  }
  unsigned int count() const { return count_; }

  // Set before the first call.
  std::function<void()> then;                                   // at the end of each call
  std::function<void(const void*, unsigned int)> whileItsHere;  // with the payload itself

 private:
  unsigned int onUpdate(unsigned int id, void* data, unsigned int size) {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      ids_.push_back(id);
      payloads_.push_back(size == 0 ? std::string() : std::string(static_cast<const char*>(data), size));
    }
    ++count_;
    if (diary_ != nullptr) {
      const std::lock_guard<std::mutex> lock(diary_->mutex);
      diary_->names.push_back(name_);
    }
    if (whileItsHere) {
      whileItsHere(data, size);
    }
    if (then) {
      then();
    }
    return 0;
  }

  const std::string name_;
  Diary* const diary_ = nullptr;
  mutable std::mutex mutex_;
  std::vector<unsigned int> ids_;
  std::vector<std::string> payloads_;
  std::atomic<unsigned int> count_{0};
  std::unique_ptr<VQObserver<Recorder>> observer_ = std::make_unique<VQObserver<Recorder>>(this, &Recorder::onUpdate);
};

}  // namespace conformance
