#include "core_fixture.h"

#include "panelfeedbackmanager.h"
#include "panelfunctionsystem.h"
#include "pdleventmanager.h"
#include "pdlinterpreter.h"
#include "pdlmodulemanager.h"
#include "pdlpanelstate.h"
#include "pdlpersistentvarmanager.h"
#include "pdlphysicalwidget.h"
#include "virtualpanel.h"

#include <basekit/uniqueids.h>
#include <interfaces/icolormanager.h>
#include <interfaces/ieventmanager.h>
#include <interfaces/ihwmodulemanager.h>
#include <interfaces/imhlparser.h>
#include <interfaces/imodulemanager.h>
#include <interfaces/imoduletest.h>
#include <interfaces/ipanelevent.h>
#include <interfaces/ipanelfeedback.h>
#include <interfaces/ipdlinterpreter.h>
#include <interfaces/iwidgetmanager.h>

#include <memory>

namespace
{
std::vector<std::string> g_lifecycle;
std::vector<size_t> g_driverCallsAtLifecycle;

void recordLifecycle(char const* pWhat)
{
    g_lifecycle.push_back(pWhat);
    g_driverCallsAtLifecycle.push_back(fakedriver::getCalls().size());
}

// Creates a panel in a mode and gives the interpreter mutex back, as the host does at the end of its start.
std::unique_ptr<VirtualPanel> startPanel(VirtualPanel::EMode mode, bool expected = true)
{
    std::unique_ptr<VirtualPanel> pPanel(new VirtualPanel);
    EXPECT_EQ(expected, pPanel->create(mode, ""));
    return pPanel;
}
} // namespace

using CoreVirtualPanelTest = CoreTest;

TEST_F(CoreVirtualPanelTest, CreateRejectsUnsupportedModesButKeepsTheCore)
{
    installDriver();
    for (int mode : {0, 4})
    {
        m_log.str("");
        std::unique_ptr<VirtualPanel> pPanel = startPanel(static_cast<VirtualPanel::EMode>(mode), false);
        EXPECT_TRUE(PDLEventManager::hasInstance() && PanelFeedbackManager::hasInstance()) << "mode " << mode;
        EXPECT_NE(logText().find("[Startup] ERROR Unsupported virtual panel mode\n"), std::string::npos) << logText();
        pPanel->releaseMutex();
        pPanel.reset();
        EXPECT_FALSE(PDLPanelState::hasInstance() || PanelFeedbackManager::hasInstance());
    }
}

TEST_F(CoreVirtualPanelTest, CreateWiresTheDriverInOrder)
{
    installDriver();
    {
        std::unique_ptr<VirtualPanel> pPanel = startPanel(VirtualPanel::eModeHardware);
        std::vector<std::string> const calls = fakedriver::getCalls();
        std::vector<std::string> const expected = {"FakeDriver()", "IMHLParser::setPDLInterpreter(ptr)",
                                                   "IWidgetManager::setPanelEventInterface(ptr)"};
        EXPECT_EQ(expected, calls);
        // The driver got the core's event entry and its interpreter.
        EXPECT_EQ(fakedriver::getPanelEvent(), getInterface<IPanelEvent>(PDLEventManager::getInstance()));
        EXPECT_EQ(fakedriver::getPDLInterpreter(),
                  getInterface<IPDLInterpreter>(pPanel->getPanelFunctionSystem()));
        pPanel->releaseMutex();
    }

    fakedriver::reset();
    {
        std::unique_ptr<VirtualPanel> pPanel = startPanel(VirtualPanel::eModeHardwareFlagged);
        std::vector<std::string> const calls = fakedriver::getCalls();
        int const flag = indexOf(calls, "IWidgetManager::setModeFlag(1)");
        int const events = indexOf(calls, "IWidgetManager::setPanelEventInterface(ptr)");
        ASSERT_GE(flag, 0);
        EXPECT_LT(flag, events);
        pPanel->releaseMutex();
    }

    // Missing optional interfaces are tolerated by create.
    fakedriver::reset();
    fakedriver::setOffered(eIMHLParser, false);
    fakedriver::setOffered(eIWidgetManager, false);
    {
        std::unique_ptr<VirtualPanel> pPanel = startPanel(VirtualPanel::eModeHardwareFlagged);
        std::vector<std::string> const expected = {"FakeDriver()"};
        EXPECT_EQ(expected, fakedriver::getCalls());
        pPanel->releaseMutex();
    }
}

