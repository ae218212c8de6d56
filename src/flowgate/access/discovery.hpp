// Where DWSIM is installed, and whether the link can be used at all.
#pragma once

#include "frame/python.hpp"

namespace flowgate {

// The first candidate folder that holds DWSIM.Automation.dll, or None.
py::object folder();

// True when a folder is found and pythonnet can be imported.
py::object available();

}  // namespace flowgate
