#include "compounds/compounds.hpp"

#include "access/surface.hpp"
#include "frame/errors.hpp"
#include "frame/process.hpp"

#include <utility>
#include <vector>

namespace flowgate {
namespace {

const Name ALIAS{"alias"}, CAS{"cas"}, NAME{"name"}, LOWER{"lower"}, STRIP{"strip"}, EMPTY{""};

// The host's databank entries by alias, of the aliases `wanted`; a later
// alias replaces an earlier one. Every entry's alias is read (an entry
// without one raises), only the wanted are kept: a databank holds tens of
// thousands, a flowsheet a few.
py::dict by_alias(py::handle databank_index, const py::set& wanted) {
    py::dict index;
    for_each(databank_index(), [&](py::handle entry) {
        py::object alias = item(entry, ALIAS);
        const int keep = PySet_Contains(wanted.ptr(), alias.ptr());
        if (keep < 0) throw py::error_already_set();
        if (keep == 1 && PyDict_SetItem(index.ptr(), alias.ptr(), entry.ptr()) < 0) throw py::error_already_set();
    });
    return index;
}

// DWSIM's names by their lower case, beside the CAS index it was made with:
// process-wide like that index, and made anew when the index is replaced.
struct NameIndex {
    py::object cas;  // the CAS index these names belong to
    py::dict names;
};

NameIndex& name_index() {
    static auto* index = new NameIndex();  // lives as long as the process, like _STATE
    return *index;
}

// An index found in _STATE without its names (put there by another road):
// the names that it holds.
void names_of(const py::dict& cas) {
    NameIndex& index = name_index();
    index.cas = cas;
    index.names = py::dict();
    for (auto kv : cas) {
        py::object lower = call_method(kv.second, LOWER);
        if (!index.names.contains(lower)) index.names[lower] = kv.second;
    }
}

// The DWSIM name of component `c` with databank entry `entry` (None if it has
// none): by the entry's CAS number, else by its name, else by `c` itself.
py::object dwsim_name(py::handle c, py::handle entry, const py::dict& cas, const py::dict& names) {
    // The empty CAS number stands for "none": it never matches.
    py::object number = truthy(entry) ? get(entry, CAS, EMPTY.get()) : py::str("");
    py::object found = truthy(number) ? get(cas, number) : py::none();
    if (truthy(found)) return found;
    py::object name = truthy(entry) ? get(entry, NAME) : py::none();
    if (!truthy(name)) name = py::reinterpret_borrow<py::object>(c);
    return get(names, call_method(name, LOWER));
}

}  // namespace

// Of several compounds with one CAS number the first in DWSIM's order is the
// one its property data and parameter tables are keyed by (ChemSep's; the
// later ones are CoolProp's); a compound without a CAS number is found by
// name alone. Names are indexed by their lower case, the first again winning.
py::dict compounds(py::handle sim) {
    static const Name KEY{"cas"};
    py::dict st = state();
    if (!st.contains(KEY.get())) {
        py::object db = dwsim::available_compounds(sim);
        py::object keys = dwsim::keys(db);
        py::dict cas, names;
        for (py::handle key : keys) {
            py::str name(key);
            py::object number = call_method(py::str(dwsim::cas_number(item(db, key))), STRIP);
            if (truthy(number) && !cas.contains(number)) cas[number] = name;
            py::object lower = call_method(name, LOWER);
            if (!names.contains(lower)) names[lower] = name;
        }
        st[KEY.get()] = cas;
        name_index() = {cas, names};
    }
    return item(st, KEY);
}

py::dict compound_names(py::handle fs, py::handle sim) {
    static const Name META{"meta"}, GET{"get"}, ALIASES{"aliases"}, PP{"pp"}, COMPONENTS{"components"};
    py::object databank_index = import_sibling("components", "databank_index");
    py::dict cas = compounds(sim);
    py::object aliases = noted([&] { return call_method(attr(fs, META), GET, ALIASES.get()); },
                               [] { return py::str("while reading the component aliases, fs.meta['aliases']"); });
    if (!truthy(aliases)) aliases = py::dict();
    std::vector<std::pair<py::object, py::object>> wanted;  // (component, alias)
    py::set alias_set;
    noted(
        [&] {
            for_each(attr(attr(fs, PP), COMPONENTS), [&](py::handle c) {
                wanted.emplace_back(py::reinterpret_borrow<py::object>(c), get(aliases, c, c));
                alias_set.add(wanted.back().second);
            });
        },
        [] { return py::str("while reading the components, fs.pp.components, and their aliases"); });
    py::dict entries = by_alias(databank_index, alias_set);
    if (!name_index().cas.is(cas)) names_of(cas);
    const py::dict names = name_index().names;

    py::dict result;
    py::list missing;
    for (const auto& [c, alias] : wanted) {
        py::object found = noted([&] { return dwsim_name(c, get(entries, alias), cas, names); },
                                 [&] { return py::str("while finding DWSIM's compound for component {!r}").format(c); });
        if (found.is_none()) missing.append(py::str(c) + py::str(" (") + py::str(alias) + py::str(")"));
        result[c] = found;
    }
    if (!missing.empty()) raise(PyExc_ValueError, py::str("DWSIM has no compound for ") + py::str(", ").attr("join")(missing));
    return result;
}

}  // namespace flowgate
