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

py::handle Name::get() const {
    if (interned_ == nullptr) interned_ = intern(text_).ptr();
    return interned_;
}

PyObject* Keyword::names() const {
    if (names_ == nullptr) names_ = py::make_tuple(name_.get()).release().ptr();
    return names_;
}

void raise(PyObject* type, const std::string& message) {
    PyErr_SetString(type, message.c_str());
    throw py::error_already_set();
}

void raise(PyObject* type, py::handle message) {
    PyErr_SetObject(type, message.ptr());
    throw py::error_already_set();
}

py::object to_float(py::handle x) {
    if (PyFloat_CheckExact(x.ptr())) return py::reinterpret_borrow<py::object>(x);
    return steal_or_throw(PyNumber_Float(x.ptr()));
}

double as_double(py::handle x) {
    if (PyFloat_CheckExact(x.ptr())) return PyFloat_AS_DOUBLE(x.ptr());
    return PyFloat_AS_DOUBLE(to_float(x).ptr());
}

py::object to_int(py::handle x) { return steal_or_throw(PyNumber_Long(x.ptr())); }

bool truthy(py::handle x) {
    const int r = PyObject_IsTrue(x.ptr());
    if (r < 0) throw py::error_already_set();
    return r == 1;
}

bool compare(py::handle x, int op, py::handle y) {
    const int r = PyObject_RichCompareBool(x.ptr(), y.ptr(), op);
    if (r < 0) throw py::error_already_set();
    return r == 1;
}

bool equal(py::handle x, py::handle y) { return compare(x, Py_EQ, y); }

bool equal(py::handle x, const Name& text) {
    if (PyUnicode_CheckExact(x.ptr())) return PyUnicode_Compare(x.ptr(), text.get().ptr()) == 0;
    return equal(x, text.get());
}

bool equal(py::handle x, const char* text) {
    if (PyUnicode_CheckExact(x.ptr())) return PyUnicode_CompareWithASCIIString(x.ptr(), text) == 0;
    return equal(x, py::str(text));
}

bool contains(py::handle container, py::handle x) {
    const int r = PySequence_Contains(container.ptr(), x.ptr());
    if (r < 0) throw py::error_already_set();
    return r == 1;
}

py::object get(py::handle mapping, py::handle key, py::handle dflt) {
    if (PyDict_CheckExact(mapping.ptr())) {
        PyObject* value = PyDict_GetItemWithError(mapping.ptr(), key.ptr());  // borrowed
        if (value != nullptr) return py::reinterpret_borrow<py::object>(value);
        if (PyErr_Occurred()) throw py::error_already_set();
        return py::reinterpret_borrow<py::object>(dflt);
    }
    static const Name GET{"get"};
    return call_method(mapping, GET, key, dflt);
}

py::object get(py::handle mapping, const Name& key, py::handle dflt) {
    return get(mapping, key.get(), dflt);
}

py::object item(py::handle mapping, py::handle key) {
    if (PyDict_CheckExact(mapping.ptr())) {
        PyObject* value = PyDict_GetItemWithError(mapping.ptr(), key.ptr());  // borrowed
        if (value != nullptr) return py::reinterpret_borrow<py::object>(value);
        if (PyErr_Occurred()) throw py::error_already_set();
    }
    // Also the miss of an exact dict, for the KeyError that Python makes.
    return steal_or_throw(PyObject_GetItem(mapping.ptr(), key.ptr()));
}

py::object item(py::handle mapping, const Name& key) { return item(mapping, key.get()); }

py::object attr(py::handle o, const Name& name) {
    return steal_or_throw(PyObject_GetAttr(o.ptr(), name.get().ptr()));
}

py::object attr_or(py::handle o, const Name& name, py::handle dflt) {
    PyObject* value = PyObject_GetAttr(o.ptr(), name.get().ptr());
    if (value != nullptr) return py::reinterpret_steal<py::object>(value);
    if (!PyErr_ExceptionMatches(PyExc_AttributeError)) throw py::error_already_set();
    PyErr_Clear();
    return py::reinterpret_borrow<py::object>(dflt);
}

void set_attr(py::handle o, const Name& name, py::handle value) {
    if (PyObject_SetAttr(o.ptr(), name.get().ptr(), value.ptr()) < 0) throw py::error_already_set();
}

std::pair<py::object, py::object> unpack2(py::handle pair) {
    if (PyTuple_CheckExact(pair.ptr()) && PyTuple_GET_SIZE(pair.ptr()) == 2) {
        return {py::reinterpret_borrow<py::object>(PyTuple_GET_ITEM(pair.ptr(), 0)),
                py::reinterpret_borrow<py::object>(PyTuple_GET_ITEM(pair.ptr(), 1))};
    }
    py::object it = steal_or_throw(PyObject_GetIter(pair.ptr()));
    py::object items[2];
    for (int i = 0; i < 2; ++i) {
        PyObject* next = PyIter_Next(it.ptr());
        if (next == nullptr) {
            if (PyErr_Occurred()) throw py::error_already_set();
            raise(PyExc_ValueError, "not enough values to unpack (expected 2, got " + std::to_string(i) + ")");
        }
        items[i] = py::reinterpret_steal<py::object>(next);
    }
    auto extra = py::reinterpret_steal<py::object>(PyIter_Next(it.ptr()));
    if (extra) raise(PyExc_ValueError, "too many values to unpack (expected 2)");
    if (PyErr_Occurred()) throw py::error_already_set();
    return {std::move(items[0]), std::move(items[1])};
}

bool dotnet_safe(py::handle text) {
    if (!PyUnicode_Check(text.ptr())) return true;  // not text: pythonnet's own rules apply
    if (PyUnicode_AsUTF8AndSize(text.ptr(), nullptr) != nullptr) return true;
    PyErr_Clear();
    return false;
}

void check_dotnet_safe(py::handle text, py::handle what) {
    if (dotnet_safe(text)) return;
    raise(PyExc_ValueError, py::str("{} {!r} cannot go to DWSIM: it holds a lone surrogate, which .NET text cannot hold")
                                .format(what, text));
}

py::list to_list(py::handle x) {
    return py::reinterpret_steal<py::list>(steal_or_throw(PySequence_List(x.ptr())).release());
}

py::object upper(py::handle x) {
    static const Name UPPER{"upper"};
    return call_method(x, UPPER);
}

py::object import_from(const char* module, const char* name, int level, py::handle globals) {
    py::tuple fromlist = py::make_tuple(name);
    py::object mod = steal_or_throw(PyImport_ImportModuleLevel(module, globals.ptr(), nullptr, fromlist.ptr(), level));
    PyObject* value = PyObject_GetAttrString(mod.ptr(), name);
    if (value != nullptr) return py::reinterpret_steal<py::object>(value);
    if (!PyErr_ExceptionMatches(PyExc_AttributeError)) throw py::error_already_set();
    PyErr_Clear();
    PyErr_Format(PyExc_ImportError, "cannot import name '%s' from '%U'", name, py::str(mod.attr("__name__")).ptr());
    throw py::error_already_set();
}

py::object builtin(const char* name) { return py::module_::import("builtins").attr(name); }

}  // namespace flowgate
