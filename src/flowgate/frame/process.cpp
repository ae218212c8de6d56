#include "frame/process.hpp"

#include <stdexcept>

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
    return import_from(sibling, name, 1, module().attr("__dict__"));
}

}  // namespace flowgate
