#!/usr/bin/env bash
# The .NET calls that an earlier release of the module makes in `build`, recorded for
# bench/against_python.py --part net to replay next to today's module.
#
#   bash bench/baseline.sh [REV]          (REV defaults to 828d5e4, the first release)
#
# The release's tree is taken from git (git archive: no worktree is registered), its
# module is compiled with its own CMakeLists into a temporary folder, and a child
# process with that folder first on sys.path records the accesses of its `build` on
# the benchmark's 10/100/1,000-block flowsheets, on this tree's stand-in DWSIM.
# Writes bench/out/baseline-REV.json; the temporary folder goes when this ends.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
rev=${1:-828d5e4}
py=${PYTHON:-/work/main/.venv/bin/python}
export KELVANE_DWSIM=${KELVANE_DWSIM:-$PWD/standin/out/dwsim}
export OPENBLAS_NUM_THREADS=${OPENBLAS_NUM_THREADS:-1}
if [ ! -f "$KELVANE_DWSIM/DWSIM.Automation.dll" ]; then
    echo "no stand-in DWSIM at $KELVANE_DWSIM: run bash standin/build.sh first" >&2
    exit 2
fi

full=$(git rev-parse --verify "$rev^{commit}")
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
mkdir -p "$tmp/src" "$tmp/site/kelvane" bench/out
git archive "$full" | tar -x -C "$tmp/src"

echo "building the module of $rev ($full) in $tmp" >&2
log="$tmp/build.log"
if ! { cmake -S "$tmp/src" -B "$tmp/build" -DCMAKE_BUILD_TYPE=Release \
           -DPython_EXECUTABLE="$py" -Dpybind11_DIR="$("$py" -m pybind11 --cmakedir)" &&
       cmake --build "$tmp/build" -j 2; } >"$log" 2>&1; then
    grep -E "error|Error" -A3 "$log" | head -60 >&2
    exit 1
fi
# Only the compiled module: the package folder has no __init__.py, as installed, and
# the host package (the release's own) extends its path to find it.
cp "$tmp"/build/flowgate.*.so "$tmp/site/kelvane/"

"$py" bench/baseline.py --rev "$rev" --commit "$full" --site "$tmp/site" --host "$tmp/src/host" \
    --out "bench/out/baseline-$rev.json"
