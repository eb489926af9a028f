// The frame of a recording: a file header, then a ring of chunks of one size. docs/recording-format.md has it byte by
// byte.
//
// A chunk is written from its beginning to its end and then never again until the ring comes round. So whatever moment
// the writer dies at, all chunks but one are whole, and of that one everything up to the entry that was being written.
#pragma once

#include <cstddef>
#include <cstdint>

namespace record {

constexpr char kFileMagic[] = "LKRECORD";  // 8 bytes, without the NUL
constexpr std::uint32_t kFileVersion = 1;
constexpr std::size_t kFileHeaderBytes = 64;
constexpr std::uint32_t kChunkMagic = 0x4B43524CU;  // "LRCK"
constexpr std::size_t kChunkHeaderBytes = 32;
// Length, CRC, type, flags.
constexpr std::size_t kEntryHeaderBytes = 12;
constexpr std::size_t kEndMarkBytes = 4;  // a length of 0

constexpr std::uint16_t kRepeated = 1;  // flag: said in an earlier chunk, too

constexpr std::size_t kLeastChunkBytes = std::size_t{128} * 1024;
constexpr std::size_t kMostChunkBytes = std::size_t{16} * 1024 * 1024;
constexpr std::uint32_t kMostChunks = 65536;

}  // namespace record
