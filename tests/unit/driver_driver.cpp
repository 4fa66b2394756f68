// The driver object as the core and the shell see it: its interfaces, module reports from its own
// thread at start and on plug/unplug, events, MHL announcements, ports, the override file and the shell
// commands.

#include "driver_testutil.h"
#include "moduledriver.h"

#include "rtk/cmd.h"
#include "rtk/path.h"
#include "rtk/thread.h"

#include <interfaces/ipanelevent.h>
#include <interfaces/ipdlinterpreter.h>

#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <sys/stat.h>
#include <thread>
#include <vector>

using drivertest::ScratchDir;
using hwsim::ModuleDriver;
using hwsim::PluggedModule;

namespace
{
// Records what the driver reports, and on which thread.
class RecordingPanelEvent : public IPanelEvent
{
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }

    void updateModuleStatus(UniqueModuleID const& id, int connPort, int connConnector,
                            std::string const& moduleType, std::string const& moduleVersion) override
    {
        record("status " + id.toString() + " " + std::to_string(connPort) + " " +
               std::to_string(connConnector) + " " + moduleType + " " + moduleVersion);
    }
    void sendEvent(UniqueWidgetID const& id, std::string const& name) override
    {
        sendEvent(id, name, 0, false);
    }
    void sendEvent(UniqueWidgetID const& id, std::string const& name, int value, bool transient) override
    {
        record("event " + id.toString() + " " + name + " " + std::to_string(value) +
               (transient ? " transient" : ""));
    }

    std::vector<std::string> getCalls()
    {
        std::lock_guard<std::mutex> guard(m_lock);
        return m_calls;
    }
    bool allOnOtherThread(std::thread::id caller)
    {
        std::lock_guard<std::mutex> guard(m_lock);
        for (std::thread::id const& id : m_threads)
        {
            if (id == caller)
            {
                return false;
            }
        }
        return !m_threads.empty();
    }
    void clear()
    {
        std::lock_guard<std::mutex> guard(m_lock);
        m_calls.clear();
        m_threads.clear();
    }

private:
    void record(std::string const& call)
    {
        std::lock_guard<std::mutex> guard(m_lock);
        m_calls.push_back(call);
        m_threads.push_back(std::this_thread::get_id());
    }

    std::mutex m_lock;
    std::vector<std::string> m_calls;
    std::vector<std::thread::id> m_threads;
};

class RecordingInterpreter : public IPDLInterpreter
{
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    void addWidget(UniqueWidgetID const& id) override { m_widgets.push_back(id.toString()); }

    std::vector<std::string> m_widgets;
};

class DriverObject : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_dir.write("WidgetTypes.xml", drivertest::widgetTypesText());
        m_dir.write("ModuleTypes.xml", drivertest::moduleTypesText());
        m_pDriver.reset(new ModuleDriver);
        m_pDriver->setPanelEventInterface(&m_events);
        m_pDriver->setPDLInterpreter(&m_interpreter);
    }
    void TearDown() override { m_pDriver.reset(); }

    bool readTypes()
    {
        return m_pDriver->parseWidgetTypes(rtk::Path(m_dir.path() + "/WidgetTypes.xml")) &&
               m_pDriver->parseModuleTypes(rtk::Path(m_dir.path() + "/ModuleTypes.xml"));
    }
    void waitIdle()
    {
        while (!m_pDriver->isIdle())
        {
            rtk::Thread::mssleep(1);
        }
    }
    std::string runCommand(std::string const& line)
    {
        testing::internal::CaptureStdout();
        rtk::CmdProcessor::getInstance()->execute(line);
        return testing::internal::GetCapturedStdout();
    }

    ScratchDir m_dir;
    RecordingPanelEvent m_events;
    RecordingInterpreter m_interpreter;
    std::unique_ptr<ModuleDriver> m_pDriver;
};

char const* const s_inventory =
    "<?xml version=\"1.0\"?>\n"
    "<hardware>\n"
    "  <module port=\"1\" connector=\"1\" workplace=\"0\" group=\"1\" number=\"1\" "
    "type=\"Keys\" version=\"2\"/>\n"
    "  <module port=\"2\" connector=\"1\" workplace=\"0\" group=\"1\" number=\"2\" "
    "type=\"Mixer\"/>\n"
    "</hardware>\n";
} // namespace

