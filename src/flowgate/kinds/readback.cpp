#include "kinds/readback.hpp"

#include "access/surface.hpp"

namespace flowgate {

constexpr double KW = 1000.0;  // kW -> W

py::float_ or_zero(py::handle value) { return truthy(value) ? py::float_(to_float(value)) : py::float_(0.0); }

py::dict heater_spec(py::handle o) {
    const dwsim::HeaterMode& mode = dwsim::heater_mode(o);
    py::dict spec;
    spec["dP"] = or_zero(dwsim::delta_p(o));
    py::object value = dwsim::heater_value(o, mode);
    if (&mode == &dwsim::OUTLET_TEMPERATURE) {
        spec["T"] = to_float(value);
    } else if (&mode == &dwsim::OUTLET_VAPOUR_FRACTION) {
        spec["vfrac"] = to_float(value);
    } else {
        spec["duty"] = py::float_(as_double(or_zero(value)) * KW);
    }
    return spec;
}

}  // namespace flowgate
