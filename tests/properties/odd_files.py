"""Damaged DWSIM files for the property tests: how they are drawn, made and judged.

A case is a JSON description: the index of a good file to start from and the damage done
to it, step by step, in the order given:

    ["drop", which]               an XML element removed
    ["dup", which, times]         an XML element repeated after itself
    ["retype", which, text]       the text of an element replaced (a wrong type of value)
    ["attr", which, text]         the value of an attribute replaced (connector indices...)
    ["nest", depth]               the root's content wrapped in `depth` elements
    ["utf16"]                     the XML written as UTF-16
    ["rename", name]              the XML entry renamed
    ["entries", count, what]      zip entries added: "small", "copy" (the XML again),
                                  "deep" (XML nested past the limit), "big" (an XML entry
                                  that unpacks to more than the limit)
    ["stored"]                    the zip written without compression
    ["size", header, value]       the XML entry's unpacked size forged in the "local" or
                                  "central" header
    ["plain"]                     written as a .dwxml (no zip)
    ["truncate", fraction]        the file cut short
    ["flip", fractions, bit]      one bit flipped at each place
    ["tail", count]               bytes after the end

`which` is [depth class, number]: an element of depth 2 (a whole simulation or graphic
object), of depth 3 or of any depth, the number taken modulo their count. The XML steps
act on the XML entry, the zip steps on the entries, the byte steps on the written file.

`file_batch` takes these through import_model in a child process.
"""
import io
import json
import os
import re
import struct
import xml.etree.ElementTree as ET
import zipfile
import zlib

from hypothesis import strategies as st

from odd_hosts import judge_exception, run_batch

JUNK = ["", "abc", "NaN", "-Infinity", "-1", "1e999", "2147483647", "2147483648", "-2147483649",
        "99999999999999999999999", "true", "0x10", "1,5", "\u221e", "<&>", "9" * 400, "\u0001", "-0"]
LIMIT = 256 << 20   # what the module unpacks at most, bytes

which = st.tuples(st.sampled_from(["2", "3", "any"]), st.integers(0, 10**6)).map(list)
STEPS = st.one_of(
    st.tuples(st.just("drop"), which),
    st.tuples(st.just("dup"), which, st.sampled_from([1, 1, 2, 3, 500])),
    st.tuples(st.just("retype"), which, st.sampled_from(JUNK)),
    st.tuples(st.just("attr"), which, st.sampled_from(JUNK)),
    st.tuples(st.just("nest"), st.sampled_from([10, 250, 260, 2000])),
    st.tuples(st.just("utf16")),
    st.tuples(st.just("rename"), st.sampled_from(["data.XML", "flowsheet.txt", "a/b.xml", "", "x" * 300 + ".xml"])),
    st.tuples(st.just("entries"), st.sampled_from([1, 2, 63, 64, 65]), st.sampled_from(["small", "copy", "deep", "big"])),
    st.tuples(st.just("stored")),
    st.tuples(st.just("size"), st.sampled_from(["local", "central"]), st.sampled_from([0, 1, 2**31 - 1, 2**32 - 1])),
    st.tuples(st.just("plain")),
    st.tuples(st.just("truncate"), st.floats(0.0, 1.0)),
    st.tuples(st.just("flip"), st.lists(st.floats(0.0, 1.0), min_size=1, max_size=4), st.integers(0, 7)),
    st.tuples(st.just("tail"), st.sampled_from([1, 22, 1000])),
).map(list)


@st.composite
def damages(draw, bases):
    return {"base": draw(st.integers(0, bases - 1)), "steps": draw(st.lists(STEPS, min_size=1, max_size=3))}


# ---- making a damaged file ------------------------------------------------------------------

def read_entries(path):
    """[(name, bytes)] of a .dwxmz, or one entry holding the XML of a .dwxml."""
    if path.lower().endswith(".dwxmz"):
        with zipfile.ZipFile(path) as z:
            return [(i.filename, z.read(i)) for i in z.infolist()]
    with open(path, "rb") as f:
        return [("flowsheet.xml", f.read())]


