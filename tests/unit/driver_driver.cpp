// The driver object as the core sees it: its interfaces, module reports from its own thread at start and
// on plug/unplug, events, MHL announcements, ports and the override file. Its shell commands and its
// attribute traffic are covered by the hw* scenarios.

#include "driver_testutil.h"
#include "moduledriver.h"

#include "rtk/path.h"
#include "rtk/thread.h"

#include <interfaces/ipanelevent.h>
#include <interfaces/ipdlinterpreter.h>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <sys/stat.h>
#include <thread>
#include <vector>

using hwsim::ModuleDriver;
using hwsim::PluggedModule;
typedef std::vector<std::string> Calls;

namespace
{
// Records what the driver reports, and whether any of it came on the test's own thread.
class RecordingPanelEvent : public IPanelEvent, public IPDLInterpreter
{
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    void updateModuleStatus(UniqueModuleID const& id, int connPort, int connConnector, std::string const& moduleType,
                            std::string const& moduleVersion) override
    {
        record("status " + id.toString() + " " + std::to_string(connPort) + " " + std::to_string(connConnector) + " " +
               moduleType + " " + moduleVersion);
    }
    void sendEvent(UniqueWidgetID const& id, std::string const& name) override { sendEvent(id, name, 0, false); }
    void sendEvent(UniqueWidgetID const& id, std::string const& name, int value, bool transient) override
    {
        record("event " + id.toString() + " " + name + " " + std::to_string(value) + (transient ? " transient" : ""));
    }
    void addWidget(UniqueWidgetID const& id) override { record("widget " + id.toString()); }

    Calls take()
    {
        std::lock_guard<std::mutex> guard(m_lock);
        Calls calls;
        calls.swap(m_calls);
        return calls;
    }
    std::atomic<bool> m_onTestThread{false};

private:
    void record(std::string const& call)
    {
        std::lock_guard<std::mutex> guard(m_lock);
        m_calls.push_back(call);
        if (std::this_thread::get_id() == m_testThread && call.compare(0, 7, "widget ") != 0)
            m_onTestThread = true;
    }

    std::mutex m_lock;
    Calls m_calls;
    std::thread::id const m_testThread = std::this_thread::get_id();
};

class DriverObject : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_dir.write("WidgetTypes.xml", drivertest::widgetTypesText());
        m_dir.write("ModuleTypes.xml", drivertest::moduleTypesText());
        m_dir.write("Hardware.xml", "<?xml version=\"1.0\"?>\n<hardware>\n"
                                    "  <module port=\"1\" connector=\"1\" workplace=\"0\" group=\"1\" number=\"1\" "
                                    "type=\"Keys\" version=\"2\"/>\n"
                                    "  <module port=\"2\" connector=\"1\" workplace=\"0\" group=\"1\" number=\"2\" "
                                    "type=\"Mixer\"/>\n</hardware>\n");
        m_pDriver.reset(new ModuleDriver);
        m_pDriver->setPanelEventInterface(&m_events);
        m_pDriver->setPDLInterpreter(&m_events);
        ASSERT_TRUE(m_pDriver->parseWidgetTypes(rtk::Path(m_dir.path() + "/WidgetTypes.xml")));
        ASSERT_TRUE(m_pDriver->parseModuleTypes(rtk::Path(m_dir.path() + "/ModuleTypes.xml")));
    }
    Calls reported()
    {
        while (!m_pDriver->isIdle())
            rtk::Thread::mssleep(1);
        return m_events.take();
    }
    static PluggedModule module(std::string const& type, std::string const& version = "")
    {
        PluggedModule module;
        module.m_type = type;
        module.m_version = version;
        return module;
    }

    drivertest::ScratchDir m_dir;
    RecordingPanelEvent m_events;
    std::unique_ptr<ModuleDriver> m_pDriver;
};
} // namespace

TEST_F(DriverObject, AnswersItsInterfaceIds)
{
    IInterface* pRoot = static_cast<IHwModuleManager*>(m_pDriver.get());
    EXPECT_EQ(static_cast<IWidgetManager*>(m_pDriver.get()), getInterface<IWidgetManager>(pRoot));
    EXPECT_EQ(static_cast<IPanelFeedback*>(m_pDriver.get()), getInterface<IPanelFeedback>(pRoot));
    EXPECT_EQ(static_cast<IMHLParser*>(m_pDriver.get()), getInterface<IMHLParser>(pRoot));
    EXPECT_EQ(static_cast<IColorManager*>(m_pDriver.get()), getInterface<IColorManager>(pRoot));
    EXPECT_EQ(static_cast<IHwSimulation*>(m_pDriver.get()), getInterface<IHwSimulation>(pRoot));
    for (unsigned int id : {1000u, 1002u, 1005u, 1007u, 1101u, 0u})
        EXPECT_EQ(nullptr, pRoot->queryInterface(id)) << id;
}

