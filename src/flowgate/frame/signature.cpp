#include "frame/signature.hpp"

#include <cstring>
#include <string>

namespace flowgate {
namespace {

[[noreturn]] void type_error(const Signature& sig, const std::string& what) {
    throw py::type_error(std::string(sig.name) + "() " + what);
}

std::string plural(std::size_t n, const char* word) {
    return std::to_string(n) + " " + word + (n == 1 ? "" : "s");
}

}  // namespace

std::array<py::handle, 6> bind(const Signature& sig, PyObject* const* args, Py_ssize_t nargs,
                               PyObject* kwnames) {
    std::array<py::handle, 6> bound{};
    const auto given = static_cast<std::size_t>(nargs);
    if (given > sig.count) {
        type_error(sig, "takes " + plural(sig.count, "positional argument") + " but " +
                            std::to_string(given) + (given == 1 ? " was" : " were") + " given");
    }
    for (std::size_t i = 0; i < given; ++i) bound[i] = args[i];

    const Py_ssize_t nkw = kwnames ? PyTuple_GET_SIZE(kwnames) : 0;
    for (Py_ssize_t k = 0; k < nkw; ++k) {
        const char* key = PyUnicode_AsUTF8(PyTuple_GET_ITEM(kwnames, k));
        if (key == nullptr) throw py::error_already_set();
        std::size_t i = 0;
        while (i < sig.count && std::strcmp(sig.params[i], key) != 0) ++i;
        if (i == sig.count) type_error(sig, "got an unexpected keyword argument '" + std::string(key) + "'");
        if (bound[i]) type_error(sig, "got multiple values for argument '" + std::string(key) + "'");
        bound[i] = args[nargs + k];
    }
    for (std::size_t i = 0; i < sig.count; ++i) {
        if (bound[i]) continue;
        if (i < sig.required) {
            type_error(sig, "missing required argument '" + std::string(sig.params[i]) + "'");
        }
        bound[i] = Py_None;
    }
    return bound;
}

}  // namespace flowgate
