#include "kinds/readback.hpp"

#include "access/surface.hpp"

namespace flowgate {

constexpr double KW = 1000.0;  // kW -> W

py::float_ or_zero(py::handle value) { return truthy(value) ? py::float_(to_float(value)) : py::float_(0.0); }

py::dict heater_spec(const Unit& u) {
    const dwsim::HeaterMode* mode = dwsim::heater_mode(u.o);
    py::dict spec;
    spec["dP"] = or_zero(dwsim::delta_p(u.o));
    if (mode == nullptr) {
        u.note("%s: mode %s has no Kelvane equivalent; the duty DWSIM calculated is taken", dwsim::mode_name(u.o));
        mode = &dwsim::HEAT_ADDED;
    }
    py::object value = dwsim::heater_value(u.o, *mode);
    if (mode == &dwsim::OUTLET_TEMPERATURE) {
        spec["T"] = to_float(value);
    } else if (mode == &dwsim::OUTLET_VAPOUR_FRACTION) {
        spec["vfrac"] = to_float(value);
    } else {
        spec["duty"] = py::float_(as_double(or_zero(value)) * KW);
    }
    return spec;
}

void Unit::note(const char* fmt, py::handle more) const {
    py::tuple args = more ? py::tuple(py::make_tuple(tag, more)) : py::tuple(py::make_tuple(tag));
    py::list list = notes;
    list.append(steal_or_throw(PyUnicode_Format(py::str(fmt).ptr(), args.ptr())));
}

bool Unit::flows_of(py::handle stream_tag, std::vector<double>& component_flows) const {
    py::object stream = get(objs, stream_tag);
    if (stream.is_none()) return false;
    const double total = as_double(dwsim::molar_flow(stream));
    component_flows.clear();
    py::object composition = dwsim::overall_composition(stream);
    for (py::handle x : composition) component_flows.push_back(total * as_double(x));
    return true;
}

}  // namespace flowgate
