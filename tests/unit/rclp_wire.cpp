#include "rclp/irclpserver.h"
#include "rclp/rclpwire.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{
std::string paramsText(ParameterList const& params)
{
    std::string text;
    std::string name;
    std::string value;
    for (unsigned int i = 0; params.getParam(i, name, value); ++i)
    {
        text += "[" + name + "=" + value + "]";
    }
    return text;
}

// Records what dispatch hands on, as a line of text.
class RecordingServer : public IRCLPServer, public IRCLPStateWriter
{
public:
    void subscribe(std::string const& fid) override { m_calls.push_back("subscribe " + fid); }
    void unsubscribe(std::string const& fid) override { m_calls.push_back("unsubscribe " + fid); }
    void call(std::string const& fid, ParameterList& params) override { m_calls.push_back("call " + fid + paramsText(params)); }
    void connStatus(EConnStatus) override {}
    void setState(std::string const& fid, ParameterValue const& value) override
    {
        m_calls.push_back("set " + fid + "=" + value.getText());
    }
    void triggerState(std::string const& fid, ParameterValue const& value) override
    {
        m_calls.push_back("trigger " + fid + "=" + value.getText());
    }
    std::vector<std::string> m_calls;
};
} // namespace

TEST(RCLPWireTest, ClientLinesAreDecodedOrAnsweredWithAReason)
{
    struct Case
    {
        char const* m_line;
        RCLPMessage::EOp m_op; // eOpNone: refused
        char const* m_fid;
        char const* m_value;  // the value, or the error text when refused
        char const* m_params;
    };
    Case const cases[] = {
        {R"({"op":"subscribe","fid":"A.[N:1-3]"})", RCLPMessage::eOpSubscribe, "A.[N:1-3]", "", ""},
        {R"({"fid":"A.B","op":"unsubscribe","extra":1})", RCLPMessage::eOpUnsubscribe, "A.B", "", ""},
        {R"({"op":"call","fid":"F","params":[["a","1"],["b",""]]})", RCLPMessage::eOpCall, "F", "", "[a=1][b=]"},
        {R"({"op":"call","fid":"F"})", RCLPMessage::eOpCall, "F", "", ""},
        {R"({"op":"set","fid":"S","value":"x y"})", RCLPMessage::eOpSet, "S", "x y", ""},
        {R"({"op":"trigger","fid":"T"})", RCLPMessage::eOpTrigger, "T", "", ""},
        {R"({"op":"set","fid":"S","value":"\u00e9"})", RCLPMessage::eOpSet, "S", "\xc3\xa9", ""},
        {"[1,2]", RCLPMessage::eOpNone, "", "a message must be a JSON object", ""},
        {R"({"fid":"A"})", RCLPMessage::eOpNone, "", "missing \"op\"", ""},
        {R"({"op":7,"fid":"A"})", RCLPMessage::eOpNone, "", "\"op\" must be a text", ""},
        {R"({"op":"update","fid":"A","value":"1"})", RCLPMessage::eOpNone, "", "unknown op \"update\"", ""},
        {R"({"op":"subscribe"})", RCLPMessage::eOpNone, "", "missing \"fid\"", ""},
        {R"({"op":"subscribe","fid":""})", RCLPMessage::eOpNone, "", "\"fid\" must not be empty", ""},
        {R"({"op":"subscribe","fid":["A"]})", RCLPMessage::eOpNone, "", "\"fid\" must be a text", ""},
        {R"({"op":"set","fid":"S"})", RCLPMessage::eOpNone, "", "missing \"value\"", ""},
        {R"({"op":"set","fid":"S","value":5})", RCLPMessage::eOpNone, "", "\"value\" must be a text", ""},
        {R"({"op":"call","fid":"F","params":{"a":"1"}})", RCLPMessage::eOpNone, "",
         "\"params\" must be a list of [NAME,VALUE] pairs", ""},
        {R"({"op":"call","fid":"F","params":[["a"]]})", RCLPMessage::eOpNone, "",
         "\"params\" must be a list of [NAME,VALUE] pairs of texts", ""},
        {R"({"op":"call","fid":"F","params":[["a",1]]})", RCLPMessage::eOpNone, "",
         "\"params\" must be a list of [NAME,VALUE] pairs of texts", ""},
    };
    for (Case const& c : cases)
    {
        SCOPED_TRACE(c.m_line);
        RCLPMessage message;
        std::string error;
        bool ok = RCLPWire::parseClientLine(c.m_line, message, error);
        ASSERT_EQ(c.m_op != RCLPMessage::eOpNone, ok) << error;
        if (ok)
        {
            EXPECT_EQ(c.m_op, message.m_op);
            EXPECT_EQ(c.m_fid, message.m_fid);
            EXPECT_EQ(c.m_value, message.m_value);
            EXPECT_EQ(c.m_params, paramsText(message.m_params));
        }
        else
        {
            EXPECT_EQ(c.m_value, error);
        }
    }

    // Broken JSON and bad UTF-8 are refused with the parser's reason.
    for (std::string line : {std::string("{\"op\":"), std::string("not json"),
                             std::string("{\"op\":\"set\",\"fid\":\"\xff\",\"value\":\"\"}")})
    {
        RCLPMessage message;
        std::string error;
        EXPECT_FALSE(RCLPWire::parseClientLine(line, message, error));
        EXPECT_EQ(0u, error.find("invalid JSON: ")) << error;
        EXPECT_EQ(std::string::npos, error.find("[json.exception")) << error;
    }
}

