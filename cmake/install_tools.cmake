# The command-line tool, and what a system needs beside the libraries. Part of install.cmake.

install(TARGETS linkapp RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
if(LINKAPP_HAS_BLUEZ)
  install(TARGETS linkapp-bluez-sim RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  install(FILES ${PROJECT_SOURCE_DIR}/tools/bluez_sim/linkapp-bluez-sim.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
    COMPONENT common)
  install(FILES ${PROJECT_SOURCE_DIR}/platform/bluez/policy/linkapp-bluez.conf
    ${PROJECT_SOURCE_DIR}/platform/bluez/policy/linkapp-ofono.conf
    DESTINATION ${CMAKE_INSTALL_DATADIR}/dbus-1/system.d COMPONENT common)
endif()

install(FILES ${PROJECT_SOURCE_DIR}/tools/wireshark/linkapp.lua DESTINATION ${CMAKE_INSTALL_DATADIR}/linkapp/wireshark
  COMPONENT common)

# systemd reads its files below /usr/lib, whatever the processor.
set(units ${PROJECT_SOURCE_DIR}/packaging/systemd)
install(FILES ${units}/linkapp.sysusers DESTINATION lib/sysusers.d RENAME linkapp.conf COMPONENT common)
install(FILES ${units}/linkapp.tmpfiles DESTINATION lib/tmpfiles.d RENAME linkapp.conf COMPONENT common)
install(FILES ${units}/linkapp-device-side.service DESTINATION lib/systemd/system COMPONENT common)

# The tool writes these itself; a target's tool does not run where it is cross-built.
get_property(pages TARGET linkapp PROPERTY LINKAPP_PAGES)
if(pages)
  set(manual ${pages})
  list(FILTER manual INCLUDE REGEX "\\.1$")
  install(FILES ${manual} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT common)
  set(folder ${PROJECT_BINARY_DIR}/tools/linkapp/pages)
  install(FILES ${folder}/linkapp.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
    RENAME linkapp COMPONENT common)
  install(FILES ${folder}/linkapp.zsh DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions
    RENAME _linkapp COMPONENT common)
  install(FILES ${folder}/linkapp.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT common)
endif()
