#include "export/build.hpp"

#include "access/surface.hpp"
#include "compounds/compounds.hpp"
#include "export/parameters.hpp"
#include "export/pressures.hpp"
#include "export/tears.hpp"
#include "frame/errors.hpp"
#include "frame/interrupts.hpp"
#include "frame/process.hpp"
#include "frame/tables.hpp"
#include "kinds/kind.hpp"

namespace flowgate {
namespace {

constexpr double ATMOSPHERE = 101325.0;  // Pa, for a block that no feed reaches

// A Recycle converges when its inlet and outlet differ by less than these;
// DWSIM's defaults (0.01 kg/s, 0.1 K, 50 passes) leave a loop of a few mol/s
// open by several per cent.
constexpr double RECYCLE_MASS_TOLERANCE = 1e-6;  // of the feeds' mass flow
constexpr double RECYCLE_TEMPERATURE_TOLERANCE = 1e-3;  // K
constexpr int RECYCLE_PASSES = 500;

const Name PP{"pp"}, COMPONENTS{"components"}, PORTS{"ports"}, FEEDS{"feeds"}, BLOCKS{"blocks"}, ITEMS{"items"},
    VALUES{"values"}, SPEC{"spec"}, KIND{"kind"}, T_{"T"}, P_{"P"}, FLOWS{"flows"};

// One block of fs.blocks as the walk reads it.
struct HostBlock {
    py::object name, block, kind;
    py::object ins, outs;
    const Kind* row;  // nullptr for a kind DWSIM does not take
};

// DWSIM holds a compound once: two components that are one compound of its
// cannot both go over.
void check_one_component_each(py::handle components, py::handle names) {
    py::dict first;
    for (py::handle c : components) {
        py::object name = item(names, c);
        py::object other = get(first, name);
        if (!other.is_none()) {
            raise(PyExc_ValueError, py::str("components {!r} and {!r} are both DWSIM's compound {!r}, which a "
                                            "flowsheet holds once")
                                        .format(other, c, name));
        }
        first[name] = c;
    }
}

// The property package named by METHODS, or DWSIM's NRTL with a note, with
// the host's binary parameters as far as they go.
void add_package(Sheet& s) {
    static const Name METHOD{"method"}, METHODS{"METHODS"};
    py::object pp = attr(s.fs, PP);
    py::object method = attr(pp, METHOD);
    py::object dw = get(table(METHODS), method);
    if (dw.is_none()) {
        dw = py::str("NRTL");
        s.note("property method %s: NRTL of DWSIM", method);
    }
    py::object pkg = dwsim::add_property_package(s.sim, dw);
    py::list transfer_notes;
    py::object failure = exception_of([&] { transfer_notes = set_parameters(pkg, attr(s.fs, PP), s.names, method); });
    if (!failure.is_none()) s.note("binary parameters not transferred (%s)", failure);
    for (py::handle n : transfer_notes) s.notes.append(n);
}

bool has_electrolytes(py::handle fs) {
    static const Name ELEC{"elec"}, REACTIONS{"reactions"}, TYPE{"type"}, EMPTY{""};
    if (!attr_or(attr(fs, PP), ELEC).is_none()) return true;
    py::object reactions = attr_or(fs, REACTIONS);
    if (!truthy(reactions)) return false;
    py::object values = call_method(reactions, VALUES);
    for (py::handle r : values) {
        if (equal(upper(py::str(get(r, TYPE, EMPTY.get()))), "CHEMISTRY")) return true;
    }
    return false;
}

// Every stream named at a port or as a feed, in sorted order.
py::list stream_names(py::handle fs) {
    py::set streams;
    py::object ports = call_method(attr(fs, PORTS), VALUES);
    for (py::handle pair : ports) {
        auto [ins, outs] = unpack2(pair);
        for (py::handle side : {py::handle(ins), py::handle(outs)}) {
            for_each(side, [&](py::handle name) {
                if (!truthy(name)) return;
                if (!PyUnicode_Check(name.ptr())) require_text(name, py::str("stream {!r}").format(name));
                streams.add(name);
            });
        }
    }
    py::object feeds = attr(fs, FEEDS);
    for (py::handle n : feeds) {
        if (!PyUnicode_Check(n.ptr())) require_text(n, py::str("feed {!r}").format(n));
        streams.add(n);
    }
    return builtin("sorted")(streams);  // text only: sorting cannot fail
}

py::str about_block(py::handle name) { return py::str("while translating block {!r}").format(name); }

// A port list given as text would be read as one stream per character.
void check_ports(py::handle name, py::handle ports, const char* side) {
    if (PyUnicode_Check(ports.ptr())) {
        raise(PyExc_TypeError, py::str("block {!r}: its {} must be a list of stream names, not the text {!r}")
                                   .format(name, side, ports));
    }
}

std::vector<HostBlock> host_blocks(py::handle fs) {
    py::object ports = attr(fs, PORTS);
    py::object blocks = call_method(attr(fs, BLOCKS), ITEMS);
    std::vector<HostBlock> found;
    for (py::handle entry : blocks) {
        auto [name, block] = unpack2(entry);
        found.push_back(noted(
            [&] {
                auto [ins, outs] = unpack2(item(ports, name));
                check_ports(name, ins, "inlets");
                check_ports(name, outs, "outlets");
                py::object kind = attr(block, KIND);
                return HostBlock{name, block, kind, ins, outs, find_kind(kind)};
            },
            [&] { return about_block(name); }));
    }
    return found;
}

// Every tag the translation will give, so that no two objects share one and
// a helper's tag can be made that nothing else bears.
void reserve_tags(Sheet& s, const py::list& streams, const std::vector<HostBlock>& blocks) {
    for (py::handle name : streams) s.reserve(name, py::str("stream {!r}").format(name));
    for (const HostBlock& b : blocks) {
        if (b.row == nullptr) continue;
        py::str what = py::str("block {!r}").format(b.name);
        s.reserve(b.name, what);
        for (const Affix& a : b.row->helpers) s.reserve(py::str(a.prefix) + b.name + py::str(a.suffix), what);
    }
}

void add_streams(Sheet& s, const py::list& streams) {
    py::ssize_t k = 0;
    for (py::handle name : streams) {
        deliver_interrupts();
        noted(
            [&] {
                auto [x, y] = s.xy(name, k++);
                s.obj[name] = s.add(dwsim::MATERIAL_STREAM, x, y, name);
                s.places[name] = py::make_tuple(x, y);
            },
            [&] { return py::str("while adding stream {!r}").format(name); });
    }
}

// A feed's state; its vapour fraction has no place in DWSIM, where the
// stream is given a temperature instead.
void set_feed_state(Sheet& s, py::handle n, py::handle feed) {
    static const Name VFRAC{"vfrac"}, NP{"np"}, SUM{"sum"};
    py::object o = item(s.obj, n);
    py::object T = attr(feed, T_);
    dwsim::set_temperature(o, T.is_none() ? py::float_(298.15) : to_float(T));
    dwsim::set_pressure(o, to_float(attr(feed, P_)));
    py::object flows = attr(feed, FLOWS);
    py::object F = to_float(call_method(module_attr(NP), SUM, flows));
    dwsim::set_molar_flow(o, py::float_(as_double(F) * 1000.0));
    py::list x;
    for (py::handle f : flows) x.append(steal_or_throw(PyNumber_TrueDivide(to_float(f).ptr(), F.ptr())));
    dwsim::set_overall_composition(o, s.doubles(x));
    if (T.is_none() && !attr_or(feed, VFRAC).is_none()) {
        s.note("feed %s: vapor fraction given, its temperature is solved by Kelvane", n);
    }
}

void set_feed(Sheet& s, py::handle n, py::handle feed) {
    try {
        set_feed_state(s, n, feed);
    } catch (py::error_already_set& e) {
        const bool no_flow = e.matches(PyExc_ZeroDivisionError);
        add_note(e.value(), py::str(no_flow ? "feed {!r}: its flows sum to zero; a feed must have flow"
                                            : "while setting feed {!r}")
                                .format(n));
        throw;
    }
}

// What all feeds bring together: the start of every loop's tear stream and
// the scale of its Recycle's tolerance.
struct FeedTotal {
    std::vector<double> flows;  // kmol/s by component
    double T = 0.0, P = 0.0;    // flow-weighted, K; lowest, Pa
    double mass = 0.0;          // kg/s
};

FeedTotal feed_total(const Sheet& s) {
    FeedTotal total;
    total.flows.assign(py::len(s.comps), 0.0);
    double flow = 0.0, weighted = 0.0;
    py::object feeds = call_method(attr(s.fs, FEEDS), ITEMS);
    for (py::handle entry : feeds) {
        auto [n, feed] = unpack2(entry);
        py::object T = attr(feed, T_);
        const double p = as_double(attr(feed, P_));
        total.P = total.P > 0.0 ? std::min(total.P, p) : p;
        double f_feed = 0.0;
        std::size_t i = 0;
        py::object flows = attr(feed, FLOWS);
        for (py::handle f : flows) {
            const double v = as_double(f);
            if (i < total.flows.size()) total.flows[i++] += v;
            f_feed += v;
        }
        flow += f_feed;
        weighted += f_feed * (T.is_none() ? 298.15 : as_double(T));
    }
    total.T = flow > 0.0 ? weighted / flow : 298.15;
    py::object selected = dwsim::selected_compounds(s.sim);
    std::size_t i = 0;
    for (py::handle c : s.comps) {
        total.mass += total.flows[i++] * as_double(dwsim::molar_weight(item(selected, item(s.names, c))));
    }
    return total;
}

// The stream that leaves a Recycle starts from what the feeds bring, at the
// pressure that the sweep found for it.
void estimate(const Sheet& s, py::handle o, py::handle name, const FeedTotal& total) {
    double flow = 0.0;
    for (double f : total.flows) flow += f;
    if (!(flow > 0.0)) return;
    py::list x;
    for (double f : total.flows) x.append(py::float_(f / flow));
    py::object p = get(s.P, name);
    dwsim::set_temperature(o, py::float_(total.T));
    dwsim::set_pressure(o, p.is_none() ? py::float_(total.P) : to_float(p));
    dwsim::set_molar_flow(o, py::float_(flow * 1000.0));
    dwsim::set_overall_composition(o, s.doubles(x));
}

// Each tear stream leaves a Recycle block, which a stream tagged after it
// feeds: the way a DWSIM user closes a loop, the host's name staying on the
// stream that the loop's blocks read.
void add_recycles(Sheet& s, const std::vector<py::object>& tears) {
    if (tears.empty()) return;
    static const Name FEEDS_{"feeds"};
    const FeedTotal total = feed_total(s);
    py::object feeds = attr(s.fs, FEEDS_);
    for (const py::object& name : tears) {
        deliver_interrupts();
        py::str what = py::str("the Recycle of stream {!r}").format(name);
        auto [x, y] = unpack2(item(s.places, name));
        py::object up = y + py::int_(40);
        py::object in = s.add(dwsim::MATERIAL_STREAM, x - py::int_(40), up, s.fresh(name + py::str("-IN"), what));
        py::object recycle = s.add(dwsim::RECYCLE, x - py::int_(20), up, s.fresh(py::str("REC-") + name, what));
        s.connect(in, recycle);
        s.connect(recycle, item(s.obj, name));
        s.into[name] = in;
        if (total.mass > 0.0) {
            dwsim::set_recycle_tolerances(recycle, py::float_(RECYCLE_MASS_TOLERANCE * total.mass),
                                          py::float_(RECYCLE_TEMPERATURE_TOLERANCE));
        }
        dwsim::set_recycle_iterations(recycle, py::int_(RECYCLE_PASSES));
        if (!contains(feeds, name)) estimate(s, item(s.obj, name), name, total);
    }
}

// The streams at the first `room` ports (all, for -1), open ports left out.
std::vector<py::object> named(py::handle ports, py::ssize_t room = -1) {
    std::vector<py::object> names;
    py::ssize_t j = 0;
    for (py::handle s : ports) {
        if (j++ == room) break;
        if (truthy(s)) names.push_back(py::reinterpret_borrow<py::object>(s));
    }
    return names;
}

// The exported blocks with the inlets that DWSIM connects to them: a unit
// with one inlet takes the first, the others every inlet (through a chain of
// Mixers). Loops and reach are DWSIM's, not the host's; the outlets that a
// unit has no port for are left to `Sheet::fed`.
std::vector<Node> connected(const std::vector<HostBlock>& blocks) {
    std::vector<Node> nodes;
    for (const HostBlock& b : blocks) {
        if (b.row == nullptr) continue;
        nodes.push_back({b.name, named(b.ins, b.row->inlets == 1 ? 1 : -1), named(b.outs)});
    }
    return nodes;
}

// The lowest known pressure of the inlets, or one atmosphere.
py::object lowest_inlet_pressure(const Sheet& s, py::handle ins) {
    py::list known;
    for (py::handle name : ins) {
        if (s.P.contains(name)) known.append(s.P[name]);
    }
    return known.empty() ? py::float_(ATMOSPHERE) : builtin("min")(known);
}

py::object first_outlet_pressure(const Sheet& s, py::handle outs) {
    if (!truthy(outs)) return py::none();
    py::object first = item(outs, py::int_(0));
    return truthy(first) ? get(s.P, first) : py::none();
}

void translate(Sheet& s, const HostBlock& b, py::handle sp, py::ssize_t k) {
    auto [x, y] = s.xy(b.name, k);
    b.row->translate(s, {b.name, py::reinterpret_borrow<py::object>(sp), b.kind, b.ins, b.outs, x, y,
                         lowest_inlet_pressure(s, b.ins), first_outlet_pressure(s, b.outs)});
}

// Whether any stream of `ports` is in `streams`.
bool any_of(py::handle ports, const py::set& streams) {
    for (py::handle s : ports) {
        if (truthy(s) && streams.contains(s)) return true;
    }
    return false;
}

// DWSIM calculates a unit only on the way back from a stream whose outlet is
// open: a unit whose every outlet the host leaves open, and all that leads
// only to it, would silently keep its placeholder state. Its product goes to
// a stream of its own, which is no result of the host's.
void close_outlet(Sheet& s, const HostBlock& b, py::ssize_t k) {
    py::object tag = s.fresh(b.name + py::str("-OUT"), py::str("block {!r}").format(b.name));
    auto [x, y] = s.xy(b.name, k);
    py::object product = s.add(dwsim::MATERIAL_STREAM, x + py::int_(20), y, tag);
    s.connect(item(s.obj, b.name), product, 0, 0);
    s.notes.append(py::str("{}: no outlet stream; in DWSIM its product goes to the stream {} (DWSIM calculates only what "
                           "leads to a stream), which is not in the results").format(b.name, tag));
}

// Which block failed, and where a common mistake is the likely cause, which.
py::str about(const Sheet& s, const HostBlock& b) {
    py::str text = py::str("while translating block {!r} ({})").format(b.name, b.kind);
    if (b.row->result == Result::power || b.row == &VALVE) {
        py::object pout = first_outlet_pressure(s, b.outs);
        if (pout.is_none()) text = text + py::str(": the pressure of its outlet is unknown, as no feed reaches it");
    }
    return text;
}

// Adds, connects and specifies a unit for each block of a translated kind,
// in the order of fs.blocks; the others are named in one note.
void translate_blocks(Sheet& s, const std::vector<HostBlock>& blocks) {
    py::list skipped;
    py::ssize_t k = 0;
    for (const HostBlock& b : blocks) {
        deliver_interrupts();
        py::object sp = attr(b.block, SPEC);
        if (b.row != nullptr) {
            noted([&] { translate(s, b, sp, k); }, [&] { return about(s, b); });
            if (!any_of(b.outs, s.fed)) close_outlet(s, b, k);
        } else {
            skipped.append(py::str(b.name) + py::str(" (") + py::str(b.kind) + py::str(")"));
        }
        ++k;
    }
    if (!skipped.empty()) s.note("not exported (no DWSIM block here): %s", py::str(", ").attr("join")(skipped));
}

// The exported blocks by the streams that enter them, for walks downstream
// that visit each block once.
class Consumers {
public:
    explicit Consumers(const std::vector<Node>& blocks) : blocks_(blocks) {
        for (std::size_t k = 0; k < blocks.size(); ++k) {
            for (const py::object& in : blocks[k].ins) of(in).push_back(k);
        }
    }

