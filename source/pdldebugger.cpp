#include "pdldebugger.h"

#include "pdlmodule.h"
#include "pdlmodulemanager.h"

#include "rtk/thread.h"

#include <cstdlib>
#include <iostream>
#include <mutex>

rtk::BinarySemaphore PDLDebugger::s_breakpoint(true);
std::atomic<bool> PDLDebugger::s_singleStep(false);

namespace
{
// Guards the two words below. s_stopped is set by the held thread just before it blocks on its second
// take and cleared by whoever releases it, so "stopped" never outlives the release.
std::mutex s_lock;
int s_suspended = 0;
bool s_stopped = false;

// The held thread sets s_stopped, then blocks at once; wait until it is really blocked (or has given
// the signal back), so that the double give of a release is never split around its take.
void waitForHeldThread()
{
    for (int i = 0; i < 1000; ++i)
    {
        if (PDLDebugger::s_breakpoint.getWaiterCount() > 0 || PDLDebugger::s_breakpoint.isSignalled())
        {
            return;
        }
        rtk::Thread::mssleep(1);
    }
}

// The arguments of bpset and bpdel: workplace, group, module, line, each strtol in base 10. The module
// id's checking constructor ends the process on a value out of range.
PDLBPPos toPosition(rtk::CmdParameters const& params)
{
    long const values[4] = {std::strtol(params.get(0).c_str(), nullptr, 10),
                            std::strtol(params.get(1).c_str(), nullptr, 10),
                            std::strtol(params.get(2).c_str(), nullptr, 10),
                            std::strtol(params.get(3).c_str(), nullptr, 10)};
    return PDLBPPos(UniqueModuleID(static_cast<uint16_t>(values[0]), static_cast<uint16_t>(values[1]),
                                   static_cast<uint16_t>(values[2])),
                    static_cast<int32_t>(values[3]));
}

PDLModule* findModule(UniqueModuleID const& id)
{
    return PDLModuleManager::hasInstance() ? PDLModuleManager::getInstance()->getModule(id) : nullptr;
}
} // namespace

PDLDebugger::PDLDebugger()
{
    {
        std::lock_guard<std::mutex> guard(s_lock);
        s_suspended = 0;
        s_stopped = false;
    }
    s_singleStep = false;
    // No stop stands: the semaphore holds its one signal.
    s_breakpoint.take(0);
    s_breakpoint.give();

    rtk::CmdProcessor* pCmd = rtk::CmdProcessor::getInstance();
    pCmd->registerCmd("bpset", "bpset <group id> <module id> <line number>\n\tset breakpoint at specified position",
                      this, &PDLDebugger::shellCmdBpSet);
    pCmd->registerCmd("bpdel",
                      "bpdel <group id> <module id> <line number>\n\tdelete breakpoint at specified position", this,
                      &PDLDebugger::shellCmdBpDel);
    pCmd->registerCmd("bpdelall", "bpdelall\n\tdelete all breakpoints", this, &PDLDebugger::shellCmdBpDelAll);
    pCmd->registerCmd("bplist", "bplist\n\tlist all breakpoints", this, &PDLDebugger::shellCmdBpList);
    pCmd->registerCmd("step", "step\n\texecute next PDL command", this, &PDLDebugger::shellCmdStep);
    pCmd->registerCmd("continue", "continue\n\tcontinue execution until next breakpoint", this,
                      &PDLDebugger::shellCmdContinue);
}

PDLDebugger::~PDLDebugger()
{
    rtk::CmdProcessor::getInstance()->unregisterOwner(this);
    // Whoever shut the panel down has released any stop; a later debugger starts afresh, and code run
    // without one (a checker, a test) stops as the flags say.
    std::lock_guard<std::mutex> guard(s_lock);
    s_suspended = 0;
    s_stopped = false;
}

void PDLDebugger::stopAt(rtk::Path const& file, int32_t line)
{
    {
        std::lock_guard<std::mutex> guard(s_lock);
        if (s_suspended > 0)
        {
            return;
        }
    }
    std::cout << "breakpoint hit at " << file.getString() << " line " << line << std::endl;
    if (rtk::CmdProcessor::isCommandThread())
    {
        // Only the shell could release this thread, and it is the shell.
        std::cout << "breakpoint not held: the shell's own command runs this code" << std::endl;
        return;
    }
    // The first take consumes the signal that stands between stops; the second waits for the shell.
    s_breakpoint.take();
    {
        std::lock_guard<std::mutex> guard(s_lock);
        if (s_suspended > 0)
        {
            s_breakpoint.give();
            return;
        }
        s_stopped = true;
    }
    s_breakpoint.take();
    std::lock_guard<std::mutex> guard(s_lock);
    s_stopped = false;
}

