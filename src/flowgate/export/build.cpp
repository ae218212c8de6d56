#include "export/build.hpp"

namespace flowgate {
namespace {

[[noreturn]] void not_yet(const char* name) {
    raise(PyExc_NotImplementedError, std::string(name) + " is not implemented yet");
}

}  // namespace

py::tuple build(py::handle, py::handle, py::handle) { not_yet("build"); }

void heater(py::handle, py::handle, py::handle, py::handle, py::handle) { not_yet("_heater"); }

}  // namespace flowgate