TEST_F(DriverObject, AnswersItsInterfaceIds)
{
    IInterface* pRoot = static_cast<IHwModuleManager*>(m_pDriver.get());
    EXPECT_EQ(static_cast<IWidgetManager*>(m_pDriver.get()), getInterface<IWidgetManager>(pRoot));
    EXPECT_EQ(static_cast<IPanelFeedback*>(m_pDriver.get()), getInterface<IPanelFeedback>(pRoot));
    EXPECT_EQ(static_cast<IMHLParser*>(m_pDriver.get()), getInterface<IMHLParser>(pRoot));
    EXPECT_EQ(static_cast<IHwModuleManager*>(m_pDriver.get()), getInterface<IHwModuleManager>(pRoot));
    EXPECT_EQ(static_cast<IColorManager*>(m_pDriver.get()), getInterface<IColorManager>(pRoot));
    EXPECT_EQ(static_cast<IHwSimulation*>(m_pDriver.get()), getInterface<IHwSimulation>(pRoot));
    for (unsigned int id : {1000u, 1002u, 1005u, 1007u, 1101u, 0u})
    {
        EXPECT_EQ(nullptr, pRoot->queryInterface(id)) << id;
    }
}

TEST_F(DriverObject, StartReportsTheInventoryFromItsOwnThread)
{
    m_dir.write("Hardware.xml", s_inventory);
    ASSERT_TRUE(readTypes());
    ASSERT_EQ(2u, m_pDriver->getInventory().size());
    // Port 2 belongs to workplace 5 by the workplace configuration.
    ASSERT_TRUE(m_pDriver->setPorts(5, " 2, 7"));
    EXPECT_TRUE(m_events.getCalls().empty());

    m_pDriver->startHardwareUpdate();
    waitIdle();
    std::vector<std::string> const expected = {"status 0.1.1 1 1 Keys 2", "status 5.1.2 2 1 Mixer "};
    EXPECT_EQ(expected, m_events.getCalls());
    EXPECT_TRUE(m_events.allOnOtherThread(std::this_thread::get_id()));
    EXPECT_TRUE(m_pDriver->getModel().isPlugged(UniqueModuleID(5, 1, 2)));

    // A second start reports nothing again.
    m_pDriver->startHardwareUpdate();
    waitIdle();
    EXPECT_EQ(2u, m_events.getCalls().size());

    // After the stop nothing is delivered any more.
    m_pDriver->stopHardwareUpdate();
    PluggedModule module;
    module.m_type = "Keys";
    EXPECT_TRUE(m_pDriver->plugModule(UniqueModuleID(0, 0, 1), module));
    rtk::Thread::mssleep(20);
    EXPECT_EQ(2u, m_events.getCalls().size());
}

TEST_F(DriverObject, BadPortListsAreRefused)
{
    testing::internal::CaptureStderr();
    EXPECT_FALSE(m_pDriver->setPorts(0, "1,,2"));
    EXPECT_FALSE(m_pDriver->setPorts(0, "1;2"));
    EXPECT_FALSE(m_pDriver->setPorts(8, "1"));
    std::string const errors = testing::internal::GetCapturedStderr();
    EXPECT_NE(std::string::npos, errors.find("setPorts: bad port list \"1,,2\" for workplace 0"));
    EXPECT_NE(std::string::npos, errors.find("setPorts: workplace 8 out of range"));
    EXPECT_TRUE(m_pDriver->setPorts(3, ""));
}

TEST_F(DriverObject, PlugUnplugAndEventsAreReportedInOrder)
{
    ASSERT_TRUE(readTypes());
    EXPECT_TRUE(m_pDriver->getInventory().empty());
    m_pDriver->startHardwareUpdate();
    UniqueModuleID const position(0, 3, 4);
    PluggedModule module;
    module.m_type = "Keys";
    module.m_version = "7";
    ASSERT_TRUE(m_pDriver->plugModule(position, module));
    EXPECT_TRUE(m_pDriver->sendControlEvent(UniqueWidgetID(position, 2), "DOWN", 0, false));
    EXPECT_FALSE(m_pDriver->sendControlEvent(UniqueWidgetID(position, 3), "DOWN", 0, false));
    // A module replacing another is reported gone first.
    module.m_type = "Mixer";
    module.m_version.clear();
    ASSERT_TRUE(m_pDriver->plugModule(position, module));
    EXPECT_TRUE(m_pDriver->sendControlEvent(UniqueWidgetID(position, 3), "MOVE", 40, true));
    module.m_type = "Desk";
    EXPECT_FALSE(m_pDriver->plugModule(position, module));
    EXPECT_TRUE(m_pDriver->unplugModule(position));
    EXPECT_FALSE(m_pDriver->unplugModule(position));
    EXPECT_FALSE(m_pDriver->sendControlEvent(UniqueWidgetID(position, 3), "MOVE", 41, true));
    waitIdle();

    std::vector<std::string> const expected = {"status 0.3.4 0 0 Keys 7",
                                               "event 0.3.4.2 DOWN 0",
                                               "status 0.3.4 0 0  ",
                                               "status 0.3.4 0 0 Mixer ",
                                               "event 0.3.4.3 MOVE 40 transient",
                                               "status 0.3.4 0 0  "};
    EXPECT_EQ(expected, m_events.getCalls());
    EXPECT_TRUE(m_events.allOnOtherThread(std::this_thread::get_id()));
}

