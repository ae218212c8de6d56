"""A DWSIM file as a Kelvane model: import_model, its connection walk and spec readback,
against plain Python fakes of what DWSIM's LoadFlowsheet gives."""
from types import SimpleNamespace as NS

import pytest

import kelvane.components


class Keyed(dict):
    """A keyed .NET collection: Keys, Values and item lookup."""

    @property
    def Keys(self):
        return list(self.keys())

    @property
    def Values(self):
        return list(self.values())


class Point:
    def __init__(self):
        self.IsAttached, self.AttachedConnector = False, None


class Graphic:
    def __init__(self, tag, x=0.0, y=0.0, ins=1, outs=1):
        self.Tag, self.X, self.Y = tag, x, y
        self.InputConnectors = [Point() for _ in range(ins)]
        self.OutputConnectors = [Point() for _ in range(outs)]


class Obj:
    """A concrete DWSIM object of class `cls` with members `members`."""

    def __init__(self, cls, tag, ins=1, outs=1, x=0.0, y=0.0, **members):
        self.cls = cls
        self.GraphicObject = Graphic(tag, x, y, ins, outs)
        self.__dict__.update(members)

    def GetType(self):
        return NS(Name=self.cls)


def stream(tag, T=300.0, P=1e5, F=1000.0, x=(0.5, 0.5)):
    return Obj("MaterialStream", tag, GetTemperature=lambda: T, GetPressure=lambda: P,
               GetMolarFlow=lambda: F, GetOverallComposition=lambda: list(x))


def link(a, i, b, j):
    """Output port i of a to input port j of b."""
    c = NS(AttachedFrom=a.GraphicObject, AttachedTo=b.GraphicObject)
    for point in (a.GraphicObject.OutputConnectors[i], b.GraphicObject.InputConnectors[j]):
        point.IsAttached, point.AttachedConnector = True, c


def flowsheet(objects, compounds=(("Water", "7732-18-5"), ("Ethanol", "64-17-5")), package="NRTL"):
    sim = NS(
        SelectedCompounds=Keyed({n: NS(CAS_Number=c) for n, c in compounds}),
        PropertyPackages=Keyed({"PP-1": NS(__implementation__=NS(ComponentName=package))} if package else {}),
        SimulationObjects=Keyed({f"ID-{i}": NS(GraphicObject=o.GraphicObject, __implementation__=o)
                                 for i, o in enumerate(objects)}),
    )
    return sim


@pytest.fixture
def load(flowgate, monkeypatch):
    """import_model over a fake flowsheet; the automation state is a fake for the test."""
    monkeypatch.setattr(kelvane.components, "databank_index", lambda: [
        {"alias": "WATER", "cas": "7732-18-5"}, {"alias": "ETOH", "cas": "64-17-5"},
        {"alias": "NOCAS"}, {"alias": "EMPTY", "cas": ""}, {"alias": "", "cas": "99-99-9"}])
    opened = []

    def run(sim, path="/tmp/flash.old.dwxmz"):
        flowgate._STATE.update(a=NS(LoadFlowsheet=lambda p: opened.append(p) or sim), m={})
        return flowgate.import_model(path)

    yield run
    flowgate._STATE.pop("a", None)
    flowgate._STATE.pop("m", None)


def test_feeds_blocks_and_layout(load):
    feed, mid, out = stream("F", T=350.0, P=2e5, F=2000.0, x=(0.25, 0.75)), stream("M"), stream("P")
    pump = Obj("Pump", "P1", ins=2, x=10, y=20.5, Pout=5e5, Efficiency=75.0)
    valve = Obj("Valve", "V1", OutletPressure=1e5)
    q = Obj("EnergyStream", "Q-P1")
    link(feed, 0, pump, 0), link(pump, 0, mid, 0), link(mid, 0, valve, 0), link(valve, 0, out, 0)
    pump.GraphicObject.InputConnectors[1].IsAttached = True
    pump.GraphicObject.InputConnectors[1].AttachedConnector = NS(AttachedFrom=q.GraphicObject)
    model, notes = load(flowsheet([feed, pump, mid, valve, out, q]))
    assert list(model) == ["name", "property", "feeds", "blocks", "layout"]
    assert model["name"] == "FLASH.OLD"
    assert model["property"] == {"method": "NRTL", "components": {"WATER": "WATER", "ETHANOL": "ETOH"}}
    assert model["feeds"] == {"F": {"T": 350.0, "P": 2e5, "flows": {"WATER": 0.5, "ETHANOL": 1.5}}}
    assert model["blocks"] == {
        "P1": {"kind": "PUMP", "in": ["F"], "out": ["M"], "P": 5e5, "efficiency": 0.75},
        "V1": {"kind": "VALVE", "in": ["M"], "out": ["P"], "P": 1e5}}
    assert model["layout"] == {"blocks": {"P1": [10.0, 20.5], "V1": [0.0, 0.0]}}
    assert notes == []


