#include "import/guard.hpp"

#include "frame/errors.hpp"
#include "frame/interrupts.hpp"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

namespace flowgate {
namespace {

using namespace std::literals;

// Real DWSIM files hold one XML entry of a few megabytes, nested a dozen deep.
constexpr long long MAX_BYTES = 256LL << 20;  // unpacked, all entries together
constexpr int MAX_ENTRIES = 64;
constexpr int MAX_DEPTH = 256;
constexpr long long OUTPUT = 1 << 20;  // unpacked, or read of a stored entry, at a time
constexpr long long INPUT = 64 << 10;  // of deflated data at a time: little to carry over

std::string mib(long long bytes) { return std::to_string(bytes >> 20) + " MiB"; }

[[noreturn]] void refuse(py::handle path, const std::string& why) {
    raise(PyExc_ValueError, py::str("{!r} is not imported: {}").format(path, why));
}

std::string_view bytes_of(py::handle data) {
    char* bytes = nullptr;
    Py_ssize_t size = 0;
    if (PyBytes_AsStringAndSize(data.ptr(), &bytes, &size) < 0) throw py::error_already_set();
    return {bytes, static_cast<std::size_t>(size)};
}

// ---- how deep a document nests ----------------------------------------------

// How deep the elements of an XML text nest; declarations, comments and
// CDATA sections do not count, nor does a `>` inside an attribute's quotes.
// The text is one byte per character as far as markup goes (ASCII, UTF-8).
// XML holds no NUL in any encoding: the parser fails at the first one (a
// text misread, UTF-16 taken for UTF-8), and the count ends there too.
int depth_of(std::string_view xml) {
    xml = xml.substr(0, xml.find('\0'));
    int depth = 0, deepest = 0;
    auto skip_past = [&](std::size_t from, std::string_view end) {
        const std::size_t at = xml.find(end, from);
        return at == std::string_view::npos ? xml.size() : at + end.size();
    };
    for (std::size_t i = xml.find('<'); i < xml.size(); i = xml.find('<', i)) {
        const std::string_view rest = xml.substr(i);
        if (rest.rfind("<?", 0) == 0) {
            i = skip_past(i, "?>");
        } else if (rest.rfind("<!--", 0) == 0) {
            i = skip_past(i, "-->");
        } else if (rest.rfind("<![CDATA[", 0) == 0) {
            i = skip_past(i, "]]>");
        } else if (rest.rfind("<!", 0) == 0) {
            i = skip_past(i, ">");
        } else if (rest.rfind("</", 0) == 0) {
            --depth;
            i = skip_past(i, ">");
        } else {
            char quote = 0;
            std::size_t j = i + 1;
            for (; j < xml.size() && (quote != 0 || xml[j] != '>'); ++j) {
                if (quote == 0 && (xml[j] == '"' || xml[j] == '\'')) {
                    quote = xml[j];
                } else if (xml[j] == quote) {
                    quote = 0;
                }
            }
            if (j >= xml.size() || xml[j - 1] != '/') deepest = std::max(deepest, ++depth);
            i = j + 1;
        }
    }
    return deepest;
}

// The code units of a UTF-16 or UTF-32 text, one byte each: ASCII stays and
// any other unit becomes 0x80, which is no markup, so that depth_of sees the
// markup that the parser sees. Of `Width` bytes a unit, the low one first
// or last.
template <std::size_t Width, bool BigEndian>
std::string narrowed(std::string_view text) {
    constexpr std::size_t LOW = BigEndian ? Width - 1 : 0;
    std::string units(text.size() / Width, '\0');
    const auto* unit = reinterpret_cast<const unsigned char*>(text.data());
    for (char& c : units) {
        unsigned high = 0;
        for (std::size_t k = 0; k < Width; ++k) high |= k == LOW ? 0 : unit[k];
        c = high == 0 && unit[LOW] < 0x80 ? static_cast<char>(unit[LOW]) : '\x80';
        unit += Width;
    }
    return units;
}

// How .NET's XML reader tells the encoding by the first bytes (the XML
// specification's appendix F): a byte-order mark, or the width of the `<`
// that starts every document; UTF-8 (no narrowing) with its mark.
struct Form {
    std::string_view start;
    std::size_t mark;  // bytes of the byte-order mark, skipped
    std::string (*narrow)(std::string_view);
};
constexpr Form FORMS[] = {
    {"\0\0\xFE\xFF"sv, 4, narrowed<4, true>}, {"\xFF\xFE\0\0"sv, 4, narrowed<4, false>},
    {"\0\0\0<"sv, 0, narrowed<4, true>},       {"<\0\0\0"sv, 0, narrowed<4, false>},
    {"\xFE\xFF"sv, 2, narrowed<2, true>},       {"\xFF\xFE"sv, 2, narrowed<2, false>},
    {"\0<"sv, 0, narrowed<2, true>},            {"<\0"sv, 0, narrowed<2, false>},
    {"\xEF\xBB\xBF"sv, 3, nullptr},
};

// The encoding that the XML declaration at the start names, or "".
std::string declared_encoding(std::string_view xml) {
    constexpr std::string_view SPACE = " \t\r\n";
    if (xml.size() < 6 || xml.substr(0, 5) != "<?xml" || SPACE.find(xml[5]) == std::string_view::npos) return {};
    const std::string_view declaration = xml.substr(0, xml.find("?>"));
    std::size_t at = declaration.find("encoding");
    if (at != std::string_view::npos) at = declaration.find_first_not_of(SPACE, at + "encoding"sv.size());
    if (at == std::string_view::npos || declaration[at] != '=') return {};
    at = declaration.find_first_not_of(SPACE, at + 1);
    if (at == std::string_view::npos || (declaration[at] != '"' && declaration[at] != '\'')) return {};
    const std::size_t end = declaration.find(declaration[at], at + 1);
    return end == std::string_view::npos ? std::string() : std::string(declaration.substr(at + 1, end - at - 1));
}

// Python's name for a codec, None for one it does not know.
py::object codec_name(const std::string& encoding) {
    try {
        return py::module_::import("codecs").attr("lookup")(encoding).attr("name");
    } catch (py::error_already_set& e) {
        if (!e.matches(PyExc_LookupError)) throw;
        return py::none();
    }
}

// A document without a byte-order mark, in the encoding its declaration
// names (UTF-8 without one). Other encodings than UTF-8 and ASCII are decoded
// by Python's codec; one that is unknown or no text encoding cannot be told,
// and counts 0 rather than a depth made up of misread bytes.
int declared_depth(std::string_view xml) {
    const std::string encoding = declared_encoding(xml);
    if (encoding.empty()) return depth_of(xml);
    const py::object name = codec_name(encoding);
    if (name.is_none()) return 0;
    if (equal(name, "utf-8") || equal(name, "ascii")) return depth_of(xml);
    PyObject* text = PyUnicode_Decode(xml.data(), static_cast<Py_ssize_t>(xml.size()), encoding.c_str(), "replace");
    if (text == nullptr) {
        py::error_already_set e;
        if (e.matches(PyExc_LookupError) || e.matches(PyExc_UnicodeError)) return 0;
        throw e;
    }
    const py::object decoded = py::reinterpret_steal<py::object>(text);
    const py::object utf8 = steal_or_throw(PyUnicode_AsEncodedString(decoded.ptr(), "utf-8", "surrogatepass"));
    return depth_of(bytes_of(utf8));
}

// How deep an XML document nests, read in the encoding that DWSIM's parser
// would read it in.
int document_depth(std::string_view xml) {
    for (const Form& form : FORMS) {
        if (xml.substr(0, form.start.size()) != form.start) continue;
        const std::string_view text = xml.substr(form.mark);
        return form.narrow ? depth_of(form.narrow(text)) : depth_of(text);
    }
    return declared_depth(xml);
}

// ---- a zip as DWSIM reads it ------------------------------------------------

constexpr std::string_view LOCAL_HEADER = "PK\x03\x04"sv, DESCRIPTOR_SIGNATURE = "PK\x07\x08"sv;
constexpr unsigned ENCRYPTED = 0x1, DESCRIPTOR = 0x8;  // general-purpose flags
constexpr unsigned STORED = 0, DEFLATED = 8;
constexpr std::uint64_t ZIP64 = 0xFFFFFFFF;  // a size held in the zip64 extra field

// A size as a file offset; one beyond any file stays beyond it.
long long offset(std::uint64_t size) { return static_cast<long long>(std::min<std::uint64_t>(size, 1ULL << 62)); }

std::uint64_t little_endian(std::string_view bytes, std::size_t at, std::size_t count) {
    std::uint64_t value = 0;
    for (std::size_t k = count; k-- > 0;) value = value << 8 | static_cast<unsigned char>(bytes[at + k]);
    return value;
}

// A local file header, the sizes as it states them.
struct Entry {
    unsigned flags = 0, method = 0;
    std::uint32_t crc = 0;
    std::uint64_t packed = 0, size = 0;
    bool zip64 = false;
    bool xml = false;  // an .xml file, a candidate for the document
    long long data_at = 0;
};

// Whether the entry's bare file name (any directory part dropped; npos + 1
// is the whole name) is non-empty and ends in ".xml" in any case: ASCII,
// whatever encoding the name is in.
bool names_xml(std::string_view name) {
    const std::string_view bare = name.substr(name.find_last_of("/\\") + 1);
    if (bare.size() < 4) return false;
    std::string tail(bare.substr(bare.size() - 4));
    for (char& c : tail) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    return tail == ".xml";
}

// A zip64 extra field: the data descriptor's sizes are 8 bytes long, and
// both sizes are in the field where a 32-bit one says 0xFFFFFFFF.
void read_zip64(Entry& e, std::string_view extra) {
    for (std::size_t at = 0; at + 4 <= extra.size(); at += 4 + little_endian(extra, at + 2, 2)) {
        if (little_endian(extra, at, 2) != 1) continue;
        e.zip64 = true;
        if ((e.size == ZIP64 || e.packed == ZIP64) && at + 20 <= extra.size()) {
            e.size = little_endian(extra, at + 4, 8);
            e.packed = little_endian(extra, at + 12, 8);
        }
        return;
    }
}

// What DWSIM's reading of a .dwxmz meets: its local headers one after the
// other from the start, every entry unpacked (the central directory plays no
// part), the last .xml entry the document. The limits are applied to the
// entries counted, to the sizes the headers state, to the bytes actually
// unpacked as they come, and to the document's depth.
class ZipWalk {
public:
    explicit ZipWalk(py::object file) : file_(std::move(file)), zlib_(py::module_::import("zlib")) {}

