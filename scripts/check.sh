#!/usr/bin/env bash
# Every check that needs no running of the whole suite. All steps run, so that one fault does not hide another.
#   scripts/check.sh [JOBS]
set -uo pipefail
cd "$(dirname "$0")/.."
jobs=${1:-$(nproc)}
failed=()

step() {  # NAME COMMAND...
    local name=$1 start=$SECONDS
    shift
    echo "=== check: $name"
    if "$@"; then
        echo "--- $name: ok, $((SECONDS - start)) s"
    else
        echo "--- $name: FAILED, $((SECONDS - start)) s"
        failed+=("$name")
        return 1
    fi
}

configure() { cmake --preset check --log-level=WARNING; }
build() { cmake --build --preset check -j "$jobs" -- -k 0; }
# Built by themselves: a library that does not build hides no breach of a rule.
project_tests() { cmake --build --preset check -j "$jobs" --target unit_project && ctest --preset check -j "$jobs"; }

step format scripts/format.sh --check
step documents scripts/check_docs.py
if step configuration configure; then
    step "clang, all warnings as errors" build
    step "project rules" project_tests
    step lint scripts/tidy.py build/check "$jobs"
fi

if (( ${#failed[@]} )); then
    printf 'check: FAILED:'
    printf ' [%s]' "${failed[@]}"
    echo
    exit 1
fi
echo "check: all steps passed in $SECONDS s"
