#include "doctor/elf.h"

#include <elf.h>
#include <fcntl.h>
#include <link.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

namespace doctor {
namespace {

constexpr std::size_t kMostNotes = 65536;
constexpr std::size_t kMostHeaders = 128;

// Read in pieces, never mapped: the file may be replaced or cut at any moment.
class File {
 public:
  explicit File(const std::string& path) : fd_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {}
  ~File() {
    if (fd_ != -1) {
      close(fd_);
    }
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  bool read(std::uint64_t offset, void* to, std::size_t size) const {
    return fd_ != -1 && pread(fd_, to, size, static_cast<off_t>(offset)) == static_cast<ssize_t>(size);
  }

 private:
  const int fd_;
};

std::string digitsOf(const unsigned char* bytes, std::size_t count) {
  std::string digits;
  for (std::size_t i = 0; i < count; ++i) {
    char two[3];
    snprintf(two, sizeof two, "%02x", bytes[i]);
    digits += two;
  }
  return digits;
}

// The build id among these notes.
std::string buildIdIn(const std::vector<unsigned char>& notes) {
  const auto padded = [](std::size_t size) { return (size + 3) / 4 * 4; };
  ElfW(Nhdr) note = {};
  for (std::size_t at = 0; at + sizeof note <= notes.size();) {
    std::memcpy(&note, notes.data() + at, sizeof note);
    const std::size_t name = at + sizeof note;
    const std::size_t description = name + padded(note.n_namesz);
    if (note.n_namesz > notes.size() || note.n_descsz > notes.size() || description + note.n_descsz > notes.size()) {
      break;
    }
    if (note.n_type == NT_GNU_BUILD_ID && note.n_namesz == 4 && std::memcmp(notes.data() + name, "GNU", 4) == 0) {
      return digitsOf(notes.data() + description, note.n_descsz);
    }
    at = description + padded(note.n_descsz);
  }
  return "";
}

template <class Header, class Segment>
std::string buildIdIn(const File& file) {
  Header header = {};
  if (!file.read(0, &header, sizeof header) || header.e_phentsize != sizeof(Segment)) {
    return "";
  }
  for (std::size_t i = 0; i < std::min<std::size_t>(header.e_phnum, kMostHeaders); ++i) {
    Segment segment = {};
    if (!file.read(header.e_phoff + i * sizeof segment, &segment, sizeof segment) || segment.p_type != PT_NOTE) {
      continue;
    }
    std::vector<unsigned char> notes(static_cast<std::size_t>(std::min<std::uint64_t>(segment.p_filesz, kMostNotes)));
    std::string id = file.read(segment.p_offset, notes.data(), notes.size()) ? buildIdIn(notes) : "";
    if (!id.empty()) {
      return id;
    }
  }
  return "";
}

unsigned int wordBitsIn(const File& file) {
  unsigned char ident[EI_NIDENT] = {};
  if (!file.read(0, ident, sizeof ident) || std::memcmp(ident, ELFMAG, SELFMAG) != 0) {
    return 0;
  }
  return ident[EI_CLASS] == ELFCLASS32 ? 32 : ident[EI_CLASS] == ELFCLASS64 ? 64 : 0;
}

}  // namespace

unsigned int wordBitsOf(const std::string& path) {
  return wordBitsIn(File(path));
}

std::string buildIdOf(const std::string& path) {
  const File file(path);
  const unsigned int bits = wordBitsIn(file);
  return bits == 64   ? buildIdIn<Elf64_Ehdr, Elf64_Phdr>(file)
         : bits == 32 ? buildIdIn<Elf32_Ehdr, Elf32_Phdr>(file)
                      : "";
}

}  // namespace doctor
