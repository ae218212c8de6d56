"""python -m kelvane solve with several flowsheets and --jobs: worker processes
with a fake kelvane.flowgate (fake_workers), reports in input order, one
failure among good files, the worst exit code, --save into a folder, Ctrl-C."""
import json
import os
import re
import signal
import sys
import time
import types
from pathlib import Path

import pytest

from child import start
from kelvane import batch, cli

import fake_workers

DEMO = Path(__file__).resolve().parents[2] / "host" / "examples" / "demo.json"
HOST = DEMO.parents[1]


@pytest.fixture
def sheets(tmp_path, monkeypatch):
    """make(name, *kinds): flowsheet files named kind-i.json whose model names
    tell the fake worker what to do; "bad" is a file that is no JSON."""
    monkeypatch.setattr(cli, "WORKER_SETUP", fake_workers.install)

    def make(*kinds):
        paths = []
        for i, kind in enumerate(kinds):
            path = tmp_path / f"{kind}-{i}.json"
            model = json.loads(DEMO.read_text())
            model["name"] = f"{kind} {i}"
            path.write_text("{not json" if kind == "bad" else json.dumps(model))
            paths.append(path)
        return paths
    return make


def sections(out):
    """{header name: section text} of a batch's stdout, and the names in order."""
    parts = re.split(r"^==> (.*) <==\n", out, flags=re.M)
    assert parts[0] == ""
    names = parts[1::2]
    return dict(zip(names, parts[2::2])), names


def run(argv, capsys):
    code = cli.main(argv)
    return (code, *capsys.readouterr())


# what each kind's section holds, and its exit code
EXPECTED = {
    "good": (0, "good {i} by"),
    "slow": (0, "slow {i} by"),
    "noisy": (0, "noisy {i} by"),
    "errors": (1, "DWSIM errors:\n  - HEATER: Check the connections"),
    "bad": (2, "{path}: not valid JSON"),
    "compound": (2, "kelvane: error: DWSIM has no compound for DCP"),
    "dotnet": (1, "kelvane: error: DWSIM failed: DotNetError: Object reference not set"),
    "crash": (1, "kelvane: error: the worker process died (signal SIGKILL)"),
}


def test_each_file_reported_in_order_under_its_header(sheets, tmp_path, capfd):
    kinds = ["slow", "bad", "dotnet", "good", "crash", "errors", "noisy", "compound", "good"]
    paths = sheets(*kinds)
    code, out, err = run(["solve", *paths, "--jobs", "2", "--progress", "--save", tmp_path], capfd)
    by_name, names = sections(out)
    assert names == [str(p) for p in paths]                         # input order, though "slow" ends late
    pids = []
    for i, (kind, path) in enumerate(zip(kinds, paths)):
        want_code, text = EXPECTED[kind]
        section = by_name[str(path)]
        assert text.format(i=i, path=path) in section, (kind, section)
        if want_code and kind != "errors":
            assert section.count("\n") <= 2                         # the one-line error (and a blank line)
        if "by" in text:
            pid, number, save = re.search(r"by (\d+) as number (\d+), save=(\S+)", section).groups()
            assert save == str(tmp_path / f"{kind}-{i}.dwxmz") and section.rstrip().endswith(f"Saved: {save}")
            pids.append((pid, int(number)))
    assert code == 2                                                # the worst: a user's mistake
    assert "CONSOLE NOISE" not in out                              # a worker's stdout never mixes into the reports
    assert f"kelvane: WARNING: {paths[6]}: a warning while solving" in err
    progress = [line for line in err.splitlines() if "solved" in line]
    assert progress == [f"kelvane: solved {n}/9" for n in range(1, 10)]
    assert err.rstrip().endswith(f"kelvane: error: 5 of 9 flowsheets failed: {paths[1]}, {paths[2]}, "
                                 f"{paths[4]}, {paths[5]}, {paths[7]}")
    # two workers and the one that replaced the crashed worker; each keeps its DWSIM for the next file
    assert len({pid for pid, _ in pids}) <= 3 and max(number for _, number in pids) > 1


@pytest.mark.parametrize("kinds, jobs, code", [
    (["good", "good"], [], 0),              # several files: one worker by default
    (["good", "errors"], ["--jobs", "1"], 1),
    (["compound", "errors", "good"], ["--jobs", "0"], 2),
    (["crash", "good"], ["-j", "2"], 1),
    (["good"], ["--jobs", "3"], 0),          # one file with --jobs: the batch's form
])
def test_exit_code_is_the_worst(sheets, capsys, kinds, jobs, code):
    paths = sheets(*kinds)
    got, out, err = run(["solve", *paths, *jobs], capsys)
    assert got == code
    assert sections(out)[1] == [str(p) for p in paths]
    assert "solved" not in err                                    # no progress unless asked (stderr no terminal)
    assert ("flowsheets failed" in err) == bool(code)


