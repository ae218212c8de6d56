#include "access/discovery.hpp"

namespace flowgate {
namespace {

constexpr const char* MARKER = "DWSIM.Automation.dll";

// The host's setting "dwsim/path", read through Qt when Qt is there; any
// failure leaves the source out without a word.
void append_setting(py::list& candidates) {
    try {
        py::object QSettings = import_from("PySide6.QtCore", "QSettings");
        py::object value = QSettings("Kelvane", "Kelvane").attr("value")("dwsim/path", "");
        candidates.append(py::str(truthy(value) ? value : py::str("")));
    } catch (py::error_already_set& e) {
        if (!e.matches(PyExc_Exception)) throw;
    }
}

void append_platform_folders(py::list& candidates, py::handle os) {
    py::object path = os.attr("path");
    py::object environ = os.attr("environ");
    if (equal(py::module_::import("sys").attr("platform"), py::str("win32"))) {
        candidates.append(path.attr("join")(get(environ, py::str("LOCALAPPDATA"), py::str("")), "DWSIM"));
        candidates.append(py::str("C:\\Program Files\\DWSIM"));
        return;
    }
    candidates.append(py::str("/usr/local/lib/dwsim"));
    candidates.append(py::str("/usr/lib/dwsim"));
    candidates.append(path.attr("expanduser")("~/.local/share/dwsim"));
    candidates.append(py::str("/opt/dwsim"));
}

}  // namespace

py::object folder() {
    py::module_ os = py::module_::import("os");
    py::list candidates;
    candidates.append(get(os.attr("environ"), py::str("KELVANE_DWSIM"), py::str("")));
    append_setting(candidates);
    append_platform_folders(candidates, os);

    py::object join = os.attr("path").attr("join");
    py::object exists = os.attr("path").attr("exists");
    for (py::handle candidate : candidates) {
        if (!truthy(candidate)) continue;
        if (truthy(exists(join(candidate, MARKER)))) return py::reinterpret_borrow<py::object>(candidate);
    }
    return py::none();
}

py::object available() {
    if (folder().is_none()) return py::bool_(false);
    try {
        py::module_::import("pythonnet");
    } catch (py::error_already_set& e) {
        if (!e.matches(PyExc_ImportError)) throw;
        return py::bool_(false);
    }
    return py::bool_(true);
}

}  // namespace flowgate
