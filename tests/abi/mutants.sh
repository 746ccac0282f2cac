#!/usr/bin/env bash
# Breaks the binary interface in copies and checks that scripts/abi notices: mutants.sh BUILD_FOLDER
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
build=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# mutant NAME TEXT: the comparison gives 1 and says TEXT.
mutant() {
    local status=0
    SOURCE_FOLDER=$work/source "$root/scripts/abi" "$work/build" >"$work/said" || status=$?
    [ $status -ne 77 ] || exit 77
    if [ $status -ne 1 ] || ! grep -q "$2" "$work/said"; then
        echo "$1 goes unnoticed, status $status:"
        cat "$work/said"
        exit 1
    fi
}
fresh() {
    rm -rf "$work/source" "$work/build"
    mkdir -p "$work/source" "$work/build/lib"
    cp -r "$root/pwr" "$root/plugins" "$work/source"
    cp "$build"/lib/lib{writer,export}_plugins.so "$work/build/lib"
}

fresh
sed -i 's/^ *virtual .*writeMessage.*TextMessage.*/    virtual void added();\n&/' "$work/source/plugins/writer_plugin.h"
mutant "an added virtual function" 'virtual void WriterPlugin::added()'
fresh
sed -i '/ m_logLevel;/d; s/^\( *std::set<std::string> m_conditionalTags;\)/    std::int32_t m_logLevel;\n\1/' "$work/source/pwr/plugin_environment.h"
mutant "a moved field" "m_logLevel.*offset changed"
fresh
echo 'extern "C" __attribute__((visibility("default"))) void* createPlugins() { return nullptr; }' |
    g++ -shared -fPIC -x c++ - -o "$work/build/lib/libwriter_plugins.so"
mutant "a lost export" "destroyPlugins"
fresh
printf 'class PWR_HOST_API Added {\n};\n' >>"$work/source/pwr/quantity.h"
mutant "a class that the description leaves out" "does not name Added"
echo "all four are noticed"
