// What the grammar builds: module items that take effect as they are reduced, declarations with their
// scopes and flags, types, the position of built objects, and expressions whose grouping is checked by
// running them.

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

class ParserBuildTest : public ParserTest
{
protected:
    // Parses a module that must be clean, binds and runs its init sections in order, and returns what
    // they printed.
    std::string runInit(std::string const& text)
    {
        ParseResult const result = parse(text);
        EXPECT_EQ(0, result.code) << joinLines(result.messages);
        EXPECT_EQ(0u, result.errors) << joinLines(result.messages) << logText();
        CoutCapture capture;
        for (PDLInitSection* pSection : m_pModule->getInitSections())
        {
            pSection->init();
            pSection->execute();
        }
        return capture.text();
    }
};

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

TEST_F(ParserBuildTest, ItemsBeforeASyntaxErrorStayInTheModule)
{
    ParseResult const result = parse("@T {1}\n"
                                     "module $a\n"
                                     "init end init\n"
                                     "widget $w = 4 end widget\n"
                                     "function f() end function\n"
                                     "sequence $s <- @T startevent(a, b) end sequence\n"
                                     "@U { 1 2 }\n");
    EXPECT_EQ(1, result.code);
    EXPECT_TRUE(m_pModule->hasType("T"));
    EXPECT_TRUE(m_pModule->getSymbolTable()->hasVariable("a"));
    EXPECT_EQ(1u, m_pModule->getInitSections().size());
    EXPECT_EQ(1u, m_pModule->getWidgets().size());
    EXPECT_NE(nullptr, m_pModule->getFunction("f"));
    EXPECT_EQ(1u, m_pModule->getSequences().size());
    EXPECT_FALSE(m_pModule->hasType("U"));
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

TEST_F(ParserBuildTest, TypesKeepTheirValuesAndRowsInOrder)
{
    ParseResult const result =
        parse("@Plain { \"off\", 3, 1.5, a.b.c, 7x }\n"
              "@Map (fid, text) { 1 (a.b, \"one\"), 2 (c, \"two\"), 3 (d, \"three\") }\n"
              "@Empty {}\n"
              "@EmptyMap (x) {}\n");
    EXPECT_EQ(0u, result.errors) << joinLines(result.messages) << logText();
    std::vector<PDLVariant> const* pPlain = m_pModule->getType("Plain")->getValueVector("");
    ASSERT_NE(pPlain, nullptr);
    std::vector<std::string> texts;
    for (PDLVariant const& value : *pPlain)
    {
        // The float's text form is the value type's business.
        texts.push_back(value.getKind() == PDLVariant::eFloat ? std::string() : value.getString());
    }
    EXPECT_EQ((std::vector<std::string>{"off", "3", "", "a.b.c", "7x"}), texts);
    EXPECT_EQ(PDLVariant::eInt, (*pPlain)[1].getKind());
    EXPECT_EQ(PDLVariant::eFloat, (*pPlain)[2].getKind());
    EXPECT_EQ(1.5f, (*pPlain)[2].getFloat());

    PDLType* pMap = m_pModule->getType("Map");
    ASSERT_NE(pMap, nullptr);
    std::vector<PDLVariant> const* pKeys = pMap->getValueVector("");
    ASSERT_NE(pKeys, nullptr);
    ASSERT_EQ(3u, pKeys->size());
    EXPECT_EQ(1, (*pKeys)[0].getInt());
    EXPECT_EQ(3, (*pKeys)[2].getInt());
    EXPECT_EQ("a.b", pMap->getMappedValue(PDLVariant(1), "fid").getString());
    EXPECT_EQ("two", pMap->getMappedValue(PDLVariant(2), "text").getString());
    EXPECT_EQ("three", pMap->getMappedValue(PDLVariant(3), "text").getString());
    ASSERT_NE(nullptr, m_pModule->getType("Empty"));
    EXPECT_TRUE(m_pModule->getType("Empty")->getValueVector("")->empty());
    ASSERT_NE(nullptr, m_pModule->getType("EmptyMap"));
    EXPECT_TRUE(m_pModule->getType("EmptyMap")->getValueVector("")->empty());
}

TEST_F(ParserBuildTest, OperatorsGroupByPrecedenceAndFromTheLeft)
{
    std::string const printed =
        runInit("module $a, $b\n"
                "init\n"
                "$a := 1 $b := 1\n"
                "println 10 append 5 - 9\n"
                "println strlen 12 + 1\n"
                "println strlen x append y\n"
                "if not $a = 1 and $b = 2 then println \"yes\" else println \"no\" end if\n"
                "if $a = 1 or $a = 2 and $a = 3 then println \"yes\" else println \"no\" end if\n"
                "println 7 - 2 - 1\n"
                "println 2 + 3 * 4\n"
                "println 100 / 10 / 5\n"
                "println \"abcdef\" getleft 4 getright 2\n"
                "println (2 + 3) * 4\n"
                "end init\n");
    EXPECT_EQ("10-4\n2\n1y\nno\nyes\n4\n14\n2\ncd\n20\n", printed);
}

TEST_F(ParserBuildTest, ConditionsCompareAsTheirOperatorSays)
{
    std::string const printed =
        runInit("@T {1, 2}\n"
                "module $n, &s\n"
                "init\n"
                "$n := 10\n"
                "&s := {1, 2}\n"
                "if $n = 10.0 then print \"a\" end if\n"
                "if $n == 10.0 then print \"b\" end if\n"
                "if $n <> 9 then print \"c\" end if\n"
                "if $n < 9 or $n <= 9 then print \"X\" elsif $n >= 10 then print \"d\" end if\n"
                "if &s = {2, 1} then print \"e\" end if\n"
                "if &s <> {1} then print \"f\" end if\n"
                "if 2 in &s and not 3 in @T then print \"g\" end if\n"
                "if isvalid($n) then print \"h\" else print \"X\" end if\n"
                "if (($n > 1)) then print \"i\" end if\n"
                "if ($n) = 10 then print \"j\" end if\n"
                "println \"\"\n"
                "end init\n");
    // "10" and "10.0" differ as text but are equal as numbers.
    EXPECT_EQ("bcdefghij\n", printed);
}

TEST_F(ParserBuildTest, IncrementAndDecrementReadTheSameElement)
{
    std::string const printed = runInit("module $arr[], $n\n"
                                        "init\n"
                                        "$n := 3\n"
                                        "$arr[1] := 5\n"
                                        "$arr[2] := 10\n"
                                        "$arr[$n - 2]++\n"
                                        "$arr[2]--\n"
                                        "$n++\n"
                                        "println $arr[1], \" \", $arr[2], \" \", $n\n"
                                        "end init\n");
    EXPECT_EQ("6 9 4\n", printed);
}

TEST_F(ParserBuildTest, SetStatementsAndLoops)
{
    std::string const printed = runInit("@T {3, 4}\n"
                                        "module &s, $sum, $i\n"
                                        "init local $x\n"
                                        "&s add 1\n"
                                        "&s add {2, 3}\n"
                                        "&s remove 2\n"
                                        "&s add @T\n"
                                        "&s remove {4}\n"
                                        "foreach $x in &s print $x end foreach\n"
                                        "$sum := 0\n"
                                        "$i := 0\n"
                                        "while $i < 4 $i++ $sum := $sum + $i end while\n"
                                        "println \" \", $sum\n"
                                        "end init\n");
    EXPECT_EQ("13 10\n", printed) << logText();
}

TEST_F(ParserBuildTest, InitSectionsRunInTheirOrder)
{
    std::string const printed = runInit("init print \"a\" end init\n"
                                        "module $v\n"
                                        "init $v := \"b\" print $v end init\n"
                                        "init println \"c\" end init\n");
    EXPECT_EQ("abc\n", printed);
}

TEST_F(ParserBuildTest, BuiltCodeReportsTheLineOfItsFirstToken)
{
    ParseResult const result = parse("module $x\n"
                                     "init\n"
                                     "  $undeclared\n"
                                     "    :=\n"
                                     "    1\n"
                                     "  if\n"
                                     "    $x = 1\n"
                                     "  then\n"
                                     "  end if\n"
                                     "end init\n");
    EXPECT_EQ(0u, result.errors) << joinLines(result.messages);
    EXPECT_NE(nullptr, dynamic_cast<PDLCommandAssign*>(m_pModule->getCommand(3)));
    EXPECT_EQ(nullptr, m_pModule->getCommand(4));
    EXPECT_EQ(nullptr, m_pModule->getCommand(5));
    EXPECT_NE(nullptr, dynamic_cast<PDLCommandIf*>(m_pModule->getCommand(6)));
    EXPECT_EQ(nullptr, m_pModule->getCommand(7));
    // Binding reports the unknown name at the assignment's first line.
    ASSERT_EQ(1u, m_pModule->getInitSections().size());
    m_pModule->getInitSections().front()->init();
    std::string const log = logText();
    EXPECT_NE(std::string::npos, log.find(m_sourcePath + "(3): ")) << log;
    EXPECT_EQ(std::string::npos, log.find(m_sourcePath + "(5): ")) << log;
    EXPECT_NE(std::string::npos, log.find("undeclared")) << log;
}

TEST_F(ParserBuildTest, RunTimeErrorReportsTheLineWhereItsConstructBegan)
{
    // The operands are reduced when the token after them, two lines further down, is already read:
    // the position is the operand's own line all the same.
    runInit("module $x\n"
            "init\n"
            "  $x :=\n"
            "    10 / 0\n"
            "\n"
            "end init\n");
    std::string const log = logText();
    size_t const report = log.find("Math calculation error !");
    ASSERT_NE(std::string::npos, report) << log;
    EXPECT_NE(std::string::npos, log.rfind(m_sourcePath + "(4): ", report)) << log;
    EXPECT_EQ(std::string::npos, log.find(m_sourcePath + "(6): ")) << log;
}

TEST_F(ParserBuildTest, DuplicateFunctionIsReportedAndFreed)
{
    ParseResult const result = parse("function f() print 1 end function\n"
                                     "function f(ref $a) print 2 end function\n"
                                     "function g($b[], &c noevents) end function\n");
    EXPECT_EQ(0, result.code);
    EXPECT_EQ(1u, result.errors);
    EXPECT_EQ(1, countInLog("function name already exists"));
    EXPECT_EQ(2u, m_pModule->getFunctions().size());
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
