#include "export/parameters.hpp"

namespace flowgate {
namespace {

[[noreturn]] void not_yet(const char* name) {
    raise(PyExc_NotImplementedError, std::string(name) + " is not implemented yet");
}

}  // namespace

void set_parameters(py::handle, py::handle, py::handle, py::handle) { not_yet("_set_parameters"); }

}  // namespace flowgate
