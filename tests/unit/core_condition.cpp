#include "core_expression_helpers.h"

#include "pdlconditionclasses.h"

#include <cmath>

namespace
{
// A condition with a fixed answer that counts its evaluations.
class CountingCondition : public PDLCondition
{
public:
    CountingCondition(bool result, int* pRuns) : m_result(result), m_pRuns(pRuns) {}

    bool evaluate() const override
    {
        ++*m_pRuns;
        return m_result;
    }

private:
    bool m_result;
    int* m_pRuns;
};

bool eq(PDLExpression* pLeft, PDLExpression* pRight)
{
    return PDLConditionEq(pLeft, pRight).evaluate();
}

bool neq(PDLExpression* pLeft, PDLExpression* pRight)
{
    return PDLConditionNEq(pLeft, pRight).evaluate();
}

bool cmp(PDLConditionNumCompare::ECompare op, PDLExpression* pLeft, PDLExpression* pRight)
{
    return PDLConditionNumCompare(op, pLeft, pRight).evaluate();
}

using C = PDLConditionNumCompare;
} // namespace

TEST_F(PDLTest, EqualityOfIntFloatAndTextOperands)
{
    EXPECT_TRUE(eq(num(3), num(3)));
    EXPECT_FALSE(eq(num(3), num(4)));
    EXPECT_TRUE(eq(flt(0.5f), flt(0.5f)));
    EXPECT_FALSE(eq(flt(0.5f), flt(0.25f)));
    EXPECT_TRUE(eq(str("abc"), str("abc")));
    EXPECT_FALSE(eq(str("abc"), str("ABC")));
    // Across kinds the texts decide; a Bool compares as a Bool.
    EXPECT_TRUE(eq(num(3), str("3")));
    EXPECT_FALSE(eq(num(3), str("03")));
    EXPECT_TRUE(eq(flt(0.5f), str("0.5000")));
    // Float 1.0 reads "1.0000", which is not the text of Int 1.
    EXPECT_FALSE(eq(flt(1.0f), num(1)));
    EXPECT_TRUE(eq(flt(1.0f), str("1.0000")));
    EXPECT_TRUE(eq(fixed(PDLVariant(true)), num(5)));
    EXPECT_FALSE(eq(fixed(PDLVariant(false)), num(5)));

    EXPECT_FALSE(neq(num(3), num(3)));
    EXPECT_TRUE(neq(num(3), num(4)));
    EXPECT_TRUE(neq(flt(0.5f), flt(0.25f)));
    EXPECT_FALSE(neq(str("3"), num(3)));
    EXPECT_TRUE(neq(str("abc"), str("abd")));

    // Invalid is equal to nothing and unequal to nothing.
    EXPECT_FALSE(eq(invalid(), invalid()));
    EXPECT_FALSE(neq(invalid(), invalid()));
    EXPECT_FALSE(eq(invalid(), num(1)));
    EXPECT_FALSE(neq(num(1), invalid()));
    EXPECT_TRUE(PDLConditionNot(new PDLConditionEq(invalid(), num(1))).evaluate());
    EXPECT_EQ("", logText());

    // Operands are read with warnings on.
    auto* pLeft = new FixedExpression(PDLVariant(1));
    PDLConditionEq withWarnings(pLeft, num(1));
    EXPECT_TRUE(withWarnings.evaluate());
    EXPECT_TRUE(pLeft->m_lastWarn);
}

