#include "import/model.hpp"

#include "access/automation.hpp"
#include "access/surface.hpp"
#include "frame/process.hpp"
#include "frame/tables.hpp"
#include "import/connections.hpp"
#include "kinds/kind.hpp"

namespace flowgate {
namespace {

constexpr std::size_t ID_LENGTH = 8;

// One object of the file: its drawing object, its concrete object and the
// name of its class, each read once.
struct Object {
    py::object graphic, o;
    py::str class_name;
};

// {CAS number: databank alias}; a later entry with the same number wins.
py::dict cas_aliases(py::handle databank) {
    static const Name CAS{"cas"}, ALIAS{"alias"};
    py::dict by_cas;
    for (py::handle entry : databank) {
        if (truthy(get(entry, CAS))) by_cas[item(entry, CAS)] = item(entry, ALIAS);
    }
    return by_cas;
}

// The host's short name of a compound: upper case, letters and digits only,
// at most eight of them; "C<n>" when nothing is left.
py::str identifier(py::handle name, std::size_t known) {
    py::str up = upper(py::str(name));
    const Py_ssize_t length = PyUnicode_GET_LENGTH(up.ptr());
    std::u32string kept;
    for (Py_ssize_t i = 0; i < length && kept.size() < ID_LENGTH; ++i) {
        const Py_UCS4 ch = PyUnicode_READ_CHAR(up.ptr(), i);
        if (Py_UNICODE_ISALPHA(ch) || Py_UNICODE_ISDECIMAL(ch) || Py_UNICODE_ISDIGIT(ch) || Py_UNICODE_ISNUMERIC(ch)) {
            kept.push_back(ch);
        }
    }
    if (kept.empty()) return py::str("C" + std::to_string(known + 1));
    return steal_or_throw(
        PyUnicode_FromKindAndData(PyUnicode_4BYTE_KIND, kept.data(), static_cast<Py_ssize_t>(kept.size())));
}

// {DWSIM name: (identifier, alias)} of the file's compounds, in key order.
py::dict components(py::handle selected, const py::dict& by_cas, py::list& notes) {
    static const Name STRIP{"strip"};
    py::dict comps;
    py::object names = dwsim::keys(selected);
    for (py::handle name : names) {
        py::object cas = dwsim::cas_number(item(selected, name));
        py::object alias = get(by_cas, call_method(py::str(cas), STRIP));
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
py::object method_of(py::handle sim, py::list& notes) {
    static const Name BACK{"BACK"};
    py::list packages = dwsim::property_packages(sim);
    py::str dw = packages.empty() ? py::str("NRTL") : py::str(dwsim::package_name(packages[0]));
    py::dict back = table(BACK);
    if (!back.contains(dw)) {
        notes.append(py::str("property package {}: NRTL in Kelvane").format(dw));
        return py::str("NRTL");
    }
    return back[dw];
}

// The objects of the file by tag; a later tag replaces an earlier one in its place.
std::vector<std::pair<py::str, Object>> objects_of(py::handle sim) {
    std::vector<std::pair<py::str, Object>> objs;
    py::dict index;
    for (dwsim::Entry& e : dwsim::simulation_objects(sim)) {
        py::str tag = dwsim::tag(e.graphic);
        Object object{e.graphic, e.object, dwsim::class_name(e.object)};
        if (index.contains(tag)) {
            objs[py::cast<std::size_t>(index[tag])].second = object;
        } else {
            index[tag] = py::int_(objs.size());
            objs.emplace_back(tag, object);
        }
    }
    return objs;
}

// The tags of `conns` that name material streams of the file.
py::list streams_only(const py::list& tags, const py::dict& classes) {
    py::list kept;
    for (py::handle tag : tags) {
        py::object cls = get(classes, tag);
        if (!cls.is_none() && equal(cls, dwsim::MATERIAL_STREAM_CLASS)) kept.append(tag);
    }
    return kept;
}

// T, P and component flows (kmol/s) of a stream with nothing on its inlet.
py::dict feed(py::handle o, const py::list& order) {
    py::list x;
    py::object composition = dwsim::overall_composition(o);
    for (py::handle v : composition) x.append(to_float(v));
    const double total = as_double(dwsim::molar_flow(o)) / 1000.0;
    py::dict flows;
    for (std::size_t i = 0; i < std::min(py::len(order), py::len(x)); ++i) {
        flows[order[i]] = py::float_(total * as_double(x[i]));
    }
    py::dict entry;
    entry["T"] = to_float(dwsim::temperature(o));
    entry["P"] = to_float(dwsim::pressure(o));
    entry["flows"] = flows;
    return entry;
}

py::dict block(const Kind& kind, const Object& object, const py::dict& objs, const py::dict& classes,
               const py::list& order) {
    py::list ins = streams_only(conns(object.graphic, dwsim::Side::in), classes);
    py::list outs = streams_only(conns(object.graphic, dwsim::Side::out), classes);
    py::dict spec = kind.readback(Unit{object.o, objs, ins, outs, order});
    // A cooler's duty is the heat it removes.
    if (kind.also != nullptr && equal(object.class_name, kind.also) && spec.contains("duty")) {
        spec["duty"] = steal_or_throw(PyNumber_Negative(py::object(spec["duty"]).ptr()));
    }
    py::dict entry;
    entry["kind"] = py::str(kind.kind);
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
    for (py::handle entry : snapshot) {
        auto [name, b] = unpack2(entry);
        py::str heater_name = py::str(name) + py::str("-H");
        py::object h = get(blocks, heater_name);
        if (!equal(item(b, py::str("kind")), FLASH2.kind) || h.is_none() || !equal(item(h, py::str("kind")), HEATER.kind) ||
            !equal(item(h, py::str("out")), item(b, py::str("in")))) {
            continue;
        }
        py::object pv = get(b, py::str("P"));
        py::dict merged;
        merged["kind"] = py::str(FLASH2.kind);
        merged["in"] = item(h, py::str("in"));
        merged["out"] = item(b, py::str("out"));
        for (auto kv : py::dict(h)) {
            if (!equal(kv.first, "kind") && !equal(kv.first, "in") && !equal(kv.first, "out")) merged[kv.first] = kv.second;
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
    return upper(stem);
}

}  // namespace

py::tuple import_model(py::handle path_like) {
    const py::object path = py::module_::import("os").attr("fspath")(path_like);
    py::object databank_index = import_sibling("components", "databank_index");
    py::object a = automation()[0];  // only the instance: import needs no module
    py::object sim = dwsim::load_flowsheet(a, path);
    py::dict by_cas = cas_aliases(databank_index());

    py::list notes;
    py::object selected = dwsim::selected_compounds(sim);
    py::dict comps = components(selected, by_cas, notes);
    py::object method = method_of(sim, notes);

    py::list order;
    py::object names = dwsim::keys(selected);
    for (py::handle name : names) order.append(item(comps, py::str(name))[py::int_(0)]);
    const auto objects = objects_of(sim);
    py::dict objs, classes;
    for (const auto& [tag, object] : objects) {
        objs[tag] = object.o;
        classes[tag] = object.class_name;
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

    for (const auto& [tag, object] : objects) {
        if (equal(object.class_name, dwsim::MATERIAL_STREAM_CLASS) && dwsim::connections(object.graphic, dwsim::Side::in).empty()) {
            feeds[tag] = feed(object.o, order);
        } else if (const Kind* kind = kind_of_class(object.class_name)) {
            blocks[tag] = block(*kind, object, objs, classes, order);
            auto [x, y] = dwsim::position(object.graphic);
            layout_blocks[tag] = py::list(py::make_tuple(to_float(x), to_float(y)));
        } else if (!equal(object.class_name, dwsim::MATERIAL_STREAM_CLASS) &&
                   !equal(object.class_name, dwsim::ENERGY_STREAM_CLASS)) {
            notes.append(py::str("{} ({}): no Kelvane block").format(tag, object.class_name));
        }
    }
    merge_flash_heaters(blocks, layout_blocks);
    return py::make_tuple(model, notes);
}

}  // namespace flowgate
