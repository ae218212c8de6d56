"""_pressures: memory and reference counts over many calls, and time per call.

Run: .venv/bin/python bench/pressures_bench.py
Prints figures only; nothing here passes or fails.
"""
import resource
import sys
import time
from types import SimpleNamespace as NS

from kelvane import flowgate


def chain(n, against_flow=True):
    """n valves in a row, each dropping 1 kPa; listed against the flow, the
    worst case, one block settles per sweep."""
    names = [f"B{i}" for i in range(n)]
    order = list(reversed(names)) if against_flow else names
    index = {b: i for i, b in enumerate(names)}
    return NS(
        feeds={"S0": NS(P=1e7)},
        blocks={b: NS(kind="VALVE", spec={"dP": 1e3}) for b in order},
        ports={b: ([f"S{index[b]}"], [f"S{index[b] + 1}"]) for b in order},
    )


def rss_kib():
    with open("/proc/self/status") as status:
        for line in status:
            if line.startswith("VmRSS:"):
                return int(line.split()[1])
    return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss


def refcounts(fs):
    objects = [fs, fs.feeds, fs.blocks, fs.ports, fs.feeds["S0"], fs.feeds["S0"].P]
    objects += [b for b in fs.blocks.values()] + [b.spec for b in fs.blocks.values()]
    objects += [p for p in fs.ports.values()] + [s for p in fs.ports.values() for s in p[0] + p[1]]
    return sum(sys.getrefcount(o) for o in objects)


def leak_check(calls=100_000, blocks=50):
    fs = chain(blocks, against_flow=False)
    for _ in range(1000):  # warm up allocator pools
        flowgate._pressures(fs)
    rss0, refs0 = rss_kib(), refcounts(fs)
    t0 = time.perf_counter()
    for _ in range(calls):
        flowgate._pressures(fs)
    elapsed = time.perf_counter() - t0
    print(f"{calls} calls, {blocks} blocks in flow order: "
          f"RSS growth {rss_kib() - rss0} KiB, host refcount growth {refcounts(fs) - refs0}, "
          f"{elapsed / calls * 1e6:.1f} us per call")


def timing():
    for n in (10, 100, 1000):
        fs = chain(n)
        repeat = max(1, 2000 // n)
        t0 = time.perf_counter()
        for _ in range(repeat):
            P = flowgate._pressures(fs)
        per_call = (time.perf_counter() - t0) / repeat
        assert abs(P[f"S{n}"] - (1e7 - n * 1e3)) < 1e-6, "chain did not settle"
        print(f"{n:5d} blocks against the flow: {per_call * 1e3:9.3f} ms per call "
              f"({n + 1} sweeps of {n} blocks)")


if __name__ == "__main__":
    leak_check()
    timing()
