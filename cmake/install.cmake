# What `cmake --install` puts where. The components are the packages of cmake/package.cmake.

# The name without a version is one that hosts load, and no development link.
install(TARGETS orvelgw-library LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    COMPONENT liborvelgw NAMELINK_COMPONENT liborvelgw)
# Nobody links the shims: they are copied to where a driver is wanted. The tool knows this folder.
install(TARGETS orvelnarrow orvelwide
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/${shim_folder_from_library} COMPONENT liborvelgw)

install(FILES include/orvelgw.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT liborvelgw-dev)
install(FILES docs/orvelgw.7 DESTINATION ${CMAKE_INSTALL_MANDIR}/man7 COMPONENT liborvelgw-dev)
install(FILES docs/callouts.md docs/writing-a-host.md DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs
    COMPONENT liborvelgw-dev)
install(FILES examples/minimal_host.c DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples
    COMPONENT liborvelgw-dev)

configure_file(cmake/orvelgw.pc.in orvelgw.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/orvelgw.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT liborvelgw-dev)

include(CMakePackageConfigHelpers)
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/orvelgw)
configure_package_config_file(cmake/orvelgw-config.cmake.in orvelgw-config.cmake
    INSTALL_DESTINATION ${package_folder}
    PATH_VARS CMAKE_INSTALL_INCLUDEDIR CMAKE_INSTALL_LIBDIR)
write_basic_package_version_file(orvelgw-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/orvelgw-config.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/orvelgw-config-version.cmake
    DESTINATION ${package_folder} COMPONENT liborvelgw-dev)

if(ORVELGW_LIBRARY_ONLY)
    return()
endif()

install(TARGETS orvelgw DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT orvelgw)
install(FILES docs/orvelgw.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT orvelgw)
install(FILES README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT orvelgw)
install(FILES docs/drivers.md docs/reliability.md DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs
    COMPONENT orvelgw)

# The tool itself makes the completion, and can't where it is built for another machine.
if(NOT CMAKE_CROSSCOMPILING)
    set(completion ${CMAKE_CURRENT_BINARY_DIR}/orvelgw.completion)
    add_custom_command(OUTPUT ${completion} DEPENDS orvelgw VERBATIM
        COMMAND orvelgw --completion > ${completion})
    add_custom_target(completion ALL DEPENDS ${completion})
    install(FILES ${completion} RENAME orvelgw
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT orvelgw)
endif()
