// PUMP, COMPR and VALVE: DWSIM units run at the outlet pressure that the
// pressure sweep gave; there is no default for one that it did not reach.
#include "access/surface.hpp"
#include "kinds/kind.hpp"
#include "kinds/readback.hpp"

namespace flowgate {
namespace {

constexpr double PERCENT = 100.0;

void specify(const Sheet& s, const Block& b, py::handle o, const dwsim::PressureUnit& unit) {
    static const Name EFFICIENCY{"efficiency"};
    dwsim::set_outlet_pressure_mode(o, s.at.U, unit);
    dwsim::set_outlet_pressure(o, unit, to_float(b.pout));
    if (unit.efficiency == nullptr) return;
    if (truthy(get(b.sp, EFFICIENCY))) {
        dwsim::set_efficiency(o, unit, py::float_(as_double(item(b.sp, EFFICIENCY)) * PERCENT));
    }
}

// The outlet pressure as the unit's mode fixes it: "P", a difference as
// "dP" (a drop; a pump's or compressor's rise is a negative one), or "ratio".
// An outlet pressure that is only a result is no specification: where the
// mode has no host equivalent, the pressure DWSIM calculated for the outlet
// is taken, and the notes say so.
py::dict read(const Unit& u, const dwsim::PressureUnit& unit, double rise) {
    py::dict spec;
    switch (dwsim::pressure_mode(u.o, unit)) {
        case dwsim::PressureMode::outlet:
            spec["P"] = to_float(dwsim::outlet_pressure(u.o, unit));
            break;
        case dwsim::PressureMode::difference:
            spec["dP"] = py::float_(rise * as_double(or_zero(dwsim::pressure_difference(u.o))));
            break;
        case dwsim::PressureMode::ratio:
            spec["ratio"] = to_float(dwsim::pressure_ratio(u.o));
            break;
        case dwsim::PressureMode::other: {
            u.note("%s: mode %s has no Kelvane equivalent; the outlet pressure DWSIM calculated is taken",
                   dwsim::mode_name(u.o));
            py::object out = truthy(u.outs) ? get(u.objs, item(u.outs, py::int_(0))) : py::none();
            spec["P"] = to_float(out.is_none() ? dwsim::outlet_pressure(u.o, unit) : dwsim::pressure(out));
        }
    }
    if (unit.efficiency != nullptr) spec["efficiency"] = py::float_(as_double(dwsim::efficiency(u.o, unit)) / PERCENT);
    return spec;
}

void translate_pump(Sheet& s, const Block& b) {
    py::object o = add_unit(s, PUMP, b);
    connect_single_inlet(s, PUMP, b, o);
    s.energy(b.name, o);
    specify(s, b, o, dwsim::PUMP);
}

void translate_compressor(Sheet& s, const Block& b) {
    py::object o = add_unit(s, COMPR, b);
    connect_single_inlet(s, COMPR, b, o);
    s.energy(b.name, o);
    specify(s, b, o, dwsim::COMPRESSOR);
}

void translate_valve(Sheet& s, const Block& b) {
    py::object o = add_unit(s, VALVE, b);
    connect_single_inlet(s, VALVE, b, o);
    specify(s, b, o, dwsim::VALVE);
}

py::dict read_pump(const Unit& u) { return read(u, dwsim::PUMP, -1.0); }
py::dict read_compressor(const Unit& u) { return read(u, dwsim::COMPRESSOR, -1.0); }
py::dict read_valve(const Unit& u) { return read(u, dwsim::VALVE, 1.0); }

}  // namespace

const Kind PUMP{"PUMP", Name{"Pump"}, "Pump", nullptr, 1, 1, Result::power, {{"Q-", ""}}, translate_pump, read_pump};
const Kind COMPR{"COMPR",    Name{"Compressor"}, "Compressor", nullptr, 1, 1, Result::power, {{"Q-", ""}},
                 translate_compressor, read_compressor};
const Kind VALVE{"VALVE", Name{"Valve"}, "Valve", nullptr, 1, 1, Result::duty, {}, translate_valve, read_valve};

}  // namespace flowgate