TEST_F(DriverObject, ReportsModulesAndEventsFromItsOwnThreadInOrder)
{
    // Port 2 belongs to workplace 5 by the workplace configuration; an override file replaces the module
    // at port 2 connector 1 and adds one.
    ASSERT_TRUE(m_pDriver->setPorts(5, " 2, 7"));
    std::string const override = m_dir.write(
        "Override.xml", "<hardware>\n  <module port=\"2\" connector=\"1\" workplace=\"1\" group=\"0\" number=\"9\" "
                        "type=\"Keys\"/>\n  <module port=\"3\" connector=\"0\" workplace=\"2\" group=\"0\" "
                        "number=\"1\" type=\"Mixer\"/>\n</hardware>\n");
    ASSERT_TRUE(m_pDriver->parseModuleConfigOverride(rtk::Path(override)));
    EXPECT_TRUE(m_events.take().empty());
    m_pDriver->startHardwareUpdate();
    EXPECT_EQ((Calls{"status 0.1.1 1 1 Keys 2", "status 5.0.9 2 1 Keys ", "status 2.0.1 3 0 Mixer "}), reported());
    m_pDriver->startHardwareUpdate(); // a second start reports nothing again

    UniqueModuleID const position(0, 3, 4);
    ASSERT_TRUE(m_pDriver->plugModule(position, module("Keys", "7")));
    EXPECT_TRUE(m_pDriver->sendControlEvent(UniqueWidgetID(position, 2), "DOWN", 0, false));
    EXPECT_FALSE(m_pDriver->sendControlEvent(UniqueWidgetID(position, 3), "DOWN", 0, false));
    // A module replacing another is reported gone first.
    ASSERT_TRUE(m_pDriver->plugModule(position, module("Mixer")));
    EXPECT_TRUE(m_pDriver->sendControlEvent(UniqueWidgetID(position, 3), "MOVE", 40, true));
    EXPECT_FALSE(m_pDriver->plugModule(position, module("Desk")));
    EXPECT_TRUE(m_pDriver->unplugModule(position));
    EXPECT_FALSE(m_pDriver->unplugModule(position));
    EXPECT_EQ((Calls{"status 0.3.4 0 0 Keys 7", "event 0.3.4.2 DOWN 0", "status 0.3.4 0 0  ",
                     "status 0.3.4 0 0 Mixer ", "event 0.3.4.3 MOVE 40 transient", "status 0.3.4 0 0  "}),
              reported());
    EXPECT_FALSE(m_events.m_onTestThread);

    // After the stop nothing is delivered any more.
    m_pDriver->stopHardwareUpdate();
    EXPECT_TRUE(m_pDriver->plugModule(UniqueModuleID(0, 0, 1), module("Keys")));
    rtk::Thread::mssleep(20);
    EXPECT_TRUE(m_events.take().empty());
}

TEST_F(DriverObject, PortsAndOverridesAreChecked)
{
    testing::internal::CaptureStderr();
    EXPECT_FALSE(m_pDriver->setPorts(0, "1,,2"));
    EXPECT_FALSE(m_pDriver->setPorts(0, "1;2"));
    EXPECT_FALSE(m_pDriver->setPorts(0, "-3"));
    EXPECT_FALSE(m_pDriver->setPorts(8, "1"));
    EXPECT_EQ("setPorts: bad port list \"1,,2\" for workplace 0\nsetPorts: bad port list \"1;2\" for workplace 0\n"
              "setPorts: bad port list \"-3\" for workplace 0\nsetPorts: workplace 8 out of range\n",
              testing::internal::GetCapturedStderr());
    EXPECT_TRUE(m_pDriver->setPorts(3, ""));

    std::string const clash = m_dir.write(
        "Clash.xml", "<hardware>\n  <module port=\"4\" connector=\"0\" workplace=\"0\" group=\"1\" number=\"1\" "
                     "type=\"Keys\"/>\n</hardware>\n");
    testing::internal::CaptureStderr();
    EXPECT_FALSE(m_pDriver->parseModuleConfigOverride(rtk::Path(clash)));
    EXPECT_EQ(clash + "(2): two modules at 0.1.1\n", testing::internal::GetCapturedStderr());
}

// Attribute traffic through IPanelFeedback is covered by the hw* and widget scenarios.
TEST_F(DriverObject, MhlAnnouncesWidgetsOfItsType)
{
    // An MHL file below the base directory announces its widgets, which then answer without hardware; an
    // MHL of another type than the module plugged there is refused and announces nothing.
    ASSERT_EQ(0, mkdir((m_dir.path() + "/MHL").c_str(), 0755));
    m_dir.write("MHL/Mixer.mhl", "<mhl moduleType=\"Mixer\">\n <widget number=\"10\"/>\n <widget number=\"3\"/>\n</mhl>\n");
    ASSERT_TRUE(m_pDriver->parseModuleMHL(UniqueModuleID(1, 1, 1), rtk::Path(m_dir.path()), "MHL/Mixer.mhl"));
    EXPECT_TRUE(m_pDriver->setAttributeNumeric(UniqueWidgetID(UniqueModuleID(1, 1, 1), 3), "POSITION", 5));
    ASSERT_TRUE(m_pDriver->plugModule(UniqueModuleID(1, 1, 2), module("Keys")));
    testing::internal::CaptureStderr();
    EXPECT_FALSE(m_pDriver->parseModuleMHL(UniqueModuleID(1, 1, 2), rtk::Path(m_dir.path()), "MHL/Mixer.mhl"));
    EXPECT_EQ(m_dir.path() + "/MHL/Mixer.mhl(1): describes module type \"Mixer\", the module is a \"Keys\"\n",
              testing::internal::GetCapturedStderr());
    Calls widgets;
    for (std::string const& call : m_events.take())
        if (call.compare(0, 7, "widget ") == 0)
            widgets.push_back(call);
    EXPECT_EQ((Calls{"widget 1.1.1.10", "widget 1.1.1.3"}), widgets);
}
