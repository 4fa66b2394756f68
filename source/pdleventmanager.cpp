#include "pdleventmanager.h"

#include "pdlbaseclasses.h"
#include "pdldebugger.h"
#include "pdlinterpreter.h"
#include "pdlmodule.h"
#include "pdlmodulemanager.h"
#include "pdlphysicalwidget.h"
#include "pdlsequenceclasses.h"
#include "pdltypeclasses.h"
#include "pdlwidgetclasses.h"

#include "rtk/file.h"
#include "rtk/highrestime.h"
#include "rtk/path.h"

#include <basekit/timinglog.h>
#include <interfaces/imacrosystem.h>
#include <interfaces/imhlparser.h>
#include <logkit/logging.h>

#include <cstdlib>
#include <iomanip>
#include <iostream>
#include <sstream>

namespace
{
// Reports a failed internal check: a FATAL report whose text is the bare name; processing goes on.
void reportFailedCheck(char const* pName, char const* pFile, int line)
{
    PDLRunTimeInfo::showError(rtk::LogOutput::eLevelFatal, pFile, line) << pName << std::endl << std::endl;
    ++PDLParseInfo::m_errorCount;
}

std::string moduleText(UniqueModuleID const& id)
{
    std::ostringstream os;
    os << id.getWorkplaceID() << "." << id.getGroupID() << "." << id.getModuleID();
    return os.str();
}
} // namespace

// ---------------------------------------------------------------------------------------------------
// PDLEvent

PDLEvent::PDLEvent(int32_t type)
    : m_type(type), m_widgetID(0), m_intValue(0), m_pModule(nullptr), m_pWidget(nullptr), m_pSequence(nullptr)
{
    if (type == eEventInit)
    {
        m_name = "INIT";
    }
}

std::ostream& PDLEvent::write(std::ostream& os) const
{
    switch (m_type)
    {
    case eEventWidget:
        os << "Event Widget (" << m_widgetID << ")" << m_name << "val=" << m_strValue << "/" << m_intValue;
        break;
    case eEventVariable:
        os << "Event " << m_name;
        if (m_pModule != nullptr)
        {
            os << " module " << m_pModule->getWorkplaceID() << "." << m_pModule->getGroupID() << "."
               << m_pModule->getModuleID();
        }
        break;
    case eEventInit:
        os << "Event Init (" << m_widgetID << ")" << m_name;
        break;
    case eEventMFDriver:
        os << "Event MFDriver " << m_name;
        break;
    case eEventState:
        os << "Event State Change widget ";
        if (m_pModule != nullptr)
        {
            os << m_pModule->getWorkplaceID() << "." << m_pModule->getGroupID() << "."
               << m_pModule->getModuleID() << ".";
        }
        os << m_widgetID;
        break;
    case eEventSetVar:
        os << "Event Setvar " << m_varName << " = " << m_varValue;
        break;
    default:
        break;
    }
    if (m_type == eEventVariable || m_type == eEventState)
    {
        if (m_pSequence != nullptr)
        {
            os << " sequence def @" << m_pSequence->getFileName().getString() << ":" << m_pSequence->getLine();
        }
        else if (m_pWidget != nullptr)
        {
            os << " widget def @" << m_pWidget->getFileName().getString() << ":" << m_pWidget->getLine();
        }
    }
    return os;
}

// ---------------------------------------------------------------------------------------------------
// PDLEventManager::PDLStateDriver

PDLEventManager::PDLStateDriver::PDLStateDriver(PDLEventManager& manager)
    : rtk::Thread("PDLStateDriver"), m_manager(manager), m_running(true)
{
    // m_running is set before the thread starts, so that a shutdown right after start is never lost.
}

void PDLEventManager::PDLStateDriver::run()
{
    for (;;)
    {
        m_manager.m_stateSemaphore.take();
        m_manager.m_inPass = true;
        m_manager.m_wakePending = false;

        PDLInterpreter::mutexTake();
        m_manager.generateStateEvents();
        PDLInterpreter::mutexGive();

        ++m_manager.m_passCount;
        m_manager.m_inPass = false;
        // Checked after the work: the signal of shutdownCallback causes one last full pass.
        if (!m_running)
        {
            return;
        }
    }
}

