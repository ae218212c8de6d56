#!/usr/bin/env bash
# Rebuilds and reinstalls the module into .venv (incremental), for development.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
.venv/bin/python -m pip install -q --disable-pip-version-check --no-build-isolation . 2>&1 | grep -E "error|warning:" -A3 || true
