"""Automation3 writes to the .NET console while it starts; the bridge silences exactly that."""
from conftest import FOLDER, PRELUDE, REFERENCES, run_raw


def test_console_silenced_during_construction_only():
    """Counts the lines the .NET side actually wrote to the process's stdout."""
    code = PRELUDE.format(folder=FOLDER, refs=REFERENCES, load_automation=False) + """
from DWSIM.Automation import Automation3
Automation3()
old = System.Console.Out
System.Console.SetOut(System.IO.TextWriter.Null)
Automation3()
System.Console.WriteLine("swallowed")
System.Console.SetOut(old)
System.Console.WriteLine("after restore")
System.Console.Out.Flush()
"""
    proc = run_raw(code)
    assert proc.returncode == 0, proc.stderr
    lines = proc.stdout.splitlines()
    loaded = [l for l in lines if "DWSIM stand-in automation: loaded 774 compounds" in l]
    assert len(loaded) == 1, lines
    assert "after restore" in lines and "swallowed" not in proc.stdout