bool PDLEventManager::PDLStateDriver::shutdownCallback()
{
    m_running = false;
    m_manager.wakeStateDriver();
    return true;
}

// ---------------------------------------------------------------------------------------------------
// PDLEventManager

PDLEventManager::PDLEventManager()
    : m_eventQueueCount(0), m_hwEventQueueCount(0), m_pGlobal(nullptr), m_executing(false),
      m_exitOnLoadFailure(false), m_hwEventQueueing(true), m_hwEventOptimization(false), m_maxEventTime(0),
      m_pCurrentModule(nullptr), m_pMacroSystem(nullptr), m_pMHLParser(nullptr), m_pEventMgrLog(nullptr),
      m_stateSemaphore(false), m_wakePending(false), m_inPass(false), m_workLeft(false), m_passCount(0),
      m_stateDriver(*this)
{
    m_pEventMgrLog = rtk::LogManager::getInstance()->getOutput("EventMgr");

    rtk::CmdProcessor* pCmd = rtk::CmdProcessor::getInstance();
    pCmd->registerCmd("setMaxEventTime",
                      "setMaxEventTime <time in ms>\n\tset the maximum time allowed for one event to execute "
                      "before a warning is printed. 0 = unlimited (default)",
                      this, &PDLEventManager::shellCmdSetMaxEventTime);
    pCmd->registerCmd("hwevq",
                      "hwevq <on|off>\n\tenable / disable queueing of hardware events (default = on)", this,
                      &PDLEventManager::shellCmdHWEvQ);
    pCmd->registerCmd(
        "hwevopt",
        "hwevopt <on|off>\n\tenable / disable optimization of transient hardware events (default = off)",
        this, &PDLEventManager::shellCmdHWEvOpt);

    m_stateDriver.start(260);
}

PDLEventManager::~PDLEventManager()
{
    rtk::CmdProcessor::getInstance()->unregisterOwner(this);
    // Normally stopped by deinit already; a second shutdown of an ended thread returns at once.
    m_stateDriver.shutdown(-1);

    // Events still queued are not run.
    for (PDLEvent* pEvent : m_eventQueue)
    {
        delete pEvent;
    }
    m_eventQueue.clear();
    m_eventQueueCount = 0;
    m_hwEventMutex.take();
    m_hwEventQueue.clear();
    m_hwEventQueueCount = 0;
    m_hwEventMutex.give();
    m_macroDeferredEvents.clear();
    m_changedVariables.clear();
    m_outdatedSubscribers.clear();

    m_pGlobal = nullptr;
    m_pCurrentModule = nullptr;
    m_pMacroSystem = nullptr;
    m_pMHLParser = nullptr;
    m_pEventMgrLog = nullptr;
}

IInterface* PDLEventManager::queryInterface(unsigned int id)
{
    if (id == IPanelEvent::s_interfaceID)
    {
        return static_cast<IPanelEvent*>(this);
    }
    if (id == IEventManager::s_interfaceID)
    {
        return static_cast<IEventManager*>(this);
    }
    return nullptr;
}

void PDLEventManager::init()
{
    m_pGlobal = PDLModuleManager::getInstance()->getGlobal();
}

void PDLEventManager::deinit()
{
    Orvane::Utilities::Logging::LogCategory log("Startup");
    log.info() << "Stopping event manager..." << std::endl;
    m_stateDriver.shutdown(-1);
    log.info() << "Event Manager Stopped" << std::endl;
}

rtk::LogOutput* PDLEventManager::getLogOutput()
{
    RTK_ASSERT(m_pEventMgrLog);
    return m_pEventMgrLog;
}

void PDLEventManager::wakeStateDriver()
{
    m_wakePending = true;
    m_stateSemaphore.give();
}

unsigned int PDLEventManager::getHWEventQueueCount()
{
    m_hwEventMutex.take();
    unsigned int count = m_hwEventQueueCount;
    m_hwEventMutex.give();
    return count;
}

bool PDLEventManager::isIdle()
{
    // Order matters: a pending wake-up is cleared only after the pass has been marked as under way.
    if (m_wakePending.load() || m_inPass.load())
    {
        return false;
    }
    return getHWEventQueueCount() == 0;
}

