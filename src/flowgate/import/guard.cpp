#include "import/guard.hpp"

#include <string_view>

namespace flowgate {
namespace {

// Real DWSIM files hold one XML entry of a few megabytes, nested a dozen deep.
constexpr long long MAX_BYTES = 256LL << 20;  // of XML, unpacked
constexpr std::size_t MAX_ENTRIES = 64;
constexpr int MAX_DEPTH = 256;

[[noreturn]] void refuse(py::handle path, const std::string& why) {
    raise(PyExc_ValueError, py::str("{!r} is not imported: {}").format(path, why));
}

// How deep the elements of an XML text nest; declarations, comments and
// CDATA sections do not count, nor does a `>` inside an attribute's quotes.
int depth_of(std::string_view xml) {
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

void check_xml(py::handle path, py::handle data) {
    char* bytes = nullptr;
    Py_ssize_t size = 0;
    if (PyBytes_AsStringAndSize(data.ptr(), &bytes, &size) < 0) throw py::error_already_set();
    if (size > MAX_BYTES) refuse(path, "its XML is larger than " + std::to_string(MAX_BYTES >> 20) + " MiB");
    if (depth_of(std::string_view(bytes, static_cast<std::size_t>(size))) > MAX_DEPTH) {
        refuse(path, "its XML nests deeper than " + std::to_string(MAX_DEPTH) + " elements");
    }
}

// A .dwxmz is a zip: its entries counted and their declared sizes added
// before anything is unpacked; DWSIM reads its .xml entry, which is then read
// here with the same limit, whatever its header says. A file that is no zip
// is left to DWSIM, whose error the caller then sees.
void check_zip(py::handle path) {
    py::module_ zipfile = py::module_::import("zipfile");
    py::object archive;
    try {
        archive = zipfile.attr("ZipFile")(path);
    } catch (py::error_already_set& e) {
        if (e.matches(zipfile.attr("BadZipFile")) || e.matches(PyExc_OSError)) return;
        throw;
    }
    py::object close = archive.attr("close");
    try {
        py::list entries = archive.attr("infolist")();
        if (py::len(entries) > MAX_ENTRIES) {
            refuse(path, "it holds " + std::to_string(py::len(entries)) + " entries (a DWSIM file holds one)");
        }
        long long declared = 0;
        py::object xml = py::none();
        for (py::handle entry : entries) {
            declared += py::cast<long long>(entry.attr("file_size"));
            if (xml.is_none() && truthy(py::str(entry.attr("filename")).attr("lower")().attr("endswith")(".xml"))) {
                xml = py::reinterpret_borrow<py::object>(entry);
            }
        }
        if (declared > MAX_BYTES) refuse(path, "it unpacks to more than " + std::to_string(MAX_BYTES >> 20) + " MiB");
        if (!xml.is_none()) {
            py::object stream = archive.attr("open")(xml);
            py::object data = stream.attr("read")(MAX_BYTES + 1);
            stream.attr("close")();
            check_xml(path, data);
        }
    } catch (...) {
        close();
        throw;
    }
    close();
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
        refuse(path, "it is larger than " + std::to_string(MAX_BYTES >> 20) + " MiB");
    }
    py::object file = py::module_::import("io").attr("open")(path, "rb");
    py::object data = file.attr("read")();
    file.attr("close")();
    check_xml(path, data);
}

}  // namespace flowgate
