#ifndef PDLEVENTMANAGER_H
#define PDLEVENTMANAGER_H

// The event engine: the event record PDLEvent, the raw hardware event HWEvent, and PDLEventManager
// with its one main loop (PDLStateDriver), the event queue and the hardware event queue.

#include "pdlpanelstate.h"

#include "rtk/cmd.h"
#include "rtk/log.h"
#include "rtk/path.h"
#include "rtk/semaphore.h"
#include "rtk/singleton.h"
#include "rtk/thread.h"

#include <basekit/uniqueids.h>
#include <interfaces/ieventmanager.h>
#include <interfaces/ipanelevent.h>

#include <atomic>
#include <cstdint>
#include <list>
#include <map>
#include <ostream>
#include <set>
#include <string>

class IMacroSystem;
class IMHLParser;
class PDLGlobal;
class PDLModule;
class PDLSequence;
class PDLVariable;
class PDLWidget;

// An event for PDL code. Queued events are owned by the queue and deleted after they ran.
class PDLEvent
{
public:
    enum EEventType : int32_t
    {
        eEventWidget = 0,
        eEventVariable = 1,
        eEventInit = 2,
        eEventMFDriver = 3,
        eEventState = 4,
        eEventSetVar = 5
    };

    explicit PDLEvent(int32_t type);

    // One line without line end; nothing for an unknown kind.
    std::ostream& write(std::ostream& os) const;

    int32_t m_type;
    uint32_t m_widgetID;
    std::string m_name;
    int32_t m_intValue;
    std::string m_strValue;
    std::string m_varName;
    std::string m_varValue;
    PDLModule* m_pModule;
    PDLWidget* m_pWidget;
    PDLSequence* m_pSequence;
};

// A raw event of a control, as the hardware side reported it.
struct HWEvent
{
    HWEvent(UniqueWidgetID const& id, std::string const& name, int32_t value, bool transient)
        : m_id(id), m_name(name), m_value(value), m_transient(transient)
    {
    }

    UniqueWidgetID m_id;
    std::string m_name;
    int32_t m_value;
    bool m_transient;
};

class PDLEventManager : public IPanelEvent, public IEventManager, public rtk::Singleton<PDLEventManager>
{
public:
    // Registers the shell commands and, last, starts the main loop.
    PDLEventManager();
    ~PDLEventManager() override;

    IInterface* queryInterface(unsigned int id) override;

    // IPanelEvent
    void updateModuleStatus(UniqueModuleID const& id, int connPort, int connConnector,
                            std::string const& moduleType, std::string const& moduleVersion) override;
    void sendEvent(UniqueWidgetID const& id, std::string const& name) override;
    void sendEvent(UniqueWidgetID const& id, std::string const& name, int value, bool transient) override;

    // IEventManager
    void setVariableDelayed(UniqueModuleID const& id, std::string const& name,
                            std::string const& value) override;
    void changePDLFilename(int workplaceID, std::string const& name) override;

    // Fetches the global scope; once, after PDLModuleManager exists.
    void init();
    // Stops the main loop after one last pass. The caller must not hold the interpreter mutex.
    void deinit();

    // Runs queued events and hardware events until nothing is left. The caller holds the interpreter
    // mutex. A call from code that runs inside the loop returns at once.
    void executeEventQueue(bool verbose);
    // Appends an event to the queue, which owns it from then on. The caller holds the interpreter mutex.
    void queueEvent(PDLEvent* pEvent);

    // Turns outdated state subscribers into events, then drains the queues; the main loop's pass.
    void generateStateEvents();
    // Turns changed variables into events; true when there was anything to turn.
    bool generateVariableEvents();
    // Records a variable's first change since the last conversion; null is ignored. The variable keeps
    // its change flag up meanwhile, so it stands in the list once. The caller holds the interpreter mutex.
    void addChangedVariable(PDLVariable* pVariable);
    // The variables changed since the last conversion, in order of first change.
    std::list<PDLVariable*> const& getChangedVariables() const { return m_changedVariables; }
    // Forgets a variable that is about to be deleted, so that no event is made from it. The caller
    // holds the interpreter mutex.
    void removeChangedVariable(PDLVariable* pVariable);

    // Wakes the main loop for one further pass.
    void wakeStateDriver();

    // A panel-state subscriber to be served in the next pass; several marks before it count once.
    // The caller holds the interpreter mutex.
    void addOutdatedSubscriber(PDLStateSubscriberKey const& key);
    // A trigger for one subscriber: queued as its trigger event if it makes one (and the main loop is
    // woken), else handed to the subscriber at once. The caller holds the interpreter mutex.
    void triggerMFDriverEvent(PDLStateSubscriberKey const& key, std::string const& name,
                              std::string const& value);

    rtk::LogOutput* getLogOutput();

