// This process's place in the log's table of attached processes.
//
// The table is there to be looked at; nothing depends on it. When all places are taken the process works unlisted.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/reference/message_log_layout.h"

namespace vqframework {

class AttachedProcess {
 public:
  // Takes a free place, or one whose process is gone.
  explicit AttachedProcess(MessageLogObject& log);
  ~AttachedProcess();
  AttachedProcess(const AttachedProcess&) = delete;
  AttachedProcess& operator=(const AttachedProcess&) = delete;

  // Gives the place back; nothing is listed from then on.
  void release();

  void setIdentifiers(const std::vector<std::uint32_t>& ids);
  void setPosition(std::uint64_t position);
  void addLost(std::uint64_t count);

 private:
  AttachedPlace* place_;  // null where the table is full, or given back
};

}  // namespace vqframework
