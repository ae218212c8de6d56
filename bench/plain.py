"""The host-side work of kelvane.flowgate written as plain Python, for
bench/against_python.py: the same rules, the same order of reads and writes,
the same results, in the way a Python developer would write them.

- pressures(fs): stream pressures by repeated sweeps;
- compound_names(fs, sim): component -> DWSIM name, the CAS index cached per process;
- set_parameters(pp_dw, pp, names, method, log): NRTL records and cubic kij;
- import_model(path, a): a DWSIM file (whatever a.LoadFlowsheet gives) as a model;
- solve_dwsim(fs, a, m, build, flash, log): build, solve, and the result assembly.

Nothing here imports the module; the tables it publishes are restated below.
"""
import os

import numpy as np

R_CAL = 1.98721  # cal/(mol K)
METHODS = {"IDEAL": "Raoult's Law", "NRTL": "NRTL", "WILSON": "Wilson", "UNIQUAC": "UNIQUAC",
           "PENG-ROB": "Peng-Robinson (PR)", "RK-SOAVE": "Soave-Redlich-Kwong (SRK)"}
BACK = {v: k for k, v in METHODS.items()}


# ---- pressures ----------------------------------------------------------------------------

def pressures(fs):
    P = {name: feed.P for name, feed in fs.feeds.items()}
    for _ in range(3 * (len(fs.blocks) + 1)):
        if not _sweep(fs, P):
            break
    return P


def _sweep(fs, P):
    changed = False
    blocks = fs.blocks
    for name, (ins, outs) in fs.ports.items():
        pin = [P[s] for s in ins if s in P]
        if not pin:
            continue
        block = blocks[name]
        sp = block.spec
        p0 = min(pin)
        if sp.get("P") is not None and block.kind != "RADFRAC":
            p = float(sp["P"])
        elif sp.get("ratio") is not None:
            p = p0 * float(sp["ratio"])
        else:
            p = p0 - float(sp.get("dP") or 0.0)
        for s in outs:
            if s and abs(P.get(s, -1.0) - p) > 1e-9:
                P[s] = p
                changed = True
    return changed


# ---- compound names -----------------------------------------------------------------------

STATE = {}   # "cas": the CAS index of the process; "names": its names by lower case


def compounds(sim):
    if "cas" not in STATE:
        db = sim.AvailableCompounds
        cas, names = {}, {}
        for key in db.Keys:
            name = str(key)
            number = str(db[key].CAS_Number).strip()
            if number and number not in cas:
                cas[number] = name
            names.setdefault(name.lower(), name)
        STATE["cas"], STATE["names"] = cas, names
    return STATE["cas"]


def compound_names(fs, sim):
    from kelvane.components import databank_index
    cas = compounds(sim)
    names = STATE["names"]
    entries = {entry["alias"]: entry for entry in databank_index()}
    aliases = fs.meta.get("aliases") or {}
    result, missing = {}, []
    for c in fs.pp.components:
        alias = aliases.get(c, c)
        entry = entries.get(alias)
        number = entry.get("cas", "") if entry else ""
        found = cas.get(number) if number else None
        if not found:
            name = (entry.get("name") if entry else None) or c
            found = names.get(name.lower())
        if found is None:
            missing.append(f"{c} ({alias})")
        result[c] = found
    if missing:
        raise ValueError("DWSIM has no compound for " + ", ".join(missing))
    return result


# ---- binary parameters --------------------------------------------------------------------

NRTL_WARNINGS = ("DWSIM NRTL %s-%s: the D, E elements (alpha(T), ln T) are left out",
                 "DWSIM NRTL %s-%s: no parameters (DWSIM has none to start from)")
KIJ_WARNINGS = ("DWSIM kij %s-%s: the temperature terms are left out", "DWSIM kij %s-%s: not set (DWSIM has no entry)")


def set_parameters(pp_dw, pp, names, method, log):
    comps = list(pp.components)
    notes = []
    if method == "NRTL":
        _set_nrtl(pp_dw.m_uni.InteractionParameters, pp, names, comps, notes, log)
    elif method in ("PENG-ROB", "RK-SOAVE"):
        if _set_kij(pp_dw.m_pr.InteractionParameters, pp, names, comps, notes, log):
            pp_dw.AreModelParametersDirty = True
    elif method in ("WILSON", "UNIQUAC"):
        notes.append(f"property method {method}: Kelvane's binary parameters are not transferred "
                     "(DWSIM uses its own)")
    return notes


