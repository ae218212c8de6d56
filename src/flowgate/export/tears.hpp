// Where the loops of a host flowsheet are cut for DWSIM.
//
// DWSIM orders a flowsheet by walking back from its end points and refuses a
// loop that no Recycle block cuts. The tear set is small and deterministic:
// the same flowsheet always gets the same Recycle blocks.
#pragma once

#include "frame/python.hpp"

#include <vector>

namespace flowgate {

// A block of the flowsheet as the loops see it: its name and the streams at
// its ports (falsy placeholders left out).
struct Node {
    py::object name;
    std::vector<py::object> ins, outs;
};

// The streams to cut so that no loop of `nodes` is left, in the order of
// `nodes`: each strongly connected group is ordered so that few streams run
// backwards (sinks to the end, sources to the front, else the block with the
// most outflow over inflow, ties to a block that material enters from outside,
// then to the earlier block), and the streams that run backwards are cut.
std::vector<py::object> tear_streams(const std::vector<Node>& nodes);

}  // namespace flowgate
