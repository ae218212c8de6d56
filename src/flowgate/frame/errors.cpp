#include "frame/errors.hpp"

#include <exception>

namespace flowgate {

void set_python_error() noexcept {
    try {
        throw;
    } catch (py::error_already_set& e) {
        e.restore();
    } catch (py::builtin_exception& e) {
        e.set_error();
    } catch (const std::exception& e) {
        PyErr_SetString(PyExc_RuntimeError, e.what());
    } catch (...) {
        PyErr_SetString(PyExc_RuntimeError, "unknown C++ exception in kelvane.flowgate");
    }
}

void add_note(py::handle e, py::handle text) noexcept {
    PyObject* done = PyObject_CallMethod(e.ptr(), "add_note", "O", text.ptr());
    if (done == nullptr) {
        PyErr_Clear();
    } else {
        Py_DECREF(done);
    }
}

py::object caught_exception() {
    set_python_error();
    py::error_already_set e;
    if (!e.matches(PyExc_Exception)) throw e;
    return e.value();
}

}  // namespace flowgate