TEST_F(CoreVirtualPanelTest, InitReadsTheFilesInOrder)
{
    installDriver();
    writeFile("config/DelegationTypes.xml", "<delegation_type_description/>");

    {
        std::unique_ptr<VirtualPanel> pPanel = startPanel(VirtualPanel::eModeHardware);
        fakedriver::reset();
        EXPECT_TRUE(pPanel->init(true));
        std::vector<std::string> const expected = {"IMHLParser::parseWidgetTypes(config/WidgetTypes.xml)",
                                                   "IMHLParser::parseModuleTypes(config/ModuleTypes.xml)"};
        EXPECT_EQ(expected, fakedriver::getCalls());
        EXPECT_TRUE(PDLEventManager::getInstance()->getExitOnLoadFailure());
        EXPECT_NE(PDLEventManager::getInstance()->getMHLParser(), nullptr);
        std::string const log = logText();
        size_t const widget = log.find("Parsing Widget Type file...");
        size_t const module = log.find("Parsing Module Types file...");
        size_t const delegation = log.find("Parsing Delegation Type file...");
        size_t const ok = log.find("Widget, Module, and Delegation files OK");
        ASSERT_NE(ok, std::string::npos) << log;
        EXPECT_LT(widget, module);
        EXPECT_LT(module, delegation);
        EXPECT_LT(delegation, ok);
        EXPECT_EQ(log.find("Parsing Module Configuration Override file..."), std::string::npos);
        pPanel->releaseMutex();
    }

    {
        m_log.str("");
        std::unique_ptr<VirtualPanel> pPanel = startPanel(VirtualPanel::eModeHardware);
        pPanel->setModuleConfigOverride(rtk::Path("config/override.xml"));
        fakedriver::reset();
        EXPECT_TRUE(pPanel->init(false));
        std::vector<std::string> const calls = fakedriver::getCalls();
        ASSERT_EQ(3u, calls.size());
        EXPECT_EQ("IHwModuleManager::parseModuleConfigOverride(config/override.xml)", calls[2]);
        EXPECT_FALSE(PDLEventManager::getInstance()->getExitOnLoadFailure());
        std::string const log = logText();
        EXPECT_LT(log.find("Parsing Module Configuration Override file..."),
                  log.find("Widget, Module, and Delegation files OK"));

        // A failing override ends init with false.
        fakedriver::setFailing("parseModuleConfigOverride", true);
        EXPECT_FALSE(pPanel->init(false));
        pPanel->releaseMutex();
    }
}

TEST_F(CoreVirtualPanelTest, SingletonsComeAndGoInTheirOrder)
{
    installDriver();
    g_lifecycle.clear();
    g_driverCallsAtLifecycle.clear();
    PanelFunctionSystem::setLifecycleHook(&recordLifecycle);

    std::unique_ptr<VirtualPanel> pPanel = startPanel(VirtualPanel::eModeHardware);
    std::vector<std::string> const up = {
        "+PDLPersistentVarManager", "+PDLPanelState",       "+PDLPhysicalWidgetManager",
        "+PDLEventManager",         "+PDLModuleManager",    "+PDLInterpreter",
        "+RCLPConnector",           "+PanelFunctionSystem", "+PanelFeedbackManager"};
    EXPECT_EQ(up, g_lifecycle);

    pPanel->releaseMutex();
    g_lifecycle.clear();
    g_driverCallsAtLifecycle.clear();
    fakedriver::reset();
    pPanel.reset();
    PanelFunctionSystem::setLifecycleHook(nullptr);

    std::vector<std::string> const down = {
        "-PDLModuleManager",        "-PDLEventManager",     "-PDLPhysicalWidgetManager",
        "-PDLPersistentVarManager", "-PDLInterpreter",      "-RCLPConnector",
        "-PDLPanelState",           "-PanelFunctionSystem", "-ModuleDriverSystem",
        "-PanelFeedbackManager"};
    EXPECT_EQ(down, g_lifecycle);

    // The driver hears of the MFD interface going before the core goes, and is unloaded after it.
    std::vector<std::string> const calls = fakedriver::getCalls();
    int const mfd = indexOf(calls, "setPanelMFDInterface(null)");
    int const unloaded = indexOf(calls, "~FakeDriver()");
    ASSERT_GE(mfd, 0);
    ASSERT_GE(unloaded, 0);
    ASSERT_EQ(down.size(), g_driverCallsAtLifecycle.size());
    EXPECT_LT(static_cast<size_t>(mfd), g_driverCallsAtLifecycle[0]);
    EXPECT_GE(static_cast<size_t>(unloaded), g_driverCallsAtLifecycle[7]); // after PanelFunctionSystem
    EXPECT_LT(static_cast<size_t>(unloaded), g_driverCallsAtLifecycle[8]); // with the driver module
    EXPECT_NE(logText().find("Stopping event manager..."), std::string::npos);
    EXPECT_NE(logText().find("Event Manager Stopped"), std::string::npos);
}

