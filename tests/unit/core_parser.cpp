// The parser: what it builds (module items as they are reduced, declarations with their scopes and
// flags, every statement form), syntax errors with the expected tokens of the state where they are
// noticed, the end of input, stack exhaustion, and semantic errors that let the parse go on.

#include "core_parser_fixture.h"

#include "pdlcommandclasses.h"
#include "pdlfunctionclasses.h"
#include "pdlsequenceclasses.h"
#include "pdltypeclasses.h"
#include "pdlwidgetclasses.h"

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

// The small module of the language description.
char const* const s_smallModule = "@Mode { \"off\", \"on\" }\n"
                                  "persistent module @Mode $mode noevents\n"
                                  "group $count\n"
                                  "init\n"
                                  "  $count := 0\n"
                                  "end init\n"
                                  "function bump(ref $n)\n"
                                  "  local $old\n"
                                  "  $old := $n\n"
                                  "  $n++\n"
                                  "end function\n"
                                  "widget $lamp = 12\n"
                                  "  local $pressed\n"
                                  "  event (press)\n"
                                  "    set(colour) \"red\"\n"
                                  "    bump($pressed)\n"
                                  "  end event\n"
                                  "end widget\n"
                                  "sequence $seq = 2 startevent(press) when $count > 0\n"
                                  "  INIT:\n"
                                  "    event (widget[3].press)\n"
                                  "      $count--\n"
                                  "      goto running\n"
                                  "    end event\n"
                                  "  running:\n"
                                  "end sequence\n";
