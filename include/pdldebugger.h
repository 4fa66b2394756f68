#ifndef PDLDEBUGGER_H
#define PDLDEBUGGER_H

// PDLDebugger: the PDL debugger's rendezvous with the interpreter's thread. PDLCommand::execute stops
// on s_breakpoint when a command has its breakpoint flag or single-stepping is on; the shell side
// releases it.

#include "rtk/semaphore.h"

#include <atomic>

class PDLDebugger
{
public:
    // Signalled at the start: the first of the two takes at a stop consumes that signal, the second
    // waits for the shell.
    static rtk::BinarySemaphore s_breakpoint;
    // Stop before every command. Written by the shell's thread, read by the interpreter's.
    static std::atomic<bool> s_singleStep;
};

#endif
