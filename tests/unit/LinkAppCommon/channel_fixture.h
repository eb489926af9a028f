// What the channel's unit tests share: a clean start for each test, another process's view of a segment, matchers for
// log lines and posted messages.
#pragma once

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "LinkAppCommon/iOSAppCommonUtil.h"
#include "LinkAppCommon/iOSAppRecords.h"
#include "VQFramework/Singleton/VQSingleton.h"
#include "platform/fake/FakeFramework.h"

namespace vqfake {

inline void PrintTo(const LogLine& line, std::ostream* out) {
  *out << line.file << " " << line.function << ":" << line.line << " tag " << line.tag
       << (line.isStdErr ? " stderr " : " ") << testing::PrintToString(line.text);
}

}  // namespace vqfake

constexpr const char* kConnectStatusSegment = "iOSAppCommonLocalMem_ConnectStatus";
constexpr const char* kAppInfoSegment = "iOSAppCommonLocalMem_AppInfo";
constexpr const char* kFromHuSegment = "iOSAppMem_Device1_From_HU";
constexpr const char* kFromDeviceSegment = "iOSAppMem_Device1_From_Device";

constexpr const char* kSegmentFile = "VQFramework/SharedMemory/VQSharedMemory";
constexpr const char* kServerFile = "LinkAppCommon/private/iOSApp/iOSAppCommonServer";
constexpr const char* kClientFile = "LinkAppCommon/private/iOSApp/iOSAppCommonClient";
constexpr const char* kUtilFile = "LinkAppCommon/private/iOSApp/iOSAppCommonUtil";
constexpr const char* kAppInfoFile = "LinkAppCommon/private/iOSApp/iOSAppCommonLocalMem_AppInfo";

using Bytes = std::vector<std::uint8_t>;

inline testing::Matcher<const vqfake::LogLine&> logLine(const std::string& file, const std::string& function, int line,
                                                        unsigned int tag, const std::string& text) {
  using vqfake::LogLine;
  return testing::AllOf(testing::Field(&LogLine::file, file), testing::Field(&LogLine::function, function),
                        testing::Field(&LogLine::line, line), testing::Field(&LogLine::tag, tag),
                        testing::Field(&LogLine::isStdErr, false), testing::Field(&LogLine::text, text));
}

// A failed system call of a segment: such lines carry no tag.
inline testing::Matcher<const vqfake::LogLine&> segmentErrorLine(int line, const std::string& text) {
  using vqfake::LogLine;
  return testing::AllOf(testing::Field(&LogLine::file, kSegmentFile),
                        testing::Field(&LogLine::function, "VQSharedMemory"), testing::Field(&LogLine::line, line),
                        testing::Field(&LogLine::tag, 0U), testing::Field(&LogLine::isStdErr, true),
                        testing::Field(&LogLine::text, text));
}

// The bytes of an existing segment as another process sees them, up to the end of its last page.
class SegmentView {
 public:
  explicit SegmentView(const std::string& name) {
    const int fd = shm_open(("/" + name).c_str(), O_RDWR, 0);
    struct stat status = {};
    if (fd == -1 || fstat(fd, &status) != 0) {
      throw std::runtime_error("no segment " + name);
    }
    size_ = static_cast<std::size_t>(status.st_size);
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    mappedSize_ = (size_ + page - 1) / page * page;
    void* const mapped = mmap(nullptr, mappedSize_, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    if (mapped == MAP_FAILED) {
      throw std::runtime_error("cannot map segment " + name);
    }
    bytes_ = static_cast<std::uint8_t*>(mapped);
  }

  ~SegmentView() { munmap(bytes_, mappedSize_); }
  SegmentView(const SegmentView&) = delete;
  SegmentView& operator=(const SegmentView&) = delete;

  std::size_t size() const { return size_; }
  std::uint8_t* bytes() { return bytes_; }
  Bytes copy() const { return Bytes(bytes_, bytes_ + size_); }
  // What lies behind the segment's end in its last page.
  Bytes slack() const { return Bytes(bytes_ + size_, bytes_ + mappedSize_); }

  std::uint32_t sizeWord() const {
    std::uint32_t word = 0;
    std::memcpy(&word, bytes_, sizeof(word));
    return word;
  }

  template <class T>
  T& record() {
    return *reinterpret_cast<T*>(bytes_ + 4);
  }

 private:
  std::uint8_t* bytes_ = nullptr;
  std::size_t size_ = 0;
  std::size_t mappedSize_ = 0;
};

class ChannelTest : public testing::Test {
 protected:
  // Segments that are there already are not this test's: it stops instead of writing into a running system.
  void SetUp() override {
    for (const char* name : kSegments) {
      const int fd = shm_open(objectName(name).c_str(), O_RDONLY, 0);
      if (fd != -1) {
        close(fd);
        throw std::runtime_error(std::string("there is a segment already: ") + name);
      }
    }
    segmentsAreOurs_ = true;
    vqfake::reset();
  }