    // The PDL file for a module type, relative to base; empty when none is found. Changes the working
    // directory for its run, so the caller holds the interpreter mutex.
    rtk::Path getPDLFilename(int workplaceID, rtk::Path const& base, std::string const& moduleType);
    // The workplace's mainframe-driver PDL name fixed by the configuration; also the name in use.
    void setDefaultPDLName(int workplaceID, std::string const& name);
    std::string getPDLName(int workplaceID) const
    {
        return (workplaceID >= 0 && workplaceID < 8) ? m_pdlName[workplaceID] : std::string();
    }

    void setExitOnLoadFailure(bool exitOnLoadFailure) { m_exitOnLoadFailure = exitOnLoadFailure; }
    bool getExitOnLoadFailure() const { return m_exitOnLoadFailure; }
    void setMacroSystemInterface(IMacroSystem* pMacroSystem) { m_pMacroSystem = pMacroSystem; }
    IMacroSystem* getMacroSystemInterface() const { return m_pMacroSystem; }
    void setMHLParser(IMHLParser* pMHLParser) { m_pMHLParser = pMHLParser; }
    IMHLParser* getMHLParser() const { return m_pMHLParser; }
    PDLModule* getCurrentModule() const { return m_pCurrentModule; }
    // The module whose code runs now; set by a module's init and cleared when that module goes.
    void setCurrentModule(PDLModule* pModule) { m_pCurrentModule = pModule; }

    bool isHWEventQueueing() const { return m_hwEventQueueing; }
    bool isHWEventOptimization() const { return m_hwEventOptimization; }
    uint32_t getMaxEventTime() const { return m_maxEventTime; }
    unsigned int getHWEventQueueCount();

    // Passes of the main loop completed so far.
    unsigned long getPassCount() const { return m_passCount.load(); }
    // True when no hardware event waits, no wake-up is pending and no pass is under way.
    bool isIdle();
    // True when the last drain of the queues ended at the storm guard: events or variable changes were
    // left for the next wake-up, which nothing may give.
    bool hasWorkLeft() const { return m_workLeft.load(); }

private:
    class PDLStateDriver : public rtk::Thread
    {
    public:
        explicit PDLStateDriver(PDLEventManager& manager);

    protected:
        void run() override;
        bool shutdownCallback() override;

    private:
        PDLEventManager& m_manager;
        std::atomic<bool> m_running;
    };

    void processHWEventQueue();
    // The variable events of one kind of listener (widgets or sequences), for the changed variables.
    template <class TListener>
    void generateListenerEvents(std::set<TListener*> const& (PDLVariable::*individual)() const,
                                std::set<TListener*> const& (PDLVariable::*collective)() const,
                                TListener* PDLEvent::*target);
    void processHWEvent(UniqueWidgetID const& id, std::string const& name, int value, bool first);
    // The diagnostic mode without queueing (hwevq off): the event runs on the caller's thread without
    // any lock. Its own frame lets the thread sanitizer's suppressions name this path alone.
    void runHWEventUnqueued(UniqueWidgetID const& id, std::string const& name, int value);

    bool shellCmdSetMaxEventTime(rtk::CmdParameters& params);
    bool shellCmdHWEvQ(rtk::CmdParameters& params);
    bool shellCmdHWEvOpt(rtk::CmdParameters& params);

    std::list<PDLVariable*> m_changedVariables;
    std::list<PDLEvent*> m_eventQueue;
    std::set<PDLStateSubscriberKey> m_outdatedSubscribers;
    unsigned int m_eventQueueCount;
    std::list<HWEvent> m_hwEventQueue;
    unsigned int m_hwEventQueueCount;
    rtk::MutexSemaphore m_hwEventMutex;
    std::map<UniqueWidgetID, std::list<HWEvent>> m_macroDeferredEvents;
    PDLGlobal* m_pGlobal;
    bool m_executing;
    bool m_exitOnLoadFailure;
    std::atomic<bool> m_hwEventQueueing;
    std::atomic<bool> m_hwEventOptimization;
    std::atomic<uint32_t> m_maxEventTime;
    std::string m_pdlName[8];
    std::string m_defaultPDLName[8];
    PDLModule* m_pCurrentModule;
    IMacroSystem* m_pMacroSystem;
    IMHLParser* m_pMHLParser;
    rtk::LogOutput* m_pEventMgrLog;
    rtk::BinarySemaphore m_stateSemaphore;
    // Bookkeeping for isIdle: a wake-up given and not yet taken, a pass under way, passes done.
    std::atomic<bool> m_wakePending;
    std::atomic<bool> m_inPass;
    std::atomic<bool> m_workLeft;
    std::atomic<unsigned long> m_passCount;
    PDLStateDriver m_stateDriver;
};

#endif
