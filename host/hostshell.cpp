#include "hostshell.h"

#include "panelfunctionsystem.h"
#include "pdldebugger.h"
#include "pdleventmanager.h"
#include "pdlinterpreter.h"
#include "pdlphysicalwidget.h"
#include "virtualpanel.h"

#include "ihwsimulation.h"

#include "rtk/path.h"
#include "rtk/thread.h"

#include <basekit/timinglog.h>
#include <basekit/uniqueids.h>
#include <interfaces/ihwmodulemanager.h>
#include <interfaces/imodulemanager.h>
#include <interfaces/ipanelstate.h>
#include <interfaces/ipspublisher.h>

#include <cstdlib>
#include <iostream>

HostShell::HostShell(VirtualPanel* pPanel)
    : m_pPanel(pPanel), m_pHwSimulation(nullptr), m_pInterrupt(nullptr), m_quit(false), m_engineHeld(false),
      m_gaveUpAtPass(~0ul)
{
    // The simulated driver tells whether it still has reports to deliver; another driver library may
    // not, and then only the engine is waited for.
    m_pHwSimulation = getInterface<IHwSimulation>(getInterface<IHwModuleManager>(pPanel));

    rtk::CmdProcessor* pShell = rtk::CmdProcessor::getInstance();
    pShell->registerCmd("sync", "sync\n\twait until no hardware report, event or variable change is pending",
                        this, &HostShell::shellCmdSync);
    pShell->registerCmd("quit", "quit\n\tstop the panel and leave", this, &HostShell::shellCmdQuit);
    pShell->registerCmd("stateSet", "stateSet FID VALUE\n\tset a panel state value", this,
                        &HostShell::shellCmdStateSet);
    pShell->registerCmd("stateGet", "stateGet FID\n\tprint a panel state value as FID=VALUE", this,
                        &HostShell::shellCmdStateGet);
    pShell->registerCmd("stateTrigger", "stateTrigger FID VALUE\n\ttrigger a panel state event", this,
                        &HostShell::shellCmdStateTrigger);
    pShell->registerCmd("moduleCreate",
                        "moduleCreate W G M PDLFILE\n\tcreate, load and init a module without hardware "
                        "(PDLFILE relative to config/)",
                        this, &HostShell::shellCmdModuleCreate);
    pShell->registerCmd("engineHold",
                        "engineHold on|off\n\tkeep the engine from running (hardware events queue up), or let "
                        "it run again",
                        this, &HostShell::shellCmdEngineHold);
    pShell->registerCmd("timing", "timing on|off|clear|dump\n\tswitch, clear or print the event timing log",
                        this, &HostShell::shellCmdTiming);
    pShell->registerCmd("widgetDefaults",
                        "widgetDefaults [W G M WIDGET]\n\treset every control, or one, to its widget type's "
                        "defaults on the hardware, as a stop does (the core keeps its attribute records)",
                        this, &HostShell::shellCmdWidgetDefaults);
}

HostShell::~HostShell()
{
    rtk::CmdProcessor::getInstance()->unregisterOwner(this);
    // The panel's shutdown needs the interpreter mutex.
    releaseEngine();
}

void HostShell::releaseEngine()
{
    if (m_engineHeld)
    {
        m_engineHeld = false;
        PDLInterpreter::mutexGive();
    }
}

