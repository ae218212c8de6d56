"""A DWSIM file as a Kelvane model: import_model, its connection walk and spec readback,
against flowsheets of the fake DWSIM (dwsim_fakes) as LoadFlowsheet would give them."""
import pytest

import kelvane.components
from dwsim_fakes import (CLASSES, Automation, ComponentSeparationSpec, CompressorMode, CoolerMode,
                         FileNotFoundException, HeaterMode, ObjectType, OpMode, PumpMode, SeparationSpec, Unit,
                         ValveMode)

WATER_ETHANOL = (("Water", "7732-18-5"), ("Ethanol", "64-17-5"))


class Plant:
    """A flowsheet with these compounds and this package, built through the fake's
    AddObject and ConnectObjects; objects stand in SimulationObjects in the order made."""

    def __init__(self, compounds=WATER_ETHANOL, package="NRTL"):
        self.a = Automation(dict(compounds))
        self.sim = self.a.CreateFlowsheet()
        for name, _ in compounds:
            self.sim.AddCompound(name)
        if package:
            self.sim.CreateAndAddPropertyPackage(package)

    def unit(self, cls, tag, x=0.0, y=0.0, **members):
        o = self.sim.AddObject(getattr(ObjectType, CLASSES[cls][0]), int(x), int(y), tag).GetAsObject()
        o.GraphicObject.X, o.GraphicObject.Y = float(x), float(y)   # X and Y are Single: fractions too
        set_members(o, members)
        return o

    def stream(self, tag, T=300.0, P=1e5, F=1000.0, x=(0.5, 0.5)):
        o = self.unit("MaterialStream", tag)
        o.state.update(T=T, P=P, F=F, x=tuple(x))
        return o

    def link(self, a, i, b, j):
        """Output port i of a to input port j of b (-1: the first free one)."""
        self.sim.ConnectObjects(a.GraphicObject, b.GraphicObject, i, j)


def set_members(o, members):
    for k, v in members.items():
        if k == "Ratios":           # read-only: its contents change
            o.Ratios.Clear()
            for r in v:
                o.Ratios.Add(r)
        elif k == "ComponentSepSpecs":   # {key: percent}, or {key: (compound, kind, value)}
            for key, entry in v.items():
                name, kind, value = entry if isinstance(entry, tuple) else (key, "PercentInletMolarFlow", entry)
                o.ComponentSepSpecs.Add(key, ComponentSeparationSpec(name, getattr(SeparationSpec, kind), value, "%"))
        else:
            setattr(o, k, v)


@pytest.fixture
def load(flowgate, monkeypatch):
    """import_model of a Plant's flowsheet; the automation state is the plant's for the test."""
    monkeypatch.setattr(kelvane.components, "databank_index", lambda: [
        {"alias": "WATER", "cas": "7732-18-5"}, {"alias": "ETOH", "cas": "64-17-5"},
        {"alias": "NOCAS"}, {"alias": "EMPTY", "cas": ""}, {"alias": "", "cas": "99-99-9"}])

    def run(plant, path="/tmp/flash.old.dwxmz"):
        plant.a.files[path] = plant.sim
        flowgate._STATE.update(a=plant.a, m={})
        return flowgate.import_model(path)

    yield run
    flowgate._STATE.pop("a", None)
    flowgate._STATE.pop("m", None)


def test_feeds_blocks_and_layout(load):
    p = Plant()
    feed = p.stream("F", T=350.0, P=2e5, F=2000.0, x=(0.25, 0.75))
    pump = p.unit("Pump", "P1", 10, 20.5, CalcMode=PumpMode.OutletPressure, Pout=5e5)
    mid, out, q = p.stream("M"), p.stream("P"), p.unit("EnergyStream", "Q-P1")
    valve = p.unit("Valve", "V1", CalcMode=ValveMode.OutletPressure, OutletPressure=1e5)
    p.link(feed, 0, pump, 0), p.link(pump, 0, mid, 0), p.link(mid, 0, valve, 0), p.link(valve, 0, out, 0)
    p.link(q, -1, pump, -1)                  # lands on the pump's energy port, 1
    model, notes = load(p)
    assert list(model) == ["name", "property", "feeds", "blocks", "layout"]
    assert model["name"] == "FLASH.OLD"
    assert model["property"] == {"method": "NRTL", "components": {"WATER": "WATER", "ETHANOL": "ETOH"}}
    assert model["feeds"] == {"F": {"T": 350.0, "P": 2e5, "flows": {"WATER": 0.5, "ETHANOL": 1.5}}}
    assert model["blocks"] == {                # the pump's efficiency is DWSIM's default, 75 %
        "P1": {"kind": "PUMP", "in": ["F"], "out": ["M"], "P": 5e5, "efficiency": 0.75},
        "V1": {"kind": "VALVE", "in": ["M"], "out": ["P"], "P": 1e5}}
    assert model["layout"] == {"blocks": {"P1": [10.0, 20.5], "V1": [0.0, 0.0]}}
    assert notes == [] and p.a.calls == [("LoadFlowsheet", "/tmp/flash.old.dwxmz")]


