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

py::object caught_exception() {
    set_python_error();
    py::error_already_set e;
    if (!e.matches(PyExc_Exception)) throw e;
    return e.value();
}

}  // namespace flowgate
