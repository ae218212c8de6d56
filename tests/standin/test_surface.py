"""Shapes of the automation surface as pythonnet sees them."""
import pytest

from child import call
from sheet import CLASSES

# material inputs, energy input after them, outputs, energy connector active
PORTS = {"MaterialStream": (1, 0, 1, False), "EnergyStream": (1, 0, 1, False), "Mixer": (6, 0, 1, False),
         "Splitter": (1, 0, 3, False), "ComponentSeparator": (1, 0, 2, True), "Heater": (1, 1, 1, True),
         "Cooler": (1, 1, 1, True), "Vessel": (6, 1, 3, False), "Pump": (1, 1, 1, False),
         "Compressor": (1, 1, 1, False), "Valve": (1, 0, 1, False), "Recycle": (1, 0, 1, False)}
MODES = ("Heater", "Cooler", "Pump", "Compressor", "Valve")
DEFAULTS = {  # None is an unset nullable; "absent" a member the class does not have
    ("Heater", "CalcMode"): "HeatAdded", ("Heater", "DeltaQ"): None, ("Heater", "Eficiencia"): 100.0,
    ("Pump", "Pout"): 0.0, ("Compressor", "DeltaQ"): 0.0, ("Vessel", "OverrideT"): False,
    ("Vessel", "PressureCalculation"): "Minimum", ("Vessel", "DeltaP"): "absent",
    ("ComponentSeparator", "DeltaQ"): "absent", ("Splitter", "Ratios"): "System.Collections.ArrayList",
}
NOT_ALLOWED = ["Exception", "This connection is not allowed."]
CANNOT = ["Exception", "The requested connection between the given objects cannot be done."]


@pytest.fixture(scope="module")
def made():
    return call("surface_scenarios:made", list(DEFAULTS))


@pytest.mark.parametrize("t", list(CLASSES))
def test_created_objects_and_their_ports(made, t):
    d = made["objects"][t]
    space, objtype, prefix, tag = CLASSES[t]
    graphic = f"DWSIM.Drawing.SkiaSharp.GraphicObjects.Shapes.{t}Graphic"
    assert d["seen"] == ["ISimulationObject", False, f"{space}.{t}", graphic, objtype, prefix, tag, True, "float"]
    assert d["calcmode"] == [t in MODES] * 2
    n, energy, outs, active = PORTS[t]
    assert d["ports"] == [["ConIn"] * n + ["ConEn"] * energy, outs, active]
    if "Stream" not in t:   # -1 takes the first free port of the right kind
        assert d["landed"] == list(range(n)) and d["outs"] == list(range(outs))
        assert d["energy"] == ([n] if energy else NOT_ALLOWED)


def test_interfaces_defaults_and_crossings(made):
    iface, has_name, name, tag, uid, keys, dirty = made["pp"]
    assert made["fs"] == ["IFlowsheet", "Flowsheet2"] and made["unknown"][0] == "NotSupportedException"
    assert (iface, has_name, name, tag, keys, uid[:3], dirty) == ("IPropertyPackage", False, *["Peng-Robinson (PR)"] * 2,
                                                                  [uid], "PP-", True)
    assert dict(zip(DEFAULTS, made["defaults"])) == DEFAULTS
    assert made["more"] == [[1.0, 0.0, 0.0], ["HeatRemoved", "OutletTemperature", "OutletVaporFraction",
                                              "TemperatureChange", "EnergyStream"], "Dictionary`2"]
    assert made["int_to_enum"][0] == made["list_rejected"][0] == "TypeError"
    assert made["mode"] == "OutletTemperature" and made["comp"] == [1.0] and made["vf"] is None
    assert made["ints"] == [4, 2, 68, 69, 36, 71, -1, 1, 0, 2]
    assert made["wrong_length"][0] == "ArgumentException"
    assert made["strings"] == [pytest.approx(298.15), pytest.approx(2e5)]
    assert made["probe"] == ["IThing", False, "Thing", "Thing", None, "TypeError", "TypeError", "Blue", 5, 2.5, 6.5]


def test_dotnet_exceptions_reach_python():
    r = call("surface_scenarios:exceptions")
    assert r["unknown_compound"][0] == r["unknown_package"][0] == "KeyNotFoundException"
    assert r["duplicate_compound"][0] == "ArgumentException"
    assert r["tags"] == ["S1", "S2", "F-09", "F-10"]
    assert r["duplicate_plain_tag"][0] == "ArgumentException" and "Feed valve" in r["duplicate_plain_tag"][1]
    assert r["rules"] == [NOT_ALLOWED] * 5 and r["port_out_of_range"][0] == "ArgumentOutOfRangeException"
    assert r["occupied"] == [CANNOT, "S1", False, NOT_ALLOWED]
    assert r["energy"] == [-1, True, CANNOT] and r["energy_attached"] == [True] * 3


def test_compounds_and_parameter_tables():
    r = call("surface_scenarios:compounds_and_tables")
    assert r["count"] == [774, 774, "Air", "Argon", "Bromine"] and r["cas"] == ["106-97-8", "106-97-8"]
    assert r["packages"] == sorted(["Raoult's Law", "NRTL", "Wilson", "UNIQUAC", "Peng-Robinson (PR)",
                                    "Soave-Redlich-Kwong (SRK)"])
    assert r["selected"] == [["Ethanol", "Water"], 0, [0.5, 0.5]]
    # nrtl.dat's records keep their ChemSep ids; of Methane/CO2's six PR records the first stands
    assert r["nrtl"] == ["1102", "1921", -57.9601, 1241.7396, 0.2937, 0.0,
                         "Dictionary[String,Dictionary[String,NRTL_IPData]]"]
    assert r["independent"] == [-57.9601, 1000.0] and r["pr"] == ["PR_IPData", 0.0793, -1, "PR_IPData", -0.0089]
