"""Records the .NET accesses of an earlier release's `build`; run by bench/baseline.sh,
which compiled that release's module into SITE/kelvane and unpacked its tree (for its
host package). This process puts both first on sys.path, checks that the module it
loaded is that build, and writes for each flowsheet of the .NET rows the ops, their
crossings and the flowsheet that the old build made (normalised), which the replay must
make again in the benchmark's process.
"""
import argparse
import hashlib
import json
import os
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent


def sha1(path):
    with open(path, "rb") as f:
        return hashlib.sha1(f.read()).hexdigest()


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--rev", required=True)
    parser.add_argument("--commit", required=True)
    parser.add_argument("--site", required=True, help="folder holding kelvane/flowgate*.so of the release")
    parser.add_argument("--host", required=True, help="the release's host folder (its kelvane package)")
    parser.add_argument("--out", required=True)
    args = parser.parse_args()
    site, host = os.path.abspath(args.site), os.path.abspath(args.host)
    assert "kelvane" not in sys.modules
    sys.path[:0] = [site, host]
    sys.path += [str(ROOT / "bench"), str(ROOT / "tests" / "standin")]

    from kelvane import flowgate
    loaded = os.path.realpath(flowgate.__file__)
    assert loaded.startswith(os.path.realpath(site) + os.sep), f"another module was loaded: {loaded}"
    fingerprint = sha1(loaded)
    print(f"recording the module of {args.rev}: {loaded} (sha1 {fingerprint[:12]}...)", file=sys.stderr)

    import replay
    from build_calls import SIZES, net_sheet, record_build, roots
    from snapshot import snapshot

    a, m, rts = roots(flowgate)
    sizes = {}
    for n in SIZES:
        fs = net_sheet(n)
        t = time.perf_counter()
        try:
            flowgate.build(fs, a, m)  # whatever the release makes once per process happens here
            sim, _, notes = flowgate.build(fs, a, m)
            ops, run = record_build(flowgate, fs, rts)
        except Exception as e:  # the stand-in follows DWSIM more strictly than it did then
            print(f"  {n:>5,} blocks: the old build fails: {type(e).__name__}: {e}", file=sys.stderr)
            sizes[n] = {"error": f"{type(e).__name__}: {e}"}
            continue
        made = replay.normal(snapshot(sim))
        assert replay.normal(snapshot(run(*rts.values()))) == made, f"build and its replay differ at {n}"
        counts = replay.crossings(ops)
        print(f"  {n:>5,} blocks: {len(ops)} ops, {counts['total']} crossings, {len(made['objects'])} objects "
              f"({time.perf_counter() - t:.1f} s)", file=sys.stderr)
        sizes[n] = {"ops": ops, "crossings": counts, "notes": [str(x) for x in notes], "flowsheet": made}

    out = {"rev": args.rev, "commit": args.commit, "module": {"file": loaded, "sha1": fingerprint},
           "dwsim": os.environ.get("KELVANE_DWSIM"), "roots": list(rts), "sizes": sizes}
    with open(args.out, "w") as f:
        json.dump(out, f)
    print(f"wrote {args.out}", file=sys.stderr)


if __name__ == "__main__":
    main()
