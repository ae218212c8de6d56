// Python's own semantics, reached through the C API.
//
// Host and DWSIM objects are Python objects: numbers, mappings and strings are
// converted, compared and tested the way the interpreter would do it, so that
// numpy scalars, None and odd inputs behave exactly as in Python code.
#pragma once

#include <pybind11/pybind11.h>

#include <string>
#include <utility>

namespace flowgate {

namespace py = pybind11;

// Throws the pending Python error as a C++ exception when `result` is null,
// otherwise takes ownership of the new reference.
py::object steal_or_throw(PyObject* result);

// A str made once, interned, and kept for the life of the process.
py::handle intern(const char* text);

// A name that the module reads again and again (a key, an attribute, a
// method): interned at its first use and kept, so that no call makes and
// hashes the string anew. Constant-initialised, so tables of them are safe
// at namespace scope.
class Name {
public:
    constexpr explicit Name(const char* text) : text_(text) {}
    py::handle get() const;
    const char* text() const { return text_; }

private:
    const char* text_;
    mutable PyObject* interned_ = nullptr;
};

// Raises `type` (a builtin exception class) with `message`.
[[noreturn]] void raise(PyObject* type, const std::string& message);
[[noreturn]] void raise(PyObject* type, py::handle message);

// float(x): a Python float, or the TypeError/ValueError that float() raises.
py::object to_float(py::handle x);

// float(x) as a C++ double; the exact float skips the call.
double as_double(py::handle x);

// int(x).
py::object to_int(py::handle x);

// bool(x), as `if x:` would test it.
bool truthy(py::handle x);

// x <op> y with Python's rich comparison; op is Py_LT, Py_EQ, Py_GT, ...
bool compare(py::handle x, int op, py::handle y);

// x == y.
bool equal(py::handle x, py::handle y);

// x == text, for a str compared with a constant of the module.
bool equal(py::handle x, const Name& text);
bool equal(py::handle x, const char* text);

// x in container.
bool contains(py::handle container, py::handle x);

// mapping.get(key, default): the mapping's own get method; an exact dict
// answers without the call.
py::object get(py::handle mapping, py::handle key, py::handle dflt = py::none());
py::object get(py::handle mapping, const Name& key, py::handle dflt = py::none());

// mapping[key].
py::object item(py::handle mapping, py::handle key);
py::object item(py::handle mapping, const Name& key);

// getattr(o, name).
py::object attr(py::handle o, const Name& name);

// getattr(o, name, default): only AttributeError gives the default.
py::object attr_or(py::handle o, const Name& name, py::handle dflt = py::none());

// setattr(o, name, value).
void set_attr(py::handle o, const Name& name, py::handle value);

// o.name(args...).
template <typename... Args>
py::object call_method(py::handle o, const Name& name, const Args&... args) {
    PyObject* argv[] = {o.ptr(), py::handle(args).ptr()...};
    return steal_or_throw(PyObject_VectorcallMethod(name.get().ptr(), argv, 1 + sizeof...(Args), nullptr));
}

// A keyword argument's name as vectorcall takes it, the tuple (name,):
// made at its first use and kept, like a Name.
class Keyword {
public:
    constexpr explicit Keyword(const char* text) : name_(text) {}
    PyObject* names() const;

private:
    Name name_;
    mutable PyObject* names_ = nullptr;
};

// f(args..., key=value), through vectorcall: no keyword dict is made.
template <typename... Args>
py::object call_with_keyword(py::handle f, const Keyword& key, py::handle value, const Args&... args) {
    PyObject* argv[] = {py::handle(args).ptr()..., value.ptr()};
    return steal_or_throw(PyObject_Vectorcall(f.ptr(), argv, sizeof...(Args), key.names()));
}

// ins, outs = pair: Python's unpacking of an iterable into two names, with
// its ValueError when the iterable has another length.
std::pair<py::object, py::object> unpack2(py::handle pair);

// for x in iterable: f(x). An exact list or tuple is walked in place,
// anything else through its iterator.
template <typename F>
void for_each(py::handle iterable, F&& f) {
    PyObject* seq = iterable.ptr();
    if (PyList_CheckExact(seq) || PyTuple_CheckExact(seq)) {
        // The size is read again at every step: f may run Python code that
        // shortens a list, as a for loop would see it.
        for (Py_ssize_t i = 0; i < PySequence_Fast_GET_SIZE(seq); ++i) {
            auto x = py::reinterpret_borrow<py::object>(PySequence_Fast_GET_ITEM(seq, i));
            f(x);
        }
        return;
    }
    py::object it = steal_or_throw(PyObject_GetIter(seq));
    while (PyObject* next = PyIter_Next(it.ptr())) f(py::reinterpret_steal<py::object>(next));
    if (PyErr_Occurred()) throw py::error_already_set();
}

// for key, value in mapping.items(): f(key, value). An exact dict is walked
// in place, with the RuntimeError that Python raises when it changes size;
// anything else through its own items().
template <typename F>
void for_each_item(py::handle mapping, F&& f) {
    PyObject* d = mapping.ptr();
    if (PyDict_CheckExact(d)) {
        const Py_ssize_t size = PyDict_GET_SIZE(d);
        Py_ssize_t pos = 0;
        PyObject *key, *value;  // borrowed
        while (PyDict_Next(d, &pos, &key, &value)) {
            auto k = py::reinterpret_borrow<py::object>(key);
            auto v = py::reinterpret_borrow<py::object>(value);
            f(k, v);
            if (PyDict_GET_SIZE(d) != size) raise(PyExc_RuntimeError, "dictionary changed size during iteration");
        }
        return;
    }
    static const Name ITEMS{"items"};
    for_each(call_method(mapping, ITEMS), [&](py::handle pair) {
        auto [k, v] = unpack2(pair);
        f(k, v);
    });
}

// list(x).
py::list to_list(py::handle x);

// Whether a str can cross into .NET: a lone surrogate (a JSON "\ud800", a
// file name's undecodable byte) has no UTF-16 form, and pythonnet aborts
// the process on it.
bool dotnet_safe(py::handle text);

// A ValueError naming `what` when `text` cannot cross into .NET.
void check_dotnet_safe(py::handle text, py::handle what);

// str(x).upper().
py::object upper(py::handle x);

// `from module import name`, with the ImportError that statement raises.
// With `level` 1 and the importing module's globals it is the relative
// `from .module import name`.
py::object import_from(const char* module, const char* name, int level = 0,
                       py::handle globals = py::handle());

// A builtin by name: sorted, sum, ... (not for use inside loops).
py::object builtin(const char* name);

}  // namespace flowgate