@pytest.mark.parametrize("name, expected", [
    ("1,2-Dichloroethane", "12DICHLO"), ("Water", "WATER"), ("N-Butane", "NBUTANE"),
    ("Ethylene glycol", "ETHYLENE"), ("Straße", "STRASSE"), ("½-β", "½Β"),
])
def test_component_identifiers(load, name, expected):
    model, _ = load(flowsheet([], compounds=[(name, "7732-18-5")]))
    assert list(model["property"]["components"]) == [expected]


def test_compound_notes_and_package_fallbacks(load):
    compounds = [("Water", " 7732-18-5 "), ("Unobtainium", "1-1-1 "), ("+-+", "99-99-9"), ("Air", "")]
    model, notes = load(flowsheet([], compounds=compounds, package="Lee-Kesler-Plöcker"))
    # an empty alias counts as found; entries without a CAS number match nothing
    assert model["property"] == {"method": "NRTL", "components": {
        "WATER": "WATER", "UNOBTAIN": "", "C3": "", "AIR": ""}}
    assert notes == ["Unobtainium (CAS 1-1-1 ): not in the databanks; add it as a nondatabank component",
                     "Air (CAS ): not in the databanks; add it as a nondatabank component",
                     "property package Lee-Kesler-Plöcker: NRTL in Kelvane"]
    model, notes = load(flowsheet([], package=None))
    assert (model["property"]["method"], notes) == ("NRTL", [])
    model, _ = load(flowsheet([], package="Peng-Robinson (PR)"))
    assert model["property"]["method"] == "PENG-ROB"


def test_same_identifier_twice_later_wins(load):
    compounds = [("1,2-Dichloroethane", "107-06-2"), ("1,2-Dichloropropane", "78-87-5")]
    f = stream("F", F=1000.0, x=(0.4, 0.6))
    model, notes = load(flowsheet([f], compounds=compounds))
    assert model["property"]["components"] == {"12DICHLO": ""}
    assert model["feeds"]["F"]["flows"] == {"12DICHLO": 0.6}
    assert len(notes) == 2


def test_connection_walk_skips_free_and_dangling_ports(load):
    feed, a, b, c = stream("F"), stream("A"), stream("B"), stream("C")
    sep = Obj("ComponentSeparator", "CS", outs=3,
              ComponentSepSpecs=Keyed({"Water": NS(SpecValue=35.0), "Ethanol": NS(SpecValue=100)}))
    link(feed, 0, sep, 0), link(sep, 0, a, 0), link(sep, 2, b, 0)
    sep.GraphicObject.OutputConnectors[1].IsAttached = True  # attached, but no connector: free
    other = Obj("Mixer", "MX", ins=6)
    link(c, 0, other, 0), link(c, 0, other, 1)             # the same stream twice counts twice
    column, out = Obj("DistillationColumn", "COL"), stream("OUT")
    link(column, 0, out, 0)                                 # fed by a unit without a block: no feed
    model, notes = load(flowsheet([feed, sep, a, b, c, other, column, out, Obj("EnergyStream", "E")]))
    assert model["blocks"]["CS"] == {"kind": "SEP", "in": ["F"], "out": ["A", "B"],
                                     "split": {0: {0: 0.35, 1: 1.0}}}
    assert model["blocks"]["MX"] == {"kind": "MIXER", "in": ["C", "C"], "out": []}
    assert set(model["feeds"]) == {"F", "C"}
    assert notes == ["COL (DistillationColumn): no Kelvane block"]