TEST_F(DriverObject, FeedbackGoesToThePluggedWidgets)
{
    ASSERT_TRUE(readTypes());
    PluggedModule module;
    module.m_type = "Mixer";
    UniqueModuleID const position(0, 1, 1);
    ASSERT_TRUE(m_pDriver->plugModule(position, module));
    UniqueWidgetID const fader(position, 3);
    UniqueWidgetID const key(position, 10);

    EXPECT_EQ(IPanelFeedback::eParamTypeNumeric, m_pDriver->getAttributeParamType(fader, "POSITION"));
    EXPECT_EQ(IPanelFeedback::eParamTypeNumeric, m_pDriver->getReceiveEventParamType(key, "FLASH"));
    EXPECT_EQ(IPanelFeedback::eParamTypeUnknown,
              m_pDriver->getAttributeParamType(UniqueWidgetID(position, 4), "X"));

    EXPECT_TRUE(m_pDriver->setAttributeNumeric(fader, "POSITION", -300));
    EXPECT_TRUE(m_pDriver->setAttributeBool(fader, "MOTOR", true));
    EXPECT_TRUE(m_pDriver->setAttributeText(key, "LABEL", "a \"b\""));
    EXPECT_FALSE(m_pDriver->setAttributeText(fader, "POSITION", "1"));
    EXPECT_TRUE(m_pDriver->trigger(key, "FLASH", "2"));
    EXPECT_FALSE(m_pDriver->trigger(fader, "FLASH", "2"));

    int number = 0;
    bool flag = false;
    std::string text;
    ASSERT_TRUE(m_pDriver->getAttributeNumeric(fader, "POSITION", number));
    EXPECT_EQ(-300, number);
    ASSERT_TRUE(m_pDriver->getAttributeBool(fader, "MOTOR", flag));
    EXPECT_TRUE(flag);
    ASSERT_TRUE(m_pDriver->getAttributeText(key, "LABEL", text));
    EXPECT_EQ("a \"b\"", text);
    EXPECT_FALSE(m_pDriver->getAttributeBool(key, "LABEL", flag));
    EXPECT_FALSE(m_pDriver->getAttributeNumeric(UniqueWidgetID(position, 11), "POSITION", number));

    m_pDriver->setAllAttributesToDefault(fader);
    ASSERT_TRUE(m_pDriver->getAttributeNumeric(fader, "POSITION", number));
    EXPECT_EQ(0, number);
    ASSERT_TRUE(m_pDriver->getAttributeBool(fader, "MOTOR", flag));
    EXPECT_FALSE(flag);

    EXPECT_EQ("0.1.1.10 COLOR=-7\n0.1.1.10 FLASH=2\n0.1.1.10 LABEL=a \"b\"\n0.1.1.10 LAMP=true\n",
              runCommand("hwShow 0 1 1 10"));
}

TEST_F(DriverObject, MhlAnnouncesWidgetsBelowTheBaseDirectory)
{
    ASSERT_TRUE(readTypes());
    ASSERT_EQ(0, mkdir((m_dir.path() + "/MHL").c_str(), 0755));
    m_dir.write("MHL/Mixer.mhl",
                "<mhl moduleType=\"Mixer\">\n <widget number=\"10\"/>\n <widget number=\"3\"/>\n</mhl>\n");
    UniqueModuleID const position(1, 1, 1);
    ASSERT_TRUE(m_pDriver->parseModuleMHL(position, rtk::Path(m_dir.path()), "MHL/Mixer.mhl"));
    EXPECT_EQ((std::vector<std::string>{"1.1.1.10", "1.1.1.3"}), m_interpreter.m_widgets);
    // The announced widgets answer attribute traffic even without hardware.
    EXPECT_TRUE(m_pDriver->setAttributeNumeric(UniqueWidgetID(position, 3), "POSITION", 5));

    // An MHL of another type than the module plugged there is refused and announces nothing.
    PluggedModule module;
    module.m_type = "Keys";
    UniqueModuleID const keys(1, 1, 2);
    ASSERT_TRUE(m_pDriver->plugModule(keys, module));
    m_interpreter.m_widgets.clear();
    testing::internal::CaptureStderr();
    EXPECT_FALSE(m_pDriver->parseModuleMHL(keys, rtk::Path(m_dir.path()), "MHL/Mixer.mhl"));
    EXPECT_EQ(m_dir.path() + "/MHL/Mixer.mhl(1): describes module type \"Mixer\", the module is a \"Keys\"\n",
              testing::internal::GetCapturedStderr());
    EXPECT_TRUE(m_interpreter.m_widgets.empty());
}

