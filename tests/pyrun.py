"""Running Python in a fresh process: one process holds one .NET runtime and
one automation instance, so tests of the real road each get their own."""
import os
import subprocess
import sys
import textwrap
from pathlib import Path

import pytest

ROOT = Path(__file__).resolve().parent.parent
SHARED = ROOT.parent / "shared"
# The DWSIM folder the real-road tests load: the built stand-in unless the
# environment names another installation.
DWSIM = Path(os.environ.get("KELVANE_DWSIM") or ROOT / "standin" / "out" / "dwsim")


def run_python(code, env=None, timeout=120):
    """Runs `code` in a new interpreter of this venv."""
    full_env = dict(os.environ)
    full_env.update(env or {})
    return subprocess.run(
        [sys.executable, "-c", textwrap.dedent(code)],
        capture_output=True, text=True, env=full_env, timeout=timeout,
    )


def check_python(code, env=None, timeout=120):
    """Like run_python, but fails the test with the child's output when it fails."""
    done = run_python(code, env, timeout)
    if done.returncode != 0:
        pytest.fail(f"child failed ({done.returncode}):\n{done.stdout}\n{done.stderr}")
    return done.stdout


