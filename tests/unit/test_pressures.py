"""Stream pressures from feeds and pressure specifications, through the compiled module."""
from types import MappingProxyType
from types import SimpleNamespace as NS

import numpy as np
import pytest


def block(kind="VALVE", **spec):
    return NS(kind=kind, spec=spec)


def flowsheet(feeds, blocks, ports):
    return NS(feeds={n: NS(P=p) for n, p in feeds.items()}, blocks=blocks, ports=ports)


@pytest.mark.parametrize("spec, expected", [
    ({"ratio": 0.5}, 1e5),
    ({"dP": 5e3}, 1.95e5),
    ({"P": 1.5e5, "ratio": 0.5}, 1.5e5),
    ({"P": 1.5e5, "dP": 5e3}, 1.5e5),
    ({"dP": 0}, 2e5),
    ({"dP": None}, 2e5),
    ({}, 2e5),
    ({"P": 0}, 0.0),          # only None means absent
    ({"ratio": 0}, 0.0),
    ({"P": None, "ratio": None, "dP": 1e3}, 1.99e5),
    ({"P": "1.2e5"}, 1.2e5),  # float() semantics: text is a number too
])
def test_rules_of_one_block(flowgate, spec, expected):
    fs = flowsheet({"F": 2e5}, {"B": block(**spec)}, {"B": (["F"], ["O1", "O2"])})
    P = flowgate._pressures(fs)
    assert P == {"F": 2e5, "O1": expected, "O2": expected}
    assert all(type(P[s]) is float for s in ("O1", "O2"))


def test_column_pressure_is_not_an_outlet_pressure(flowgate):
    fs = flowsheet({"F": 2e5}, {"C": block("RADFRAC", P=1e5)}, {"C": (["F"], ["D", "W"])})
    assert flowgate._pressures(fs) == {"F": 2e5, "D": 2e5, "W": 2e5}
    fs.blocks["C"].spec["dP"] = 1e4
    assert flowgate._pressures(fs)["D"] == 1.9e5


def test_no_feeds_and_no_blocks(flowgate):
    assert flowgate._pressures(flowsheet({}, {"B": block(P=1e5)}, {"B": (["S"], ["T"])})) == {}
    assert flowgate._pressures(flowsheet({"F": 3e5, "G": 1}, {}, {})) == {"F": 3e5, "G": 1}


def test_specified_pressure_needs_a_known_inlet(flowgate):
    fs = flowsheet({"F": 2e5}, {"B": block(P=1e5)}, {"B": (["X"], ["O"])})
    assert flowgate._pressures(fs) == {"F": 2e5}


def test_chain_listed_against_the_flow_settles(flowgate):
    n = 12
    names = [f"B{i}" for i in range(n)]
    blocks = {b: block(dP=1e3) for b in reversed(names)}
    ports = {b: ([f"S{i}"], [f"S{i + 1}"]) for i, b in reversed(list(enumerate(names)))}
    P = flowgate._pressures(flowsheet({"S0": 1e5}, blocks, ports))
    assert P[f"S{n}"] == pytest.approx(1e5 - n * 1e3)


def test_lowest_known_inlet_decides_and_is_corrected_later(flowgate):
    # M sees only the high feed on the first sweep, the lower one after V ran.
    blocks = {"M": block("MIXER"), "V": block(P=1.2e5)}
    ports = {"M": (["HI", "LO"], ["OUT"]), "V": (["F"], ["LO"])}
    P = flowgate._pressures(flowsheet({"HI": 3e5, "F": 2e5}, blocks, ports))
    assert P["OUT"] == 1.2e5


def test_recycles(flowgate):
    # Without a net drop the loop settles; a loop with a drop falls every
    # sweep until the sweep limit, 3 * (blocks + 1), ends it.
    ports = {"M": (["F", "R"], ["A"]), "S": (["A"], ["P", "R"])}
    flat = flowgate._pressures(flowsheet({"F": 1e5}, {"M": block("MIXER"), "S": block("FSPLIT")}, ports))
    assert flat == {"F": 1e5, "A": 1e5, "P": 1e5, "R": 1e5}

    lossy = {"M": block("MIXER"), "S": block("FSPLIT", dP=100.0)}
    P = flowgate._pressures(flowsheet({"F": 1e5}, lossy, ports))
    assert P["R"] == pytest.approx(1e5 - 9 * 100.0)


def test_outlet_writes_and_skips(flowgate):
    # A feed that is also an outlet takes the block's value; open outlet
    # slots make no stream; a value within 1e-9 of -1.0 makes none either.
    fs = flowsheet({"F": 2e5, "O": 5e5}, {"B": block(P=1e5)}, {"B": (["F"], [None, "", "O"])})
    assert flowgate._pressures(fs) == {"F": 2e5, "O": 1e5}
    fs = flowsheet({"F": 2e5}, {"B": block(P=-1.0 + 1e-10)}, {"B": (["F"], ["O"])})
    assert flowgate._pressures(fs) == {"F": 2e5}
    fs = flowsheet({"F": 2e5}, {"B": block(P=-1.0 + 1e-8)}, {"B": (["F"], ["O"])})
    assert "O" in flowgate._pressures(fs)


def test_input_is_read_only(flowgate):
    fs = flowsheet({"F": 2e5}, {"B": block(dP=1e3)}, {"B": (["F"], ["O"])})
    before = (dict(fs.feeds), dict(fs.ports), dict(fs.blocks["B"].spec))
    flowgate._pressures(fs)
    assert (fs.feeds, fs.ports, fs.blocks["B"].spec) == before


