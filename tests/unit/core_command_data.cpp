#include "core_command_helpers.h"

#include "pdlpanelstate.h"

#include <chrono>

namespace
{
using Texts = std::vector<std::string>;

Texts keys(PDLVariableSet const* pSet)
{
    Texts texts;
    for (auto const& element : pSet->getElements())
    {
        texts.push_back(element.first);
    }
    return texts;
}

class CommandStateTest : public CommandTest
{
protected:
    void TearDown() override
    {
        CommandTest::TearDown();
        if (PDLPanelState::hasInstance())
        {
            PDLPanelState::destroyInstance();
        }
    }
};
} // namespace

TEST_F(CommandTest, AssignWritesValuesAndElements)
{
    PDLVariableSimple* pTarget = m_context.declare(simpleVar("target"));
    PDLVariableArray* pRow = m_context.declare(arrayVar("row"));
    m_context.declare(simpleVar("idx"))->setValue(PDLVariant("k"));

    EXPECT_TRUE(run(assign("target", new PDLExpressionAppend(str("ab"), num(3)))));
    EXPECT_EQ("ab3", pTarget->getValue("", false).getString());
    EXPECT_TRUE(pTarget->isChanged());

    // ++ and -- keep Int arithmetic on the present value.
    pTarget->setValue(PDLVariant(41));
    EXPECT_TRUE(run(increment("target")));
    EXPECT_EQ(PDLVariant::eInt, pTarget->getValue("", false).getKind());
    EXPECT_EQ(42, pTarget->getValue("", false).getInt());
    EXPECT_TRUE(run(decrement("target")));
    EXPECT_TRUE(run(decrement("target")));
    EXPECT_EQ(40, pTarget->getValue("", false).getInt());

    // Elements by a computed index; the index is read with warnings.
    auto* pIndex = new FixedExpression(PDLVariant(2));
    EXPECT_TRUE(run(assign("row", str("two"), pIndex)));
    EXPECT_TRUE(pIndex->m_lastWarn);
    EXPECT_TRUE(run(assign("row", num(9), var("idx"))));
    EXPECT_EQ("two", pRow->getValueAtIndex(PDLVariant(2), "", false).getString());
    EXPECT_EQ(9, pRow->getValueAtIndex(PDLVariant("k"), "", false).getInt());
    EXPECT_EQ(2, pRow->getCount());
    // $row[2]++ reads and writes the same element.
    EXPECT_TRUE(run(assign(
        "row", new PDLExpressionPlusOp(new PDLExpressionVariable(ref("row", var("idx")), nullptr), num(1)),
        var("idx"))));
    EXPECT_EQ(10, pRow->getValueAtIndex(PDLVariant("k"), "", false).getInt());
    EXPECT_EQ("", logText());

    // An Invalid source gives no warning: it invalidates the target and erases an element.
    pTarget->clearChangeFlag();
    auto* pSource = new FixedExpression(PDLVariant());
    EXPECT_TRUE(run(assign("target", pSource)));
    EXPECT_FALSE(pSource->m_lastWarn);
    EXPECT_FALSE(pTarget->isValid());
    EXPECT_TRUE(pTarget->isChanged());
    EXPECT_TRUE(run(assign("row", invalid(), num(2))));
    EXPECT_EQ(1, pRow->getCount());
    EXPECT_TRUE(run(assign("target", var("target"))));
    EXPECT_EQ("", logText());

    // An index on a simple variable is the variable's report; the code goes on.
    EXPECT_TRUE(run(assign("target", num(1), num(0))));
    EXPECT_EQ(1, countInLog("ERROR:\nVariable target is not an array variable!\n"));
    EXPECT_FALSE(pTarget->isValid());
    EXPECT_EQ(1u, newErrors());
}

