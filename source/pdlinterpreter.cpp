#include "pdlinterpreter.h"

#include "pdldebugger.h"
#include "pdlphysicalwidget.h"

#include "rtk/cmd.h"

#include <basekit/uniqueids.h>

rtk::MutexSemaphore PDLInterpreter::s_mutex;
int PDLInterpreter::s_logLevel = 3;

namespace
{
// Set on a shell thread that suspended the debugger's stops to get the mutex; resumed with its last give.
thread_local bool s_shellSuspendedStops = false;
} // namespace

PDLInterpreter::PDLInterpreter() : m_pDebugger(nullptr)
{
    mutexTake();
    m_pDebugger = new PDLDebugger;
}

PDLInterpreter::~PDLInterpreter()
{
    delete m_pDebugger;
}

IInterface* PDLInterpreter::queryInterface(unsigned int id)
{
    if (id == IPDLInterpreter::s_interfaceID)
    {
        return static_cast<IPDLInterpreter*>(this);
    }
    return nullptr;
}

void PDLInterpreter::addWidget(UniqueWidgetID const& id)
{
    PDLPhysicalWidgetManager::getInstance()->addWidget(id);
}

void PDLInterpreter::mutexTake()
{
    if (rtk::CmdProcessor::isCommandThread() && !s_shellSuspendedStops)
    {
        if (s_mutex.tryTake())
        {
            return;
        }
        // A thread held at a breakpoint keeps the mutex until the shell releases it, and this is the
        // shell: let it go and keep it from stopping again until this command is done with the mutex.
        PDLDebugger::suspendStops();
        s_mutex.take();
        s_shellSuspendedStops = true;
        return;
    }
    s_mutex.take();
}

void PDLInterpreter::mutexGive()
{
    bool const last = s_shellSuspendedStops && s_mutex.getCount() == 1;
    s_mutex.give();
    if (last)
    {
        s_shellSuspendedStops = false;
        PDLDebugger::resumeStops();
    }
}
