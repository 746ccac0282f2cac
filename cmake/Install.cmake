# What `cmake --install` puts in place: the writer library, pwrhost, the headers for hosts, the reference
# implementation of the host's classes as an archive, a CMake package and a pkg-config file.
include(CMakePackageConfigHelpers)

set(PWR_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/pwr_writers)
set(PWR_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/pwr_writers)

add_library(pwr_host_model STATIC $<TARGET_OBJECTS:host_model>)

install(TARGETS writer_plugins export_plugins LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS pwrhost RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS pwr_host_model ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY pwr DESTINATION ${PWR_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
install(DIRECTORY host/model DESTINATION ${PWR_INSTALL_INCLUDEDIR}/host FILES_MATCHING PATTERN "*.h")
install(FILES
    plugins/plugin.h
    plugins/plugin_capability.h
    plugins/plugin_list.h
    plugins/writer_plugin.h
    plugins/writer_plugin_capability.h
    DESTINATION ${PWR_INSTALL_INCLUDEDIR}/plugins)

configure_package_config_file(cmake/pwr_writers-config.cmake.in ${CMAKE_BINARY_DIR}/pwr_writers-config.cmake
    INSTALL_DESTINATION ${PWR_INSTALL_CMAKEDIR}
    PATH_VARS PWR_INSTALL_INCLUDEDIR CMAKE_INSTALL_LIBDIR)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/pwr_writers-config-version.cmake
    COMPATIBILITY SameMajorVersion)
# From where the file lies, so that it is right wherever the tree is installed or moved to.
file(RELATIVE_PATH PWR_PREFIX_FROM_PC ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" PWR_PREFIX_FROM_PC "${PWR_PREFIX_FROM_PC}")
configure_file(cmake/pwr_writers.pc.in ${CMAKE_BINARY_DIR}/pwr_writers.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/pwr_writers-config.cmake ${CMAKE_BINARY_DIR}/pwr_writers-config-version.cmake
    DESTINATION ${PWR_INSTALL_CMAKEDIR})
install(FILES ${CMAKE_BINARY_DIR}/pwr_writers.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
