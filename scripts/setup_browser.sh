#!/usr/bin/env bash
# Gets ready what the browser tests need beside Debian's chromium: Node and npm where there are none, and the driver of
# tests/browser/package-lock.json under build/browser. Costs nothing when it is all there.
set -euo pipefail
cd "$(dirname "$0")/.."

# Node may have come with npm from elsewhere, and Debian's packages would stand beside it.
if ! command -v node >/dev/null || ! command -v npm >/dev/null; then scripts/setup.sh node; fi

lock=tests/browser/package-lock.json folder=build/browser
cmp -s "$lock" "$folder/installed.json" && exit 0
if ! command -v npm >/dev/null; then
    echo "setup: no npm; the browser tests will be skipped" >&2
    exit 0
fi
echo "setup: installing the browser tests' driver"
mkdir -p "$folder"
cp tests/browser/package.json "$lock" "$folder/"
(cd "$folder" && PLAYWRIGHT_SKIP_BROWSER_DOWNLOAD=1 npm ci --no-audit --no-fund --loglevel=error)
cp "$lock" "$folder/installed.json"
