"""Damaged and odd files: each either loads with the damage visible or raises an exception
that says what is wrong, and the process keeps working afterwards."""
import io
import re
import zipfile

import pytest

from conftest import run

GOOD = """
fs = a.CreateFlowsheet()
for c in ("Water", "Ethanol"):
    fs.AddCompound(c)
fs.CreateAndAddPropertyPackage("Peng-Robinson (PR)")
feed = fs.AddObject(ObjectType.MaterialStream, 0, 0, "feed")
ht = fs.AddObject(ObjectType.Heater, 50, 0, "HT-1")
out = fs.AddObject(ObjectType.MaterialStream, 100, 0, "product")
q = fs.AddObject(ObjectType.EnergyStream, 50, 50, "Q")
for s, d in ((feed, ht), (ht, out), (q, ht)):
    fs.ConnectObjects(s.GraphicObject, d.GraphicObject, -1, -1)
feed.__implementation__.SetMolarFlow(2.0)
h = ht.GetAsObject()
h.CalcMode = U.Heater.CalculationMode.OutletTemperature
h.OutletTemperature = 350.0
report(dict(ids={o.GraphicObject.Tag: o.Name for o in fs.SimulationObjects.Values}))
a.SaveFlowsheet(fs, os.path.join(%r, "good.dwxml"), True)
a.SaveFlowsheet(fs, os.path.join(%r, "good.dwxmz"), True)
"""


class Unseekable(io.RawIOBase):
    """A sink zipfile cannot seek in, so it writes sizes after the data (a data descriptor)."""
    def __init__(self):
        self.data = bytearray()

    def writable(self):
        return True

    def write(self, b):
        self.data += b
        return len(b)


def zipped(*entries, method=zipfile.ZIP_DEFLATED, streamed=False):
    buf = Unseekable() if streamed else io.BytesIO()
    with zipfile.ZipFile(buf, "w", method) as z:
        for name, data in entries:
            with z.open(name, "w") as f:
                f.write(data)
    return bytes(buf.data) if streamed else buf.getvalue()


def element_removed(xml, pattern):
    """Drops the first <GraphicObject>/<Compound>/... block whose text matches `pattern`."""
    tag = pattern[0]
    blocks = re.findall(rf"<{tag}>.*?</{tag}>\s*", xml, re.S)
    victim = next(b for b in blocks if re.search(pattern[1], b))
    return xml.replace(victim, "", 1)


