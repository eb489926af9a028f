// What an application has sent and received.
#pragma once

#include <cstdint>

#include "app/source.h"
#include "text/fields.h"

namespace app {

class Tally {
 public:
  void noteSent() { ++sent_; }
  void noteRefused() { ++refused_; }
  void noteResult(bool isFailed) { ++(isFailed ? failed_ : delivered_); }
  void noteMessage(const Bytes& message);

  std::uint64_t sent() const { return sent_; }
  std::uint64_t refused() const { return refused_; }
  std::uint64_t results() const { return delivered_ + failed_; }
  std::uint64_t failed() const { return failed_; }
  std::uint64_t received() const { return received_; }
  // Whether numbered messages are missing or came twice.
  bool isBroken() const { return missing_ != 0 || repeated_ != 0; }

  text::Fields fields() const;

 private:
  std::uint64_t sent_ = 0;
  std::uint64_t refused_ = 0;
  std::uint64_t delivered_ = 0;
  std::uint64_t failed_ = 0;
  std::uint64_t received_ = 0;
  std::uint64_t receivedBytes_ = 0;
  // Of received messages that carry a number (text/pattern.h). Number 0 begins anew.
  std::uint64_t numbered_ = 0;
  std::uint64_t missing_ = 0;
  std::uint64_t repeated_ = 0;
  std::uint32_t nextNumber_ = 0;
};

}  // namespace app
