#include "export/solve.hpp"

namespace flowgate {
namespace {

[[noreturn]] void not_yet(const char* name) {
    raise(PyExc_NotImplementedError, std::string(name) + " is not implemented yet");
}

}  // namespace

py::dict solve_dwsim(py::handle, py::handle, py::handle) { not_yet("solve_dwsim"); }

py::object export_file(py::handle, py::handle) { not_yet("export"); }

}  // namespace flowgate
