// The blocks of a host flowsheet as DWSIM unit operations.
#pragma once

#include "export/build_state.hpp"

namespace flowgate {

// Adds, connects and specifies a unit for each block of a translated kind,
// in the order of fs.blocks; the others are named in one note.
void translate_blocks(Build& b);

}  // namespace flowgate
