// HEATER: a DWSIM Heater with its energy stream; a Cooler reads back as one.
#include "access/surface.hpp"
#include "kinds/kind.hpp"
#include "kinds/readback.hpp"

namespace flowgate {
namespace {

void translate(Sheet& s, const Block& b) {
    py::object o = add_unit(s, HEATER, b);
    connect_single_inlet(s, HEATER, b, o);
    s.energy(b.name, o);
    heater(s.at.U, o, b.sp, b.pin, b.pout);
}

py::dict readback(const Unit& u) { return heater_spec(u); }

}  // namespace

const Kind HEATER{"HEATER", Name{"Heater"}, "Heater", "Cooler", 1, 1, Result::duty, {{"Q-", ""}}, translate,
                  readback};

void heater(py::handle U, py::handle h, py::handle sp, py::handle pin, py::handle pout) {
    static const Name T{"T"}, VFRAC{"vfrac"}, DUTY{"duty"};
    if (!get(sp, T).is_none()) {
        dwsim::set_heater_mode(h, U, dwsim::OUTLET_TEMPERATURE);
        dwsim::set_heater_value(h, dwsim::OUTLET_TEMPERATURE, to_float(item(sp, T)));
    } else if (!get(sp, VFRAC).is_none()) {
        dwsim::set_heater_mode(h, U, dwsim::OUTLET_VAPOUR_FRACTION);
        dwsim::set_heater_value(h, dwsim::OUTLET_VAPOUR_FRACTION, to_float(item(sp, VFRAC)));
    } else {
        dwsim::set_heater_mode(h, U, dwsim::HEAT_ADDED);
        py::object duty = get(sp, DUTY);
        const double kw = (truthy(duty) ? as_double(duty) : 0.0) / 1000.0;
        dwsim::set_heater_value(h, dwsim::HEAT_ADDED, py::float_(kw));
    }
    // A heater only ever drops the pressure.
    double drop = 0.0;
    if (!pout.is_none()) {
        const double d = as_double(pin) - as_double(pout);
        if (d > 0.0) drop = d;
    }
    dwsim::set_pressure_drop(h, py::float_(drop));
}

}  // namespace flowgate
