#include "tests/support/arm/code_map.h"

#include <elf.h>
#include <link.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace test_support {
namespace {

struct Range {
  std::uint32_t begin;
  std::uint32_t end;
};

// A file that this process is loaded from: the program's, or a library's.
class File {
 public:
  explicit File(const std::string& path) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    if (!file) {
      throw std::runtime_error("cannot read " + path);
    }
    bytes_.resize(static_cast<std::size_t>(file.tellg()));
    file.seekg(0);
    file.read(bytes_.data(), static_cast<std::streamsize>(bytes_.size()));
    const auto header = at<Elf32_Ehdr>(0);
    for (std::size_t i = 0; i < header.e_shnum; ++i) {
      sections_.push_back(at<Elf32_Shdr>(header.e_shoff + i * header.e_shentsize));
    }
  }

  const std::vector<Elf32_Shdr>& sections() const { return sections_; }

  template <typename T>
  T at(std::size_t offset) const {
    T value;
    if (offset + sizeof value > bytes_.size()) {
      throw std::runtime_error("a file with code is too short");
    }
    memcpy(&value, bytes_.data() + offset, sizeof value);
    return value;
  }

  template <typename Action>  // (const char* name, const Elf32_Sym&)
  void forEachSymbol(Action action) const {
    for (const Elf32_Shdr& table : sections_) {
      if (table.sh_type != SHT_SYMTAB) {
        continue;
      }
      const char* const names = bytes_.data() + sections_.at(table.sh_link).sh_offset;
      for (std::size_t offset = 0; offset < table.sh_size; offset += sizeof(Elf32_Sym)) {
        const auto symbol = at<Elf32_Sym>(table.sh_offset + offset);
        action(names + symbol.st_name, symbol);
      }
    }
  }

 private:
  std::vector<char> bytes_;
  std::vector<Elf32_Shdr> sections_;
};

// Of Thumb's instructions these begin with such a half word that a second one follows.
bool isLong(std::uint16_t halfWord) {
  return halfWord >> 11 >= 0x1D;
}

// The instructions of a file's section.
class Section {
 public:
  Section(const File& file, std::size_t index) : file_(file), header_(file.sections()[index]) {
    file.forEachSymbol([&](const char* name, const Elf32_Sym& symbol) {
      if (symbol.st_shndx == index && name[0] == '$' && name[1] != '\0' && (name[2] == '\0' || name[2] == '.')) {
        stretches_[symbol.st_value] = name[1];
      }
    });
  }

  Range all() const { return {header_.sh_addr, header_.sh_addr + header_.sh_size}; }

  void addTo(CodeMap& map, std::uint32_t base, Range range) const {
    auto stretch = stretches_.upper_bound(range.begin);
    for (stretch = stretch == stretches_.begin() ? stretch : std::prev(stretch);
         stretch != stretches_.end() && stretch->first < range.end; ++stretch) {
      const auto next = std::next(stretch);
      const std::uint32_t end = std::min(range.end, next == stretches_.end() ? all().end : next->first);
      std::uint32_t address = std::max(range.begin, stretch->first);
      while (stretch->second != 'd' && address < end) {
        const bool isThumb = stretch->second == 't';
        const std::size_t offset = header_.sh_offset + (address - header_.sh_addr);
        const bool isShort = isThumb && !isLong(file_.at<std::uint16_t>(offset));
        map[base + address] = {static_cast<std::uint8_t>(isShort ? 2 : 4), isThumb};
        address += isShort ? 2 : 4;
      }
    }
  }

 private:
  const File& file_;
  const Elf32_Shdr header_;
  std::map<std::uint32_t, char> stretches_;  // what begins where: 't' Thumb, 'a' ARM, 'd' data
};

// What the dynamic linker has loaded; the program comes first, without a name.
struct Loaded {
  std::string name;
  std::uint32_t base;
};

std::vector<Loaded> loadedFiles() {
  std::vector<Loaded> loaded;
  dl_iterate_phdr(
      [](dl_phdr_info* info, std::size_t, void* found) {
        static_cast<std::vector<Loaded>*>(found)->push_back({info->dlpi_name, info->dlpi_addr});
        return 0;
      },
      &loaded);
  return loaded;
}

bool hasCode(const Elf32_Shdr& section) {
  return (section.sh_flags & SHF_EXECINSTR) != 0;
}

}  // namespace

CodeMap codeOfLibraries(const std::vector<std::string>& names) {
  CodeMap map;
  for (const Loaded& loaded : loadedFiles()) {
    const auto isIn = [&](const std::string& name) { return loaded.name.find(name) != std::string::npos; };
    if (std::none_of(names.begin(), names.end(), isIn)) {
      continue;
    }
    const File file(loaded.name);
    const std::size_t before = map.size();
    for (std::size_t i = 0; i < file.sections().size(); ++i) {
      if (hasCode(file.sections()[i])) {
        const Section section(file, i);
        section.addTo(map, loaded.base, section.all());
      }
    }
    if (map.size() == before) {
      throw std::runtime_error(loaded.name + " is stripped: its instructions cannot be told from its data");
    }
  }
  return map;
}

CodeMap codeOfProgram(const std::function<bool(const std::string&)>& isWanted) {
  constexpr std::uint32_t kThumbBit = 1;
  const File file("/proc/self/exe");
  std::map<std::size_t, std::vector<Range>> functions;  // by section
  file.forEachSymbol([&](const char* name, const Elf32_Sym& symbol) {
    if (ELF32_ST_TYPE(symbol.st_info) == STT_FUNC && symbol.st_shndx < file.sections().size() && isWanted(name)) {
      const std::uint32_t begin = symbol.st_value & ~kThumbBit;
      functions[symbol.st_shndx].push_back({begin, begin + symbol.st_size});
    }
  });
  const std::uint32_t base = loadedFiles().front().base;
  CodeMap map;
  for (const auto& [index, ranges] : functions) {
    const Section section(file, index);
    for (const Range& range : ranges) {
      section.addTo(map, base, range);
    }
  }
  if (map.empty()) {
    throw std::runtime_error("the program is stripped, or has no such function");
  }
  return map;
}

}  // namespace test_support
