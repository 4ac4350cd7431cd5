#!/usr/bin/env bash
# run.sh [WORD]: breaks the code in one line at a time, as mutations.tsv says, and expects the tests
# that are named there to fail. Prints each mutation that survives. With WORD, only mutations of files
# whose paths contain it. Works in a copy of the tree, in build/mutants.
# run.sh --check: only checks that every line that the table wants to break is there.
set -euo pipefail
cd "$(dirname "$(realpath "${BASH_SOURCE[0]}")")/../.."
table=Tests/Mutants/mutations.tsv word=${1:-}
[[ $word != --check ]] || word=
copy=$PWD/build/mutants/tree build=$PWD/build/mutants/build
kTimeout=120 # seconds; a test that hangs has noticed the mutation, too

# Unchanged files keep their times, so that little is built again.
lay_copy() {
    local file
    git ls-files --cached --others --exclude-standard | while read -r file; do
        [[ ! -f $file ]] || cmp -s "$file" "$copy/$file" || cp --parents "$file" "$copy"
    done
    (cd "$copy" && find . -type f) | while read -r file; do
        [[ -f $file ]] || rm "$copy/$file"
    done
}

# mutations: prints the table's lines that were asked for.
mutations() { tail -n +2 "$table" | awk -F '\t' -v word="$word" 'index($1, word)'; }

build() { cmake --build "$build" --target "$@" >"$build/log" 2>&1; }

# passes PROGRAM FILTER: runs the tests in a subshell, so that bash's message about a crash goes to
# a file.
passes() {
    (timeout --kill-after=10 "$kTimeout" "$build/tests/$1" --gtest_filter="$2" \
        >"$build/log" </dev/null; exit $?) 2>"$build/errors"
}

# is_once FILE OLD: true when OLD is in the file exactly once.
is_once() {
    local text
    text=$(<"$1")
    [[ ${text/"$2"/} != "$text" && ${text/"$2"/} != *"$2"* ]]
}

# mutate FILE OLD NEW: false when OLD is not there exactly once.
mutate() {
    local text
    is_once "$copy/$1" "$2" || return 1
    text=$(cat "$copy/$1" && echo x) # x keeps the line ends before it
    text=${text/"$2"/"$3"}
    printf %s "${text%x}" >"$copy/$1"
}

check_table() {
    local file old rest status=0
    while IFS=$'\t' read -r file old rest; do
        is_once "$file" "$old" || { echo "not there once: $file: $old"; status=1; }
    done < <(mutations)
    return $status
}

if [[ ${1:-} == --check ]]; then
    check_table
    exit
fi

mkdir -p "$copy" "$build"
lay_copy
# Without optimisation, a changed line is built again soonest.
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
