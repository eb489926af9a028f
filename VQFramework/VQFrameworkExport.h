// Marks the symbols that a framework library shows to its users; everything else in it is hidden.
#pragma once

#define VQ_FRAMEWORK_API __attribute__((visibility("default")))