void PDLEventManager::queueEvent(PDLEvent* pEvent)
{
    if (pEvent == nullptr)
    {
        return;
    }
    m_eventQueue.push_back(pEvent);
    ++m_eventQueueCount;
}

void PDLEventManager::executeEventQueue(bool verbose)
{
    if (m_pGlobal == nullptr)
    {
        reportFailedCheck("m_pGlobal", __FILE__, __LINE__);
    }

    // A call from PDL code running inside the loop: what it queued is picked up by the running loop.
    if (m_executing)
    {
        return;
    }
    m_executing = true;
    int cycle = 1;
    bool traceAll = false;

    rtk::LogOutput* pLog = getLogOutput();

    for (;;)
    {
        unsigned int const pending = m_eventQueueCount;
        rtk::HighResTime const cycleStart = rtk::HighResTime::getCurrentTime();
        unsigned int executed = 0;
        rtk::HighResTimeSpan totalExec;
        rtk::HighResTimeSpan maxExec;
        unsigned int dots = 0;

        if (verbose && pending >= 1)
        {
            std::cout << "  Executing " << std::setw(5) << pending << " Events" << std::flush;
        }

        // Hardware events run before any queued event.
        processHWEventQueue();

        while (!m_eventQueue.empty())
        {
            ++executed;
            uint32_t const maxEventTime = m_maxEventTime;
            rtk::HighResTime eventStart;
            if (maxEventTime != 0)
            {
                eventStart = rtk::HighResTime::getCurrentTime();
            }
            PDLEvent* pEvent = m_eventQueue.front();
            m_eventQueue.pop_front();
            --m_eventQueueCount;

            if (traceAll)
            {
                pEvent->write(std::cout) << std::endl;
            }
            else if (pLog->getLevel() > 5)
            {
                pEvent->write(pLog->level(6)) << std::endl;
            }
            else if (verbose)
            {
                while (executed > dots * (pending / 20.0))
                {
                    std::cout << "." << std::flush;
                    ++dots;
                }
            }

            // An event without a module is dropped unexecuted.
            m_pCurrentModule = pEvent->m_pModule;
            if (m_pCurrentModule != nullptr)
            {
                bool const timed = pLog->getLevel() > 4;
                rtk::HighResTime execStart;
                if (timed)
                {
                    execStart = rtk::HighResTime::getCurrentTime();
                }
                pLog->level(7) << std::endl;
                m_pGlobal->setEvent(pEvent);
                m_pCurrentModule->executeEvent(pEvent);
                if (timed)
                {
                    rtk::HighResTimeSpan const d = rtk::HighResTime::getCurrentTime() - execStart;
                    totalExec += d;
                    if (maxExec < d)
                    {
                        maxExec = d;
                    }
                    pLog->level(6) << "    exec in " << std::setw(5) << d.getMilliseconds() << " ms"
                                   << std::endl;
                }
            }

            if (maxEventTime != 0)
            {
                long long const ms = (rtk::HighResTime::getCurrentTime() - eventStart).getMilliseconds();
                if (static_cast<uint32_t>(ms) > maxEventTime)
                {
                    std::ostream& os = pLog->level(3);
                    pEvent->write(os)
                        << " had excessive exec time: " << std::setw(5) << ms << " ms" << std::endl;
                }
            }

            delete pEvent;
            // Hardware events run between any two queued events.
            processHWEventQueue();
        }

        if (pending > 0)
        {
            if (verbose)
            {
                std::cout << std::setw(5) << executed << " OK" << std::endl;
            }
            else if (pLog->getLevel() > 4 && executed != 0)
            {
                long long const cycleMs = (rtk::HighResTime::getCurrentTime() - cycleStart).getMilliseconds();
                pLog->level(5) << "executed " << std::setw(5) << executed << " events in " << std::setw(5)
                               << cycleMs << " ms"
                               << " av time: " << std::setw(5) << (totalExec / executed).getMilliseconds()
                               << " max time: " << std::setw(5) << maxExec.getMilliseconds() << std::endl;
            }
        }

        if (!generateVariableEvents())
        {
            m_workLeft = false;
            m_executing = false;
            return;
        }

        // The storm guard counts cycles of variable events: eleven silent ones, then twelve traced
        // ones, then it gives up and leaves what is left for the next wake-up.
        if (cycle <= 10)
        {
            ++cycle;
        }
        else if (traceAll)
        {
            PDLRunTimeInfo::showError(rtk::LogOutput::eLevelError, __FILE__, __LINE__)
                << "possible infinite event loop, aborting" << std::endl
                << std::endl;
            // What the last cycle left waits for the next wake-up.
            m_workLeft = true;
            m_executing = false;
            ++PDLParseInfo::m_errorCount;
            return;
        }
        else
        {
            cycle = 0;
            traceAll = true;
        }
    }
}

