#include "import/model.hpp"

#include "access/automation.hpp"
#include "frame/tables.hpp"
#include "import/connections.hpp"

namespace flowgate {
namespace {

constexpr std::size_t ID_LENGTH = 8;

// {CAS number: databank alias}; a later entry with the same number wins.
py::dict cas_aliases(py::handle databank) {
    py::dict by_cas;
    for (py::handle entry : databank) {
        if (truthy(get(entry, py::str("cas")))) by_cas[entry["cas"]] = entry["alias"];
    }
    return by_cas;
}

// The host's short name of a compound: upper case, letters and digits only,
// at most eight of them; "C<n>" when nothing is left.
py::str identifier(py::handle name, std::size_t known) {
    py::str upper = py::str(name).attr("upper")();
    const Py_ssize_t length = PyUnicode_GET_LENGTH(upper.ptr());
    std::u32string kept;
    for (Py_ssize_t i = 0; i < length && kept.size() < ID_LENGTH; ++i) {
        const Py_UCS4 ch = PyUnicode_READ_CHAR(upper.ptr(), i);
        if (Py_UNICODE_ISALPHA(ch) || Py_UNICODE_ISDECIMAL(ch) || Py_UNICODE_ISDIGIT(ch) ||
            Py_UNICODE_ISNUMERIC(ch)) {
            kept.push_back(ch);
        }
    }
    if (kept.empty()) return py::str("C" + std::to_string(known + 1));
    return steal_or_throw(PyUnicode_FromKindAndData(PyUnicode_4BYTE_KIND, kept.data(),
                                                    static_cast<Py_ssize_t>(kept.size())));
}

// {DWSIM name: (identifier, alias)} of the file's compounds, in key order.
py::dict components(py::handle selected, const py::dict& by_cas, py::list& notes) {
    py::dict comps;
    for (py::handle name : selected.attr("Keys")) {
        py::object cas = selected[name].attr("CAS_Number");
        py::object alias = get(by_cas, py::str(cas).attr("strip")());
        py::str id = identifier(name, py::len(comps));
        if (alias.is_none()) {
            notes.append(py::str(name) + py::str(" (CAS ") + py::str(cas) +
                         py::str("): not in the databanks; add it as a nondatabank component"));
            alias = py::str("");
        }
        comps[py::str(name)] = py::make_tuple(id, alias);
    }
    return comps;
}

// The host's method for the file's first property package.
py::str method_of(py::handle sim, py::list& notes) {
    py::list packages(sim.attr("PropertyPackages").attr("Values"));
    py::str dw = packages.empty() ? py::str("NRTL")
                                  : py::str(packages[0].attr("__implementation__").attr("ComponentName"));
    py::dict back = table("BACK");
    if (!back.contains(dw)) {
        notes.append(py::str("property package {}: NRTL in Kelvane").format(dw));
        return py::str("NRTL");
    }
    return back[dw];
}

py::str class_name(py::handle o) { return py::str(o.attr("GetType")().attr("Name")); }

bool is_material_stream(const py::dict& objs, py::handle tag) {
    return objs.contains(tag) && equal(class_name(objs[tag]), py::str("MaterialStream"));
}

py::list streams_only(const py::list& tags, const py::dict& objs) {
    py::list kept;
    for (py::handle tag : tags) {
        if (is_material_stream(objs, tag)) kept.append(tag);
    }
    return kept;
}

// T, P and component flows (kmol/s) of a stream with nothing on its inlet.
py::dict feed(py::handle o, const py::list& order) {
    py::list x;
    for (py::handle v : o.attr("GetOverallComposition")()) x.append(to_float(v));
    const double total = as_double(o.attr("GetMolarFlow")()) / 1000.0;
    py::dict flows;
    for (std::size_t i = 0; i < std::min(py::len(order), py::len(x)); ++i) {
        flows[order[i]] = py::float_(total * as_double(x[i]));
    }
    py::dict entry;
    entry["T"] = to_float(o.attr("GetTemperature")());
    entry["P"] = to_float(o.attr("GetPressure")());
    entry["flows"] = flows;
    return entry;
}

py::dict block(py::handle kind, py::handle tname, py::handle o, const py::dict& objs,
               const py::list& order) {
    py::list ins = streams_only(conns(o, py::str("in")), objs);
    py::list outs = streams_only(conns(o, py::str("out")), objs);
    py::dict spec = spec_of(kind, o, objs, ins, outs, order);
    if (equal(tname, py::str("Cooler")) && spec.contains("duty")) {
        spec["duty"] = steal_or_throw(PyNumber_Negative(py::object(spec["duty"]).ptr()));
    }
    py::dict entry;
    entry["kind"] = kind;
    entry["in"] = ins;
    entry["out"] = outs;
    for (auto item : spec) entry[item.first] = item.second;
    return entry;
}

// A FLASH2 written as heater "<name>-H", stream and vessel "<name>" becomes
// one block again: the heater's inlets and specification, the vessel's
// outlets, its position, and its pressure where it fixes one.
void merge_flash_heaters(py::dict& blocks, py::dict& layout) {
    py::list snapshot(blocks.attr("items")());
    for (py::handle item : snapshot) {
        auto [name, b] = unpack2(item);
        py::str heater_name = py::str(name) + py::str("-H");
        py::object h = get(blocks, heater_name);
        if (!equal(b["kind"], py::str("FLASH2")) || h.is_none() || !equal(h["kind"], py::str("HEATER")) ||
            !equal(h["out"], b["in"])) {
            continue;
        }
        py::object pv = get(b, py::str("P"));
        py::dict merged;
        merged["kind"] = py::str("FLASH2");
        merged["in"] = h["in"];
        merged["out"] = b["out"];
        for (auto kv : py::dict(h)) {
            py::str key(kv.first);
            if (!equal(key, py::str("kind")) && !equal(key, py::str("in")) && !equal(key, py::str("out"))) {
                merged[kv.first] = kv.second;
            }
        }
        if (!pv.is_none()) {
            merged["P"] = pv;
            merged.attr("pop")("dP", py::none());
        }
        blocks[name] = merged;
        blocks.attr("pop")(heater_name);
        layout.attr("pop")(heater_name, py::none());
    }
}

py::str model_name(py::handle path) {
    py::object os_path = py::module_::import("os").attr("path");
    py::object stem = os_path.attr("splitext")(os_path.attr("basename")(path))[py::int_(0)];
    return stem.attr("upper")();
}

}  // namespace

py::tuple import_model(py::handle path) {
    py::object databank_index = import_sibling("components", "databank_index");
    py::object a = automation()[0];
    py::object sim = a.attr("LoadFlowsheet")(path);
    py::dict by_cas = cas_aliases(databank_index());

    py::list notes;
    py::object selected = sim.attr("SelectedCompounds");
    py::dict comps = components(selected, by_cas, notes);
    py::str method = method_of(sim, notes);

    py::list order;
    for (py::handle name : selected.attr("Keys")) order.append(comps[py::str(name)][py::int_(0)]);
    py::dict objs;
    // Bound to a name: a loop over a chain of attribute reads would hold the
    // collection only through a temporary that is gone before the loop runs.
    py::object entries = sim.attr("SimulationObjects").attr("Values");
    for (py::handle entry : entries) {
        objs[py::str(entry.attr("GraphicObject").attr("Tag"))] = entry.attr("__implementation__");
    }

    py::dict aliases;
    for (auto kv : comps) {
        auto [id, alias] = unpack2(kv.second);
        aliases[id] = alias;
    }
    py::dict property, feeds, blocks, layout_blocks, layout;
    property["method"] = method;
    property["components"] = aliases;
    layout["blocks"] = layout_blocks;
    py::dict model;
    model["name"] = model_name(path);
    model["property"] = property;
    model["feeds"] = feeds;
    model["blocks"] = blocks;
    model["layout"] = layout;

    py::dict classes = table("CLASSES");
    for (auto kv : objs) {
        py::handle tag = kv.first, o = kv.second;
        py::str tname = class_name(o);
        if (equal(tname, py::str("MaterialStream")) && conns(o, py::str("in")).empty()) {
            feeds[tag] = feed(o, order);
        } else if (classes.contains(tname)) {
            blocks[tag] = block(classes[tname], tname, o, objs, order);
            py::object go = o.attr("GraphicObject");
            layout_blocks[tag] = py::list(py::make_tuple(to_float(go.attr("X")), to_float(go.attr("Y"))));
        } else if (!equal(tname, py::str("MaterialStream")) && !equal(tname, py::str("EnergyStream"))) {
            notes.append(py::str("{} ({}): no Kelvane block").format(tag, tname));
        }
    }
    merge_flash_heaters(blocks, layout_blocks);
    return py::make_tuple(model, notes);
}

}  // namespace flowgate
