// The nine objects of the channel as files in a folder of this process, for those who look at them from outside.
//
// They are whole at the start: two apps are registered, both rings hold messages, the log announces them. An execution
// writes into them what it wants and sets them back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "inspect/snapshot.h"
#include "tests/fuzz/input.h"

namespace fuzz {

class FolderObjects {
 public:
  FolderObjects();
  ~FolderObjects();
  FolderObjects(const FolderObjects&) = delete;
  FolderObjects& operator=(const FolderObjects&) = delete;

  // The folder, and an empty one in place of /proc: no process is there.
  inspect::Place place() const { return {folder_, folder_ + "/proc"}; }

  // Somewhere in one of the objects: numbers where sizes, counts, indexes and positions lie, or any bytes.
  void disturb(Input& input);
  // A message of any content in the log's next slot, or in any other.
  void post(Input& input);
  // Cuts an object, or makes it longer.
  void resize(Input& input);

  void restore();

 private:
  struct Object {
    std::string name;
    int fd = -1;
    std::vector<std::uint8_t> whole;  // as it is at the start
    bool isResized = false;
    std::vector<std::pair<std::size_t, std::size_t>> written;  // offset and size
  };

  void make(const std::string& name, std::vector<std::uint8_t> bytes);
  Object& object(const std::string& name);
  static void write(Object& object, std::size_t offset, const void* bytes, std::size_t size);
  std::uint64_t head();

  std::string folder_;
  std::vector<Object> objects_;
};

}  // namespace fuzz