    // The limit the file breaks, or "": also where DWSIM's own reading fails
    // before any limit is reached, its error then being the caller's answer.
    std::string verdict() {
        for (;;) {
            seek(at_);
            if (bytes_of(read(LOCAL_HEADER.size())) != LOCAL_HEADER) break;  // past the last entry
            if (++entries_ > MAX_ENTRIES) {
                return "it holds more than " + std::to_string(MAX_ENTRIES) + " entries (a DWSIM file holds one)";
            }
            Entry e;
            if (!read_header(e) || !readable(e)) return "";
            stated_ += std::min(offset(e.size), MAX_BYTES + 1);
            if (stated_ > MAX_BYTES) return "its zip headers state more than " + mib(MAX_BYTES) + " unpacked";
            const Outcome outcome = read_entry(e);
            if (outcome == Outcome::beyond) return "it unpacks to more than " + mib(MAX_BYTES);
            if (outcome == Outcome::broken) return "";
        }
        if (document_depth(document_) > MAX_DEPTH) {
            return "its XML nests deeper than " + std::to_string(MAX_DEPTH) + " elements";
        }
        return "";
    }

private:
    enum class Outcome { read, broken, beyond };

    struct Unpacked {
        long long size;
        py::object crc;
        std::string* keep;
    };

    void seek(long long at) {
        static const Name SEEK{"seek"};
        call_method(file_, SEEK, py::int_(at));
    }

