"""The public surface as a contract: the stub installed beside the compiled module
matches it, and the shared object exports the interpreter's entry point alone."""
import ast
import inspect
import shutil
import subprocess
import sys
from pathlib import Path

import pytest


@pytest.fixture(scope="module")
def stub(flowgate):
    path = Path(flowgate.__file__).with_name("flowgate.pyi")
    assert path.exists() and path.with_name("py.typed").exists()
    return ast.parse(path.read_text())


def test_stubtest_finds_no_drift(flowgate):
    done = subprocess.run([sys.executable, "-m", "mypy.stubtest", "kelvane.flowgate"],
                          capture_output=True, text=True, timeout=300)
    assert done.returncode == 0, done.stdout + done.stderr


def test_every_function_and_table_stands_in_the_stub(flowgate, stub):
    # stubtest passes over private names; the inner steps are public by name too
    defs = {n.name: [a.arg for a in n.args.args] for n in stub.body if isinstance(n, ast.FunctionDef)}
    tables = {t.target.id for t in stub.body if isinstance(t, ast.AnnAssign)}
    functions = {k: v for k, v in vars(flowgate).items() if inspect.isbuiltin(v)}
    assert set(defs) == set(functions)
    for name, fn in functions.items():
        assert defs[name] == list(inspect.signature(fn).parameters), name
    assert tables >= {"R_CAL", "METHODS", "BACK", "CLASSES", "KINDS", "DLLS", "_STATE", "_LOCK", "log"}


@pytest.mark.skipif(shutil.which("nm") is None or sys.platform != "linux", reason="needs nm on Linux")
def test_only_the_entry_point_is_exported(flowgate):
    out = subprocess.run(["nm", "-D", "--defined-only", flowgate.__file__], capture_output=True, text=True,
                         check=True).stdout
    assert [line.split()[-1] for line in out.splitlines()] == ["PyInit_flowgate"]