void PDLEventManager::generateStateEvents()
{
    if (m_pGlobal == nullptr)
    {
        reportFailedCheck("m_pGlobal", __FILE__, __LINE__);
    }
    if (!m_outdatedSubscribers.empty())
    {
        // Taken out first: marks made while the subscribers run are served in the next pass, which
        // their writes have already asked for.
        std::set<PDLStateSubscriberKey> outdated;
        outdated.swap(m_outdatedSubscribers);
        for (PDLStateSubscriberKey const& key : outdated)
        {
            if (key.m_pSubscriber == nullptr)
            {
                continue;
            }
            PDLEvent* pEvent = key.m_pSubscriber->makeEvent(key.m_id);
            if (pEvent != nullptr)
            {
                queueEvent(pEvent);
            }
            else
            {
                key.m_pSubscriber->update();
            }
        }
    }
    executeEventQueue(false);
}

void PDLEventManager::addOutdatedSubscriber(PDLStateSubscriberKey const& key)
{
    // An entry hands its keys over in set order, so the end is the right place most of the time.
    m_outdatedSubscribers.insert(m_outdatedSubscribers.end(), key);
}

void PDLEventManager::triggerMFDriverEvent(PDLStateSubscriberKey const& key, std::string const& name,
                                           std::string const& value)
{
    if (m_pGlobal == nullptr)
    {
        reportFailedCheck("m_pGlobal", __FILE__, __LINE__);
    }
    if (key.m_pSubscriber == nullptr)
    {
        return;
    }
    PDLEvent* pEvent = key.m_pSubscriber->makeTriggerEvent(key.m_id, name, value);
    if (pEvent != nullptr)
    {
        queueEvent(pEvent);
        wakeStateDriver();
        return;
    }
    key.m_pSubscriber->triggerMFDriverEvent(name, value);
}

bool PDLEventManager::generateVariableEvents()
{
    if (m_changedVariables.empty())
    {
        return false;
    }
    // Flags go down first, so that changes made by the events made below are new changes.
    for (PDLVariable* pVariable : m_changedVariables)
    {
        pVariable->clearChangeFlag();
    }
    // Sequences are served ahead of widgets.
    generateListenerEvents<PDLSequence>(&PDLVariable::getSequencesSeparate, &PDLVariable::getSequences,
                                        &PDLEvent::m_pSequence);
    generateListenerEvents<PDLWidget>(&PDLVariable::getWidgetsSeparate, &PDLVariable::getWidgets,
                                      &PDLEvent::m_pWidget);
    m_changedVariables.clear();
    return true;
}

template <class TListener>
void PDLEventManager::generateListenerEvents(std::set<TListener*> const& (PDLVariable::*individual)() const,
                                             std::set<TListener*> const& (PDLVariable::*collective)() const,
                                             TListener* PDLEvent::*target)
{
    if (m_pGlobal == nullptr)
    {
        reportFailedCheck("m_pGlobal", __FILE__, __LINE__);
    }
    auto makeEvent = [this, target](TListener* pListener, std::string const& name)
    {
        PDLEvent* pEvent = new PDLEvent(PDLEvent::eEventVariable);
        pEvent->m_name = name;
        pEvent->*target = pListener;
        pEvent->m_pModule = pListener->getModule();
        queueEvent(pEvent);
    };

    // One event per variable for the listeners that asked for them one by one; one event with all the
    // names for each of the others, after all the single ones.
    std::map<TListener*, std::set<std::string>> collected;
    for (PDLVariable* pVariable : m_changedVariables)
    {
        for (TListener* pListener : (pVariable->*individual)())
        {
            makeEvent(pListener, pVariable->getName());
        }
        for (TListener* pListener : (pVariable->*collective)())
        {
            collected[pListener].insert(pVariable->getName());
        }
    }
    for (auto const& entry : collected)
    {
        std::string names;
        for (std::string const& name : entry.second)
        {
            names += name;
            names += ' ';
        }
        makeEvent(entry.first, names);
    }
}

