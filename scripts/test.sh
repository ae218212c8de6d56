#!/usr/bin/env bash
# Sets everything up, then runs the whole test suite.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
bash "$root/scripts/setup.sh"
cd "$root"
export KELVANE_DWSIM="$root/standin/out/dwsim"
exec .venv/bin/python -m pytest -q "$@"
