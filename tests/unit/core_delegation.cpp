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
    static PDLDelegationType* makeType(std::string const& name, int slots,
                                       std::vector<PDLDelegationType*> const& children = {})
    {
        PDLDelegationType* pType = new PDLDelegationType;
        pType->m_name = name;
        pType->m_slots = slots;
        pType->m_children.assign(children.begin(), children.end());
        return pType;
    }
    // "name:slots(children...)" of a known type, or "-".
    std::string show(std::string const& name) const
    {
        PDLDelegationType const* pType = m_pState->getDelegationType(name);
        if (pType == nullptr)
            return "-";
        std::string text = pType->m_name + ":" + std::to_string(pType->m_slots) + "(";
        for (PDLDelegationType const* pChild : pType->m_children)
            text += pChild->m_name + (pChild == pType->m_children.back() ? "" : ",");
        return text + ")";
    }

    std::unique_ptr<VirtualPanel> m_pPanel;
    PDLPanelState* m_pState = nullptr;
};
} // namespace

TEST_F(CoreDelegationTest, ReadsNestedTypesWithDefaults)
{
    uint32_t const errors = PDLParseInfo::m_errorCount;
    EXPECT_TRUE(read("<?xml version=\"1.0\"?>\n<!-- device types -->\n<delegation_type_description>\n"
                     "  <delegation_type name=\"Switcher\" slots=\"2\" vendor=\"ignored\">\n"
                     "    <delegation_type name=\"ME\" slots=\"3\">\n"
                     "      <keyer name=\"Key\" slots=\"0\">\n        <delegation_type name=\"Hidden\"/>\n"
                     "      </keyer>\n    </delegation_type>\n    <delegation_type name=\"Aux\"/>\n"
                     "  </delegation_type>\n  <delegation_type/>\n</delegation_type_description>\n"));
    EXPECT_EQ("", logText());
    // Each nested type is met once per slot of its parents: the same object is no conflict. Any
    // element counts as a type; children of a type without slots stay unknown; without attributes a
    // type has the empty name and one slot.
    EXPECT_EQ(errors, PDLParseInfo::m_errorCount);
    EXPECT_EQ("Switcher:2(ME,Aux) ME:3(Key) Key:0(Hidden) - Aux:1() :1()",
              show("Switcher") + " " + show("ME") + " " + show("Key") + " " + show("Hidden") + " " + show("Aux") +
                  " " + show(""));
    EXPECT_EQ(0u, m_pState->getEntryCount()); // the catalogue creates no state entries
    EXPECT_TRUE(read("<delegation_type_description></delegation_type_description>"));
    EXPECT_EQ("", logText());
}

