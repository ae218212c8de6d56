"""Everything the module reads back from a flowsheet, as JSON, so that two flowsheets (one
built, one loaded from a file) compare with ==. Runs in a child process on a flowsheet of
the real pythonnet; importing it needs nothing of .NET, so tests import PHASE_PROPS too.

Ports are listed in port order with both ends' indices, so a connection rebuilt on one
side only or on the wrong port shows."""
import math

PHASE_PROPS = ["temperature", "pressure", "molarflow", "massflow", "molarfraction", "massfraction", "enthalpy",
               "molecularWeight"]
UNIT_MEMBERS = {
    "Mixer": ["PressureCalculation"],
    "Splitter": ["OperationMode", "StreamFlowSpec", "Stream2FlowSpec"],
    "ComponentSeparator": ["SpecifiedStreamIndex", "EnergyImb"],
    "Heater": ["CalcMode", "OutletTemperature", "OutletVaporFraction", "DeltaQ", "DeltaP", "DeltaT", "Eficiencia"],
    "Vessel": ["OverrideT", "OverrideP", "FlashTemperature", "FlashPressure", "DeltaQ", "PressureCalculation"],
    "Pump": ["CalcMode", "Pout", "DeltaP", "DeltaQ", "DeltaT", "Eficiencia", "NPSH"],
    "Compressor": ["CalcMode", "ProcessPath", "POut", "DeltaP", "DeltaQ", "DeltaT", "PressureRatio",
                   "AdiabaticEfficiency", "PolytropicEfficiency", "OutletTemperature"],
    "Valve": ["CalcMode", "OutletPressure", "DeltaP", "DeltaQ", "DeltaT"],
    "EnergyStream": ["EnergyFlow"],
    "MaterialStream": ["SpecType", "DefinedFlow", "AtEquilibrium"],
}
UNIT_MEMBERS["Cooler"] = UNIT_MEMBERS["Heater"]


def val(v):
    """A member's value as JSON: non-finite numbers as their repr, .NET values as text."""
    if v is None or isinstance(v, (bool, str)):
        return v
    if isinstance(v, (int, float)):
        return float(v) if math.isfinite(v) else repr(float(v))
    return str(v)


def port(cp, far):
    if not cp.IsAttached:
        return None
    c = cp.AttachedConnector
    end = c.AttachedFrom if far == "from" else c.AttachedTo
    return [end.Name, c.AttachedFromConnectorIndex, c.AttachedToConnectorIndex, str(cp.Type),
            c.AttachedFromEnergy, c.AttachedToEnergy]


def pairs(table, selected):
    return sorted([k1, k2, table[k1][k2]] for k1 in table.Keys if k1 in selected
                  for k2 in table[k1].Keys if k2 in selected)


def package(p, selected):
    c = p.GetAsObject()
    entry = [p.UniqueID, c.GetType().Name, c.ComponentName, p.Tag]
    if c.GetType().Name == "NRTLPropertyPackage":
        entry.append([[a, b, [d.A12, d.A21, d.B12, d.B21, d.C12, d.C21, d.alpha12, str(d.ID1), str(d.ID2)]]
                      for a, b, d in pairs(c.m_uni.InteractionParameters, selected)])
    if hasattr(c, "m_pr"):
        entry.append([[a, b, d.kij] for a, b, d in pairs(c.m_pr.InteractionParameters, selected)])
    return entry


def simulation_object(o):
    c, g, pp = o.GetAsObject(), o.GraphicObject, o.PropertyPackage
    cls = c.GetType().Name
    d = {"id": o.Name, "class": cls, "tag": g.Tag, "xy": [g.X, g.Y], "size": [g.Width, g.Height],
         "objecttype": str(g.ObjectType), "pp": pp.UniqueID if pp is not None else None,
         "in": [port(cp, "from") for cp in g.InputConnectors], "out": [port(cp, "to") for cp in g.OutputConnectors],
         "energy": port(g.EnergyConnector, "to"), "members": {m: val(getattr(c, m)) for m in UNIT_MEMBERS.get(cls, [])}}
    if cls == "MaterialStream":
        d["state"] = [c.GetTemperature(), c.GetPressure(), c.GetMolarFlow(),
                      [val(x) for x in c.GetOverallComposition()], val(c.Phases[2].Properties.molarfraction)]
        d["phases"] = {}
        for k in c.Phases.Keys:
            ph = c.Phases[k]
            compounds = [[n, val(x.MoleFraction), val(x.MassFraction), val(x.MolarFlow), val(x.MassFlow)]
                         for n, x in ((n, ph.Compounds[n]) for n in ph.Compounds.Keys)]
            d["phases"][str(k)] = [[val(getattr(ph.Properties, n)) for n in PHASE_PROPS], compounds]
    if cls == "Splitter":
        d["ratios"] = [float(r) for r in c.Ratios]
    if cls == "ComponentSeparator":
        d["specs"] = {k: [s.ComponentID, str(s.SepSpec), s.SpecValue, s.SpecUnit]
                      for k, s in ((k, c.ComponentSepSpecs[k]) for k in c.ComponentSepSpecs.Keys)}
    return d


def snapshot(fs):
    selected = list(fs.SelectedCompounds.Keys)
    return {"compounds": [[c.Name, c.CAS_Number] for c in fs.SelectedCompounds.Values],
            "packages": [package(p, selected) for p in fs.PropertyPackages.Values],
            "objects": [simulation_object(o) for o in fs.SimulationObjects.Values]}