def _report(notes, log, message, ci, cj):
    log.warning(message, ci, cj)
    notes.append(message % (ci, cj))


def _first_record(ip):
    for k in ip.Keys:
        inner = ip[k]
        for k2 in inner.Keys:
            return inner[k2]
    return None


def _holds(ip, x, y):
    return ip.ContainsKey(x) and ip[x].ContainsKey(y)


def _add_record(ip, first, second, record):
    if not ip.ContainsKey(first):
        some_key = next(iter(ip.Keys))
        ip.Add(first, type(ip[some_key])())
    ip[first].Add(second, record)


def _write_nrtl(record, first, second, A, B, C, F, p, q):
    record.ID1 = first
    record.ID2 = second
    record.A12 = float(B[p, q] * R_CAL)
    record.A21 = float(B[q, p] * R_CAL)
    record.B12 = float(A[p, q] * R_CAL)
    record.B21 = float(A[q, p] * R_CAL)
    record.C12 = float(F[p, q] * R_CAL)
    record.C21 = float(F[q, p] * R_CAL)
    record.alpha12 = float(C[p, q])


def _set_nrtl(ip, pp, names, comps, notes, log):
    model = _first_record(ip)
    n = len(comps)
    for i in range(n):
        for j in range(i + 1, n):
            ci, cj = comps[i], comps[j]
            a, b = names[ci], names[cj]
            A, B, C, D, E, F = (pp.nrtl[k] for k in range(6))
            if not any(abs(x) > 0 for x in (A[i, j], B[i, j], A[j, i], B[j, i], F[i, j], F[j, i])):
                continue
            if any(abs(x) > 1e-12 for x in (D[i, j], E[i, j], E[j, i])):
                _report(notes, log, NRTL_WARNINGS[0], ci, cj)
            reverse = _holds(ip, b, a)
            forward = _holds(ip, a, b)
            if not forward and not reverse:
                if model is None:
                    _report(notes, log, NRTL_WARNINGS[1], ci, cj)
                    continue
                _add_record(ip, a, b, model.Clone())
                forward = True
            if forward:
                _write_nrtl(ip[a][b], a, b, A, B, C, F, i, j)
            if reverse:
                _write_nrtl(ip[b][a], b, a, A, B, C, F, j, i)


def _set_kij(ip, pp, names, comps, notes, log):
    model = _first_record(ip)
    changed = False
    n = len(comps)
    for i in range(n):
        for j in range(i + 1, n):
            ci, cj = comps[i], comps[j]
            kij = pp.kij
            if not np.any(kij[:, i, j]):
                continue
            a, b = names[ci], names[cj]
            if kij.shape[0] > 1 and np.any(kij[1:, i, j]):
                _report(notes, log, KIJ_WARNINGS[0], ci, cj)
            value = float(kij[0, i, j])
            written = False
            for x, y in ((a, b), (b, a)):
                if _holds(ip, x, y):
                    ip[x][y].kij = value
                    written = True
            if written:
                changed = True
                continue
            if model is None:
                _report(notes, log, KIJ_WARNINGS[1], ci, cj)
                continue
            record = type(model)()
            record.Name1, record.Name2 = a, b
            record.kij = value
            _add_record(ip, a, b, record)
            changed = True
    return changed


# ---- block kinds: what import and solve need of them --------------------------------------

KW = 1000.0
PERCENT = 100.0

# kind: (DWSIM class, another class read as it, whether its result is a power)
KINDS = {"MIXER": ("Mixer", None, False), "FSPLIT": ("Splitter", None, False),
         "SEP": ("ComponentSeparator", None, False), "HEATER": ("Heater", "Cooler", False),
         "FLASH2": ("Vessel", None, False), "PUMP": ("Pump", None, True), "COMPR": ("Compressor", None, True),
         "VALVE": ("Valve", None, False)}
KIND_OF_CLASS = {}
for _kind, (_cls, _also, _) in KINDS.items():
    KIND_OF_CLASS[_cls] = _kind
    if _also:
        KIND_OF_CLASS[_also] = _kind


class Unit:
    """A DWSIM unit read back as a host block."""
    __slots__ = ("o", "objs", "ins", "outs", "tag", "names", "notes")

    def __init__(self, o, objs, ins, outs, tag, names, notes):
        self.o, self.objs, self.ins, self.outs, self.tag, self.names, self.notes = o, objs, ins, outs, tag, names, notes

    def note(self, fmt, *more):
        self.notes.append(fmt % (self.tag, *more))

    def flows_of(self, tag):
        stream = self.objs.get(tag)
        if stream is None:
            return None
        total = float(stream.GetMolarFlow())
        return [total * float(x) for x in stream.GetOverallComposition()]


