#include "tests/support/arm/breakpoints.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/user.h>
#include <unistd.h>

#include <string>
#include <system_error>
#include <utility>

namespace test_support {
namespace {

// What the kernel takes for a breakpoint. As long as what it replaces: conditions (IT) count instructions.
const unsigned char* breakInPlaceOf(const Instruction& instruction) {
  static constexpr unsigned char kShort[] = {0x01, 0xDE};
  static constexpr unsigned char kLong[] = {0xF0, 0xF7, 0x00, 0xA0};
  static constexpr unsigned char kOfArm[] = {0xF0, 0x01, 0xF0, 0xE7};
  if (!instruction.isThumb) {
    return static_cast<const unsigned char*>(kOfArm);
  }
  return instruction.bytes == 2 ? static_cast<const unsigned char*>(kShort) : static_cast<const unsigned char*>(kLong);
}

// In this process, which has no breakpoints.
const unsigned char* codeAt(std::uint32_t address) {
  return reinterpret_cast<const unsigned char*>(address);  // NOLINT(performance-no-int-to-ptr): it came as a number
}

[[noreturn]] void fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

WatchedCode::WatchedCode(CodeMap instructions) : instructions_(std::move(instructions)) {
  constexpr std::uint32_t kFar = 4096;
  std::uint32_t end = 0;
  for (const auto& [address, instruction] : instructions_) {
    if (stretches_.empty() || address - end > kFar) {
      stretches_.push_back({address, {}});
      end = address;
    }
    std::vector<unsigned char>& bytes = stretches_.back().bytes;
    bytes.insert(bytes.end(), codeAt(end), codeAt(address));  // data, or other code, in between
    const unsigned char* const replacement = breakInPlaceOf(instruction);
    bytes.insert(bytes.end(), replacement, replacement + instruction.bytes);
    end = address + instruction.bytes;
  }
}

const Instruction* WatchedCode::at(std::uint32_t address) const {
  const auto found = instructions_.find(address);
  return found == instructions_.end() ? nullptr : &found->second;
}

Breakpoints::Breakpoints(pid_t process, const WatchedCode& code)
    : code_(code), memory_(open(("/proc/" + std::to_string(process) + "/mem").c_str(), O_RDWR | O_CLOEXEC)) {
  for (const WatchedCode::Stretch& stretch : code_.stretches()) {
    write(stretch.begin, stretch.bytes.size(), stretch.bytes.data());
  }
}

Breakpoints::~Breakpoints() {
  close(memory_);
}

bool Breakpoints::clear(std::uint32_t address) {
  const Instruction* const instruction = code_.at(address);
  if (instruction == nullptr || !isCleared_.insert(address).second) {
    return false;
  }
  write(address, instruction->bytes, codeAt(address));
  return true;
}

void Breakpoints::clearAll() {
  for (const WatchedCode::Stretch& stretch : code_.stretches()) {
    write(stretch.begin, stretch.bytes.size(), codeAt(stretch.begin));
  }
}

void Breakpoints::write(std::uint32_t address, std::size_t size, const unsigned char* bytes) const {
  if (pwrite(memory_, bytes, size, static_cast<off_t>(address)) != static_cast<ssize_t>(size)) {
    fail("writing breakpoints");
  }
}

std::uint32_t addressOf(pid_t thread) {
  constexpr std::size_t kPc = 15;
  user_regs registers = {};
  if (ptrace(PTRACE_GETREGS, thread, nullptr, &registers) == -1) {
    fail("registers");
  }
  return static_cast<std::uint32_t>(registers.uregs[kPc]);
}

}  // namespace test_support
