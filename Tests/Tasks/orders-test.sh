#!/usr/bin/env bash
# orders-test.sh SOURCE_FOLDER: runs the tasks of ./dev that share a build folder in every order of
# two, in a copy of the sources. Configuring is real; building only asks whether what a task wants
# to build is there.
set -euo pipefail
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
mkdir -p "$folder/tree" "$folder/tools"
cd "$1"
cp -R --parents -t "$folder/tree" dev CMakeLists.txt CMakePresets.json CMake Platform Animation \
    LumiveraLiveWallpaper Host Wallpapers Tests Fuzz Benchmarks Docs

# Stand-ins for the tools, each of which writes what it was called for.
tool() {
    cat >"$folder/tools/$1"
    chmod +x "$folder/tools/$1"
}
tool dpkg-query <<'TOOL'
#!/bin/sh
echo "all ii"
TOOL
tool ctest <<'TOOL'
#!/bin/sh
exit 0
TOOL
tool cpack <<'TOOL'
#!/bin/sh
[ -e build/release/everything-built ] && mkdir -p build/packages && touch build/packages/x.deb
TOOL
tool cmake <<TOOL
#!/usr/bin/env bash
set -euo pipefail
real=$(command -v cmake)
TOOL
cat >>"$folder/tools/cmake" <<'TOOL'
case $1 in
--build)
    preset=$3 targets=(all)
    [[ ${4:-} != --target ]] || targets=("${@:5}")
    rm -f "build/$preset/everything-built"
    ninja -C "build/$preset" -t query "${targets[@]}" >/dev/null
    [[ ${targets[0]} != all ]] || touch "build/$preset/everything-built"
    for program in bin/lumivera benchmarks/LumiveraBenchmarks benchmarks/CompositorComparison; do
        mkdir -p "$(dirname "build/$preset/$program")"
        # A program is there after a task only if that task builds it.
        rm -f "build/$preset/$program"
        if ninja -C "build/$preset" -t query "${program##*/}" >/dev/null 2>&1; then
            printf '#!/bin/sh\nexit 0\n' >"build/$preset/$program"
            chmod +x "build/$preset/$program"
        fi
    done
    ;;
--install) [[ -e $2/everything-built ]] ;;
*) exec "$real" "$@" ;;
esac
TOOL

export PATH=$folder/tools:$PATH HOME=$folder
unset DISPLAY WAYLAND_DISPLAY
run_task() {
    # shellcheck disable=SC2086
    "$tree/dev" $1 >"$folder/log" 2>&1 ||
        { echo "./dev $1 fails after: $before"; tail -n 20 "$folder/log"; exit 1; }
    before=$1
}

# Every task follows every other one, and itself, once.
all_orders() {
    local i j tasks=("$@")
    for ((i = 0; i < ${#tasks[@]}; ++i)); do
        run_task "${tasks[i]}"
        for ((j = i + 1; j < ${#tasks[@]}; ++j)); do
            run_task "${tasks[i]}"
            run_task "${tasks[j]}"
        done
    done
    run_task "${tasks[0]}"
}

tree=$folder/tree before=nothing
all_orders run bench portable install 'build release' package
all_orders test 'build dev'

# What can be installed is part of what a task for users builds.
run_task run
count=0
while read -r file; do
    count=$((count + 1))
    ninja -C "$folder/tree/build/release" -t query "${file#"$folder/tree/build/release/"}" \
        >/dev/null || { echo "nothing builds $file"; exit 1; }
done < <(grep -rhoP 'FILES "\K[^"]*(?=")' "$folder/tree/build/release" --include=cmake_install.cmake |
    grep "^$folder/tree/build/release/\(bin\|lib\|libexec\|Host\)/")
((count >= 6)) || { echo "only $count files are installed"; exit 1; }

# The folder may have been moved.
tree=$folder/moved
mv "$folder/tree" "$tree"
run_task run