    py::object read(long long count) {
        static const Name READ{"read"};
        return call_method(file_, READ, py::int_(count));
    }

    // The header at at_; false when the file ends inside it.
    bool read_header(Entry& e) {
        const py::object head = read(30 - static_cast<long long>(LOCAL_HEADER.size()));
        const std::string_view h = bytes_of(head);
        if (h.size() < 26) return false;
        e.flags = static_cast<unsigned>(little_endian(h, 2, 2));
        e.method = static_cast<unsigned>(little_endian(h, 4, 2));
        e.crc = static_cast<std::uint32_t>(little_endian(h, 10, 4));
        e.packed = little_endian(h, 14, 4);
        e.size = little_endian(h, 18, 4);
        const std::size_t name_size = little_endian(h, 22, 2), extra_size = little_endian(h, 24, 2);
        const py::object rest = read(static_cast<long long>(name_size + extra_size));
        const std::string_view r = bytes_of(rest);
        if (r.size() < name_size + extra_size) return false;
        e.xml = names_xml(r.substr(0, name_size));
        read_zip64(e, r.substr(name_size));
        e.data_at = at_ + 30 + static_cast<long long>(name_size + extra_size);
        return true;
    }

    // DWSIM's streaming reader takes stored and deflated entries without a
    // password; a stored one's end it can only know from its header.
    static bool readable(const Entry& e) {
        if (e.flags & ENCRYPTED) return false;
        return e.method == DEFLATED || (e.method == STORED && !(e.flags & DESCRIPTOR));
    }

