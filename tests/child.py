"""The one runner for code that needs a fresh interpreter.

A process holds one .NET runtime and one automation instance for its whole life, so
every scenario of the real road runs in a child process of its own. A scenario is a
plain function in a helper module under tests/ (``"module:function"``); the child
imports it, calls it with the JSON arguments, and prints its JSON result on one line
that starts with ``RESULT ``.

    python tests/child.py module:function '[args...]'

`run_module` runs a package as ``python -m`` would, for tests of a command line's exit
code and output: ``spawn("child:run_module", "kelvane", "solve", path)``.
"""
import json
import os
import subprocess
import sys
from pathlib import Path

TESTS = Path(__file__).resolve().parent
ROOT = TESTS.parent
SHARED = ROOT.parent / "shared"
# The DWSIM folder of the test run: the built stand-in unless the environment
# names another installation.
DWSIM = Path(os.environ.get("KELVANE_DWSIM") or ROOT / "standin" / "out" / "dwsim")
# Every folder of tests/ that holds helper modules, so that a target's module
# is found by its bare name.
PATHS = [str(TESTS)] + sorted(str(p) for p in TESTS.iterdir() if p.is_dir() and not p.name.startswith((".", "_")))


def spawn(target, *args, env=None, timeout=120, cwd=None):
    """Runs `target` ("module:function") with `args` in a new interpreter (in the
    folder `cwd`, if given); the finished process, whatever its exit code."""
    return subprocess.run(_command(target, args), capture_output=True, text=True,
                          env=_environment(env), timeout=timeout, cwd=cwd)


def start(target, *args, env=None, **popen):
    """Starts `target` as `spawn` does and returns the running process
    (subprocess.Popen, stdout and stderr piped as text), for tests that act on it
    while it runs."""
    return subprocess.Popen(_command(target, args), stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                            text=True, env=_environment(env), **popen)


def _command(target, args):
    return [sys.executable, str(Path(__file__)), target, json.dumps(list(args))]


def _environment(env):
    full = {**os.environ, "KELVANE_DWSIM": str(DWSIM), "PYTHONWARNINGS": "ignore", **(env or {})}
    full["PYTHONPATH"] = os.pathsep.join(PATHS + [p for p in [full.get("PYTHONPATH")] if p])
    return full


def result(done):
    """The value that the child's function returned."""
    lines = [line[7:] for line in done.stdout.splitlines() if line.startswith("RESULT ")]
    if done.returncode != 0 or len(lines) != 1:
        import pytest
        pytest.fail(f"child failed (exit {done.returncode}, {len(lines)} results):\n"
                    f"{done.stderr[-4000:]}\n{done.stdout[-2000:]}")
    return json.loads(lines[0])


def call(target, *args, env=None, timeout=120):
    """Runs `target` in a new interpreter and returns its result; the test fails
    with the child's output when the child fails."""
    return result(spawn(target, *args, env=env, timeout=timeout))


def run_module(name, *argv):
    """`python -m name argv...` in this process: its exit is the child's exit."""
    import runpy
    sys.argv = [name, *argv]
    runpy.run_module(name, run_name="__main__", alter_sys=True)


def _main(target, args):
    import importlib
    module, _, function = target.partition(":")
    value = getattr(importlib.import_module(module), function)(*json.loads(args))
    sys.stdout.write("RESULT " + json.dumps(value) + "\n")
    sys.stdout.flush()


if __name__ == "__main__":
    _main(*sys.argv[1:3])