TEST_F(CoreVirtualPanelTest, InterfaceTablesOfBothObjects)
{
    installDriver();
    std::unique_ptr<VirtualPanel> pPanel = startPanel(VirtualPanel::eModeHardware);
    PanelFunctionSystem* pSystem = pPanel->getPanelFunctionSystem();
    ASSERT_NE(pSystem, nullptr);
    IInterface* pEvents = getInterface<IPanelEvent>(PDLEventManager::getInstance());
    IInterface* pModules = getInterface<IModuleManager>(PDLModuleManager::getInstance());
    IInterface* pState = getInterface<IPanelState>(PDLPanelState::getInstance());
    IInterface* pFanOut = getInterface<IPanelFeedback>(PanelFeedbackManager::getInstance());
    IInterface* pDriver = reinterpret_cast<IInterface*>(1); // any non-null answer
    struct Case
    {
        unsigned int m_id;
        IInterface* m_panel;  // what VirtualPanel answers (its object, for the singletons)
        IInterface* m_system; // what PanelFunctionSystem answers
    };
    // 1004 is the fan-out, never the driver's own feedback; 1005 and 1007 are asked of the system only;
    // the driver's own interfaces come through the panel only.
    Case const cases[] = {
        {eIPanelEvent, pEvents, pEvents},   {eIWidgetManager, pDriver, nullptr}, {eIPanelFeedback, pFanOut, nullptr},
        {eIPDLInterpreter, nullptr, pDriver}, {eIMHLParser, nullptr, nullptr},   {eIModuleManager, nullptr, pModules},
        {eIEventManager, pEvents, pEvents}, {eIModuleTest, pModules, pModules},  {eIHwModuleManager, pDriver, nullptr},
        {eIColorManager, pDriver, nullptr}, {eIPanelState, pState, pState},      {eIPSPublisher, pState, pState},
        {4711, nullptr, nullptr},
    };
    // Both query functions hand back the IInterface base of the object found.
    auto same = [pDriver](IInterface* pExpected, IInterface* pAnswer)
    { return pExpected == pDriver ? pAnswer != nullptr : pExpected == pAnswer; };
    for (Case const& c : cases)
    {
        EXPECT_TRUE(same(c.m_panel, pPanel->queryInterface(c.m_id))) << c.m_id;
        EXPECT_TRUE(same(c.m_system, pSystem->queryInterface(c.m_id))) << c.m_id;
    }

    // The fan-out reaches the driver: a write goes out, a read is answered by the driver.
    IPanelFeedback* pFeedback = getInterface<IPanelFeedback>(pPanel.get());
    UniqueWidgetID const id(1, 2, 3, 17);
    fakedriver::reset();
    pFeedback->setAttributeText(id, "LABEL", "Hi");
    std::string text;
    EXPECT_TRUE(pFeedback->getAttributeText(id, "LABEL", text));
    EXPECT_EQ("driver", text);
    std::vector<std::string> const expected = {"IPanelFeedback::setAttributeText(1.2.3.17,LABEL,Hi)",
                                               "IPanelFeedback::getAttributeText(1.2.3.17,LABEL)"};
    EXPECT_EQ(expected, fakedriver::getCalls());
    pPanel->releaseMutex();
}

TEST_F(CoreVirtualPanelTest, HardwareStartAndStopReachTheDriver)
{
    installDriver();
    std::unique_ptr<VirtualPanel> pPanel = startPanel(VirtualPanel::eModeHardware);
    IPDLInterpreter* pInterpreter = fakedriver::getPDLInterpreter();
    ASSERT_NE(pInterpreter, nullptr);

    // The MHL parser announces a control: the core resets it to its defaults through the fan-out.
    fakedriver::reset();
    pInterpreter->addWidget(UniqueWidgetID(0, 1, 2, 5));
    std::vector<std::string> expected = {"IPanelFeedback::setAllAttributesToDefault(0.1.2.5)"};
    EXPECT_EQ(expected, fakedriver::getCalls());
    EXPECT_NE(nullptr, PDLPhysicalWidgetManager::getInstance()->findWidget(UniqueWidgetID(0, 1, 2, 5)));

    fakedriver::reset();
    pPanel->startHardwareUpdate();
    pPanel->startDiagnosis();
    pPanel->stopDiagnosis();
    pPanel->stopHardwareUpdate();
    // The controls go back to their defaults before the hardware stops.
    expected = {"IHwModuleManager::startHardwareUpdate()", "IHwModuleManager::startDiagnosis()",
                "IHwModuleManager::stopDiagnosis()", "IPanelFeedback::setAllAttributesToDefault(0.1.2.5)",
                "IHwModuleManager::stopHardwareUpdate()"};
    EXPECT_EQ(expected, fakedriver::getCalls());

    pPanel->releaseMutex();
}