TEST_F(PDLTest, NumericComparisonOnEveryKind)
{
    struct Row
    {
        C::ECompare op;
        bool less;    // 1 op 2
        bool equal;   // 2 op 2
        bool greater; // 3 op 2
    };
    Row const rows[] = {{C::kEqual, false, true, false},
                        {C::kLess, true, false, false},
                        {C::kLessEqual, true, true, false},
                        {C::kGreater, false, false, true},
                        {C::kGreaterEqual, false, true, true}};
    for (Row const& row : rows)
    {
        SCOPED_TRACE(row.op);
        EXPECT_EQ(row.less, cmp(row.op, num(1), num(2)));
        EXPECT_EQ(row.equal, cmp(row.op, num(2), num(2)));
        EXPECT_EQ(row.greater, cmp(row.op, num(3), num(2)));
        EXPECT_EQ(row.less, cmp(row.op, flt(1.5f), flt(1.75f)));
        EXPECT_EQ(row.equal, cmp(row.op, flt(1.75f), str("1.75")));
        EXPECT_EQ(row.greater, cmp(row.op, num(2), flt(1.75f)));
        EXPECT_EQ(row.less, cmp(row.op, str("1"), str("2")));
        EXPECT_EQ(row.equal, cmp(row.op, str("2.0"), num(2)));
        EXPECT_EQ(row.greater, cmp(row.op, str("10"), str("9")));
        // An Invalid on either side: true, whatever the operator.
        EXPECT_TRUE(cmp(row.op, invalid(), num(3)));
        EXPECT_TRUE(cmp(row.op, num(3), invalid()));
        EXPECT_TRUE(cmp(row.op, invalid(), invalid()));
        // A NaN compares false.
        EXPECT_FALSE(cmp(row.op, flt(std::nanf("")), num(1)));
    }
    // Numbers, not texts: "10" < "9" is false; "abc" is 0.
    EXPECT_FALSE(cmp(C::kLess, str("10"), str("9")));
    EXPECT_TRUE(cmp(C::kLess, str("abc"), num(1)));
    EXPECT_TRUE(cmp(C::kEqual, str("abc"), num(0)));
    EXPECT_TRUE(cmp(C::kGreater, str("12abc"), num(11)));
    EXPECT_TRUE(cmp(C::kEqual, fixed(PDLVariant(true)), num(1)));
    EXPECT_EQ("", logText());

    uint32_t const errors = PDLParseInfo::m_errorCount;
    EXPECT_FALSE(cmp(static_cast<C::ECompare>(5), num(1), num(1)));
    EXPECT_EQ("\nERROR:\nIllegal comparison operator !\n\n", logText());
    EXPECT_EQ(errors + 1, PDLParseInfo::m_errorCount);
    // The Invalid rule comes first.
    EXPECT_TRUE(cmp(static_cast<C::ECompare>(5), invalid(), num(1)));
}

TEST_F(PDLTest, AndOrEvaluateBothSides)
{
    int left = 0;
    int right = 0;
    EXPECT_FALSE(
        PDLConditionAnd(new CountingCondition(false, &left), new CountingCondition(true, &right)).evaluate());
    EXPECT_EQ(1, left);
    EXPECT_EQ(1, right);
    EXPECT_TRUE(
        PDLConditionOr(new CountingCondition(true, &left), new CountingCondition(false, &right)).evaluate());
    EXPECT_EQ(2, left);
    EXPECT_EQ(2, right);

    for (int bits = 0; bits < 4; ++bits)
    {
        bool const a = (bits & 1) != 0;
        bool const b = (bits & 2) != 0;
        PDLCondition* pA = a ? static_cast<PDLCondition*>(new PDLConditionTrue()) : new PDLConditionFalse();
        PDLCondition* pB = b ? static_cast<PDLCondition*>(new PDLConditionTrue()) : new PDLConditionFalse();
        PDLCondition* pA2 = a ? static_cast<PDLCondition*>(new PDLConditionTrue()) : new PDLConditionFalse();
        PDLCondition* pB2 = b ? static_cast<PDLCondition*>(new PDLConditionTrue()) : new PDLConditionFalse();
        EXPECT_EQ(a && b, PDLConditionAnd(pA, pB).evaluate());
        EXPECT_EQ(a || b, PDLConditionOr(pA2, pB2).evaluate());
        EXPECT_EQ(!a, PDLConditionNot(a ? static_cast<PDLCondition*>(new PDLConditionTrue())
                                        : new PDLConditionFalse())
                          .evaluate());
    }

    uint32_t const errors = PDLParseInfo::m_errorCount;
    EXPECT_FALSE(PDLConditionAnd(new PDLConditionTrue(), nullptr).evaluate());
    EXPECT_FALSE(PDLConditionOr(nullptr, new PDLConditionTrue()).evaluate());
    EXPECT_FALSE(PDLConditionNot(nullptr).evaluate());
    EXPECT_EQ("\nFATAL:\nm_pRightCondition\n\n\nFATAL:\nm_pLeftCondition\n\n\nFATAL:\nm_pCondition\n\n",
              logText());
    EXPECT_EQ(errors + 3, PDLParseInfo::m_errorCount);
}