@pytest.mark.parametrize("cls, members, spec", [
    ("Splitter", {"Ratios": [0.3, 0.7, 0.0]}, {"frac": [0.3]}),
    ("Heater", {"CalcMode": "OutletTemperature", "DeltaP": 5e3, "OutletTemperature": 350.0},
     {"dP": 5e3, "T": 350.0}),
    ("Heater", {"CalcMode": "OutletVaporFraction", "DeltaP": None, "OutletVaporFraction": 0.5},
     {"dP": 0.0, "vfrac": 0.5}),
    ("Heater", {"CalcMode": "HeatAdded", "DeltaQ": 2.5}, {"dP": 0.0, "duty": 2500.0}),
    ("Heater", {"DeltaQ": None}, {"dP": 0.0, "duty": 0.0}),
    ("Cooler", {"CalcMode": "HeatRemoved", "DeltaQ": 2.5}, {"dP": 0.0, "duty": -2500.0}),
    ("Vessel", {}, {"dP": 0.0, "duty": 0.0}),
    ("Vessel", {"OverrideT": True, "OverrideP": True, "FlashTemperature": 300.0, "FlashPressure": 2e5},
     {"T": 300.0, "P": 2e5}),
    ("Compressor", {"POut": 3e5, "AdiabaticEfficiency": 80.0}, {"P": 3e5, "efficiency": 0.8}),
])
def test_specifications(load, cls, members, spec):
    f, a, b = stream("F"), stream("A"), stream("B")
    unit = Obj(cls, "U", outs=3 if cls in ("Splitter", "Vessel") else 1, **members)
    link(f, 0, unit, 0), link(unit, 0, a, 0)
    if cls in ("Splitter", "Vessel"):
        link(unit, 1, b, 0)
    model, _ = load(flowsheet([f, unit, a, b]))
    entry = model["blocks"]["U"]
    assert {k: v for k, v in entry.items() if k not in ("kind", "in", "out")} == spec
    assert list(entry)[3:] == list(spec)


@pytest.mark.parametrize("ratios, outs, frac", [
    ([0.4, 0.6], 3, [0.4]), ([0.4, 0.6, 0.0], 1, [1.0]), ([], 2, [1.0]), ([0.2, 0.3, 0.5], 3, [0.2, 0.3]),
])
def test_splitter_fractions(flowgate, ratios, outs, frac):
    assert flowgate._spec_of("FSPLIT", NS(Ratios=ratios), {}, [], ["s"] * outs, []) == {"frac": frac}


def test_flash_heater_and_vessel_merge(load):
    f, h_out, v_vap, v_liq = stream("F"), stream("V1-F"), stream("V"), stream("L")
    h = Obj("Heater", "V1-H", ins=2, x=-40, CalcMode="OutletTemperature", DeltaP=1e3, OutletTemperature=360.0)
    v = Obj("Vessel", "V1", ins=7, outs=3, x=5.0, y=6.0, OverrideP=True, FlashPressure=1.5e5)
    link(f, 0, h, 0), link(h, 0, h_out, 0), link(h_out, 0, v, 0), link(v, 0, v_vap, 0), link(v, 1, v_liq, 0)
    model, _ = load(flowsheet([f, h, h_out, v, v_vap, v_liq]))
    assert model["blocks"] == {"V1": {"kind": "FLASH2", "in": ["F"], "out": ["V", "L"], "T": 360.0, "P": 1.5e5}}
    assert model["layout"]["blocks"] == {"V1": [5.0, 6.0]}


def test_vessel_with_a_second_inlet_stays_unmerged(load):
    f, g, h_out, v_vap, v_liq = stream("F"), stream("G"), stream("V1-F"), stream("V"), stream("L")
    h = Obj("Cooler", "V1-H", ins=2, DeltaQ=1.0)
    v = Obj("Vessel", "V1", ins=7, outs=3)
    link(f, 0, h, 0), link(h, 0, h_out, 0), link(h_out, 0, v, 0), link(g, 0, v, 1)
    link(v, 0, v_vap, 0), link(v, 1, v_liq, 0)
    model, _ = load(flowsheet([f, g, h, h_out, v, v_vap, v_liq]))
    assert list(model["blocks"]) == ["V1-H", "V1"]
    assert model["blocks"]["V1-H"]["duty"] == -1000.0


def test_failures_pass_unchanged(flowgate, load):
    f, a = stream("F"), stream("A")
    pump = Obj("Pump", "P1", Pout=None, Efficiency=75.0)
    link(f, 0, pump, 0), link(pump, 0, a, 0)
    with pytest.raises(TypeError):
        load(flowsheet([f, pump, a]))
    broken = Obj("Valve", "V")
    del broken.GraphicObject.InputConnectors
    with pytest.raises(AttributeError, match="InputConnectors"):
        load(flowsheet([broken]))

    class LoadError(Exception):
        pass

    def fail(path):
        raise LoadError(f"cannot open {path}")

    flowgate._STATE["a"] = NS(LoadFlowsheet=fail)
    with pytest.raises(LoadError, match="cannot open /x.dwxmz"):
        flowgate.import_model("/x.dwxmz")
