#include "export/tears.hpp"

#include <algorithm>
#include <map>

namespace flowgate {
namespace {

// A stream from block `from` to block `to` (indices into the nodes).
struct Edge {
    std::size_t from, to;
    py::object stream;
};

struct Graph {
    std::size_t size = 0;
    std::vector<Edge> edges;
    std::vector<bool> fed_from_outside;  // a stream enters it that no block of its group makes
};

// Streams that one block makes and another takes, in block and port order.
Graph graph_of(const std::vector<Node>& nodes) {
    Graph g;
    g.size = nodes.size();
    py::dict producer;  // stream -> index of the block that makes it
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        for (const py::object& s : nodes[i].outs) {
            if (!producer.contains(s)) producer[s] = py::int_(i);
        }
    }
    for (std::size_t v = 0; v < nodes.size(); ++v) {
        for (const py::object& s : nodes[v].ins) {
            if (producer.contains(s)) g.edges.push_back({py::cast<std::size_t>(producer[s]), v, s});
        }
    }
    return g;
}

// Strongly connected groups (Tarjan, without recursion: a flowsheet may
// chain thousands of blocks), each a sorted list of node indices.
std::vector<std::vector<std::size_t>> groups_of(const Graph& g) {
    std::vector<std::vector<std::size_t>> succ(g.size);
    for (const Edge& e : g.edges) succ[e.from].push_back(e.to);
    std::vector<int> index(g.size, -1), low(g.size, 0);
    std::vector<bool> on_stack(g.size, false);
    std::vector<std::size_t> stack;
    std::vector<std::vector<std::size_t>> groups;
    int next = 0;
    for (std::size_t root = 0; root < g.size; ++root) {
        if (index[root] >= 0) continue;
        std::vector<std::pair<std::size_t, std::size_t>> calls{{root, 0}};  // node, next successor
        index[root] = low[root] = next++;
        stack.push_back(root);
        on_stack[root] = true;
        while (!calls.empty()) {
            auto& [v, k] = calls.back();
            if (k < succ[v].size()) {
                const std::size_t w = succ[v][k++];
                if (index[w] < 0) {
                    index[w] = low[w] = next++;
                    stack.push_back(w);
                    on_stack[w] = true;
                    calls.push_back({w, 0});
                } else if (on_stack[w]) {
                    low[v] = std::min(low[v], index[w]);
                }
                continue;
            }
            const std::size_t done = v;
            calls.pop_back();
            if (!calls.empty()) low[calls.back().first] = std::min(low[calls.back().first], low[done]);
            if (low[done] != index[done]) continue;
            std::vector<std::size_t> group;
            std::size_t w;
            do {
                w = stack.back();
                stack.pop_back();
                on_stack[w] = false;
                group.push_back(w);
            } while (w != done);
            std::sort(group.begin(), group.end());
            groups.push_back(group);
        }
    }
    return groups;
}

// An order of one group's blocks with few streams running backwards
// (after Eades, Lin and Smyth).
std::vector<std::size_t> order_of(const std::vector<std::size_t>& group, const std::vector<const Edge*>& inner,
                                  const std::vector<bool>& entered) {
    std::map<std::size_t, int> in, out;
    for (std::size_t v : group) in[v] = out[v] = 0;
    for (const Edge* e : inner) {
        ++out[e->from];
        ++in[e->to];
    }
    std::vector<std::size_t> front, back;
    auto remove = [&](std::size_t v) {
        for (const Edge* e : inner) {
            if (e->from == v && in.count(e->to)) --in[e->to];
            if (e->to == v && out.count(e->from)) --out[e->from];
        }
        in.erase(v);
        out.erase(v);
    };
    auto first_where = [&](auto test) -> std::ptrdiff_t {
        for (const auto& [v, _] : in) {
            if (test(v)) return static_cast<std::ptrdiff_t>(v);
        }
        return -1;
    };
    while (!in.empty()) {
        for (std::ptrdiff_t v; (v = first_where([&](std::size_t u) { return out[u] == 0; })) >= 0;) {
            back.push_back(static_cast<std::size_t>(v));
            remove(static_cast<std::size_t>(v));
        }
        for (std::ptrdiff_t v; (v = first_where([&](std::size_t u) { return in[u] == 0; })) >= 0;) {
            front.push_back(static_cast<std::size_t>(v));
            remove(static_cast<std::size_t>(v));
        }
        if (in.empty()) break;
        std::size_t best = in.begin()->first;
        for (const auto& [v, _] : in) {
            const auto key = [&](std::size_t u) { return std::make_pair(out[u] - in[u], entered[u] ? 1 : 0); };
            if (key(v) > key(best)) best = v;
        }
        front.push_back(best);
        remove(best);
    }
    front.insert(front.end(), back.rbegin(), back.rend());
    return front;
}

}  // namespace

std::vector<py::object> tear_streams(const std::vector<Node>& nodes) {
    const Graph g = graph_of(nodes);
    std::vector<bool> entered(g.size, false);
    std::vector<std::size_t> group_of(g.size);
    const auto groups = groups_of(g);
    for (std::size_t k = 0; k < groups.size(); ++k) {
        for (std::size_t v : groups[k]) group_of[v] = k;
    }
    // Material from a feed or from another group: where a user starts a loop.
    py::set made;
    for (const Edge& e : g.edges) made.add(e.stream);
    for (std::size_t v = 0; v < g.size; ++v) {
        for (const py::object& s : nodes[v].ins) {
            if (!made.contains(s)) entered[v] = true;
        }
    }
    for (const Edge& e : g.edges) {
        if (group_of[e.from] != group_of[e.to]) entered[e.to] = true;
    }

    // A block's stream into itself is always cut; inside a group, the
    // streams that run backwards in its order.
    std::vector<std::vector<const Edge*>> inner(groups.size());
    std::vector<bool> torn(g.edges.size(), false);
    for (std::size_t k = 0; k < g.edges.size(); ++k) {
        const Edge& e = g.edges[k];
        if (e.from == e.to) torn[k] = true;
        else if (group_of[e.from] == group_of[e.to]) inner[group_of[e.from]].push_back(&e);
    }
    std::vector<std::size_t> place(g.size, 0);
    for (std::size_t k = 0; k < groups.size(); ++k) {
        if (groups[k].size() < 2) continue;
        const auto order = order_of(groups[k], inner[k], entered);
        for (std::size_t p = 0; p < order.size(); ++p) place[order[p]] = p;
        for (const Edge* e : inner[k]) {
            if (place[e->to] < place[e->from]) torn[static_cast<std::size_t>(e - g.edges.data())] = true;
        }
    }
    std::vector<py::object> tears;
    for (std::size_t k = 0; k < g.edges.size(); ++k) {
        if (torn[k]) tears.push_back(g.edges[k].stream);
    }
    return tears;
}

}  // namespace flowgate
