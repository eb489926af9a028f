// Contents of test messages that tell which message they are.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// `size` bytes that differ with `seed` and position.
std::vector<std::uint8_t> patternBytes(std::uint32_t size, std::uint32_t seed);

// "SIZE:HASH" of the bytes.
std::string describe(const std::uint8_t* data, std::size_t size);
std::string describe(const std::vector<std::uint8_t>& bytes);
// describe(patternBytes(size, seed))
std::string describePattern(std::uint32_t size, std::uint32_t seed);

std::string toHex(const void* data, std::size_t size);
std::vector<std::uint8_t> fromHex(const std::string& text);

// The words of a command line.
std::vector<std::string> wordsOf(const std::string& line);
std::uint32_t numberOf(const std::string& word);