def test_numpy_values_behave_as_in_python(flowgate):
    fs = flowsheet({"F": np.float64(2e5)}, {"B": block(ratio=np.float32(0.5))}, {"B": (["F"], ["O"])})
    assert flowgate._pressures(fs)["O"] == pytest.approx(1e5)


@pytest.mark.parametrize("fs, error, words, where", [
    (flowsheet({"F": 1e5}, {"B": block()}, {"B": (["F"], ["O"], [])}), ValueError, "too many values", "ports of block 'B'"),
    (flowsheet({"F": 1e5}, {"B": block()}, {"B": (["F"],)}), ValueError, "not enough values", "ports of block 'B'"),
    (flowsheet({"F": 1e5}, {}, {"B": (["F"], ["O"])}), KeyError, "B", "block 'B'"),
    (flowsheet({"F": 1e5}, {"B": block(P="high")}, {"B": (["F"], ["O"])}), ValueError, "high", "block 'B'"),
    (flowsheet({"F": 1e5}, {"B": block(ratio=[1])}, {"B": (["F"], ["O"])}), TypeError, "list", "block 'B'"),
    (flowsheet({"F": None}, {"B": block(dP=1.0)}, {"B": (["F"], ["O"])}), TypeError, "NoneType", "block 'B'"),
    (flowsheet({"F": "1e5", "G": 2e5}, {"M": block()}, {"M": (["F", "G"], ["O"])}), TypeError, "'<'", "block 'M'"),
    (flowsheet({"F": 10**400}, {"B": block(ratio=0.5)}, {"B": (["F"], ["O"])}), OverflowError, "too large", "block 'B'"),
    (NS(feeds={"F": NS()}, blocks={}, ports={}), AttributeError, "'P'", "feed 'F'"),
    (NS(feeds={}, blocks={}, ports=None), AttributeError, "items", None),
])
def test_malformed_input_raises_the_interpreters_exception(flowgate, fs, error, words, where):
    # the host's own exception, with a note on the feed or block it came from
    with pytest.raises(error, match=words) as caught:
        flowgate._pressures(fs)
    notes = getattr(caught.value, "__notes__", [])
    assert (where is None and not notes) or any(where in note for note in notes), notes


def test_host_exceptions_pass_unchanged(flowgate):
    class Boom(Exception):
        pass

    class Spec(dict):
        def get(self, key, default=None):
            raise Boom(key)

    fs = flowsheet({"F": 1e5}, {"B": NS(kind="VALVE", spec=Spec())}, {"B": (["F"], ["O"])})
    with pytest.raises(Boom, match="P"):
        flowgate._pressures(fs)


class Pa(float):
    """A float subclass: the sweep takes it through Python's own arithmetic."""


def random_flowsheet(rng, n):
    """Blocks in a random order, with loops and open ports, specs of every rule."""
    streams = [f"S{i}" for i in range(n + 3)]
    blocks, ports = {}, {}
    for b in range(n):
        spec = rng.choice([{"P": rng.uniform(1e5, 5e5)}, {"ratio": rng.uniform(0.5, 1.5)},
                           {"dP": rng.choice([0, None, rng.uniform(-1e4, 3e4)])}, {}])
        kind = rng.choice(["VALVE", "PUMP", "RADFRAC", "MIXER"])
        ins = rng.sample(streams, rng.randint(0, 3))
        outs = rng.sample(streams, rng.randint(1, 2)) + rng.choice([[], [None], [""]])
        blocks[f"B{b}"], ports[f"B{b}"] = block(kind, **spec), (ins, outs)
    names = list(ports)
    rng.shuffle(names)
    feeds = {s: rng.choice([2e5, 3e5, 150000]) for s in rng.sample(streams, 2)}
    return feeds, blocks, {k: ports[k] for k in names}


def test_both_lanes_give_the_same_pressures_bit_for_bit(flowgate):
    import random
    rng = random.Random(7)
    for case in range(300):
        feeds, blocks, ports = random_flowsheet(rng, rng.randint(1, 12))
        fast = flowgate._pressures(flowsheet(feeds, blocks, ports))
        # the same flowsheet held in read-only mappings and tuples, walked through items() and iterators
        held = flowsheet(feeds, blocks, MappingProxyType({k: (tuple(i), tuple(o)) for k, (i, o) in ports.items()}))
        held.feeds = MappingProxyType(held.feeds)
        assert flowgate._pressures(held) == fast, case
        slow = flowgate._pressures(flowsheet({s: Pa(p) for s, p in feeds.items()}, blocks, ports))
        assert list(fast) == list(slow), case
        assert all(fast[s] == slow[s] or (fast[s] != fast[s] and slow[s] != slow[s]) for s in fast), case
        # computed values are floats in both; a feed that kept its pressure keeps the host's object
        assert all(type(fast[s]) is type(feeds[s]) if s in feeds and fast[s] is feeds[s] else type(fast[s]) is float
                   for s in fast), case


def test_ports_that_change_size_while_read_raise_as_a_for_loop_would(flowgate):
    class Growing:
        def __init__(self, ports):
            self.ports = ports

        def __bool__(self):  # an outlet name tested for truth adds a block
            self.ports[f"X{len(self.ports)}"] = ([], [])
            return True

    ports = {"B": (["F"], [])}
    ports["B"][1].append(Growing(ports))
    with pytest.raises(RuntimeError, match="changed size during iteration"):
        flowgate._pressures(flowsheet({"F": 1e5}, {"B": block()}, ports))
