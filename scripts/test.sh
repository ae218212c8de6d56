#!/usr/bin/env bash
# Sets everything up, then runs the whole test suite.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
bash "$root/scripts/setup.sh"
cd "$root"
export KELVANE_DWSIM="$root/standin/out/dwsim"
.venv/bin/python -m pytest -q "$@"

# The module built with AddressSanitizer and UndefinedBehaviorSanitizer, against the unit
# suite and the property test of _pressures (a few minutes on two cores, most of it the
# build): in a whole run only; KELVANE_SANITIZE=0 leaves it out.
if [ $# -eq 0 ] && [ "${KELVANE_SANITIZE:-1}" != 0 ]; then
    echo "== the module under ASan and UBSan (scripts/sanitize.sh)"
    bash scripts/sanitize.sh
fi
