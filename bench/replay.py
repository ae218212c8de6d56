"""What the module does to .NET objects, recorded and replayed as straight-line Python.

`record(fn, roots)` runs `fn` with every root object seen through a proxy that performs
each member read, write, call, indexer, iteration and conversion on the real object and
writes it down. `compile_ops` turns that list into one Python function without loops or
branches that makes exactly those accesses, in that order, on the real roots: what a
Python implementation would have to do at the least, with no host-side work at all.
"""
import math
from collections import Counter

PRIMITIVE = (type(None), bool, int, float, str)


class Session:
    def __init__(self):
        self.ops = []
        self.next = 0

    def result(self, value):
        """The encoding of a value that .NET gave back, and what the caller gets."""
        if type(value) in PRIMITIVE:
            return ("const", value), value
        rid = self.next
        self.next += 1
        return ("ref", rid), Proxy(self, rid, value)


def encode(value):
    """An argument handed to .NET: its encoding and the real value."""
    if isinstance(value, Proxy):
        return ("ref", object.__getattribute__(value, "_id")), object.__getattribute__(value, "_o")
    if type(value) in PRIMITIVE:
        return ("const", value), value
    if type(value) in (list, tuple):
        pairs = [encode(v) for v in value]
        return (type(value).__name__, [e for e, _ in pairs]), type(value)(v for _, v in pairs)
    raise TypeError(f"a {type(value).__name__} handed to .NET")


class Proxy:
    __slots__ = ("_s", "_id", "_o")

    def __init__(self, session, rid, real):
        object.__setattr__(self, "_s", session)
        object.__setattr__(self, "_id", rid)
        object.__setattr__(self, "_o", real)

    def _note(self, *op):
        self._s.ops.append(op)

    def __getattr__(self, name):
        enc, out = self._s.result(getattr(self._o, name))
        self._note("get", self._id, name, enc)
        return out

    def __setattr__(self, name, value):
        enc, real = encode(value)
        setattr(self._o, name, real)
        self._note("set", self._id, name, enc)

    def __call__(self, *args, **kwargs):
        if kwargs:
            raise TypeError("keyword arguments into .NET are not recorded")
        pairs = [encode(a) for a in args]
        enc, out = self._s.result(self._o(*[v for _, v in pairs]))
        self._note("call", self._id, [e for e, _ in pairs], enc)
        return out

    def __getitem__(self, key):
        k, real = encode(key)
        enc, out = self._s.result(self._o[real])
        self._note("item", self._id, k, enc)
        return out

    def __iter__(self):
        items = [self._s.result(v) for v in self._o]
        self._note("iter", self._id, [e for e, _ in items])
        return iter([v for _, v in items])

    def _convert(self, fn):
        value = fn(self._o)
        self._note("conv", self._id, fn.__name__, value)
        return value

    def __float__(self):
        return self._convert(float)

    def __int__(self):
        return self._convert(int)

    __index__ = __int__

    def __bool__(self):
        return self._convert(bool)

    def __len__(self):
        return self._convert(len)

    def __str__(self):
        return self._convert(str)


def record(fn, roots):
    """The operations that `fn(proxies)` makes on the roots and on what they give;
    `roots` is {name: object}, the proxies come in the same order."""
    session = Session()
    proxies = {}
    for name, real in roots.items():
        _, proxies[name] = session.result(real)
    fn(proxies)
    return session.ops


def comparable(ops):
    """The operations as text, so that two recordings compare (NaN included)."""
    return repr(ops)


def _literal(enc):
    kind, value = enc
    if kind == "ref":
        return f"v{value}"
    if kind in ("list", "tuple"):
        inner = ", ".join(_literal(e) for e in value)
        return f"[{inner}]" if kind == "list" else f"({inner}{',' if len(value) == 1 else ''})"
    if type(value) is float and not math.isfinite(value):
        return f"float('{value}')"
    return repr(value)