def pick(root, which):
    """The element `which` names, and its parent (None for the root)."""
    depth, number = which
    found, stack = [], [(root, None, 0)]
    while stack:
        e, parent, d = stack.pop()
        if depth == "any" or d == int(depth):
            found.append((e, parent))
        stack.extend((child, e, d + 1) for child in reversed(e))
    return found[number % len(found)] if found else (None, None)


def nesting(root):
    deepest, stack = 0, [(root, 1)]
    while stack:
        e, d = stack.pop()
        deepest = max(deepest, d)
        stack.extend((child, d + 1) for child in e)
    return deepest


def damage_xml(xml, step):
    """The XML bytes after one XML step; unparseable XML is left as it is."""
    op = step[0]
    if op == "utf16":
        return xml.decode("utf-8-sig", "replace").replace('encoding="utf-8"', 'encoding="utf-16"').encode("utf-16")
    try:
        root = ET.fromstring(xml)
    except ET.ParseError:
        return xml
    if nesting(root) > 500:     # nested by an earlier step: ElementTree writes by recursion
        return xml
    if op == "nest":    # as text: ElementTree writes nesting by recursion
        tag = root.tag.encode()
        content = b"".join(ET.tostring(child, encoding="utf-8", xml_declaration=False) for child in root)
        return b"<%s>%s%s%s</%s>" % (tag, b"<Wrap>" * step[1], content, b"</Wrap>" * step[1], tag)
    else:
        e, parent = pick(root, step[1])
        if e is None or (parent is None and op in ("drop", "dup")):
            return xml
        if op == "drop":
            parent.remove(e)
        elif op == "dup":
            at = list(parent).index(e)
            for _ in range(step[2]):
                parent.insert(at, ET.fromstring(ET.tostring(e)))
        elif op == "retype":
            e.text = step[2]
        elif op == "attr":
            attrs = sorted(e.attrib)
            if attrs:
                e.set(attrs[step[1][1] % len(attrs)], step[2])
            else:
                e.text = step[2]
    return b'\xef\xbb\xbf<?xml version="1.0" encoding="utf-8"?>\n' + ET.tostring(root, encoding="utf-8", xml_declaration=False)


def deep_xml(depth):
    return b"<DWSIM_Simulation_Data>" + b"<a>" * depth + b"</a>" * depth + b"</DWSIM_Simulation_Data>"


def zip_bytes(entries, method):
    buf = io.BytesIO()
    with zipfile.ZipFile(buf, "w", method) as z:
        for name, data in entries:
            z.writestr(name or "unnamed", data)
    return buf.getvalue()


def forge_size(data, where, size):
    """The zip `data` with the first entry's unpacked size set to `size` in its local header
    or in its central directory record (the CRC and the data stay)."""
    data = bytearray(data)
    if where == "local" and data[:4] == b"PK\x03\x04":
        struct.pack_into("<I", data, 22, size)
    elif where == "central":
        at = data.find(b"PK\x01\x02")
        if at >= 0:
            struct.pack_into("<I", data, at + 24, size)
    return bytes(data)


