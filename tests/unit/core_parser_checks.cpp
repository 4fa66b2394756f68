// The context checks: which statements each kind of block allows, the message of each refusal at the
// line of the token after the statement, and the balance of the saved block words.

#include "core_parser_fixture.h"

namespace parsertest
{
namespace
{
// One guarded statement of each kind, with the message its refusal gives; the last one is never refused.
struct Statement
{
    char const* pText;
    char const* pMessage;
};

enum EStatement
{
    eCall,
    eEvent,
    eConnect,
    eSet,
    eTrigger,
    eFunctionCall,
    eGoto,
    eForeignConnect,
    eForeignSet,
    eForeignTrigger,
    eExit,
    ePlain,
    eStatementCount
};

Statement const s_statements[eStatementCount] = {
    {"call a.b(x = 1)", "call not allowed in this context"},
    {"event (e) end event", "event not allowed in this context"},
    {"connect(attr) a.b", "connect not allowed in this context"},
    {"set(attr) 1", "set not allowed in this context"},
    {"trigger(attr)", "set not allowed in this context"},
    {"fn()", "fucntion call not allowed in this context"},
    {"goto there", "goto not allowed in this context"},
    {"connect(widget[1].attr) a.b", "connect to foreign widget not allowed in this context"},
    {"set(widget[1].attr) 1", "set of foreign widget not allowed in this context"},
    {"trigger(widget[1].attr)", "set of foreign widget not allowed in this context"},
    {"exit", "exit not allowed in this context"},
    {"$x := 1", nullptr},
};

// The statements allowed in one kind of block, as a bit per EStatement.
constexpr unsigned bitOf(EStatement statement)
{
    return 1u << statement;
}
constexpr unsigned s_everything = (1u << eStatementCount) - 1;

class ContextCheckTest : public ParserTest
{
protected:
    // Parses every statement, one a line from line 2 on, inside the block that `before` opens and
    // `after` closes (each on one line), and compares the messages with the refusals the mask gives.
    void checkBlock(char const* pBefore, char const* pAfter, unsigned allowed)
    {
        std::string text = std::string(pBefore) + "\n";
        std::vector<std::string> expected;
        for (int i = 0; i < eStatementCount; ++i)
        {
            text += std::string(s_statements[i].pText) + "\n";
            if ((allowed & (1u << i)) == 0)
            {
                // Reported when the next token, on the next line, is seen.
                expected.push_back(at(i + 3, s_statements[i].pMessage));
            }
        }
        text += std::string(pAfter) + "\n";
        ParseResult const result = parse(text);
        EXPECT_EQ(0, result.code) << text;
        EXPECT_EQ(expected, result.messages) << text;
        EXPECT_EQ(expected.size(), result.errors);
        EXPECT_TRUE(flag_stack.empty());
        EXPECT_EQ(0u, allow_flags);
    }
};

TEST_F(ContextCheckTest, InitAllowsOnlyCall)
{
    checkBlock("init", "end init", bitOf(eCall) | bitOf(ePlain));
}

TEST_F(ContextCheckTest, WidgetCodeAllowsItsOwnWidgetOnly)
{
    unsigned const widget =
        s_everything & ~(bitOf(eGoto) | bitOf(eForeignConnect) | bitOf(eForeignSet) | bitOf(eForeignTrigger));
    checkBlock("widget $w = 1", "end widget", widget);
    checkBlock("@T {1} widget $w <- @T", "end widget", widget);
}

TEST_F(ContextCheckTest, FunctionAllowsAllButGoto)
{
    checkBlock("function fn(ref $a, &b)", "end function", s_everything & ~bitOf(eGoto));
}

TEST_F(ContextCheckTest, EventInWidgetRefusesEventsAndForeignWidgets)
{
    checkBlock("widget $w = 1 event (e)", "end event end widget",
               s_everything & ~(bitOf(eEvent) | bitOf(eGoto) | bitOf(eForeignConnect) | bitOf(eForeignSet) |
                                bitOf(eForeignTrigger)));
}

TEST_F(ContextCheckTest, EventInFunctionRefusesEventsAndGoto)
{
    checkBlock("function fn() event (e)", "end event end function",
               s_everything & ~(bitOf(eEvent) | bitOf(eGoto)));
}

TEST_F(ContextCheckTest, SequenceEventAllowsGotoButNoExitOrEvent)
{
    checkBlock("sequence $s = 1 startevent(e) S: event (e)", "end event end sequence",
               s_everything & ~(bitOf(eEvent) | bitOf(eExit)));
}

TEST_F(ContextCheckTest, LoopsTakeTheEnclosingRulesWithoutGoto)
{
    unsigned const sequenceEvent = s_everything & ~(bitOf(eEvent) | bitOf(eExit));
    checkBlock("sequence $s = 1 startevent(e) S: event (e) foreach $i in {1, 2}",
               "end foreach end event end sequence", sequenceEvent & ~bitOf(eGoto));
    checkBlock("sequence $s = 1 startevent(e) S: event (e) while $i < 2", "end while end event end sequence",
               sequenceEvent & ~bitOf(eGoto));
    // Back in the sequence event after the loop, goto passes again.
    checkBlock("sequence $s = 1 startevent(e) S: event (e) while $i < 2 end while", "end event end sequence",
               sequenceEvent);
    checkBlock("function fn() foreach $i in &items", "end foreach end function",
               s_everything & ~bitOf(eGoto));
    checkBlock("init while $i < 2", "end while end init", bitOf(eCall) | bitOf(ePlain));
    unsigned const widget =
        s_everything & ~(bitOf(eGoto) | bitOf(eForeignConnect) | bitOf(eForeignSet) | bitOf(eForeignTrigger));
    checkBlock("widget $w = 1 while $i < 2", "end while end widget", widget);
    checkBlock("widget $w = 1 event (e) foreach $i in {1}", "end foreach end event end widget",
               widget & ~bitOf(eEvent));
}

TEST_F(ContextCheckTest, IfBodiesTakeTheRulesAroundThem)
{
    checkBlock("sequence $s = 1 startevent(e) S: event (e) if $a = 1 then",
               "else end if end event end sequence", s_everything & ~(bitOf(eEvent) | bitOf(eExit)));
    checkBlock("init if $a = 1 then else", "end if end init", bitOf(eCall) | bitOf(ePlain));
    checkBlock("function fn() if $a = 1 then elsif $a = 2 then", "end if end function",
               s_everything & ~bitOf(eGoto));
}

TEST_F(ContextCheckTest, RefusedEventBlockIsCheckedInsideFirst)
{
    // In init the event block's own word keeps only call: its set is refused before the block is.
    ParseResult const result = parse("init\n"
                                     "event (e)\n"
                                     "set(a) 1\n"
                                     "call x.y()\n"
                                     "end event\n"
                                     "end init\n");
    EXPECT_EQ(0, result.code);
    std::vector<std::string> const expected = {
        at(4, "set not allowed in this context"),
        at(6, "event not allowed in this context"),
    };
    EXPECT_EQ(expected, result.messages);
    EXPECT_EQ(2u, result.errors);
}

TEST_F(ContextCheckTest, StaleWordsAfterASyntaxErrorDoNoHarm)
{
    // The parse stops inside the widget's event block: the words saved by both markers stay.
    ParseResult const broken = parse("widget $w = 1 event (e) while )");
    EXPECT_EQ(1, broken.code);
    std::vector<uint32_t> const stale = {0u, 287u};
    EXPECT_EQ(stale, std::vector<uint32_t>(flag_stack.begin(), flag_stack.end()));
    EXPECT_EQ(285u, allow_flags);

    // A parse that starts on those leftovers: each block sets its own word and restores the one below.
    ParseResult const next = parse("init set(a) 1 call b.c() end init\n"
                                   "widget $w = 1 goto x end widget\n",
                                   false);
    EXPECT_EQ(0, next.code);
    std::vector<std::string> const expected = {
        at(1, "set not allowed in this context"),
        at(2, "goto not allowed in this context"),
    };
    EXPECT_EQ(expected, next.messages);
    EXPECT_EQ(stale, std::vector<uint32_t>(flag_stack.begin(), flag_stack.end()));
    EXPECT_EQ(285u, allow_flags);
}
} // namespace
} // namespace parsertest
