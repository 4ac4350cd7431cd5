#!/usr/bin/env bash
# orders-test.sh SOURCE_FOLDER: runs the tasks of ./dev that share a build folder in every order of
# two, in a copy of the sources. CMake really configures; instead of building, a stand-in checks that
# the targets exist which a task wants to build.
set -euo pipefail
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
mkdir -p "$folder/tree" "$folder/tools"
cd "$1"
cp -R --parents -t "$folder/tree" dev CMakeLists.txt CMakePresets.json CMake Platform Animation \
    LumiveraLiveWallpaper Lumivera Host Wallpapers extensions Tests Fuzz Benchmarks Docs

# tool NAME: makes a stand-in for a tool from the standard input.
tool() {
    cat >"$folder/tools/$1"
    chmod +x "$folder/tools/$1"
}
tool dpkg-query <<'TOOL'
#!/bin/sh
for package; do :; done
echo "$package" >>"$ASKED_FOR"
echo "all ii"
TOOL
for name in ctest clang-tidy llvm-profdata llvm-cov; do
    printf '#!/bin/sh\n' | tool "$name"
done
tool cpack <<'TOOL'
#!/bin/sh
[ -e build/release/everything-built ] && mkdir -p build/packages && touch build/packages/lumivera_1_all.deb
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
    for program in bin/lumivera benchmarks/LumiveraBenchmarks benchmarks/CompositorComparison \
        fuzz/ConfigurationFuzzer; do
        mkdir -p "$(dirname "build/$preset/$program")"
        # A program exists after a task only if that task builds it.
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

export PATH=$folder/tools:$PATH HOME=$folder ASKED_FOR=$folder/asked-for
unset DISPLAY WAYLAND_DISPLAY
run_task() {
    : >"$ASKED_FOR"
    # shellcheck disable=SC2086
    "$tree/dev" $1 >"$folder/log" 2>&1 ||
        { echo "./dev $1 fails after: $before"; tail -n 20 "$folder/log"; exit 1; }
    before=$1
}

# all_orders TASK...: runs each task once after every other one, and after itself.
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
all_orders test 'build dev' 'tidy FILE'
if command -v clang++ >/dev/null; then
    all_orders clang 'build clang'
    all_orders 'fuzz Configuration' 'build fuzz'
fi

# Building installs no tools that only tests need.
for preset in dev release; do
    run_task "build $preset"
    ! grep -xE 'xvfb|ffmpeg|sway|xdotool|libbenchmark-dev' "$ASKED_FOR" ||
        { echo "./dev build $preset installs what it does not need"; exit 1; }
done

# A newer compiler's warnings fail the build of those who work on it, and of nobody else.
grep -q Werror "$tree/build/dev/build.ninja" || { echo "warnings are no errors in dev"; exit 1; }
! grep -q Werror "$tree/build/release/build.ninja" ||
    { echo "warnings are errors in release"; exit 1; }

# Tasks for users build everything that gets installed and is no file of CMake's own.
run_task run
count=0
while read -r file; do
    count=$((count + 1))
    ninja -C "$folder/tree/build/release" -t query "${file#"$folder/tree/build/release/"}" \
        >/dev/null || { echo "nothing builds $file"; exit 1; }
done < <(grep -rhoP 'FILES "\K[^"]*(?=")' "$folder/tree/build/release" --include=cmake_install.cmake |
    grep "^$folder/tree/build/release/\(bin\|lib\|libexec\|Host\)/" | grep -v '\.cmake$')
((count >= 6)) || { echo "only $count files are installed"; exit 1; }

# A build folder that was moved does not matter.
tree=$folder/moved
mv "$folder/tree" "$tree"
run_task run