TEST_F(PDLTest, MembershipSetEqualityAndValidity)
{
    EXPECT_TRUE(
        PDLConditionIn(num(2), new PDLSetExpConstSet(values({PDLVariant(1), PDLVariant(2)}))).evaluate());
    EXPECT_FALSE(
        PDLConditionIn(num(3), new PDLSetExpConstSet(values({PDLVariant(1), PDLVariant(2)}))).evaluate());
    EXPECT_FALSE(PDLConditionIn(invalid(), new PDLSetExpConstSet(values({PDLVariant(1)}))).evaluate());
    EXPECT_TRUE(PDLConditionIn(str("x"), new PDLSetExpSingleValue(str("x"))).evaluate());

    auto setEq = [](std::initializer_list<PDLVariant> left, std::initializer_list<PDLVariant> right)
    {
        return PDLConditionSetEq(new PDLSetExpConstSet(values(left)), new PDLSetExpConstSet(values(right)))
            .evaluate();
    };
    EXPECT_TRUE(setEq({PDLVariant(1), PDLVariant(2)}, {PDLVariant(2), PDLVariant(1)}));
    // Counts and one-way containment only.
    EXPECT_TRUE(setEq({PDLVariant(1), PDLVariant(1)}, {PDLVariant(1), PDLVariant(2)}));
    EXPECT_FALSE(setEq({PDLVariant(1), PDLVariant(2)}, {PDLVariant(1), PDLVariant(1)}));
    EXPECT_FALSE(setEq({PDLVariant(1), PDLVariant(2)}, {PDLVariant(1), PDLVariant(2), PDLVariant(3)}));
    EXPECT_FALSE(setEq({PDLVariant(1), PDLVariant(3)}, {PDLVariant(1), PDLVariant(2)}));
    EXPECT_TRUE(setEq({}, {}));
    EXPECT_TRUE(
        PDLConditionSetEq(new PDLSetExpSingleValue(num(4)), new PDLSetExpConstSet(values({PDLVariant("4")})))
            .evaluate());
    EXPECT_EQ("", logText());

    auto* pValue = new FixedExpression(PDLVariant(0));
    PDLConditionIsValid valid(pValue);
    EXPECT_TRUE(valid.evaluate());
    // Validity is read silently.
    EXPECT_FALSE(pValue->m_lastWarn);
    EXPECT_FALSE(PDLConditionIsValid(invalid()).evaluate());
    EXPECT_TRUE(PDLConditionIsValid(str("")).evaluate());

    uint32_t const errors = PDLParseInfo::m_errorCount;
    EXPECT_FALSE(PDLConditionIn(num(1), nullptr).evaluate());
    EXPECT_FALSE(PDLConditionSetEq(nullptr, new PDLSetExpConstSet()).evaluate());
    EXPECT_FALSE(PDLConditionIsValid(nullptr).evaluate());
    EXPECT_EQ("\nFATAL:\nm_pSet\n\n\nFATAL:\nm_pLeftSetExp\n\n\nFATAL:\nm_pExpression\n\n", logText());
    EXPECT_EQ(errors + 3, PDLParseInfo::m_errorCount);
}

