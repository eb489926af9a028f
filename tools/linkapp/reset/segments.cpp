#include "reset/segments.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <system_error>

#include "LinkAppCommon/iOSAppRecords.h"
#include "platform/reference/message_log_layout.h"

namespace reset {
namespace {

constexpr std::size_t kSizeWordBytes = 4;
constexpr const char* kTable = "iOSAppCommonLocalMem_AppInfo";

std::string pathOf(const std::string& object) {
  return "/dev/shm/" + object;
}

bool exists(const std::string& object) {
  return access(pathOf(object).c_str(), F_OK) == 0;
}

std::string lockOf(const Segment& segment) {
  return std::string(segment.name) + ".lock";
}

// A segment in this process's memory, without any of what attaching to the channel does.
class Mapping {
 public:
  Mapping(const char* name, bool isWritable) {
    errno = 0;
    const int fd = shm_open((std::string("/") + name).c_str(), isWritable ? O_RDWR : O_RDONLY, 0);
    struct stat status = {};
    if (fd != -1 && fstat(fd, &status) == 0) {
      size_ = static_cast<std::size_t>(status.st_size);
      if (size_ != 0) {
        bytes_ = mmap(nullptr, size_, isWritable ? PROT_READ | PROT_WRITE : PROT_READ, MAP_SHARED, fd, 0);
      }
    }
    error_ = errno;
    if (fd != -1) {
      close(fd);
    }
  }
  ~Mapping() {
    if (bytes_ != MAP_FAILED) {
      munmap(bytes_, size_);
    }
  }
  Mapping(const Mapping&) = delete;
  Mapping& operator=(const Mapping&) = delete;

  bool isThere() const { return bytes_ != MAP_FAILED; }
  bool isEmpty() const { return size_ == 0; }
  int error() const { return error_; }
  char* record() const { return static_cast<char*>(bytes_) + kSizeWordBytes; }
  std::size_t recordBytes() const { return size_ < kSizeWordBytes ? 0 : size_ - kSizeWordBytes; }

 private:
  void* bytes_ = MAP_FAILED;
  std::size_t size_ = 0;
  int error_ = 0;
};

}  // namespace

const std::vector<Segment>& segments() {
  static const auto* const all = new std::vector<Segment>{
      {"iOSAppCommonLocalMem_ConnectStatus", sizeof(iosapp_def_::ConnectStatusNotify)},
      {"iOSAppMem_Device1_From_HU", sizeof(iOSAppCommonDataList)},
      {"iOSAppMem_Device1_From_Device", sizeof(iOSAppCommonDataList)},
      {kTable, sizeof(iOSAppInfoList)},
  };
  return *all;
}

std::vector<Segment> existingSegments() {
  std::vector<Segment> existing;
  std::copy_if(segments().begin(), segments().end(), std::back_inserter(existing),
               [](const Segment& segment) { return exists(segment.name); });
  return existing;
}

std::vector<std::string> channelObjects() {
  std::vector<std::string> objects = {vqframework::kMessageLogName};
  for (const Segment& segment : segments()) {
    objects.emplace_back(segment.name);
    objects.push_back(lockOf(segment));
  }
  return objects;
}

SegmentLocks::SegmentLocks(const std::vector<Segment>& segments) VQ_NO_THREAD_SAFETY_ANALYSIS {
  for (const Segment& segment : segments) {
    if (!exists(lockOf(segment))) {
      throw std::runtime_error(pathOf(segment.name) + " has lost its lock object; remove the segment by hand when " +
                               "nothing runs that uses the channel");
    }
  }
  for (const Segment& segment : segments) {
    locks_.push_back(std::make_unique<VQSharedSyncObject>(segment.name));
    locks_.back()->lock();
  }
}

SegmentLocks::~SegmentLocks() VQ_NO_THREAD_SAFETY_ANALYSIS {
  while (!locks_.empty()) {
    locks_.back()->unlock();
    locks_.pop_back();
  }
}

unsigned int takenPlaces() {
  const Mapping table(kTable, false);
  if (!table.isThere() || table.recordBytes() < sizeof(iOSAppInfoList)) {
    return 0;
  }
  std::uint32_t count = 0;
  memcpy(&count, table.record() + offsetof(iOSAppInfoList, count), sizeof count);
  return std::min(count, iOSAppInfoList::kEntryCount);
}

void clear(const Segment& segment) {
  const Mapping mapping(segment.name, true);
  if (mapping.isThere()) {
    memset(mapping.record(), 0, std::min(mapping.recordBytes(), segment.recordBytes));
  } else if (!mapping.isEmpty() || mapping.error() == EACCES) {
    throw std::runtime_error(pathOf(segment.name) + ": " + std::generic_category().message(mapping.error()));
  }
}

}  // namespace reset
