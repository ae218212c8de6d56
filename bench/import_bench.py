"""import_model against the DWSIM of KELVANE_DWSIM (the stand-in by default), for two
versions of the module side by side.

Run: KELVANE_DWSIM=standin/out/dwsim .venv/bin/python bench/import_bench.py [--before REF-OR-DIR]
     [--after REF-OR-DIR] [--rounds N]
Prints, for the largest shared sample and a generated file of about 1,000 objects, the
median time of import_model in fresh processes of each version, taking turns, and the
ratio; with no --before, the installed module alone.
"""
import argparse
import json
import os
import statistics
import subprocess
import sys
import tempfile
import time
import warnings
from pathlib import Path
from types import SimpleNamespace as NS

ROOT = Path(__file__).resolve().parent.parent
SAMPLES = ROOT.parent / "shared" / "dwsim" / "samples"
os.environ.setdefault("KELVANE_DWSIM", str(ROOT / "standin" / "out" / "dwsim"))
sys.path.insert(0, str(Path(__file__).resolve().parent))

from versions import module_site  # noqa: E402

warnings.filterwarnings("ignore", message="Hosting Mono versions before")

CALLS = 20


def generated(path, blocks=250):
    """A chain of heaters, valves and splitters, their side streams leaving: about four
    objects a block (unit, outlet, side stream or energy stream)."""
    from kelvane import flowgate
    kinds = ["HEATER", "VALVE", "FSPLIT"]
    specs = {"HEATER": {"T": 350.0}, "VALVE": {"P": 1e5}, "FSPLIT": {"frac": [0.9]}}
    fs = NS(pp=NS(components=["WATER", "METHANOL"], method="IDEAL"), meta={},
            feeds={"S0": NS(T=300.0, P=3e5, flows=[0.01, 0.005])}, blocks={}, ports={})
    for i in range(blocks):
        kind = kinds[i % 3]
        fs.blocks[f"B{i}"] = NS(kind=kind, spec=specs[kind])
        fs.ports[f"B{i}"] = ([f"S{i}"], [f"S{i + 1}"] + ([f"P{i}"] if kind == "FSPLIT" else []))
    flowgate.export(fs, path)


def timed(path):
    """Medians of import_model over CALLS calls, after one to load DWSIM."""
    from kelvane import flowgate
    flowgate.import_model(path)
    times = []
    for _ in range(CALLS):
        t = time.perf_counter()
        flowgate.import_model(path)
        times.append(time.perf_counter() - t)
    return statistics.median(times)


def run(site, paths):
    env = dict(os.environ, PYTHONWARNINGS="ignore")
    if site:
        env["PYTHONPATH"] = os.pathsep.join([site] + [p for p in [env.get("PYTHONPATH")] if p])
    proc = subprocess.run([sys.executable, __file__, "--part", json.dumps(paths)], capture_output=True, text=True,
                          env=env)
    line = [x for x in proc.stdout.splitlines() if x.startswith("TIMES ")]
    if proc.returncode != 0 or not line:
        sys.exit(f"timed imports failed:\n{proc.stderr[-3000:]}")
    return json.loads(line[0][6:])


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--part", help=argparse.SUPPRESS)
    ap.add_argument("--before", metavar="REF-OR-DIR", help="also time the module of this git ref or folder")
    ap.add_argument("--after", metavar="REF-OR-DIR", help="the module to compare with (default: the installed one)")
    ap.add_argument("--rounds", type=int, default=5)
    args = ap.parse_args()
    if args.part:
        print("TIMES " + json.dumps({p: timed(p) for p in json.loads(args.part)}))
        return
    with tempfile.TemporaryDirectory() as tmp:
        paths = [os.path.join(tmp, "generated.dwxmz")]
        generated(paths[0])
        if SAMPLES.exists():
            paths.insert(0, str(max(SAMPLES.glob("*.dwxmz"), key=lambda p: p.stat().st_size)))
        sites = {"after": module_site(args.after, os.path.join(tmp, "after")) if args.after else None}
        if args.before:
            sites["before"] = module_site(args.before, os.path.join(tmp, "before"))
        got = {label: [] for label in sites}
        labels = sorted(sites)
        for r in range(args.rounds):
            for label in (labels if r % 2 == 0 else labels[::-1]):
                got[label].append(run(sites[label], paths))
        print(f"import_model, medians of {args.rounds} interleaved processes, each the median of {CALLS} calls")
        print(f"{'file':<34}" + "".join(f"{label + ' ms':>12}" for label in labels) +
              (f"{'after/before':>14}" if "before" in sites else ""))
        for p in paths:
            med = {label: statistics.median(run_[p] for run_ in got[label]) * 1e3 for label in labels}
            line = f"{Path(p).name:<34}" + "".join(f"{med[label]:12.2f}" for label in labels)
            if "before" in sites:
                line += f"{med['after'] / med['before']:14.2f}"
            print(line)


if __name__ == "__main__":
    main()
