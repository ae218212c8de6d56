// One thread at a time in DWSIM.
//
// Two threads of one process calling into DWSIM at once freeze it for good:
// one waits inside Mono's string allocation for the garbage collector's
// semaphore, while the other, which the collector waits for, waits for the
// GIL in pythonnet's PyEval_RestoreThread. Every use of DWSIM therefore takes
// this turn first (before _LOCK, which guards the first load only); calls of
// any number of threads complete one after another. The turn is waited for
// with the GIL released, and signals are handled while waiting.
#pragma once

#include "frame/python.hpp"

namespace flowgate {

class DwsimTurn {
public:
    DwsimTurn();
    ~DwsimTurn();
    DwsimTurn(const DwsimTurn&) = delete;
    DwsimTurn& operator=(const DwsimTurn&) = delete;
};

}  // namespace flowgate