def make_file(desc, bases):
    """(extension, bytes) of the damaged file that `desc` describes."""
    base = bases[desc["base"] % len(bases)]
    entries = read_entries(base)
    xml_at = next((i for i, (n, _) in enumerate(entries) if n.lower().endswith(".xml")), 0)
    plain = base.lower().endswith(".dwxml")
    method = zipfile.ZIP_DEFLATED
    forged, byte_steps = [], []
    for step in desc["steps"]:
        op = step[0]
        if op in ("drop", "dup", "retype", "attr", "nest", "utf16"):
            name, xml = entries[xml_at]
            entries[xml_at] = (name, damage_xml(xml, step))
        elif op == "rename":
            entries[xml_at] = (step[1], entries[xml_at][1])
        elif op == "entries":
            count, what = step[1], step[2]
            for k in range(count):
                data = {"small": b"\0" * 64, "copy": entries[xml_at][1], "deep": deep_xml(300),
                        "big": b"<a>" + b" " * (LIMIT // count + 1) + b"</a>"}[what]
                entries.append((f"extra{len(entries)}.{'db' if what == 'small' else 'xml'}", data))
        elif op == "stored":
            method = zipfile.ZIP_STORED
        elif op == "plain":
            plain = True
        elif op == "size":
            forged.append(step)
        else:
            byte_steps.append(step)
    if plain:
        data = entries[xml_at][1]
    else:
        data = zip_bytes(entries, method)
        for _, where, size in forged:
            data = forge_size(data, where, size)
    for step in byte_steps:
        if step[0] == "truncate":
            data = data[:int(len(data) * step[1])]
        elif step[0] == "flip" and data:
            data = bytearray(data)
            for f in step[1]:
                data[min(int(len(data) * f), len(data) - 1)] ^= 1 << step[2]
            data = bytes(data)
        elif step[0] == "tail":
            data += b"\x50\x4b" * (step[1] // 2) + b"\0" * (step[1] % 2)
    return (".dwxml" if plain else ".dwxmz"), data


# ---- judging what import_model gave ------------------------------------------------------------

def nesting_of(document):
    """How deep the elements of an XML document nest, as far as it parses."""
    from xml.parsers import expat
    parser, depth = expat.ParserCreate(), [0, 0]

    def start(*_):
        depth[0] += 1
        depth[1] = max(depth)

    def end(*_):
        depth[0] -= 1
    parser.StartElementHandler, parser.EndElementHandler = start, end
    try:
        parser.Parse(document, True)
    except expat.ExpatError:
        pass
    return depth[1]


def unpack(data, start, packed, method, room):
    """(bytes, end) of one entry's data as DWSIM unpacks it: `packed` bytes from `start`, or
    for None up to the end of its deflate stream. Past `room` bytes it stops (end None); None
    where DWSIM's reading fails (the file ends inside, the stream is damaged)."""
    if method == 0:
        piece = data[start:start + packed]
        if len(piece) > room:
            return piece, None
        return (piece, start + packed) if len(piece) == packed else None
    d = zlib.decompressobj(-15)
    try:
        out = d.decompress(data[start:] if packed is None else data[start:start + packed], room + 1)
    except zlib.error:
        return None
    if len(out) > room:
        return out, None
    if not d.eof:
        return None
    return out, len(data) - len(d.unused_data) if packed is None else start + packed


def zip_limit_broken(data):
    """The limit that DWSIM's reading of a zip breaks: the local headers walked from the start
    (no central directory), every entry unpacked, the last .xml entry the document; more than
    64 entries, more than LIMIT bytes stated by the headers or unpacked, or the document nested
    deeper than 256. None where none is, or where the reading fails first (DWSIM's error).
    (No zip64: the cases have none.)"""
    at, count, stated, unpacked, document = 0, 0, 0, 0, b""
    while data[at:at + 4] == b"PK\x03\x04":
        count += 1
        if count > 64:
            return "entries"
        if len(data) < at + 30:
            return None
        flags, method, _, _, crc, packed, size, n, m = struct.unpack_from("<HHHHIIIHH", data, at + 6)
        name = data[at + 30:at + 30 + n]
        if len(data) < at + 30 + n + m:
            return None
        if flags & 1 or method not in (0, 8) or (method == 0 and flags & 8):
            return None
        stated += size
        if stated > LIMIT:
            return "unpacks"
        described = flags & 8
        got = unpack(data, at + 30 + n + m, None if described else packed, method, LIMIT - unpacked)
        if got is None:
            return None
        out, at = got
        unpacked += len(out)
        if unpacked > LIMIT:
            return "unpacks"
        if described:
            at += 16 if data[at:at + 4] == b"PK\x07\x08" else 12
        elif len(out) != size or zlib.crc32(out) != crc:
            return None
        if re.split(rb"[/\\]", name)[-1].lower().endswith(b".xml"):
            document = out
    return "nests" if nesting_of(document) > 256 else None


def limit_broken(ext, data):
    """The limit a file breaks as DWSIM would read it, or None: a .dwxml larger than 256 MiB
    or nested deeper than 256, a zip as `zip_limit_broken` finds it."""
    if ext == ".dwxml":
        return "larger" if len(data) > LIMIT else "nests" if nesting_of(data) > 256 else None
    return zip_limit_broken(data)


MODEL_KEYS = {"name", "property", "feeds", "blocks"}


def model_faults(back):
    """What is wrong with what import_model returned: a (model, notes) pair, the model a
    mapping with the parts a host model has, the notes text."""
    if type(back) is not tuple or len(back) != 2:
        return [f"import_model gave a {type(back).__name__}, not (model, notes)"]
    model, notes = back
    faults = []
    if type(model) is not dict or not MODEL_KEYS <= set(model):
        faults.append(f"the model lacks {sorted(MODEL_KEYS - set(model)) if isinstance(model, dict) else model!r}")
    if type(notes) is not list or not all(isinstance(n, str) for n in notes):
        faults.append(f"notes are no list of text: {notes!r}"[:300])
    return faults


def file_case(fg, desc, bases, folder):
    """One damaged file through import_model, and the model through the host's
    flowsheet_from_dict: {"import": "result" or the exception's type, "host": ...}, and
    the faults found."""
    from kelvane.datamanager import flowsheet_from_dict
    ext, data = make_file(desc, bases)
    path = os.path.join(folder, "damaged" + ext)
    with open(path, "wb") as f:
        f.write(data)
    out, faults = {}, []
    broken = limit_broken(ext, data)
    try:
        back = fg.import_model(path)
    except Exception as e:
        out["import"] = type(e).__name__
        why = judge_exception(e, [os.path.basename(path)], words=())
        if why:
            faults.append(f"import: {why}")
        refused = isinstance(e, ValueError) and "is not imported" in str(e)
        if refused and not broken:
            faults.append(f"refused though within the limits: {e}")
        elif broken and not refused:
            faults.append(f"not refused though it breaks a limit ({broken}): {type(e).__name__}: {str(e)[:200]}")
        back = None
    else:
        out["import"] = "result"
        faults += model_faults(back)
        if broken:
            faults.append(f"imported though it breaks a limit ({broken})")
    if back is not None and not faults:
        # what the host makes of the model: a flowsheet, or its ValueError naming the item
        try:
            flowsheet_from_dict(back[0])
            out["host"] = "opens"
        except ValueError:
            out["host"] = "ValueError"
        except Exception as e:
            out["host"] = type(e).__name__
            faults.append(f"the host cannot read the model: {type(e).__name__}: {e}"[:300])
    out["faults"] = faults
    return out


def good_files(folder, shared):
    """The files damage starts from: the plant of every kind exported as .dwxmz and .dwxml,
    and DWSIM's own samples where the shared folder is there."""
    import glob

    import kelvane.flowgate as fg
    import road_scenarios
    bases = []
    for ext in (".dwxmz", ".dwxml"):
        path = os.path.join(folder, "plant" + ext)
        fg.export(road_scenarios.plant(), path)
        bases.append(path)
    return bases + sorted(glob.glob(os.path.join(shared, "dwsim", "samples", "*.dwxmz")))


def file_batch(examples, seed, timeout, folder, shared, derandomize=False):
    """`examples` damaged files through import_model (see odd_hosts.run_batch)."""
    import kelvane.flowgate as fg
    bases = good_files(folder, shared)
    summary = run_batch(damages(len(bases)), lambda desc: file_case(fg, desc, bases, folder), examples, seed,
                        timeout, folder, derandomize)
    summary["bases"] = [os.path.basename(b) for b in bases]
    return summary


def replay(case_json, folder, shared):
    """A stored case run once more, outside hypothesis."""
    import kelvane.flowgate as fg
    return file_case(fg, json.loads(case_json), good_files(folder, shared), folder)


def replay_each(cases, folder, shared):
    """{id: what `replay` gives} for the stored cases {id: case JSON}, in one process."""
    import kelvane.flowgate as fg
    bases = good_files(folder, shared)
    return {key: file_case(fg, json.loads(case), bases, folder) for key, case in cases.items()}