void HostShell::waitIdle()
{
    // Only the shell's own thread asks the driver for new reports, so nothing new starts while we wait.
    // The driver is asked first: once it is idle, every report it delivered has either run to its end
    // (updateModuleStatus returns after the module's first events ran) or handed the core a hardware
    // event and a wake-up (sendEvent queues and wakes before it returns). PDLEventManager::isIdle then
    // sees all of that: it is false while a wake-up is pending, a pass runs or a hardware event waits.
    // A pass ends with nothing queued unless the storm guard gave up; what it left waits for a wake-up
    // that nothing else gives, so the shell gives it, a bounded number of times, since a loop that
    // never settles would otherwise keep the shell waiting for ever.
    static int const s_maxLeftoverPasses = 10;
    static int const s_heldWaitMs = 2000;
    PDLEventManager* pEventManager = PDLEventManager::getInstance();
    int leftoverPasses = 0;
    for (int waited = 0;; ++waited)
    {
        if (m_pInterrupt != nullptr && *m_pInterrupt)
        {
            return;
        }
        bool const driverIdle = m_pHwSimulation == nullptr || m_pHwSimulation->isIdle();
        // A thread held at a breakpoint waits for the shell, and so does a report that waits for the
        // interpreter mutex the held thread keeps: nothing moves until the next command.
        if (PDLDebugger::isStopped() && (driverIdle || PDLInterpreter::s_mutex.getWaiterCount() > 0))
        {
            return;
        }
        if (m_engineHeld)
        {
            // A module report waits for the engine and would keep the driver busy for ever.
            if (driverIdle || waited >= s_heldWaitMs)
            {
                return;
            }
        }
        else if (driverIdle && pEventManager->isIdle())
        {
            if (!pEventManager->hasWorkLeft())
            {
                return;
            }
            // Given up already, and nothing has run since: the same loop would only run again.
            if (pEventManager->getPassCount() == m_gaveUpAtPass)
            {
                return;
            }
            if (leftoverPasses == s_maxLeftoverPasses)
            {
                std::cout << "sync: events still wait after " << s_maxLeftoverPasses
                          << " further passes; the event loop does not settle" << std::endl;
                m_gaveUpAtPass = pEventManager->getPassCount();
                return;
            }
            ++leftoverPasses;
            pEventManager->wakeStateDriver();
            continue;
        }
        rtk::Thread::mssleep(1);
    }
}

bool HostShell::shellCmdSync(rtk::CmdParameters& /*params*/)
{
    waitIdle();
    return true;
}

bool HostShell::shellCmdQuit(rtk::CmdParameters& /*params*/)
{
    m_quit = true;
    return true;
}

bool HostShell::shellCmdStateSet(rtk::CmdParameters& params)
{
    if (params.getCount() != 2)
    {
        std::cout << "Usage: stateSet FID VALUE" << std::endl;
        return false;
    }
    IPanelState* pState = getInterface<IPanelState>(m_pPanel);
    if (pState == nullptr)
    {
        std::cout << "stateSet: the panel state is not available" << std::endl;
        return false;
    }
    pState->setStateValue(params.get(0), params.get(1));
    return true;
}

bool HostShell::shellCmdStateGet(rtk::CmdParameters& params)
{
    if (params.getCount() != 1)
    {
        std::cout << "Usage: stateGet FID" << std::endl;
        return false;
    }
    IPSPublisher* pPublisher = getInterface<IPSPublisher>(m_pPanel);
    if (pPublisher == nullptr)
    {
        std::cout << "stateGet: the panel state is not available" << std::endl;
        return false;
    }
    std::cout << params.get(0) << "=" << pPublisher->getValueString(params.get(0)) << std::endl;
    return true;
}

bool HostShell::shellCmdStateTrigger(rtk::CmdParameters& params)
{
    if (params.getCount() != 2)
    {
        std::cout << "Usage: stateTrigger FID VALUE" << std::endl;
        return false;
    }
    IPanelState* pState = getInterface<IPanelState>(m_pPanel);
    if (pState == nullptr)
    {
        std::cout << "stateTrigger: the panel state is not available" << std::endl;
        return false;
    }
    pState->triggerEvent(params.get(0), params.get(1));
    return true;
}

