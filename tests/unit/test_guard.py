"""The import guard: a DWSIM file beyond the limits is refused, with a ValueError naming it,
before DWSIM opens it, judged as DWSIM would read it (a zip by its local headers, the last
.xml entry the document, the XML in its own encoding); any other file reaches DWSIM, here
the fake, which opens none: its FileNotFoundException says that the file got through."""
import io
import struct
import zipfile
import zlib

import pytest

from dwsim_fakes import Automation, FileNotFoundException

NESTS = "its XML nests deeper than 256 elements"
STATES = "its zip headers state more than 256 MiB unpacked"
UNPACKS = "it unpacks to more than 256 MiB"


@pytest.fixture
def import_model(flowgate):
    flowgate._STATE.update(a=Automation(), m={})
    yield flowgate.import_model
    flowgate._STATE.pop("a", None)
    flowgate._STATE.pop("m", None)


def verdict(import_model, path):
    """The refusal's reason, or None when the file reached DWSIM."""
    try:
        import_model(str(path))
    except FileNotFoundException:
        return None
    except ValueError as e:
        prefix = f"{str(path)!r} is not imported: "
        assert str(e).startswith(prefix), e
        return str(e)[len(prefix):]
    raise AssertionError("the fake DWSIM opened a file")


def nested(depth, text="", encoding=None):
    declared = f" encoding='{encoding}'" if encoding else ""
    return (f"<?xml version='1.0'{declared}?><!-- <a><a> --><root a='>'>{text}" + "<a>" * depth + "<b/>"
            + "</a>" * depth + "</root>")


class Unseekable(io.RawIOBase):
    """A stream zipfile cannot seek back in: it writes a data descriptor after each entry."""

    def __init__(self, f):
        self.f = f

    def writable(self):
        return True

    def write(self, b):
        return self.f.write(b)


def zipped(path, entries, method=zipfile.ZIP_DEFLATED, seekable=True):
    with open(path, "wb") as f, zipfile.ZipFile(f if seekable else Unseekable(f), "w", method) as z:
        for name, text in entries:
            z.writestr(name, text)
    return path


def local(name, data, packed=None, *, flags=0, crc=None, stated=None, zip64=False, described=False):
    """An entry as DWSIM's reader meets it, a local header and its deflated data (no central
    directory needed): the header states `stated` unpacked bytes (default: the true size);
    `described`: its sizes and CRC follow the data, in a data descriptor."""
    packed = zlib.compress(data, 9)[2:-4] if packed is None else packed
    stated = len(data) if stated is None else stated
    crc = zlib.crc32(data) if crc is None else crc
    extra = struct.pack("<HHQQ", 1, 16, 0 if described else stated, 0 if described else len(packed)) if zip64 else b""
    sizes = (0, 0) if described else (0xFFFFFFFF, 0xFFFFFFFF) if zip64 else (len(packed), stated)
    header = struct.pack("<4sHHHHHIIIHH", b"PK\3\4", 20, flags | (8 if described else 0), 8, 0, 0,
                         0 if described else crc, *sizes, len(name), len(extra))
    if not described:
        return header + name.encode() + extra + packed
    return header + name.encode() + extra + packed + struct.pack("<4sIQQ" if zip64 else "<4sIII", b"PK\7\10", crc,
                                                                 len(packed), stated)


@pytest.fixture(scope="module")
def bomb():
    """272 MiB of zeros, deflated (about 270 kB), and their CRC."""
    z, crc, packed = zlib.compressobj(9, zlib.DEFLATED, -15), 0, []
    zeros = bytes(16 << 20)
    for _ in range(17):
        packed.append(z.compress(zeros))
        crc = zlib.crc32(zeros, crc)
    return b"".join(packed) + z.flush(), crc, 17 * len(zeros)


def raw(path, *entries):
    path.write_bytes(b"".join(entries))
    return path


def forged_central(path, size):
    data = bytearray(zipped(path, [("x.xml", nested(10))]).read_bytes())
    struct.pack_into("<I", data, data.find(b"PK\1\2") + 24, size)
    path.write_bytes(data)
    return path


