#include "compounds/compounds.hpp"

#include "access/surface.hpp"
#include "frame/process.hpp"

namespace flowgate {
namespace {

const Name ALIAS{"alias"}, CAS{"cas"}, NAME{"name"}, LOWER{"lower"}, STRIP{"strip"}, EMPTY{""};

// The host's databank entries by alias; a later alias replaces an earlier one.
py::dict by_alias(py::handle databank_index) {
    py::dict index;
    py::object entries = databank_index();
    for (py::handle entry : entries) index[item(entry, ALIAS)] = entry;
    return index;
}

// DWSIM names of the CAS index by their lower case.
py::dict by_lower_name(const py::dict& cas) {
    py::dict index;
    for (auto kv : cas) index[call_method(kv.second, LOWER)] = kv.second;
    return index;
}

// The DWSIM name of component `c` with databank entry `entry` (None if it has
// none): by the entry's CAS number, else by its name, else by `c` itself.
py::object dwsim_name(py::handle c, py::handle entry, const py::dict& cas, const py::dict& names) {
    py::object known = truthy(entry) ? py::reinterpret_borrow<py::object>(entry) : py::dict();
    py::object found = get(cas, get(known, CAS, EMPTY.get()));
    if (truthy(found)) return found;
    py::object name = truthy(entry) ? get(entry, NAME) : py::none();
    if (!truthy(name)) name = py::reinterpret_borrow<py::object>(c);
    return get(names, call_method(name, LOWER));
}

}  // namespace

py::dict compounds(py::handle sim) {
    static const Name KEY{"cas"};
    py::dict st = state();
    if (!st.contains(KEY.get())) {
        py::object db = dwsim::available_compounds(sim);
        py::object keys = dwsim::keys(db);
        py::dict cas;
        for (py::handle name : keys) {
            py::object number = call_method(py::str(dwsim::cas_number(item(db, name))), STRIP);
            cas[number] = py::str(name);
        }
        st[KEY.get()] = cas;
    }
    return item(st, KEY);
}

py::dict compound_names(py::handle fs, py::handle sim) {
    static const Name META{"meta"}, GET{"get"}, ALIASES{"aliases"}, PP{"pp"}, COMPONENTS{"components"};
    py::object databank_index = import_sibling("components", "databank_index");
    py::dict cas = compounds(sim);
    py::dict entries = by_alias(databank_index);
    py::dict names = by_lower_name(cas);
    py::object aliases = call_method(attr(fs, META), GET, ALIASES.get());
    if (!truthy(aliases)) aliases = py::dict();

    py::dict result;
    py::list missing;
    py::object components = attr(attr(fs, PP), COMPONENTS);
    for (py::handle c : components) {
        py::object alias = get(aliases, c, c);
        py::object found = dwsim_name(c, get(entries, alias), cas, names);
        if (found.is_none()) missing.append(py::str(c) + py::str(" (") + py::str(alias) + py::str(")"));
        result[c] = found;
    }
    if (!missing.empty()) raise(PyExc_ValueError, py::str("DWSIM has no compound for ") + py::str(", ").attr("join")(missing));
    return result;
}

}  // namespace flowgate