void PDLDebugger::release(bool singleStep)
{
    // The semaphore tells whether a thread is held: its signal stands only while none is.
    if (s_breakpoint.take(0))
    {
        std::cout << "no active breakpoint found" << std::endl;
        s_breakpoint.give();
        return;
    }
    {
        std::lock_guard<std::mutex> guard(s_lock);
        s_singleStep = singleStep;
        s_stopped = false;
    }
    waitForHeldThread();
    // The first give releases the thread, the second leaves the signal standing for the next stop.
    s_breakpoint.give();
    s_breakpoint.give();
}

void PDLDebugger::suspendStops()
{
    bool wasStopped = false;
    {
        std::lock_guard<std::mutex> guard(s_lock);
        ++s_suspended;
        s_singleStep = false;
        wasStopped = s_stopped;
        s_stopped = false;
    }
    if (wasStopped)
    {
        std::cout << "breakpoint released" << std::endl;
        waitForHeldThread();
        s_breakpoint.give();
        s_breakpoint.give();
    }
}

void PDLDebugger::resumeStops()
{
    std::lock_guard<std::mutex> guard(s_lock);
    if (s_suspended > 0)
    {
        --s_suspended;
    }
}

void PDLDebugger::shutdown()
{
    // Never resumed: the count only goes back to 0 with the next debugger.
    suspendStops();
}

bool PDLDebugger::isStopped()
{
    std::lock_guard<std::mutex> guard(s_lock);
    return s_stopped;
}

bool PDLDebugger::shellCmdBpSet(rtk::CmdParameters& params)
{
    if (params.getCount() != 4)
    {
        std::cout << "usage: bpset <workplace id> <group id> <module id> <line number>" << std::endl;
        return false;
    }
    PDLBPPos const position = toPosition(params);
    PDLModule* pModule = findModule(position.m_moduleID);
    if (pModule == nullptr)
    {
        std::cout << "module not found" << std::endl;
        return false;
    }
    pModule->setBreakpoint(position.m_line);
    m_breakpoints.insert(position);
    return true;
}

bool PDLDebugger::shellCmdBpDel(rtk::CmdParameters& params)
{
    if (params.getCount() != 4)
    {
        std::cout << "usage: bpdel <workplace id> <group id> <module id> <line number>" << std::endl;
        return false;
    }
    PDLBPPos const position = toPosition(params);
    PDLModule* pModule = findModule(position.m_moduleID);
    if (pModule == nullptr)
    {
        std::cout << "module not found" << std::endl;
        return false;
    }
    pModule->deleteBreakpoint(position.m_line);
    m_breakpoints.erase(position);
    return true;
}

bool PDLDebugger::shellCmdBpDelAll(rtk::CmdParameters& /*params*/)
{
    // The positions stay listed: bplist goes on showing them.
    for (PDLBPPos const& position : m_breakpoints)
    {
        PDLModule* pModule = findModule(position.m_moduleID);
        if (pModule != nullptr)
        {
            pModule->deleteBreakpoint(position.m_line);
        }
    }
    return true;
}

bool PDLDebugger::shellCmdBpList(rtk::CmdParameters& /*params*/)
{
    std::cout << "Workpl ID  Group ID   Module ID     line" << std::endl;
    std::cout << std::string(41, '-') << std::endl;
    for (PDLBPPos const& position : m_breakpoints)
    {
        std::cout << position.m_moduleID.getWorkplaceID() << "       " << position.m_moduleID.getGroupID()
                  << "       " << position.m_moduleID.getModuleID() << "        " << position.m_line << std::endl;
    }
    return true;
}

bool PDLDebugger::shellCmdStep(rtk::CmdParameters& /*params*/)
{
    release(true);
    return true;
}

bool PDLDebugger::shellCmdContinue(rtk::CmdParameters& /*params*/)
{
    release(false);
    return true;
}