TEST(RCLPWireTest, DispatchHandsRequestsOnOrAnswersWhyNot)
{
    struct Case
    {
        char const* m_line;
        char const* m_result; // the call the server saw, or the error answer
    };
    Case const cases[] = {
        {R"({"op":"subscribe","fid":"A.[N:1-3]"})", "subscribe A.[N:1-3]"},
        {R"({"op":"unsubscribe","fid":"A.B"})", "unsubscribe A.B"},
        {R"({"op":"call","fid":"F","params":[["a","1"]]})", "call F[a=1]"},
        {R"({"op":"set","fid":"S","value":"v"})", "set S=v"},
        {R"({"op":"trigger","fid":"T","value":"p"})", "trigger T=p"},
        {R"({"op":"subscribe","fid":"A.[N:3-1]"})",
         "malformed pattern \"A.[N:3-1]\": malformed parameter element 1 \"[N:3-1]\": range start above its end"},
        {R"({"op":"unsubscribe","fid":"A.[N:x]"})",
         "malformed pattern \"A.[N:x]\": malformed parameter element 1 \"[N:x]\": expected '*', an unsigned "
         "decimal number or a range \"a-b\""},
        {R"({"op":"set","fid":"A.[N:*]","value":"1"})", "a pattern names no single entry: \"A.[N:*]\""},
        {R"({"op":"trigger","fid":"[N:*].B"})", "a pattern names no single entry: \"[N:*].B\""},
    };
    for (Case const& c : cases)
    {
        RCLPMessage message;
        std::string error;
        ASSERT_TRUE(RCLPWire::parseClientLine(c.m_line, message, error)) << error;
        RecordingServer server;
        std::string const answer = RCLPWire::dispatch(message, server);
        EXPECT_EQ(c.m_result, answer.empty() && server.m_calls.size() == 1 ? server.m_calls[0] : answer) << c.m_line;
    }
}