def or_zero(value):
    return float(value) if value else 0.0


def mode_name(o):
    return str(getattr(o, "CalcMode", ""))


def read_heater(u):
    o = u.o
    mode = mode_name(o)
    spec = {"dP": or_zero(getattr(o, "DeltaP", None))}
    if mode in ("OutletTemperature", "OutletVaporFraction"):
        member = mode
    elif mode in ("", "HeatAdded", "HeatRemoved", "HeatAddedRemoved"):
        member = "DeltaQ"
    else:
        u.note("%s: mode %s has no Kelvane equivalent; the duty DWSIM calculated is taken", mode)
        member = "DeltaQ"
    value = getattr(o, member)
    if member == "OutletTemperature":
        spec["T"] = float(value)
    elif member == "OutletVaporFraction":
        spec["vfrac"] = float(value)
    else:
        spec["duty"] = or_zero(value) * KW
    return spec


def read_vessel(u):
    o = u.o
    spec = {"dP": or_zero(getattr(o, "DeltaP", None))}
    if getattr(o, "OverrideT", False):
        spec["T"] = float(o.FlashTemperature)
    else:
        spec["duty"] = 0.0
    if getattr(o, "OverrideP", False):
        spec["P"] = float(o.FlashPressure)
        spec.pop("dP")
    return spec


# class: member of the outlet pressure, of the efficiency, the modes by difference and by ratio
PRESSURE_UNITS = {"PUMP": ("Pout", "Efficiency", "Delta_P", None),
                  "COMPR": ("POut", "AdiabaticEfficiency", "Delta_P", "PressureRatio"),
                  "VALVE": ("OutletPressure", None, "DeltaP", None)}


def read_pressure_unit(u, kind):
    outlet, efficiency, by_difference, by_ratio = PRESSURE_UNITS[kind]
    rise = 1.0 if kind == "VALVE" else -1.0
    o = u.o
    mode = mode_name(o)
    spec = {}
    if mode == "OutletPressure":
        spec["P"] = float(getattr(o, outlet))
    elif mode == by_difference:
        spec["dP"] = rise * or_zero(o.DeltaP)
    elif by_ratio is not None and mode == by_ratio:
        spec["ratio"] = float(o.PressureRatio)
    else:
        u.note("%s: mode %s has no Kelvane equivalent; the outlet pressure DWSIM calculated is taken", mode)
        out = u.objs.get(u.outs[0]) if u.outs else None
        spec["P"] = float(getattr(o, outlet) if out is None else out.GetPressure())
    if efficiency is not None:
        spec["efficiency"] = float(getattr(o, efficiency)) / PERCENT
    return spec


def read_splitter(u):
    mode = getattr(u.o, "OperationMode", None)
    if mode is None or str(mode) == "SplitRatios":
        ratios = [float(r) for r in u.o.Ratios]
    else:
        u.note("%s: mode %s has no Kelvane equivalent; the ratios DWSIM calculated are taken", "fixed outlet flows")
        ratios = []
        inlet = u.flows_of(u.ins[0]) if u.ins else None
        if inlet is not None:
            total = sum(inlet)
            for tag in u.outs:
                out = u.flows_of(tag)
                flow = sum(out) if out is not None else 0.0
                ratios.append(flow / total if total != 0.0 else 0.0)
    kept = min(max(len(u.outs), 1), len(ratios))
    frac = ratios[:kept - 1] if kept > 1 else []
    if kept < 2:
        frac.append(1.0)
    return {"frac": frac}


def read_separator(u):
    o = u.o
    outlet_zero = not getattr(o, "SpecifiedStreamIndex", 0)
    inlet = outlet = None
    if u.ins and u.outs:
        inlet = u.flows_of(u.ins[0])
        outlet = u.flows_of(u.outs[0]) if inlet is not None else None
    stored = inlet is not None and outlet is not None
    split, by_flow = {}, False
    specs = o.ComponentSepSpecs
    for own, key in enumerate(specs.Keys):
        entry = specs[key]
        kind = getattr(entry, "SepSpec", None)
        percent = kind is None or str(kind) in ("PercentInletMolarFlow", "PercentInletMassFlow")
        compound = getattr(entry, "ComponentID", key)
        value = entry.SpecValue if percent else None
        if not u.names:
            i = own
        else:
            i = next((k for k, name in enumerate(u.names) if name == compound), -1)
        if i < 0:
            continue
        f = 0.0
        if value is not None:
            f = float(value) / PERCENT
            if not outlet_zero:
                f = 1.0 - f
        else:
            by_flow = True
            if stored and i < len(inlet) and i < len(outlet) and inlet[i] != 0.0:
                f = outlet[i] / inlet[i]
        split[i] = f
    if by_flow:
        u.note("%s: a flow specification is read as the share of the inlet it gave")
    return {"split": {0: split}}


