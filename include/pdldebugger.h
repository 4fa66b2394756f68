#ifndef PDLDEBUGGER_H
#define PDLDEBUGGER_H

// PDLDebugger: line breakpoints and single steps in PDL code from the shell. A breakpoint is the flag of
// the command on that line (found through the module's line table); PDLCommand::execute stops on
// s_breakpoint when the flag or single-stepping is set, and the shell's step and continue release it.
//
// A stop holds the interpreter mutex, so whatever needs that mutex to end must first let the stop go:
// suspendStops releases a stopped interpreter and keeps it from stopping again until resumeStops. The
// module unload paths, the shell's own need of the mutex and the shutdown use it, so none of them can
// wait forever on a breakpoint.

#include "rtk/cmd.h"
#include "rtk/path.h"
#include "rtk/semaphore.h"

#include <basekit/uniqueids.h>

#include <atomic>
#include <cstdint>
#include <set>

// A breakpoint position: module and line, ordered by the module's 16-bit value, then the line.
struct PDLBPPos
{
    PDLBPPos(UniqueModuleID const& moduleID, int32_t line) : m_moduleID(moduleID), m_line(line) {}

    bool operator<(PDLBPPos const& other) const
    {
        if (m_moduleID.getValue() != other.m_moduleID.getValue())
        {
            return m_moduleID.getValue() < other.m_moduleID.getValue();
        }
        return m_line < other.m_line;
    }

    UniqueModuleID m_moduleID;
    int32_t m_line;
};

class PDLDebugger
{
public:
    // Registers the shell commands and starts with no stop standing, stops allowed.
    PDLDebugger();
    virtual ~PDLDebugger();

    // The hook of PDLCommand::execute, called when the command has its breakpoint or single-stepping is
    // on: prints "breakpoint hit at FILE line N" and holds the calling thread until step or continue.
    // Nothing happens while stops are suspended, and the shell's own thread is never held (it is the one
    // that would have to release it): there the line is printed and the code goes on.
    static void stopAt(rtk::Path const& file, int32_t line);

    // Lets a stopped interpreter go on and keeps every thread from stopping until the matching
    // resumeStops; single-stepping ends. Prints "breakpoint released" when a stop was let go. Nests.
    static void suspendStops();
    static void resumeStops();
    // The same for good: the panel stops. Undone only by the next debugger.
    static void shutdown();
    // True while a thread is held at a breakpoint and waits for the shell.
    static bool isStopped();

    // Signalled at the start: the first of the two takes at a stop consumes that signal, the second
    // waits for the shell.
    static rtk::BinarySemaphore s_breakpoint;
    // Stop before every command. Written by the shell's thread, read by the interpreter's.
    static std::atomic<bool> s_singleStep;

protected:
    bool shellCmdBpSet(rtk::CmdParameters& params);
    bool shellCmdBpDel(rtk::CmdParameters& params);
    bool shellCmdBpDelAll(rtk::CmdParameters& params);
    bool shellCmdBpList(rtk::CmdParameters& params);
    bool shellCmdStep(rtk::CmdParameters& params);
    bool shellCmdContinue(rtk::CmdParameters& params);
    // step and continue: release a held thread with single-stepping set as given.
    static void release(bool singleStep);

    std::set<PDLBPPos> m_breakpoints;

private:
    PDLDebugger(PDLDebugger const&) = delete;
    PDLDebugger& operator=(PDLDebugger const&) = delete;
};

#endif