    // The entry unpacked, at_ moved past it. Unless a data descriptor
    // follows, its size and CRC must be what its header states, or DWSIM
    // fails on it; after a descriptor the walk goes on whatever it states.
    Outcome read_entry(const Entry& e) {
        if (e.xml) {
            document_.clear();
            document_.reserve(static_cast<std::size_t>(std::min(offset(e.size), MAX_BYTES)));
        }
        Unpacked out{0, py::int_(0), e.xml ? &document_ : nullptr};
        seek(e.data_at);
        const Outcome outcome = e.method == STORED ? copy(e, out) : inflate(e, out);
        if (outcome != Outcome::read || (e.flags & DESCRIPTOR)) return outcome;
        const bool intact = static_cast<std::uint64_t>(out.size) == e.size &&
                            PyLong_AsUnsignedLong(out.crc.ptr()) == e.crc;
        return intact ? Outcome::read : Outcome::broken;
    }

    // A piece of unpacked data: counted against the limit whatever the
    // headers say, and added to the entry's CRC.
    bool take(py::handle piece, Unpacked& out) {
        static const Name CRC32{"crc32"};
        deliver_interrupts();
        const std::string_view bytes = bytes_of(piece);
        unpacked_ += static_cast<long long>(bytes.size());
        if (unpacked_ > MAX_BYTES) return false;
        out.size += static_cast<long long>(bytes.size());
        out.crc = call_method(zlib_, CRC32, piece, out.crc);
        if (out.keep) out.keep->append(bytes);
        return true;
    }

    Outcome copy(const Entry& e, Unpacked& out) {
        for (long long left = offset(e.packed); left > 0;) {
            const py::object piece = read(std::min(left, OUTPUT));
            if (bytes_of(piece).empty()) return Outcome::broken;  // the file ends inside the entry
            left -= static_cast<long long>(bytes_of(piece).size());
            if (!take(piece, out)) return Outcome::beyond;
        }
        at_ = e.data_at + offset(e.packed);
        return Outcome::read;
    }

