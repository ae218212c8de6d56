// The one DWSIM automation instance of the process.
#pragma once

#include "frame/python.hpp"

namespace flowgate {

// The automation state as the code uses it: the Automation3 instance, the
// mapping of modules that `_STATE` keeps beside it, and the two modules of it
// that the translation reads.
struct Automation {
    py::object a;           // Automation3
    py::object m;           // {"ObjectType", "U", "System", "clr"}
    py::object ObjectType;  // DWSIM.Interfaces.Enums.GraphicObjects.ObjectType
    py::object U;           // DWSIM.UnitOperations.UnitOperations
};

// (Automation3 instance, modules) of this process, loaded at the first call.
py::tuple automation();

// The same as the struct.
Automation automation_state();

// The state made of a given instance and modules mapping; a mapping that
// lacks a module raises as item lookup does.
Automation automation_of(py::handle a, py::handle m);

}  // namespace flowgate
