#include "frame/python.hpp"

namespace flowgate {

py::object steal_or_throw(PyObject* result) {
    if (result == nullptr) throw py::error_already_set();
    return py::reinterpret_steal<py::object>(result);
}

py::handle intern(const char* text) {
    PyObject* name = PyUnicode_InternFromString(text);
    if (name == nullptr) throw py::error_already_set();
    return name;
}

void raise(PyObject* type, const std::string& message) {
    PyErr_SetString(type, message.c_str());
    throw py::error_already_set();
}

py::object to_float(py::handle x) { return steal_or_throw(PyNumber_Float(x.ptr())); }

double as_double(py::handle x) { return PyFloat_AS_DOUBLE(to_float(x).ptr()); }

py::object to_int(py::handle x) { return steal_or_throw(PyNumber_Long(x.ptr())); }

bool truthy(py::handle x) {
    int r = PyObject_IsTrue(x.ptr());
    if (r < 0) throw py::error_already_set();
    return r == 1;
}

bool compare(py::handle x, int op, py::handle y) {
    int r = PyObject_RichCompareBool(x.ptr(), y.ptr(), op);
    if (r < 0) throw py::error_already_set();
    return r == 1;
}

bool equal(py::handle x, py::handle y) { return compare(x, Py_EQ, y); }

bool contains(py::handle container, py::handle x) {
    int r = PySequence_Contains(container.ptr(), x.ptr());
    if (r < 0) throw py::error_already_set();
    return r == 1;
}

py::object get(py::handle mapping, py::handle key, py::handle dflt) {
    static const py::handle GET = intern("get");
    return steal_or_throw(PyObject_CallMethodObjArgs(mapping.ptr(), GET.ptr(), key.ptr(), dflt.ptr(), nullptr));
}

py::object attr_or(py::handle o, const char* name, py::handle dflt) {
    PyObject* value = PyObject_GetAttrString(o.ptr(), name);
    if (value != nullptr) return py::reinterpret_steal<py::object>(value);
    if (!PyErr_ExceptionMatches(PyExc_AttributeError)) throw py::error_already_set();
    PyErr_Clear();
    return py::reinterpret_borrow<py::object>(dflt);
}

std::pair<py::object, py::object> unpack2(py::handle pair) {
    py::object it = steal_or_throw(PyObject_GetIter(pair.ptr()));
    py::object items[2];
    for (int i = 0; i < 2; ++i) {
        PyObject* next = PyIter_Next(it.ptr());
        if (next == nullptr) {
            if (PyErr_Occurred()) throw py::error_already_set();
            throw py::value_error("not enough values to unpack (expected 2, got " +
                                  std::to_string(i) + ")");
        }
        items[i] = py::reinterpret_steal<py::object>(next);
    }
    auto extra = py::reinterpret_steal<py::object>(PyIter_Next(it.ptr()));
    if (extra) throw py::value_error("too many values to unpack (expected 2)");
    if (PyErr_Occurred()) throw py::error_already_set();
    return {std::move(items[0]), std::move(items[1])};
}

py::object import_from(const char* module, const char* name, int level, py::handle globals) {
    py::tuple fromlist = py::make_tuple(name);
    py::object mod = steal_or_throw(PyImport_ImportModuleLevel(
        module, globals.ptr(), nullptr, fromlist.ptr(), level));
    PyObject* value = PyObject_GetAttrString(mod.ptr(), name);
    if (value != nullptr) return py::reinterpret_steal<py::object>(value);
    if (!PyErr_ExceptionMatches(PyExc_AttributeError)) throw py::error_already_set();
    PyErr_Clear();
    PyErr_Format(PyExc_ImportError, "cannot import name '%s' from '%U'", name,
                 py::str(mod.attr("__name__")).ptr());
    throw py::error_already_set();
}

py::object builtin(const char* name) {
    return py::module_::import("builtins").attr(name);
}

}  // namespace flowgate
