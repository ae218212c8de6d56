#include "import/fold.hpp"

#include "kinds/kind.hpp"

namespace flowgate {
namespace {

const Name KIND{"kind"}, IN{"in"}, OUT{"out"}, FRAC{"frac"}, STARTSWITH{"startswith"};

py::list side(py::handle entry, const Name& which) { return item(entry, which); }

bool is_kind(py::handle entry, const Kind& kind) { return equal(item(entry, KIND), kind.kind); }

// The model's blocks with the stream -> block indices that folding asks of
// them, kept up to date as blocks fold into one another.
struct Model {
    py::dict& blocks;
    py::dict& layout;
    py::dict producer;       // stream -> the block whose outlets hold it
    py::dict sole_consumer;  // stream -> the block whose only inlet it is

    Model(py::dict& b, py::dict& l) : blocks(b), layout(l) {
        for (auto kv : blocks) index(kv.first, kv.second);
    }

    void index(py::handle tag, py::handle entry) {
        for (py::handle s : side(entry, OUT)) producer[s] = tag;
        py::list ins = side(entry, IN);
        if (py::len(ins) == 1) sole_consumer[ins[0]] = tag;
    }

    py::object producer_of(py::handle stream) const { return get(producer, stream); }
    py::object sole_consumer_of(py::handle stream) const { return get(sole_consumer, stream); }

