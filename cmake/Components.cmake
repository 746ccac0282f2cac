# What every folder's CMakeLists.txt is made of.
include(CheckPIESupported)

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
if(PROJECT_IS_TOP_LEVEL AND NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE Release)
endif()
check_pie_supported(LANGUAGES CXX)

# Headers, warnings, sanitizers and hardening of all our code.
add_library(pwr_common INTERFACE)
target_include_directories(pwr_common INTERFACE ${CMAKE_CURRENT_SOURCE_DIR})
target_compile_options(pwr_common INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wold-style-cast $<$<BOOL:${PWR_WERROR}>:-Werror>)
# g++ 12 warns of overlapping copies inside std::string's own code.
target_compile_options(pwr_common INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
# Newer clangs warn of what its std::stable_sort calls; g++ still tells of what is deprecated in our code.
target_compile_options(pwr_common INTERFACE
    $<$<AND:$<CXX_COMPILER_ID:Clang>,$<VERSION_GREATER_EQUAL:$<CXX_COMPILER_VERSION>,17>>:-Wno-deprecated-declarations>)
# The part of the standard that older clangs leave out unless told.
target_compile_options(pwr_common INTERFACE $<$<CXX_COMPILER_ID:Clang>:-fsized-deallocation>)
if(PWR_SANITIZE)
    target_compile_options(pwr_common INTERFACE
        -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
    target_link_options(pwr_common INTERFACE -fsanitize=address,undefined)
elseif(PWR_HARDENING)
    # The checked functions of the C library need an optimised build.
    target_compile_options(pwr_common INTERFACE
        $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2> -fstack-protector-strong -fcf-protection=full)
    target_link_options(pwr_common INTERFACE LINKER:-z,relro,-z,now)
endif()

# For folders of the host, which call writers through their virtual tables only and so must not need their type
# information. Linked after pwr_common, whose options, which turn all checks on, then stand before these.
add_library(pwr_untyped INTERFACE)
target_compile_options(pwr_untyped INTERFACE $<$<BOOL:${PWR_SANITIZE}>:-fno-sanitize=vptr>)

# pwr_objects(NAME SOURCE...): a folder's code as objects, for the product that it is part of and its tests. The target
# is pwr_NAME, as a project that has this one inside may have a NAME of its own; our tests call it NAME.
function(pwr_objects name)
    add_library(pwr_${name} OBJECT ${ARGN})
    target_link_libraries(pwr_${name} PUBLIC pwr_common)
    if(PROJECT_IS_TOP_LEVEL)
        add_library(${name} ALIAS pwr_${name})
    endif()
endfunction()

# pwr_writer_objects(NAME SOURCE...): the same for a folder that is part of the writer library.
function(pwr_writer_objects name)
    pwr_objects(${name} ${ARGN})
    # The host's operations are called for every element: straight through the table of addresses.
    target_compile_options(pwr_${name} PRIVATE -fno-plt)
    set_property(GLOBAL APPEND PROPERTY PWR_WRITER_OBJECTS pwr_${name})
endfunction()

# pwr_link_plugin_library(NAME ENTRY OBJECTS...): a plug-in library. It exports its two entry points only and is not
# linked against the host: what it imports is resolved by the process that loads it.
function(pwr_link_plugin_library name entry)
    add_library(${name} SHARED ${entry})
    target_link_libraries(${name} PRIVATE pwr_common ${ARGN})
    set(exports ${PROJECT_SOURCE_DIR}/plugins/exports.map)
    target_link_options(${name} PRIVATE -Wl,--version-script=${exports})
    set_target_properties(${name} PROPERTIES LINK_DEPENDS ${exports})
endfunction()

# pwr_add_test(NAME SOURCES FILE... [LIBRARIES TARGET...]): a GoogleTest program, run from the build tree, and once
# more in the environment PWR_ELSEWHERE if that is set.
# OBJECT libraries must be named one by one: objects are not passed on through other targets.
function(pwr_add_test name)
    cmake_parse_arguments(TEST "" "" "SOURCES;LIBRARIES" ${ARGN})
    add_executable(${name} ${TEST_SOURCES} $<$<BOOL:${PWR_COVERAGE}>:${PROJECT_SOURCE_DIR}/tests/support/coverage_exit.cpp>)
    target_link_libraries(${name} PRIVATE pwr_common ${TEST_LIBRARIES} GTest::gmock GTest::gtest_main)
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
    file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/tests/work/${name})
    add_test(NAME ${name} COMMAND ${CMAKE_SOURCE_DIR}/tests/wrapped $<TARGET_FILE:${name}>
        WORKING_DIRECTORY ${CMAKE_BINARY_DIR}/tests/work/${name})
    if(PWR_ELSEWHERE)
        set(work ${CMAKE_BINARY_DIR}/tests/work/elsewhere/${name})
        file(MAKE_DIRECTORY ${work})
        add_test(NAME elsewhere.${name} COMMAND ${name} WORKING_DIRECTORY ${work})
        set_tests_properties(elsewhere.${name} PROPERTIES ENVIRONMENT "${PWR_ELSEWHERE}")
    endif()
endfunction()
