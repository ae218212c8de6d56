"""The long run of the property tests: many more odd host flowsheets and damaged files than
CI runs, in batches of child processes with seeds of their own, and the figures.

    .venv/bin/python scripts/long-run.py                     # 10,000 flowsheets, 1,000 files, 10,000 _pressures cases
    .venv/bin/python scripts/long-run.py --hosts 2000 --files 0 --pressures 0 --seed 7
    .venv/bin/python scripts/long-run.py --replay hosts CASE.json   # one case again, from a report

Each batch is one child (tests/child.py) running hypothesis with seed = --seed + its number,
each case under --case-seconds; a batch is run again by `--only KIND --seed S --batch N`
with the seed the report gives, and a single case by --replay with the case it prints. A
fault is "known" when the property tests pin it (the strict xfails of tests/properties),
"new" otherwise. The whole report goes to out/long-run.json. Exit code 1 when a child
died, overran a case's time bound, or a new fault was found.
"""
import argparse
import collections
import json
import os
import re
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
sys.path[:0] = [str(ROOT / "tests"), str(ROOT / "tests" / "properties")]

from child import SHARED, spawn  # noqa: E402
from odd_hosts import batch_outcome  # noqa: E402

import test_files_odd  # noqa: E402
import test_hosts_odd  # noqa: E402

# kind: (child function, arguments after (examples, seed, timeout, folder), what pins its faults)
KINDS = {
    "hosts": ("odd_hosts:host_batch", (), test_hosts_odd.KNOWN),
    "pressures": ("odd_hosts:pressures_batch", (), {}),
    "files": ("odd_files:file_batch", (str(SHARED),), test_files_odd.KNOWN),
}


