"""Property packages of the stand-in driven through pythonnet: their parameter tables and
what the parameters do to the answers. Run in a child process by test_thermo.py."""
import glob
import os
import zipfile
import xml.etree.ElementTree as ET

from sheet import Sheet, U, doubles, dwsim, state


def _settings():
    from DWSIM.GlobalSettings import Settings
    return Settings


# ---------------------------------------------------------------------------------------------
# tables

def _nrtl_rows(table):
    return [[o.Key, i.Key, i.Value.A12, i.Value.A21, i.Value.B12, i.Value.B21, i.Value.C12, i.Value.C21, i.Value.alpha12]
            for o in table for i in o.Value]


def _kij_rows(table):
    return [[o.Key, i.Key, i.Value.kij] for o in table for i in o.Value]


def tables():
    """Every row of each package's table, and whether two instances share anything."""
    s = Sheet()
    nrtl, pr, srk = (s.fs.CreateAndAddPropertyPackage(n).GetAsObject()
                     for n in ("NRTL", "Peng-Robinson (PR)", "Soave-Redlich-Kwong (SRK)"))
    out = dict(nrtl=_nrtl_rows(nrtl.m_uni.InteractionParameters), pr=_kij_rows(pr.m_pr.InteractionParameters),
               srk=_kij_rows(srk.m_pr.InteractionParameters), nrtl_pr=_kij_rows(nrtl.m_pr.InteractionParameters))
    ew = nrtl.m_uni.InteractionParameters["Ethanol"]["Water"]
    out["ethanol_water_record"] = [str(ew.ID1), str(ew.ID2), ew.comment]
    # a second instance of each, changed in one record, must leave the first alone
    nrtl2, pr2 = (s.fs.CreateAndAddPropertyPackage(n).GetAsObject() for n in ("NRTL", "Peng-Robinson (PR)"))
    nrtl2.m_uni.InteractionParameters["Ethanol"]["Water"].A12 = 999.0
    pr2.m_pr.InteractionParameters["Methane"]["Carbon dioxide"].kij = 0.5
    nrtl2.m_uni.InteractionParameters["Ethanol"].Remove("Water")
    template = dwsim().a.AvailablePropertyPackages["NRTL"].GetAsObject()
    out["after_change"] = [nrtl.m_uni.InteractionParameters["Ethanol"]["Water"].A12,
                           pr.m_pr.InteractionParameters["Methane"]["Carbon dioxide"].kij,
                           template.m_uni.InteractionParameters["Ethanol"]["Water"].A12,
                           nrtl2.m_uni.InteractionParameters["Ethanol"].ContainsKey("Water")]
    # both-order entries are distinct records
    a = nrtl.m_uni.InteractionParameters["Acetone"]["Methanol"]
    b = nrtl.m_uni.InteractionParameters["Methanol"]["Acetone"]
    out["distinct_records"] = [a is not b, a.A12 != b.A21]
    return out


def estimation_on_stream_set(auto):
    """NRTL's table before and after a stream of Water/Ethanol/Glucose/CO2/Methane is set."""
    s = Sheet()
    pp = s.setup("NRTL", "Water", "Ethanol", "Glucose", "Carbon dioxide", "Methane").GetAsObject()
    pp.AutoEstimateMissingNRTLUNIQUACParameters = auto
    ip = pp.m_uni.InteractionParameters
    before = [ip.ContainsKey("Glucose"), len(_nrtl_rows(ip))]
    f, o = s.streams("F", "O")
    h = s.add("Heater")
    s.chain(f, h, o)
    s.feed(f, 300, 101325, 1, [0.9, 0.05, 0.05, 0, 0])
    pp.CurrentMaterialStream = f
    names = ["Water", "Ethanol", "Glucose", "Carbon dioxide", "Methane"]

    def record(a, b):
        for x, y in ((a, b), (b, a)):
            if ip.ContainsKey(x) and ip[x].ContainsKey(y):
                d = ip[x][y]
                return [x, y, d.A12, d.A21, d.alpha12, str(d.ID1)]
        return None
    pairs = {f"{a}/{b}": record(a, b) for i, a in enumerate(names) for b in names[i + 1:]}
    errors = s.solve()
    return dict(before=before, after=[ip.ContainsKey("Glucose"), len(_nrtl_rows(ip))], pairs=pairs, errors=errors)