READBACK = {"MIXER": lambda u: {}, "FSPLIT": read_splitter, "SEP": read_separator, "HEATER": read_heater,
            "FLASH2": read_vessel, "PUMP": lambda u: read_pressure_unit(u, "PUMP"),
            "COMPR": lambda u: read_pressure_unit(u, "COMPR"), "VALVE": lambda u: read_pressure_unit(u, "VALVE")}


# ---- import -------------------------------------------------------------------------------

def identifier(name, known):
    kept = "".join(ch for ch in str(name).upper() if ch.isalnum())[:8]
    return kept or f"C{known + 1}"


def connections(graphic, inlet):
    """(drawing object, tag) at the other end of each attached point of one side."""
    found = []
    for point in graphic.InputConnectors if inlet else graphic.OutputConnectors:
        if not point.IsAttached:
            continue
        connector = point.AttachedConnector
        if connector is None:
            continue
        other = connector.AttachedFrom if inlet else connector.AttachedTo
        found.append((other, str(other.Tag)))
    return found


def stream_tags(graphic, inlet, classes):
    return [tag for _, tag in connections(graphic, inlet) if classes.get(tag) == "MaterialStream"]


def feed_state(o, order):
    x = [float(v) for v in o.GetOverallComposition()]
    total = float(o.GetMolarFlow()) / 1000.0
    flows = {order[i]: total * x[i] for i in range(min(len(order), len(x)))}
    return {"T": float(o.GetTemperature()), "P": float(o.GetPressure()), "flows": flows}


def import_model(path, a):
    from kelvane.components import databank_index
    path = os.fspath(path)
    sim = a.LoadFlowsheet(path)
    by_cas = {}
    for entry in databank_index():
        if entry.get("cas"):
            by_cas[entry["cas"]] = entry["alias"]
    notes = []

    selected = sim.SelectedCompounds
    comps = {}
    for name in selected.Keys:
        cas = selected[name].CAS_Number
        alias = by_cas.get(str(cas).strip())
        ident = identifier(name, len(comps))
        if alias is None:
            notes.append(f"{name} (CAS {cas}): not in the databanks; add it as a nondatabank component")
            alias = ""
        comps[str(name)] = (ident, alias)

    packages = [p.__implementation__ for p in sim.PropertyPackages.Values]
    dw = str(packages[0].ComponentName) if packages else "NRTL"
    if dw in BACK:
        method = BACK[dw]
    else:
        notes.append(f"property package {dw}: NRTL in Kelvane")
        method = "NRTL"

    keys = selected.Keys
    order = [comps[str(name)][0] for name in keys]
    names = [str(name) for name in keys]

    # The objects by tag: a later one replaces an earlier one in its place.
    objects, index, count = [], {}, {}
    for v in sim.SimulationObjects.Values:
        graphic, o = v.GraphicObject, v.__implementation__
        tag = str(graphic.Tag)
        entry = (graphic, o, str(o.GetType().Name))
        if tag in index:
            objects[index[tag]] = (tag, entry)
            count[tag] += 1
        else:
            index[tag] = len(objects)
            count[tag] = 1
            objects.append((tag, entry))
    for tag, k in count.items():
        if k > 1:
            notes.append(f"{k} objects are tagged {tag!r}; the last of them is read")
    objs = {tag: o for tag, (_, o, _) in objects}
    classes = {tag: cls for tag, (_, _, cls) in objects}
    aliases = {ident: alias for ident, alias in comps.values()}

    feeds, blocks, layout, recycles, others = {}, {}, {}, [], []
    for tag, (graphic, o, cls) in objects:
        if cls == "MaterialStream":
            source = connections(graphic, True)
            if source:
                up = classes.get(source[0][1])
                is_feed = up is not None and up not in KIND_OF_CLASS and up not in (
                    "Recycle", "MaterialStream", "EnergyStream")
            else:
                is_feed = True
            if is_feed:
                feeds[tag] = feed_state(o, order)
        elif cls in KIND_OF_CLASS:
            kind = KIND_OF_CLASS[cls]
            ins, outs = stream_tags(graphic, True, classes), stream_tags(graphic, False, classes)
            spec = READBACK[kind](Unit(o, objs, ins, outs, tag, names, notes))
            if cls == KINDS[kind][1] and "duty" in spec:   # a cooler's duty is the heat it removes
                spec["duty"] = -spec["duty"]
            blocks[tag] = {"kind": kind, "in": ins, "out": outs, **spec}
            layout[tag] = [float(graphic.X), float(graphic.Y)]
        elif cls == "Recycle":
            recycles.append((tag, stream_tags(graphic, True, classes), stream_tags(graphic, False, classes)))
        elif cls not in ("EnergyStream", "EnergyRecycle"):
            others.append((tag, cls, stream_tags(graphic, False, classes), len(notes)))
            notes.append(None)

    taken = {s for b in blocks.values() for s in b["in"]}
    for tag, cls, outlets, place in others:
        fed, empty = [], []
        for s in outlets:
            if s not in feeds:
                continue
            if all(float(f) == 0.0 for f in feeds[s]["flows"].values()) and s not in taken:
                feeds.pop(s)
                empty.append(s)
            else:
                fed.append(s)
        note = f"{tag} ({cls}): no Kelvane block"
        if fed:
            note += "; feeds with the state DWSIM stored: " + ", ".join(fed)
        if empty:
            note += "; left out, without flow: " + ", ".join(empty)
        notes[place] = note

    _fold(blocks, layout, feeds, recycles, lambda tag: feed_state(objs[tag], order), notes)
    model = {"name": os.path.splitext(os.path.basename(path))[0].upper(),
             "property": {"method": method, "components": aliases},
             "feeds": feeds, "blocks": blocks, "layout": {"blocks": layout}}
    return model, notes


