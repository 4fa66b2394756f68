// The simulator link's line format, both ways, and its answer to a late simulator; the link itself runs
// end to end in simwatch_demo and the panel view's browser test.

#include "udppeer.h"

#include <simlink/scprotocol.h>
#include <simlink/simline.h>

#include <basekit/uniqueids.h>
#include <interfaces/ipanelevent.h>

#include <gtest/gtest.h>

#include <string>
#include <unistd.h>
#include <vector>

TEST(SimLinkLine, FieldsAreQuotedOnlyWhenNeededAndComeBackUnchanged)
{
    struct Case
    {
        std::string m_field;
        std::string m_onLine;
    };
    std::vector<Case> const cases = {
        {"LAMP", "LAMP"},
        {"", "\"\""},
        {"CAM 1", "\"CAM 1\""},
        {"a\"b\\c", "\"a\\\"b\\\\c\""},
        {"one\ntwo\r\tend", "\"one\\ntwo\\r\\tend\""},
        {std::string("\x01\x7f", 2), "\"\\x01\\x7F\""},
        {"Kamera\xc3\xbc", "Kamera\xc3\xbc"},
    };
    for (Case const& c : cases)
    {
        EXPECT_EQ(c.m_onLine, simlink::quote(c.m_field));
        std::vector<std::string> fields;
        std::string error;
        ASSERT_TRUE(simlink::splitLine(simlink::makeLine("TEXT", {"0.1.2.3", c.m_field}) + "\r\n", fields, error))
            << error;
        EXPECT_EQ((std::vector<std::string>{"TEXT", "0.1.2.3", c.m_field}), fields);
    }
    for (char const* pBad : {"", "  ", "TEXT \"open", "TEXT \"a\"b", "TEXT \"\\q\"", "TEXT \"\\x4\"", "TEXT a\x01",
                             "TEXT a\"b", "TEXT \"a\nb\""})
    {
        std::vector<std::string> fields;
        std::string error;
        EXPECT_FALSE(simlink::splitLine(pBad, fields, error)) << pBad;
        EXPECT_FALSE(error.empty()) << pBad;
    }
}

TEST(SimLinkLine, EventLinesBecomeHardwareEvents)
{
    struct Case
    {
        char const* m_line;
        char const* m_event; // "id NAME VALUE [transient]", or null for a line that is refused
    };
    std::vector<Case> const cases = {
        {"PRESS 0.1.1.2", "0.1.1.2 DOWN 0"},
        {"RELEASE 7.31.255.65535\n", "7.31.255.65535 UP 0"},
        {"MOVE 0.1.3.1 -5", "0.1.3.1 MOVE -5"},
        {"EVENT 0.1.1.1 DPOP", "0.1.1.1 DPOP 0"},
        {"EVENT 0.1.1.1 \"MY EVENT\" 3 transient", "0.1.1.1 MY EVENT 3 transient"},
        {"PRESS 8.0.0.1", nullptr},
        {"PRESS 0.32.0.1", nullptr},
        {"PRESS 0.1.1", nullptr},
        {"PRESS 0.1.1.02", nullptr},
        {"PRESS 0.1.1.2 extra", nullptr},
        {"MOVE 0.1.3.1", nullptr},
        {"MOVE 0.1.3.1 x", nullptr},
        {"MOVE 0.1.3.1 99999999999", nullptr},
        {"EVENT 0.1.1.1 X 1 later", nullptr},
        {"EVENT 0.1.1.1 \"\"", nullptr},
        {"press 0.1.1.1", nullptr},
        {"HELLO 1", nullptr},
        {"SYNC", nullptr},
    };
    for (Case const& c : cases)
    {
        simlink::SimEvent event;
        std::string error;
        bool const parsed = simlink::parseEventLine(c.m_line, event, error);
        ASSERT_EQ(c.m_event != nullptr, parsed) << c.m_line << ": " << error;
        if (parsed)
        {
            EXPECT_EQ(c.m_event, event.m_id.toString() + " " + event.m_name + " " + std::to_string(event.m_value) +
                                     (event.m_transient ? " transient" : ""));
        }
    }
}

namespace
{
// The link's event receiver when no event is expected: the link counts what it hands in.
class NoEvents : public IPanelEvent
{
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    void updateModuleStatus(UniqueModuleID const&, int, int, std::string const&, std::string const&) override {}
    void sendEvent(UniqueWidgetID const&, std::string const&) override {}
    void sendEvent(UniqueWidgetID const&, std::string const&, int, bool) override {}
};
} // namespace

// A simulator that comes up late asks for the panel with SYNC and gets what it missed, as it stands now;
// a link that has nothing to say sends ALIVE.
TEST(SimLinkProtocol, SyncSendsThePanelAsItStandsAndSilenceSendsAlive)
{
    UdpPeer simulator;
    ASSERT_TRUE(simulator.isOpen());
    NoEvents events;
    SCProtocol link(&events, true, 100);
    ASSERT_TRUE(link.setDstIpAddress(simulator.address().c_str()));
    UniqueWidgetID const button(0, 1, 2, 1);
    UniqueWidgetID const fader(0, 1, 3, 1);
    UniqueWidgetID const gone(0, 1, 4, 7);
    link.sendModuleStatus(UniqueModuleID(0, 1, 3), "Fader1", "");
    link.sendModuleStatus(UniqueModuleID(0, 1, 2), "LampRow4", "1");
    link.sendModuleStatus(UniqueModuleID(0, 1, 4), "Display2", "");
    for (UniqueWidgetID const& id : {fader, button, gone})
    {
        link.sendWidgetAdded(id);
        link.setAllAttributesToDefault(id);
    }
    link.setAttributeBool(button, "LAMP", true);
    link.setAttributeText(button, "LABEL", "CAM 1");
    link.setAttributeBool(button, "LAMP", false); // the latest value counts
    link.trigger(button, "FLASH", "3");           // a trigger is no state
    link.setAttributeNumeric(fader, "POSITION", 40);
    link.setAllAttributesToDefault(fader); // a reset forgets the writes before it
    link.setAttributeBool(fader, "MOTOR", true);
    link.setAttributeText(gone, "TEXT", "x");
    link.sendModuleStatus(UniqueModuleID(0, 1, 4), "", ""); // its widgets go with it
    std::string line;
    while (line != "UNPLUG 0.1.4" && line != "<timeout>")
        line = simulator.receive();
    ASSERT_EQ("UNPLUG 0.1.4", line);

    ASSERT_TRUE(simulator.reply("SYNC\n"));
    for (char const* pLine :
         {"HELLO 1", "MODULE 0.1.2 LampRow4 1", "MODULE 0.1.3 Fader1 \"\"", "WIDGET 0.1.2.1", "DEFAULT 0.1.2.1",
          "TEXT 0.1.2.1 LABEL \"CAM 1\"", "BOOL 0.1.2.1 LAMP 0", "WIDGET 0.1.3.1", "DEFAULT 0.1.3.1",
          "BOOL 0.1.3.1 MOTOR 1"})
    {
        EXPECT_EQ(pLine, simulator.receive());
    }
    // Nothing else was sent: the next line is the beat of a silent link.
    EXPECT_EQ("ALIVE", simulator.receive(3000, true));
    EXPECT_EQ(0u, link.getBadDatagramCount());
    // SYNC with anything after it is no request, and no event either.
    ASSERT_TRUE(simulator.reply("SYNC now"));
    for (int i = 0; i < 300 && link.getBadDatagramCount() == 0; ++i)
        usleep(10000);
    EXPECT_EQ(1u, link.getBadDatagramCount());
    EXPECT_EQ(0u, link.getEventCount());
}
