#include "import/fold.hpp"

#include "kinds/kind.hpp"

namespace flowgate {
namespace {

const Name KIND{"kind"}, IN{"in"}, OUT{"out"}, FRAC{"frac"};

py::list side(py::handle entry, const Name& which) { return item(entry, which); }

bool is_kind(py::handle entry, const Kind& kind) { return equal(item(entry, KIND), kind.kind); }

// The block whose outlets hold `stream`, or None.
py::object producer_of(const py::dict& blocks, py::handle stream) {
    for (auto kv : blocks) {
        if (contains(side(kv.second, OUT), stream)) return py::reinterpret_borrow<py::object>(kv.first);
    }
    return py::none();
}

// The block whose only inlet is `stream`, or None.
py::object sole_consumer_of(const py::dict& blocks, py::handle stream) {
    for (auto kv : blocks) {
        py::list ins = side(kv.second, IN);
        if (py::len(ins) == 1 && equal(ins[0], stream)) return py::reinterpret_borrow<py::object>(kv.first);
    }
    return py::none();
}

// A helper the export made for block `owner`: tagged after it.
bool helper_of(py::handle tag, py::handle owner) {
    static const Name STARTSWITH{"startswith"};
    return truthy(call_method(py::str(tag), STARTSWITH, py::str(owner) + py::str("-")));
}

void drop(py::dict& blocks, py::dict& layout, py::handle tag) {
    blocks.attr("pop")(tag);
    layout.attr("pop")(tag, py::none());
}

// Whether material from a feed reaches `stream`, walking back through the
// blocks and through the Recycles not folded yet.
bool fed(const py::dict& blocks, const py::dict& feeds, const py::dict& recycled, py::handle stream) {
    py::set seen;
    std::vector<py::object> todo{py::reinterpret_borrow<py::object>(stream)};
    while (!todo.empty()) {
        py::object s = todo.back();
        todo.pop_back();
        if (seen.contains(s)) continue;
        seen.add(s);
        if (feeds.contains(s)) return true;
        py::object p = producer_of(blocks, s);
        if (!p.is_none()) {
            for (py::handle in : side(blocks[p], IN)) todo.push_back(py::reinterpret_borrow<py::object>(in));
        } else if (recycled.contains(s)) {
            todo.push_back(recycled[s]);
        }
    }
    return false;
}

// The stream into a Recycle and the one out of it become one host stream,
// named as the one that leaves; a loop that no feed reaches (a closed
// refrigerant cycle, say) is opened there instead, the leaving stream a feed
// with the state that DWSIM stored: the host needs material to enter.
void fold_recycles(py::dict& blocks, py::dict& feeds, const std::vector<Recycle>& recycles,
                   const std::function<py::dict(py::handle)>& state_of, py::list& notes) {
    py::dict recycled;  // leaving stream -> entering stream
    for (const Recycle& r : recycles) {
        if (py::len(r.ins) == 1 && py::len(r.outs) == 1) recycled[r.outs[0]] = r.ins[0];
    }
    for (const Recycle& r : recycles) {
        for (py::handle out : r.outs) {
            py::object entering = get(recycled, out);
            py::object producer = entering.is_none() ? py::none() : producer_of(blocks, entering);
            if (!producer.is_none() && fed(blocks, feeds, recycled, entering)) {
                py::list outs = side(blocks[producer], OUT);
                outs[py::int_(outs.attr("index")(entering))] = out;
                recycled.attr("pop")(out);
                continue;
            }
            if (feeds.contains(out)) continue;
            feeds[out] = state_of(out);
            if (!producer.is_none()) {
                notes.append(py::str("{}: no feed reaches its loop; {} becomes one, with the state DWSIM stored")
                                 .format(r.tag, out));
            }
        }
    }
}

// A chain of Mixers tagged after the last one mixes for that one block.
bool fold_mixer(py::dict& blocks, py::dict& layout, py::handle tag) {
    py::list ins = side(blocks[tag], IN);
    for (py::ssize_t p = 0; p < static_cast<py::ssize_t>(py::len(ins)); ++p) {
        py::object y = producer_of(blocks, ins[p]);
        if (y.is_none() || equal(y, tag) || !is_kind(blocks[y], MIXER) || !helper_of(y, tag)) continue;
        py::list outs = side(blocks[y], OUT);
        if (py::len(outs) != 1) continue;
        py::list merged = to_list(ins[py::slice(0, p, 1)]);
        for (py::handle s : side(blocks[y], IN)) merged.append(s);
        for (py::ssize_t k = p + 1; k < static_cast<py::ssize_t>(py::len(ins)); ++k) merged.append(ins[k]);
        py::dict entry = blocks[tag];
        entry[IN.get()] = merged;
        drop(blocks, layout, y);
        return true;
    }
    return false;
}

// A chain of Splitters tagged after the first splits for that one block; the
// later ones' fractions are of what reaches them.
bool fold_splitter(py::dict& blocks, py::dict& layout, py::handle tag) {
    py::dict entry = blocks[tag];
    py::list outs = side(entry, OUT);
    if (py::len(outs) == 0) return false;
    py::object y = sole_consumer_of(blocks, outs[py::len(outs) - 1]);
    if (y.is_none() || equal(y, tag) || !is_kind(blocks[y], FSPLIT) || !helper_of(y, tag)) return false;
    py::list frac = to_list(get(entry, FRAC, py::list()));
    double rest = 1.0;
    for (py::handle f : frac) rest -= as_double(f);
    py::list more = to_list(get(blocks[y], FRAC, py::list()));
    for (py::handle f : more) frac.append(py::float_(rest * as_double(f)));
    py::list merged = to_list(outs[py::slice(0, py::len(outs) - 1, 1)]);
    for (py::handle s : side(blocks[y], OUT)) merged.append(s);
    entry[OUT.get()] = merged;
    entry[FRAC.get()] = frac;
    drop(blocks, layout, y);
    return true;
}

// Folds with `step` until nothing more folds.
template <typename Step>
void fold_all(py::dict& blocks, py::dict& layout, const Kind& kind, Step step) {
    for (bool changed = true; changed;) {
        changed = false;
        py::list tags = to_list(blocks);
        for (py::handle tag : tags) {
            if (blocks.contains(tag) && is_kind(blocks[tag], kind) && step(blocks, layout, tag)) changed = true;
        }
    }
}

// A FLASH2 written as heater "<name>-H", stream and vessel "<name>" becomes
// one block again: the heater's inlets (or those of the Mixer in front of it)
// and specification, the vessel's outlets, its position, and its pressure
// where it fixes one.
void merge_flash_heaters(py::dict& blocks, py::dict& layout) {
    py::list snapshot(blocks.attr("items")());
    for (py::handle pair : snapshot) {
        auto [name, b] = unpack2(pair);
        py::str heater_name = py::str(name) + py::str("-H");
        py::object h = get(blocks, heater_name);
        if (!is_kind(b, FLASH2) || h.is_none() || !is_kind(h, HEATER) || !equal(item(h, OUT), item(b, IN))) continue;
        py::object pv = get(b, py::str("P"));
        py::dict merged;
        merged["kind"] = py::str(FLASH2.kind);
        merged["in"] = item(h, IN);
        merged["out"] = item(b, OUT);
        for (auto kv : py::dict(h)) {
            if (!equal(kv.first, "kind") && !equal(kv.first, "in") && !equal(kv.first, "out")) merged[kv.first] = kv.second;
        }
        if (!pv.is_none()) {
            merged["P"] = pv;
            merged.attr("pop")("dP", py::none());
        }
        py::list ins = side(merged, IN);
        py::object m = py::len(ins) == 1 ? producer_of(blocks, ins[0]) : py::none();
        if (!m.is_none() && is_kind(blocks[m], MIXER) && helper_of(m, name) && py::len(side(blocks[m], OUT)) == 1) {
            merged["in"] = side(blocks[m], IN);
            drop(blocks, layout, m);
        }
        blocks[name] = merged;
        drop(blocks, layout, heater_name);
    }
}

}  // namespace

void fold(py::dict& blocks, py::dict& layout, py::dict& feeds, const std::vector<Recycle>& recycles,
          const std::function<py::dict(py::handle)>& state_of, py::list& notes) {
    fold_recycles(blocks, feeds, recycles, state_of, notes);
    fold_all(blocks, layout, MIXER, fold_mixer);
    fold_all(blocks, layout, FSPLIT, fold_splitter);
    merge_flash_heaters(blocks, layout);
}

}  // namespace flowgate
