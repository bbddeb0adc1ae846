#!/usr/bin/env bash
# Formats every C++ file of the tree; with --check it only says what is not formatted, and fails.
set -euo pipefail
cd "$(dirname "$0")/.."
mode=(-i)
[[ ${1:-} != --check ]] || mode=(--dry-run -Werror)
git ls-files -z --cached --others --exclude-standard '*.h' '*.cpp' |
    while IFS= read -r -d '' file; do [[ ! -e $file ]] || printf '%s\0' "$file"; done |
    xargs -0 -r clang-format-14 "${mode[@]}"