ZIPS = {
    "within": (lambda p, b: zipped(p, [("x.xml", nested(100))]), None),
    "65 entries": (lambda p, b: zipped(p, [(f"{i}.xml", "<a/>") for i in range(65)]),
                   "it holds more than 64 entries (a DWSIM file holds one)"),
    "deep": (lambda p, b: zipped(p, [("x.xml", nested(300))]), NESTS),
    # the last .xml entry by its bare name, in any case, is the document
    "deep, then another .xml": (lambda p, b: zipped(p, [("a.xml", nested(300)), ("dir/b.XML", nested(10)),
                                                         ("c.db", "x")]), None),
    "deep last": (lambda p, b: zipped(p, [("a.xml", nested(10)), ("dir\\b.XML", nested(300)), ("c.db", "x")]),
                  NESTS),
    "deep, then a folder named .xml": (lambda p, b: zipped(p, [("a.xml", nested(300)), ("b.xml/", "")]), NESTS),
    # data descriptors: a deflated entry ends with its stream, a stored one DWSIM cannot read
    "deep last after a descriptor": (lambda p, b: zipped(p, [("a.xml", nested(10)), ("b.xml", nested(300))],
                                                         seekable=False), NESTS),
    "deep last after a zip64 descriptor": (lambda p, b: raw(p, local("a.xml", nested(10).encode(), zip64=True,
                                                                     described=True),
                                                               local("b.xml", nested(300).encode())), NESTS),
    "stored with a descriptor": (lambda p, b: zipped(p, [("b.xml", nested(300))], zipfile.ZIP_STORED,
                                                     seekable=False), None),
    # where DWSIM's reading fails first, its error is the answer
    "encrypted": (lambda p, b: raw(p, local("x.xml", nested(300).encode(), flags=1)), None),
    "bad CRC, then deep": (lambda p, b: raw(p, local("a.xml", nested(10).encode(), crc=1),
                                            local("b.xml", nested(300).encode())), None),
    "no zip": (lambda p, b: raw(p, b"not a zip"), None),
    # sizes: the central directory plays no part; stated sizes and the bytes unpacked count
    "central directory says 4 GiB": (lambda p, b: forged_central(p, 0xFFFFFFFF), None),
    "bomb": (lambda p, b: raw(p, local("x.xml", b"", b[0], crc=b[1], stated=b[2])), STATES),
    "bomb stating 1 kB": (lambda p, b: raw(p, local("x.xml", b"", b[0], crc=b[1], stated=1000)), UNPACKS),
    "zip64 bomb": (lambda p, b: raw(p, local("x.xml", b"", b[0], crc=b[1], stated=b[2], zip64=True)), STATES),
    "zip64, deep": (lambda p, b: raw(p, local("x.xml", nested(300).encode(), zip64=True)), NESTS),
}


@pytest.mark.parametrize("case", ZIPS)
def test_a_zip_is_judged_as_dwsim_reads_it(import_model, tmp_path, bomb, case):
    make, refused = ZIPS[case]
    assert verdict(import_model, make(tmp_path / "f.dwxmz", bomb)) == refused


# the kanji 七乗 in ISO-2022-JP are the bytes <7>h: read as ASCII, each pair a start tag
SEVENS = "\u4e03\u4e57" * 300

TEXTS = {
    "UTF-8": (nested(300).encode(), NESTS),
    "UTF-8 with its mark": (b"\xef\xbb\xbf" + nested(300).encode(), NESTS),
    "UTF-16 LE with its mark": (nested(200).encode("utf-16"), None),
    "UTF-16 LE with its mark, deep": (nested(300).encode("utf-16"), NESTS),
    "UTF-16 BE": (nested(300).encode("utf-16-be"), NESTS),
    "UTF-32 LE with its mark": (nested(200).encode("utf-32"), None),
    # no mark: read as UTF-8, which ends at the first NUL, where the count ends too
    "UTF-16 LE with its mark damaged": (b"\xfe\xfe" + nested(200).encode("utf-16-le"), None),
    "UTF-32 BE, deep": (nested(300).encode("utf-32-be"), NESTS),
    "ISO-2022-JP": (nested(10, SEVENS, "ISO-2022-JP").encode("iso2022_jp"), None),
    "Latin-1, deep": (nested(300, "\xe9", "ISO-8859-1").encode("latin-1"), NESTS),
    # an encoding that cannot be told gives no depth rather than a miscount
    "unknown encoding, deep": (nested(300, "", "x-no-such").encode(), None),
}


@pytest.mark.parametrize("case", TEXTS)
def test_xml_nests_as_its_encoding_reads(import_model, tmp_path, case):
    text, refused = TEXTS[case]
    (tmp_path / "f.dwxml").write_bytes(text)
    assert verdict(import_model, tmp_path / "f.dwxml") == refused
