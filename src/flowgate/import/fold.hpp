// What the export adds to a host flowsheet, folded back into the host's
// blocks: the Recycle blocks that close loops, the chains of Mixers and
// Splitters that stand for one block, the heater (and mixer) of a FLASH2.
#pragma once

#include "frame/python.hpp"

#include <functional>
#include <vector>

namespace flowgate {

// A Recycle block of the file and the material streams at its two sides.
struct Recycle {
    py::object tag;
    py::list ins, outs;
};

// Folds the model's blocks (by tag: "kind", "in", "out", spec keys), their
// layout and its feeds in place. `state_of(tag)` is a stream's stored state
// as a feed entry.
void fold(py::dict& blocks, py::dict& layout, py::dict& feeds, const std::vector<Recycle>& recycles,
          const std::function<py::dict(py::handle)>& state_of, py::list& notes);

}  // namespace flowgate
