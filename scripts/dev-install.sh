#!/usr/bin/env bash
# Rebuilds and reinstalls the module into .venv (incremental), for development;
# compiler warnings and errors are shown, and a failed build fails.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
log=$(mktemp)
trap 'rm -f "$log"' EXIT
if ! .venv/bin/python -m pip install -v --disable-pip-version-check --no-build-isolation . >"$log" 2>&1; then
    grep -E "error|Error" -A3 "$log" | head -60
    exit 1
fi
grep -E "warning:" -A3 "$log" || true
