#include "bundle/archive.h"

#include <archive.h>
#include <archive_entry.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <time.h>
#include <unistd.h>

#include <memory>
#include <stdexcept>
#include <system_error>

namespace bundle {
namespace {

struct EntryFree {
  void operator()(archive_entry* entry) const { archive_entry_free(entry); }
};

std::runtime_error failure(const std::string& path, int error) {
  return std::runtime_error(path + ": " + std::generic_category().message(error));
}

}  // namespace

Archive::Archive(const std::string& path) : path_(path), partPath_(path + ".part") {
  fd_ = open(partPath_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (fd_ == -1) {
    throw failure(partPath_, errno);
  }
  archive_ = archive_write_new();
  if (archive_ == nullptr || archive_write_add_filter_gzip(archive_) != ARCHIVE_OK ||
      archive_write_set_format_pax_restricted(archive_) != ARCHIVE_OK ||
      archive_write_open_fd(archive_, fd_) != ARCHIVE_OK) {
    archive_write_free(archive_);
    close(fd_);
    unlink(partPath_.c_str());
    throw std::runtime_error(path + ": no archive can be made");
  }
}

Archive::~Archive() {
  archive_write_free(archive_);
  if (fd_ != -1) {
    close(fd_);
    unlink(partPath_.c_str());
  }
}

void Archive::check(int result) const {
  if (result != ARCHIVE_OK) {
    const char* const text = archive_error_string(archive_);
    throw std::runtime_error(path_ + ": " + (text == nullptr ? "cannot be written" : text));
  }
}

void Archive::add(const std::string& name, const std::string& content) {
  const std::unique_ptr<archive_entry, EntryFree> entry(archive_entry_new());
  archive_entry_set_pathname(entry.get(), name.c_str());
  archive_entry_set_size(entry.get(), static_cast<la_int64_t>(content.size()));
  archive_entry_set_filetype(entry.get(), AE_IFREG);
  archive_entry_set_perm(entry.get(), 0600);
  archive_entry_set_mtime(entry.get(), time(nullptr), 0);
  check(archive_write_header(archive_, entry.get()));
  if (archive_write_data(archive_, content.data(), content.size()) != static_cast<la_ssize_t>(content.size())) {
    check(ARCHIVE_FATAL);
  }
}

void Archive::finish() {
  check(archive_write_close(archive_));
  if (fsync(fd_) != 0 && errno != EINVAL) {
    throw failure(path_, errno);
  }
  if (rename(partPath_.c_str(), path_.c_str()) != 0) {
    throw failure(path_, errno);
  }
  close(fd_);
  fd_ = -1;
}

}  // namespace bundle
