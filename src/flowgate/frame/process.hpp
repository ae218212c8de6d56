// What the process remembers across imports: the one interpreter the module
// may live in and the one module object it has made there.
#pragma once

#include "frame/python.hpp"

namespace flowgate {

// The module object held by the process; throws when none is held yet.
py::module_ process_module();

}  // namespace flowgate