def test_a_worker_that_dies_costs_only_its_item(tmp_path):
    """The pool alone: a dead worker's item fails, a new worker takes the rest."""
    items = [("good", 1), ("crash", 2), ("good", 3), ("good", 4)]
    got = dict(batch.run(fake_workers.echo, items, 1))
    assert [got[i] if not isinstance(got[i], batch.Failure) else "died" for i in range(4)] == [1, "died", 3, 4]
    assert str(got[1]) == "the worker process died (signal SIGKILL)"


@pytest.mark.parametrize("argv, message", [
    (["{a}", "{b}", "--save", "{tmp}/out.dwxmz"], "with several flowsheets --save names an existing folder"),
    (["{a}", "{tmp}/sub/a.json", "--save", "{tmp}"], "and {tmp}/sub/a.json would both be saved as {tmp}/a.dwxmz"),
    (["{a}", "{a}", "--save", "{tmp}"], "would both be saved"),
    (["{a}", "--jobs", "1", "--save", "{tmp}/out.txt"], "DWSIM files end in .dwxmz"),
    (["{a}", "{b}", "--jobs", "-1"], "argument -j/--jobs: -1: give 1 or more, or 0 for one per core"),
    (["{a}", "{b}", "--jobs", "two"], "argument -j/--jobs: not a whole number: 'two'"),
    (["--jobs", "2"], "the following arguments are required: FLOWSHEET.json"),
])
def test_mistakes_refused_before_any_worker(tmp_path, monkeypatch, capsys, argv, message):
    monkeypatch.setattr(batch, "run", lambda *a: pytest.fail("a worker was started"))
    (tmp_path / "sub").mkdir()
    names = dict(a=tmp_path / "a.json", b=tmp_path / "b.json", tmp=tmp_path)
    code, out, err = run(["solve", *(a.format(**names) for a in argv)], capsys)
    assert (code, out, err.count("\n")) == (2, "", 1)
    assert err.startswith("kelvane: error: ") and message.format(**names) in err


def test_ctrl_c_stops_the_workers(sheets, tmp_path):
    """Ctrl-C at a terminal reaches the whole process group: the parent stops,
    terminates its workers and exits with 130."""
    pids = tmp_path / "pids"
    pids.mkdir()
    paths = sheets("hang", "hang", "good")
    process = start("fake_workers:main", "solve", *map(str, paths), "--jobs", "2",
                    env={"FAKE_PIDS": str(pids), "PYTHONPATH": str(HOST)}, start_new_session=True)
    try:
        deadline = time.monotonic() + 60
        while len(list(pids.iterdir())) < 2 and time.monotonic() < deadline and process.poll() is None:
            time.sleep(0.05)
        assert len(list(pids.iterdir())) == 2, process.communicate()
        worker = int(next(pids.iterdir()).name)
        os.kill(worker, signal.SIGINT)                # the workers leave Ctrl-C to the parent
        time.sleep(0.5)
        os.kill(worker, 0)
        os.killpg(process.pid, signal.SIGINT)
        out, err = process.communicate(timeout=30)
    finally:
        if process.poll() is None:
            os.killpg(process.pid, signal.SIGKILL)
    assert (process.returncode, out) == (130, "")
    assert err.strip().endswith("kelvane: interrupted; 0 of 3 flowsheets reported") and "Traceback" not in err
    for pid in (int(p.name) for p in pids.iterdir()):
        with pytest.raises(ProcessLookupError):
            os.kill(pid, 0)


@pytest.mark.parametrize("name", ["-dash ü.json", b"bytes \xff.json", Path("sp ace 100%(x)s.json")])
def test_odd_file_names(fake_single, tmp_path, monkeypatch, capsys, name):
    """Paths as Python takes them (str, bytes, os.PathLike), names that start
    with a dash (after --) and bytes that are no UTF-8, in the reports too."""
    monkeypatch.chdir(tmp_path)
    text = os.fsdecode(name)
    Path(text).write_text(json.dumps(dict(json.loads(DEMO.read_text()), name="noisy")))
    save = text.replace(".json", ".dwxmz")
    code, out, err = run(["solve", f"--save={save}", "--", name], capsys)
    assert (code, err, fake_single.calls) == (0, "kelvane: WARNING: a warning while solving\n", [save])
    assert out.endswith(f"Saved: {cli.shown(save)}\n")
    code, out, err = run(["solve", "--jobs", "1", "--", name, Path(text)], capsys)
    assert code == 0 and sections(out)[1] == [cli.shown(text)] * 2
    assert err == f"kelvane: WARNING: {cli.shown(text)}: a warning while solving\n" * 2


@pytest.fixture
def fake_single(monkeypatch):
    """A fake module in this process (one file, no --jobs) and in the workers."""
    monkeypatch.setattr(cli, "WORKER_SETUP", fake_workers.install)
    module = types.ModuleType("kelvane.flowgate")
    module.calls = []

    def solve_dwsim(fs, save=None):
        module.calls.append(save)
        return fake_workers.solve_dwsim(fs, save=save)
    module.solve_dwsim = solve_dwsim
    monkeypatch.setitem(sys.modules, "kelvane.flowgate", module)
    return module
