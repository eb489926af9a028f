# Debian's armhf: ARMv7 with hardware floating point, 32 bit.
set(linkapp_architecture armhf)
set(linkapp_triplet arm-linux-gnueabihf)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
# Compilers that passed some arguments otherwise are too old for C++17; GCC would tell of them at every call.
string(APPEND CMAKE_CXX_FLAGS_INIT " -Wno-psabi")
