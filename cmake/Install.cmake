# What `cmake --install` puts in place: the plug-in libraries, pwrhost, the headers for hosts, the reference
# implementation of the host's classes as an archive, a CMake package and a pkg-config file; pages, completion, and
# what a system needs to record all the time. The target "uninstall" removes it.
include(CMakePackageConfigHelpers)

set(PWR_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/pwr_writers)
set(PWR_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/pwr_writers)

install(TARGETS writer_plugins export_plugins LIBRARY DESTINATION ${PWR_INSTALL_PLUGINDIR})
install(TARGETS pwrhost RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS pwr_host_model_archive ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY pwr DESTINATION ${PWR_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
install(DIRECTORY host/model DESTINATION ${PWR_INSTALL_INCLUDEDIR}/host FILES_MATCHING PATTERN "*.h")
install(FILES
    plugins/plugin.h
    plugins/plugin_capability.h
    plugins/plugin_list.h
    plugins/writer_plugin.h
    plugins/writer_plugin_capability.h
    DESTINATION ${PWR_INSTALL_INCLUDEDIR}/plugins)
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/pwrhost)
install(DIRECTORY man/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 FILES_MATCHING PATTERN "*.1")
install(DIRECTORY man/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man5 FILES_MATCHING PATTERN "*.5")
install(FILES dist/completion.bash
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME pwrhost)
install(FILES dist/completion.zsh DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions RENAME _pwrhost)
install(DIRECTORY presets DESTINATION ${CMAKE_INSTALL_DATADIR}/pwrhost FILES_MATCHING PATTERN "*.conf")
install(FILES examples/udev/60-pwrhost-rapl.rules DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/pwrhost/examples)
# It names the program, whose place is known when it is installed.
install(CODE "
    set(program \"${CMAKE_INSTALL_BINDIR}/pwrhost\")
    cmake_path(ABSOLUTE_PATH program BASE_DIRECTORY \"\${CMAKE_INSTALL_PREFIX}\")
    file(READ \"${PROJECT_SOURCE_DIR}/examples/systemd/pwrhost.service\" unit)
    string(REPLACE /usr/bin/pwrhost \"\${program}\" unit \"\${unit}\")
    file(WRITE \"${PROJECT_BINARY_DIR}/pwrhost.service\" \"\${unit}\")")
install(FILES ${PROJECT_BINARY_DIR}/pwrhost.service DESTINATION lib/systemd/system)

configure_package_config_file(cmake/pwr_writers-config.cmake.in ${PROJECT_BINARY_DIR}/pwr_writers-config.cmake
    INSTALL_DESTINATION ${PWR_INSTALL_CMAKEDIR}
    PATH_VARS PWR_INSTALL_INCLUDEDIR CMAKE_INSTALL_LIBDIR PWR_INSTALL_PLUGINDIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/pwr_writers-config-version.cmake
    COMPATIBILITY SameMajorVersion)
# From where the file lies, so that it is right wherever the tree is installed or moved to.
file(RELATIVE_PATH PWR_PREFIX_FROM_PC ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" PWR_PREFIX_FROM_PC "${PWR_PREFIX_FROM_PC}")
configure_file(cmake/pwr_writers.pc.in ${PROJECT_BINARY_DIR}/pwr_writers.pc @ONLY)
install(FILES
    ${PROJECT_BINARY_DIR}/pwr_writers-config.cmake
    ${PROJECT_BINARY_DIR}/pwr_writers-config-version.cmake
    DESTINATION ${PWR_INSTALL_CMAKEDIR})
install(FILES ${PROJECT_BINARY_DIR}/pwr_writers.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

if(PROJECT_IS_TOP_LEVEL)
    add_custom_target(uninstall
        COMMAND ${CMAKE_COMMAND} -P ${PROJECT_SOURCE_DIR}/cmake/Uninstall.cmake
        WORKING_DIRECTORY ${PROJECT_BINARY_DIR})
endif()