def cases(xml, zip_bytes, ids):
    heater, feed, q = ids["HT-1"], ids["feed"], ids["Q"]
    raw = xml.encode("utf-8-sig")
    compound_water = re.search(r"<Compound>\s*<Type>DWSIM.Thermodynamics.BaseClasses.ConstantProperties</Type>.*?</Compound>",
                               xml, re.S).group(0)
    feed_out = re.search(rf'<Connector IsAttached="true" ConnType="ConOut" AttachedToObjID="{heater}"[^>]*/>', xml).group(0)
    return {  # file name: (bytes, expected: "load" or a fragment of the error message)
        "empty.dwxmz": (b"", "empty"),
        "truncated.dwxmz": (zip_bytes[: len(zip_bytes) // 2], "truncated"),
        "bit-flip.dwxmz": (zip_bytes[:200] + bytes([zip_bytes[200] ^ 0xFF]) + zip_bytes[201:], "damaged"),
        "two-entries.dwxmz": (zipped(("first.xml", b"<broken"), ("second.xml", raw)), "load"),
        "xml-and-db.dwxmz": (zipped(("data.xml", raw), ("files.db", b"\0" * 64)), "load"),
        "no-xml.dwxmz": (zipped(("files.db", b"\0" * 64)), "no .xml entry"),
        "stored.dwxmz": (zipped(("flowsheet.XML", raw), method=zipfile.ZIP_STORED), "load"),
        "data-descriptor.dwxmz": (zipped(("flowsheet.xml", raw), streamed=True), "load"),
        "plain-xml.dwxmz": (raw, "not a zip archive"),
        "zip-named.dwxml": (zip_bytes, "not well-formed"),
        "cut-short.dwxml": (raw[: len(raw) // 2], "not well-formed"),
        "wrong-root.dwxml": (xml.replace("DWSIM_Simulation_Data", "Flowsheet").encode(), "not a DWSIM flowsheet"),
        "no-objects.dwxml": (re.sub(r"<SimulationObjects>.*</SimulationObjects>", "", xml, flags=re.S).encode(),
                             "<SimulationObjects>"),
        "unknown-type.dwxml": (xml.replace("DWSIM.UnitOperations.UnitOperations.Heater", "DWSIM.UnitOperations.UnitOperations.Teapot").encode(), "load"),
        "bad-type-name.dwxml": (xml.replace("DWSIM.UnitOperations.UnitOperations.Heater", "Heater; drop table").encode(), "not a class name"),
        "missing-target.dwxml": (xml.replace(f'AttachedToObjID="{heater}"', 'AttachedToObjID="AQ-nowhere"').encode(), "'AQ-nowhere'"),
        "comma-number.dwxml": (xml.replace("<OutletTemperature>350</OutletTemperature>", "<OutletTemperature>1,5</OutletTemperature>").encode(),
                               "OutletTemperature = '1,5' is not a valid number"),
        "comma-position.dwxml": (re.sub(r"<X>50</X>", "<X>50,5</X>", xml, count=1).encode(), "X = '50,5'"),
        "no-position.dwxml": (re.sub(r"<Y>0</Y>", "", xml, count=1).encode(), "no <Y> position"),
        "special-numbers.dwxml": (xml.replace("<molarflow>2</molarflow>", "<molarflow>-Infinity</molarflow>", 1)
                                  .replace("<temperature>298.15</temperature>", "<temperature>NaN</temperature>", 1).encode(), "load"),
        "input-side-only.dwxml": (xml.replace(feed_out, '<Connector IsAttached="false" />').encode(), "load"),
        "unknown-mode.dwxml": (xml.replace("<CalcMode>OutletTemperature</CalcMode>", "<CalcMode>Teleport</CalcMode>").encode(), "load"),
        "twice-fed.dwxml": (xml.replace(f'AttachedToObjID="{heater}" AttachedToConnIndex="1"', f'AttachedToObjID="{heater}" AttachedToConnIndex="0"').encode(),
                            "already fed"),
        "energy-into-material-port.dwxml": (xml.replace('ConnType="ConEn"', 'ConnType="ConIn"').encode(), "ConIn port and cannot take an energy stream"),
        "duplicate-compound.dwxml": (xml.replace(compound_water, compound_water * 2, 1).encode(), "listed twice"),
        "no-graphic.dwxml": (element_removed(xml, ("GraphicObject", re.escape(f"<Name>{q}</Name>"))).encode(), "has no graphic object"),
        "stream-without-compound.dwxml": (re.sub(r"(<Phase>\s*<ID>0</ID>\s*<Compounds>)\s*<Compound>.*?</Compound>", r"\1", xml, count=1, flags=re.S).encode(),
                                          "no entry for Water"),
    }


@pytest.fixture(scope="module")
def outcomes(tmp_path_factory):
    d = tmp_path_factory.mktemp("damaged")
    ids = run(GOOD % (str(d), str(d)))["ids"]
    xml = (d / "good.dwxml").read_text(encoding="utf-8-sig")
    table = cases(xml, (d / "good.dwxmz").read_bytes(), ids)
    for name, (data, _) in table.items():
        (d / name).write_bytes(data)
    got = run(f"""
from DWSIM.FlowsheetBase.Files import FlowsheetFile
out = {{}}
for name in {sorted(table)!r}:
    try:
        fs = a.LoadFlowsheet(os.path.join({str(d)!r}, name))
    except Exception as e:
        out[name] = ["error", type(e).__name__, str(e).splitlines()[0]]
        continue
    objs = {{o.GraphicObject.Tag: o.GetAsObject() for o in fs.SimulationObjects.Values}}
    heater = objs.get("HT-1")
    feed = objs["feed"].GraphicObject
    out[name] = ["load", {{t: o.GetType().Name for t, o in objs.items()}}, list(FlowsheetFile.LoadWarnings(fs)),
                 dict(calcmode=str(getattr(heater, "CalcMode", None)), feed_to_heater=feed.OutputConnectors[0].IsAttached,
                      heater_inputs=[cp.IsAttached for cp in heater.GraphicObject.InputConnectors],
                      T=objs["feed"].Phases[0].Properties.temperature, F=objs["feed"].Phases[0].Properties.molarflow)]
# The process still loads a good file after all of the above.
out["after"] = len(a.LoadFlowsheet(os.path.join({str(d)!r}, "good.dwxmz")).SimulationObjects)
report(out)
""")
    return table, got


def test_every_damaged_file_loads_visibly_or_fails_clearly(outcomes):
    table, got = outcomes
    assert got["after"] == 4
    for name, (_, expected) in table.items():
        result = got[name]
        if expected == "load":
            assert result[0] == "load", (name, result)
        else:
            assert result[0] == "error", (name, result)
            assert result[1] == "FlowsheetFileException" and expected in result[2], (name, result)
            assert "Cannot load '" in result[2], (name, result)


def warnings_of(got, name):
    return " | ".join(got[name][2])


def test_what_loaded_damaged_files_show(outcomes):
    _, got = outcomes
    assert got["stored.dwxmz"][1] == got["data-descriptor.dwxmz"][1] == got["xml-and-db.dwxmz"][1]
    assert "2 entries" in warnings_of(got, "two-entries.dwxmz") and "second.xml" in warnings_of(got, "two-entries.dwxmz")
    assert "files.db" in warnings_of(got, "xml-and-db.dwxmz") and got["xml-and-db.dwxmz"][1]["HT-1"] == "Heater"
    teapot = got["unknown-type.dwxml"]
    assert teapot[1]["HT-1"] == "Teapot" and "Teapot is not modelled" in warnings_of(got, "unknown-type.dwxml")
    assert teapot[3]["heater_inputs"] == [True, True] and teapot[3]["feed_to_heater"]
    special = got["special-numbers.dwxml"][3]
    assert special["F"] == float("-inf") and special["T"] != special["T"]   # NaN
    dropped = got["input-side-only.dwxml"]
    assert not dropped[3]["feed_to_heater"] and dropped[3]["heater_inputs"] == [False, True]
    assert "connection was dropped" in warnings_of(got, "input-side-only.dwxml")
    mode = got["unknown-mode.dwxml"]
    assert mode[3]["calcmode"] == "HeatAdded" and "'Teleport' is not a value the stand-in knows" in warnings_of(got, "unknown-mode.dwxml")


def test_missing_file_raises_file_not_found(tmp_path):
    r = run(f"""
report(raises(lambda: a.LoadFlowsheet({str(tmp_path / "absent.dwxmz")!r})))
""")
    assert r[0] == "FileNotFoundException" and "absent.dwxmz" in r[1]
