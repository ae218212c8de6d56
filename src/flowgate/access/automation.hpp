// The one DWSIM automation instance of the process.
#pragma once

#include "frame/python.hpp"

namespace flowgate {

// (Automation3 instance, {"ObjectType", "U", "System", "clr"}), loaded once.
py::tuple automation();

}  // namespace flowgate