namespace
{
class ConditionContextTest : public PDLTest
{
protected:
    void SetUp() override
    {
        PDLTest::SetUp();
        auto* pRows = new PDLMappedValueList();
        pRows->push_back(new PDLValMapping(PDLVariant("red"), values({PDLVariant(1)})));
        pRows->push_back(new PDLValMapping(PDLVariant("green"), values({PDLVariant(2)})));
        m_module.registerType(new PDLType("Colors", new std::vector<std::string>{"code"}, pRows));
        g_pCurrentModule = &m_module;
    }

    PDLCondition* bound(PDLCondition* pCondition, bool noEventRegistration = false)
    {
        m_trees.emplace_back(pCondition);
        pCondition->setContext(&m_context, noEventRegistration);
        return pCondition;
    }

    PDLEvent* event(int32_t type, std::string const& name, uint32_t widgetID = 0)
    {
        m_event.reset(new PDLEvent(type));
        m_event->m_name = name;
        m_event->m_widgetID = widgetID;
        m_context.m_pEvent = m_event.get();
        return m_event.get();
    }

    PDLModule m_module{nullptr, UniqueModuleID(1, 2, 3), 0, 0, nullptr, ""};
    ModuleTestContext m_context;
    std::unique_ptr<PDLEvent> m_event;
    std::vector<std::unique_ptr<PDLCondition>> m_trees;
};
} // namespace

TEST_F(ConditionContextTest, BindingPassesTheRegistrationFlagOn)
{
    m_context.declare(simpleVar("x"))->setValue(PDLVariant(1));
    m_context.declare(simpleVar("y"))->setValue(PDLVariant(2));
    PDLCondition* pCondition =
        bound(new PDLConditionAnd(new PDLConditionEq(new PDLExpressionVariable(ref("x"), nullptr), num(1)),
                                  new PDLConditionNot(new PDLConditionNumCompare(
                                      C::kLess, new PDLExpressionVariable(ref("y"), nullptr), num(2)))));
    EXPECT_EQ(Registrations({{"x", false}, {"y", false}}), m_context.m_registrations);
    EXPECT_TRUE(pCondition->evaluate());

    m_context.m_registrations.clear();
    bound(new PDLConditionOr(new PDLConditionIsValid(new PDLExpressionVariable(ref("x"), nullptr)),
                             new PDLConditionIn(new PDLExpressionVariable(ref("y"), nullptr),
                                                new PDLSetExpVariable(ref("x"), nullptr))),
          true);
    EXPECT_TRUE(m_context.m_registrations.empty());

    // A missing child is named when bound.
    uint32_t const errors = PDLParseInfo::m_errorCount;
    bound(new PDLConditionEq(nullptr, num(1)));
    EXPECT_EQ("\nFATAL:\nm_pLeftExpression\n\n", logText());
    EXPECT_EQ(errors + 1, PDLParseInfo::m_errorCount);
}

