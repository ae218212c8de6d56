#include "import/model.hpp"

namespace flowgate {
namespace {

[[noreturn]] void not_yet(const char* name) {
    raise(PyExc_NotImplementedError, std::string(name) + " is not implemented yet");
}

}  // namespace

py::tuple import_model(py::handle) { not_yet("import_model"); }

py::dict spec_of(py::handle, py::handle, py::handle, py::handle, py::handle, py::handle) {
    not_yet("_spec_of");
}

}  // namespace flowgate