@pytest.mark.parametrize("name, expected", [
    ("1,2-Dichloroethane", "12DICHLO"), ("Water", "WATER"), ("N-Butane", "NBUTANE"),
    ("Ethylene glycol", "ETHYLENE"), ("Straße", "STRASSE"), ("½-β", "½Β"),
])
def test_component_identifiers(load, name, expected):
    model, _ = load(Plant(compounds=[(name, "7732-18-5")]))
    assert list(model["property"]["components"]) == [expected]


def test_compound_notes_and_package_fallbacks(load):
    compounds = [("Water", " 7732-18-5 "), ("Unobtainium", "1-1-1 "), ("+-+", "99-99-9"), ("Air", "")]
    model, notes = load(Plant(compounds, package="Lee-Kesler-Plöcker"))
    # an empty alias counts as found; entries without a CAS number match nothing
    assert model["property"] == {"method": "NRTL", "components": {
        "WATER": "WATER", "UNOBTAIN": "", "C3": "", "AIR": ""}}
    assert notes == ["Unobtainium (CAS 1-1-1 ): not in the databanks; add it as a nondatabank component",
                     "Air (CAS ): not in the databanks; add it as a nondatabank component",
                     "property package Lee-Kesler-Plöcker: NRTL in Kelvane"]
    model, notes = load(Plant(package=None))
    assert (model["property"]["method"], notes) == ("NRTL", [])
    model, _ = load(Plant(package="Peng-Robinson (PR)"))
    assert model["property"]["method"] == "PENG-ROB"


def test_same_identifier_twice_later_wins(load):
    p = Plant([("1,2-Dichloroethane", "107-06-2"), ("1,2-Dichloropropane", "78-87-5")])
    p.stream("F", F=1000.0, x=(0.4, 0.6))
    model, notes = load(p)
    assert model["property"]["components"] == {"12DICHLO": ""}
    assert model["feeds"]["F"]["flows"] == {"12DICHLO": 0.6}
    assert len(notes) == 2


def test_connection_walk_skips_free_and_dangling_ports(load):
    p = Plant()
    feed, sp, a, b, c = p.stream("F"), p.unit("Splitter", "SP", Ratios=[0.35, 0.4, 0.25]), p.stream("A"), p.stream(
        "B"), p.stream("C")
    p.link(feed, 0, sp, 0), p.link(sp, 0, a, 0), p.link(sp, 2, b, 0)
    sp.GraphicObject.OutputConnectors[1].IsAttached = True   # claims a connection, has no connector: free
    mx = p.unit("Mixer", "MX")
    p.link(c, 0, mx, 0)
    p.sim.attach(c.GraphicObject, 0, mx.GraphicObject, 1)     # as a file may hold it: the same stream twice
    rec, out = p.unit("Recycle", "REC"), p.stream("OUT", T=320.0)
    p.link(rec, 0, out, 0)                   # a Recycle with nothing on its inlet cuts nothing: OUT is fed
    p.unit("EnergyStream", "E")
    model, notes = load(p)
    assert model["blocks"]["SP"] == {"kind": "FSPLIT", "in": ["F"], "out": ["A", "B"], "frac": [0.35]}
    assert model["blocks"]["MX"] == {"kind": "MIXER", "in": ["C", "C"], "out": []}
    assert set(model["feeds"]) == {"F", "C", "OUT"} and model["feeds"]["OUT"]["T"] == 320.0
    assert notes == []


