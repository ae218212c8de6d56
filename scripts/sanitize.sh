#!/usr/bin/env bash
# The module built with AddressSanitizer and UndefinedBehaviorSanitizer (and libstdc++'s
# assertions) into build/sanitize/ (its own CMake folder and an install folder, apart from
# build/ and .venv), then the unit suite and the in-process property test of _pressures run
# against it. Both need no .NET: Mono's signal handlers and garbage collector do not mix
# with ASan, so the roads through DWSIM are left to the ordinary suite.
#
#   bash scripts/sanitize.sh                 # build (incremental) and test
#   bash scripts/sanitize.sh -k pressures    # more pytest arguments
#
# The interpreter is not instrumented: the ASan runtime is preloaded, Python allocates with
# malloc (PYTHONMALLOC=malloc) so that a Python object freed too early is caught, and leak
# detection is off (the interpreter keeps its objects at exit by design). Any report, of
# either sanitizer, ends the process with an error.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
python=${PYTHON:-$root/.venv/bin/python}
out=$root/build/sanitize
flags="-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer -D_GLIBCXX_ASSERTIONS -O1 -g"

echo "== building the module with ASan and UBSan into $out" >&2
log=$(mktemp)
trap 'rm -f "$log"' EXIT
if ! "$python" -m pip install --disable-pip-version-check --no-build-isolation --no-deps --upgrade \
        --target "$out/site" \
        -C build-dir="$out/cmake" -C cmake.build-type=Debug \
        -C cmake.define.CMAKE_CXX_FLAGS="$flags" \
        -C cmake.define.CMAKE_MODULE_LINKER_FLAGS="-fsanitize=address,undefined" . >"$log" 2>&1; then
    grep -E "error|Error" -A3 "$log" | head -60
    exit 1
fi

# libstdc++ is preloaded too: ASan resolves the C++ runtime's __cxa_throw when it starts, and
# the interpreter loads libstdc++ only with the module; without it the first C++ exception
# ends the process in an ASan CHECK failure.
export LD_PRELOAD="$(g++ -print-file-name=libasan.so) $(g++ -print-file-name=libstdc++.so)"
export ASAN_OPTIONS="detect_leaks=0:abort_on_error=0:halt_on_error=1:strict_init_order=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
export PYTHONMALLOC=malloc
# The sanitized module first on the path: the host package (host/kelvane) extends its
# path over every folder named kelvane on sys.path, in order.
export PYTHONPATH="$out/site:$root/host${PYTHONPATH:+:$PYTHONPATH}"
export KELVANE_DWSIM="${KELVANE_DWSIM:-$root/standin/out/dwsim}"

module=$("$python" -c 'import kelvane.flowgate as m; print(m.__file__)')
case "$module" in
    "$out/site/"*) echo "== testing $module" >&2 ;;
    *) echo "sanitize: the sanitized module is not the one imported ($module)" >&2; exit 1 ;;
esac
exec "$python" -m pytest -q -p no:cacheprovider tests/unit tests/properties/test_pressures_odd.py "$@"
