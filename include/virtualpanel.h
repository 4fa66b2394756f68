#ifndef VIRTUALPANEL_H
#define VIRTUALPANEL_H

// VirtualPanel: the one object through which the host drives the core. It loads the module driver
// library, wires its interfaces to the core and owns the panel function system.

#include "netconfiginfolistener.h"

#include "rtk/path.h"

#include <interfaces/iinterface.h>
#include <logkit/logging.h>

#include <string>

class IDriverInfo;
class IFunctionID;
class IMacroSystem;
class IPanelMFD;
class IPanelSettings;
class ModuleDriverSimulator;
class PanelFunctionSystem;

namespace rtk
{
class Module;
}

class VirtualPanel : public IInterface
{
public:
    enum EMode
    {
        eModeHardware = 1,
        eModeSimulator = 2,
        eModeHardwareFlagged = 3
    };

    VirtualPanel();
    // A VirtualPanel whose create failed for want of the driver library must not be destroyed: the
    // destructor asserts on the driver's interfaces.
    ~VirtualPanel() override;

    IInterface* queryInterface(unsigned int id) override;

    // Loads the driver library, creates the core and wires the two together. False for a missing
    // library or an unsupported mode; what was made so far lives until the destructor.
    bool create(EMode mode, std::string const& simulatorAddress);
    // Reads the widget, module and delegation type files (and the override file, if one was given).
    // exitOnLoadFailure: a module that cannot be loaded later ends the process.
    bool init(bool exitOnLoadFailure);
    bool parseDelegationTypeFile(rtk::Path const& path);
    // Reads the workplace file: each workplace's ports go to the driver, its mainframe driver fixes
    // the workplace's PDL name ("moduleTest" in test mode). An empty name reads nothing. False after
    // a logged error; the workplaces read before it stay set.
    bool readWorkplaceConfig(std::string const& file, bool testMode);
    // The first mainframe driver of the workplace file, which the network configuration listener
    // serves: its workplace (-1 when there was none) and driver id.
    int getNetConfigWorkplaceID() const { return m_netConfigWorkplaceID; }
    std::string const& getNetConfigDriverID() const { return m_netConfigDriverID; }

    void setFunctionIDInterface(IFunctionID* pFunctionID) const;
    void setMacroSystemInterface(IMacroSystem* pMacroSystem) const;
    void setPanelSettingsInterface(IPanelSettings* pPanelSettings) const;
    void setPanelMFDInterface(IPanelMFD* pPanelMFD) const;
    void setDriverInfoInterface(IDriverInfo* pDriverInfo);
    // The driver's module configuration override file, read in init; empty (the default) reads none.
    void setModuleConfigOverride(rtk::Path const& path);

    void startHardwareUpdate();
    // Resets the controls, waits 350 ms, then stops the hardware side.
    void stopHardwareUpdate();
    void startDiagnosis();
    void stopDiagnosis();
    // Remote control clients: listening on port 56662, and its end (connected clients stay).
    void startRCLPListener();
    void stopRCLPListener();

    // Takes effect only before the first run-time error report.
    void setInterpreterLogLevel(int level);
    // Gives the interpreter mutex taken in create; once, by the thread that ran create.
    void releaseMutex();

    // Null until create has loaded the driver library.
    PanelFunctionSystem* getPanelFunctionSystem() const { return m_pPanelFunctionSystem; }
    // The side files' listener; the workplace configuration points it at its first mainframe driver.
    NetConfigInfoListener& getNetConfigInfoListener() { return m_netConfigInfoListener; }

private:
    VirtualPanel(VirtualPanel const&) = delete;
    VirtualPanel& operator=(VirtualPanel const&) = delete;

    rtk::Module* m_pModuleDriverSystem;
    ModuleDriverSimulator* m_pModuleDriverSimulator;
    PanelFunctionSystem* m_pPanelFunctionSystem;
    IDriverInfo* m_pDriverInfo;
    NetConfigInfoListener m_netConfigInfoListener;
    Orvane::Utilities::Logging::LogCategory m_log;
    rtk::Path m_moduleConfigOverride;
    int m_netConfigWorkplaceID;
    std::string m_netConfigDriverID;
};

#endif