@pytest.mark.parametrize("cls, members, spec", [
    ("Splitter", {"Ratios": [0.3, 0.7, 0.0]}, {"frac": [0.3]}),
    ("ComponentSeparator", {"ComponentSepSpecs": {"Water": 35.0, "Ethanol": 100.0}}, {"split": {0: {0: 0.35, 1: 1.0}}}),
    ("ComponentSeparator", {}, {"split": {0: {}}}),
    ("Heater", {"CalcMode": HeaterMode.OutletTemperature, "DeltaP": 5e3, "OutletTemperature": 350.0},
     {"dP": 5e3, "T": 350.0}),
    ("Heater", {"CalcMode": HeaterMode.OutletVaporFraction, "DeltaP": None, "OutletVaporFraction": 0.5},
     {"dP": 0.0, "vfrac": 0.5}),
    ("Heater", {"CalcMode": HeaterMode.HeatAdded, "DeltaQ": 2.5}, {"dP": 0.0, "duty": 2500.0}),
    ("Heater", {"CalcMode": HeaterMode.TemperatureChange, "DeltaQ": None}, {"dP": 0.0, "duty": 0.0}),
    ("Cooler", {"CalcMode": CoolerMode.HeatRemoved, "DeltaQ": 2.5}, {"dP": 0.0, "duty": -2500.0}),
    ("Vessel", {}, {"dP": 0.0, "duty": 0.0}),
    ("Vessel", {"OverrideT": True, "OverrideP": True, "FlashTemperature": 300.0, "FlashPressure": 2e5},
     {"T": 300.0, "P": 2e5}),
    ("Compressor", {"POut": 3e5, "AdiabaticEfficiency": 80.0}, {"P": 3e5, "efficiency": 0.8}),
])
def test_specifications(load, cls, members, spec):
    p = Plant()
    f, unit, a, b = p.stream("F"), p.unit(cls, "U", **members), p.stream("A"), p.stream("B")
    p.link(f, 0, unit, 0), p.link(unit, 0, a, 0)
    if cls in ("Splitter", "Vessel", "ComponentSeparator"):
        p.link(unit, 1, b, 0)
    model, _ = load(p)
    entry = model["blocks"]["U"]
    assert {k: v for k, v in entry.items() if k not in ("kind", "in", "out")} == spec
    assert list(entry)[3:] == list(spec)


OTHER_MODE = "U: mode %s has no Kelvane equivalent; the %s DWSIM calculated %s taken"


# The mode decides what is specified; a result is no specification. Streams F (in),
# A (outlet 0, at 1.7 bar) and B (outlet 1) hold their stored states.
@pytest.mark.parametrize("cls, members, spec, note", [
    ("Pump", {"CalcMode": PumpMode.OutletPressure, "Pout": 4e5}, {"P": 4e5, "efficiency": 0.75}, None),
    ("Pump", {"CalcMode": PumpMode.Delta_P, "DeltaP": 3e5, "Pout": 4e5}, {"dP": -3e5, "efficiency": 0.75}, None),
    ("Pump", {"CalcMode": PumpMode.Power, "Pout": 4e5}, {"P": 1.7e5, "efficiency": 0.75},
     OTHER_MODE % ("Power", "outlet pressure", "is")),
    ("Compressor", {"CalcMode": CompressorMode.PressureRatio, "PressureRatio": 2.5, "POut": 9e5},
     {"ratio": 2.5, "efficiency": 0.75}, None),
    ("Compressor", {"CalcMode": CompressorMode.Delta_P, "DeltaP": 2e5}, {"dP": -2e5, "efficiency": 0.75}, None),
    ("Valve", {"CalcMode": ValveMode.DeltaP, "DeltaP": 5e4, "OutletPressure": 3e5}, {"dP": 5e4}, None),
    ("Valve", {"CalcMode": ValveMode.Kv_Liquid, "OutletPressure": 3e5}, {"P": 1.7e5},
     OTHER_MODE % ("Kv_Liquid", "outlet pressure", "is")),
    ("Heater", {"CalcMode": HeaterMode.TemperatureChange, "DeltaQ": 2.0}, {"dP": 0.0, "duty": 2000.0},
     OTHER_MODE % ("TemperatureChange", "duty", "is")),
    ("Cooler", {"CalcMode": CoolerMode.EnergyStream, "DeltaQ": 2.0}, {"dP": 0.0, "duty": -2000.0},
     OTHER_MODE % ("EnergyStream", "duty", "is")),
    # a separator's entries by their compound, for the outlet they name; a flow spec is no share
    ("ComponentSeparator", {"ComponentSepSpecs": {"k1": ("Ethanol", "PercentInletMolarFlow", 30.0),
                                                  "k2": ("Water", "PercentInletMassFlow", 80.0)}},
     {"split": {0: {1: 0.3, 0: 0.8}}}, None),
    ("ComponentSeparator", {"SpecifiedStreamIndex": 1, "ComponentSepSpecs": {"Water": 80.0, "Xenon": 50.0}},
     {"split": {0: {0: pytest.approx(0.2)}}}, None),
    ("ComponentSeparator", {"ComponentSepSpecs": {"Water": ("Water", "MolarFlow", 100.0), "Ethanol": 10.0}},
     {"split": {0: {0: 0.25, 1: 0.1}}}, "U: a flow specification is read as the share of the inlet it gave"),
    ("Splitter", {"OperationMode": OpMode.StreamMoleFlowSpec, "Ratios": [0.9, 0.1, 0.0]}, {"frac": [0.5]},
     OTHER_MODE % ("fixed outlet flows", "ratios", "are")),
])
def test_specifications_by_mode(load, cls, members, spec, note):
    p = Plant()
    f, unit = p.stream("F", F=1000.0, x=(0.8, 0.2)), p.unit(cls, "U", **members)
    a, b = p.stream("A", P=1.7e5, F=500.0, x=(0.4, 0.6)), p.stream("B", F=500.0, x=(1.2, -0.2))
    p.link(f, 0, unit, 0), p.link(unit, 0, a, 0)
    if cls in ("Splitter", "ComponentSeparator"):
        p.link(unit, 1, b, 0)
    model, notes = load(p)
    assert {k: v for k, v in model["blocks"]["U"].items() if k not in ("kind", "in", "out")} == spec
    assert notes == ([note] if note else [])


