# installed.sh, for tests that use nothing but installed files: `source installed.sh BUILD_FOLDER`
# installs into a folder of its own, in which the test then is, and removes it at the end. Sets
# $source, $build, $folder, $prefix and $lumivera.
set -euo pipefail
source=$(realpath "$(dirname "${BASH_SOURCE[0]}")/../..")
folder=$(realpath "$(mktemp -d)")
build=$(realpath "$1")
prefix=$folder/prefix
lumivera=$prefix/bin/lumivera
started=()
finish() {
    kill "${started[@]}" 2>/dev/null || true
    wait
    rm -rf "$folder"
}
trap finish EXIT
cmake --install "$build" --prefix "$prefix" >/dev/null
cd "$folder"
export XDG_DATA_HOME=$folder/data XDG_CONFIG_HOME=$folder/config XDG_STATE_HOME=$folder/state
export XDG_CACHE_HOME=$folder/cache XDG_RUNTIME_DIR=$folder/run
mkdir -m 700 run
unset WAYLAND_DISPLAY

fail() { echo "$*" >&2; exit 1; }

# eventually COMMAND...: tries it for 30 seconds until it succeeds.
eventually() {
    local i
    for ((i = 0; i < 300; ++i)); do
        "$@" 2>/dev/null && return
        sleep 0.1
    done
    return 1
}

# block PAGE WORDS: the block of the page, in Docs, whose first line contains the words.
block() {
    awk -v words="$2" '/^```/ { inside = !inside; first = 1; found = 0; next }
        inside && first { first = 0; found = index($0, words) > 0 }
        inside && found' "$source/Docs/$1"
}

# in_order BUNDLE: the checker finds nothing.
in_order() {
    "$lumivera" check "$1" >check.log && grep -q ': in order (seed' check.log ||
        fail "$1 has mistakes: $(cat check.log)"
}

# start_display: an X server without a screen.
start_display() {
    Xvfb -displayfd 3 -screen 0 320x240x24 -nolisten tcp 3>display 2>/dev/null &
    started+=($!)
    eventually test -s display || fail "the X server does not start"
    DISPLAY=:$(cat display)
    export DISPLAY
}

# start_desktop ARGUMENT...: shows a wallpaper on the display, and waits for its picture in shot.png.
start_desktop() {
    "$lumivera" desktop "$@" 2>desktop.log &
    desktop=$!
    started+=("$desktop")
    eventually "$lumivera" ctl screenshot shot.png || fail "the desktop shows nothing: $(cat desktop.log)"
}

quit_desktop() {
    "$lumivera" ctl quit
    wait "$desktop" || fail "the desktop ends with $?: $(cat desktop.log)"
    local i
    for i in "${!started[@]}"; do
        [[ ${started[i]} != "$desktop" ]] || unset "started[$i]"
    done
}
