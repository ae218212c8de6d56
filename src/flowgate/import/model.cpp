#include "import/model.hpp"

#include "access/automation.hpp"
#include "access/surface.hpp"
#include "frame/errors.hpp"
#include "frame/interrupts.hpp"
#include "frame/process.hpp"
#include "frame/tables.hpp"
#include "import/connections.hpp"
#include "import/fold.hpp"
#include "import/guard.hpp"
#include "kinds/kind.hpp"

#include <vector>

namespace flowgate {
namespace {

constexpr std::size_t ID_LENGTH = 8;

// One object of the file: its drawing object, its concrete object and the
// name of its class, each read once.
struct Object {
    py::object graphic, o;
    py::str class_name;
};

using Objects = std::vector<std::pair<py::str, Object>>;

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

// The objects of the file by tag; a later tag replaces an earlier one in its
// place, and the notes name the tags that several objects bear.
Objects objects_of(py::handle sim, py::list& notes) {
    Objects objs;
    py::dict index, count;
    for (dwsim::Entry& e : dwsim::simulation_objects(sim)) {
        py::str tag = dwsim::tag(e.graphic);
        Object object{e.graphic, e.object, dwsim::class_name(e.object)};
        if (index.contains(tag)) {
            objs[py::cast<std::size_t>(index[tag])].second = object;
            count[tag] = py::int_(py::cast<long>(count[tag]) + 1);
        } else {
            index[tag] = py::int_(objs.size());
            count[tag] = py::int_(1);
            objs.emplace_back(tag, object);
        }
    }
    for (auto kv : count) {
        if (py::cast<long>(kv.second) > 1) {
            notes.append(py::str("{} objects are tagged {!r}; the last of them is read").format(kv.second, kv.first));
        }
    }
    return objs;
}

bool is_class(const py::dict& classes, py::handle tag, const char* cls) {
    py::object found = get(classes, tag);
    return !found.is_none() && equal(found, cls);
}

// The tags of `conns` that name material streams of the file.
py::list streams_only(const py::list& tags, const py::dict& classes) {
    py::list kept;
    for (py::handle tag : tags) {
        if (is_class(classes, tag, dwsim::MATERIAL_STREAM_CLASS)) kept.append(tag);
    }
    return kept;
}

// T, P and component flows (kmol/s) of a stream as the file holds it.
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

// A stream is a feed of the host when nothing is attached on its inlet, or
// when what is attached is a unit that the host has no block for: then its
// state as DWSIM stored it stands for that unit's work.
bool is_feed(const Object& stream, const py::dict& classes) {
    auto from = dwsim::connections(stream.graphic, dwsim::Side::in);
    if (from.empty()) return true;
    py::object cls = get(classes, from.front().tag);
    if (cls.is_none()) return false;
    return kind_of_class(cls) == nullptr && !equal(cls, dwsim::RECYCLE_CLASS) &&
           !equal(cls, dwsim::MATERIAL_STREAM_CLASS) && !equal(cls, dwsim::ENERGY_STREAM_CLASS);
}

// A unit the host has no block for, and the place of its note.
struct Other {
    py::object tag, class_name;
    py::list outlets;
    std::size_t note;
};

// What the file's objects are to the host, while they are read.
struct Reading {
    py::dict objs, classes;
    py::list order, names, notes;
    py::dict feeds, blocks, layout;
    std::vector<Recycle> recycles;
    std::vector<Other> others;
};

void read_block(Reading& r, const Kind& kind, py::handle tag, const Object& object) {
    py::list ins = streams_only(conns(object.graphic, dwsim::Side::in), r.classes);
    py::list outs = streams_only(conns(object.graphic, dwsim::Side::out), r.classes);
    Unit unit{object.o, r.objs, ins, outs, r.order};
    unit.tag = py::reinterpret_borrow<py::object>(tag);
    unit.names = r.names;
    unit.notes = r.notes;
    py::dict spec = kind.readback(unit);
    // A cooler's duty is the heat it removes.
    if (kind.also != nullptr && equal(object.class_name, kind.also) && spec.contains("duty")) {
        spec["duty"] = steal_or_throw(PyNumber_Negative(py::object(spec["duty"]).ptr()));
    }
    py::dict entry;
    entry["kind"] = py::str(kind.kind);
    entry["in"] = ins;
    entry["out"] = outs;
    for (auto kv : spec) entry[kv.first] = kv.second;
    r.blocks[tag] = entry;
    auto [x, y] = dwsim::position(object.graphic);
    r.layout[tag] = py::list(py::make_tuple(to_float(x), to_float(y)));
}

// A unit the host has no block for: its note is written once its outlets
// are known to be feeds.
void read_other(Reading& r, py::handle tag, const Object& object) {
    r.others.push_back({py::reinterpret_borrow<py::object>(tag), object.class_name,
                        streams_only(conns(object.graphic, dwsim::Side::out), r.classes), py::len(r.notes)});
    r.notes.append(py::none());
}

bool without_flow(py::handle feed) {
    py::object flows = item(feed, py::str("flows"));
    for (auto kv : py::dict(flows)) {
        if (as_double(kv.second) != 0.0) return false;
    }
    return true;
}

// Each unit without a host block is named with the outlets that became
// feeds; one without flow that no block takes is left out, as the host
// needs material in a feed.
void note_others(Reading& r) {
    py::set taken;
    for (auto kv : r.blocks) {
        for (py::handle s : py::list(item(kv.second, py::str("in")))) taken.add(s);
    }
    for (const Other& other : r.others) {
        py::list fed, empty;
        for (py::handle s : other.outlets) {
            if (!r.feeds.contains(s)) continue;
            if (without_flow(r.feeds[s]) && !taken.contains(s)) {
                r.feeds.attr("pop")(s);
                empty.append(s);
            } else {
                fed.append(s);
            }
        }
        py::str note = py::str("{} ({}): no Kelvane block").format(other.tag, other.class_name);
        py::str join(", ");
        if (!fed.empty()) note = note + py::str("; feeds with the state DWSIM stored: ") + join.attr("join")(fed);
        if (!empty.empty()) note = note + py::str("; left out, without flow: ") + join.attr("join")(empty);
        r.notes[other.note] = note;
    }
}

void read_objects(Reading& r, const Objects& objects) {
    for (const auto& [tag, object] : objects) {
        deliver_interrupts();
        const py::str& cls = object.class_name;
        if (equal(cls, dwsim::MATERIAL_STREAM_CLASS)) {
            if (is_feed(object, r.classes)) r.feeds[tag] = feed(object.o, r.order);
        } else if (const Kind* kind = kind_of_class(cls)) {
            read_block(r, *kind, tag, object);
        } else if (equal(cls, dwsim::RECYCLE_CLASS)) {
            r.recycles.push_back({tag, streams_only(conns(object.graphic, dwsim::Side::in), r.classes),
                                  streams_only(conns(object.graphic, dwsim::Side::out), r.classes)});
        } else if (!equal(cls, dwsim::ENERGY_STREAM_CLASS) && !equal(cls, dwsim::ENERGY_RECYCLE_CLASS)) {
            read_other(r, tag, object);
        }
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
    check_importable(path);
    py::object databank_index = import_sibling("components", "databank_index");
    py::object a = automation()[0];  // only the instance: import needs no module
    py::object sim;
    {
        DotnetPath readable(path);
        // DWSIM's error need not name the file, and names the copy where one is read
        sim = noted([&] { return dwsim::load_flowsheet(a, readable.path()); },
                    [&] { return py::str("while DWSIM opened the file {!r}").format(path); });
    }
    py::dict by_cas = cas_aliases(databank_index());

    Reading r;
    py::object selected = dwsim::selected_compounds(sim);
    py::dict comps = components(selected, by_cas, r.notes);
    py::object method = method_of(sim, r.notes);

    py::object keys = dwsim::keys(selected);
    for (py::handle name : keys) {
        r.order.append(item(comps, py::str(name))[py::int_(0)]);
        r.names.append(py::str(name));
    }
    const Objects objects = objects_of(sim, r.notes);
    for (const auto& [tag, object] : objects) {
        r.objs[tag] = object.o;
        r.classes[tag] = object.class_name;
    }
    py::dict aliases;
    for (auto kv : comps) {
        auto [id, alias] = unpack2(kv.second);
        aliases[id] = alias;
    }

    read_objects(r, objects);
    note_others(r);
    fold(r.blocks, r.layout, r.feeds, r.recycles, [&](py::handle tag) { return feed(item(r.objs, tag), r.order); },
         r.notes);

    py::dict property, layout;
    property["method"] = method;
    property["components"] = aliases;
    layout["blocks"] = r.layout;
    py::dict model;
    model["name"] = model_name(path);
    model["property"] = property;
    model["feeds"] = r.feeds;
    model["blocks"] = r.blocks;
    model["layout"] = layout;
    return py::make_tuple(model, r.notes);
}

}  // namespace flowgate
