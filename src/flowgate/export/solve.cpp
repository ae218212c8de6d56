#include "export/solve.hpp"

#include "access/automation.hpp"
#include "access/surface.hpp"
#include "export/build.hpp"
#include "export/files.hpp"
#include "frame/errors.hpp"
#include "frame/interrupts.hpp"
#include "frame/process.hpp"
#include "kinds/kind.hpp"

namespace flowgate {
namespace {

const Name PORTS{"ports"}, VALUES{"values"};

// The names of the streams at the blocks' ports, sorted for a stable order
// of the records and of the errors.
py::object port_streams(py::handle fs) {
    py::set names;
    py::object ports = call_method(attr(fs, PORTS), VALUES);
    for (py::handle pair : ports) {
        auto [ins, outs] = unpack2(pair);
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

// What reading the streams back needs, made once per call: the host's flash
// and package, numpy's array, and the upper-cased component keys.
struct Reader {
    py::object flash, pp, array;
    std::vector<py::object> keys;
};

void set(py::dict& d, const Name& key, py::handle value) {
    if (PyDict_SetItem(d.ptr(), key.get().ptr(), value.ptr()) < 0) throw py::error_already_set();
}

// The host's enthalpy at the stream's state; None for a stream without flow
// or where the host's flash fails.
py::object enthalpy(const Reader& r, const StreamState& st) {
    static const Name H_{"H"};
    static const Keyword T_{"T"};
    py::object H = py::none();
    if (!(st.F > 0.0)) return H;
    py::object failure = exception_of([&] {
        H = item(call_with_keyword(r.flash, T_, st.T, r.pp, r.array(st.x), st.P), H_);
    });
    return failure.is_none() ? H : py::none();
}

// The record of one stream, or an entry in `errors` when it can't be read.
void read_stream(const Reader& r, py::handle n, py::handle o, py::dict& streams, py::list& errors) {
    static const Name T_{"T"}, P_{"P"}, F_{"F"}, X_{"x"}, VFRAC{"VFRAC"}, H_{"H"};
    StreamState st;
    py::object failure = exception_of([&] {
        st.F = as_double(dwsim::molar_flow(o)) / 1000.0;
        st.T = to_float(dwsim::temperature(o));
        st.P = to_float(dwsim::pressure(o));
        py::object composition = dwsim::overall_composition(o);
        for (py::handle v : composition) st.x.append(to_float(v));
    });
    if (!failure.is_none()) {
        errors.append(py::str(n) + py::str(": ") + py::str(failure));
        return;
    }
    py::object vf = dwsim::vapour_fraction(o);
    py::dict x;
    const std::size_t n_x = std::min(r.keys.size(), py::len(st.x));
    for (std::size_t i = 0; i < n_x; ++i) {
        if (PyDict_SetItem(x.ptr(), r.keys[i].ptr(), PyList_GET_ITEM(st.x.ptr(), i)) < 0) throw py::error_already_set();
    }
    py::dict record;
    set(record, T_, st.T);
    set(record, P_, st.P);
    set(record, F_, py::float_(st.F));
    set(record, X_, x);
    set(record, VFRAC, vf.is_none() ? py::float_(0.0) : to_float(vf));
    set(record, H_, enthalpy(r, st));
    streams[upper(n)] = record;
}

// Heat or power of each translated block, from the heater of a flash.
void read_blocks(py::handle fs, const Built& built, py::dict& blocks) {
    static const Name BLOCKS{"blocks"}, KIND{"kind"}, POWER{"power"}, DUTY{"duty"};
    const py::dict& obj = built.obj;
    for_each_item(attr(fs, BLOCKS), [&](py::handle name, py::handle b) {
        if (built.phantom_blocks.contains(name)) return;
        py::object o = get(obj, name + py::str("-H"));
        if (o.is_none()) o = get(obj, name);
        if (o.is_none()) return;
        py::object q = dwsim::delta_q(o);
        if (q.is_none()) return;
        const Kind* kind = find_kind(attr(b, KIND));
        const bool power = kind != nullptr && kind->result == Result::power;
        py::dict record;
        set(record, power ? POWER : DUTY, py::float_(as_double(q) * 1000.0));
        blocks[upper(name)] = record;
    });
}

// Results are keyed by upper-cased names: names that differ only in case
// would share one key, and only one of them would be seen.
void note_shared_keys(py::list& notes, const char* what, py::handle names) {
    py::dict by_key;
    for (py::handle n : names) {
        py::object key = upper(n);
        py::object same = get(by_key, key);
        if (same.is_none()) by_key[key] = same = py::list();
        py::reinterpret_borrow<py::list>(same).append(py::repr(n));
    }
    for (auto kv : by_key) {
        if (py::len(kv.second) < 2) continue;
        notes.append(py::str("{} {} share the result key {}: only one of them is reported")
                         .format(what, py::str(" and ").attr("join")(kv.second), kv.first));
    }
}

// A save that fails after a good solve keeps the results: its error joins
// DWSIM's in the list the caller reads.
void save_solved(py::handle a, py::handle sim, py::handle target, py::list& errors) {
    py::object failure = exception_of([&] { save(a, sim, target); });
    if (!failure.is_none()) errors.append(py::str("the solved flowsheet was not saved to {}: {}").format(target, failure));
}

}  // namespace

py::dict solve_dwsim(py::handle fs, py::handle, py::handle save_to) {
    static const Name PP{"pp"}, COMPONENTS{"components"};
    const py::object target = truthy(save_to) ? dwsim_target(save_to) : py::none();
    const Automation at = automation_state();
    Built built = build(fs, at);

    py::list errors = dwsim::calculate_flowsheet(at.a, built.sim);
    deliver_interrupts();
    if (!target.is_none()) save_solved(at.a, built.sim, target, errors);
    py::list comps = to_list(attr(attr(fs, PP), COMPONENTS));
    py::dict streams, blocks, results;
    results["streams"] = streams;
    results["blocks"] = blocks;
    results["errors"] = errors;
    results["notes"] = built.notes;

    static const Name NP{"np"}, ARRAY{"array"};
    Reader reader{import_sibling("thermodynamic", "flash"), attr(fs, PP), attr(module_attr(NP), ARRAY), {}};
    for (py::handle c : comps) reader.keys.push_back(upper(c));
    py::object names = port_streams(fs);
    for (py::handle n : names) {
        deliver_interrupts();
        py::object o = get(built.obj, n);
        if (!o.is_none() && !built.phantom_streams.contains(n)) read_stream(reader, n, o, streams, errors);
    }
    read_blocks(fs, built, blocks);
    note_shared_keys(built.notes, "streams", names);
    note_shared_keys(built.notes, "blocks", call_method(attr(fs, Name{"blocks"}), Name{"keys"}));
    note_shared_keys(built.notes, "components", comps);

    py::object logger = log();
    for (py::handle entry : errors) logger.attr("error")("DWSIM: %s", entry);
    for (py::handle entry : built.notes) logger.attr("warning")("DWSIM: %s", entry);
    return results;
}

py::list export_file(py::handle fs, py::handle path) {
    const py::object target = dwsim_target(path);
    const Automation at = automation_state();
    Built built = build(fs, at);
    save(at.a, built.sim, target);
    log().attr("info")("DWSIM model written to %s", target);
    return built.notes;
}

}  // namespace flowgate
