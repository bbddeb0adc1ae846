#!/usr/bin/env bash
# Runs every fuzz target of a build folder for some seconds on its seeds; fails if one fails or there is none.
#   scripts/fuzz.sh FOLDER SECONDS
set -uo pipefail
cd "$(dirname "$0")/.."
folder=$1
seconds=$2
export ASAN_OPTIONS=detect_stack_use_after_return=1:strict_string_checks=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1

failed=()
ran=0
for target in "$folder"/fuzz_*; do
    [[ -f $target && -x $target ]] || continue
    name=${target##*/fuzz_}
    # What is found beyond the seeds stays in the build folder; crashing inputs are kept beside it.
    mkdir -p "$folder/found/$name" "$folder/crashes"
    echo "=== $name, $seconds s"
    scripts/no_aslr.sh "$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=65536 \
        -print_final_stats=1 -artifact_prefix="$folder/crashes/$name-" "$folder/found/$name" "fuzz/corpus/$name" \
        2>&1 | tee "$folder/$name.log" | grep -v -E '^#[0-9]+\s+(REDUCE|NEW|pulse|RELOAD)|^"|^###|NEW_FUNC'
    status=${PIPESTATUS[0]}
    (( status == 0 )) || failed+=("$name")
    ran=$((ran + 1))
done
(( ran > 0 )) || { echo "fuzz: no targets in $folder" >&2; exit 1; }
echo "fuzz: $ran targets, ${#failed[@]} failed${failed:+: ${failed[*]}}"
(( ${#failed[@]} == 0 ))