TEST_F(CommandTest, AssignBindingResolvesWithoutRegisteringTheTarget)
{
    m_context.declare(simpleVar("target"));
    m_context.declare(simpleVar("source"));
    m_context.declare(simpleVar("idx"));
    m_context.declare(arrayVar("row"));

    bound(assign("target", var("source")));
    EXPECT_EQ(Registrations({{"source", false}}), m_context.m_registrations);

    // The source follows the command's flag; the index always registers.
    m_context.m_registrations.clear();
    bound(assign("row", var("source"), var("idx")), true);
    EXPECT_EQ(Registrations({{"idx", false}}), m_context.m_registrations);
    EXPECT_EQ("", logText());

    // Unknown names are reported by the scope; running without the variable stops the code.
    PDLCommand* pUnknown = bound(assign("nope", num(1)));
    EXPECT_EQ("\nERROR:\nundeclared variable nope\n\n", logText());
    EXPECT_FALSE(pUnknown->execute());
    EXPECT_EQ(1, countInLog("FATAL:\nm_pVariable\n"));

    PDLCommand* pEmpty = bound(new PDLCommandAssign(nullptr, nullptr));
    EXPECT_EQ(1, countInLog("FATAL:\nm_pProtoVariable\n"));
    EXPECT_EQ(1, countInLog("FATAL:\nm_pExpression\n"));
    EXPECT_FALSE(pEmpty->execute());
    EXPECT_EQ(2, countInLog("FATAL:\nm_pProtoVariable\n"));
    EXPECT_EQ(5u, newErrors());
}

TEST_F(CommandTest, AssignToReadOnlyVariablesIsRefusedAtBinding)
{
    PDLVariableSimple* pFixed =
        m_context.declare(new PDLVariableSimple(eScopeModule, "", "fixed", true, true, false, false));
    PDLCommand* pAssign = bound(assign("fixed", num(5)));
    EXPECT_EQ("\nERROR:\ncannot assign to read-only variable\n\n", logText());
    EXPECT_EQ(1u, newErrors());
    // Run anyway, the write lands but raises no change.
    EXPECT_TRUE(pAssign->execute());
    EXPECT_EQ(5, pFixed->getValue("", false).getInt());
    EXPECT_FALSE(pFixed->isChanged());
    EXPECT_EQ(1u, newErrors());
}

TEST_F(CommandTest, SetAssignReplacesTheElements)
{
    PDLVariableSet* pBag = m_context.declare(setVar("bag"));
    PDLVariableSet* pOther = m_context.declare(setVar("other"));
    pBag->addValue(PDLVariant("old"));
    pOther->addValue(PDLVariant("x"));
    pOther->addValue(PDLVariant("y"));

    EXPECT_TRUE(run(new PDLCommandSetAssign(setRef("bag"),
                                            new PDLSetExpConstSet(values({PDLVariant(2), PDLVariant(1)})))));
    EXPECT_EQ(Texts({"1", "2"}), keys(pBag));
    EXPECT_TRUE(run(new PDLCommandSetAssign(setRef("bag"), new PDLSetExpVariable(setRef("other"), nullptr))));
    EXPECT_EQ(Texts({"x", "y"}), keys(pBag));
    EXPECT_TRUE(run(new PDLCommandSetAssign(setRef("bag"), new PDLSetExpConstSet())));
    EXPECT_EQ(0, pBag->getCount());
    // The source set is read like a value: it registers, the target does not.
    EXPECT_EQ(Registrations({{"other", false}}), m_context.m_registrations);
    EXPECT_EQ("", logText());

    // Sets of arrays are not there: nothing changes and the code goes on.
    pBag->addValue(PDLVariant("stay"));
    EXPECT_TRUE(
        run(new PDLCommandSetAssign(setRef("bag", num(1)), new PDLSetExpConstSet(values({PDLVariant(3)})))));
    EXPECT_EQ("\nFATAL:\narrays of sets are not supported yet\n\n", logText());
    EXPECT_EQ(Texts({"stay"}), keys(pBag));

    // On a simple variable the variable reports the misuse.
    m_context.declare(simpleVar("single"));
    m_log.str("");
    EXPECT_TRUE(run(new PDLCommandSetAssign(ref("single"), new PDLSetExpConstSet())));
    EXPECT_EQ("\nFATAL:\nPDLVariable::clearAllValues(): base class version called\n\n", logText());

    PDLCommand* pMissing = bound(new PDLCommandSetAssign(setRef("absent"), nullptr));
    EXPECT_EQ(1, countInLog("undeclared variable absent\n"));
    EXPECT_EQ(1, countInLog("FATAL:\nm_pExpression\n"));
    EXPECT_FALSE(pMissing->execute());
    EXPECT_EQ(1, countInLog("FATAL:\nm_pVariable\n"));
    EXPECT_EQ(5u, newErrors());
}

