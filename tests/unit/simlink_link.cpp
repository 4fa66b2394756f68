// The simulator link's line format, both ways; the link itself runs end to end in simwatch_demo.

#include <simlink/simline.h>

#include <basekit/uniqueids.h>

#include <gtest/gtest.h>

#include <string>
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