def test_a_unit_without_mode_or_drop_reads_as_a_heat_duty(flowgate):
    # a Vessel has neither CalcMode nor DeltaP: "" and 0.0
    v = Unit("Vessel", "V")
    v.DeltaQ = 1.5
    assert flowgate._spec_of("HEATER", v, {}, [], [], []) == {"dP": 0.0, "duty": 1500.0}


@pytest.mark.parametrize("ratios, outs, frac", [
    ([0.4, 0.6], 3, [0.4]), ([0.4, 0.6, 0.0], 1, [1.0]), ([], 2, [1.0]), ([0.2, 0.3, 0.5], 3, [0.2, 0.3]),
])
def test_splitter_fractions(flowgate, ratios, outs, frac):
    s = Unit("Splitter", "S")
    set_members(s, {"Ratios": ratios})
    assert flowgate._spec_of("FSPLIT", s, {}, [], ["s"] * outs, []) == {"frac": frac}


def test_flash_heater_and_vessel_merge(load):
    p = Plant()
    f, h_out, v_vap, v_liq = p.stream("F"), p.stream("V1-F"), p.stream("V"), p.stream("L")
    h = p.unit("Heater", "V1-H", -40, CalcMode=HeaterMode.OutletTemperature, DeltaP=1e3, OutletTemperature=360.0)
    v = p.unit("Vessel", "V1", 5.0, 6.0, OverrideP=True, FlashPressure=1.5e5)
    p.link(f, 0, h, 0), p.link(h, 0, h_out, 0), p.link(h_out, 0, v, 0), p.link(v, 0, v_vap, 0), p.link(v, 1, v_liq, 0)
    model, _ = load(p)
    assert model["blocks"] == {"V1": {"kind": "FLASH2", "in": ["F"], "out": ["V", "L"], "T": 360.0, "P": 1.5e5}}
    assert model["layout"]["blocks"] == {"V1": [5.0, 6.0]}


def test_vessel_with_a_second_inlet_stays_unmerged(load):
    p = Plant()
    f, g, h_out, v_vap, v_liq = p.stream("F"), p.stream("G"), p.stream("V1-F"), p.stream("V"), p.stream("L")
    h, v = p.unit("Cooler", "V1-H", DeltaQ=1.0), p.unit("Vessel", "V1")
    p.link(f, 0, h, 0), p.link(h, 0, h_out, 0), p.link(h_out, 0, v, 0), p.link(g, 0, v, 1)
    p.link(v, 0, v_vap, 0), p.link(v, 1, v_liq, 0)
    model, _ = load(p)
    assert list(model["blocks"]) == ["V1-H", "V1"]
    assert model["blocks"]["V1-H"]["duty"] == -1000.0


def test_failures_pass_unchanged(flowgate, load):
    p = Plant()
    f, valve, a = p.stream("F"), p.unit("Valve", "V", CalcMode=ValveMode.OutletPressure, OutletPressure=None), p.stream("A")   # a nullable left unset
    p.link(f, 0, valve, 0), p.link(valve, 0, a, 0)
    with pytest.raises(TypeError):
        load(p)
    p = Plant()
    del p.unit("Valve", "V").GraphicObject.InputConnectors
    with pytest.raises(AttributeError, match="InputConnectors"):
        load(p)
    with pytest.raises(FileNotFoundException, match="/x.dwxmz"):   # LoadFlowsheet's own exception
        flowgate.import_model("/x.dwxmz")
