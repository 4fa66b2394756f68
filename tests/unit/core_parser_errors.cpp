// Syntax errors: the message forms with the expected tokens of the state where the error is noticed,
// the names of the end of input and of unknown bytes, the end of the parse at the first one, stack
// exhaustion, and semantic errors that let the parse go on.

#include "core_parser_fixture.h"

namespace parsertest
{
namespace
{
TEST_F(ParserTest, EmptyAndMinimalModulesParse)
{
    for (char const* pText :
         {"", "\n\n", "@T {}\n", "@T (a) {}\n", "widget $w = 1 end widget\n",
          "sequence $s = 1 startevent(go) end sequence\n", "init if $a = 1 then else end if end init\n",
          "init $x := 1 $y := 2 end init\n", "init $x := 0 - 1 end init\n"})
    {
        ParseResult const result = parse(pText);
        EXPECT_EQ(0, result.code) << pText;
        EXPECT_EQ(0u, result.errors) << pText << joinLines(result.messages);
    }
}

TEST_F(ParserTest, WrongClosingKeywordExpectsTheRightOne)
{
    EXPECT_EQ("syntax error, unexpected WIDGET, expecting INIT", syntaxError("init\nend widget\n"));
    EXPECT_EQ("syntax error, unexpected INIT, expecting FUNCTION", syntaxError("function f()\nend init\n"));
    EXPECT_EQ("syntax error, unexpected EVENT, expecting WIDGET", syntaxError("widget $w = 1 end event"));
    EXPECT_EQ("syntax error, unexpected SEQUENCE, expecting EVENT",
              syntaxError("sequence $s = 1 startevent(a) S: event (a) end sequence end sequence"));
    EXPECT_EQ("syntax error, unexpected WHILE, expecting IF", syntaxError("init if $a = 1 then end while"));
    EXPECT_EQ("syntax error, unexpected FOREACH, expecting WHILE",
              syntaxError("init while $a < 3 end foreach"));
    // The message names the line of the offending token.
    ParseResult const result = parse("init\n\n\nend widget\n");
    ASSERT_EQ(1u, result.messages.size());
    EXPECT_EQ(at(4, "syntax error, unexpected WIDGET, expecting INIT"), result.messages[0]);
}

TEST_F(ParserTest, ExpectedTokensOfTheStateWhereTheErrorIsNoticed)
{
    // extern takes neither persistence nor a scope.
    EXPECT_EQ("syntax error, unexpected EXTERN, expecting GLOBAL or WORKPLACE or GROUP or MODULE",
              syntaxError("persistent extern a.b $x\n"));
    // Only simple extern variables: the '[' fails after the declaration was closed by default.
    EXPECT_EQ("syntax error, unexpected '[', expecting GLOBAL or WORKPLACE or GROUP or MODULE",
              syntaxError("extern a.b $x[]\n"));
    // A state holds event blocks only; after a state the next state or the end may follow.
    EXPECT_EQ("syntax error, unexpected '$', expecting IDENTIFIER or END",
              syntaxError("sequence $s = 1 startevent(go)\nS:\n$x := 1\nend sequence\n"));
    // A truncated block.
    EXPECT_EQ("syntax error, unexpected $end, expecting END", syntaxError("init\n$x := 1\n"));
    // Inside an open call of strcmp the operators may still follow: too many to list.
    EXPECT_EQ("syntax error, unexpected $end", syntaxError("init print strcmp(1, 2"));
    // A byte the language does not know.
    EXPECT_EQ("syntax error, unexpected $undefined, expecting END", syntaxError("init # end init"));
    EXPECT_EQ("syntax error, unexpected $undefined, expecting '{' or '('", syntaxError("@T #"));
    // Literal tokens are quoted, and more than four expected tokens give the short form.
    EXPECT_EQ("syntax error, unexpected '{', expecting IDENTIFIER", syntaxError("@{"));
    EXPECT_EQ("syntax error, unexpected MINUSOP", syntaxError("init $x := -1 end init"));
    EXPECT_EQ("syntax error, unexpected ','", syntaxError("init call a.b(x = 1, y = 2) end init"));
    EXPECT_EQ("syntax error, unexpected '@'", syntaxError("@T {1}\ninit if @T = &a then end if end init"));
    EXPECT_EQ("syntax error, unexpected TEXTVAL, expecting '$'", syntaxError("widget \"w\""));
}

TEST_F(ParserTest, ByteAboveAsciiEndsTheInput)
{
    // Such a byte is read as the end of the file: what stands before it counts, the rest is not read.
    ParseResult const clean = parse("@T {1}\n\xff garbage ( ( (\n");
    EXPECT_EQ(0, clean.code);
    EXPECT_EQ(0u, clean.errors);
    EXPECT_TRUE(m_pModule->hasType("T"));
    EXPECT_EQ("syntax error, unexpected $end, expecting END", syntaxError("init\n\x80 end init\n"));
}

TEST_F(ParserTest, DeepNestingExhaustsTheStack)
{
    // Well below the limit the stacks grow past their first 200 entries.
    std::string const deep =
        "init print " + std::string(3000, '(') + "1" + std::string(3000, ')') + " end init";
    ParseResult const grown = parse(deep);
    EXPECT_EQ(0, grown.code);
    EXPECT_EQ(0u, grown.errors) << joinLines(grown.messages);
    std::string const tooDeep = "init print " + std::string(10000, '(') + "1" + std::string(10000, ')');
    ParseResult const result = parse(tooDeep);
    EXPECT_EQ(2, result.code);
    EXPECT_EQ(1u, result.errors);
    ASSERT_EQ(1u, result.messages.size());
    EXPECT_EQ(at(1, "memory exhausted"), result.messages[0]);
}

TEST_F(ParserTest, SemanticErrorsGoOnAndTheSyntaxErrorIsLast)
{
    ParseResult const result = parse("init\n"
                                     "set(a) 1\n"
                                     "trigger(b)\n"
                                     "$x := 1\n"
                                     "end init\n"
                                     "init\n"
                                     "f()\n"
                                     "end widget\n"
                                     "init set(c) 1 end init\n");
    EXPECT_EQ(1, result.code);
    EXPECT_EQ(4u, result.errors);
    std::vector<std::string> const expected = {
        at(3, "set not allowed in this context"),
        at(4, "set not allowed in this context"),
        at(8, "fucntion call not allowed in this context"),
        at(8, "syntax error, unexpected WIDGET, expecting INIT"),
    };
    EXPECT_EQ(expected, result.messages);
}

TEST_F(ParserTest, DeclarationErrorsAreCountedAndParsingGoesOn)
{
    ParseResult const result = parse("module @Missing $a\n"
                                     "module $b, $b, $c\n"
                                     "group $g\n"
                                     "group $g\n"
                                     "@T {1}\n"
                                     "@T {2}\n"
                                     "module $d\n"
                                     "@M (a) { 1 (x) }\n"
                                     "@M (a) { 2 (y) }\n");
    EXPECT_EQ(0, result.code);
    EXPECT_EQ(5u, result.errors) << logText();
    EXPECT_EQ(1, countInLog("type 'M' was already declared"));
    ASSERT_NE(nullptr, m_pModule->getType("M"));
    EXPECT_EQ("x", m_pModule->getType("M")->getMappedValue(PDLVariant(1), "a").getString());
    EXPECT_EQ(1, countInLog("unknown type 'Missing'"));
    EXPECT_EQ(1, countInLog("variable 'b' was already declared"));
    EXPECT_EQ(1, countInLog("variable 'g' was already declared"));
    EXPECT_EQ(1, countInLog("type 'T' was already declared"));
    PDLSymbolTable const* pTable = m_pModule->getSymbolTable();
    EXPECT_FALSE(pTable->hasVariable("a"));
    EXPECT_TRUE(pTable->hasVariable("b"));
    // A refused name ends its declaration: what follows it is not declared.
    EXPECT_FALSE(pTable->hasVariable("c"));
    EXPECT_TRUE(pTable->hasVariable("d"));
    EXPECT_TRUE(m_pGroup->getSymbolTable()->hasVariable("g"));
}

TEST_F(ParserTest, EveryTruncationEndsCleanlyOrAtOneSyntaxError)
{
    // Cut after every byte, a module stops with its values half built on the parser's stack: each cut
    // either parses or gives exactly one syntax error, its last report, and frees what it discarded
    // (the sanitizer build checks the freeing).
    std::string const source =
        "@T (c) { 1 (a.b, \"x\"), 2 (c, 3) }\n"
        "module @T $a, $b[] noevents, &s\n"
        "extern a.b @T $e, $e::f\n"
        "init local @T $l, &m noevents local $n[] end init\n"
        "function fn(ref $p, &q)\n"
        "  if not $p = 1 and &q <> {1, 2} then $l := strlen $p append \"x\" + 2\n"
        "  elsif $p <- @T then call a.(b)(x = 1 y = 2) else fn($a, @T) end if\n"
        "  foreach $l in $b[] event (a.b, c) $b[$l]++ end event end foreach\n"
        "end function\n"
        "widget $w <- @T event () set(x) $(T.c) connect(y, $b[]) $a.b end event end widget\n"
        "sequence $s = 1 startevent(a, b) when $a > 1\n"
        "  S: event (widget[$a].x, widget[{1}].y, e) trigger(widget[1].z) goto S end event\n"
        "end sequence\n"
        "init while isvalid($a) $a := scale($a, $b[]) end while end init\n";
    ASSERT_EQ(0, parse(source).code);
    for (size_t cut = 0; cut < source.size(); ++cut)
    {
        std::string const prefix = source.substr(0, cut);
        ParseResult const result = parse(prefix);
        if (result.code == 0)
        {
            EXPECT_TRUE(flag_stack.empty()) << prefix;
            for (std::string const& message : result.messages)
            {
                EXPECT_EQ(std::string::npos, message.find("syntax error")) << prefix;
            }
            continue;
        }
        EXPECT_EQ(1, result.code) << prefix;
        ASSERT_FALSE(result.messages.empty()) << prefix;
        // A cut word may read as another token: the error need not be at the end of the input.
        EXPECT_NE(std::string::npos, result.messages.back().find("syntax error, unexpected ")) << prefix;
        for (size_t i = 0; i + 1 < result.messages.size(); ++i)
        {
            EXPECT_EQ(std::string::npos, result.messages[i].find("syntax error")) << prefix;
        }
    }
}

TEST_F(ParserTest, StaleWordsAfterASyntaxErrorDoNoHarm)
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