# ---------------------------------------------------------------------------------------------
# parameters change answers

def _pvf(package, compounds, z, P, vf, set_params=None, T_guess=300.0):
    """Temperature (and phase compositions) of a heater outlet at the given vapour fraction."""
    s = Sheet()
    pp = s.setup(package, *compounds).GetAsObject()
    if set_params:
        set_params(pp)
    f, o = s.streams("F", "O")
    h = s.add("Heater")
    s.chain(f, h, o)
    s.feed(f, T_guess, P, 1, z)
    s.configure(h, CalcMode=U.Heater.CalculationMode.OutletVaporFraction, OutletVaporFraction=float(vf))
    errors = s.solve()
    m = o.__implementation__
    return dict(errors=errors, T=state(o)["T"], x=list(m.GetPhaseComposition(1)), y=list(m.GetPhaseComposition(2)))


def _set_kij(a, b, value, dirty=True):
    def apply(pp):
        pp.m_pr.InteractionParameters[a][b].kij = float(value)
        if dirty:
            pp.AreModelParametersDirty = True
    return apply


def kij_shifts_dew_point(package, pair, values):
    """Dew point of an equimolar binary at 40 bar for each value of the table's record pair[0]/pair[1]."""
    return [_pvf(package, pair, [0.5, 0.5], 40e5, 1.0, _set_kij(pair[0], pair[1], v), T_guess=250.0) for v in values]


def both_order_rows(values):
    """Bubble point of CO2/H2S with PR for several values of the two records of the pair,
    [Carbon dioxide][Hydrogen sulfide] and [Hydrogen sulfide][Carbon dioxide]."""
    out = []
    for k12, k21 in values:
        def apply(pp, k12=k12, k21=k21):
            t = pp.m_pr.InteractionParameters
            if k12 is not None:
                t["Carbon dioxide"]["Hydrogen sulfide"].kij = float(k12)
            if k21 is not None:
                t["Hydrogen sulfide"]["Carbon dioxide"].kij = float(k21)
            pp.AreModelParametersDirty = True
        out.append(_pvf("Peng-Robinson (PR)", ["Carbon dioxide", "Hydrogen sulfide"], [0.3, 0.7], 30e5, 0.0, apply,
                        T_guess=260.0))
    return out


def kij_cache():
    """A kij change after a solve is seen only once AreModelParametersDirty is set."""
    s = Sheet()
    pp = s.setup("Peng-Robinson (PR)", "Methane", "Carbon dioxide").GetAsObject()
    f, o = s.streams("F", "O")
    h = s.add("Heater")
    s.chain(f, h, o)
    s.feed(f, 250, 40e5, 1, [0.5, 0.5])
    s.configure(h, CalcMode=U.Heater.CalculationMode.OutletVaporFraction, OutletVaporFraction=1.0)
    out = dict(errors=[], T=[], dirty=[])
    record = pp.m_pr.InteractionParameters["Methane"]["Carbon dioxide"]
    for step in ("first", "changed", "flagged", "again"):
        if step == "changed":
            record.kij = 0.3
        if step == "flagged":
            pp.AreModelParametersDirty = True
        out["errors"] += s.solve()
        out["T"].append(state(o)["T"])
        out["dirty"].append(bool(pp.AreModelParametersDirty))
    return out


def nrtl_pair_changes_flash(a12, a21, alpha):
    """Ethanol/water at 1 atm and 355 K, with the table's pair or with the values given."""
    s = Sheet()
    pp = s.setup("NRTL", "Ethanol", "Water").GetAsObject()
    if a12 is not None:
        d = pp.m_uni.InteractionParameters["Ethanol"]["Water"]
        d.A12, d.A21, d.alpha12 = float(a12), float(a21), float(alpha)
    f = s.add("MaterialStream", "F")
    s.feed(f, 355, 101325, 1, [0.3, 0.7])
    errors = s.solve()
    m = f.__implementation__
    return dict(errors=errors, vf=state(f)["vf"], y=list(m.GetPhaseComposition(2)))


