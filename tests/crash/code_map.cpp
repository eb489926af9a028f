#include "tests/crash/code_map.h"

#include <elf.h>
#include <link.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace crash {
namespace {

using Map = std::map<std::uint32_t, Instruction>;

// One library's file.
class File {
 public:
  explicit File(const std::string& path) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
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
      throw std::runtime_error("a library's file is too short");
    }
    memcpy(&value, bytes_.data() + offset, sizeof value);
    return value;
  }

  std::string text(std::size_t offset) const { return bytes_.data() + offset; }

 private:
  std::vector<char> bytes_;
  std::vector<Elf32_Shdr> sections_;
};

// Where a stretch of one kind begins: 't' Thumb, 'a' ARM, 'd' data.
std::map<std::uint32_t, char> stretchesOf(const File& file, std::size_t section) {
  std::map<std::uint32_t, char> stretches;
  for (const Elf32_Shdr& table : file.sections()) {
    if (table.sh_type != SHT_SYMTAB) {
      continue;
    }
    const std::size_t names = file.sections().at(table.sh_link).sh_offset;
    for (std::size_t offset = 0; offset < table.sh_size; offset += sizeof(Elf32_Sym)) {
      const auto symbol = file.at<Elf32_Sym>(table.sh_offset + offset);
      const std::string name = file.text(names + symbol.st_name);
      if (symbol.st_shndx == section && name.size() >= 2 && name[0] == '$' && (name.size() == 2 || name[2] == '.')) {
        stretches[symbol.st_value] = name[1];
      }
    }
  }
  return stretches;
}

// Of Thumb's instructions these begin with such a half word that a second one follows.
bool isLong(std::uint16_t halfWord) {
  return halfWord >> 11 >= 0x1D;
}

void addSection(const File& file, std::size_t index, std::uint32_t base, Map& map) {
  const Elf32_Shdr& section = file.sections()[index];
  const std::map<std::uint32_t, char> stretches = stretchesOf(file, index);
  for (auto stretch = stretches.begin(); stretch != stretches.end(); ++stretch) {
    const auto next = std::next(stretch);
    const std::uint32_t end = next == stretches.end() ? section.sh_addr + section.sh_size : next->first;
    for (std::uint32_t address = stretch->first; stretch->second != 'd' && address < end;) {
      const bool isThumb = stretch->second == 't';
      const std::size_t offset = section.sh_offset + (address - section.sh_addr);
      const bool isShort = isThumb && !isLong(file.at<std::uint16_t>(offset));
      map[base + address] = {static_cast<std::uint8_t>(isShort ? 2 : 4), isThumb};
      address += isShort ? 2 : 4;
    }
  }
}

int addLibrary(dl_phdr_info* info, std::size_t /*size*/, void* map) {
  const std::string path = info->dlpi_name;
  for (const char* const name : {"/libLinkAppCommon.so", "/libVQFramework.so"}) {
    if (path.find(name) == std::string::npos) {
      continue;
    }
    const File file(path);
    const std::size_t before = static_cast<Map*>(map)->size();
    for (std::size_t i = 0; i < file.sections().size(); ++i) {
      if ((file.sections()[i].sh_flags & SHF_EXECINSTR) != 0) {
        addSection(file, i, info->dlpi_addr, *static_cast<Map*>(map));
      }
    }
    if (static_cast<Map*>(map)->size() == before) {
      throw std::runtime_error(path + " is stripped: its instructions cannot be told from its data");
    }
  }
  return 0;
}

Map read() {
  Map map;
  dl_iterate_phdr(&addLibrary, &map);
  return map;
}

}  // namespace

const Map& instructionsOfTheLibraries() {
  static const Map map = read();
  return map;
}

}  // namespace crash
