#!/usr/bin/env bash
# Runs CTest on tests of every outcome, and checks the line that summary.awk prints about them.
set -euo pipefail
summary=$(realpath "$(dirname "$0")/summary.awk")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
cat >CTestTestfile.cmake <<'TESTS'
# skip(NAME TEXT): ends as a GoogleTest that calls GTEST_SKIP() << TEXT.
function(skip NAME TEXT)
    add_test(${NAME} printf "[ RUN      ] %s\n/Test.cpp:12: Skipped\n%s\n\n[  SKIPPED ] %s\n"
        ${NAME} "${TEXT}" ${NAME})
    set_tests_properties(${NAME} PROPERTIES SKIP_REGULAR_EXPRESSION "\\[  SKIPPED \\]")
endfunction()

foreach(number RANGE 1 3)
    add_test(Pass.${number} echo "/Test.cpp:1: Skipped")
endforeach()
TESTS

# expect LINE: what is printed about the tests so far.
expect() {
    local line
    ctest --output-junit "$folder/tests.xml" >log 2>&1 || true
    line=$(awk -f "$summary" tests.xml)
    [[ $line == "$1" ]] || { printf 'wanted: %s\ngot:    %s\n' "$1" "$line"; exit 1; }
}

expect '3 tests passed, 0 skipped'
cat >>CTestTestfile.cmake <<'TESTS'
skip(Skip.1 "needs a tool")
skip(Skip.2 "needs 'this' & \"that\" < 3 > 2")
skip(Skip.3 "needs a tool")
skip(Skip.4 "")
add_test(Script sh -c "echo first; echo; echo needs a script; exit 77")
set_tests_properties(Script PROPERTIES SKIP_RETURN_CODE 77)
add_test(Off true)
set_tests_properties(Off PROPERTIES DISABLED ON)
TESTS
reasons="needs a tool (2); needs 'this' & \"that\" < 3 > 2 (1); no reason given (1)"
expect "3 tests passed, 6 skipped: $reasons; needs a script (1); disabled (1)"
cat >>CTestTestfile.cmake <<'TESTS'
add_test(Fail false)
add_test(Missing /nonexistent/program)
TESTS
expect "3 tests passed, 2 failed, 6 skipped: $reasons; needs a script (1); disabled (1)"
