#!/usr/bin/env bash
# The main job: sets everything up, then takes the demo flowsheet
# (host/examples/demo.json) through the module against the stand-in DWSIM:
# solved, with its stream table and duties, saved solved, exported unsolved,
# and the exported file imported back as a Kelvane model.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
bash "$root/scripts/setup.sh"
cd "$root"
export KELVANE_DWSIM="${KELVANE_DWSIM:-$root/standin/out/dwsim}"
mkdir -p out
kelvane() { .venv/bin/python -m kelvane "$@"; }

echo "== DWSIM"
kelvane available
echo
echo "== solve host/examples/demo.json"
kelvane solve host/examples/demo.json --save out/demo-solved.dwxmz
echo
echo "== export"
kelvane export host/examples/demo.json out/demo.dwxmz
echo
echo "== import out/demo.dwxmz"
kelvane import out/demo.dwxmz -o out/demo-imported.json
