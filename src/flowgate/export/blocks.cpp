#include "export/blocks.hpp"

#include "access/surface.hpp"
#include "export/build.hpp"
#include "frame/tables.hpp"

namespace flowgate {
namespace {

constexpr double ATMOSPHERE = 101325.0;  // Pa, for a block that no feed reaches

// One translated block, as the walk sees it.
struct Block {
    py::object name, sp, kind;
    py::object ins, outs;
    py::object x, y;
    py::object pin;   // lowest known inlet pressure, Pa
    py::object pout;  // known pressure of the first outlet, Pa, or None
};

py::object lowest_inlet_pressure(const Build& b, py::handle ins) {
    py::list known;
    for (py::handle s : ins) {
        if (b.P.contains(s)) known.append(b.P[s]);
    }
    return known.empty() ? py::float_(ATMOSPHERE) : builtin("min")(known);
}

py::object first_outlet_pressure(const Build& b, py::handle outs) {
    if (!truthy(outs)) return py::none();
    py::object first = outs[py::int_(0)];
    return truthy(first) ? get(b.P, first) : py::none();
}

// A heater, an intermediate stream and a vessel: the heater carries the
// flash's specification and the vessel splits its outlet.
void flash(Build& b, const Block& blk) {
    py::object h = dwsim::add_object(b.sim, dwsim::object_type(b.OT, py::str("Heater")),
                                     blk.x - py::int_(40), blk.y, blk.name + py::str("-H"));
    py::object mid = dwsim::add_object(b.sim, dwsim::object_type(b.OT, py::str("MaterialStream")),
                                       blk.x - py::int_(20), blk.y, blk.name + py::str("-F"));
    py::object v = dwsim::add_object(b.sim, dwsim::object_type(b.OT, py::str("Vessel")), blk.x, blk.y,
                                     blk.name);
    b.obj[blk.name] = v;
    b.obj[blk.name + py::str("-H")] = h;
    py::ssize_t j = 0;
    for (py::handle s : blk.ins) b.connect(b.obj[s], h, -1, j++);
    b.connect(h, mid);
    b.connect(mid, v);
    b.energy(blk.name, h);
    heater(b.U, h, blk.sp, blk.pin, blk.pout);
    b.connect(v, b.obj[blk.outs[py::int_(0)]], 0, 0);
    b.connect(v, b.obj[blk.outs[py::int_(1)]], 1, 0);
}

void mixer(Build& b, const Block& blk, py::handle o) {
    py::ssize_t j = 0;
    for (py::handle s : blk.ins) b.connect(b.obj[s], o, -1, j++);
    b.connect(o, b.obj[blk.outs[py::int_(0)]]);
}

// The other units take one inlet; each outlet keeps its host port number.
void connect_unit(Build& b, const Block& blk, py::handle o) {
    if (truthy(blk.ins)) b.connect(b.obj[blk.ins[py::int_(0)]], o, -1, 0);
    if (py::len(blk.ins) > 1) b.note("%s: inlets after the first one are left out (mix them before)", blk.name);
    py::ssize_t j = 0;
    for (py::handle s : blk.outs) {
        if (truthy(s)) b.connect(o, b.obj[s], j, 0);
        ++j;
    }
}

// Ratios for every port of the splitter, the last outlet taking the rest.
void splitter(Build&, const Block& blk, py::handle o) {
    py::list frac = steal_or_throw(PySequence_List(py::object(blk.sp[py::str("frac")]).ptr()));
    frac.append(py::float_(1.0) - builtin("sum")(frac));
    py::object ports = dwsim::output_count(o);
    while (compare(py::int_(py::len(frac)), Py_LT, ports)) frac.append(py::float_(0.0));
    dwsim::clear_ratios(o);
    for (py::handle f : frac) dwsim::add_ratio(o, to_float(f));
}

// The split of outlet 0 under the key 0 or "0", by integer component index.
py::dict outlet_zero_split(py::handle sp) {
    py::object g = sp[py::str("split")];
    py::object by_text = get(g, py::str("0"), py::dict());
    py::object entry = get(g, py::int_(0), by_text);
    py::dict split;
    if (!truthy(entry)) return split;
    for (py::handle item : entry.attr("items")()) {
        auto [k, v] = unpack2(item);
        split[to_int(k)] = v;
    }
    return split;
}

// Every component gets an entry for outlet 0; outlet 1 takes the rest.
void separator(Build& b, const Block& blk, py::handle o) {
    const py::ssize_t outlets = py::len(blk.outs);
    if (outlets != 2) {
        b.notes.append(py::str(blk.name) + py::str(": SEP with ") + py::str(py::int_(outlets)) +
                       py::str(" outlets (DWSIM: two)"));
    }
    dwsim::Separation sep = dwsim::import_separation();
    py::dict split = outlet_zero_split(blk.sp);
    dwsim::clear_separation(o);
    py::ssize_t i = 0;
    for (py::handle c : b.comps) {
        py::object fraction = get(split, py::int_(i++), py::float_(0.0));
        py::object name = b.names[c];
        dwsim::add_separation(o, sep, name, py::float_(as_double(fraction) * 100.0));
    }
    dwsim::separate_outlet_zero(o);
    b.energy(blk.name, o, false);
}

void heater_unit(Build& b, const Block& blk, py::handle o) {
    b.energy(blk.name, o);
    heater(b.U, o, blk.sp, blk.pin, blk.pout);
}

// Pumps, compressors and valves run at the outlet pressure that the
// pressure sweep gave; there is no default for one that it did not reach.
void outlet_pressure(const Build& b, const Block& blk, py::handle o, const dwsim::PressureUnit& unit) {
    dwsim::set_outlet_pressure_mode(o, b.U, unit);
    dwsim::set_outlet_pressure(o, unit, to_float(blk.pout));
    if (unit.efficiency == nullptr) return;
    if (truthy(get(blk.sp, py::str("efficiency")))) {
        dwsim::set_efficiency(o, unit, py::float_(as_double(blk.sp[py::str("efficiency")]) * 100.0));
    }
}

void pump(Build& b, const Block& blk, py::handle o) {
    b.energy(blk.name, o);
    outlet_pressure(b, blk, o, dwsim::PUMP);
}

void compressor(Build& b, const Block& blk, py::handle o) {
    b.energy(blk.name, o);
    outlet_pressure(b, blk, o, dwsim::COMPRESSOR);
}

void valve(Build& b, const Block& blk, py::handle o) { outlet_pressure(b, blk, o, dwsim::VALVE); }

using Specify = void (*)(Build&, const Block&, py::handle);

// What each one-unit kind sets once its streams are connected; a mixer has
// nothing to set.
constexpr struct {
    const char* kind;
    Specify specify;
} SPECIFY[] = {
    {"FSPLIT", splitter}, {"SEP", separator}, {"HEATER", heater_unit},
    {"PUMP", pump},       {"COMPR", compressor}, {"VALVE", valve},
};

void translate(Build& b, const Block& blk) {
    if (equal(blk.kind, py::str("FLASH2"))) return flash(b, blk);
    py::object member = table("KINDS")[blk.kind];
    py::object type = dwsim::object_type(b.OT, member);
    py::object o = dwsim::add_object(b.sim, type, blk.x, blk.y, blk.name);
    b.obj[blk.name] = o;
    if (equal(blk.kind, py::str("MIXER"))) return mixer(b, blk, o);
    connect_unit(b, blk, o);
    for (const auto& row : SPECIFY) {
        if (equal(blk.kind, py::str(row.kind))) return row.specify(b, blk, o);
    }
}

}  // namespace

void heater(py::handle U, py::handle h, py::handle sp, py::handle pin, py::handle pout) {
    if (!get(sp, py::str("T")).is_none()) {
        dwsim::set_heater_mode(h, U, dwsim::OUTLET_TEMPERATURE);
        dwsim::set_heater_value(h, dwsim::OUTLET_TEMPERATURE, to_float(sp[py::str("T")]));
    } else if (!get(sp, py::str("vfrac")).is_none()) {
        dwsim::set_heater_mode(h, U, dwsim::OUTLET_VAPOUR_FRACTION);
        dwsim::set_heater_value(h, dwsim::OUTLET_VAPOUR_FRACTION, to_float(sp[py::str("vfrac")]));
    } else {
        dwsim::set_heater_mode(h, U, dwsim::HEAT_ADDED);
        py::object duty = get(sp, py::str("duty"));
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

void translate_blocks(Build& b) {
    py::list skipped;
    py::object kinds = table("KINDS");
    py::object ports = b.fs.attr("ports");
    py::ssize_t k = 0;
    for (py::handle item : b.fs.attr("blocks").attr("items")()) {
        auto [name, block] = unpack2(item);
        auto [ins, outs] = unpack2(ports[name]);
        py::object sp = block.attr("spec");
        py::object kind = block.attr("kind");
        if (contains(kinds, kind)) {
            auto [x, y] = b.xy(name, k);
            translate(b, {name, sp, kind, ins, outs, x, y, lowest_inlet_pressure(b, ins),
                          first_outlet_pressure(b, outs)});
        } else {
            skipped.append(py::str(name) + py::str(" (") + py::str(kind) + py::str(")"));
        }
        ++k;
    }
    if (!skipped.empty()) {
        b.note("not exported (no DWSIM block here): %s", py::str(", ").attr("join")(skipped));
    }
}

}  // namespace flowgate
