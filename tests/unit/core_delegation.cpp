// The delegation type file and the catalogue of device definitions in the panel state.

#include "core_fixture.h"

#include "pdlbaseclasses.h"
#include "pdlpanelstate.h"
#include "virtualpanel.h"

#include <memory>

namespace
{
class CoreDelegationTest : public CoreTest
{
protected:
    void SetUp() override
    {
        CoreTest::SetUp();
        installDriver();
        m_pPanel.reset(new VirtualPanel);
        ASSERT_TRUE(m_pPanel->create(VirtualPanel::eModeHardware, ""));
        m_pState = PDLPanelState::getInstance();
    }

    void TearDown() override
    {
        m_pPanel->releaseMutex();
        m_pPanel.reset();
        CoreTest::TearDown();
    }

    // Writes the file and reads it; the log holds only what this read wrote.
    bool read(std::string const& xml)
    {
        writeFile("config/DelegationTypes.xml", xml);
        m_log.str("");
        return m_pPanel->parseDelegationTypeFile(rtk::Path("config/DelegationTypes.xml"));
    }

    static std::string parseError(int line)
    {
        return "[Startup] ERROR Parse error in \"config/DelegationTypes.xml\" line " + std::to_string(line) +
               "\n";
    }

    static PDLDelegationType* makeType(std::string const& name, int slots,
                                       std::vector<PDLDelegationType*> const& children = {})
    {
        PDLDelegationType* pType = new PDLDelegationType;
        pType->m_name = name;
        pType->m_slots = slots;
        pType->m_children.assign(children.begin(), children.end());
        return pType;
    }

    std::unique_ptr<VirtualPanel> m_pPanel;
    PDLPanelState* m_pState = nullptr;
};
} // namespace

TEST_F(CoreDelegationTest, ReadsNestedTypesWithDefaults)
{
    uint32_t const errors = PDLParseInfo::m_errorCount;
    EXPECT_TRUE(read("<?xml version=\"1.0\"?>\n"
                     "<!-- device types -->\n"
                     "<delegation_type_description>\n"
                     "  <delegation_type name=\"Switcher\" slots=\"2\" vendor=\"ignored\">\n"
                     "    <delegation_type name=\"ME\" slots=\"3\">\n"
                     "      <keyer name=\"Key\" slots=\"0\">\n"
                     "        <delegation_type name=\"Hidden\"/>\n"
                     "      </keyer>\n"
                     "    </delegation_type>\n"
                     "    <delegation_type name=\"Aux\"/>\n"
                     "  </delegation_type>\n"
                     "  <delegation_type/>\n"
                     "</delegation_type_description>\n"));
    EXPECT_EQ("", logText());
    // Each nested type is met once per slot of its parents: the same object is no conflict.
    EXPECT_EQ(errors, PDLParseInfo::m_errorCount);

    PDLDelegationType* pSwitcher = m_pState->getDelegationType("Switcher");
    ASSERT_NE(nullptr, pSwitcher);
    EXPECT_EQ(2, pSwitcher->m_slots);
    ASSERT_EQ(2u, pSwitcher->m_children.size());
    PDLDelegationType* pME = m_pState->getDelegationType("ME");
    ASSERT_NE(nullptr, pME);
    EXPECT_EQ(pME, pSwitcher->m_children.front());
    EXPECT_EQ(3, pME->m_slots);
    // Any element counts as a type, whatever its name.
    PDLDelegationType* pKey = m_pState->getDelegationType("Key");
    ASSERT_NE(nullptr, pKey);
    EXPECT_EQ(0, pKey->m_slots);
    ASSERT_EQ(1u, pKey->m_children.size());
    EXPECT_EQ("Hidden", pKey->m_children.front()->m_name);
    // Children of a type without slots stay unknown.
    EXPECT_EQ(nullptr, m_pState->getDelegationType("Hidden"));
    ASSERT_NE(nullptr, m_pState->getDelegationType("Aux"));
    EXPECT_EQ(1, m_pState->getDelegationType("Aux")->m_slots);
    // Without attributes: the empty name and one slot.
    PDLDelegationType* pUnnamed = m_pState->getDelegationType("");
    ASSERT_NE(nullptr, pUnnamed);
    EXPECT_EQ(1, pUnnamed->m_slots);
    EXPECT_TRUE(pUnnamed->m_children.empty());
    EXPECT_EQ(nullptr, m_pState->getDelegationType("Nobody"));
    // The catalogue creates no state entries.
    EXPECT_EQ(0u, m_pState->getEntryCount());

    // A root without children is a valid, empty file.
    EXPECT_TRUE(read("<delegation_type_description></delegation_type_description>"));
    EXPECT_EQ("", logText());
}