def missing_pair_error(auto, ignore):
    """NRTL with a pair absent from the table (Glucose/Methanol has none)."""
    s = Sheet()
    pp = s.setup("NRTL", "Methanol", "Glucose").GetAsObject()
    pp.AutoEstimateMissingNRTLUNIQUACParameters = auto
    pp.ActivityCoefficientModels_IgnoreMissingInteractionParameters = ignore
    f = s.add("MaterialStream", "F")
    s.feed(f, 300, 101325, 1, [0.5, 0.5])
    return s.solve()


def ethanol_water_azeotrope():
    """Bubble points of ethanol/water at 1 atm with DWSIM's NRTL pair; the composition where
    vapour and liquid agree, found by bisection on y - x."""
    s = Sheet()
    pp = s.setup("NRTL", "Ethanol", "Water").GetAsObject()
    ms = s.add("MaterialStream", "F").__implementation__

    def bubble(x1):
        r = pp.FlashPVF(ms.ComponentData, doubles([x1, 1 - x1]), 101325.0, 0.0, 350.0)
        return r.T, list(r.y)[0]
    curve = [[x, *bubble(x)] for x in (0.05, 0.2, 0.5, 0.8)]
    lo, hi = 0.7, 0.99
    for _ in range(40):
        mid = (lo + hi) / 2
        if bubble(mid)[1] > mid:
            lo = mid
        else:
            hi = mid
    T, y = bubble((lo + hi) / 2)
    return dict(x=(lo + hi) / 2, T=T, curve=curve)


# ---------------------------------------------------------------------------------------------
# units of DWSIM's sample files rebuilt alone

UNIT_CLASSES = ("Heater", "Cooler", "Compressor", "Valve")


def _children(el):
    return {c.tag: c.text for c in el if len(c) == 0}


def _phase(stream, pid):
    ph = next(p for p in stream.find("Phases") if p.findtext("ID") == str(pid))
    props = next((p for p in ph.findall("Properties") if len(p)), None)
    comps = next((c for c in ph.findall("Compounds") if len(c)), None)
    return ph, props, comps


def _stream_state(stream):
    _, props, comps = _phase(stream, 0)
    _, vprops, _ = _phase(stream, 2)
    vf = vprops.findtext("molarfraction") if vprops is not None else None
    return dict(T=float(props.findtext("temperature")), P=float(props.findtext("pressure")),
                F=float(props.findtext("molarflow")), vf=float(vf) if vf else 0.0,
                z={c.findtext("Name"): float(c.findtext("MoleFraction")) for c in comps})


def read_sample(path):
    """The units of the four classes in a DWSIM file, with their inlet and outlet states."""
    with zipfile.ZipFile(path) as zf:
        root = ET.fromstring(zf.read(zf.namelist()[0]))
    objs = {o.findtext("Name"): o for o in root.find("SimulationObjects")}
    graphics = {g.findtext("Name"): g for g in root.find("GraphicObjects")}
    pp = root.find("PropertyPackages/PropertyPackage")
    package = dict(name=pp.findtext("ComponentName"), kij=[], nrtl=[])
    for tag in ("InteractionParameters", "InteractionParameters_PR"):
        for ip in pp.findall(f"{tag}/InteractionParameter"):
            package["kij"].append([ip.get("Compound1"), ip.get("Compound2"), float(ip.get("Value"))])
    for ip in pp.findall("InteractionParameters_NRTL/InteractionParameter"):
        package["nrtl"].append([ip.get("Compound1"), ip.get("Compound2")] +
                               [float(ip.get(k)) for k in ("A12", "A21", "B12", "B21", "C12", "C21", "alpha12")])
    compounds = [c.findtext("Name") for c in root.find("Compounds")]
    units = []
    for name, o in objs.items():
        cls = o.findtext("Type").rsplit(".", 1)[-1]
        if cls not in UNIT_CLASSES:
            continue
        g = graphics[name]
        inlet = objs[g.find("InputConnectors")[0].get("AttachedFromObjID")]
        outlet = objs[g.find("OutputConnectors")[0].get("AttachedToObjID")]
        units.append(dict(tag=g.findtext("Tag"), cls=cls, members=_children(o), inlet=_stream_state(inlet),
                          outlet=_stream_state(outlet)))
    return dict(file=os.path.basename(path), package=package, compounds=compounds, units=units)


