#include "tests/fuzz/folder_objects.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>

#include "LinkAppCommon/iOSAppRecords.h"
#include "platform/reference/message_log_layout.h"
#include "platform/reference/named_lock.h"
#include "tests/fuzz/require.h"

namespace fuzz {
namespace {

using vqframework::AttachedPlace;
using vqframework::kMessageLogName;
using vqframework::MessageLogObject;
using vqframework::MessageSlot;

constexpr std::size_t kRecord = inspect::kSizeWordBytes;
constexpr std::uint32_t kMessages = 4;

using Bytes = std::vector<std::uint8_t>;

void fillHeader(vqframework::SharedHeader& header, std::uint32_t magic, std::uint32_t version, std::size_t size) {
  header.magic = magic;
  header.layoutVersion = version;
  header.wordSize = static_cast<std::uint32_t>(sizeof(void*));
  header.mutexSize = static_cast<std::uint32_t>(sizeof(pthread_mutex_t));
  header.objectSize = size;
  header.isReady.store(1);
}

template <class Record>
Bytes bytesOf(const Record& record) {
  const void* const begin = &record;
  const auto* const bytes = static_cast<const std::uint8_t*>(begin);
  return Bytes(bytes, bytes + sizeof record);
}

template <class Record>
Bytes segmentOf(const Record& record) {
  Bytes bytes = bytesOf(static_cast<std::uint32_t>(sizeof record));
  const Bytes rest = bytesOf(record);
  bytes.insert(bytes.end(), rest.begin(), rest.end());
  return bytes;
}

Bytes table() {
  const auto table = std::make_unique<iOSAppInfoList>();
  std::memset(table.get(), 0, sizeof *table);
  for (std::uint32_t place = 0; place < 2; ++place) {
    iOSAppInfo& entry = table->entry[place];
    entry.appId = place + 1;
    std::strcpy(entry.appName, place == 0 ? "navi" : "music");
    std::strcpy(entry.launchString, "com.example");
  }
  table->count = 2;
  return segmentOf(*table);
}

Bytes ring() {
  const auto ring = std::make_unique<iOSAppCommonDataList>();
  std::memset(ring.get(), 0, sizeof *ring);
  for (std::uint32_t slot = 0; slot < kMessages / 2; ++slot) {
    std::strcpy(reinterpret_cast<char*>(ring->slot[slot].data), "message");
    ring->slot[slot].size = 7;
  }
  ring->writeIndex = kMessages / 2;
  return segmentOf(*ring);
}

Bytes lock() {
  const auto lock = std::make_unique<vqframework::LockObject>();
  std::memset(static_cast<void*>(lock.get()), 0, sizeof *lock);
  fillHeader(lock->header, vqframework::kLockMagic, vqframework::kLockVersion, sizeof *lock);
  return bytesOf(*lock);
}

Bytes log() {
  const auto log = std::make_unique<MessageLogObject>();
  std::memset(static_cast<void*>(log.get()), 0, sizeof *log);
  fillHeader(log->header, vqframework::kMessageLogMagic, vqframework::kMessageLogVersion, sizeof *log);
  for (std::uint32_t i = 0; i < kMessages; ++i) {
    MessageSlot& slot = log->slots[i];
    const std::uint32_t announcement[] = {1, 1 + i % 2, i / 2};
    slot.sequence.store(i + 1);
    slot.time.store(1000000 * i);
    slot.number.store(i / 2);
    slot.id.store(2 + i % 2);
    slot.size.store(sizeof announcement);
    slot.pid.store(77 + i % 2);
    std::memcpy(static_cast<void*>(slot.payload), announcement, sizeof announcement);
  }
  log->head.store(kMessages);
  AttachedPlace& place = log->places[0];
  place.pid.store(77);
  place.position.store(kMessages);
  place.idCount.store(1);
  place.ids[0].store(3);
  return bytesOf(*log);
}

std::string temporaryFolder() {
  const char* const wanted = std::getenv("TMPDIR");
  std::string name = std::string(wanted == nullptr ? "/tmp" : wanted) + "/linkapp-fuzz-XXXXXX";
  require(mkdtemp(name.data()) != nullptr, "a folder can be made");
  return name;
}

}  // namespace

FolderObjects::FolderObjects() : folder_(temporaryFolder()) {
  require(mkdir((folder_ + "/proc").c_str(), 0755) == 0, "a folder can be made");
  make(inspect::kConnectStatusSegment, segmentOf(iosapp_def_::ConnectStatusNotify{}));
  make(inspect::kFromHUSegment, ring());
  make(inspect::kFromDeviceSegment, ring());
  make(inspect::kAppInfoSegment, table());
  for (const char* const segment : inspect::kSegments) {
    make(std::string(segment) + ".lock", lock());
  }
  make(kMessageLogName, log());
}

FolderObjects::~FolderObjects() {
  for (const Object& object : objects_) {
    close(object.fd);
  }
  std::filesystem::remove_all(folder_);
}

void FolderObjects::make(const std::string& name, Bytes bytes) {
  Object object;
  object.name = name;
  object.fd = open((folder_ + "/" + name).c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0664);
  require(object.fd != -1 && ::write(object.fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()),
          "an object can be made");
  object.whole = std::move(bytes);
  objects_.push_back(std::move(object));
}

FolderObjects::Object& FolderObjects::object(const std::string& name) {
  return *std::find_if(objects_.begin(), objects_.end(), [&name](const Object& one) { return one.name == name; });
}

void FolderObjects::write(Object& object, std::size_t offset, const void* bytes, std::size_t size) {
  offset = std::min(offset, object.whole.size());
  size = std::min(size, object.whole.size() - offset);
  require(pwrite(object.fd, bytes, size, static_cast<off_t>(offset)) == static_cast<ssize_t>(size),
          "an object can be written");
  object.written.emplace_back(offset, size);
}

std::uint64_t FolderObjects::head() {
  std::uint64_t head = 0;
  require(pread(object(kMessageLogName).fd, &head, sizeof head, offsetof(MessageLogObject, head)) >= 0, "it reads");
  return head;
}

void FolderObjects::disturb(Input& input) {
  Object& log = object(kMessageLogName);
  const auto putNumber = [&input](Object& target, std::size_t offset) {
    const std::uint32_t number = input.number();
    write(target, offset, &number, sizeof number);
  };
  Object& ring = object(input.flag() ? inspect::kFromHUSegment : inspect::kFromDeviceSegment);
  Object& table = object(inspect::kAppInfoSegment);
  switch (input.below(8)) {
    case 0:
      return putNumber(ring, kRecord + offsetof(iOSAppCommonDataList, writeIndex));
    case 1:
      return putNumber(ring,
                       kRecord + sizeof(iOSAppCommonDataSlot) * input.below(40) + offsetof(iOSAppCommonDataSlot, size));
    case 2:
      return putNumber(table, kRecord + offsetof(iOSAppInfoList, count));
    case 3: {
      const std::size_t entry = kRecord + sizeof(iOSAppInfo) * input.below(20);
      const std::string bytes = input.text();
      return write(table, entry + input.below(20), bytes.data(), bytes.size());
    }
    case 4: {
      const std::uint64_t head = input.flag() ? input.number() : input.record<std::uint64_t>();
      return write(log, offsetof(MessageLogObject, head), &head, sizeof head);
    }
    case 5: {
      const std::string bytes = input.text();
      return write(log, offsetof(MessageLogObject, places) + sizeof(AttachedPlace) * input.below(64), bytes.data(),
                   std::min(bytes.size(), sizeof(AttachedPlace)));
    }
    case 6: {
      const std::string bytes = input.text();
      return write(log, offsetof(MessageLogObject, head) + 4 * std::size_t{input.byte()}, bytes.data(), bytes.size());
    }
    default: {
      Object& any = objects_[input.below(static_cast<std::uint32_t>(objects_.size()))];
      const std::size_t offset = input.number() % any.whole.size();
      const std::string bytes = input.text();
      return write(any, offset, bytes.data(), bytes.size());
    }
  }
}

void FolderObjects::post(Input& input) {
  Object& log = object(kMessageLogName);
  const std::uint8_t shape = input.byte();
  const std::uint64_t sequence = shape < 224 ? head() : input.number();
  std::uint8_t bytes[sizeof(MessageSlot)] = {};
  const auto put = [&bytes](std::size_t offset, auto number) { std::memcpy(bytes + offset, &number, sizeof number); };
  put(offsetof(MessageSlot, sequence), sequence + 1 + (shape % 32 == 31 ? input.byte() : 0));
  put(offsetof(MessageSlot, time), std::uint64_t{1000000} * input.number());
  put(offsetof(MessageSlot, number), input.number());
  put(offsetof(MessageSlot, id), input.below(7));
  put(offsetof(MessageSlot, pid), 77 + input.below(4));
  std::string payload;
  if (input.flag()) {
    iosapp_def_::ConnectStatusNotify status = {};
    status.notifyType = input.below(7);
    std::uint32_t* const words = &status.notifyType;
    for (int i = 1; i < 9; ++i) {
      words[i] = input.number();
    }
    payload.assign(reinterpret_cast<const char*>(&status), sizeof status);
  } else {
    const std::uint32_t announcement[] = {input.number(), input.number(), input.number()};
    payload.assign(reinterpret_cast<const char*>(announcement), sizeof announcement);
    payload += input.text();
  }
  std::memcpy(bytes + offsetof(MessageSlot, payload), payload.data(),
              std::min(payload.size(), sizeof bytes - offsetof(MessageSlot, payload)));
  put(offsetof(MessageSlot, size), input.below(8) == 7 ? input.number() : static_cast<std::uint32_t>(payload.size()));
  write(log, offsetof(MessageLogObject, slots) + sizeof bytes * (sequence % vqframework::kSlotCount), bytes,
        sizeof bytes);
  if (shape < 224) {
    const std::uint64_t next = sequence + 1;
    write(log, offsetof(MessageLogObject, head), &next, sizeof next);
  }
}

void FolderObjects::resize(Input& input) {
  Object& any = objects_[input.below(static_cast<std::uint32_t>(objects_.size()))];
  const std::size_t size = input.number() % 200000;
  require(ftruncate(any.fd, static_cast<off_t>(size)) == 0, "an object can be resized");
  any.isResized = true;
}

void FolderObjects::restore() {
  for (Object& object : objects_) {
    if (object.isResized) {
      require(ftruncate(object.fd, static_cast<off_t>(object.whole.size())) == 0, "an object can be resized");
      object.written.assign(1, {0, object.whole.size()});
      object.isResized = false;
    }
    for (const auto& [offset, size] : object.written) {
      require(pwrite(object.fd, object.whole.data() + offset, size, static_cast<off_t>(offset)) ==
                  static_cast<ssize_t>(size),
              "an object can be restored");
    }
    object.written.clear();
  }
}

}  // namespace fuzz
