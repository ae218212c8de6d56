"""A fake kelvane.flowgate for the worker processes of `solve --jobs`.

Workers are fresh interpreters, so a fake set up in the test's process does not
reach them; `install` is run first in each worker (cli.WORKER_SETUP) instead.
What `solve_dwsim` does depends on the flowsheet's name:

  crash ...    the worker dies at once (SIGKILL), as on a crash inside .NET
  dotnet ...   a .NET exception
  compound ... a compound DWSIM lacks (ValueError)
  errors ...   DWSIM reports an error in the results
  hang ...     writes its pid into the folder $FAKE_PIDS and sleeps for a minute
  slow ...     takes half a second, so that later files finish first
  noisy ...    writes to stdout and logs a warning, as DWSIM and the module may

and otherwise solves: each result names the flowsheet, the worker's pid, how
many flowsheets this worker solved, and where it was told to save.
"""
import os
import signal
import sys
import time
import types

SOLVED = [0]


class DotNetError(Exception):
    """Stands for a .NET exception type surfacing through pythonnet."""


def solve_dwsim(fs, aliases=None, save=None):
    name = fs.meta["name"]
    SOLVED[0] += 1
    kind = name.split()[0]
    if kind == "crash":
        os.kill(os.getpid(), signal.SIGKILL)
    if kind == "dotnet":
        raise DotNetError("Object reference not set to an instance of an object")
    if kind == "compound":
        raise ValueError("DWSIM has no compound for DCP (1,2-DICHLOROPROPANE)")
    if kind == "hang":
        open(os.path.join(os.environ["FAKE_PIDS"], str(os.getpid())), "w").close()
        time.sleep(60)
    if kind == "slow":
        time.sleep(0.5)
    if kind == "noisy":  # at the level of the file descriptor, as .NET's Console writes
        os.write(1, b"CONSOLE NOISE\n")
        from kelvane.diagnostics import log
        log.warning("a warning while solving")
    return {"streams": {"FEED": {"T": 300.0, "P": 1e5, "F": 0.01, "VFRAC": 0.0, "H": 0.0, "x": {"H2O": 1.0}}},
            "blocks": {},
            "errors": ["HEATER: Check the connections"] if kind == "errors" else [],
            "notes": [f"{name} by {os.getpid()} as number {SOLVED[0]}, save={save}"]}


def echo(item):
    """For the pool alone: item (kind, value) gives value, or the worker dies."""
    kind, value = item
    if kind == "crash":
        os.kill(os.getpid(), signal.SIGKILL)
    return value


def install():
    module = types.ModuleType("kelvane.flowgate")
    module.solve_dwsim = solve_dwsim
    sys.modules["kelvane.flowgate"] = module


def main(*argv):
    """python -m kelvane argv... with this fake in the workers (for a child process)."""
    from kelvane import cli
    cli.WORKER_SETUP = install
    sys.exit(cli.main(list(argv)))
