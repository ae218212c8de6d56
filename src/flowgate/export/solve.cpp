#include "export/solve.hpp"

#include "access/automation.hpp"
#include "access/surface.hpp"
#include "export/build.hpp"
#include "frame/tables.hpp"

namespace flowgate {
namespace {

// Runs `step`; an exception of the class Exception comes back as the
// exception object, anything else passes on.
template <typename Step>
py::object caught(Step step) {
    try {
        step();
        return py::none();
    } catch (py::builtin_exception& e) {
        e.set_error();
        return py::error_already_set().value();
    } catch (py::error_already_set& e) {
        if (!e.matches(PyExc_Exception)) throw;
        return e.value();
    }
}

// The names of the streams at the blocks' ports, sorted for a stable order
// of the records and of the errors.
py::object port_streams(py::handle fs) {
    py::set names;
    for (py::handle ports : fs.attr("ports").attr("values")()) {
        auto [ins, outs] = unpack2(ports);
        for (py::handle side : {py::handle(ins), py::handle(outs)}) {
            for (py::handle s : side) {
                if (truthy(s)) names.add(s);
            }
        }
    }
    return builtin("sorted")(names);
}

struct StreamState {
    double F = 0.0;  // kmol/s
    py::object T, P;
    py::list x;
};

// The host's enthalpy at the stream's state; None for a stream without flow
// or where the host's flash fails.
py::object enthalpy(py::handle flash, py::handle pp, const StreamState& st) {
    py::object H = py::none();
    if (!(st.F > 0.0)) return H;
    py::object failure = caught([&] {
        py::object x = table("np").attr("array")(st.x);
        H = flash(pp, x, st.P, py::arg("T") = st.T)[py::str("H")];
    });
    return failure.is_none() ? H : py::none();
}

// The record of one stream, or an entry in `errors` when it can't be read.
void read_stream(py::handle fs, py::handle flash, py::handle comps, py::handle n, py::handle o,
                 py::dict& streams, py::list& errors) {
    StreamState st;
    py::object failure = caught([&] {
        st.F = as_double(dwsim::molar_flow(o)) / 1000.0;
        st.T = to_float(dwsim::temperature(o));
        st.P = to_float(dwsim::pressure(o));
        for (py::handle v : dwsim::overall_composition(o)) st.x.append(to_float(v));
    });
    if (!failure.is_none()) {
        errors.append(py::str(n) + py::str(": ") + py::str(failure));
        return;
    }
    py::object vf = dwsim::vapour_fraction(o);
    py::dict x;
    for (py::handle pair : builtin("zip")(comps, st.x)) {
        auto [c, v] = unpack2(pair);
        x[c.attr("upper")()] = v;
    }
    py::dict record;
    record["T"] = st.T;
    record["P"] = st.P;
    record["F"] = py::float_(st.F);
    record["x"] = x;
    record["VFRAC"] = vf.is_none() ? py::float_(0.0) : to_float(vf);
    record["H"] = enthalpy(flash, fs.attr("pp"), st);
    streams[n.attr("upper")()] = record;
}

// Heat or power of each translated block, from the heater of a flash.
void read_blocks(py::handle fs, const py::dict& obj, py::dict& blocks) {
    for (py::handle item : fs.attr("blocks").attr("items")()) {
        auto [name, b] = unpack2(item);
        py::object o = get(obj, name + py::str("-H"));
        if (o.is_none()) o = get(obj, name);
        if (o.is_none()) continue;
        py::object q = dwsim::delta_q(o);
        if (q.is_none()) continue;
        py::object kind = b.attr("kind");
        const bool power = equal(kind, py::str("PUMP")) || equal(kind, py::str("COMPR"));
        py::dict record;
        record[power ? "power" : "duty"] = py::float_(as_double(q) * 1000.0);
        blocks[name.attr("upper")()] = record;
    }
}

}  // namespace

py::dict solve_dwsim(py::handle fs, py::handle, py::handle save) {
    auto [a, m] = unpack2(automation());
    py::tuple built = build(fs, a, m);
    py::object sim = built[0];
    py::dict obj = built[1];
    py::object notes = built[2];

    py::list errors = dwsim::calculate_flowsheet(a, sim);
    if (truthy(save)) dwsim::save_flowsheet(a, sim, save);
    py::list comps = steal_or_throw(PySequence_List(fs.attr("pp").attr("components").ptr()));
    py::dict streams, blocks, results;
    results["streams"] = streams;
    results["blocks"] = blocks;
    results["errors"] = errors;
    results["notes"] = notes;

    py::object flash = import_sibling("thermodynamic", "flash");
    for (py::handle n : port_streams(fs)) {
        py::object o = get(obj, n);
        if (!o.is_none()) read_stream(fs, flash, comps, n, o, streams, errors);
    }
    read_blocks(fs, obj, blocks);

    py::object log = table("log");
    for (py::handle entry : errors) log.attr("error")("DWSIM: %s", entry);
    for (py::handle entry : notes) log.attr("warning")("DWSIM: %s", entry);
    return results;
}

py::object export_file(py::handle fs, py::handle path) {
    auto [a, m] = unpack2(automation());
    py::tuple built = build(fs, a, m);
    dwsim::save_flowsheet(a, built[0], path);
    table("log").attr("info")("DWSIM model written to %s", path);
    return built[2];
}

}  // namespace flowgate
