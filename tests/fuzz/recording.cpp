// Recordings: any bytes as a file, or entries of any bytes in chunks whose checksums fit. Read, shown, told as a story
// and exported in every form.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "record/bytes.h"
#include "record/file_layout.h"
#include "record/pcapng.h"
#include "record/perfetto.h"
#include "record/reader.h"
#include "record/show.h"
#include "record/story.h"
#include "record/to_scenario.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/require.h"

namespace {

using fuzz::Input;
using record::ByteWriter;

using Bytes = std::vector<std::uint8_t>;

// A file without a name.
class File {
 public:
  File() : fd_(memfd_create("recording", MFD_CLOEXEC)), path_("/proc/self/fd/" + std::to_string(fd_)) {
    fuzz::require(fd_ != -1, "there is memory for a file");
  }
  const std::string& path() const { return path_; }

  void put(const Bytes& bytes) {
    fuzz::require(ftruncate(fd_, 0) == 0, "the file can be emptied");
    fuzz::require(pwrite(fd_, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()), "and written");
  }
  // As long as the recording says: the rest is a hole.
  void stretch(std::size_t size) const {
    fuzz::require(ftruncate(fd_, static_cast<off_t>(size)) == 0, "and stretched");
  }

 private:
  const int fd_;
  const std::string path_;
};

void seal(ByteWriter& bytes) {
  bytes.number(record::crc32(bytes.data(), bytes.size()));
}

Bytes fileHeader(std::uint32_t chunkCount) {
  ByteWriter header;
  header.raw(record::kFileMagic, 8).number(record::kFileVersion);
  header.number(std::uint32_t{record::kFileHeaderBytes}).number(std::uint32_t{record::kLeastChunkBytes});
  header.number(chunkCount).number(std::uint64_t{1}).number(std::uint64_t{2}).number(std::uint32_t{77});
  while (header.size() < record::kFileHeaderBytes - 4) {
    header.number(std::uint8_t{0});
  }
  seal(header);
  return header.bytes();
}

// Whose order and numbering are right; what is in them need not be.
void putEntries(Input& input, File& file) {
  constexpr std::uint32_t kChunks = 2;
  const std::uint64_t serial = 1 + input.below(4);
  Bytes bytes = fileHeader(kChunks);
  bytes.resize(record::kFileHeaderBytes + (serial - 1) % kChunks * record::kLeastChunkBytes);
  ByteWriter header;
  header.number(record::kChunkMagic).number(std::uint32_t{record::kChunkHeaderBytes});
  header.number(serial).number(std::uint64_t{input.byte()});
  while (header.size() < record::kChunkHeaderBytes - 4) {
    header.number(std::uint8_t{0});
  }
  seal(header);
  bytes.insert(bytes.end(), header.bytes().begin(), header.bytes().end());
  while (!input.isEmpty()) {
    const auto type = static_cast<std::uint16_t>(input.below(10));
    const auto flags = static_cast<std::uint16_t>(input.below(2));
    const std::string body = input.take(std::size_t{2} * input.byte());
    ByteWriter sealed;
    sealed.number(serial).number(type).number(flags).raw(body.data(), body.size());
    ByteWriter entry;
    entry.number(static_cast<std::uint32_t>(record::kEntryHeaderBytes + body.size()));
    entry.number(record::crc32(sealed.data(), sealed.size())).number(type).number(flags).raw(body.data(), body.size());
    bytes.insert(bytes.end(), entry.bytes().begin(), entry.bytes().end());
  }
  file.put(bytes);
  file.stretch(record::kFileHeaderBytes + kChunks * record::kLeastChunkBytes);
}

void requireJson(const std::string& text) {
  fuzz::require(nlohmann::json::accept(text), "what is shown as JSON is JSON");
}

void look(const std::string& path) {
  const record::Recording recording = record::readRecording(path);
  record::Reader reader(path);
  fuzz::require(!infoText(reader, "file").empty(), "a recording can be described");
  requireJson(text::toJson(infoFields(reader, "file")));
  record::Teller lines;
  record::Teller objects;
  for (const record::Recording::Item& item : recording.items) {
    fuzz::require(!lines.line(item.entry, item.where).empty(), "an entry can be told");
    requireJson(text::toJson(objects.fields(item.entry, item.where)));
    const Bytes again = record::encode(item.entry);
    record::Entry entry;
    std::string mistake;
    fuzz::require(
        record::decode(static_cast<std::uint16_t>(typeOf(item.entry)), again.data(), again.size(), entry, mistake),
        "what was read can be written and read again");
  }
  const record::Story story = record::tellStory(recording);
  for (const record::StoryStep& step : story.steps) {
    fuzz::require(step.process < story.processes.size(), "steps are done by processes that are there");
  }
  fuzz::require(!record::toScenario(story, "title").empty(), "a story makes a scenario");
  fuzz::require(!record::toPcapng(recording).empty(), "a recording makes a capture file");
  requireJson(record::toPerfetto(recording));
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                                                             std::size_t size) {
  static auto* const file = new File;
  Input input(data, size);
  if (input.below(4) == 0) {
    const std::string bytes = input.rest();
    file->put(Bytes(bytes.begin(), bytes.end()));
  } else {
    putEntries(input, *file);
  }
  try {
    look(file->path());
  } catch (const std::runtime_error& refusal) {
    fuzz::require(*refusal.what() != '\0', "a refusal is told in words");
  }
  return 0;
}
