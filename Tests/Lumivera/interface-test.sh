#!/usr/bin/env bash
# interface-test.sh BUILD_FOLDER [--write]: compares the interface of the kit's libraries, as that
# build's debug information tells it, with the dumps in Lumivera/Interface, or writes those anew.
# Fails when a class has another size or place for a member or a virtual function, or when something
# has gone; what was added is no difference.
set -euo pipefail
build=$1
dumps=$(realpath "$(dirname "${BASH_SOURCE[0]}")/../../Lumivera/Interface")
for tool in abidw abidiff; do
    command -v "$tool" >/dev/null || { echo "needs $tool, of the package abigail-tools"; exit 77; }
done
[[ $(uname -m) == x86_64 ]] || { echo "needs a 64-bit x86 machine"; exit 77; }
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# The version of g++ that made the library; another one's debug information may say other things.
compiler=$(readelf -p .comment "$build/lib/libLumiveraPlatform.so" |
    sed -n "s/.*GCC: .* \([0-9]*\)\..*/\1/p" | head -n 1)
[[ ${2:-} != --write ]] || echo "$compiler" >"$dumps/compiler"
[[ $compiler == "$(cat "$dumps/compiler")" ]] ||
    { echo "needs g++ $(cat "$dumps/compiler"), with which the dumps were made"; exit 77; }
cmake --install "$build" --component Kit --prefix "$folder" >/dev/null

differs=
for library in LumiveraPlatform LumiveraWallpaperKit; do
    file=$build/lib/lib$library.so dump=$dumps/$library.abi
    [[ $(readelf -SW "$file") == *.debug_info* ]] || { echo "needs debug information"; exit 77; }
    [[ ${2:-} == --write ]] || dump=$folder/$library.abi
    abidw --headers-dir "$folder/include/lumivera" --suppressions "$dumps/ours.suppr" \
        --drop-private-types --exported-interfaces-only --no-corpus-path --no-comp-dir-path \
        --no-show-locs --no-elf-needed --no-write-default-sizes --type-id-style hash \
        --out-file "$dump" "$(realpath "$file")"
    abidiff --suppressions "$dumps/ours.suppr" --no-added-syms --no-unreferenced-symbols \
        "$dumps/$library.abi" "$dump" || differs=yes
done
[[ ! $differs ]] || {
    echo "The kit's interface differs from Lumivera/Interface. A wallpaper that was built before may"
    echo "break: give LUMIVERA_INTERFACE in Lumivera/Interface.h the next number, then run"
    echo "./dev interface --write. Keep the number only if you are sure that none breaks."
    exit 1
}