def _producer_of(blocks, stream):
    for tag, b in blocks.items():
        if stream in b["out"]:
            return tag
    return None


def _sole_consumer_of(blocks, stream):
    for tag, b in blocks.items():
        ins = b["in"]
        if len(ins) == 1 and ins[0] == stream:
            return tag
    return None


def _helper_of(tag, owner):
    return str(tag).startswith(str(owner) + "-")


def _drop(blocks, layout, tag):
    blocks.pop(tag)
    layout.pop(tag, None)


def _fed(blocks, feeds, recycled, stream):
    seen, todo = set(), [stream]
    while todo:
        s = todo.pop()
        if s in seen:
            continue
        seen.add(s)
        if s in feeds:
            return True
        p = _producer_of(blocks, s)
        if p is not None:
            todo.extend(blocks[p]["in"])
        elif s in recycled:
            todo.append(recycled[s])
    return False


def _fold_mixer(blocks, layout, tag):
    ins = blocks[tag]["in"]
    for p in range(len(ins)):
        y = _producer_of(blocks, ins[p])
        if y is None or y == tag or blocks[y]["kind"] != "MIXER" or not _helper_of(y, tag):
            continue
        if len(blocks[y]["out"]) != 1:
            continue
        blocks[tag]["in"] = ins[:p] + list(blocks[y]["in"]) + ins[p + 1:]
        _drop(blocks, layout, y)
        return True
    return False


def _fold_splitter(blocks, layout, tag):
    entry = blocks[tag]
    outs = entry["out"]
    if not outs:
        return False
    y = _sole_consumer_of(blocks, outs[-1])
    if y is None or y == tag or blocks[y]["kind"] != "FSPLIT" or not _helper_of(y, tag):
        return False
    frac = list(entry.get("frac", []))
    rest = 1.0
    for f in frac:
        rest -= float(f)
    frac += [rest * float(f) for f in blocks[y].get("frac", [])]
    entry["out"] = outs[:-1] + list(blocks[y]["out"])
    entry["frac"] = frac
    _drop(blocks, layout, y)
    return True


