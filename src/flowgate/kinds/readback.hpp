// Readback shared by the kinds whose DWSIM units carry a heater's members.
#pragma once

#include "kinds/kind.hpp"

namespace flowgate {

// "dP", then "T", "vfrac" or "duty" by the unit's calculation mode; a mode
// the host has no heater for is read as the duty DWSIM calculated.
py::dict heater_spec(const Unit& u);

// A number that may be missing or null: 0.0 then, as DWSIM's own default.
py::float_ or_zero(py::handle value);

}  // namespace flowgate