    // Marks in `streams` everything downstream of what it holds, and in
    // `marked` the blocks that a marked stream enters; only the outlets
    // among `connected` (those DWSIM connects) pass it on.
    void spread(py::set& streams, py::set& marked, const py::set& connected) {
        std::vector<py::object> todo;
        for (py::handle s : streams) todo.push_back(py::reinterpret_borrow<py::object>(s));
        while (!todo.empty()) {
            py::object stream = std::move(todo.back());
            todo.pop_back();
            for (std::size_t k : of(stream)) {
                const Node& b = blocks_[k];
                if (marked.contains(b.name)) continue;
                marked.add(b.name);
                for (const py::object& out : b.outs) {
                    if (!streams.contains(out) && connected.contains(out)) {
                        streams.add(out);
                        todo.push_back(py::reinterpret_borrow<py::object>(out));
                    }
                }
            }
        }
    }

private:
    std::vector<std::size_t>& of(py::handle stream) {
        py::object at = get(index_, stream);
        if (!at.is_none()) return lists_[at.cast<std::size_t>()];
        index_[stream] = py::int_(lists_.size());
        return lists_.emplace_back();
    }

    const std::vector<Node>& blocks_;
    py::dict index_;  // stream -> position in lists_
    std::vector<std::vector<std::size_t>> lists_;
};

// Lists `names` for a note, sorted.
py::str listed(const py::set& names) { return py::str(", ").attr("join")(builtin("sorted")(names)); }

// A stream that no feed reaches holds DWSIM's placeholder state (298.15 K,
// 1 atm, about 1 kg/s) or whatever a loop no feed enters makes of it: no
// result; neither is what it reaches downstream, nor a block without inlet.
// They are named in a note and left out of the results.
void leave_out_phantoms(Sheet& s, const std::vector<Node>& blocks, const py::list& streams, Built& built) {
    Consumers consumers(blocks);
    py::set reached, entered;
    for (py::handle n : attr(s.fs, FEEDS)) reached.add(n);
    consumers.spread(reached, entered, s.fed);

    // What nothing feeds and what it reaches first; then what remains beyond
    // the feeds' reach: the streams of a loop no feed enters, the outlets of
    // a block without inlet.
    py::set unfed, unreached;
    for (py::handle name : streams) {
        if (!reached.contains(name) && !s.fed.contains(name)) unfed.add(name);
    }
    for (py::handle name : unfed) built.phantom_streams.add(name);
    consumers.spread(built.phantom_streams, built.phantom_blocks, s.fed);
    for (py::handle name : streams) {
        if (!reached.contains(name) && !built.phantom_streams.contains(name)) unreached.add(name);
    }
    for (py::handle name : unreached) built.phantom_streams.add(name);
    for (const Node& b : blocks) {  // their outlets hold what DWSIM makes of nothing, a feed's state too
        if (entered.contains(b.name)) continue;
        built.phantom_blocks.add(b.name);
        for (const py::object& out : b.outs) {
            if (s.fed.contains(out)) built.phantom_streams.add(out);
        }
    }
    consumers.spread(built.phantom_streams, built.phantom_blocks, s.fed);
    if (built.phantom_streams.empty() && built.phantom_blocks.empty()) return;

    py::list why, left_out;
    if (!unfed.empty()) why.append(py::str("nothing feeds {} (no feed, no exported block)").format(listed(unfed)));
    if (!unreached.empty()) {
        why.append(py::str("no feed reaches {} (a loop that no feed enters, or a block without inlet)").format(listed(unreached)));
    }
    if (why.empty()) why.append(py::str("no stream enters {}").format(listed(built.phantom_blocks)));
    if (!built.phantom_streams.empty()) left_out.append(py::str("streams ") + listed(built.phantom_streams));
    if (!built.phantom_blocks.empty()) left_out.append(py::str("blocks ") + listed(built.phantom_blocks));
    py::str semicolon("; ");
    s.notes.append(py::str("{}: DWSIM holds a placeholder state there, no result; left out of the results: {}")
                       .format(semicolon.attr("join")(why), semicolon.attr("join")(left_out)));
}

}  // namespace

Built build(py::handle fs, const Automation& at) {
    static const Name POSITIONS{"positions"};
    Sheet s;
    s.at = at;
    s.fs = py::reinterpret_borrow<py::object>(fs);
    s.doubles = dwsim::double_array_type();
    s.sim = dwsim::create_flowsheet(at.a);
    s.drawing = std::make_unique<dwsim::Drawing>(s.sim, at.ObjectType);
    s.names = compound_names(fs, s.sim);
    py::object components = attr(attr(fs, PP), COMPONENTS);
    check_one_component_each(components, s.names);
    for (py::handle c : components) dwsim::add_compound(s.sim, item(s.names, c));

    add_package(s);
    if (noted([&] { return has_electrolytes(fs); }, [] { return py::str("while reading the reactions, fs.reactions"); })) {
        s.notes.append(py::str("the electrolyte chemistry is not exported"));
    }
    s.pos = attr_or(fs, POSITIONS);
    if (!truthy(s.pos)) s.pos = py::dict();
    s.P = pressures(fs);
    const std::vector<HostBlock> blocks = host_blocks(fs);  // first: its errors name the block
    const py::list streams = stream_names(fs);
    reserve_tags(s, streams, blocks);
    add_streams(s, streams);
    s.comps = to_list(attr(attr(fs, PP), COMPONENTS));
    py::object feeds = call_method(attr(fs, FEEDS), ITEMS);
    for (py::handle entry : feeds) {
        deliver_interrupts();
        auto [n, feed] = unpack2(entry);
        set_feed(s, n, feed);
    }
    const std::vector<Node> nodes = connected(blocks);
    add_recycles(s, tear_streams(nodes));
    translate_blocks(s, blocks);
    Built built{s.sim, s.obj, s.notes, py::set(), py::set()};
    leave_out_phantoms(s, nodes, streams, built);
    return built;
}

py::tuple build(py::handle fs, py::handle a, py::handle m) {
    const Automation at = a.is_none() ? automation_state() : automation_of(a, m);
    Built built = build(fs, at);
    return py::make_tuple(built.sim, built.obj, built.notes);
}

}  // namespace flowgate
