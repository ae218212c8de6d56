#include "compounds/compounds.hpp"

#include "access/surface.hpp"
#include "frame/tables.hpp"

namespace flowgate {
namespace {

// The host's databank entries by alias; a later alias replaces an earlier one.
py::dict by_alias(py::handle databank_index) {
    py::dict index;
    for (py::handle entry : databank_index()) {
        py::object alias = entry[py::str("alias")];
        index[alias] = entry;
    }
    return index;
}

// DWSIM names of the CAS index by their lower case.
py::dict by_lower_name(py::handle cas) {
    py::dict index;
    for (py::handle name : py::reinterpret_borrow<py::dict>(cas).attr("values")()) {
        index[name.attr("lower")()] = name;
    }
    return index;
}

// The DWSIM name of component `c` with databank entry `entry` (None if it has
// none): by the entry's CAS number, else by its name, else by `c` itself.
py::object dwsim_name(py::handle c, py::handle entry, const py::dict& cas, const py::dict& names) {
    py::object known = truthy(entry) ? py::reinterpret_borrow<py::object>(entry) : py::dict();
    py::object found = get(cas, get(known, py::str("cas"), py::str("")));
    if (truthy(found)) return found;
    py::object name = truthy(entry) ? get(entry, py::str("name")) : py::none();
    if (!truthy(name)) name = py::reinterpret_borrow<py::object>(c);
    return get(names, name.attr("lower")());
}

}  // namespace

py::object compounds(py::handle sim) {
    py::dict st = state();
    if (!st.contains("cas")) {
        py::object db = dwsim::available_compounds(sim);
        py::dict cas;
        for (py::handle name : dwsim::keys(db)) cas[dwsim::cas_number(db, name)] = py::str(name);
        st["cas"] = cas;
    }
    return st["cas"];
}

py::object compound_names(py::handle fs, py::handle sim) {
    py::object databank_index = import_sibling("components", "databank_index");
    py::dict cas = compounds(sim);
    py::dict entries = by_alias(databank_index);
    py::dict names = by_lower_name(cas);
    py::object aliases = fs.attr("meta").attr("get")("aliases");
    if (!truthy(aliases)) aliases = py::dict();

    py::dict result;
    py::list missing;
    py::object components = fs.attr("pp").attr("components");
    for (py::handle c : components) {
        py::object alias = get(aliases, c, c);
        py::object found = dwsim_name(c, get(entries, alias), cas, names);
        if (found.is_none()) missing.append(py::str(c) + py::str(" (") + py::str(alias) + py::str(")"));
        result[c] = found;
    }
    if (!missing.empty()) {
        py::object text = py::str("DWSIM has no compound for ") + py::str(", ").attr("join")(missing);
        PyErr_SetObject(PyExc_ValueError, text.ptr());
        throw py::error_already_set();
    }
    return result;
}

}  // namespace flowgate