void PDLEventManager::addChangedVariable(PDLVariable* pVariable)
{
    if (pVariable != nullptr)
    {
        m_changedVariables.push_back(pVariable);
    }
}

void PDLEventManager::removeChangedVariable(PDLVariable* pVariable)
{
    m_changedVariables.remove(pVariable);
}

void PDLEventManager::setVariableDelayed(UniqueModuleID const& id, std::string const& name,
                                         std::string const& value)
{
    PDLEvent* pEvent = new PDLEvent(PDLEvent::eEventSetVar);
    pEvent->m_pModule = PDLModuleManager::getInstance()->getModule(id);
    pEvent->m_varName = name;
    pEvent->m_varValue = value;
    queueEvent(pEvent);
    executeEventQueue(false);
}

void PDLEventManager::sendEvent(UniqueWidgetID const& id, std::string const& name)
{
    sendEvent(id, name, 0, false);
}

void PDLEventManager::sendEvent(UniqueWidgetID const& id, std::string const& name, int value, bool transient)
{
    if (!m_hwEventQueueing)
    {
        runHWEventUnqueued(id, name, value);
        return;
    }

    m_hwEventMutex.take();
    if (m_hwEventOptimization && transient)
    {
        // A newer value of a transient event still queued replaces the older one in its place; the
        // older entry's wake-up is still due.
        for (HWEvent& queued : m_hwEventQueue)
        {
            if (queued.m_transient && queued.m_id == id && queued.m_name == name)
            {
                queued.m_value = value;
                m_hwEventMutex.give();
                return;
            }
        }
    }
    m_hwEventQueue.push_back(HWEvent(id, name, value, transient));
    ++m_hwEventQueueCount;
    wakeStateDriver();
    m_hwEventMutex.give();
}

void PDLEventManager::runHWEventUnqueued(UniqueWidgetID const& id, std::string const& name, int value)
{
    processHWEvent(id, name, value, true);
}

void PDLEventManager::processHWEventQueue()
{
    rtk::LogOutput* pLog = rtk::LogManager::getInstance()->getOutput("HWEvQ");
    pLog->level(5) << "HwEvQ: " << std::flush;

    m_hwEventMutex.take();
    while (!m_hwEventQueue.empty())
    {
        pLog->level(5) << "." << std::flush;
        HWEvent const event = m_hwEventQueue.front();
        m_hwEventQueue.pop_front();
        --m_hwEventQueueCount;
        m_hwEventMutex.give();

        processHWEvent(event.m_id, event.m_name, event.m_value, true);

        m_hwEventMutex.take();
    }
    pLog->level(5) << "+" << std::endl;
    m_hwEventMutex.give();
}

