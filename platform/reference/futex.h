// The kernel's wait and wake on a word that processes share.
#pragma once

#include <atomic>
#include <cstdint>

namespace vqframework {

// Sleeps while `word` reads `expected`, until a wake names one of `bits`. May return for no reason.
void futexWait(std::atomic<std::uint32_t>& word, std::uint32_t expected, std::uint32_t bits);

// Wakes every process that waits on `word` for one of `bits`. False where the kernel could not: it may lack the memory
// to look at a word that was paged out.
[[nodiscard]] bool futexWake(std::atomic<std::uint32_t>& word, std::uint32_t bits);

}  // namespace vqframework
