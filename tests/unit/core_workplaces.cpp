#include "core_fixture.h"

#include "pdleventmanager.h"
#include "virtualpanel.h"

#include "rtk/path.h"

#include <interfaces/idriverinfo.h>

#include <memory>

namespace
{
// Maps a driver type to "pdl_" + type and counts the lookups.
class PrefixDriverInfo : public IDriverInfo
{
public:
    std::string getPDLName(std::string const& driverType) override
    {
        ++m_lookups;
        return "pdl_" + driverType;
    }
    int m_lookups = 0;
};

class CoreWorkplaceTest : public CoreTest
{
protected:
    void SetUp() override
    {
        CoreTest::SetUp();
        installDriver();
        m_pPanel.reset(new VirtualPanel);
        ASSERT_TRUE(m_pPanel->create(VirtualPanel::eModeHardware, ""));
        m_pPanel->setDriverInfoInterface(&m_driverInfo);
        m_pManager = PDLEventManager::getInstance();
    }
    void TearDown() override
    {
        m_pPanel->releaseMutex();
        m_pPanel.reset();
        CoreTest::TearDown();
    }

    PrefixDriverInfo m_driverInfo;
    std::unique_ptr<VirtualPanel> m_pPanel;
    PDLEventManager* m_pManager = nullptr;
};

char const* const s_head = "<?xml version=\"1.0\"?>\n";
} // namespace

TEST_F(CoreWorkplaceTest, EachFaultLogsOneLineAndStopsTheRead)
{
    struct Case
    {
        char const* m_body;      // after the declaration line, so the root element stands on line 2
        char const* m_message;   // the one logged line; empty when none
        char const* m_lastCall;  // the last driver call, empty when none
    };
    Case const cases[] = {
        {"<panels/>", "Parse error in \"wp.xml\" line 2", ""},
        {"<!-- only a comment -->", "Parse error in \"wp.xml\" line 0", ""},
        {"<workplaces>\n<!-- c -->\n</workplaces>", "Parse error in \"wp.xml\" line 3", ""},
        {"<workplaces>\n<other/>\n</workplaces>", "Parse error in \"wp.xml\" line 3", ""},
        {"<workplaces>\n<workplace id=\"8\"/>\n</workplaces>", "Workplace ID missing or invalid in \"wp.xml\" line 3", ""},
        {"<workplaces>\n<workplace id=\"-1\"/>\n</workplaces>", "Workplace ID missing or invalid in \"wp.xml\" line 3", ""},
        {"<workplaces>\n<workplace/>\n</workplaces>", "Workplace ID missing or invalid in \"wp.xml\" line 3", ""},
        {"<workplaces>\n<workplace id=\"1\">\n<ports>4</ports>\n<!-- c -->\n</workplace>\n</workplaces>",
         "Parse error in \"wp.xml\" line 5", "IHwModuleManager::setPorts(1,4)"},
        {"<workplaces>\n<workplace id=\"1\">\n<mainframeDriver driverID=\"a\"/>\n</workplace>\n</workplaces>",
         "DriverID or driverType missing in \"wp.xml\" line 4", ""},
        {"<workplaces>\n<workplace id=\"1\">\n<mainframeDriver driverID=\"\" driverType=\"T\"/>\n</workplace>\n"
         "</workplaces>",
         "DriverID or driverType missing in \"wp.xml\" line 4", ""},
    };
    for (Case const& c : cases)
    {
        SCOPED_TRACE(c.m_body);
        writeFile("wp.xml", std::string(s_head) + c.m_body + "\n");
        m_log.str("");
        fakedriver::reset();
        EXPECT_FALSE(m_pPanel->readWorkplaceConfig("wp.xml", false));
        EXPECT_EQ(std::string("[Startup] ERROR ") + c.m_message + "\n", logText());
        std::vector<std::string> const calls = fakedriver::getCalls();
        EXPECT_EQ(c.m_lastCall, calls.empty() ? std::string() : calls.back());
    }

    // A missing file names TinyXML's reason; a refused port list fails without a message of its own.
    m_log.str("");
    EXPECT_FALSE(m_pPanel->readWorkplaceConfig("absent.xml", false));
    EXPECT_EQ("[Startup] ERROR Failed to open \"absent.xml\" ('Failed to open file')\n", logText());
    writeFile("wp.xml", std::string(s_head) + "<workplaces><workplace id=\"2\"><ports>x</ports></workplace></workplaces>");
    m_log.str("");
    fakedriver::setFailing("setPorts", true);
    EXPECT_FALSE(m_pPanel->readWorkplaceConfig("wp.xml", false));
    EXPECT_EQ("", logText());
    EXPECT_EQ(0, m_driverInfo.m_lookups);
}