def _uses(ops):
    """How often each object is used after it was made: as a target or an argument."""
    used = Counter()

    def args(enc):
        kind, value = enc
        if kind == "ref":
            used[value] += 1
        elif kind in ("list", "tuple"):
            for e in value:
                args(e)

    for op in ops:
        used[op[1]] += 1
        if op[0] == "set":
            args(op[3])
        elif op[0] == "call":
            for e in op[2]:
                args(e)
        elif op[0] == "item":
            args(op[2])
    return used


def first_made(ops):
    """The object that the first call gave (the flowsheet of a build), or None."""
    return next((op[3][1] for op in ops if op[0] == "call" and op[3][0] == "ref"), None)


def plan(ops):
    """(kind, statement) for each access: a member read followed at once by the call of
    what it gave, and used for nothing else, is one method call."""
    used = _uses(ops)
    if first_made(ops) is not None:
        used[first_made(ops)] += 1  # returned
    out = []

    def bind(enc, expr):
        kind, value = enc
        return f"v{value} = {expr}" if kind == "ref" and used[value] else expr

    k = 0
    while k < len(ops):
        op = ops[k]
        kind = op[0]
        if kind == "get":
            _, tid, name, enc = op
            nxt = ops[k + 1] if k + 1 < len(ops) else None
            if enc[0] == "ref" and nxt is not None and nxt[0] == "call" and nxt[1] == enc[1] and used[enc[1]] == 1:
                args = ", ".join(_literal(e) for e in nxt[2])
                out.append(("call", bind(nxt[3], f"v{tid}.{name}({args})")))
                k += 2
                continue
            out.append(("read", bind(enc, f"v{tid}.{name}")))
        elif kind == "set":
            _, tid, name, enc = op
            out.append(("write", f"v{tid}.{name} = {_literal(enc)}"))
        elif kind == "call":
            _, tid, args, enc = op
            out.append(("call", bind(enc, f"v{tid}({', '.join(_literal(e) for e in args)})")))
        elif kind == "item":
            _, tid, key, enc = op
            out.append(("read", bind(enc, f"v{tid}[{_literal(key)}]")))
        elif kind == "iter":
            _, tid, items = op
            targets = [f"v{e[1]}" if e[0] == "ref" and used[e[1]] else "_" for e in items]
            if targets:
                out.append(("other", f"{', '.join(targets)}, = v{tid}"))
            else:
                out.append(("other", f"list(v{tid})"))
        elif kind == "conv":
            _, tid, fn, _ = op
            out.append(("other", f"{fn}(v{tid})"))
        k += 1
    return out


def crossings(ops):
    counts = Counter(kind for kind, _ in plan(ops))
    return {"total": sum(counts.values()), "calls": counts["call"], "reads": counts["read"],
            "writes": counts["write"], "other": counts["other"]}


def source(ops, roots):
    params = ", ".join(f"v{i}" for i in range(len(roots)))
    body = [f"    {statement}" for _, statement in plan(ops)] or ["    pass"]
    if first_made(ops) is not None:
        body.append(f"    return v{first_made(ops)}")
    return f"def replay({params}):\n" + "\n".join(body) + "\n"


def compile_ops(ops, roots):
    """The straight-line function; it takes the real roots in the order recorded and
    returns what the first call gave."""
    namespace = {}
    exec(compile(source(ops, roots), "<replay>", "exec"), namespace)
    return namespace["replay"]


def normal(snap):
    """A snapshot of the flowsheet with DWSIM's own object and package ids, which differ
    from one flowsheet to the next, replaced by tags and positions."""
    tags = {o["id"]: o["tag"] for o in snap["objects"]}
    packages = {p[0]: f"package {i}" for i, p in enumerate(snap["packages"])}

    def port(p):
        return None if p is None else [tags.get(p[0], p[0]), *p[1:]]

    objects = []
    for o in snap["objects"]:
        o = dict(o, id=o["tag"], pp=packages.get(o["pp"], o["pp"]))
        o["in"] = [port(p) for p in o["in"]]
        o["out"] = [port(p) for p in o["out"]]
        o["energy"] = port(o["energy"])
        objects.append(o)
    return {"compounds": snap["compounds"], "packages": [[packages[p[0]], *p[1:]] for p in snap["packages"]],
            "objects": objects}