    // Block `tag` takes over `entry`; the helper `gone` and the streams that
    // joined them leave.
    void replace(py::handle tag, py::dict entry, py::handle gone, py::handle joined) {
        for (py::handle s : side(blocks[gone], IN)) {
            if (equal(get(sole_consumer, s), gone)) sole_consumer.attr("pop")(s);
        }
        blocks[tag] = entry;
        blocks.attr("pop")(gone);
        layout.attr("pop")(gone, py::none());
        for (py::handle s : joined) {
            producer.attr("pop")(s, py::none());
            sole_consumer.attr("pop")(s, py::none());
        }
        index(tag, entry);
    }
};

// A helper the export made for block `owner`: tagged after it.
bool helper_of(py::handle tag, py::handle owner) {
    return truthy(call_method(py::str(tag), STARTSWITH, py::str(owner) + py::str("-")));
}

// Whether material from a feed reaches `stream`, walking back through the
// blocks and through the Recycles not folded yet.
bool fed(const Model& m, const py::dict& feeds, const py::dict& recycled, py::handle stream) {
    py::set seen;
    std::vector<py::object> todo{py::reinterpret_borrow<py::object>(stream)};
    while (!todo.empty()) {
        py::object s = todo.back();
        todo.pop_back();
        if (seen.contains(s)) continue;
        seen.add(s);
        if (feeds.contains(s)) return true;
        py::object p = m.producer_of(s);
        if (!p.is_none()) {
            for (py::handle in : side(m.blocks[p], IN)) todo.push_back(py::reinterpret_borrow<py::object>(in));
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
void fold_recycles(Model& m, py::dict& feeds, const std::vector<Recycle>& recycles,
                   const std::function<py::dict(py::handle)>& state_of, py::list& notes) {
    py::dict recycled;  // leaving stream -> entering stream
    for (const Recycle& r : recycles) {
        if (py::len(r.ins) == 1 && py::len(r.outs) == 1) recycled[r.outs[0]] = r.ins[0];
    }
    for (const Recycle& r : recycles) {
        for (py::handle out : r.outs) {
            py::object entering = get(recycled, out);
            py::object producer = entering.is_none() ? py::none() : m.producer_of(entering);
            if (!producer.is_none() && fed(m, feeds, recycled, entering)) {
                py::list outs = side(m.blocks[producer], OUT);
                outs[py::int_(outs.attr("index")(entering))] = out;
                m.producer.attr("pop")(entering);
                m.producer[out] = producer;
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
bool fold_mixer(Model& m, py::handle tag) {
    py::list ins = side(m.blocks[tag], IN);
    for (py::ssize_t p = 0; p < static_cast<py::ssize_t>(py::len(ins)); ++p) {
        py::object y = m.producer_of(ins[p]);
        if (y.is_none() || equal(y, tag) || !is_kind(m.blocks[y], MIXER) || !helper_of(y, tag)) continue;
        if (py::len(side(m.blocks[y], OUT)) != 1) continue;
        py::list merged = to_list(ins[py::slice(0, p, 1)]);
        for (py::handle s : side(m.blocks[y], IN)) merged.append(s);
        for (py::ssize_t k = p + 1; k < static_cast<py::ssize_t>(py::len(ins)); ++k) merged.append(ins[k]);
        py::dict entry = m.blocks[tag];
        entry[IN.get()] = merged;
        m.replace(tag, entry, y, py::make_tuple(ins[p]));
        return true;
    }
    return false;
}

// A chain of Splitters tagged after the first splits for that one block; the
// later ones' fractions are of what reaches them.
bool fold_splitter(Model& m, py::handle tag) {
    py::dict entry = m.blocks[tag];
    py::list outs = side(entry, OUT);
    if (py::len(outs) == 0) return false;
    py::object last = outs[py::len(outs) - 1];
    py::object y = m.sole_consumer_of(last);
    if (y.is_none() || equal(y, tag) || !is_kind(m.blocks[y], FSPLIT) || !helper_of(y, tag)) return false;
    py::list frac = to_list(get(entry, FRAC, py::list()));
    double rest = 1.0;
    for (py::handle f : frac) rest -= as_double(f);
    py::list more = to_list(get(m.blocks[y], FRAC, py::list()));
    for (py::handle f : more) frac.append(py::float_(rest * as_double(f)));
    py::list merged = to_list(outs[py::slice(0, py::len(outs) - 1, 1)]);
    for (py::handle s : side(m.blocks[y], OUT)) merged.append(s);
    entry[OUT.get()] = merged;
    entry[FRAC.get()] = frac;
    m.replace(tag, entry, y, py::make_tuple(last));
    return true;
}

// Each block of `kind` folds in its helpers, one after another, until none is left.
template <typename Step>
void fold_all(Model& m, const Kind& kind, Step step) {
    py::list tags = to_list(m.blocks);
    for (py::handle tag : tags) {
        while (m.blocks.contains(tag) && is_kind(m.blocks[tag], kind) && step(m, tag)) {
        }
    }
}

// A FLASH2 written as heater "<name>-H", stream and vessel "<name>" becomes
// one block again: the heater's inlets (or those of the Mixer in front of it)
// and specification, the vessel's outlets, its position, and its pressure
// where it fixes one.
void merge_flash_heaters(Model& m) {
    py::list snapshot(m.blocks.attr("items")());
    for (py::handle pair : snapshot) {
        auto [name, b] = unpack2(pair);
        py::str heater_name = py::str(name) + py::str("-H");
        py::object h = get(m.blocks, heater_name);
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
        py::object mixer = py::len(ins) == 1 ? m.producer_of(ins[0]) : py::none();
        if (!mixer.is_none() && is_kind(m.blocks[mixer], MIXER) && helper_of(mixer, name) &&
            py::len(side(m.blocks[mixer], OUT)) == 1) {
            merged["in"] = side(m.blocks[mixer], IN);
            m.replace(name, merged, mixer, py::make_tuple(ins[0]));
        }
        m.replace(name, merged, heater_name, item(h, OUT));
    }
}

}  // namespace

void fold(py::dict& blocks, py::dict& layout, py::dict& feeds, const std::vector<Recycle>& recycles,
          const std::function<py::dict(py::handle)>& state_of, py::list& notes) {
    Model m(blocks, layout);
    fold_recycles(m, feeds, recycles, state_of, notes);
    fold_all(m, MIXER, fold_mixer);
    fold_all(m, FSPLIT, fold_splitter);
    merge_flash_heaters(m);
}

}  // namespace flowgate
