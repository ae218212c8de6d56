// Readback shared by the kinds whose DWSIM units carry a heater's members.
#pragma once

#include "frame/python.hpp"

namespace flowgate {

// "dP", then "T", "vfrac" or "duty" by the unit's calculation mode.
py::dict heater_spec(py::handle o);

// A number that may be missing or null: 0.0 then, as DWSIM's own default.
py::float_ or_zero(py::handle value);

}  // namespace flowgate