TEST_F(CoreDelegationTest, EachFaultLogsOneLineAndEndsTheRead)
{
    // "@" stands for the case's number, so that the types a case keeps do not meet the next case.
    struct Case
    {
        std::string m_xml;
        char const* m_message;
        char const* m_kept; // a type read before the fault, which stays, or ""
        char const* m_lost; // a type in or after the fault, which is not read, or ""
    };
    std::string const head = "<delegation_type_description>\n  <delegation_type name=\"First@\"/>\n";
    std::string const tail = "</delegation_type_description>\n";
    Case const cases[] = {
        // A bad slot count reports the document's error row, which is 1 after a clean load.
        {head + "  <delegation_type name=\"Bad@\">\n    <delegation_type slots=\"abc\"/>\n  </delegation_type>\n" + tail,
         "Parse error in \"config/DelegationTypes.xml\" line 1", "First@", "Bad@"},
        {head + "  <!-- no comments here -->\n  <delegation_type name=\"B@\"/>\n" + tail,
         "Parse error in \"config/DelegationTypes.xml\" line 3", "First@", "B@"},
        {head + "  <delegation_type name=\"C@\">\n    some text\n  </delegation_type>\n" + tail,
         "Parse error in \"config/DelegationTypes.xml\" line 4", "First@", "C@"},
        {head + "  <delegation_type name=\"E@\">\n\n    <!-- c -->\n  </delegation_type>\n" + tail,
         "Parse error in \"config/DelegationTypes.xml\" line 5", "First@", "E@"},
        {head + "  loose\n" + tail, "Parse error in \"config/DelegationTypes.xml\" line 3", "First@", ""},
        {head + "\n  <device name=\"G@\"/>\n" + tail, "Parse error in \"config/DelegationTypes.xml\" line 4", "First@", "G@"},
        {"<?xml version=\"1.0\"?>\n<!-- x -->\n<delegations>\n  <delegation_type name=\"A@\"/>\n</delegations>\n",
         "Parse error in \"config/DelegationTypes.xml\" line 3", "", "A@"},
        // No element at all: the row -1, printed one higher.
        {"<?xml version=\"1.0\"?>\n<!-- nothing -->\n", "Parse error in \"config/DelegationTypes.xml\" line 0", "", ""},
        {"<delegation_type_description>\n  <delegation_type name=\"A@\">\n", "Failed to open \"config/DelegationTypes.xml\"",
         "", "A@"},
    };
    for (size_t i = 0; i < sizeof(cases) / sizeof(cases[0]); ++i)
    {
        auto number = [i](std::string text)
        {
            for (size_t at = text.find('@'); at != std::string::npos; at = text.find('@'))
                text.replace(at, 1, std::to_string(i));
            return text;
        };
        SCOPED_TRACE(cases[i].m_xml);
        EXPECT_FALSE(read(number(cases[i].m_xml)));
        EXPECT_EQ(std::string("[Startup] ERROR ") + cases[i].m_message + "\n", logText());
        if (*cases[i].m_kept != '\0')
        {
            EXPECT_NE("-", show(number(cases[i].m_kept)));
        }
        if (*cases[i].m_lost != '\0')
        {
            EXPECT_EQ("-", show(number(cases[i].m_lost)));
        }
    }
    // The reader's failure ends init with false.
    m_log.str("");
    EXPECT_FALSE(m_pPanel->init(false));
    EXPECT_EQ(std::string::npos, logText().find("Widget, Module, and Delegation files OK"));
}

TEST_F(CoreDelegationTest, DuplicateNamesAreReportedAndSkipped)
{
    uint32_t const errors = PDLParseInfo::m_errorCount;
    // Slot count 3 and one child: the child is met three times without a message.
    PDLDelegationType* pMixer = makeType("Mixer", 3, {makeType("Channel", 1, {makeType("Eq", 2)})});
    m_pState->addDeviceDefinition(pMixer);
    EXPECT_EQ(errors, PDLParseInfo::m_errorCount);
    EXPECT_EQ("Mixer:3(Channel) Channel:1(Eq) Eq:2()", show("Mixer") + " " + show("Channel") + " " + show("Eq"));

    // A top-level name used by a nested type before: not taken over, so the caller still owns it.
    PDLDelegationType* pChannel = makeType("Channel", 1, {makeType("Lost", 1)});
    m_pState->addDeviceDefinition(pChannel);
    EXPECT_NE(std::string::npos, logText().find("ERROR:\nDevice type Channel is already defined (see DelegationTypes.xml)\n"))
        << logText();
    EXPECT_EQ(pMixer->m_children.front(), m_pState->getDelegationType("Channel"));
    EXPECT_EQ("-", show("Lost"));
    delete pChannel;

    // A nested name used by a different object: that child is skipped, its siblings register.
    m_log.str("");
    PDLDelegationType* pRouter = makeType("Router", 1, {makeType("Eq", 1), makeType("Port", 1)});
    m_pState->addDeviceDefinition(pRouter);
    EXPECT_NE(std::string::npos, logText().find("ERROR:\nDelegation Eq is already defined (see DelegationTypes.xml)\n"))
        << logText();
    EXPECT_EQ(std::string::npos, logText().find("Device type"));
    EXPECT_NE(pRouter->m_children.front(), m_pState->getDelegationType("Eq"));
    EXPECT_EQ(pRouter->m_children.back(), m_pState->getDelegationType("Port"));
    EXPECT_EQ(errors + 2, PDLParseInfo::m_errorCount);
    // A null definition is a failed check, reported under the parameter's name.
    m_pState->addDeviceDefinition(nullptr);
    EXPECT_EQ(errors + 3, PDLParseInfo::m_errorCount);
    EXPECT_NE(std::string::npos, logText().find("FATAL:\npDeviceDefinition\n")) << logText();
}
