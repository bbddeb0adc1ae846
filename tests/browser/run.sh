#!/usr/bin/env bash
# Runs one scenario of whiteboard.mjs, or server_page.mjs; 77 when this machine lacks a browser or its driver, unless
# LUMO_REQUIRE_ALL is set.
#   run.sh LUMO MODULES OUT SCENARIO
set -euo pipefail
lumo=$1 modules=$2 out=$3 scenario=$4

lacking() {
    echo "no browser test: $1 is missing" >&2
    [[ -z ${LUMO_REQUIRE_ALL:-} ]] || exit 1
    exit 77
}
command -v node >/dev/null || lacking node
chromium=$(command -v chromium || command -v chromium-browser) || lacking chromium
[[ -d $modules/playwright-core && -d $modules/axe-core ]] || lacking "playwright-core or axe-core (scripts/setup_browser.sh)"
script=whiteboard
[[ $scenario != server-page ]] || script=server_page
exec node "$(dirname "$0")/$script.mjs" "$lumo" "$chromium" "$modules" "$out" "$scenario"
