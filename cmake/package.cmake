# The Debian packages that `cpack` makes of an installation; scripts/package calls it. Each component
# is a package: the library with its shims, what a writer of a host needs, the tool, and the debug
# symbols of the two with code.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME orvelgw)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_PACKAGE_CONTACT "Orvel SQL Gateway maintainers <maintainers@orvelgw.example>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_OUTPUT_FILE_PREFIX debs)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/finish_packages.cmake)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(debian_version ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})

# The date of the packages is that of the version's section in CHANGELOG.md.
file(STRINGS CHANGELOG.md heading REGEX "^## ${PROJECT_VERSION} - " LIMIT_COUNT 1)
string(REGEX REPLACE ".* " "" date "${heading}")
execute_process(COMMAND date --utc --rfc-email --date=${date} OUTPUT_STRIP_TRAILING_WHITESPACE
    OUTPUT_VARIABLE date COMMAND_ERROR_IS_FATAL ANY)

# Adds the package of a component: its name, Debian's section, and its description, whose first line
# is a summary.
macro(add_package component name section description)
    string(TOUPPER ${component} key)
    list(APPEND CPACK_COMPONENTS_ALL ${component})
    set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${name})
    set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section})
    set(CPACK_DEBIAN_${key}_DESCRIPTION "${description}")
    foreach(file copyright changelog)
        configure_file(cmake/debian/${file}.in debian/${file} @ONLY)
    endforeach()
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/debian/copyright
        DESTINATION share/doc/${name} COMPONENT ${component} EXCLUDE_FROM_ALL)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/debian/changelog RENAME changelog.Debian
        DESTINATION share/doc/${name} COMPONENT ${component} EXCLUDE_FROM_ALL)
endmacro()

# Adds a package of code, and that of its debug symbols, which finish_packages.cmake takes out.
macro(add_package_of_code name section description)
    add_package(${name} ${name} ${section} "${description}")
    set(CPACK_DEBIAN_${key}_PACKAGE_SHLIBDEPS ON)
    add_package(symbols-of-${name} ${name}-dbgsym debug "debug symbols for ${name}")
    set(CPACK_DEBIAN_${key}_PACKAGE_DEPENDS "${name} (= ${debian_version})")
endmacro()

add_package_of_code(liborvelgw libs
"Orvel SQL gateway to ODBC data sources
The library that the Orvel database engine loads to reach ODBC data sources
through iODBC: it connects, runs statements, brings rows, long data, catalogs
and diagnostics. With it come shims, which stand in front of ODBC drivers whose
wide characters iODBC misreads.")
configure_file(cmake/debian/shlibs.in debian/shlibs @ONLY)
set(CPACK_DEBIAN_LIBORVELGW_PACKAGE_CONTROL_EXTRA
    ${PROJECT_SOURCE_DIR}/cmake/debian/triggers ${CMAKE_CURRENT_BINARY_DIR}/debian/shlibs)
set(CPACK_DEBIAN_LIBORVELGW_PACKAGE_SUGGESTS "libsqliteodbc, odbc-postgresql, odbc-mariadb")
install(FILES cmake/debian/liborvelgw.lintian-overrides RENAME liborvelgw
    DESTINATION share/lintian/overrides COMPONENT liborvelgw EXCLUDE_FROM_ALL)

add_package(liborvelgw-dev liborvelgw-dev libdevel
"Orvel SQL gateway, for those who write a host
The header of the callout interface by which a host loads and calls the
gateway, with its pages, an example in C, and what pkg-config and CMake need to
find it.")
set(CPACK_DEBIAN_LIBORVELGW-DEV_PACKAGE_DEPENDS "liborvelgw (= ${debian_version})")

if(NOT ORVELGW_LIBRARY_ONLY)
    add_package_of_code(orvelgw database
"SQL on ODBC data sources through the Orvel gateway
A host of the gateway for a person: it runs statements, imports CSV files,
carries files into columns and out of them, calls single entries, and tells why
a data source can't be reached.")
    set(CPACK_DEBIAN_ORVELGW_PACKAGE_DEPENDS "liborvelgw (= ${debian_version})")
    set(CPACK_DEBIAN_ORVELGW_PACKAGE_SUGGESTS "libsqliteodbc")
endif()

include(CPack)
