"""Work on many items in worker processes, each with its own DWSIM.

.NET cannot be unloaded or restarted in a process, and a process that has it
loaded must not be forked, so every worker is a fresh interpreter (the "spawn"
start method). A worker takes items one after the other and keeps what it
loaded (DWSIM, at its first solve) for the next. The parent loads no .NET.

A worker that dies (a crash inside .NET, a kill) costs only the item it held:
that item's outcome is a `Failure`, and a new worker takes the items left.
Ctrl-C reaches the parent alone; the workers ignore it and are terminated when
the parent stops.
"""
import multiprocessing
import os
import signal
import sys
from collections import deque
from contextlib import contextmanager
from multiprocessing.connection import wait

_SPAWN = multiprocessing.get_context("spawn")
_UNDELIVERED = object()
_GRACE = 5.0  # seconds a worker has to end after SIGTERM (or after its last item) before SIGKILL


class Failure(Exception):
    """The outcome of an item whose worker died or whose function raised."""


def cores():
    """The processors this process may run on."""
    try:
        return len(os.sched_getaffinity(0))
    except AttributeError:  # not on Linux
        return os.cpu_count() or 1


def run(fn, items, jobs, initializer=None):
    """Yields (index, outcome) for every item as it finishes, in the order of
    finishing: outcome is fn(item), computed in one of at most `jobs` worker
    processes, or a Failure. `fn` and `initializer` (run first in every worker)
    must be functions a fresh interpreter can import.

    Close the generator (contextlib.closing) to stop early: the workers are then
    terminated. Use it to the end and they leave on their own."""
    items = list(items)
    queue = deque(range(len(items)))
    workers, leaving, retried, finished = [], [], set(), False
    try:
        for _ in range(min(max(jobs, 1), len(items))):
            workers.append(_Worker(fn, initializer))
            workers[-1].give(queue.popleft(), items)
        while workers:
            ready = wait([w.conn for w in workers] + [w.process.sentinel for w in workers])
            for worker in [w for w in workers if w.conn in ready or w.process.sentinel in ready]:
                index, outcome = worker.take()
                if outcome is _UNDELIVERED:
                    if index in retried:  # workers die before taking anything: give up on it
                        outcome = Failure("no worker process could take it")
                    else:
                        retried.add(index)
                        queue.appendleft(index)
                if not worker.alive:
                    workers.remove(worker)
                    _end(worker)
                    if queue:  # a fresh worker for the items left
                        workers.append(_Worker(fn, initializer))
                        workers[-1].give(queue.popleft(), items)
                elif queue:
                    worker.give(queue.popleft(), items)
                else:
                    worker.stop()
                    workers.remove(worker)
                    leaving.append(worker)
                if outcome is not _UNDELIVERED:
                    yield index, outcome
        finished = True
    finally:
        if finished:
            for worker in leaving:
                _leave(worker)
        else:
            for worker in workers + leaving:
                worker.process.terminate()
            for worker in workers + leaving:
                _end(worker)


class _Worker:
    def __init__(self, fn, initializer):
        self.conn, theirs = _SPAWN.Pipe()
        self.process = _SPAWN.Process(target=_serve, args=(theirs, fn, initializer), daemon=True)
        with _sigint_blocked():  # inherited: a Ctrl-C during start-up must not reach the child
            self.process.start()
        theirs.close()
        self.index, self.alive, self.delivered = None, True, False

    def give(self, index, items):
        self.index, self.delivered = index, True
        try:
            self.conn.send((index, items[index]))
        except OSError:  # it died after its last item: its sentinel tells, and the item goes back
            self.delivered = False

    def take(self):
        """(index, outcome) of the item this worker held."""
        index, self.index = self.index, None
        if self.conn.poll():
            try:
                got, outcome = self.conn.recv()
                return got, outcome
            except (EOFError, OSError):
                pass
        self.alive = False
        self.process.join(_GRACE)
        if not self.delivered:
            return index, _UNDELIVERED
        return index, Failure(f"the worker process died ({_how(self.process.exitcode)})")

    def stop(self):
        try:
            self.conn.send(None)
        except OSError:
            pass


def _serve(conn, fn, initializer):
    signal.signal(signal.SIGINT, signal.SIG_IGN)
    if hasattr(signal, "pthread_sigmask"):
        signal.pthread_sigmask(signal.SIG_UNBLOCK, {signal.SIGINT})
    if initializer is not None:
        initializer()
    while True:
        try:
            task = conn.recv()
        except EOFError:  # the parent is gone
            break
        if task is None:
            break
        index, item = task
        try:
            outcome = fn(item)
        except Exception as e:
            outcome = Failure(f"{type(e).__name__}: {e}")
        conn.send((index, outcome))
    conn.close()
    # Leave without the interpreter's finalization: shutting a loaded .NET
    # runtime down takes most of a second, and every result is delivered.
    for stream in (sys.stdout, sys.stderr):
        try:
            stream.flush()
        except (AttributeError, OSError, ValueError):
            pass
    os._exit(0)


def _leave(worker):
    """Waits for a worker that was told to stop."""
    worker.process.join(_GRACE)
    if worker.process.is_alive():
        worker.process.terminate()
    _end(worker)


def _end(worker):
    worker.process.join(_GRACE)
    if worker.process.is_alive():
        worker.process.kill()
        worker.process.join()
    worker.conn.close()


def _how(code):
    if code is None:
        return "still running"
    if code < 0:
        try:
            return f"signal {signal.Signals(-code).name}"
        except ValueError:
            return f"signal {-code}"
    return f"exit code {code}"


@contextmanager
def _sigint_blocked():
    if not hasattr(signal, "pthread_sigmask"):
        yield
        return
    old = signal.pthread_sigmask(signal.SIG_BLOCK, {signal.SIGINT})
    try:
        yield
    finally:
        signal.pthread_sigmask(signal.SIG_SETMASK, old)
