// Stream pressures from the feeds and the blocks' pressure specifications.
#pragma once

#include "frame/python.hpp"

namespace flowgate {

// {stream: pressure in Pa} for every stream a feed reaches; no thermodynamics.
py::dict pressures(py::handle fs);

}  // namespace flowgate
