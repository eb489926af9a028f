#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <system_error>

#include "VQFramework/Debug/VQDbgOutput.h"
#include "VQFramework/Settings/SaveFileAccessFactory.h"
#include "platform/descriptor.h"
#include "platform/inprocess/settings_store.h"
#include "platform/state_folder.h"
#include "platform/uninterrupted.h"

using platform::Descriptor;
using platform::uninterrupted;
using platform::writeAll;

template class VQSingleton<SaveFileAccessFactory>;

namespace vqframework {
namespace {

constexpr const char* kLogFile = "VQFramework/Settings/SaveFileAccessMetaText";
constexpr const char* kAsideSuffix = ".new";
constexpr std::size_t kLongestText =
    std::size_t{1024} * 1024;  // more is no settings file; reading it would stop the program
constexpr mode_t kFileMode = 0664;
constexpr mode_t kFolderMode = 0755;

// File systems that lie behind a network or another process answer with EINTR while signals come.
int openFile(const std::string& path, int flags, mode_t mode = 0) {
  return uninterrupted([&] { return open(path.c_str(), flags | O_CLOEXEC, mode); });
}

// All of these: 0, or the error number.

int readAll(int fd, std::string& text) {
  text.clear();
  char buffer[4096];
  for (;;) {
    const ssize_t count = read(fd, buffer, sizeof buffer);
    if (count == 0) {
      return 0;
    }
    if (count > 0) {
      text.append(buffer, static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      return errno;
    }
    if (text.size() > kLongestText) {
      return EFBIG;
    }
  }
}

int lockFolder(int fd) {
  return uninterrupted([fd] { return flock(fd, LOCK_EX); }) == 0 ? 0 : errno;
}

int syncFile(int fd) {
  return uninterrupted([fd] { return fsync(fd); }) == 0 ? 0 : errno;
}

// Some file systems cannot write a folder out on demand; they do it in their own time.
int syncFolder(int fd) {
  const int error = syncFile(fd);
  return error == EINVAL ? 0 : error;
}

int syncParentOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string parent = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  const Descriptor folder(openFile(parent, O_RDONLY | O_DIRECTORY));
  return folder.get() == -1 ? errno : syncFolder(folder.get());
}

// A new folder's name stands in its parent: that has to reach the disk too. A folder whose name did not goes again, or
// the next try would take it for one that is there.
int makeFolder(const std::string& path) {
  if (mkdir(path.c_str(), kFolderMode) != 0) {
    return errno == EEXIST ? 0 : errno;
  }
  const int error = syncParentOf(path);
  if (error != 0) {
    rmdir(path.c_str());
  }
  return error;
}

// One that is there already may refuse, the last one tells; where that lacks the one above it, the reason for that.
int makeFolders(const std::string& path) {
  int reason = ENOENT;
  for (std::size_t end = path.find('/', 1); end != std::string::npos; end = path.find('/', end + 1)) {
    const int error = makeFolder(path.substr(0, end));
    reason = error == 0 || error == ENOENT ? reason : error;
  }
  const int error = makeFolder(path);
  return error == ENOENT ? reason : error;
}

class FileStore : public SettingsStore {
 public:
  FileStore(const std::string& folder, const std::string& name) : folder_(folder), name_(name) {}

  bool read(std::string& text) override {
    text.clear();
    const int error = folder_.empty() ? ENOENT : readFile(path(), text);
    return error == 0 || report("FOpen", "cannot be read", error);
  }

  bool replace(const std::function<std::string(const std::string&)>& edit) override {
    const int error = folder_.empty() ? ENOENT : replaceFile(edit);
    return error == 0 || report("Flush", "cannot be written", error);
  }

 private:
  std::string path() const { return folder_ + "/" + name_; }
  std::string asidePath() const { return path() + kAsideSuffix; }

  // A missing file is an empty one. A pipe or a device of this name must not make the caller wait.
  static int readFile(const std::string& path, std::string& text) {
    const Descriptor file(openFile(path, O_RDONLY | O_NONBLOCK));
    if (file.get() == -1) {
      return errno == ENOENT ? 0 : errno;
    }
    struct stat status = {};
    if (fstat(file.get(), &status) != 0) {
      return errno;
    }
    return S_ISREG(status.st_mode) ? readAll(file.get(), text) : EINVAL;
  }

  int replaceFile(const std::function<std::string(const std::string&)>& edit) const {
    int error = makeFolders(folder_);
    if (error != 0) {
      return error;
    }
    const Descriptor folder(openFile(folder_, O_RDONLY | O_DIRECTORY));
    if (folder.get() == -1) {
      return errno;
    }
    // Two processes that write at once would take each other's changes back. The kernel unlocks for a process that
    // dies.
    error = lockFolder(folder.get());
    if (error == 0) {
      error = replaceLocked(folder.get(), edit);
      flock(folder.get(), LOCK_UN);  // closing alone would not do where a child was forked meanwhile
    }
    return error;
  }

  int replaceLocked(int folder, const std::function<std::string(const std::string&)>& edit) const {
    std::string current;
    int error = readFile(path(), current);
    if (error != 0) {
      return error;
    }
    error = writeAside(edit(current));
    if (error == 0 && rename(asidePath().c_str(), path().c_str()) != 0) {
      error = errno;
    }
    if (error != 0) {
      unlink(asidePath().c_str());
      return error;
    }
    return syncFolder(folder);
  }

  // Complete and on the disk before it takes the old file's place.
  int writeAside(const std::string& text) const {
    unlink(asidePath().c_str());  // what a loss of power left behind
    const Descriptor aside(openFile(asidePath(), O_WRONLY | O_CREAT | O_EXCL, kFileMode));
    if (aside.get() == -1) {
      return errno;
    }
    int error = keepAccessRights(aside.get());
    error = error != 0 ? error : writeAll(aside.get(), text);
    return error != 0 ? error : syncFile(aside.get());
  }

  // Whoever could use the file before can use it afterwards, and nobody else, as far as we may decide that. Owner and
  // group stay; a member of the group who is not the owner becomes it and leaves the group. Where the group cannot be
  // kept, its rights go: they would be another group's.
  int keepAccessRights(int aside) const {
    struct stat status = {};
    if (stat(path().c_str(), &status) != 0) {
      return errno == ENOENT ? 0 : errno;
    }
    constexpr uid_t kKeep = static_cast<uid_t>(-1);
    const bool isSameGroup =
        fchown(aside, status.st_uid, status.st_gid) == 0 || fchown(aside, kKeep, status.st_gid) == 0;
    return fchmod(aside, status.st_mode & (isSameGroup ? 0777U : 0707U)) == 0 ? 0 : errno;
  }

  bool report(const char* function, const char* what, int error) const {
    const std::string where = folder_.empty() ? "no folder for " + name_ : path();
    VQDbgOutput::DbgPrint(kLogFile, function, 0, 1, "%s %s: %s\n", where.c_str(), what,
                          std::generic_category().message(error).c_str());
    return false;
  }

  const std::string folder_;
  const std::string name_;
};

}  // namespace

std::unique_ptr<SettingsStore> settingsStoreFor(const std::string& name) {
  return std::make_unique<FileStore>(platform::stateFolder(), name);
}

}  // namespace vqframework