bool HostShell::shellCmdModuleCreate(rtk::CmdParameters& params)
{
    if (params.getCount() != 4)
    {
        std::cout << "Usage: moduleCreate W G M PDLFILE" << std::endl;
        return false;
    }
    int position[3] = {0, 0, 0};
    int const limits[3] = {7, 31, 255};
    for (int i = 0; i < 3; ++i)
    {
        char* pEnd = nullptr;
        std::string const& text = params.get(static_cast<size_t>(i));
        long const value = std::strtol(text.c_str(), &pEnd, 10);
        if (text.empty() || *pEnd != '\0' || value < 0 || value > limits[i])
        {
            std::cout << "moduleCreate: bad module position \"" << params.get(0) << " " << params.get(1)
                      << " " << params.get(2) << "\"" << std::endl;
            return false;
        }
        position[i] = static_cast<int>(value);
    }
    UniqueModuleID const id(static_cast<uint16_t>(position[0]), static_cast<uint16_t>(position[1]),
                            static_cast<uint16_t>(position[2]));
    IModuleManager* pModuleManager = getInterface<IModuleManager>(m_pPanel->getPanelFunctionSystem());
    if (pModuleManager == nullptr)
    {
        std::cout << "moduleCreate: the module manager is not available" << std::endl;
        return false;
    }
    // As a module report does: under the interpreter mutex, and the module's first events run before
    // the command returns. Without hardware there is no MHL file and no connection.
    PDLInterpreter::mutexTake();
    bool const created = pModuleManager->createModule(id, -1, -1, rtk::Path::getCurrentDirectory() + "config",
                                                      params.get(3), std::string());
    if (created)
    {
        pModuleManager->initModule(id);
        PDLEventManager::getInstance()->executeEventQueue(false);
    }
    PDLInterpreter::mutexGive();
    if (!created)
    {
        std::cout << "moduleCreate: cannot create module " << id << " from " << params.get(3) << std::endl;
        return false;
    }
    return true;
}

bool HostShell::shellCmdEngineHold(rtk::CmdParameters& params)
{
    if (params.getCount() != 1 || (params.get(0) != "on" && params.get(0) != "off"))
    {
        std::cout << "Usage: engineHold on|off" << std::endl;
        return false;
    }
    if (params.get(0) == "on" && !m_engineHeld)
    {
        // Waits for a pass under way to end; the next pass then waits for engineHold off.
        PDLInterpreter::mutexTake();
        m_engineHeld = true;
    }
    else if (params.get(0) == "off")
    {
        releaseEngine();
    }
    return true;
}

bool HostShell::shellCmdTiming(rtk::CmdParameters& params)
{
    std::string const what = params.get(0);
    if (params.getCount() != 1)
    {
        std::cout << "Usage: timing on|off|clear|dump" << std::endl;
        return false;
    }
    if (what == "on" || what == "off")
    {
        TimingLog::setEnabled(what == "on");
    }
    else if (what == "clear")
    {
        TimingLog::clear();
    }
    else if (what == "dump")
    {
        TimingLog::dump(std::cout);
    }
    else
    {
        std::cout << "Usage: timing on|off|clear|dump" << std::endl;
        return false;
    }
    return true;
}

bool HostShell::shellCmdWidgetDefaults(rtk::CmdParameters& params)
{
    if (params.getCount() != 0 && params.getCount() != 4)
    {
        std::cout << "Usage: widgetDefaults [W G M WIDGET]" << std::endl;
        return false;
    }
    PDLInterpreter::mutexTake();
    bool found = true;
    if (params.getCount() == 0)
    {
        m_pPanel->getPanelFunctionSystem()->deinit();
    }
    else
    {
        uint32_t fields[4] = {0, 0, 0, 0};
        uint32_t const limits[4] = {7, 31, 255, 65535};
        for (size_t i = 0; i < 4; ++i)
        {
            char* pEnd = nullptr;
            std::string const& text = params.get(i);
            long const value = std::strtol(text.c_str(), &pEnd, 10);
            found = found && !text.empty() && *pEnd == '\0' && value >= 0 && value <= static_cast<long>(limits[i]);
            fields[i] = found ? static_cast<uint32_t>(value) : 0;
        }
        UniqueWidgetID const id((fields[0] << 29) | (fields[1] << 24) | (fields[2] << 16) | fields[3]);
        PDLPhysicalWidget* pWidget = found ? PDLPhysicalWidgetManager::getInstance()->findWidget(id) : nullptr;
        if (!found)
        {
            std::cout << "widgetDefaults: bad widget position \"" << params.get(0) << " " << params.get(1) << " "
                      << params.get(2) << " " << params.get(3) << "\"" << std::endl;
        }
        else if (pWidget == nullptr)
        {
            std::cout << "widgetDefaults: no widget " << id << std::endl;
            found = false;
        }
        else
        {
            pWidget->setAllAttributesToDefault();
        }
    }
    PDLInterpreter::mutexGive();
    return found;
}