TEST_F(CommandTest, AddAndRemoveChangeSetsElementByElement)
{
    PDLVariableSet* pBag = m_context.declare(setVar("bag"));
    m_context.declare(simpleVar("v"))->setValue(PDLVariant(7));

    EXPECT_TRUE(run(new PDLCommandAddToSet(setRef("bag"), new PDLSetExpSingleValue(var("v")))));
    EXPECT_TRUE(run(new PDLCommandAddToSet(
        setRef("bag"), new PDLSetExpConstSet(values({PDLVariant("b"), PDLVariant("a"), PDLVariant(7)})))));
    EXPECT_EQ(Texts({"7", "a", "b"}), keys(pBag));
    EXPECT_TRUE(pBag->isChanged());

    EXPECT_TRUE(run(new PDLCommandRemoveFromSet(setRef("bag"), new PDLSetExpSingleValue(str("a")))));
    EXPECT_EQ(Texts({"7", "b"}), keys(pBag));
    // Removing what is not there changes nothing.
    EXPECT_TRUE(run(new PDLCommandRemoveFromSet(
        setRef("bag"), new PDLSetExpConstSet(values({PDLVariant("zz"), PDLVariant(7)})))));
    EXPECT_EQ(Texts({"b"}), keys(pBag));
    EXPECT_EQ("", logText());

    // A single Invalid goes in under the empty key.
    EXPECT_TRUE(run(new PDLCommandAddToSet(setRef("bag"), new PDLSetExpSingleValue(invalid()))));
    EXPECT_EQ(Texts({"", "b"}), keys(pBag));

    // The element expression follows the command's flag.
    m_context.m_registrations.clear();
    bound(new PDLCommandAddToSet(setRef("bag"), new PDLSetExpSingleValue(var("v"))), true);
    EXPECT_TRUE(m_context.m_registrations.empty());
    bound(new PDLCommandRemoveFromSet(setRef("bag"), new PDLSetExpSingleValue(var("v"))));
    EXPECT_EQ(Registrations({{"v", false}}), m_context.m_registrations);

    // Unknown set: reported at binding, stops at run time.
    PDLCommand* pUnknown = bound(new PDLCommandRemoveFromSet(setRef("ghost"), new PDLSetExpConstSet()));
    EXPECT_FALSE(pUnknown->execute());
    PDLCommand* pNoSet = bound(new PDLCommandAddToSet(setRef("bag"), nullptr));
    EXPECT_FALSE(pNoSet->execute());
    EXPECT_EQ(1, countInLog("ERROR:\nundeclared variable ghost\n"));
    EXPECT_EQ(1, countInLog("FATAL:\nm_pVariable\n"));
    EXPECT_EQ(2, countInLog("FATAL:\nm_pSet\n"));
    EXPECT_EQ(4u, newErrors());
    EXPECT_EQ(Texts({"", "b"}), keys(pBag));
}

