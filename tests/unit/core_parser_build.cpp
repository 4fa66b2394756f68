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