TEST_F(CoreDelegationTest, BadSlotsEndTheReadButEarlierTypesStay)
{
    EXPECT_FALSE(read("<delegation_type_description>\n"
                      "  <delegation_type name=\"First\"/>\n"
                      "  <delegation_type name=\"Second\">\n"
                      "    <delegation_type name=\"Bad\" slots=\"abc\"/>\n"
                      "  </delegation_type>\n"
                      "  <delegation_type name=\"Third\"/>\n"
                      "</delegation_type_description>\n"));
    // The row is the document's error row, which is 1 after a clean load.
    EXPECT_EQ(parseError(1), logText());
    EXPECT_NE(nullptr, m_pState->getDelegationType("First"));
    EXPECT_EQ(nullptr, m_pState->getDelegationType("Second"));
    EXPECT_EQ(nullptr, m_pState->getDelegationType("Bad"));
    EXPECT_EQ(nullptr, m_pState->getDelegationType("Third"));

    // The same on a top-level type, and init ends with false.
    writeFile("config/DelegationTypes.xml",
              "<delegation_type_description>\n  <delegation_type name=\"X\" slots=\"\"/>\n"
              "</delegation_type_description>\n");
    m_log.str("");
    EXPECT_FALSE(m_pPanel->init(false));
    EXPECT_NE(std::string::npos, logText().find(parseError(1))) << logText();
    EXPECT_EQ(std::string::npos, logText().find("Widget, Module, and Delegation files OK"));
    EXPECT_EQ(nullptr, m_pState->getDelegationType("X"));
}

TEST_F(CoreDelegationTest, OnlyElementsMayStandBetweenAndInsideTypes)
{
    // A comment between top-level types.
    EXPECT_FALSE(read("<delegation_type_description>\n"
                      "  <delegation_type name=\"A\"/>\n"
                      "  <!-- no comments here -->\n"
                      "  <delegation_type name=\"B\"/>\n"
                      "</delegation_type_description>\n"));
    EXPECT_EQ(parseError(3), logText());
    EXPECT_NE(nullptr, m_pState->getDelegationType("A"));
    EXPECT_EQ(nullptr, m_pState->getDelegationType("B"));

    // Text inside a type.
    EXPECT_FALSE(read("<delegation_type_description>\n"
                      "  <delegation_type name=\"C\">\n"
                      "    <delegation_type name=\"D\">\n"
                      "      some text\n"
                      "    </delegation_type>\n"
                      "  </delegation_type>\n"
                      "</delegation_type_description>\n"));
    // The row where the text itself begins.
    EXPECT_EQ(parseError(4), logText());
    EXPECT_EQ(nullptr, m_pState->getDelegationType("C"));
    EXPECT_EQ(nullptr, m_pState->getDelegationType("D"));

    // A comment inside a type.
    EXPECT_FALSE(read("<delegation_type_description>\n"
                      "  <delegation_type name=\"E\">\n"
                      "\n"
                      "    <!-- c -->\n"
                      "  </delegation_type>\n"
                      "</delegation_type_description>\n"));
    EXPECT_EQ(parseError(4), logText());
    EXPECT_EQ(nullptr, m_pState->getDelegationType("E"));

    // Text directly below the root, and an element of another name there.
    EXPECT_FALSE(read("<delegation_type_description>\n  <delegation_type name=\"F\"/>\n  loose\n"
                      "</delegation_type_description>\n"));
    EXPECT_EQ(parseError(3), logText());
    EXPECT_FALSE(read("<delegation_type_description>\n\n\n  <device name=\"G\"/>\n"
                      "</delegation_type_description>\n"));
    EXPECT_EQ(parseError(4), logText());
    EXPECT_EQ(nullptr, m_pState->getDelegationType("G"));
}

