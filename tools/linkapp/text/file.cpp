#include "text/file.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace text {

// By system calls: a stream of the standard library throws where a read fails, with words of its own.
bool readFile(const std::string& path, std::string& content) {
  content.clear();
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd == -1) {
    return false;
  }
  char buffer[16384];
  ssize_t count = 0;
  while ((count = read(fd, buffer, sizeof buffer)) > 0 || (count == -1 && errno == EINTR)) {
    content.append(buffer, count > 0 ? static_cast<std::size_t>(count) : 0);
  }
  const int error = errno;
  close(fd);
  errno = error;
  return count == 0;
}

void makeFolder(const std::string& path) {
  std::error_code error;
  std::filesystem::create_directories(path, error);
  if (error) {
    throw std::runtime_error(path + ": " + error.message());
  }
}

std::ofstream openLog(const std::string& path, bool isAnew) {
  makeFolder(std::filesystem::path(path).parent_path());
  std::ofstream log(path, isAnew ? std::ios::trunc : std::ios::app);
  if (!log.is_open()) {
    throw std::runtime_error(path + ": " + std::generic_category().message(errno));
  }
  return log;
}

}  // namespace text
