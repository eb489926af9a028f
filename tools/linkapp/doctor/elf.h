// The little that is asked of a program's or library's file.
#pragma once

#include <string>

namespace doctor {

// 32 or 64; 0 where it is no ELF file or cannot be read.
unsigned int wordBitsOf(const std::string& path);

// In hexadecimal digits; empty where there is none.
std::string buildIdOf(const std::string& path);

}  // namespace doctor