using ParserBuildTest = ParserTest;
TEST_F(ParserBuildTest, SmallModuleBuildsEachItem)
{
    ParseResult const result = parse(s_smallModule);
    EXPECT_EQ(0, result.code);
    EXPECT_EQ(0u, result.errors) << joinLines(result.messages) << logText();
    ASSERT_TRUE(m_pModule->hasType("Mode"));
    std::vector<PDLVariant> const* pValues = m_pModule->getType("Mode")->getValueVector("");
    ASSERT_NE(pValues, nullptr);
    ASSERT_EQ(2u, pValues->size());
    EXPECT_EQ("off", (*pValues)[0].getString());
    EXPECT_EQ("on", (*pValues)[1].getString());
    // The module variable in the module's own table, typed, persistent and without events; the group
    // variable in the group scope above it.
    ASSERT_TRUE(m_pModule->getSymbolTable()->hasVariable("mode"));
    PDLVariable const* pMode = m_pModule->getSymbolTable()->getVariable("mode");
    EXPECT_EQ(eScopeModule, pMode->getScope());
    EXPECT_EQ("Mode", pMode->getDeclaredTypeName());
    EXPECT_TRUE(pMode->isPersistent());
    EXPECT_FALSE(pMode->generatesEvents());
    EXPECT_FALSE(m_pModule->getSymbolTable()->hasVariable("count"));
    ASSERT_TRUE(m_pGroup->getSymbolTable()->hasVariable("count"));
    EXPECT_TRUE(m_pGroup->getSymbolTable()->getVariable("count")->generatesEvents());
    EXPECT_TRUE(m_pModule->hasVariableInFile("count"));
    EXPECT_EQ(1u, m_pModule->getInitSections().size());
    ASSERT_EQ(1u, m_pModule->getFunctions().size());
    EXPECT_NE(nullptr, m_pModule->getFunction("bump"));
    ASSERT_EQ(1u, m_pModule->getWidgets().size());
    EXPECT_EQ(std::list<uint32_t>{12}, m_pModule->getWidgets().front()->getWidgetIDs());
    EXPECT_EQ(1u, m_pModule->getWidgetsByID().count(12));
    // The widget's code holds the event block.
    ASSERT_NE(nullptr, m_pModule->getWidgets().front()->getWidgetCode());
    EXPECT_EQ(1u, m_pModule->getWidgets().front()->getWidgetCode()->getCommands().size());
    ASSERT_EQ(1u, m_pModule->getSequences().size());
    EXPECT_EQ(std::list<uint32_t>{2}, m_pModule->getSequences().front()->getWidgetIDs());
    // Every command stands at the line of its first token.
    EXPECT_NE(nullptr, dynamic_cast<PDLCommandAssign*>(m_pModule->getCommand(5)));
    EXPECT_NE(nullptr, dynamic_cast<PDLCommandEvent*>(m_pModule->getCommand(14)));
    EXPECT_NE(nullptr, dynamic_cast<PDLCommandFunctionCall*>(m_pModule->getCommand(16)));
}
TEST_F(ParserBuildTest, DeclarationsShareScopeTypeAndFlags)
{
    ParseResult const result = parse("@T {1, 2}\n"
                                     "module $a, $b[], &c noevents\n"
                                     "module @T $t, $u\n"
                                     "workplace $wp\n"
                                     "global $gl\n"
                                     "persistent group $pg\n");
    EXPECT_EQ(0u, result.errors) << joinLines(result.messages) << logText();
    PDLSymbolTable const* pTable = m_pModule->getSymbolTable();
    ASSERT_TRUE(pTable->hasVariable("a") && pTable->hasVariable("b") && pTable->hasVariable("c"));
    EXPECT_EQ(PDLVariable::eContainerSimple, pTable->getVariable("a")->getContainerType());
    EXPECT_EQ(PDLVariable::eContainerArray, pTable->getVariable("b")->getContainerType());
    EXPECT_EQ(PDLVariable::eContainerSet, pTable->getVariable("c")->getContainerType());
    EXPECT_TRUE(pTable->getVariable("a")->generatesEvents());
    EXPECT_TRUE(pTable->getVariable("b")->generatesEvents());
    EXPECT_FALSE(pTable->getVariable("c")->generatesEvents());
    EXPECT_FALSE(pTable->getVariable("a")->isPersistent());
    ASSERT_TRUE(pTable->hasVariable("t") && pTable->hasVariable("u"));
    EXPECT_EQ("T", pTable->getVariable("t")->getDeclaredTypeName());
    EXPECT_EQ("T", pTable->getVariable("u")->getDeclaredTypeName());
    EXPECT_TRUE(m_pWorkplace->getSymbolTable()->hasVariable("wp"));
    EXPECT_TRUE(m_pGlobal->getSymbolTable()->hasVariable("gl"));
    ASSERT_TRUE(m_pGroup->getSymbolTable()->hasVariable("pg"));
    EXPECT_TRUE(m_pGroup->getSymbolTable()->getVariable("pg")->isPersistent());
}
TEST_F(ParserBuildTest, EveryStatementFormParses)
{
    // One of each form in the blocks that allow it; the parse builds them all without a report.
    ParseResult const result =
        parse("@T (col) { 1 (a) }\n"
              "module $a, $b[], &s, $arr[], $sc[]\n"
              "extern a.b.c @T $x, $x::z\n"
              "extern q $e\n"
              "init local @T $l, &ls local $m[] end init\n"
              "function fn(ref $p, $q[] noevents, &r)\n"
              "  dump $a dump &s dump @T dump $b[] dump {1, 2} dump {}\n"
              "  print 1, 2.5, \"t\", a.$a.(\"x\" append 1) println get a.b\n"
              "  $a := $(widget[1].value) $b[1] := $(T.col) $a := $(arr[1].col) $a := $(widget[$a].v)\n"
              "  &s := &(T.col) &s := @(T.col) &s := $(arr[].col) &s := $arr[]\n"
              "  $a := strcmp(\"a\", \"b\") $a := scale(1, $sc[]) $a := invscale(1.5, $sc[])\n"
              "  $a := 10 cutleft 1 cutright 1 % 7\n"
              "  subscribe a.b getscale(a.b, $sc[]) unfold x.y setstate a.b 1 sendevent a.b sendevent c(1)\n"
              "  delay 10 $a assignslot 3\n"
              "  call a.b() call a.b(x = 1 y = $a) connect(v) a.b connect(v, $sc[]) a.b set(v) 1 trigger(v)\n"
              "  connect(widget[1].v) a.b connect(widget[$a].v, $sc[]) a.b set(widget[1.5].v) 2\n"
              "  trigger(widget[$(arr[1].col)].v) fn($a, &s, @T, $b[], {1}) fn()\n"
              "  if $a <- @T then exit end if\n"
              "  event (a.b, c, (\"d\")) end event event () end event\n"
              "end function\n"
              "sequence $s2 = 5 startevent(a)\n"
              "  S1: event (widget[1].press, widget[@T].x, widget[$b[]].y, widget[{1,2}].z, a.b) goto S2 end "
              "event\n"
              "      event () end event\n"
              "  S2:\n"
              "end sequence\n");
    EXPECT_EQ(0, result.code) << joinLines(result.messages);
    EXPECT_EQ(0u, result.errors) << joinLines(result.messages) << logText();
    EXPECT_EQ(1u, m_pModule->getSequences().size());
}
} // namespace
} // namespace parsertest