TEST_F(CommandTest, PrintWritesValuesBackToBack)
{
    m_context.declare(simpleVar("name"))->setValue(PDLVariant("gain"));
    m_context.declare(simpleVar("empty"));
    CoutCapture out;
    EXPECT_TRUE(run(print({str("a"), num(1), flt(0.5f), var("name")})));
    EXPECT_TRUE(run(print({str("|")}, true)));
    EXPECT_TRUE(run(new PDLCommandPrint(true, nullptr)));
    // An Invalid prints as nothing and is read without a warning.
    EXPECT_TRUE(run(print({str("<"), var("empty"), str(">")}, true)));
    EXPECT_TRUE(run(new PDLCommandPrint(false, new PDLExpressionList())));
    EXPECT_EQ("a10.5000gain|\n\n<>\n", out.text());
    EXPECT_EQ(Registrations({{"name", false}, {"empty", false}}), m_context.m_registrations);
    EXPECT_EQ("", logText());
}

TEST_F(CommandTest, DumpShowsValuesAndSets)
{
    CoutCapture out;
    EXPECT_TRUE(run(new PDLCommandDump(num(5))));
    EXPECT_TRUE(run(new PDLCommandDump(new PDLSetExpConstSet(values({PDLVariant(1), PDLVariant("x")})))));
    EXPECT_EQ("Variant int 5\n{ 1, x }\n", out.text());

    PDLCommand* pEmpty = bound(new PDLCommandDump(nullptr));
    EXPECT_EQ("\nFATAL:\nm_pObject\n\n", logText());
    EXPECT_FALSE(pEmpty->execute());
    EXPECT_EQ(2u, newErrors());
}

TEST_F(CommandTest, DelaySleepsTheGivenMilliseconds)
{
    auto* pDuration = new FixedExpression(PDLVariant("40"));
    PDLCommand* pDelay = bound(new PDLCommandDelay(pDuration));
    auto const start = std::chrono::steady_clock::now();
    EXPECT_TRUE(pDelay->execute());
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(40));
    // The duration is read with warnings.
    EXPECT_TRUE(pDuration->m_lastWarn);

    // Nothing to sleep on: no digits, Invalid, negative.
    EXPECT_TRUE(run(new PDLCommandDelay(str("soon"))));
    EXPECT_TRUE(run(new PDLCommandDelay(invalid())));
    EXPECT_TRUE(run(new PDLCommandDelay(num(-5))));
    EXPECT_EQ("", logText());

    // It needs an expression and a scope.
    PDLCommand* pNothing = bound(new PDLCommandDelay(nullptr));
    EXPECT_FALSE(pNothing->execute());
    EXPECT_EQ(2, countInLog("FATAL:\nm_pExpression\n"));
    PDLCommandDelay loose(num(1));
    loose.setContext(nullptr, false);
    EXPECT_EQ(1, countInLog("FATAL:\nm_pContext\n"));
    EXPECT_EQ(3u, newErrors());
}

TEST_F(CommandStateTest, UnfoldPublishesTheSelectionBeneathTheId)
{
    PDLPanelState* pState = PDLPanelState::createInstance();
    pState->setValueString("MIX.SEL", "3");
    m_context.declare(simpleVar("part"))->setValue(PDLVariant("SEL"));

    EXPECT_TRUE(run(new PDLCommandUnfold(list({new PDLExpressionIdentifier("MIX"), var("part")}))));
    EXPECT_EQ(PDLVariant::eBool, pState->getValue("MIX.SEL.3", false).getKind());
    EXPECT_TRUE(pState->getValue("MIX.SEL.3", false).getBool());
    EXPECT_EQ(Registrations({{"part", false}}), m_context.m_registrations);

    // An Invalid id unfolds nothing.
    size_t const entries = pState->getEntryCount();
    EXPECT_TRUE(run(new PDLCommandUnfold(list({str("MIX"), invalid()}))));
    EXPECT_EQ(entries, pState->getEntryCount());
    EXPECT_EQ("", logText());

    PDLCommand* pNothing = bound(new PDLCommandUnfold(nullptr));
    EXPECT_FALSE(pNothing->execute());
    EXPECT_EQ(2, countInLog("FATAL:\nm_pFunctionId\n"));
    EXPECT_EQ(2u, newErrors());
}
