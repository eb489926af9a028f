// What a control client may send: lines put together from pieces, requests read from lines, words read from commands,
// commands checked against the tables of phone and application. And what the program behind an app may send: frames.
#include "control/request.h"

#include <cstdint>

#include "app/commands.h"
#include "command/command.h"
#include "loop/lines.h"
#include "phone/commands.h"
#include "phone/frames.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/require.h"

namespace {

using fuzz::Input;

constexpr std::size_t kLineBytes = std::size_t{64} * 1024;  // as the socket takes them

void takeLine(const std::string& line) {
  fuzz::require(line.size() <= kLineBytes && line.find('\n') == std::string::npos, "a line is one");
  control::Request request;
  control::RequestError error;
  if (!control::parseRequest(line, request, error)) {
    fuzz::require(!error.text.empty(), "a refusal is told in words");
    return;
  }
  if (request.words.empty()) {
    return;
  }
  for (const command::Table* const table : {&phone::commands(), &app::commands()}) {
    command::Call call;
    command::Mistake mistake;
    if (!table->parse(request.words, request.end, call, mistake)) {
      fuzz::require(mistake.column > 0 && !mistake.text.empty(), "a mistake has a column and words");
    }
  }
  std::vector<command::Word> again;
  std::size_t end = 0;
  command::Mistake mistake;
  fuzz::require(command::splitWords(command::joined(request.words), again, end, mistake), "joined words can be split");
  fuzz::require(again.size() == request.words.size(), "into as many");
  for (std::size_t i = 0; i < again.size(); ++i) {
    fuzz::require(again[i].text == request.words[i].text, "into the same");
  }
}

void readFrames(Input& input) {
  phone::FrameReader frames;
  bool isGood = true;
  while (!input.isEmpty()) {
    const std::string piece = input.text();
    const bool isStillGood = frames.add(piece.data(), piece.size());
    fuzz::require(isGood || !isStillGood, "a broken stream stays broken");
    isGood = isStillGood;
  }
  for (const phone::Bytes& message : frames.messages()) {
    fuzz::require(!message.empty() && message.size() <= phone::kLongestMessage, "messages are 1 to 4096 bytes long");
  }
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                                                             std::size_t size) {
  Input input(data, size);
  const std::uint8_t shape = input.byte();
  if (shape == 'f') {
    readFrames(input);
    return 0;
  }
  loop::Lines lines(kLineBytes);
  const std::size_t piece = 1 + shape;
  while (!input.isEmpty()) {
    const std::string bytes = input.take(piece);
    if (!lines.add(bytes.data(), bytes.size(), [](const std::string& line) {
          takeLine(line);
          return true;
        })) {
      break;
    }
  }
  return 0;
}
