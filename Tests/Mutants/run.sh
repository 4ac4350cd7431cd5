#!/usr/bin/env bash
# run.sh [WORD]: breaks the code in one line at a time, as mutations.tsv says, and expects the tests of
# that folder to fail. Prints a line for each mutation that survives. With WORD, only those of files
# whose paths contain it. Works in a copy of the tree, in build/mutants.
set -euo pipefail
cd "$(dirname "$(realpath "${BASH_SOURCE[0]}")")/../.."
table=Tests/Mutants/mutations.tsv word=${1:-}
copy=$PWD/build/mutants/tree build=$PWD/build/mutants/build
kPatience=300 # seconds; a test that hangs has noticed, too

# program_of FILE: the test program of the folder that the file is in.
program_of() {
    case $1 in
    Animation/* | LumiveraLiveWallpaper/*) echo AnimationTests ;;
    Platform/*) cut -d/ -f2 <<<"$1" | sed 's/$/Tests/' ;;
    Host/*) echo HostTests ;;
    *) echo "mutants: there are no tests for $1" >&2 && exit 1 ;;
    esac
}

# Files that are as they were keep their times, so that little is built again.
lay_copy() {
    local file
    git ls-files | while read -r file; do
        [[ ! -f $file ]] || cmp -s "$file" "$copy/$file" || cp --parents "$file" "$copy"
    done
}

# mutations: the lines of the table that were asked for.
mutations() { grep -v '^#' "$table" | awk -F '\t' -v word="$word" 'index($1, word)'; }

build() { cmake --build "$build" --target "$@" >"$build/log" 2>&1; }

# passes PROGRAM FILTER
passes() {
    timeout --kill-after=10 "$kPatience" "$build/tests/$1" --gtest_filter="$2" \
        >"$build/log" 2>&1 </dev/null
}

# mutate FILE OLD NEW: false when OLD is not there exactly once.
mutate() {
    local text
    text=$(cat "$copy/$1" && echo x)
    [[ ${text/"$2"/} != "$text" && ${text/"$2"/} != *"$2"* ]] || return 1
    text=${text/"$2"/"$3"}
    printf %s "${text%x}" >"$copy/$1"
}

mkdir -p "$copy" "$build"
lay_copy
cmake -S "$copy" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DLUMIVERA_BENCHMARKS=OFF \
    --log-level=WARNING >/dev/null
programs=$(mutations | cut -f1 | while read -r file; do program_of "$file"; done | sort -u)
echo "mutants: building the tests as they are" >&2
# shellcheck disable=SC2086
build $programs || { cat "$build/log"; exit 1; }
for program in $programs; do
    filters=$(mutations | while IFS=$'\t' read -r file _ _ filter _; do
        [[ $(program_of "$file") != "$program" ]] || echo "$filter"
    done | sort -u | paste -sd:)
    passes "$program" "$filters" || { echo "$program fails as it is:"; cat "$build/log"; exit 1; }
done

count=0 survivors=0 equivalent=0
while IFS=$'\t' read -r file old new filter reason; do
    count=$((count + 1))
    program=$(program_of "$file")
    what="$file: $old -> $new"
    mutate "$file" "$old" "$new" || { echo "not there once: $what"; exit 1; }
    if ! build "$program"; then
        echo "does not compile: $what"
        survivors=$((survivors + 1))
    elif passes "$program" "$filter" && { [[ $program == HostTests ]] || passes "$program" '*'; }; then
        if [[ -n $reason ]]; then
            echo "equivalent ($reason): $what"
            equivalent=$((equivalent + 1))
        else
            echo "survives: $what"
            survivors=$((survivors + 1))
        fi
    fi
    cp "$file" "$copy/$file"
    [[ ! -t 2 ]] || printf '\r%s mutations, %s survive ' "$count" "$survivors" >&2
done < <(mutations)
echo "$count mutations, $((count - survivors - equivalent)) caught, $equivalent equivalent, $survivors survive"
((survivors == 0))