TEST_F(DriverObject, OverrideFileReplacesAndAddsModules)
{
    m_dir.write("Hardware.xml", s_inventory);
    ASSERT_TRUE(readTypes());
    std::string const override = m_dir.write(
        "Override.xml", "<hardware>\n"
                        "  <module port=\"2\" connector=\"1\" workplace=\"1\" group=\"0\" number=\"9\" "
                        "type=\"Keys\"/>\n"
                        "  <module port=\"3\" connector=\"0\" workplace=\"2\" group=\"0\" number=\"1\" "
                        "type=\"Mixer\"/>\n"
                        "</hardware>\n");
    ASSERT_TRUE(m_pDriver->parseModuleConfigOverride(rtk::Path(override)));
    m_pDriver->startHardwareUpdate();
    waitIdle();
    std::vector<std::string> const expected = {"status 0.1.1 1 1 Keys 2", "status 1.0.9 2 1 Keys ",
                                               "status 2.0.1 3 0 Mixer "};
    EXPECT_EQ(expected, m_events.getCalls());

    std::string const clash = m_dir.write(
        "Clash.xml", "<hardware>\n"
                     "  <module port=\"4\" connector=\"0\" workplace=\"0\" group=\"1\" number=\"1\" "
                     "type=\"Keys\"/>\n"
                     "</hardware>\n");
    testing::internal::CaptureStderr();
    EXPECT_FALSE(m_pDriver->parseModuleConfigOverride(rtk::Path(clash)));
    EXPECT_EQ(clash + "(2): two modules at 0.1.1\n", testing::internal::GetCapturedStderr());
}

TEST_F(DriverObject, ShellCommandsComeAndGoWithTheDriver)
{
    ASSERT_TRUE(readTypes());
    rtk::CmdProcessor* pShell = rtk::CmdProcessor::getInstance();
    for (char const* pName : {"hwList", "hwPlug", "hwUnplug", "hwEvent", "hwShow"})
    {
        EXPECT_TRUE(pShell->hasCommand(pName)) << pName;
        EXPECT_EQ(0u, pShell->getHelp(pName).find(pName)) << pName;
    }
    m_pDriver->startHardwareUpdate();
    EXPECT_EQ("no modules plugged\n", runCommand("hwList"));
    EXPECT_EQ("", runCommand("hwPlug 7 31 255 Keys v1"));
    EXPECT_EQ("", runCommand("hwPlug 0 0 0 Mixer"));
    EXPECT_EQ(
        "0.0.0 port=0 connector=0 type=Mixer version=\n7.31.255 port=0 connector=0 type=Keys version=v1\n",
        runCommand("hwList"));
    EXPECT_EQ("hwPlug: unknown module type \"Key\"\n", runCommand("hwPlug 0 0 1 Key"));
    EXPECT_EQ("hwPlug: bad module position \"0 0 256\"\n", runCommand("hwPlug 0 0 256 Keys"));
    EXPECT_EQ("Usage: hwPlug W G M TYPE [VERSION]\n", runCommand("hwPlug 0 0 1"));
    EXPECT_EQ("", runCommand("hwEvent 7 31 255 2 DOWN"));
    EXPECT_EQ("", runCommand("hwEvent 0 0 0 3 MOVE -12 transient"));
    EXPECT_EQ("hwEvent: module 0.0.0 has no widget 1\n", runCommand("hwEvent 0 0 0 1 DOWN"));
    EXPECT_EQ("hwEvent: bad widget number \"0\"\n", runCommand("hwEvent 0 0 0 0 DOWN"));
    EXPECT_EQ("hwEvent: bad value \"1.5\"\n", runCommand("hwEvent 0 0 0 3 MOVE 1.5"));
    EXPECT_EQ("Usage: hwEvent W G M WIDGET NAME [VALUE [transient]]\n",
              runCommand("hwEvent 0 0 0 3 MOVE 1 soon"));
    EXPECT_EQ("hwShow: no module at 0.0.1\n", runCommand("hwShow 0 0 1"));
    EXPECT_EQ("hwShow: module 0.0.0 has no widget 4\n", runCommand("hwShow 0 0 0 4"));
    EXPECT_EQ("", runCommand("hwUnplug 0 0 0"));
    EXPECT_EQ("hwUnplug: no module at 0.0.0\n", runCommand("hwUnplug 0 0 0"));
    waitIdle();
    std::vector<std::string> const expected = {"status 7.31.255 0 0 Keys v1", "status 0.0.0 0 0 Mixer ",
                                               "event 7.31.255.2 DOWN 0", "event 0.0.0.3 MOVE -12 transient",
                                               "status 0.0.0 0 0  "};
    EXPECT_EQ(expected, m_events.getCalls());

    m_pDriver.reset();
    for (char const* pName : {"hwList", "hwPlug", "hwUnplug", "hwEvent", "hwShow"})
    {
        EXPECT_FALSE(pShell->hasCommand(pName)) << pName;
    }
}
