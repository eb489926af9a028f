// Memory that children share apart from the channel, with the two things that they need to wait in it.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

// Sleeps while `word` has this value. May return for no reason.
void sleepWhile(const std::atomic<std::uint32_t>& word, std::uint32_t value);
void wakeAll(std::atomic<std::uint32_t>& word);

// All zero is a fresh one.
class Barrier {
 public:
  // Returns when `parties` processes have come.
  void meet(std::uint32_t parties);

 private:
  std::atomic<std::uint32_t> arrived_;
  std::atomic<std::uint32_t> round_;
};

// Maps the object NAME in /dev/shm, making it where there is none, zero-filled. Null where it cannot be had.
void* mapSharedPage(const std::string& name, std::size_t size);
