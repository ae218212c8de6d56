"""Threads and Ctrl-C against the module on the stand-in, in a child process."""
import os
import signal
import threading
import time
from types import SimpleNamespace as NS

import kelvane.flowgate as fg


def plant(n=1, scale=1.0):
    """A mixer, heater and flash with a recycle of the liquid; `n` such trains side by side."""
    feed = NS(T=300.0, P=3e5, flows=[0.01 * scale, 0.005 * scale])
    feeds, blocks, ports = {}, {}, {}
    for k in range(n):
        t = f"{k}-"
        feeds[t + "F"] = feed
        blocks.update({t + "M": NS(kind="MIXER", spec={}), t + "H": NS(kind="HEATER", spec={"T": 360.0}),
                       t + "FL": NS(kind="FLASH2", spec={"P": 1.5e5, "duty": 0.0}),
                       t + "SP": NS(kind="FSPLIT", spec={"frac": [0.3]})})
        ports.update({t + "M": ([t + "F", t + "R"], [t + "S1"]), t + "H": ([t + "S1"], [t + "S2"]),
                      t + "FL": ([t + "S2"], [t + "V", t + "L"]), t + "SP": ([t + "L"], [t + "R", t + "P"])})
    return NS(pp=NS(components=["WATER", "METHANOL"], method="IDEAL"), meta={}, feeds=feeds, blocks=blocks,
              ports=ports)


def numbers(results):
    return {n: [s["T"], s["P"], s["F"]] for n, s in sorted(results["streams"].items())}


def threads(count, folder):
    """`count` threads at once, cold (before any load), each a solve or an export; then the
    same calls one after another. Every result, and the seconds the concurrent run took."""
    def work(k):
        if k % 2:
            return fg.export(plant(scale=1 + k), os.path.join(folder, f"t{k}.dwxmz"))
        return numbers(fg.solve_dwsim(plant(scale=1 + k)))

    got = [None] * count
    go = threading.Barrier(count)

    def run(k):
        go.wait()
        got[k] = work(k)

    start = time.monotonic()
    workers = [threading.Thread(target=run, args=(k,)) for k in range(count)]
    for w in workers:
        w.start()
    for w in workers:
        w.join(timeout=300)
    took = time.monotonic() - start
    alive = sum(w.is_alive() for w in workers)
    return dict(alive=alive, took=took, concurrent=got, sequential=[work(k) for k in range(count)])


def interrupted(where, delay):
    """SIGINT `delay` s into the first load ("load") or a large build ("build"): whether it
    came as KeyboardInterrupt, how late after the signal, and a solve afterwards."""
    if where == "build":
        fg.automation()
    sent = []

    def fire():
        time.sleep(delay)
        sent.append(time.monotonic())
        os.kill(os.getpid(), signal.SIGINT)

    timer = threading.Thread(target=fire)
    timer.start()
    outcome, late, ended = "finished", None, []
    try:
        try:
            if where == "load":
                fg.automation()
            else:
                fg.build(plant(n=300))
        finally:
            ended.append(time.monotonic())
        time.sleep(delay + 1)   # an interrupt not delivered by then never will be
    except KeyboardInterrupt:
        outcome, late = "KeyboardInterrupt", time.monotonic() - sent[0]
    timer.join()
    after = numbers(fg.solve_dwsim(plant()))
    return dict(outcome=outcome, late=late, during=sent[0] < ended[0], after=after)