TEST_F(ConditionContextTest, AssignHandsTheSetsTypeToTheVariable)
{
    PDLVariableSimple* pX = m_context.declare(simpleVar("x"));
    pX->setValue(PDLVariant(7));
    PDLCondition* pAssign = bound(new PDLConditionAssign(ref("x"), new PDLSetExpType("Colors", nullptr)));
    // Testing does not register for changes.
    EXPECT_TRUE(m_context.m_registrations.empty());

    EXPECT_FALSE(pAssign->evaluate());
    EXPECT_EQ("", pX->getTypeName());
    pX->setValue(PDLVariant("green"));
    EXPECT_TRUE(pAssign->evaluate());
    EXPECT_EQ("Colors", pX->getTypeName());
    // Outside the set again: false, and the type stays.
    pX->setValue(PDLVariant("pink"));
    EXPECT_FALSE(pAssign->evaluate());
    EXPECT_EQ("Colors", pX->getTypeName());
    // A set without a type name takes it away.
    pX->setValue(PDLVariant(3));
    EXPECT_TRUE(
        bound(new PDLConditionAssign(ref("x"), new PDLSetExpConstSet(values({PDLVariant(3)}))))->evaluate());
    EXPECT_EQ("", pX->getTypeName());
    EXPECT_EQ("", logText());

    // An element of an array, at an index that needs no context.
    PDLVariableArray* pArr = m_context.declare(arrayVar("arr"));
    pArr->setValueAtIndex(PDLVariant(1), PDLVariant("red"));
    PDLCondition* pElement =
        bound(new PDLConditionAssign(ref("arr", num(1)), new PDLSetExpType("Colors", nullptr)));
    EXPECT_TRUE(pElement->evaluate());
    EXPECT_EQ("Colors", pArr->getTypeName());
    // An Invalid value reads with a warning and is in no set.
    PDLCondition* pMissing =
        bound(new PDLConditionAssign(ref("arr", num(2)), new PDLSetExpType("Colors", nullptr)));
    EXPECT_FALSE(pMissing->evaluate());
    EXPECT_EQ(1, countInLog("WARNING:\n"));

    m_log.str("");
    PDLCondition* pUnknown = bound(new PDLConditionAssign(ref("nope"), new PDLSetExpConstSet()));
    EXPECT_EQ(1, countInLog("undeclared variable nope"));
    m_log.str("");
    EXPECT_FALSE(pUnknown->evaluate());
    EXPECT_EQ("\nFATAL:\nm_pVariable\n\n", logText());
    m_log.str("");
    EXPECT_FALSE(PDLConditionAssign(ref("x"), new PDLSetExpConstSet()).evaluate());
    EXPECT_EQ("\nFATAL:\nm_pContext\n\n", logText());
}

TEST_F(ConditionContextTest, EventConditionOnABareWord)
{
    m_context.declare(simpleVar("level"));
    m_context.declare(simpleVar("tmp", eScopeLocal));
    auto* pPress = static_cast<PDLConditionEvent*>(
        bound(new PDLConditionEvent(list({new PDLExpressionIdentifier("PRESS")}))));
    EXPECT_EQ("PRESS", pPress->getEventName());
    EXPECT_TRUE(m_context.m_registrations.empty());

    // A widget event counts only for the section's own widget.
    event(PDLEvent::eEventWidget, "PRESS", m_context.m_execWidgetID);
    EXPECT_TRUE(pPress->evaluate());
    event(PDLEvent::eEventWidget, "PRESS", m_context.m_execWidgetID + 1);
    EXPECT_FALSE(pPress->evaluate());
    event(PDLEvent::eEventWidget, "RELEASE", m_context.m_execWidgetID);
    EXPECT_FALSE(pPress->evaluate());
    for (int32_t kind : {PDLEvent::eEventVariable, PDLEvent::eEventInit, PDLEvent::eEventState})
    {
        event(kind, "PRESS", 99);
        EXPECT_TRUE(pPress->evaluate()) << kind;
        event(kind, "PRESS2", 99);
        EXPECT_FALSE(pPress->evaluate()) << kind;
    }
    event(PDLEvent::eEventMFDriver, "PRESS");
    EXPECT_FALSE(pPress->evaluate());
    EXPECT_EQ("", logText());

    uint32_t const errors = PDLParseInfo::m_errorCount;
    event(PDLEvent::eEventSetVar, "PRESS");
    EXPECT_FALSE(pPress->evaluate());
    EXPECT_EQ("\nFATAL:\nunknown event type\n\n", logText());
    m_log.str("");
    m_context.m_pEvent = nullptr;
    EXPECT_FALSE(pPress->evaluate());
    EXPECT_EQ("\nFATAL:\ncurEvt\n\n", logText());
    EXPECT_EQ(errors + 2, PDLParseInfo::m_errorCount);

    // The name of a shared variable asks for a separate event per change; a local one does not.
    bound(new PDLConditionEvent(list({new PDLExpressionIdentifier("level")})));
    EXPECT_EQ(Registrations({{"level", true}}), m_context.m_registrations);
    m_context.m_registrations.clear();
    bound(new PDLConditionEvent(list({new PDLExpressionIdentifier("tmp")})));
    EXPECT_TRUE(m_context.m_registrations.empty());
}