TEST_F(CoreDelegationTest, RootAndFileErrors)
{
    // The wrong root element: its row.
    EXPECT_FALSE(read("<?xml version=\"1.0\"?>\n<!-- x -->\n<delegations>\n"
                      "  <delegation_type name=\"A\"/>\n</delegations>\n"));
    EXPECT_EQ(parseError(3), logText());
    EXPECT_EQ(nullptr, m_pState->getDelegationType("A"));

    // No element at all: the row -1, printed one higher.
    EXPECT_FALSE(read("<?xml version=\"1.0\"?>\n<!-- nothing -->\n"));
    EXPECT_EQ(parseError(0), logText());

    // A file that does not load.
    EXPECT_FALSE(read("<delegation_type_description>\n  <delegation_type name=\"A\">\n"));
    EXPECT_EQ("[Startup] ERROR Failed to open \"config/DelegationTypes.xml\"\n", logText());
    m_log.str("");
    EXPECT_FALSE(m_pPanel->parseDelegationTypeFile(rtk::Path("config/missing.xml")));
    EXPECT_EQ("[Startup] ERROR Failed to open \"config/missing.xml\"\n", logText());
}

TEST_F(CoreDelegationTest, DuplicateNamesAreReportedAndSkipped)
{
    uint32_t const errors = PDLParseInfo::m_errorCount;

    // Slot count 3 and one child: the child is met three times without a message.
    PDLDelegationType* pMixer = makeType("Mixer", 3, {makeType("Channel", 1, {makeType("Eq", 2)})});
    m_pState->addDeviceDefinition(pMixer);
    EXPECT_EQ(errors, PDLParseInfo::m_errorCount);
    EXPECT_EQ(std::string::npos, logText().find("already defined"));
    EXPECT_EQ(pMixer, m_pState->getDelegationType("Mixer"));
    EXPECT_EQ(pMixer->m_children.front(), m_pState->getDelegationType("Channel"));
    EXPECT_NE(nullptr, m_pState->getDelegationType("Eq"));

    // A top-level name used by a nested type before: not taken over, so the caller still owns it.
    PDLDelegationType* pChannel = makeType("Channel", 1, {makeType("Lost", 1)});
    m_log.str("");
    m_pState->addDeviceDefinition(pChannel);
    EXPECT_EQ(errors + 1, PDLParseInfo::m_errorCount);
    EXPECT_NE(std::string::npos,
              logText().find("ERROR:\nDevice type Channel is already defined (see DelegationTypes.xml)\n"))
        << logText();
    EXPECT_EQ(pMixer->m_children.front(), m_pState->getDelegationType("Channel"));
    EXPECT_EQ(nullptr, m_pState->getDelegationType("Lost"));
    delete pChannel;

    // A nested name used by a different object: that child is skipped, its siblings register.
    PDLDelegationType* pRouter = makeType("Router", 1, {makeType("Eq", 1), makeType("Port", 1)});
    m_log.str("");
    m_pState->addDeviceDefinition(pRouter);
    EXPECT_EQ(errors + 2, PDLParseInfo::m_errorCount);
    EXPECT_NE(std::string::npos,
              logText().find("ERROR:\nDelegation Eq is already defined (see DelegationTypes.xml)\n"))
        << logText();
    EXPECT_EQ(std::string::npos, logText().find("Device type"));
    EXPECT_EQ(pRouter, m_pState->getDelegationType("Router"));
    EXPECT_NE(pRouter->m_children.front(), m_pState->getDelegationType("Eq"));
    EXPECT_EQ(pRouter->m_children.back(), m_pState->getDelegationType("Port"));

    // Slot count 0: the type registers, its children do not.
    PDLDelegationType* pEmpty = makeType("Empty", 0, {makeType("Inner", 1)});
    m_pState->addDeviceDefinition(pEmpty);
    EXPECT_EQ(pEmpty, m_pState->getDelegationType("Empty"));
    EXPECT_EQ(nullptr, m_pState->getDelegationType("Inner"));
    EXPECT_EQ(errors + 2, PDLParseInfo::m_errorCount);

    // A null definition is a failed check, reported under the parameter's name.
    m_log.str("");
    m_pState->addDeviceDefinition(nullptr);
    EXPECT_EQ(errors + 3, PDLParseInfo::m_errorCount);
    EXPECT_NE(std::string::npos, logText().find("FATAL:\npDeviceDefinition\n")) << logText();

    // The catalogue is no part of the store's entries.
    EXPECT_EQ(0u, m_pState->getEntryCount());
}