def _apply_file_parameters(pp, package):
    """The file's pairs over the fresh package's table, replacing a slot or adding it."""
    if package["kij"] and hasattr(pp, "m_pr"):
        from DWSIM.Thermodynamics.PropertyPackages.Auxiliary import PR_IPData
        from System.Collections.Generic import Dictionary
        t = pp.m_pr.InteractionParameters
        for a, b, v in package["kij"]:
            if not t.ContainsKey(a) and t.ContainsKey(b):
                a, b = b, a
            if not t.ContainsKey(a):
                t[a] = Dictionary[str, PR_IPData]()
            rec = PR_IPData()
            rec.Name1, rec.Name2, rec.kij = a, b, v
            t[a][b] = rec
        if hasattr(pp, "AreModelParametersDirty"):
            pp.AreModelParametersDirty = True
    if package["nrtl"]:
        from DWSIM.Thermodynamics.PropertyPackages.Auxiliary import NRTL_IPData
        from System.Collections.Generic import Dictionary
        t = pp.m_uni.InteractionParameters
        for a, b, *v in package["nrtl"]:
            if not t.ContainsKey(a):
                t[a] = Dictionary[str, NRTL_IPData]()
            rec = NRTL_IPData()
            rec.A12, rec.A21, rec.B12, rec.B21, rec.C12, rec.C21, rec.alpha12 = v
            t[a][b] = rec


def _configure(s, unit_obj, u):
    m, cls = u["members"], u["cls"]
    num = lambda k: float(m[k])
    if cls in ("Heater", "Cooler"):
        mode = getattr(getattr(U, cls).CalculationMode, m["CalcMode"])
        kw = dict(CalcMode=mode, DeltaP=num("DeltaP"), Eficiencia=num("Eficiencia"))
        kw.update({"OutletTemperature": num("OutletTemperature")} if m["CalcMode"] == "OutletTemperature" else {})
        kw.update({"OutletVaporFraction": num("OutletVaporFraction")} if m["CalcMode"] == "OutletVaporFraction" else {})
        kw.update({"DeltaQ": num("DeltaQ")} if m["CalcMode"] in ("HeatAdded", "HeatRemoved") else {})
        s.configure(unit_obj, **kw)
    elif cls == "Compressor":
        s.configure(unit_obj, CalcMode=getattr(U.Compressor.CalculationMode, m["CalcMode"]), POut=num("POut"),
                    AdiabaticEfficiency=num("AdiabaticEfficiency"),
                    ProcessPath=getattr(U.Compressor.ProcessPathType, m["ProcessPath"]))
    elif cls == "Valve":
        s.configure(unit_obj, CalcMode=getattr(U.Valve.CalculationMode, m["CalcMode"]),
                    OutletPressure=num("OutletPressure"), DeltaP=num("DeltaP"))


def rebuild_sample_units(path):
    """Each unit of the file alone in a fresh flowsheet: the file's inlet, specification and
    package; stored against calculated outlet T, vapour fraction and duty."""
    sample = read_sample(path)
    rows = []
    for u in sample["units"]:
        s = Sheet()
        pp = s.setup(sample["package"]["name"], *sample["compounds"]).GetAsObject()
        _apply_file_parameters(pp, sample["package"])
        f, o = s.streams("IN", "OUT")
        unit = s.add(u["cls"], u["tag"])
        i = u["inlet"]
        s.feed(f, i["T"], i["P"], i["F"], [i["z"][c] for c in sample["compounds"]])
        if 0 < i["vf"] < 1 and max(i["z"].values()) > 0.99999:
            # T and P do not fix a boiling pure compound's state: a heater brings the feed
            # to the stored vapour fraction first.
            pre, mid = s.add("Heater", "PRE-1"), s.add("MaterialStream", "MID")
            s.configure(pre, CalcMode=U.Heater.CalculationMode.OutletVaporFraction, OutletVaporFraction=i["vf"])
            s.chain(f, pre, mid)
            f = mid
        s.chain(f, unit, o)
        _configure(s, unit, u)
        errors = s.solve()
        st = state(o)
        duty = None if u["cls"] == "Valve" else unit.GetAsObject().DeltaQ
        stored_duty = None if u["cls"] == "Valve" else float(u["members"]["DeltaQ"])
        rows.append(dict(file=sample["file"], unit=u["tag"], cls=u["cls"], errors=errors,
                         stored=[u["outlet"]["T"], u["outlet"]["vf"], stored_duty],
                         standin=[st["T"], st["vf"] or 0.0, duty]))
    return rows


