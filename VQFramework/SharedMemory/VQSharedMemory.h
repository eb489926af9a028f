// VQSharedMemory<T,N>: one named POSIX shared-memory segment that holds a record T, guarded by the lock of the same
// name. The first process creates and clears it, later ones attach. The segment outlives them all: nobody unlinks it.
//
//   byte 0..3   sizeof(T) as a 32-bit number, rewritten by every process that attaches
//   byte 4..    the record, usable only where `mapping` is not MAP_FAILED; the segment is 4 + sizeof(T) bytes long
//
// Construction never fails outright: an object whose `mapping` is MAP_FAILED is alive, but its record must not be
// touched. There is no second try for it.
// Threads: take the lock (VQSyncGuard) around every read and write of the record. The three members are set by the
// constructor and read without it.
// N other than 1 is not supported.
#pragma once

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <type_traits>

#include "VQFramework/Debug/VQDbgOutput.h"
#include "VQFramework/SharedMemory/VQSharedSyncObject.h"
#include "VQFramework/Sync/VQSyncGuard.h"
#include "VQFramework/Text/VQString.h"

template <class T, unsigned int N>
class VQSharedMemory : public VQSharedSyncObject {
  static_assert(N == 1, "a segment holds one record");
  static_assert(std::is_trivially_copyable<T>::value, "other processes see these bytes as they lie");
  static_assert(alignof(T) <= 4, "the record starts at byte 4 of a page");

 public:
  // Opens or creates segment "/" + `name`, up to kMaxNameLength characters, under the lock. Where that fails, one log
  // line tells.
  explicit VQSharedMemory(const char* name) VQ_NO_THREAD_SAFETY_ANALYSIS : VQSharedSyncObject(name),
                                                                           fd(-1),
                                                                           mapping(MAP_FAILED),
                                                                           isCreator(false) {
    if (IsNameUsable(name)) {
      VQSyncGuard guard(*this);
      OpenAndMap(name);
    }
  }

  ~VQSharedMemory() override {
    if (mapping != MAP_FAILED) {
      munmap(mapping, kSegmentSize);
      mapping = MAP_FAILED;
    }
    if (fd != -1) {
      close(fd);
      fd = -1;
    }
  }

  int fd;          // the segment's descriptor, -1 = none
  void* mapping;   // start of the segment, MAP_FAILED = not mapped
  bool isCreator;  // this object created the segment

 private:
  static constexpr std::size_t kSizeWordBytes = 4;
  static constexpr std::size_t kSegmentSize = kSizeWordBytes + sizeof(T);
  static constexpr mode_t kMode = 0664;

  // The line numbers here and below are those that log readers in the field filter by; they follow no line count.
  static bool IsNameUsable(const char* name) {
    if (name == nullptr) {
      VQDbgOutput::DbgPrint(kLogFile, kLogFunction, 79, 1, "VQSharedMemory Failed. Error. Name is NULL.\n");
      return false;
    }
    if (name[0] == '\0') {
      VQDbgOutput::DbgPrint(kLogFile, kLogFunction, 86, 1, "VQSharedMemory Failed. Error. Name is nothing.\n");
      return false;
    }
    if (strlen(name) > kMaxNameLength) {
      VQDbgOutput::DbgPrint(kLogFile, kLogFunction, 93, 1, "VQSharedMemory Failed. Error. Name is over the length.\n");
      return false;
    }
    return true;
  }

  void OpenAndMap(const char* name) VQ_NO_THREAD_SAFETY_ANALYSIS {
    if (!Open(name)) {
      VQDbgOutput::DbgPrintStdErr(kLogFile, kLogFunction, 122, "shm_open error\n");
      return;
    }
    const bool reserved = ReserveWhereShort();
    if (!reserved) {
      VQDbgOutput::DbgPrintStdErr(kLogFile, kLogFunction, 135, "ftruncate error\n");
      return;  // touching pages that nobody reserved would end the process
    }
    mapping = mmap(nullptr, kSegmentSize, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (mapping == MAP_FAILED) {
      VQDbgOutput::DbgPrintStdErr(kLogFile, kLogFunction, 151, "mmap error\n");
      return;
    }
    __atomic_store_n(static_cast<std::uint32_t*>(mapping), static_cast<std::uint32_t>(sizeof(T)), __ATOMIC_RELAXED);
    if (isCreator) {
      VQSyncGuard nested(*this);
      memset(static_cast<char*>(mapping) + kSizeWordBytes, 0, sizeof(T));
    }
  }

  // Whether to go on: a failed second open shows at the mapping step, every other failure is told by the caller.
  bool Open(const char* name) {
    constexpr unsigned int kCodePage = 32;
    VQString text("/", kCodePage);
    text.append(name, kCodePage);
    const std::string objectName = text.getBytes(kCodePage);

    fd = shm_open(objectName.c_str(), O_CREAT | O_EXCL | O_RDWR, kMode);
    if (fd != -1) {
      isCreator = true;
      return true;
    }
    if (errno != EEXIST) {
      return false;
    }
    fd = shm_open(objectName.c_str(), O_CREAT | O_RDWR, kMode);
    if (fd == -1 && errno == EACCES) {
      // A sticky directory refuses O_CREAT on another owner's object even where its mode would let us in.
      fd = shm_open(objectName.c_str(), O_RDWR, 0);
    }
    return true;
  }

  // Brings a new segment, or one whose creator died before it had its size, to full size with its pages reserved:
  // without them a full file system would end the first process that writes. The pages come first, so that a segment
  // of full size always has them. A full-size segment stays as it is.
  bool ReserveWhereShort() const {
    if (fd == -1) {
      return true;  // the mapping step tells
    }
    struct stat status = {};
    if (!isCreator && fstat(fd, &status) != 0) {
      return false;  // nobody knows whether there are pages to touch
    }
    if (!isCreator && status.st_size >= static_cast<off_t>(kSegmentSize)) {
      return true;
    }
    int error = 0;
    do {
      error = posix_fallocate(fd, 0, static_cast<off_t>(kSegmentSize));
    } while (error == EINTR);
    return error == 0 && ftruncate(fd, static_cast<off_t>(kSegmentSize)) == 0;
  }

  static constexpr const char* kLogFile = "VQFramework/SharedMemory/VQSharedMemory";
  static constexpr const char* kLogFunction = "VQSharedMemory";
};