def run_kind(kind, total, batch, seed, case_seconds, folder, report):
    target, more, known = KINDS[kind]
    figures = report.setdefault(kind, {"cases": 0, "batches": 0, "outcomes": {}, "findings": {}, "deaths": [],
                                       "seconds": 0.0, "clean solves": 0, "balances checked": 0})
    start, n = time.monotonic(), 0
    while figures["cases"] < total and n < 10 * (total // batch + 1):
        size = min(batch, total - figures["cases"])
        s = seed + n
        where = os.path.join(folder, f"{kind}-{s}")
        os.makedirs(where, exist_ok=True)
        try:
            done = spawn(target, size, s, case_seconds, where, *more, False, timeout=max(900, 3 * size))
            summary = batch_outcome(done, where)
        except subprocess.TimeoutExpired as e:   # stuck outside a case's time bound
            summary = {"died": "timeout", "stderr": str(e), "case": None}
        n += 1
        figures["batches"] += 1
        if "died" in summary:
            figures["deaths"].append({"seed": s, "batch": size, "exit": summary["died"], "case": summary["case"],
                                      "stderr": summary["stderr"][-1500:]})
            figures["cases"] += size     # the batch is not run again; its seed is in the report
            print(f"  {kind} seed {s}: the child died (exit {summary['died']}) on case {summary['case']}", flush=True)
            continue
        figures["cases"] += summary["cases"]
        figures["clean solves"] += summary["clean"]
        figures["balances checked"] += summary["balances"]
        for step, counts in summary["outcomes"].items():
            into = figures["outcomes"].setdefault(step, {})
            for what, count in counts.items():
                into[what] = into.get(what, 0) + count
        for key, f in summary["findings"].items():
            status = "known" if any(re.search(p, f["fault"]) for p in known) else "new"
            seen = figures["findings"].get(key)
            if seen is None or len(f["case"]) < len(seen["case"]):
                figures["findings"][key] = {**f, "seed": s, "batch": size, "status": status,
                                            "count": (seen or {}).get("count", 0)}
            figures["findings"][key]["count"] += f["count"]
        print(f"  {kind}: {figures['cases']}/{total} cases, {time.monotonic() - start:.0f} s", flush=True)
    figures["seconds"] = round(time.monotonic() - start, 1)


def show(report):
    for kind, f in report.items():
        if not isinstance(f, dict) or "cases" not in f:
            continue
        rate = f["cases"] / f["seconds"] if f["seconds"] else 0.0
        print(f"\n== {kind}: {f['cases']} cases in {f['batches']} batches, {f['seconds']:.0f} s ({rate:.0f} cases/s)")
        if kind == "hosts":
            print(f"   solved without DWSIM error: {f['clean solves']}; block balances checked: {f['balances checked']}")
        for step, counts in f["outcomes"].items():
            total = sum(counts.values())
            parts = ", ".join(f"{w} {c}" for w, c in sorted(counts.items(), key=lambda kv: -kv[1]))
            print(f"   {step:9} ({total}): {parts}")
        print(f"   children that died or overran a case: {len(f['deaths'])}")
        for d in f["deaths"]:
            print(f"     seed {d['seed']} (batch of {d['batch']}), exit {d['exit']}, case {d['case']}")
        by_status = collections.Counter(x["status"] for x in f["findings"].values())
        print(f"   faults: {by_status.get('new', 0)} new, {by_status.get('known', 0)} known (pinned by a strict xfail)")
        for x in sorted(f["findings"].values(), key=lambda x: (x["status"] != "new", -x["count"])):
            print(f"     [{x['status']}] {x['count']} x {x['fault'][:160]}")
            print(f"       seed {x['seed']} (batch of {x['batch']}); smallest case: {x['case'][:400]}")


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument("--hosts", type=int, default=10000, help="odd flowsheets through build, solve_dwsim, export")
    ap.add_argument("--files", type=int, default=1000, help="damaged files through import_model")
    ap.add_argument("--pressures", type=int, default=10000, help="odd flowsheets through _pressures")
    ap.add_argument("--batch", type=int, default=500, help="cases per child process")
    ap.add_argument("--seed", type=int, default=1, help="seed of the first batch; the next ones count up")
    ap.add_argument("--case-seconds", type=int, default=60, help="time bound of one case")
    ap.add_argument("--only", choices=sorted(KINDS), help="run this kind alone, with --batch cases")
    ap.add_argument("--replay", nargs=2, metavar=("KIND", "CASE"), help="run one case (JSON text or a file) again")
    ap.add_argument("--out", default=str(ROOT / "out" / "long-run.json"))
    args = ap.parse_args()

    folder = tempfile.mkdtemp(prefix="kelvane-long-run-")
    if args.replay:
        kind, case = args.replay
        text = Path(case).read_text() if os.path.exists(case) else case
        target = {"files": ("odd_files:replay", text, folder, str(SHARED))}.get(
            kind, ("odd_hosts:replay", "pressures" if kind == "pressures" else "host", text, folder))
        done = spawn(*target, timeout=600)
        print(done.stdout[-5000:] or done.stderr[-5000:])
        return done.returncode

    plan = {"hosts": args.hosts, "files": args.files, "pressures": args.pressures}
    if args.only:
        plan = {args.only: args.batch}
    report = {"started": time.strftime("%Y-%m-%d %H:%M:%S"), "seed": args.seed, "plan": plan}
    begin = time.monotonic()
    for kind, total in plan.items():
        if total > 0:
            print(f"== {kind}: {total} cases, batches of {args.batch} from seed {args.seed}", flush=True)
            run_kind(kind, total, args.batch, args.seed, args.case_seconds, folder, report)
    report["seconds"] = round(time.monotonic() - begin, 1)
    show(report)
    print(f"\ntotal time {report['seconds']:.0f} s; report in {args.out}")
    os.makedirs(os.path.dirname(args.out), exist_ok=True)
    with open(args.out, "w") as f:
        json.dump(report, f, indent=1)
    bad = any(f["deaths"] or any(x["status"] == "new" for x in f["findings"].values())
              for f in report.values() if isinstance(f, dict) and "deaths" in f)
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main())
