// What these tests need of the notifier's log and of the delivery thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "platform/reference/message_log.h"
#include "tests/conformance/recorder.h"

namespace log_access {

// Identifiers of different groups.
constexpr unsigned int kA = 0x7D000001U;
constexpr unsigned int kB = 0x7D000002U;

vqframework::MessageLog& log();
vqframework::MessageLogObject& object();

bool add(VQSharedMemNotifier& notifier, conformance::Recorder& recorder, const std::vector<unsigned int>& ids);
bool notify(VQSharedMemNotifier& notifier, unsigned int id, const std::string& payload = "");

std::uint32_t sleepingGroups();
std::uint32_t sleeperCount();
std::uint32_t owedGroups();

// Threads of this process that are named as the delivery thread is.
std::vector<long> deliveryThreads();
// Waits until there is exactly one and it sleeps for the group of `id`.
bool isDeliveryAsleepFor(unsigned int id);

// Moves the log that stands in /dev/shm out of the way for its lifetime: children that are started meanwhile have one
// of their own.
class LogOutOfTheWay {
 public:
  LogOutOfTheWay();
  ~LogOutOfTheWay();
  LogOutOfTheWay(const LogOutOfTheWay&) = delete;
  LogOutOfTheWay& operator=(const LogOutOfTheWay&) = delete;

 private:
  const bool wasThere_;
};

}  // namespace log_access
