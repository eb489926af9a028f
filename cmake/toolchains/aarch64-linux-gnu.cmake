# Debian's arm64: ARMv8, 64 bit.
set(linkapp_architecture arm64)
set(linkapp_triplet aarch64-linux-gnu)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
