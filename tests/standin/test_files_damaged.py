"""Damaged and odd files: each either loads with the damage visible or raises an exception
that says what is wrong, and the process keeps working afterwards."""
import io
import re
import zipfile

import pytest

from child import call

class Unseekable(io.BytesIO):
    """A sink zipfile cannot seek in, so it writes sizes after the data (a data descriptor)."""
    def seek(self, *args):
        raise OSError("not seekable")


def zipped(*entries, method=zipfile.ZIP_DEFLATED, streamed=False):
    buf = Unseekable() if streamed else io.BytesIO()
    with zipfile.ZipFile(buf, "w", method) as z:
        for name, data in entries:
            with z.open(name, "w") as f:
                f.write(data)
    return buf.getvalue()


def cases(xml, zip_bytes, ids):
    heater = ids["HT-1"]
    raw = xml.encode("utf-8-sig")
    compound_water = re.search(r"<Compound>\s*<Type>DWSIM.Thermodynamics.BaseClasses.ConstantProperties</Type>.*?</Compound>",
                               xml, re.S).group(0)
    graphic_q = next(b for b in re.findall(r"<GraphicObject>.*?</GraphicObject>\s*", xml, re.S) if f"<Name>{ids['Q']}</Name>" in b)
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
        "no-graphic.dwxml": (xml.replace(graphic_q, "", 1).encode(), "has no graphic object"),
        "stream-without-compound.dwxml": (re.sub(r"(<Phase>\s*<ID>0</ID>\s*<Compounds>)\s*<Compound>.*?</Compound>", r"\1", xml, count=1, flags=re.S).encode(),
                                          "no entry for Water"),
        "absent.dwxmz": (None, "absent.dwxmz"),
    }


@pytest.fixture(scope="module")
def outcomes(tmp_path_factory):
    d = tmp_path_factory.mktemp("damaged")
    ids = call("file_scenarios:write_good", str(d))
    xml = (d / "good.dwxml").read_text(encoding="utf-8-sig")
    table = cases(xml, (d / "good.dwxmz").read_bytes(), ids)
    for name, (data, _) in table.items():
        if data is not None:
            (d / name).write_bytes(data)
    got = call("file_scenarios:load_each", str(d), sorted(table))
    return table, got


def test_every_damaged_file_loads_visibly_or_fails_clearly(outcomes):
    table, got = outcomes
    assert got["after"] == 4
    for name, (data, expected) in table.items():
        result = got[name]
        if expected == "load":
            assert result[0] == "load", (name, result)
        else:
            kind, prefix = ("FileNotFoundException", "") if data is None else ("FlowsheetFileException", "Cannot load '")
            assert result[:2] == ["error", kind] and expected in result[2] and prefix in result[2], (name, result)


def test_what_loaded_damaged_files_show(outcomes):
    got = outcomes[1]
    assert got["stored.dwxmz"][1] == got["data-descriptor.dwxmz"][1] == got["xml-and-db.dwxmz"][1]
    assert "2 entries" in got["two-entries.dwxmz"][2] and "second.xml" in got["two-entries.dwxmz"][2]
    assert "files.db" in got["xml-and-db.dwxmz"][2] and got["xml-and-db.dwxmz"][1]["HT-1"] == "Heater"
    teapot = got["unknown-type.dwxml"]
    assert teapot[1]["HT-1"] == "Teapot" and "Teapot is not modelled" in teapot[2]
    assert teapot[3]["heater_inputs"] == [True, True] and teapot[3]["feed_to_heater"]
    special = got["special-numbers.dwxml"][3]
    assert special["F"] == float("-inf") and special["T"] != special["T"]   # NaN
    _, _, warnings, dropped = got["input-side-only.dwxml"]
    assert not dropped["feed_to_heater"] and dropped["heater_inputs"] == [False, True]
    assert "connection was dropped" in warnings
    _, _, warnings, mode = got["unknown-mode.dwxml"]
    assert mode["calcmode"] == "HeatAdded" and "'Teleport' is not a value the stand-in knows" in warnings
