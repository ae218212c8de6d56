// Ctrl-C while the module works in DWSIM.
//
// pythonnet cannot take a KeyboardInterrupt raised while .NET calls back into
// Python (the process dies with an unhandled PythonException), and Mono's
// start broken off halfway cannot be started again in that process. So while
// the module works, SIGINT is held by a handler of its own and delivered to
// the handler it replaced at the next point where that is safe: between the
// blocks of a build, between the streams read back, after DWSIM's call.
#pragma once

#include "frame/python.hpp"

namespace flowgate {

// Holds SIGINT for the lifetime of the guard (on the main thread, where
// Python handles signals; elsewhere there is nothing to hold). Nested guards
// hold once. At its end the handler is put back, and an interrupt still held
// is raised again for it.
class HeldInterrupts {
public:
    HeldInterrupts();
    ~HeldInterrupts();
    HeldInterrupts(const HeldInterrupts&) = delete;
    HeldInterrupts& operator=(const HeldInterrupts&) = delete;

private:
    py::object replaced_;
};

// A safe point: an interrupt held so far goes to the replaced handler now
// (Python's own raises KeyboardInterrupt here).
void deliver_interrupts();

}  // namespace flowgate
