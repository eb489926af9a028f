#include "tests/support/shm_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

namespace test_support {
namespace {

std::optional<struct stat> statusOf(const std::string& name) {
  struct stat status = {};
  if (stat(shmFile(name).c_str(), &status) != 0) {
    return std::nullopt;
  }
  return status;
}

}  // namespace

std::string shmFile(const std::string& name) {
  return "/dev/shm/" + name;
}

std::vector<std::string> shmNames() {
  std::vector<std::string> names;
  DIR* const folder = opendir(shmFile("").c_str());
  if (folder == nullptr) {
    return names;
  }
  while (const dirent* const entry = readdir(folder)) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") {
      names.push_back(name);
    }
  }
  closedir(folder);
  std::sort(names.begin(), names.end());
  return names;
}

bool shmExists(const std::string& name) {
  return statusOf(name).has_value();
}

std::optional<std::size_t> shmSize(const std::string& name) {
  const std::optional<struct stat> status = statusOf(name);
  return status ? std::optional<std::size_t>(static_cast<std::size_t>(status->st_size)) : std::nullopt;
}

std::optional<mode_t> shmMode(const std::string& name) {
  const std::optional<struct stat> status = statusOf(name);
  return status ? std::optional<mode_t>(status->st_mode & 07777U) : std::nullopt;
}

std::optional<std::uint32_t> shmWord(const std::string& name, std::size_t offset) {
  const int fd = open(shmFile(name).c_str(), O_RDONLY | O_CLOEXEC);
  if (fd == -1) {
    return std::nullopt;
  }
  std::uint32_t word = 0;
  const ssize_t count = pread(fd, &word, sizeof word, static_cast<off_t>(offset));
  close(fd);
  return count == sizeof word ? std::optional<std::uint32_t>(word) : std::nullopt;
}

bool pokeShm(const std::string& name, std::size_t offset, const void* data, std::size_t size) {
  const int fd = open(shmFile(name).c_str(), O_WRONLY | O_CLOEXEC);
  if (fd == -1) {
    return false;
  }
  const ssize_t count = pwrite(fd, data, size, static_cast<off_t>(offset));
  close(fd);
  return count == static_cast<ssize_t>(size);
}

bool pokeShmWord(const std::string& name, std::size_t offset, std::uint32_t word) {
  return pokeShm(name, offset, &word, sizeof word);
}

bool removeShm(const std::string& name) {
  return unlink(shmFile(name).c_str()) == 0;
}

void clearShm() {
  for (const std::string& name : shmNames()) {
    removeShm(name);
  }
}

}  // namespace test_support
