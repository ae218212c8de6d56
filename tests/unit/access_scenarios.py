"""The first load of the automation state against the fake runtime of dwsim_fakes, each in
a child process of its own (the state lives as long as the process). RUNTIME.calls lists
what the module asked of pythonnet, clr, the console and Automation3, in order."""
import builtins
import os
import sys
import threading
import time

import dwsim_fakes as fakes


def _flowgate():
    fakes.install()
    import kelvane.flowgate
    return kelvane.flowgate


def first_load():
    f = _flowgate()
    a, m = f.automation()
    again = f.automation()
    return dict(calls=fakes.RUNTIME.calls, keys=list(m),
                modules=[m["ObjectType"] is fakes.ObjectType, m["U"] is fakes.U, m["System"] is fakes.System,
                         m["clr"] is sys.modules["clr"], type(a) is fakes.Automation3],
                again=[again[0] is a, again[1] is m], on_path=sys.path.count(os.environ["KELVANE_DWSIM"]),
                locked=f._LOCK.locked())


def second_call_reads_only_the_state():
    f = _flowgate()
    first = f.automation()
    os.environ["KELVANE_DWSIM"] = "/nowhere"   # a lookup now would find nothing and raise
    n = len(fakes.RUNTIME.calls)
    return [f.automation() == first, len(fakes.RUNTIME.calls) == n]


def without_installation():
    """Two calls: each raises; the lock is free after each; nothing was loaded."""
    f = _flowgate()
    out = []
    for _ in range(2):
        try:
            f.automation()
        except RuntimeError as e:
            out.append([type(e).__name__, str(e), f._LOCK.locked()])
    return dict(raised=out, calls=fakes.RUNTIME.calls, state=sorted(f._STATE))


def failure_then_retry(step, error, message):
    """`step` of the runtime raises `error`(`message`) at the first call; then it works."""
    f = _flowgate()
    fakes.RUNTIME.fail[step] = getattr(builtins, error)(message)
    try:
        f.automation()
        first = "loaded"
    except Exception as e:
        first = f"{type(e).__name__}: {e}"
    after = [sorted(f._STATE), f._LOCK.locked(), fakes.Console.Out.name]
    fakes.RUNTIME.fail.clear()
    f.automation()
    return dict(first=first, after=after, retry=[sorted(f._STATE), sys.path.count(os.environ["KELVANE_DWSIM"])])


def concurrent_first_calls(threads):
    """`threads` threads call automation() at once while Automation3 takes its time."""
    f = _flowgate()
    made = []
    original = fakes.Automation3.__init__

    def slow(self):
        made.append(self)
        time.sleep(0.2)
        original(self)
    fakes.Automation3.__init__ = slow
    results = []
    workers = [threading.Thread(target=lambda: results.append(f.automation()[0])) for _ in range(threads)]
    for t in workers:
        t.start()
    for t in workers:
        t.join()
    return [len(made), len({id(r) for r in results}), len(results)]
