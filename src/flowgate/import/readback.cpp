// Specifications of host blocks read back from DWSIM units.
#include "import/model.hpp"

#include <algorithm>

namespace flowgate {
namespace {

constexpr double KW = 1000.0;      // kW -> W
constexpr double PERCENT = 100.0;  // percent -> fraction

py::float_ fraction(py::handle percent) { return py::float_(as_double(percent) / PERCENT); }

// A number that may be missing or null: 0.0 then, as DWSIM's own default.
py::float_ or_zero(py::handle value) {
    return truthy(value) ? py::float_(to_float(value)) : py::float_(0.0);
}

// Fractions of all outlets but the last, from the ratios kept for the
// connected outlets (at least one).
py::dict splitter_spec(py::handle o, py::handle outs) {
    py::list ratios;
    for (py::handle r : o.attr("Ratios")) ratios.append(to_float(r));
    const std::size_t kept = std::min(std::max<std::size_t>(py::len(outs), 1), py::len(ratios));
    py::list frac;
    for (std::size_t i = 0; i + 1 < kept; ++i) frac.append(ratios[i]);
    if (kept < 2) frac.append(py::float_(1.0));
    py::dict spec;
    spec["frac"] = frac;
    return spec;
}

// Each entry's value as a fraction of its compound's inlet flow to outlet
// 0, by the entry's position among the unit's own entries.
py::dict separator_spec(py::handle o) {
    py::object specs = o.attr("ComponentSepSpecs");
    py::dict split;
    py::ssize_t i = 0;
    for (py::handle key : specs.attr("Keys")) {
        split[py::int_(i++)] = fraction(specs[key].attr("SpecValue"));
    }
    py::dict spec;
    spec[py::int_(0)] = split;
    py::dict result;
    result["split"] = spec;
    return result;
}

py::dict heater_spec(py::handle o) {
    py::str mode(attr_or(o, "CalcMode", py::str("")));
    py::dict spec;
    spec["dP"] = or_zero(attr_or(o, "DeltaP"));
    if (mode.contains("OutletTemperature")) {
        spec["T"] = to_float(o.attr("OutletTemperature"));
    } else if (mode.contains("OutletVaporFraction")) {
        spec["vfrac"] = to_float(o.attr("OutletVaporFraction"));
    } else {
        spec["duty"] = py::float_(as_double(or_zero(o.attr("DeltaQ"))) * KW);
    }
    return spec;
}

py::dict vessel_spec(py::handle o) {
    py::dict spec;
    spec["dP"] = or_zero(attr_or(o, "DeltaP"));
    if (truthy(attr_or(o, "OverrideT", py::bool_(false)))) {
        spec["T"] = to_float(o.attr("FlashTemperature"));
    } else {
        spec["duty"] = py::float_(0.0);
    }
    if (truthy(attr_or(o, "OverrideP", py::bool_(false)))) {
        spec["P"] = to_float(o.attr("FlashPressure"));
        spec.attr("pop")("dP");
    }
    return spec;
}

// Outlet pressure and, where the unit has one, its efficiency.
py::dict pressure_unit_spec(py::handle o, const char* outlet, const char* efficiency) {
    py::dict spec;
    spec["P"] = to_float(o.attr(outlet));
    if (efficiency != nullptr) spec["efficiency"] = fraction(o.attr(efficiency));
    return spec;
}

}  // namespace

py::dict spec_of(py::handle kind, py::handle o, py::handle, py::handle, py::handle outs, py::handle) {
    auto is = [&](const char* k) { return equal(kind, py::str(k)); };
    if (is("FSPLIT")) return splitter_spec(o, outs);
    if (is("SEP")) return separator_spec(o);
    if (is("HEATER")) return heater_spec(o);
    if (is("FLASH2")) return vessel_spec(o);
    if (is("PUMP")) return pressure_unit_spec(o, "Pout", "Efficiency");
    if (is("COMPR")) return pressure_unit_spec(o, "POut", "AdiabaticEfficiency");
    if (is("VALVE")) return pressure_unit_spec(o, "OutletPressure", nullptr);
    return py::dict();  // a mixer, and any other kind, has no specification
}

}  // namespace flowgate
