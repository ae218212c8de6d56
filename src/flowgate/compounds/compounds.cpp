#include "compounds/compounds.hpp"

namespace flowgate {
namespace {

[[noreturn]] void not_yet(const char* name) {
    raise(PyExc_NotImplementedError, std::string(name) + " is not implemented yet");
}

}  // namespace

py::object compounds(py::handle) { not_yet("_compounds"); }

py::object compound_names(py::handle, py::handle) { not_yet("compound_names"); }

}  // namespace flowgate
