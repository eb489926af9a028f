// What the targets of the channel's ends share: a record of what the product does, and two rings that it and its
// transcription write alike.
#pragma once

#include <bitset>
#include <cstdint>
#include <memory>
#include <string>

#include "LinkAppCommon/iOSAppCommonLocalMem.h"
#include "LinkAppCommon/iOSAppRecords.h"
#include "tests/fuzz/channel_model.h"
#include "tests/fuzz/input.h"

namespace fuzz {

// Log lines and posts of the product since the last call, behind what `observed` holds; it is emptied.
Lines takeLines(Lines& observed);
// To be called once: from here on log lines are kept.
void keepLogIn(Lines& observed);
// Nothing has been posted and no lock taken.
void beginExecution();

// A payload as the notifier hands it over: aligned for any type, and followed by 512 zero bytes.
class Payload {
 public:
  explicit Payload(const std::string& bytes);
  void* data() { return bytes_.get(); }
  unsigned int size() const { return size_; }

 private:
  std::unique_ptr<std::uint8_t[]> bytes_;
  unsigned int size_;
};

// A ring of the product and the transcription's copy of it.
class RingPair {
 public:
  RingPair(iOSAppCommonLocalMem& endpoint, const char* segment);

  channel_model::RingModel model();

  // Some other process writes into it: any slot, size or index.
  void disturb(Input& input);
  // It changes the size of a slot while the product has let the lock go between its two reads.
  void disturbMeanwhile(Input& input, channel_model::RingModel& model);
  void endOfMeanwhile(channel_model::RingModel& model);
  // The product is about to write.
  void expectWrite();

  void requireSame() const;
  void clear();

 private:
  iOSAppCommonDataList* record_;  // in the segment
  std::unique_ptr<iOSAppCommonDataList> copy_;
  const iOSAppCommonLocalMem& endpoint_;
  const char* segment_;
  std::bitset<iOSAppCommonDataList::kSlotCount> touched_;
  bool isWritten_ = false;
};

// A connection-status message: field by field from numbers that collide, or any bytes at all.
std::string statusPayload(Input& input);
// The announcement of a slot.
std::string announcementPayload(Input& input);
// An identifier: mostly `usual`.
unsigned int identifier(Input& input, unsigned int usual);

}  // namespace fuzz