def _fold(blocks, layout, feeds, recycles, state_of, notes):
    # The stream into a Recycle and the one out of it become one, named as the one that
    # leaves; a loop no feed reaches is opened there, with the state DWSIM stored.
    recycled = {outs[0]: ins[0] for _, ins, outs in recycles if len(ins) == 1 and len(outs) == 1}
    for tag, _, outs in recycles:
        for out in outs:
            entering = recycled.get(out)
            producer = _producer_of(blocks, entering) if entering is not None else None
            if producer is not None and _fed(blocks, feeds, recycled, entering):
                pouts = blocks[producer]["out"]
                pouts[pouts.index(entering)] = out
                recycled.pop(out)
                continue
            if out in feeds:
                continue
            feeds[out] = state_of(out)
            if producer is not None:
                notes.append(f"{tag}: no feed reaches its loop; {out} becomes one, with the state DWSIM stored")
    for kind, step in (("MIXER", _fold_mixer), ("FSPLIT", _fold_splitter)):
        changed = True
        while changed:
            changed = False
            for tag in list(blocks):
                if tag in blocks and blocks[tag]["kind"] == kind and step(blocks, layout, tag):
                    changed = True
    # A FLASH2 written as heater "<name>-H", stream and vessel is one block again.
    for name, b in list(blocks.items()):
        heater_name = str(name) + "-H"
        h = blocks.get(heater_name)
        if b["kind"] != "FLASH2" or h is None or h["kind"] != "HEATER" or h["out"] != b["in"]:
            continue
        pv = b.get("P")
        merged = {"kind": "FLASH2", "in": h["in"], "out": b["out"]}
        merged.update((k, v) for k, v in h.items() if k not in ("kind", "in", "out"))
        if pv is not None:
            merged["P"] = pv
            merged.pop("dP", None)
        ins = merged["in"]
        m = _producer_of(blocks, ins[0]) if len(ins) == 1 else None
        if m is not None and blocks[m]["kind"] == "MIXER" and _helper_of(m, name) and len(blocks[m]["out"]) == 1:
            merged["in"] = blocks[m]["in"]
            _drop(blocks, layout, m)
        blocks[name] = merged
        _drop(blocks, layout, heater_name)


# ---- solve: the results -------------------------------------------------------------------

def solve_dwsim(fs, a, m, build, flash, log):
    """`build(fs, a, m)` gives (sim, {name: DWSIM object}, notes): the module's own build
    in the benchmark, so that only the assembly differs."""
    sim, obj, notes = build(fs, a, m)
    result = a.CalculateFlowsheet4(sim)
    errors = [str(e.Message) for e in result] if result else []
    comps = list(fs.pp.components)
    streams, blocks = {}, {}
    results = {"streams": streams, "blocks": blocks, "errors": errors, "notes": notes}
    names = {s for ins, outs in fs.ports.values() for side in (ins, outs) for s in side if s}
    for n in sorted(names):
        o = obj.get(n)
        if o is not None:
            _read_stream(fs, flash, comps, n, o, streams, errors)
    for name, b in fs.blocks.items():
        o = obj.get(name + "-H")
        if o is None:
            o = obj.get(name)
        if o is None:
            continue
        q = getattr(o, "DeltaQ", None)
        if q is None:
            continue
        power = b.kind in KINDS and KINDS[b.kind][2]
        blocks[name.upper()] = {"power" if power else "duty": float(q) * 1000.0}
    # Results are keyed by upper-cased names: names that differ only in case share a key.
    for what, group in (("streams", sorted(names)), ("blocks", fs.blocks.keys()), ("components", comps)):
        by_key = {}
        for n in group:
            by_key.setdefault(n.upper(), []).append(repr(n))
        notes.extend(f"{what} {' and '.join(same)} share the result key {key}: only one of them is reported"
                     for key, same in by_key.items() if len(same) > 1)
    for e in errors:
        log.error("DWSIM: %s", e)
    for e in notes:
        log.warning("DWSIM: %s", e)
    return results


def _read_stream(fs, flash, comps, n, o, streams, errors):
    try:
        F = float(o.GetMolarFlow()) / 1000.0
        T = float(o.GetTemperature())
        P = float(o.GetPressure())
        x = [float(v) for v in o.GetOverallComposition()]
    except Exception as e:
        errors.append(f"{n}: {e}")
        return
    vf = o.Phases[2].Properties.molarfraction
    H = None
    if F > 0.0:
        try:
            H = flash(fs.pp, np.array(x), P, T=T)["H"]
        except Exception:
            H = None
    streams[n.upper()] = {"T": T, "P": P, "F": F, "x": {comps[i].upper(): x[i] for i in range(min(len(comps), len(x)))},
                          "VFRAC": 0.0 if vf is None else float(vf), "H": H}