    // A deflated entry: its `packed` bytes or, where a data descriptor
    // follows, the bytes up to its stream's end and the descriptor.
    Outcome inflate(const Entry& e, Unpacked& out) {
        static const Name DECOMPRESS{"decompress"}, DONE{"eof"}, TAIL{"unconsumed_tail"}, UNUSED{"unused_data"};
        const bool sized = !(e.flags & DESCRIPTOR);
        const long long packed = sized ? offset(e.packed) : std::numeric_limits<long long>::max();
        const py::object inflater = zlib_.attr("decompressobj")(-15);  // raw deflate, as zip holds it
        const py::object zlib_error = zlib_.attr("error");
        py::object input = py::bytes();
        long long fed = 0;
        for (;;) {
            if (bytes_of(input).empty() && fed < packed) {
                input = read(std::min(packed - fed, INPUT));
                if (bytes_of(input).empty()) return Outcome::broken;  // the file ends inside the entry
                fed += static_cast<long long>(bytes_of(input).size());
            }
            const bool starved = bytes_of(input).empty();
            py::object piece;
            try {
                piece = call_method(inflater, DECOMPRESS, input, py::int_(OUTPUT));
            } catch (py::error_already_set& failed) {
                if (!failed.matches(zlib_error)) throw;
                return Outcome::broken;
            }
            if (!take(piece, out)) return Outcome::beyond;
            if (truthy(attr(inflater, DONE))) break;
            if (starved && bytes_of(piece).empty()) return Outcome::broken;  // its bytes end before its stream
            input = attr(inflater, TAIL);
        }
        if (sized) {
            at_ = e.data_at + packed;
            return Outcome::read;
        }
        const long long end = e.data_at + fed - static_cast<long long>(bytes_of(attr(inflater, UNUSED)).size());
        seek(end);
        const bool marked = bytes_of(read(DESCRIPTOR_SIGNATURE.size())) == DESCRIPTOR_SIGNATURE;
        at_ = end + (marked ? 4 : 0) + (e.zip64 ? 20 : 12);
        return Outcome::read;
    }

    py::object file_, zlib_;
    long long at_ = 0;
    int entries_ = 0;
    long long stated_ = 0, unpacked_ = 0;
    std::string document_;  // the last .xml entry so far
};

void check_zip(py::handle path) {
    py::object file;
    try {
        file = py::module_::import("io").attr("open")(path, "rb");
    } catch (py::error_already_set& e) {
        if (!e.matches(PyExc_OSError)) throw;
        return;  // DWSIM's own error for a file it cannot open
    }
    std::string why;
    try {
        why = noted([&] { return ZipWalk(file).verdict(); },
                    [&] { return py::str("while checking {!r} before DWSIM reads it").format(path); });
    } catch (...) {
        file.attr("close")();
        throw;
    }
    file.attr("close")();
    if (!why.empty()) refuse(path, why);
}

}  // namespace

DotnetPath::DotnetPath(py::handle path) : path_(py::reinterpret_borrow<py::object>(path)) {
    if (dotnet_safe(path)) return;
    folder_ = py::module_::import("tempfile").attr("mkdtemp")("", "kelvane-");
    const bool zipped = truthy(upper(item(py::module_::import("os").attr("path").attr("splitext")(path), py::int_(1)))
                                   .attr("endswith")("Z"));
    path_ = py::module_::import("os").attr("path").attr("join")(folder_, zipped ? "import.dwxmz" : "import.dwxml");
    py::module_::import("shutil").attr("copyfile")(path, path_);
}

DotnetPath::~DotnetPath() {
    if (!folder_) return;
    py::error_scope pending;  // an error already on its way out stays untouched
    try {
        py::module_::import("shutil").attr("rmtree")(folder_, py::arg("ignore_errors") = true);
    } catch (py::error_already_set& e) {
        e.discard_as_unraisable(folder_);
    }
}

// DWSIM opens as a zip what ends in "z" (.dwxmz), as XML the rest.
void check_importable(py::handle path) {
    py::object os_path = py::module_::import("os").attr("path");
    if (!truthy(os_path.attr("isfile")(path))) return;  // DWSIM's own error for a missing file
    py::str extension = upper(item(os_path.attr("splitext")(path), py::int_(1)));
    if (truthy(extension.attr("endswith")("Z"))) return check_zip(path);
    if (py::cast<long long>(os_path.attr("getsize")(path)) > MAX_BYTES) {
        refuse(path, "it is larger than " + mib(MAX_BYTES));
    }
    py::object file = py::module_::import("io").attr("open")(path, "rb");
    py::object data = file.attr("read")();
    file.attr("close")();
    if (document_depth(bytes_of(data)) > MAX_DEPTH) {
        refuse(path, "its XML nests deeper than " + std::to_string(MAX_DEPTH) + " elements");
    }
}

}  // namespace flowgate
