#!/usr/bin/env bash
# run.sh [WORD]: breaks the code in one line at a time, as mutations.tsv says, and expects the tests
# that are named there to fail. Prints a line for each mutation that survives. With WORD, only those
# of files whose paths contain it. Works in a copy of the tree, in build/mutants.
set -euo pipefail
cd "$(dirname "$(realpath "${BASH_SOURCE[0]}")")/../.."
table=Tests/Mutants/mutations.tsv word=${1:-}
copy=$PWD/build/mutants/tree build=$PWD/build/mutants/build
kPatience=120 # seconds; a test that hangs has noticed, too

# Files that are as they were keep their times, so that little is built again.
lay_copy() {
    local file
    git ls-files --cached --others --exclude-standard | while read -r file; do
        [[ ! -f $file ]] || cmp -s "$file" "$copy/$file" || cp --parents "$file" "$copy"
    done
    (cd "$copy" && find . -type f) | while read -r file; do
        [[ -f $file ]] || rm "$copy/$file"
    done
}

# mutations: the lines of the table that were asked for.
mutations() { tail -n +2 "$table" | awk -F '\t' -v word="$word" 'index($1, word)'; }

build() { cmake --build "$build" --target "$@" >"$build/log" 2>&1; }

# passes PROGRAM FILTER: in a shell of its own, whose message about a crash goes to a file.
passes() {
    (timeout --kill-after=10 "$kPatience" "$build/tests/$1" --gtest_filter="$2" \
        >"$build/log" </dev/null; exit $?) 2>"$build/errors"
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
# What takes least time to build a single line again.
cmake -S "$copy" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=None -DLUMIVERA_BENCHMARKS=OFF \
    -DCMAKE_CXX_FLAGS='-O0 -D_GLIBCXX_ASSERTIONS' -DCMAKE_LINK_DEPENDS_NO_SHARED=ON \
    --log-level=WARNING >/dev/null
programs=$(mutations | cut -f4 | sort -u)
echo "mutants: building the tests as they are" >&2
# shellcheck disable=SC2086
build $programs || { tail "$build/log"; exit 1; }
for program in $programs; do
    filters=$(mutations | awk -F '\t' -v program="$program" '$4 == program { print $5 }' | paste -sd:)
    passes "$program" "$filters" || { echo "$program fails as it is:"; tail "$build/log"; exit 1; }
done

count=0 survivors=0 equivalent=0
while IFS=$'\t' read -r file old new program filter reason; do
    count=$((count + 1))
    what="$file: $old -> $new"
    mutate "$file" "$old" "$new" || { echo "not there once: $what"; exit 1; }
    if ! build "$program"; then
        echo "does not compile: $what"
        survivors=$((survivors + 1))
    elif passes "$program" "$filter"; then
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
