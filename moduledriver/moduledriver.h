#ifndef MODULEDRIVER_MODULEDRIVER_H
#define MODULEDRIVER_MODULEDRIVER_H

// ModuleDriver: the root object of the simulated driver library. It reads the type files and the
// inventory, keeps the panel model, reports modules and control events to the core from its own
// thread, and offers the hw... shell commands that plug, unplug and press things by hand.

#include "hwpanelmodel.h"
#include "ihwsimulation.h"

#include "rtk/cmd.h"
#include "rtk/thread.h"

#include <interfaces/icolormanager.h>
#include <interfaces/ihwmodulemanager.h>
#include <interfaces/imhlparser.h>
#include <interfaces/ipanelfeedback.h>
#include <interfaces/iwidgetmanager.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

class IPanelEvent;

namespace hwsim
{
// The driver's own thread: runs queued reports (module status, control events) one after another.
class HwReporter : public rtk::Thread
{
public:
    HwReporter();
    ~HwReporter() override;

    void post(std::function<void()> const& report);
    // Nothing queued and nothing running.
    bool isIdle();

protected:
    void run() override;
    bool shutdownCallback() override;

private:
    std::mutex m_lock;
    std::condition_variable m_wake;
    std::deque<std::function<void()>> m_queue;
    bool m_busy;
    bool m_stop;
};

class ModuleDriver : public IHwModuleManager,
                     public IPanelFeedback,
                     public IMHLParser,
                     public IWidgetManager,
                     public IColorManager,
                     public IHwSimulation
{
public:
    ModuleDriver();
    ~ModuleDriver() override;

    IInterface* queryInterface(unsigned int id) override;

    // IHwModuleManager
    bool parseModuleConfigOverride(rtk::Path const& file) override;
    bool setPorts(int workplaceID, std::string const& ports) override;
    void startHardwareUpdate() override;
    void stopHardwareUpdate() override;
    // Serves IColorManager as well.
    void setPanelMFDInterface(IPanelMFD* pPanelMFD) override;
    void startDiagnosis() override;
    void stopDiagnosis() override;

    // IPanelFeedback
    EWidgetParameterType getAttributeParamType(UniqueWidgetID const& id,
                                               std::string const& attribute) override;
    EWidgetParameterType getReceiveEventParamType(UniqueWidgetID const& id,
                                                  std::string const& event) override;
    void setAllAttributesToDefault(UniqueWidgetID const& id) override;
    bool setAttributeBool(UniqueWidgetID const& id, std::string const& attribute, bool value) override;
    bool setAttributeNumeric(UniqueWidgetID const& id, std::string const& attribute, int value) override;
    bool setAttributeText(UniqueWidgetID const& id, std::string const& attribute,
                          std::string const& value) override;
    bool getAttributeBool(UniqueWidgetID const& id, std::string const& attribute, bool& value) override;
    bool getAttributeNumeric(UniqueWidgetID const& id, std::string const& attribute, int& value) override;
    bool getAttributeText(UniqueWidgetID const& id, std::string const& attribute,
                          std::string& value) override;
    bool trigger(UniqueWidgetID const& id, std::string const& event, std::string const& value) override;

    // IMHLParser
    // Reading the module types also reads the inventory, Hardware.xml beside the module type file
    // (a missing inventory is an empty panel).
    bool parseWidgetTypes(rtk::Path const& file) override;
    bool parseModuleTypes(rtk::Path const& file) override;
    bool parseModuleMHL(UniqueModuleID const& id, rtk::Path const& base, std::string const& mhlFile) override;
    void setPDLInterpreter(IPDLInterpreter* pInterpreter) override;

    // IWidgetManager
    void setPanelEventInterface(IPanelEvent* pPanelEvent) override;
    void setPanelSettingsInterface(IPanelSettings* pPanelSettings) override;
    void setModeFlag(bool flag) override;

    // IHwSimulation
    bool isIdle() override;

    // Reports a module arriving at id (a module already there is reported gone first). False for an
    // unknown module type.
    bool plugModule(UniqueModuleID const& id, PluggedModule const& module);
    // Reports the module at id gone; false when none is there.
    bool unplugModule(UniqueModuleID const& id);
    // Sends a control event from the driver's thread; false when no plugged module has that widget.
    bool sendControlEvent(UniqueWidgetID const& id, std::string const& name, int value, bool transient);

    HwPanelModel& getModel() { return m_model; }
    std::vector<InventoryEntry> const& getInventory() const { return m_inventory; }

private:
    ModuleDriver(ModuleDriver const&) = delete;
    ModuleDriver& operator=(ModuleDriver const&) = delete;

    void postStatus(UniqueModuleID const& id, PluggedModule const& module);
    IPanelEvent* getPanelEvent();

    bool shellCmdList(rtk::CmdParameters& params);
    bool shellCmdPlug(rtk::CmdParameters& params);
    bool shellCmdUnplug(rtk::CmdParameters& params);
    bool shellCmdEvent(rtk::CmdParameters& params);
    bool shellCmdShow(rtk::CmdParameters& params);

    HwPanelModel m_model;
    std::vector<InventoryEntry> m_inventory;
    // Ports moved into a workplace by setPorts.
    std::map<int, int> m_portWorkplace;
    std::mutex m_lock;
    IPanelEvent* m_pPanelEvent;
    IPDLInterpreter* m_pInterpreter;
    IPanelSettings* m_pPanelSettings;
    IPanelMFD* m_pPanelMFD;
    bool m_modeFlag;
    bool m_diagnosis;
    bool m_started;
    HwReporter m_reporter;
};
} // namespace hwsim

#endif