void PDLEventManager::processHWEvent(UniqueWidgetID const& id, std::string const& name, int value, bool first)
{
    if (m_pGlobal == nullptr)
    {
        reportFailedCheck("m_pGlobal", __FILE__, __LINE__);
    }

    if (TimingLog::isEnabled())
    {
        std::ostringstream timing;
        timing << "EVENT " << id.getWorkplaceID() << "." << id.getGroupID() << "." << id.getModuleID() << "."
               << id.getWidgetID() << " " << name << " " << value;
        TimingLog::log(timing.str());
    }

    bool const armed = m_pMacroSystem != nullptr && m_pMacroSystem->hasMacro(id);

    if (first)
    {
        PDLPhysicalWidget* pWidget = PDLPhysicalWidgetManager::getInstance()->getWidget(id);
        if (pWidget != nullptr)
        {
            pWidget->sendEvent(name);
        }

        auto const deferred = m_macroDeferredEvents.find(id);
        bool const hadEntry = deferred != m_macroDeferredEvents.end();

        if (m_pMacroSystem != nullptr)
        {
            if (name == "HOLD" || name == "HOLD_MASKED")
            {
                m_pMacroSystem->onHold(id);
            }
            else if (name == "UP")
            {
                m_pMacroSystem->onUp(id);
            }
            else if (name == "DOWN" && m_pMacroSystem->startPreMacro(id))
            {
                // The press waits until its macro has finished.
                m_macroDeferredEvents[id].push_back(HWEvent(id, name, value, false));
                return;
            }
        }

        if (hadEntry)
        {
            std::list<HWEvent>& held = deferred->second;
            if (name == "PREMACROFINISHED")
            {
                // The held events run in their order, as they arrived; the entry stays, empty.
                std::list<HWEvent> replay;
                replay.swap(held);
                for (HWEvent const& event : replay)
                {
                    processHWEvent(event.m_id, event.m_name, event.m_value, false);
                }
                return;
            }
            if (!held.empty())
            {
                // Whatever the control does while its macro runs waits behind the press.
                held.push_back(HWEvent(id, name, value, false));
                return;
            }
        }
        else if (name == "PREMACROFINISHED")
        {
            return;
        }
    }

    std::string current = name;
    bool toPDL = true;
    if (current == "REPLACEMACROFINISHED")
    {
        // Finished like a press, without PDL.
        current = "DOWN";
        toPDL = false;
    }
    else if (m_pMacroSystem != nullptr && armed)
    {
        // While a control has a macro, only the macro system sees its events.
        if (current == "DOWN" && m_pMacroSystem->startReplaceMacro(id))
        {
            return;
        }
        toPDL = false;
    }

    // No test for a missing macro system here: the host installs it before the first hardware event.
    if (toPDL && !m_pMacroSystem->isEventBlocked(id))
    {
        m_pCurrentModule = PDLModuleManager::getInstance()->getModule(id.getUniqueModuleID());
        if (m_pCurrentModule != nullptr)
        {
            PDLEvent event(PDLEvent::eEventWidget);
            event.m_widgetID = id.getWidgetID();
            event.m_name = current;
            event.m_intValue = value;
            m_pGlobal->setEvent(&event);
            m_pCurrentModule->executeEvent(&event);
        }
    }

    if (m_pMacroSystem != nullptr && current == "DOWN")
    {
        m_pMacroSystem->afterDownFirst(id);
        m_pMacroSystem->afterDownSecond(id);
        m_pMacroSystem->afterDownLast(id);
    }
}

void PDLEventManager::updateModuleStatus(UniqueModuleID const& id, int connPort, int connConnector,
                                         std::string const& moduleType, std::string const& moduleVersion)
{
    bool const unplugged = moduleType.empty();
    if (unplugged)
    {
        // The module's code may be held at a breakpoint with the mutex: let it go before it is deleted.
        PDLDebugger::suspendStops();
    }
    PDLInterpreter::mutexTake();
    // A view that mirrors the panel (the simulator link) learns of plugs and unplugs.
    PDLPhysicalWidgetManager::getInstance()->notifyModuleStatus(id, moduleType, moduleVersion);

    if (unplugged)
    {
        // What is queued for the module runs before it goes.
        executeEventQueue(false);
        PDLModuleManager::getInstance()->deinitModule(id);
        PDLPhysicalWidgetManager::getInstance()->removeWidgetsOfModule(id);
        PDLInterpreter::mutexGive();
        PDLDebugger::resumeStops();
        return;
    }

    Orvane::Utilities::Logging::LogCategory log("Startup");
    rtk::Path base = rtk::Path::getCurrentDirectory() + "config";
    rtk::Path const pdl = getPDLFilename(id.getWorkplaceID(), base, moduleType);
    bool ok = false;
    if (pdl.isEmpty())
    {
        log.error() << "failed to find matching PDL for module " << moduleText(id) << " - type " << moduleType
                    << std::endl;
    }
    else
    {
        std::string mhl;
        if (!moduleVersion.empty())
        {
            mhl = "MHL/" + moduleType + "_" + moduleVersion + ".mhl";
            if (!rtk::File::exist(rtk::Path("config/" + mhl)))
            {
                mhl.clear();
            }
        }
        if (mhl.empty())
        {
            mhl = "MHL/" + moduleType + ".mhl";
        }

        PDLModuleManager* pModuleManager = PDLModuleManager::getInstance();
        if (!pModuleManager->createModule(id, connPort, connConnector, base, pdl.getString(), mhl))
        {
            log.error() << "failed to load PDL for module " << moduleText(id) << " - type " << moduleType
                        << std::endl;
        }
        else if (m_pMHLParser == nullptr || !m_pMHLParser->parseModuleMHL(id, base, mhl))
        {
            log.error() << "failed to load MHL for module " << moduleText(id) << " - type " << moduleType
                        << std::endl;
        }
        else
        {
            pModuleManager->initModule(id);
            executeEventQueue(false);
            ok = true;
        }
    }

    if (!ok && m_exitOnLoadFailure)
    {
        exit(-1);
    }
    PDLInterpreter::mutexGive();
}