def sample_files(shared):
    return sorted(glob.glob(os.path.join(shared, "dwsim", "samples", "*.dwxmz")))


# ---------------------------------------------------------------------------------------------
# states handed on between units

def compressor_after_drum(package, T):
    """A drum's vapour compressed, against a feed of that vapour's state compressed alike."""
    s = Sheet()
    s.setup(package, "Water", "Methanol", "Ethanol")
    f, vap, liq, out1, feed2, out2 = s.streams("F", "VAP", "LIQ", "OUT1", "F2", "OUT2")
    d, k1, k2 = s.add("Vessel"), s.add("Compressor"), s.add("Compressor")
    s.chain(f, d, vap, k1, out1)
    s.connect(d, liq)
    s.feed(f, T, 1.0e5, 10, [0.5, 0.3, 0.2])
    s.configure(k1, POut=4e5)
    s.solve()
    v = state(vap)
    s.feed(feed2, v["T"], v["P"], v["F"], v["z"])
    s.chain(feed2, k2, out2)
    s.configure(k2, POut=4e5)
    errors = s.solve()
    return dict(errors=errors, vap=v, drum=[state(out1)["T"], k1.GetAsObject().DeltaQ],
                feed=[state(out2)["T"], k2.GetAsObject().DeltaQ])


def cas_twins():
    """Constants and a bubble point of CoolProp names against their ChemSep twins."""
    ac = dwsim().a.AvailableCompounds
    pairs = [("Propane", "n-Propane"), ("Carbon dioxide", "CarbonDioxide"), ("N-butane", "n-Butane")]
    out = dict(constants=[[[getattr(ac[n], k) for k in ("Critical_Temperature", "Critical_Pressure", "Acentric_Factor",
                                                       "Molar_Weight")] + [ac[n].Name, ac[n].CAS_Number] for n in p]
                          for p in pairs])
    out["bubble"] = [_pvf("Peng-Robinson (PR)", [n], [1.0], 5e5, 0.0)["T"] for n in pairs[0]]
    return out


def load_overlays(folder):
    """Pairs saved with a flowsheet laid over the fresh tables of the loaded packages."""
    from System.Collections.Generic import Dictionary
    from DWSIM.Thermodynamics.PropertyPackages.Auxiliary import PR_IPData
    s = Sheet()
    for c in ("Water", "Glucose", "Ethanol"):
        s.fs.AddCompound(c)
    pps = {n: s.fs.CreateAndAddPropertyPackage(n).GetAsObject() for n in ("Peng-Robinson (PR)", "Soave-Redlich-Kwong (SRK)", "NRTL")}
    for n in ("Peng-Robinson (PR)", "Soave-Redlich-Kwong (SRK)"):
        t = pps[n].m_pr.InteractionParameters
        t["Glucose"] = Dictionary[str, PR_IPData]()
        rec = PR_IPData()
        rec.kij = 0.3
        t["Glucose"]["Water"] = rec
    pps["NRTL"].m_uni.InteractionParameters["Ethanol"]["Water"].A12 = 123.0
    path = os.path.join(folder, "overlay.dwxmz")
    dwsim().a.SaveFlowsheet(s.fs, path, True)
    loaded = dwsim().a.LoadFlowsheet(path)
    got = {p.GetAsObject().ComponentName: p.GetAsObject() for p in loaded.PropertyPackages.Values}
    out = {}
    for n in ("Peng-Robinson (PR)", "Soave-Redlich-Kwong (SRK)"):
        t = got[n].m_pr.InteractionParameters
        out[n] = [t.ContainsKey("Glucose"), t["Water"].ContainsKey("Glucose") and t["Water"]["Glucose"].kij,
                  t.ContainsKey("Glucose") and t["Glucose"]["Water"].kij, len(_kij_rows(t))]
    ip = got["NRTL"].m_uni.InteractionParameters
    out["NRTL"] = [ip["Ethanol"]["Water"].A12, ip["Ethanol"]["Water"].A21, len(_nrtl_rows(ip))]
    return out
