#include "tests/inspect/hand_made.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "inspect/segments.h"
#include "platform/reference/named_lock.h"
#include "tests/support/shm_files.h"

namespace hand_made {
namespace {

using vqframework::MessageLogObject;
using vqframework::MessageSlot;
using vqframework::SharedHeader;

void require(bool isTrue, const char* what) {
  if (!isTrue) {
    throw std::runtime_error(what);
  }
}

void fillHeader(SharedHeader& header, std::uint32_t magic, std::uint32_t version, std::size_t size) {
  header.magic = magic;
  header.layoutVersion = version;
  header.wordSize = static_cast<std::uint32_t>(sizeof(void*));
  header.mutexSize = static_cast<std::uint32_t>(sizeof(pthread_mutex_t));
  header.objectSize = size;
  header.isReady.store(1);
}

std::uint64_t nanoseconds() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000 + static_cast<std::uint64_t>(now.tv_nsec);
}

template <std::size_t size>
void copyText(char (&field)[size], const std::string& text) {
  std::memcpy(field, text.data(), std::min(text.size(), size));
}

}  // namespace

void makeObject(const std::string& name, std::size_t size) {
  test_support::removeShm(name);
  const int fd = shm_open(("/" + name).c_str(), O_CREAT | O_EXCL | O_RDWR, 0664);
  require(fd != -1 && ftruncate(fd, static_cast<off_t>(size)) == 0, "no object");
  close(fd);
}

void makeSegment(const std::string& name) {
  const std::size_t record = inspect::recordBytesOf(name);
  makeObject(name, inspect::kSizeWordBytes + record);
  require(test_support::pokeShmWord(name, 0, static_cast<std::uint32_t>(record)), "no size word");
}

void makeFourSegments() {
  for (const char* const name : inspect::kSegments) {
    makeSegment(name);
    makeLock(name);
  }
}

void makeLock(const std::string& segment) {
  const std::string name = segment + ".lock";
  makeObject(name, sizeof(vqframework::LockObject));
  SharedHeader header = {};
  fillHeader(header, vqframework::kLockMagic, vqframework::kLockVersion, sizeof(vqframework::LockObject));
  require(test_support::pokeShm(name, 0, &header, sizeof header), "no header");
}

void writeRecord(const std::string& segment, std::size_t offset, const void* bytes, std::size_t size) {
  require(test_support::pokeShm(segment, inspect::kSizeWordBytes + offset, bytes, size), "no record");
}

void writeWord(const std::string& segment, std::size_t offset, std::uint32_t word) {
  writeRecord(segment, offset, &word, sizeof word);
}

void registerApp(std::uint32_t place, const std::string& name, const std::string& launchString,
                 const std::string& iAP1Name) {
  iOSAppInfo entry = {};
  entry.appId = place + 1;
  copyText(entry.iAP1Name, iAP1Name);
  copyText(entry.appName, name);
  copyText(entry.launchString, launchString);
  writeRecord(inspect::kAppInfoSegment, place * sizeof entry, &entry, sizeof entry);
  writeWord(inspect::kAppInfoSegment, offsetof(iOSAppInfoList, count), place + 1);
}

void writeSlot(const std::string& ring, std::uint32_t slot, const std::string& bytes) {
  const std::size_t begin = slot * sizeof(iOSAppCommonDataSlot);
  writeRecord(ring, begin, bytes.data(), bytes.size());
  writeWord(ring, begin + offsetof(iOSAppCommonDataSlot, size), static_cast<std::uint32_t>(bytes.size()));
  writeWord(ring, offsetof(iOSAppCommonDataList, writeIndex), (slot + 1) % iOSAppCommonDataList::kSlotCount);
}

Log::Log() {
  makeObject(vqframework::kMessageLogName, sizeof(MessageLogObject));
  const int fd = shm_open((std::string("/") + vqframework::kMessageLogName).c_str(), O_RDWR, 0);
  void* const mapping = mmap(nullptr, sizeof(MessageLogObject), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  close(fd);
  require(mapping != MAP_FAILED, "no log");
  object_ = static_cast<MessageLogObject*>(mapping);
  fillHeader(object_->header, vqframework::kMessageLogMagic, vqframework::kMessageLogVersion, sizeof *object_);
}

Log::~Log() {
  munmap(object_, sizeof *object_);
}

void Log::append(std::uint32_t id, const void* payload, std::uint32_t sizeWord, std::uint32_t size, std::uint32_t pid) {
  const std::uint64_t sequence = object_->head.load();
  vqframework::IdentifierCount* count = nullptr;
  for (vqframework::IdentifierCount& entry : object_->counts) {
    if (entry.isUsed.load() == 0 || entry.id.load() == id) {
      count = &entry;
      break;
    }
  }
  const bool isCounted = count != nullptr && (sizeWord & vqframework::kControlMessage) == 0;
  MessageSlot& slot = this->slot(sequence);
  slot.sequence.store(0);
  slot.time.store(nanoseconds());
  slot.number.store(isCounted ? count->posted.load() : 0);
  slot.id.store(id);
  slot.size.store(sizeWord);
  slot.pid.store(pid == 0 ? static_cast<std::uint32_t>(getpid()) : pid);
  for (std::size_t word = 0; word * sizeof(vqframework::MessageWord) < size; ++word) {
    vqframework::MessageWord value = 0;
    const std::size_t begin = word * sizeof value;
    std::memcpy(&value, static_cast<const char*>(payload) + begin, std::min(sizeof value, size - begin));
    slot.payload[word].store(value);
  }
  slot.sequence.store(sequence + 1);
  object_->head.store(sequence + 1);
  object_->posted.fetch_add(1);
  if (isCounted) {
    count->id.store(id);
    count->isUsed.store(1);
    count->posted.fetch_add(1);
  }
}

void Log::post(std::uint32_t id, const void* payload, std::uint32_t size, std::uint32_t pid) {
  append(id, payload, size | 3U << 16, size, pid);  // "on processor 3"
}

void Log::post(std::uint32_t id, const std::string& payload) {
  post(id, payload.data(), static_cast<std::uint32_t>(payload.size()));
}

void Log::postForNobody() {
  append(0, nullptr, vqframework::kControlMessage, 0, 0);
}

void Log::postStatus(iosapp_def_::ConnectStatusNotify status, std::uint32_t pid) {
  post(4, &status, sizeof status, pid);
}

void Log::announce(std::uint32_t id, std::uint32_t appId, std::uint32_t slotIndex, std::uint32_t pid) {
  const iOSAppCommonDataNotify announcement = {1, appId, slotIndex};
  post(id, &announcement, sizeof announcement, pid);
}

void Log::announcePlace(std::uint32_t place, std::uint32_t pid) {
  post(5, &place, sizeof place, pid);
}

void Log::listReceiver(std::size_t index, std::uint32_t pid, std::uint64_t position,
                       const std::vector<std::uint32_t>& ids) {
  vqframework::AttachedPlace& entry = place(index);
  entry.pid.store(pid);
  entry.position.store(position);
  entry.idCount.store(static_cast<std::uint32_t>(ids.size()));
  for (std::size_t i = 0; i < std::min<std::size_t>(ids.size(), vqframework::AttachedPlace::kIdentifiers); ++i) {
    entry.ids[i].store(ids[i]);
  }
}

iosapp_def_::ConnectStatusNotify statusOf(iosapp_def_::NotifyType type, std::uint32_t appId) {
  iosapp_def_::ConnectStatusNotify status = {};
  status.notifyType = type;
  status.deviceId = 1;
  status.appId = appId;
  return status;
}

}  // namespace hand_made
