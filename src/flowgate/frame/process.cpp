#include "frame/process.hpp"

#include <stdexcept>
#include <string>

namespace flowgate {
namespace {

std::int64_t g_interpreter = -1;
PyObject* g_module = nullptr;

}  // namespace

std::int64_t& first_interpreter() { return g_interpreter; }

PyObject* held_module() { return g_module; }

void hold_module(PyObject* m) { g_module = Py_NewRef(m); }

void release_module() { Py_CLEAR(g_module); }

py::module_ module() {
    if (g_module == nullptr) throw std::logic_error("kelvane.flowgate is not initialised");
    return py::reinterpret_borrow<py::module_>(g_module);
}

py::object module_attr(const Name& name) { return attr(module(), name); }

py::dict state() {
    static const Name STATE{"_STATE"};
    return module_attr(STATE);
}

py::object log() {
    static const Name LOG{"log"};
    return module_attr(LOG);
}

py::object import_sibling(const char* sibling, const char* name) {
    static const Name PACKAGE{"__package__"};
    // By its absolute name, which the import finds in sys.modules without
    // importlib's Python code resolving the package; the relative import
    // where there is no package, for the error it gives.
    py::object package = attr_or(module(), PACKAGE);
    if (!PyUnicode_Check(package.ptr()) || PyUnicode_GET_LENGTH(package.ptr()) == 0) {
        return import_from(sibling, name, 1, module().attr("__dict__"));
    }
    const std::string absolute = py::str(package).cast<std::string>() + "." + sibling;
    return import_from(absolute.c_str(), name);
}

}  // namespace flowgate
