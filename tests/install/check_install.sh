#!/usr/bin/env bash
# Installs a build into a fresh folder, builds a consumer against it, once through the CMake package and once
# through pkg-config, and removes it again: check_install.sh BUILD_FOLDER SOURCE_FOLDER [COMPILER FLAGS]
set -euo pipefail
build=$1
source=$(cd "$2" && pwd)
flags=${3-}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
names=$'sum\nvyrta\njson\nbin\nraw\nint\nphm-csv\nauto'

cmake --install "$build" --prefix "$work/prefix" >/dev/null
export PKG_CONFIG_PATH=$(dirname "$(find "$work/prefix" -name pwr_writers.pc)")
[ -e "$(pkg-config --variable=plugin_library pwr_writers)" ]
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
cmake -G Ninja -S "$work/project" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$work/moved" -DCMAKE_CXX_FLAGS="$flags" >/dev/null
cmake --build "$work/consumer" >/dev/null
library=$(cat "$work/consumer/library.txt")
[ "$("$work/consumer/consumer" "$library")" = "$names" ]
(cd "$work" && "$work/consumer/consumer" "$library" load raw int json bin vyrta)
[ "$(grep -cE '^ *[0-9]+, ' "$work/load.txt")" = 5 ]
[ -s "$work/load_trace.csv" ] && [ -s "$work/load.ztjson" ] && [ -s "$work/load.pwr" ]
"$work/moved/bin/pwrhost" show --check "$work/load.pwr" >/dev/null
# The guide prints this program.
python3 -c 'import sys
code, page = (open(path).read() for path in sys.argv[1:])
sys.exit("".join("    " * bool(line.strip()) + line for line in code.splitlines(True)) not in page)' \
    "$source/consumer.cpp" "$source/../../docs/host.md"

# With the language level that the compiler has by itself.
PKG_CONFIG_PATH=$(dirname "$(find "$work/moved" -name pwr_writers.pc)")
# shellcheck disable=SC2046,SC2086
g++ $flags "$source/consumer.cpp" -o "$work/with_pkg_config" $(pkg-config --cflags --libs pwr_writers)
[ "$("$work/with_pkg_config" "$(pkg-config --variable=plugin_library pwr_writers)")" = "$names" ]

# A collector may be of any age: the declarations are C++11, the model and the layout of records C++17.
include=$(pkg-config --variable=includedir pwr_writers)
compiles() {
    (cd "$include" && find "$@" -name '*.h' -printf '#include <%p>\n') |
        g++ -std="$standard" -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror -fsyntax-only -I"$include" -x c++ -
}
standard=c++11 compiles pwr plugins -not -path 'pwr/bin/*'
standard=c++17 compiles host pwr/bin

# The program finds both libraries, wherever they went.
"$work/moved/bin/pwrhost" list >"$work/list"
grep -q "^auto " "$work/list" && grep -q "^html " "$work/list"

# Each file has the place where the system's other programs look for it.
uninstall() {
    (cd "$build" && cmake -P "$source/../../cmake/Uninstall.cmake")
    [ -z "$(find "$1" ! -type d -o -name '*pwr*')" ]
}
mkdir -p "$work/prefix/share/doc/another"
cmake --install "$build" --prefix "$work/prefix" >/dev/null
for file in bin/pwrhost lib/systemd/system/pwrhost.service \
    share/bash-completion/completions/pwrhost share/zsh/vendor-completions/_pwrhost \
    share/doc/pwrhost/examples/60-pwrhost-rapl.rules share/doc/pwrhost/formats/ztjson.schema.json \
    share/man/man1/pwrhost{,-record,-replay,-compare}.1 share/man/man5/pwr-{formats,stream}.5 \
    share/pwrhost/presets/{battery,idle,server}.conf; do
    [ -f "$work/prefix/$file" ] || { echo "$file is not there"; exit 1; }
done
if command -v systemd-analyze >/dev/null; then
    said=$(systemd-analyze verify --man=no "$work/prefix/lib/systemd/system/pwrhost.service" 2>&1)
    [ -z "$said" ] || { echo "$said"; exit 1; }
fi
grep -q "$work/prefix/bin/pwrhost record" "$work/prefix/lib/systemd/system/pwrhost.service"

# Nothing is left behind, and nothing of others is touched; the same in a folder that stands for the root.
uninstall "$work/prefix"
[ -d "$work/prefix/share/doc/another" ]
export DESTDIR=$work/stage
cmake --install "$build" --prefix /opt/tools >/dev/null
[ -x "$DESTDIR/opt/tools/bin/pwrhost" ] && [ "$(ls "$DESTDIR")" = opt ]
"$DESTDIR/opt/tools/bin/pwrhost" list >/dev/null
grep -q " /opt/tools/bin/pwrhost record" "$DESTDIR/opt/tools/lib/systemd/system/pwrhost.service"
uninstall "$DESTDIR"
echo "the installed tree serves both consumers"