  // The registry lives until the process exits; here every test starts without one.
  void TearDown() override {
    vqfake::setAfterUnlock({});
    vqfake::setNotifierUsable(true);
    VQSingleton<iOSAppCommonUtil>::destroy();
    if (segmentsAreOurs_) {
      for (const char* name : kSegments) {
        shm_unlink(objectName(name).c_str());
      }
    }
  }

 private:
  static constexpr const char* kSegments[] = {kConnectStatusSegment, kAppInfoSegment, kFromHuSegment,
                                              kFromDeviceSegment};
  static std::string objectName(const char* name) { return std::string("/") + name; }

  bool segmentsAreOurs_ = false;
};

// What is posted from here on.
class PostedSince {
 public:
  std::vector<vqfake::Message> messages() const {
    std::vector<vqfake::Message> all = vqfake::posted();
    return {all.begin() + start_, all.end()};
  }
  bool none() const { return messages().empty(); }

  // The only message; anything else is an error of the caller.
  vqfake::Message single() const {
    const std::vector<vqfake::Message> all = messages();
    if (all.size() != 1) {
      throw std::runtime_error("expected one message, posted: " + std::to_string(all.size()));
    }
    return all.front();
  }

 private:
  const std::ptrdiff_t start_ = static_cast<std::ptrdiff_t>(vqfake::posted().size());
};

template <class T>
T payloadAs(const vqfake::Message& message) {
  if (message.payload.size() != sizeof(T)) {
    throw std::runtime_error("payload of " + std::to_string(message.payload.size()) + " bytes");
  }
  T record = {};
  std::memcpy(&record, message.payload.data(), sizeof(T));
  return record;
}

inline std::uint32_t wordAt(const vqfake::Message& message, std::size_t offset) {
  std::uint32_t word = 0;
  std::memcpy(&word, &message.payload.at(offset + 3) - 3, sizeof(word));
  return word;
}

// Bytes [begin, end) of a message.
inline Bytes bytesOf(const vqfake::Message& message, std::ptrdiff_t begin, std::ptrdiff_t end) {
  return Bytes(message.payload.begin() + begin, message.payload.begin() + end);
}

inline iosapp_def_::ConnectStatusNotify statusMessage(unsigned int kind, std::uint32_t deviceId) {
  iosapp_def_::ConnectStatusNotify message = {};
  message.notifyType = kind;
  message.deviceId = deviceId;
  return message;
}

inline iosapp_def_::ConnectStatusNotify connectMessage(std::uint32_t deviceId, std::uint32_t connectStatus,
                                                       std::uint32_t connectType = 0, std::uint32_t iapType = 0) {
  iosapp_def_::ConnectStatusNotify message = statusMessage(iosapp_def_::NOTIFYID_CONNECTSTATUS, deviceId);
  message.connectStatus = connectStatus;
  message.connectType = connectType;
  message.iapType = iapType;
  return message;
}

inline iosapp_def_::ConnectStatusNotify sessionMessage(std::uint32_t deviceId, std::uint32_t appId,
                                                       std::uint32_t status) {
  iosapp_def_::ConnectStatusNotify message = statusMessage(iosapp_def_::NOTIFYID_SESSIONSTATUS, deviceId);
  message.appId = appId;
  message.status = status;
  return message;
}

// Hands a connection-status message to the handler of a server or client, as its endpoint does.
template <class Sut>
unsigned int handleStatus(Sut& sut, iosapp_def_::ConnectStatusNotify message) {
  return sut.onConnectStatusUpdate(4, &message, sizeof(message));
}

inline Bytes patternOf(std::size_t size, unsigned int seed = 1) {
  Bytes bytes(size);
  for (std::size_t i = 0; i < size; ++i) {
    bytes[i] = static_cast<std::uint8_t>(1 + (i * 7 + seed) % 251);
  }
  return bytes;
}
