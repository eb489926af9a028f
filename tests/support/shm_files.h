// The objects in the test's own /dev/shm, looked at from outside.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace test_support {

// "/dev/shm/NAME".
std::string shmFile(const std::string& name);

// Names of what is there.
std::vector<std::string> shmNames();

bool shmExists(const std::string& name);
// Size and permission bits; none where it is not there.
std::optional<std::size_t> shmSize(const std::string& name);
std::optional<mode_t> shmMode(const std::string& name);

// The 32-bit word at `offset`; none where there is no such word.
std::optional<std::uint32_t> shmWord(const std::string& name, std::size_t offset);
// Writes into an object as some other process would. False where it cannot be done.
bool pokeShm(const std::string& name, std::size_t offset, const void* data, std::size_t size);
bool pokeShmWord(const std::string& name, std::size_t offset, std::uint32_t word);

bool removeShm(const std::string& name);
// Removes every object.
void clearShm();

}  // namespace test_support
