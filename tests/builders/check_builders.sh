#!/usr/bin/env bash
# Builds the project as others do: check_builders.sh subfolder|fetched|reproducible SOURCE_FOLDER
set -euo pipefail
kind=$1
source=$(cd "$2" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
names=$'sum\nvyrta\njson\nbin\nraw\nint\nphm-csv\nauto'

quietly() {
    "$@" >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
}

# A collector that has the project inside its own; all sources of a folder are compiled as one where they can be.
# consumer TARGET OPTION...: lines of its CMakeLists.txt come from standard input.
consumer() {
    local target=$1
    shift
    mkdir "$work/project"
    cp "$source/tests/install/consumer.cpp" "$work/project"
    {
        echo 'cmake_minimum_required(VERSION 3.25)'
        echo 'project(consumer LANGUAGES CXX)'
        cat
        echo 'add_executable(consumer consumer.cpp)'
        echo 'target_link_libraries(consumer PRIVATE pwr_writers::host_model)'
        echo 'add_dependencies(consumer pwr_writers::writer_plugins)'
        # shellcheck disable=SC2016
        echo 'file(GENERATE OUTPUT library.txt CONTENT "$<TARGET_FILE:pwr_writers::writer_plugins>")'
        cat <<'CMAKE'
# All names of targets share one room, so ours must not be what a collector may call its own.
function(check_names folder)
    get_property(targets DIRECTORY ${folder} PROPERTY BUILDSYSTEM_TARGETS)
    list(FILTER targets EXCLUDE REGEX "^(pwr.*|writer_plugins|export_plugins|consumer)$")
    if(targets)
        message(FATAL_ERROR "Names that a collector may have: ${targets}")
    endif()
    get_property(subfolders DIRECTORY ${folder} PROPERTY SUBDIRECTORIES)
    foreach(subfolder ${subfolders})
        check_names(${subfolder})
    endforeach()
endfunction()
check_names(${CMAKE_SOURCE_DIR})
CMAKE
    } >"$work/project/CMakeLists.txt"
    quietly cmake -G Ninja -S "$work/project" -B "$work/build" -DCMAKE_BUILD_TYPE=Debug -DCMAKE_UNITY_BUILD=ON "$@"
    quietly cmake --build "$work/build" --target "$target"
    [ "$("$work/build/consumer" "$(cat "$work/build/library.txt")")" = "$names" ]
}

case $kind in
    subfolder)
        consumer all -DBUILD_SHARED_LIBS=ON <<<"add_subdirectory($source writers)"
        ;;
    fetched)
        consumer consumer -DBUILD_SHARED_LIBS=OFF <<CMAKE
include(FetchContent)
FetchContent_Declare(pwr_writers SOURCE_DIR "$source" OVERRIDE_FIND_PACKAGE)
find_package(pwr_writers REQUIRED)
CMAKE
        ;;
    reproducible)
        # Two folders of different length, and of different names on the way.
        git -C "$source" ls-files -z | tar -C "$source" --null -T - -cf "$work/source.tar"
        for folder in "$work/one" "$work/another/place/two"; do
            mkdir -p "$folder"
            tar -C "$folder" -xf "$work/source.tar"
            quietly cmake -G Ninja -S "$folder" -B "$folder/build" -DCMAKE_BUILD_TYPE=Release \
                -DPWR_BUILD_TESTS=OFF -DPWR_BUILD_BENCH=OFF
            quietly cmake --build "$folder/build" --target writer_plugins export_plugins pwrhost
        done
        for file in lib/libwriter_plugins.so lib/libexport_plugins.so bin/pwrhost; do
            cmp "$work/one/build/$file" "$work/another/place/two/build/$file"
        done
        ;;
esac
echo "$kind: sound"
