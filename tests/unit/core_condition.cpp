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

using C = PDLConditionNumCompare;
} // namespace

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
    uint32_t const errors = PDLParseInfo::m_errorCount;
    EXPECT_FALSE(PDLConditionAnd(new PDLConditionTrue(), nullptr).evaluate());
    EXPECT_FALSE(PDLConditionOr(nullptr, new PDLConditionTrue()).evaluate());
    EXPECT_FALSE(PDLConditionNot(nullptr).evaluate());
    EXPECT_EQ("\nFATAL:\nm_pRightCondition\n\n\nFATAL:\nm_pLeftCondition\n\n\nFATAL:\nm_pCondition\n\n",
              logText());
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
    EXPECT_EQ(errors + 1, PDLParseInfo::m_errorCount);
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