TEST(RCLPWireTest, ServerLinesAreFormattedAndReadBack)
{
    EXPECT_EQ("{\"op\":\"update\",\"fid\":\"A.B\",\"value\":\"say \\\"hi\\\"\\n\"}\n",
              RCLPWire::formatUpdate("A.B", "say \"hi\"\n"));
    EXPECT_EQ("{\"op\":\"trigger\",\"fid\":\"T\",\"value\":\"\"}\n", RCLPWire::formatTrigger("T", ""));
    EXPECT_EQ("{\"op\":\"error\",\"message\":\"no\"}\n", RCLPWire::formatError("no"));
    // A lone high byte (a degree sign of the panel's own 8-bit texts) is no UTF-8: it is replaced.
    EXPECT_EQ("{\"op\":\"update\",\"fid\":\"D\",\"value\":\"90\xef\xbf\xbd\"}\n", RCLPWire::formatUpdate("D", "90\xb0"));

    // The client's requests read back as what they ask for.
    ParameterList params;
    params.add("n", "1");
    params.add("m", "a,b");
    std::string error;
    RCLPMessage message;
    std::string requests;
    for (std::string const& line : {RCLPWire::formatSubscribe("X.[N:*]"), RCLPWire::formatUnsubscribe("X"),
                                    RCLPWire::formatSet("S", "v"), RCLPWire::formatTriggerRequest("T", "p"),
                                    RCLPWire::formatCall("F", params)})
    {
        ASSERT_TRUE(RCLPWire::parseClientLine(line, message, error)) << error;
        requests += std::to_string(message.m_op) + " " + message.m_fid + " " + message.m_value + paramsText(message.m_params) + "|";
    }
    EXPECT_EQ(std::to_string(RCLPMessage::eOpSubscribe) + " X.[N:*] |" + std::to_string(RCLPMessage::eOpUnsubscribe) +
                  " X |" + std::to_string(RCLPMessage::eOpSet) + " S v|" + std::to_string(RCLPMessage::eOpTrigger) +
                  " T p|" + std::to_string(RCLPMessage::eOpCall) + " F [n=1][m=a,b]|",
              requests);

    ASSERT_TRUE(RCLPWire::parseServerLine("{\"op\":\"error\",\"message\":\"bad\"}", message, error));
    EXPECT_EQ(RCLPMessage::eOpError, message.m_op);
    EXPECT_EQ("bad", message.m_value);
    ASSERT_TRUE(RCLPWire::parseServerLine(RCLPWire::formatTrigger("T", "p"), message, error));
    EXPECT_EQ(RCLPMessage::eOpTrigger, message.m_op);
    EXPECT_FALSE(RCLPWire::parseServerLine("{\"op\":\"update\",\"fid\":\"A\"}", message, error));
    EXPECT_EQ("missing \"value\"", error);
}

TEST(RCLPWireTest, LineReaderCutsLinesAndStopsAtTheLimit)
{
    std::vector<std::string> lines;
    auto collect = [&lines](std::string const& line) { lines.push_back(line); };

    // Lines split anywhere, CR LF endings, empty lines.
    RCLPLineReader reader(8);
    std::string stream = "ab\r\n\ncdefgh\nxy";
    for (char c : stream)
    {
        ASSERT_TRUE(reader.feed(&c, 1, collect));
    }
    EXPECT_EQ((std::vector<std::string>{"ab", "", "cdefgh"}), lines);
    EXPECT_EQ(2u, reader.getPending());

    // Exactly the limit passes, with or without a carriage return; one byte more does not.
    lines.clear();
    RCLPLineReader exact(8);
    EXPECT_TRUE(exact.feed("12345678\n12345678\r\n", 20, collect));
    EXPECT_EQ((std::vector<std::string>{"12345678", "12345678"}), lines);
    struct Case
    {
        std::string m_bytes;
        size_t m_linesBefore;
    };
    for (Case const& c : {Case{"123456789\n", 0}, Case{"ok\n1234567890", 1}, Case{"12345678x\r\n", 0}})
    {
        lines.clear();
        RCLPLineReader limited(8);
        EXPECT_FALSE(limited.feed(c.m_bytes.data(), c.m_bytes.size(), collect)) << c.m_bytes;
        EXPECT_TRUE(limited.hasOverflowed());
        EXPECT_EQ(c.m_linesBefore, lines.size());
        // Nothing more is taken once over the limit.
        EXPECT_FALSE(limited.feed("a\n", 2, collect));
        EXPECT_EQ(c.m_linesBefore, lines.size());
    }

    // The default limit is 64 KiB.
    lines.clear();
    RCLPLineReader standard;
    std::string big(RCLPWire::s_maxLineLength, 'x');
    EXPECT_TRUE(standard.feed((big + "\n").data(), big.size() + 1, collect));
    EXPECT_FALSE(standard.feed((big + "xy").data(), big.size() + 2, collect));
}
