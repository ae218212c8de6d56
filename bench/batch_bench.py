"""Solving many flowsheets from the command line: one worker, two, one per core,
and one `python -m kelvane solve` per file. Prints figures; asserts nothing.

    KELVANE_DWSIM=standin/out/dwsim .venv/bin/python bench/batch_bench.py [--files 20] [--trains 1] [--rounds 5]

Writes FILES variants of host/examples/demo.json into bench/out/batch/ (the
methanol feed, the heater's temperature, the flash pressure and the recycled
fraction vary); with --trains K each flowsheet holds K independent copies of the
demo's train, so that a solve weighs more against DWSIM's start in each process.
The commands run in turn, round after round, starting each round with the next
command so that none always runs first; medians of the wall and CPU seconds
(the whole process tree), and the median of each round's ratio to --jobs 1.
"""
import argparse
import json
import os
import resource
import statistics
import subprocess
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
DEMO = ROOT / "host" / "examples" / "demo.json"
OUT = ROOT / "bench" / "out" / "batch"


def variant(i, trains):
    """The i-th flowsheet: `trains` copies of the demo, each a little different."""
    demo = json.loads(DEMO.read_text())
    model = {"name": f"variant {i}", "property": demo["property"], "feeds": {}, "blocks": {}}
    for k in range(trains):
        j = i * trains + k
        tag = (lambda name: f"{name}-{k}") if trains > 1 else (lambda name: name)
        for name, feed in demo["feeds"].items():
            flows = dict(feed["flows"], MEOH=0.006 + 0.001 * (j % 15))
            model["feeds"][tag(name)] = dict(feed, flows=flows)
        for name, block in demo["blocks"].items():
            block = dict(block, **{"in": [tag(s) for s in block["in"]], "out": [tag(s) for s in block["out"]]})
            if name == "HEATER":
                block["T"] = 385.0 + (j % 5) * 2.5
            elif name == "FLASH":
                block["P"] = 1.4e5 + (j % 3) * 0.1e5
            elif name == "SPLIT":
                block["frac"] = [0.1 + 0.05 * (j % 6)]
            model["blocks"][tag(name)] = block
    return model


def cores():
    try:
        return len(os.sched_getaffinity(0))
    except AttributeError:
        return os.cpu_count() or 1


def timed(argv, env):
    """(wall seconds, CPU seconds of the process and its children, exit code, stdout)."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    t0 = time.perf_counter()
    done = subprocess.run(argv, capture_output=True, text=True, env=env)
    wall = time.perf_counter() - t0
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    cpu = (after.ru_utime - before.ru_utime) + (after.ru_stime - before.ru_stime)
    return wall, cpu, done.returncode, done.stdout


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--files", type=int, default=20)
    ap.add_argument("--trains", type=int, default=1)
    ap.add_argument("--rounds", type=int, default=5)
    ap.add_argument("--no-separate", action="store_true", help="leave out one process per file")
    opts = ap.parse_args()

    OUT.mkdir(parents=True, exist_ok=True)
    for old in OUT.glob("*.json"):
        old.unlink()
    files = []
    for i in range(opts.files):
        files.append(OUT / f"sheet-{i:02d}.json")
        files[-1].write_text(json.dumps(variant(i, opts.trains), indent=1))

    env = dict(os.environ)
    env.setdefault("KELVANE_DWSIM", str(ROOT / "standin" / "out" / "dwsim"))
    env["PYTHONPATH"] = os.pathsep.join([str(ROOT / "host")] + [p for p in [env.get("PYTHONPATH")] if p])
    kelvane = [sys.executable, "-m", "kelvane", "solve"]
    commands = {f"--jobs {n}": [kelvane + [str(f) for f in files] + ["--jobs", str(n)]] for n in (1, 2)}
    commands[f"--jobs 0 ({cores()} cores)"] = [kelvane + [str(f) for f in files] + ["--jobs", "0"]]
    if not opts.no_separate:
        commands["one process per file"] = [kelvane + [str(f)] for f in files]

    names = list(commands)
    figures = {name: [] for name in names}
    for argvs in commands.values():  # a warm-up of each: file caches, the compiled assemblies
        timed(argvs[0], env)
    for r in range(opts.rounds):
        for name in names[r % len(names):] + names[:r % len(names)]:
            wall = cpu = 0.0
            for argv in commands[name]:
                w, c, code, out = timed(argv, env)
                wall, cpu = wall + w, cpu + c
                solved = out.count("Stream ")
                if code != 0 or solved != len(argv) - len(kelvane) - (2 if "--jobs" in argv else 0):
                    sys.exit(f"{name}: exit {code}, {solved} reports")
            figures[name].append((wall, cpu))

    base = figures[names[0]]
    per_solve = opts.trains * len(json.loads(DEMO.read_text())["blocks"])
    print(f"{opts.files} flowsheets of {per_solve} blocks each, {opts.rounds} rounds, {cores()} cores")
    print(f"{'command':<24}{'wall s':>9}{'CPU s':>9}{'wall / --jobs 1':>18}  (min-max of the ratio)")
    for name in names:
        ratios = [w / b[0] for (w, _), b in zip(figures[name], base)]
        print(f"{name:<24}{statistics.median(w for w, _ in figures[name]):>9.2f}"
              f"{statistics.median(c for _, c in figures[name]):>9.2f}"
              f"{statistics.median(ratios):>18.2f}  ({min(ratios):.2f}-{max(ratios):.2f})")


if __name__ == "__main__":
    main()
