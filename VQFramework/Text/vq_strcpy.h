// vq_strcpy: a bounded copy that always terminates.
#pragma once

#include <cstddef>

#include "VQFramework/VQFrameworkExport.h"

// Copies at most `size` - 1 characters of `source` to `destination` and terminates it; bytes behind the terminator are
// left alone. A null source counts as empty. Nothing happens for a null destination or size 0. Returns `destination`.
VQ_FRAMEWORK_API char* vq_strcpy(char* destination, std::size_t size, const char* source);
