// A .tar.gz that is written from memory.
#pragma once

#include <string>

struct archive;

namespace bundle {

class Archive {
 public:
  // Makes the file, for its owner alone. Throws std::runtime_error, as all of this does.
  explicit Archive(const std::string& path);
  // What was not finished is removed.
  ~Archive();
  Archive(const Archive&) = delete;
  Archive& operator=(const Archive&) = delete;

  void add(const std::string& name, const std::string& content);
  // The file appears under its name, whole.
  void finish();

 private:
  void check(int result) const;

  const std::string path_;
  const std::string partPath_;
  ::archive* archive_ = nullptr;
  int fd_ = -1;
};

}  // namespace bundle
