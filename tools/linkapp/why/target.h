// The application that is asked about and the device side, and the conditions that all ways share.
#pragma once

#include <optional>
#include <string>

#include "why/walk.h"

namespace why {

class Target {
 public:
  Target(const doctor::Examination& all, const Question& question);

  // Of the application.
  Condition isRegistered(const char* effect) const;
  Condition isRunning() const;
  Condition hasLog() const;
  Condition isDeviceKnown(const char* effect) const;
  Condition isConnected(const char* effect) const;
  Condition hasSelected() const;
  Condition hasSession(const char* effect) const;
  Condition hasMapped(const char* segment, const char* effect) const;
  Condition hasRead(const inspect::Said& said, const std::string& what, const char* effect) const;

  // Of the device side.
  Condition hasDeviceSide() const;
  Condition deviceSideHasMapped(const char* segment) const;
  Condition deviceSideHasRead(const inspect::Said& said, const std::string& what) const;

  // Of both.
  Condition isFree(const char* segment, const char* effect) const;
  Condition isInRing(inspect::RingId id, std::uint32_t slot, const inspect::ReceiverView* reader) const;

  const inspect::AppView* app() const { return app_; }
  std::uint32_t appId() const { return app_ == nullptr ? 0 : app_->entry.place + 1; }
  std::string name() const;  // "navi", in quotes where it must be
  const inspect::ReceiverView* receiver() const { return receiverOf(ownerPid()); }
  const inspect::ReceiverView* deviceSideReceiver() const;
  // The process that speaks as the device side; null where none does.
  const doctor::DeviceSide* deviceSide() const;
  // The last word on the app's session, and on the device's link.
  const doctor::SessionChange* lastSession() const;
  const inspect::ChannelState::Link* lastLink() const;
  // Whether nothing that was said since the app registered is missing in the log.
  bool knowsAllOfApp() const;
  std::string said(const inspect::Said& said) const;
  const doctor::Examination& all() const { return all_; }

 private:
  void find();
  std::uint32_t ownerPid() const;
  const inspect::ReceiverView* receiverOf(std::uint32_t pid) const;
  const doctor::ChannelProcess* processOf(std::uint32_t pid) const;
  Condition mapped(const std::string& who, std::uint32_t pid, const char* segment, const char* effect) const;
  Condition read(const std::string& who, const inspect::ReceiverView* receiver, const inspect::Said& said,
                 const std::string& what, const char* effect) const;

  const doctor::Examination& all_;
  const Question& question_;
  const inspect::AppView* app_ = nullptr;
};

}  // namespace why
