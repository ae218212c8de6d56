#include "export/build.hpp"

#include "access/surface.hpp"
#include "compounds/compounds.hpp"
#include "export/parameters.hpp"
#include "export/pressures.hpp"
#include "frame/errors.hpp"
#include "frame/process.hpp"
#include "frame/tables.hpp"
#include "kinds/kind.hpp"

namespace flowgate {
namespace {

constexpr double ATMOSPHERE = 101325.0;  // Pa, for a block that no feed reaches

const Name PP{"pp"}, COMPONENTS{"components"}, PORTS{"ports"}, FEEDS{"feeds"}, BLOCKS{"blocks"}, ITEMS{"items"},
    VALUES{"values"};

// The property package named by METHODS, or DWSIM's NRTL with a note, with
// the host's binary parameters as far as they go.
void add_package(Sheet& s) {
    static const Name METHOD{"method"}, METHODS{"METHODS"};
    py::object pp = attr(s.fs, PP);
    py::object method = attr(pp, METHOD);
    py::object dw = get(table(METHODS), method);
    if (dw.is_none()) {
        dw = py::str("NRTL");
        s.note("property method %s: NRTL of DWSIM", method);
    }
    py::object pkg = dwsim::add_property_package(s.sim, dw);
    py::object failure = exception_of([&] { set_parameters(pkg, attr(s.fs, PP), s.names, method); });
    if (!failure.is_none()) s.note("binary parameters not transferred (%s)", failure);
}

bool has_electrolytes(py::handle fs) {
    static const Name ELEC{"elec"}, REACTIONS{"reactions"}, TYPE{"type"}, EMPTY{""};
    if (!attr_or(attr(fs, PP), ELEC).is_none()) return true;
    py::object reactions = attr_or(fs, REACTIONS);
    if (!truthy(reactions)) return false;
    py::object values = call_method(reactions, VALUES);
    for (py::handle r : values) {
        if (equal(upper(py::str(get(r, TYPE, EMPTY.get()))), "CHEMISTRY")) return true;
    }
    return false;
}

// Every stream named at a port or as a feed, in sorted order, as DWSIM
// material streams.
void add_streams(Sheet& s) {
    py::set streams;
    py::object ports = call_method(attr(s.fs, PORTS), VALUES);
    for (py::handle pair : ports) {
        auto [ins, outs] = unpack2(pair);
        py::object both = steal_or_throw(PyNumber_Add(ins.ptr(), outs.ptr()));
        for (py::handle name : both) {
            if (truthy(name)) streams.add(name);
        }
    }
    py::object feeds = attr(s.fs, FEEDS);
    for (py::handle n : feeds) streams.add(n);

    py::object type = dwsim::object_type(s.at.ObjectType, dwsim::MATERIAL_STREAM);
    py::ssize_t k = 0;
    for (py::handle name : builtin("sorted")(streams)) {
        auto [x, y] = s.xy(name, k++);
        s.obj[name] = dwsim::add_object(s.sim, type, x, y, name);
    }
}

// A feed's state; its vapour fraction has no place in DWSIM, where the
// stream is given a temperature instead.
void set_feed(Sheet& s, py::handle n, py::handle feed) {
    static const Name T_{"T"}, P_{"P"}, FLOWS{"flows"}, VFRAC{"vfrac"}, NP{"np"}, SUM{"sum"};
    py::object o = item(s.obj, n);
    py::object T = attr(feed, T_);
    dwsim::set_temperature(o, T.is_none() ? py::float_(298.15) : to_float(T));
    dwsim::set_pressure(o, to_float(attr(feed, P_)));
    py::object flows = attr(feed, FLOWS);
    py::object F = to_float(call_method(module_attr(NP), SUM, flows));
    dwsim::set_molar_flow(o, py::float_(as_double(F) * 1000.0));
    py::list x;
    for (py::handle f : flows) x.append(steal_or_throw(PyNumber_TrueDivide(to_float(f).ptr(), F.ptr())));
    dwsim::set_overall_composition(o, s.doubles(x));
    if (T.is_none() && !attr_or(feed, VFRAC).is_none()) {
        s.note("feed %s: vapor fraction given, its temperature is solved by Kelvane", n);
    }
}

// The lowest known pressure of the inlets, or one atmosphere.
py::object lowest_inlet_pressure(const Sheet& s, py::handle ins) {
    py::list known;
    for (py::handle name : ins) {
        if (s.P.contains(name)) known.append(s.P[name]);
    }
    return known.empty() ? py::float_(ATMOSPHERE) : builtin("min")(known);
}

py::object first_outlet_pressure(const Sheet& s, py::handle outs) {
    if (!truthy(outs)) return py::none();
    py::object first = item(outs, py::int_(0));
    return truthy(first) ? get(s.P, first) : py::none();
}

// Adds, connects and specifies a unit for each block of a translated kind,
// in the order of fs.blocks; the others are named in one note.
void translate_blocks(Sheet& s) {
    static const Name SPEC{"spec"}, KIND{"kind"};
    py::list skipped;
    py::object ports = attr(s.fs, PORTS);
    py::object blocks = call_method(attr(s.fs, BLOCKS), ITEMS);
    py::ssize_t k = 0;
    for (py::handle entry : blocks) {
        auto [name, block] = unpack2(entry);
        auto [ins, outs] = unpack2(item(ports, name));
        py::object sp = attr(block, SPEC);
        py::object kind = attr(block, KIND);
        if (const Kind* row = find_kind(kind)) {
            auto [x, y] = s.xy(name, k);
            row->translate(s, {name, sp, kind, ins, outs, x, y, lowest_inlet_pressure(s, ins),
                               first_outlet_pressure(s, outs)});
        } else {
            skipped.append(py::str(name) + py::str(" (") + py::str(kind) + py::str(")"));
        }
        ++k;
    }
    if (!skipped.empty()) s.note("not exported (no DWSIM block here): %s", py::str(", ").attr("join")(skipped));
}

}  // namespace

Built build(py::handle fs, const Automation& at) {
    static const Name POSITIONS{"positions"};
    Sheet s;
    s.at = at;
    s.fs = py::reinterpret_borrow<py::object>(fs);
    s.doubles = dwsim::double_array_type();
    s.sim = dwsim::create_flowsheet(at.a);
    s.names = compound_names(fs, s.sim);
    py::object components = attr(attr(fs, PP), COMPONENTS);
    for (py::handle c : components) dwsim::add_compound(s.sim, item(s.names, c));

    add_package(s);
    if (has_electrolytes(fs)) s.notes.append(py::str("the electrolyte chemistry is not exported"));
    s.pos = attr_or(fs, POSITIONS);
    if (!truthy(s.pos)) s.pos = py::dict();
    s.P = pressures(fs);
    add_streams(s);
    s.comps = to_list(attr(attr(fs, PP), COMPONENTS));
    py::object feeds = call_method(attr(fs, FEEDS), ITEMS);
    for (py::handle entry : feeds) {
        auto [n, feed] = unpack2(entry);
        set_feed(s, n, feed);
    }
    translate_blocks(s);
    return {s.sim, s.obj, s.notes};
}

py::tuple build(py::handle fs, py::handle a, py::handle m) {
    const Automation at = a.is_none() ? automation_state() : automation_of(a, m);
    Built built = build(fs, at);
    return py::make_tuple(built.sim, built.obj, built.notes);
}

}  // namespace flowgate
