#include "udppeer.h"

#include <simlink/scprotocol.h>
#include <simlink/simline.h>

#include <basekit/uniqueids.h>
#include <interfaces/ipanelevent.h>

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

namespace
{
// Records the events the link hands in, as "id NAME VALUE [transient]".
class RecordingEvents : public IPanelEvent
{
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    void updateModuleStatus(UniqueModuleID const&, int, int, std::string const&, std::string const&) override {}
    void sendEvent(UniqueWidgetID const& id, std::string const& name) override { sendEvent(id, name, 0, false); }
    void sendEvent(UniqueWidgetID const& id, std::string const& name, int value, bool transient) override
    {
        std::lock_guard<std::mutex> guard(m_lock);
        m_events.push_back(id.toString() + " " + name + " " + std::to_string(value) + (transient ? " transient" : ""));
        m_changed.notify_all();
    }
    // Waits up to 3 s until count events have arrived; what arrived by then.
    std::vector<std::string> waitFor(size_t count)
    {
        std::unique_lock<std::mutex> lock(m_lock);
        m_changed.wait_for(lock, std::chrono::seconds(3), [&] { return m_events.size() >= count; });
        return m_events;
    }

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::vector<std::string> m_events;
};

} // namespace

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

TEST(SimLinkProtocol, WritesGoOutAsLinesAndEventLinesComeBack)
{
    UdpPeer simulator;
    ASSERT_TRUE(simulator.isOpen());
    RecordingEvents events;
    SCProtocol link(&events, true);
    // Nothing is sent before an address is set, and a bad address sets none.
    EXPECT_FALSE(link.setAttributeBool(UniqueWidgetID(0, 0, 1, 1), "LAMP", true));
    for (char const* pAddress : {"127.0.0.1:0", "127.0.0.1:70000", "127.0.0.1:x", ":5000"})
        EXPECT_FALSE(link.setDstIpAddress(pAddress)) << pAddress;
    ASSERT_TRUE(link.setDstIpAddress(simulator.address().c_str()));
    EXPECT_EQ("HELLO 1", simulator.receive());

    UniqueWidgetID const id(0, 1, 2, 3);
    link.setAttributeBool(id, "LAMP", true);
    link.setAttributeNumeric(id, "LEVEL", -12);
    link.setAttributeText(id, "LABEL", "CAM \"1\"");
    link.trigger(id, "FLASH", "");
    link.setAllAttributesToDefault(id);
    link.sendModuleStatus(UniqueModuleID(0, 1, 2), "LampRow4", "1");
    link.sendModuleStatus(UniqueModuleID(0, 1, 2), "", "");
    link.sendWidgetAdded(id);
    for (char const* pLine : {"BOOL 0.1.2.3 LAMP 1", "NUM 0.1.2.3 LEVEL -12", "TEXT 0.1.2.3 LABEL \"CAM \\\"1\\\"\"",
                              "TRIGGER 0.1.2.3 FLASH \"\"", "DEFAULT 0.1.2.3", "MODULE 0.1.2 LampRow4 1",
                              "UNPLUG 0.1.2", "WIDGET 0.1.2.3"})
    {
        EXPECT_EQ(pLine, simulator.receive());
    }
    EXPECT_EQ(9u, link.getSentCount());
    // Without an IPanelFeedback behind it the link knows no attributes.
    bool flag = false;
    EXPECT_FALSE(link.getAttributeBool(id, "LAMP", flag));

    // Bad datagrams are counted and dropped; the good ones around them arrive in order.
    for (std::string const& datagram :
         {std::string("PRESS 0.1.1.2"), std::string("BOGUS"), std::string("PRESS 9.9.9.9"), std::string(),
          std::string("\xff\xfe\x00", 3), std::string("MOVE 0.1.3.1 12")})
    {
        ASSERT_TRUE(simulator.reply(datagram));
    }
    EXPECT_EQ((std::vector<std::string>{"0.1.1.2 DOWN 0", "0.1.3.1 MOVE 12"}), events.waitFor(2));
    EXPECT_EQ(4u, link.getBadDatagramCount());
    EXPECT_EQ(2u, link.getEventCount());

    // Once the core's event entry is taken away, presses are dropped too.
    link.setPanelEventInterface(nullptr);
    ASSERT_TRUE(simulator.reply("PRESS 0.1.1.2"));
    for (int i = 0; i < 300 && link.getBadDatagramCount() < 5; ++i)
        usleep(10000);
    EXPECT_EQ(5u, link.getBadDatagramCount());
    EXPECT_EQ(2u, events.waitFor(2).size());
}
