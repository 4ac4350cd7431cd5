#!/usr/bin/env bash
# reference-test.sh BUILD_FOLDER [EMULATOR]: renders the shipped wallpaper from a seed, and compares
# the trace of the petals and the last picture with the sums of those of the reference system. A
# change that is meant to draw other pixels writes new sums: --write as the third argument.
set -euo pipefail
build=$1 emulator=${2:-}
sums=$(dirname "$(realpath "${BASH_SOURCE[0]}")")/sums
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
$emulator "$build/bin/lumivera" render "$build/share/lumivera/wallpapers/Lumivera.bundle" \
    -o "$folder/picture.png" --trace "$folder/trace.jsonl" --seed 7 --frames 400 --size 640x400
cd "$folder"
if [[ ${3:-} == --write ]]; then
    sha256sum picture.png trace.jsonl >"$sums"
fi
sha256sum --check "$sums"