TEST_F(ConditionContextTest, EventConditionOnAComposedId)
{
    m_context.declare(simpleVar("ch"))->setValue(PDLVariant(4));
    auto* pDriver = static_cast<PDLConditionEvent*>(bound(new PDLConditionEvent(
        list({new PDLExpressionIdentifier("MIX"), new PDLExpressionVariable(ref("ch"), nullptr)}))));
    EXPECT_EQ("", pDriver->getEventName());
    EXPECT_EQ(Registrations({{"ch", false}}), m_context.m_registrations);

    event(PDLEvent::eEventMFDriver, "MIX.4");
    EXPECT_TRUE(pDriver->evaluate());
    event(PDLEvent::eEventMFDriver, "MIX.5");
    EXPECT_FALSE(pDriver->evaluate());
    // Every other kind is false, whatever the name.
    for (int32_t kind :
         {PDLEvent::eEventWidget, PDLEvent::eEventVariable, PDLEvent::eEventInit, PDLEvent::eEventState})
    {
        event(kind, "MIX.4", m_context.m_execWidgetID);
        EXPECT_FALSE(pDriver->evaluate()) << kind;
    }
    // The id is composed anew each time.
    m_context.getLocalVariable("ch")->setValue(PDLVariant(5));
    event(PDLEvent::eEventMFDriver, "MIX.5");
    EXPECT_TRUE(pDriver->evaluate());
    // An id that cannot be composed matches nothing.
    m_context.getLocalVariable("ch")->setInvalid();
    EXPECT_FALSE(pDriver->evaluate());

    uint32_t const errors = PDLParseInfo::m_errorCount;
    m_log.str("");
    bound(new PDLConditionEvent(nullptr));
    EXPECT_EQ("\nFATAL:\nm_pFunctionId\n\n", logText());
    EXPECT_EQ(errors + 1, PDLParseInfo::m_errorCount);
}

TEST_F(ConditionContextTest, WidgetEventConditionWalksItsSet)
{
    PDLCondition* pCondition = bound(new PDLConditionWidgetEvent(
        new PDLSetExpConstSet(values({PDLVariant(5), PDLVariant("7")})), "PRESS"));
    event(PDLEvent::eEventWidget, "PRESS", 7);
    EXPECT_TRUE(pCondition->evaluate());
    event(PDLEvent::eEventState, "PRESS", 5);
    EXPECT_TRUE(pCondition->evaluate());
    event(PDLEvent::eEventWidget, "PRESS", 6);
    EXPECT_FALSE(pCondition->evaluate());
    event(PDLEvent::eEventWidget, "RELEASE", 5);
    EXPECT_FALSE(pCondition->evaluate());
    for (int32_t kind : {PDLEvent::eEventVariable, PDLEvent::eEventInit, PDLEvent::eEventMFDriver})
    {
        event(kind, "PRESS", 5);
        EXPECT_FALSE(pCondition->evaluate()) << kind;
    }
    EXPECT_EQ("", logText());

    uint32_t const errors = PDLParseInfo::m_errorCount;
    m_context.m_pEvent = nullptr;
    EXPECT_FALSE(pCondition->evaluate());
    EXPECT_EQ("\nFATAL:\ncurEvt\n\n", logText());
    m_log.str("");
    EXPECT_FALSE(PDLConditionWidgetEvent(new PDLSetExpConstSet(), "PRESS").evaluate());
    EXPECT_EQ("\nFATAL:\nm_pContext\n\n", logText());
    EXPECT_EQ(errors + 2, PDLParseInfo::m_errorCount);
}