TEST_F(CoreWorkplaceTest, WorkplacesGetPortsAndTheirDriversPDLName)
{
    // An empty name reads nothing.
    fakedriver::reset();
    EXPECT_TRUE(m_pPanel->readWorkplaceConfig("", false));
    EXPECT_TRUE(fakedriver::getCalls().empty());

    writeFile("wp.xml", std::string(s_head) + R"(<workplaces>
  <workplace id="3" note="ignored">
    <ports>1, 2</ports>
    <mainframeDriver driverID="main-a" driverType="Vision"/>
    <mainframeDriver driverID="main-b" driverType="Other"/>
    <unknown/>
  </workplace>
  <workplace id="0">
    <ports></ports>
    <mainframeDriver driverID="main-c" driverType="Mixer"/>
  </workplace>
  <workplace id="5"/>
</workplaces>
)");
    EXPECT_TRUE(m_pPanel->readWorkplaceConfig("wp.xml", false));
    std::vector<std::string> const expected = {"IHwModuleManager::setPorts(3,1, 2)", "IHwModuleManager::setPorts(0,)"};
    EXPECT_EQ(expected, fakedriver::getCalls());
    // The first driver of a workplace counts; a second one is checked and ignored.
    EXPECT_EQ("pdl_Vision", m_pManager->getPDLName(3));
    EXPECT_EQ("pdl_Mixer", m_pManager->getPDLName(0));
    EXPECT_EQ("", m_pManager->getPDLName(5));
    EXPECT_EQ(2, m_driverInfo.m_lookups);
    // The network configuration listener serves the file's first driver only.
    EXPECT_EQ(3, m_pPanel->getNetConfigWorkplaceID());
    EXPECT_EQ("main-a", m_pPanel->getNetConfigDriverID());

    // Test mode names every driver "moduleTest" and never asks the lookup.
    EXPECT_TRUE(m_pPanel->readWorkplaceConfig("wp.xml", true));
    EXPECT_EQ("moduleTest", m_pManager->getPDLName(3));
    EXPECT_EQ("moduleTest", m_pManager->getPDLName(0));
    EXPECT_EQ(2, m_driverInfo.m_lookups);

    // A later workplace's fault leaves the ones read before it set.
    writeFile("bad.xml", std::string(s_head) +
                             "<workplaces><workplace id=\"6\"><mainframeDriver driverID=\"d\" driverType=\"Late\"/>"
                             "</workplace><workplace id=\"9\"/></workplaces>");
    EXPECT_FALSE(m_pPanel->readWorkplaceConfig("bad.xml", false));
    EXPECT_EQ("pdl_Late", m_pManager->getPDLName(6));
}

// The search order that the name takes part in is covered by the pdl-search-order scenario.
TEST_F(CoreWorkplaceTest, PDLNameChangesGoBackToTheConfiguredName)
{
    writeFile("wp.xml", std::string(s_head) +
                            "<workplaces><workplace id=\"1\"><mainframeDriver driverID=\"d\" driverType=\"Vision\"/>"
                            "</workplace></workplaces>");
    ASSERT_TRUE(m_pPanel->readWorkplaceConfig("wp.xml", false));
    struct Case
    {
        int m_workplace;
        char const* m_change;
        char const* m_name; // of workplace 1 afterwards
    };
    // An empty name restores the configured one; workplace 8 does not exist and changes nothing.
    Case const cases[] = {{1, "other", "other"}, {1, "", "pdl_Vision"}, {8, "x", "pdl_Vision"}, {-1, "x", "pdl_Vision"}};
    for (Case const& c : cases)
    {
        m_pManager->changePDLFilename(c.m_workplace, c.m_change);
        EXPECT_EQ(c.m_name, m_pManager->getPDLName(1)) << c.m_workplace << " " << c.m_change;
    }
}
