# How everything here is compiled.

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
# What is built finds its libraries from where it lies itself. A path of the build folder would leave its length behind in
# what is installed, and two builds would differ.
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)

# Files whose number or size takes more than 32 bits are there for 32-bit processes, too; stat would fail on them.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  add_compile_definitions(_FILE_OFFSET_BITS=64)
endif()

find_package(Threads REQUIRED)

add_library(linkapp_flags INTERFACE)
target_compile_options(linkapp_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor -Woverloaded-virtual
  -Wold-style-cast -Wformat=2 -Wundef -Wcast-qual
  $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
  $<$<BOOL:${LINKAPP_WARNINGS_AS_ERRORS}>:-Werror>)

if(LINKAPP_SANITIZE)
  add_compile_options(-fsanitize=${LINKAPP_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${LINKAPP_SANITIZE})
  if(LINKAPP_SANITIZE MATCHES "thread")
    # Fences order relaxed atomics only, and no race report depends on them.
    add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-tsan>)
  endif()
endif()

# For what is delivered: nothing in it that nobody calls, no address that can be overwritten once it is loaded, no code on
# the stack; and the programs lie at another address each time.
function(linkapp_deliver)
  include(CheckPIESupported)
  check_pie_supported()
  foreach(target ${ARGV})
    target_compile_options(${target} PRIVATE -ffunction-sections -fdata-sections)
    get_target_property(type ${target} TYPE)
    if(NOT type MATCHES "OBJECT|STATIC")
      target_link_options(${target} PRIVATE
        LINKER:--gc-sections LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
    endif()
  endforeach()
endfunction()

# For what is delivered, too: a message passes through a dozen short functions of several files, and one in four of its
# instructions goes into the calls. Not with Clang, which needs another linker for it.
function(linkapp_optimize_whole)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT LINKAPP_SANITIZE)
    set_target_properties(${ARGV} PROPERTIES INTERPROCEDURAL_OPTIMIZATION_RELEASE ON)
    foreach(target ${ARGV})
      target_compile_options(${target} PRIVATE $<$<CONFIG:Release>:-fno-plt>)
    endforeach()
  endif()
endfunction()
