# Debian's cross compiler for linkapp_triplet, and what script/sysroot fetched for linkapp_architecture: part of the
# toolchain files beside it. LINKAPP_SYSROOT is for a copy of the sources that has no sysroot of its own.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_CXX_COMPILER ${linkapp_triplet}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${linkapp_triplet})

list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES LINKAPP_SYSROOT)
cmake_path(SET linkapp_default NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../../build/sysroot/${linkapp_architecture})
set(LINKAPP_SYSROOT ${linkapp_default} CACHE PATH "What script/sysroot made")
if(NOT EXISTS ${LINKAPP_SYSROOT}/complete)
  message(FATAL_ERROR "There is no ${LINKAPP_SYSROOT}; please run script/sysroot ${linkapp_architecture}")
endif()

# The compiler's own C library first. No CMAKE_SYSROOT: the compiler would look for that library there, too.
set(linkapp_libraries ${LINKAPP_SYSROOT}/usr/lib/${linkapp_triplet})
set(CMAKE_CXX_FLAGS_INIT
    "-idirafter ${LINKAPP_SYSROOT}/usr/include -idirafter ${LINKAPP_SYSROOT}/usr/include/${linkapp_triplet}")
string(APPEND CMAKE_CXX_FLAGS_INIT " -ffile-prefix-map=${LINKAPP_SYSROOT}=")
# Libraries need others, which nobody links with by name or which only the linker's script in their place names.
foreach(kind EXE SHARED)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-L${linkapp_libraries} -Wl,-rpath-link,${linkapp_libraries}")
endforeach()

set(CMAKE_FIND_ROOT_PATH ${LINKAPP_SYSROOT} /usr/${linkapp_triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(ENV{PKG_CONFIG_PATH} "")
set(ENV{PKG_CONFIG_LIBDIR} ${linkapp_libraries}/pkgconfig:${LINKAPP_SYSROOT}/usr/share/pkgconfig)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${LINKAPP_SYSROOT})
