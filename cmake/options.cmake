# Choices of whoever builds.

set(LINKAPP_FRAMEWORK "reference" CACHE STRING "Whose framework the product runs on: reference or external")
set_property(CACHE LINKAPP_FRAMEWORK PROPERTY STRINGS reference external)
set(LINKAPP_FRAMEWORK_INCLUDE_DIR "" CACHE PATH
    "external only: folder that holds the host's own VQFramework/ headers; empty uses the contract's")
set(LINKAPP_BLUEZ "AUTO" CACHE STRING "Build libVQBluetooth.so on BlueZ: ON, OFF, or AUTO where libsystemd is there")
set_property(CACHE LINKAPP_BLUEZ PROPERTY STRINGS AUTO ON OFF)
option(LINKAPP_BUILD_TESTS "Build the tests" ON)
option(LINKAPP_BUILD_BENCHMARKS "Build the benchmarks (not with sanitizers)" ON)
option(LINKAPP_BUILD_FUZZERS "Build the targets of libFuzzer (the preset fuzz)" OFF)
option(LINKAPP_WARNINGS_AS_ERRORS "Treat warnings as errors (this project's own builds)" OFF)
set(LINKAPP_SANITIZE "" CACHE STRING "Sanitizers to build with, as for -fsanitize=")

if(NOT LINKAPP_FRAMEWORK MATCHES "^(reference|external)$")
  message(FATAL_ERROR "LINKAPP_FRAMEWORK is '${LINKAPP_FRAMEWORK}'; it must be 'reference' or 'external'")
endif()
if(NOT LINKAPP_BLUEZ MATCHES "^(AUTO|ON|OFF)$")
  message(FATAL_ERROR "LINKAPP_BLUEZ is '${LINKAPP_BLUEZ}'; it must be 'AUTO', 'ON' or 'OFF'")
endif()
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "" FORCE)
endif()
