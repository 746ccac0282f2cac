#!/usr/bin/env bash
# Installs a build into a fresh folder and builds a consumer against it, once through the CMake package and
# once through pkg-config: check_install.sh BUILD_FOLDER SOURCE_FOLDER
set -euo pipefail
build=$1
source=$(cd "$2" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
names=$'sum\nvyrta\njson\nbin\nraw\nint\nphm-csv\nauto'

cmake --install "$build" --prefix "$work/prefix" >/dev/null
mv "$work/prefix" "$work/moved"

mkdir "$work/project"
cp "$source/consumer.cpp" "$work/project"
cat >"$work/project/CMakeLists.txt" <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(consumer LANGUAGES CXX)
find_package(pwr_writers 1.0 REQUIRED)
add_executable(consumer consumer.cpp)
target_link_libraries(consumer PRIVATE pwr_writers::host_model)
file(GENERATE OUTPUT library.txt CONTENT "${PWR_WRITERS_LIBRARY}")
CMAKE
cmake -G Ninja -S "$work/project" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$work/moved" -DCMAKE_CXX_FLAGS="${3-}" >/dev/null
cmake --build "$work/consumer" >/dev/null
[ "$("$work/consumer/consumer" "$(cat "$work/consumer/library.txt")")" = "$names" ]

pc=$(dirname "$(find "$work/moved" -name pwr_writers.pc)")
export PKG_CONFIG_PATH=$pc
flags=(--define-variable=prefix="$work/moved")
# shellcheck disable=SC2046
g++ -std=c++20 ${3-} "$source/consumer.cpp" -o "$work/with_pkg_config" $(pkg-config "${flags[@]}" --cflags --libs pwr_writers)
[ "$("$work/with_pkg_config" "$(pkg-config "${flags[@]}" --variable=plugin_library pwr_writers)")" = "$names" ]

[ "$("$work/moved/bin/pwrhost" list | grep -c .)" -ge 8 ]
echo "the installed tree serves both consumers"
