# What `cmake --install` puts where. Components, each a Debian package of its own (debian/):
#   runtime    libLinkAppCommon.so        framework  libVQFramework.so        bluetooth  libVQBluetooth.so
#   tools      the command-line tool and the simulated BlueZ
#   common     files without a processor: group, folders, bus policy, units, manual pages, completion
#   devel      headers, CMake and pkg-config files
# An external framework's owner installs his own framework and Bluetooth library: runtime and devel are all there is.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(linkapp_headers ${CMAKE_INSTALL_INCLUDEDIR}/linkapp)
set(linkapp_cmake ${CMAKE_INSTALL_LIBDIR}/cmake/LinkAppCommon)

# install_library(TARGET COMPONENT): the library with its links, and its entry in the CMake package.
function(linkapp_install_library target component)
  install(TARGETS ${target} EXPORT LinkAppCommonTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${component} NAMELINK_COMPONENT devel
    INCLUDES DESTINATION ${linkapp_headers})
endfunction()

linkapp_install_library(LinkAppCommon runtime)
install(TARGETS vq_contract EXPORT LinkAppCommonTargets INCLUDES DESTINATION ${linkapp_headers})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/LinkAppCommon DESTINATION ${linkapp_headers} COMPONENT devel
  FILES_MATCHING PATTERN "*.h")

set(linkapp_pc_libraries "-lLinkAppCommon")
if(LINKAPP_FRAMEWORK STREQUAL "reference")
  linkapp_install_library(VQFramework framework)
  get_target_property(bluetooth VQBluetooth ALIASED_TARGET)
  if(NOT bluetooth)
    set(bluetooth VQBluetooth)
  endif()
  linkapp_install_library(${bluetooth} bluetooth)
  # Whichever library it is, its users call it by one name.
  set_target_properties(${bluetooth} PROPERTIES EXPORT_NAME VQBluetooth)
  foreach(contract VQFramework VQBluetooth)
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/${contract} DESTINATION ${linkapp_headers} COMPONENT devel
      FILES_MATCHING PATTERN "*.h")
  endforeach()
  string(APPEND linkapp_pc_libraries " -lVQFramework -lVQBluetooth")
  include(${CMAKE_CURRENT_LIST_DIR}/install_tools.cmake)
endif()

install(EXPORT LinkAppCommonTargets NAMESPACE LinkApp:: DESTINATION ${linkapp_cmake} COMPONENT devel)
configure_package_config_file(${PROJECT_SOURCE_DIR}/packaging/cmake/LinkAppCommonConfig.cmake.in
  ${PROJECT_BINARY_DIR}/LinkAppCommonConfig.cmake INSTALL_DESTINATION ${linkapp_cmake})
# While the major version is 0 a minor one may break what was built against the one before (docs/abi-policy.md).
write_basic_package_version_file(${PROJECT_BINARY_DIR}/LinkAppCommonConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/LinkAppCommonConfig.cmake ${PROJECT_BINARY_DIR}/LinkAppCommonConfigVersion.cmake
  DESTINATION ${linkapp_cmake} COMPONENT devel)

# Below ${prefix}, unless somebody chose a folder elsewhere.
cmake_path(APPEND linkapp_pc_libdir "\${prefix}" "${CMAKE_INSTALL_LIBDIR}")
cmake_path(APPEND linkapp_pc_includedir "\${prefix}" "${CMAKE_INSTALL_INCLUDEDIR}" linkapp)
configure_file(${PROJECT_SOURCE_DIR}/packaging/cmake/LinkAppCommon.pc.in ${PROJECT_BINARY_DIR}/LinkAppCommon.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/LinkAppCommon.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT devel)