rtk::Path PDLEventManager::getPDLFilename(int workplaceID, rtk::Path const& base,
                                          std::string const& moduleType)
{
    rtk::Path const oldDirectory = rtk::Path::getCurrentDirectory();
    rtk::Path::setCurrentDirectory(base);

    rtk::Path dir("PDL");
    if (!moduleType.empty())
    {
        dir.append(moduleType);
    }

    // The plain name first, then its enciphered twin; the result always names the plain file.
    auto found = [](rtk::Path const& candidate)
    { return rtk::File::exist(candidate) || rtk::File::exist(rtk::Path(candidate.getString() + ".enc")); };

    rtk::Path result;
    std::string const name = (workplaceID >= 0 && workplaceID < 8) ? m_pdlName[workplaceID] : std::string();
    rtk::Path const candidates[] = {name.empty() ? rtk::Path() : dir + "custom" + (name + ".pdl"),
                                    name.empty() ? rtk::Path() : dir + (name + ".pdl"),
                                    dir + "custom" + "default.pdl", dir + "default.pdl"};
    for (rtk::Path const& candidate : candidates)
    {
        if (!candidate.isEmpty() && found(candidate))
        {
            result = candidate;
            break;
        }
    }

    rtk::Path::setCurrentDirectory(oldDirectory);
    return result;
}

void PDLEventManager::changePDLFilename(int workplaceID, std::string const& name)
{
    if (workplaceID < 0 || workplaceID > 7)
    {
        return;
    }
    PDLInterpreter::mutexTake();
    // Pending events finish under the old name.
    executeEventQueue(false);
    m_pdlName[workplaceID] = name.empty() ? m_defaultPDLName[workplaceID] : name;
    PDLInterpreter::mutexGive();
}

void PDLEventManager::setDefaultPDLName(int workplaceID, std::string const& name)
{
    if (workplaceID >= 0 && workplaceID < 8)
    {
        m_defaultPDLName[workplaceID] = name;
        m_pdlName[workplaceID] = name;
    }
}

bool PDLEventManager::shellCmdSetMaxEventTime(rtk::CmdParameters& params)
{
    if (params.getCount() == 0)
    {
        std::cout << "Usage: setMaxEventTime <time in ms>" << std::endl;
        return false;
    }
    m_maxEventTime = static_cast<uint32_t>(strtol(params.get(0).c_str(), nullptr, 10));
    return true;
}

bool PDLEventManager::shellCmdHWEvQ(rtk::CmdParameters& params)
{
    if (params.getCount() == 0)
    {
        std::cout << "Usage: hwevq <on|off>" << std::endl;
        return false;
    }
    m_hwEventQueueing = params.get(0) == "on";
    return true;
}

bool PDLEventManager::shellCmdHWEvOpt(rtk::CmdParameters& params)
{
    if (params.getCount() == 0)
    {
        std::cout << "Usage: hwevopt <on|off>" << std::endl;
        return false;
    }
    m_hwEventOptimization = params.get(0) == "on";
    return true;
}
