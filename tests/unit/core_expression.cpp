// Expressions and set expressions on hand-made trees, for what a script cannot show: what reads register
// and when they warn, panel state reads, widget references, and sets. The operators' results are in the
// scenario lang-expressions.

#include "core_expression_helpers.h"

#include "pdlpanelstate.h"

namespace
{
using Texts = std::vector<std::string>;
// The texts of a set expression's elements in iteration order (bounded, in case the end is never met).
Texts walk(PDLSetExp const& set)
{
    Texts texts;
    PDLVariantIteratorCont const last = set.end();
    int guard = 0;
    for (PDLVariantIteratorCont it = set.begin(); it != last && guard < 100; ++it, ++guard)
    {
        texts.push_back((*it).getString());
    }
    return texts;
}
} // namespace

namespace
{
class ExpressionValueTest : public PDLTest
{
protected:
    void SetUp() override
    {
        PDLTest::SetUp();
        // Colors: red, green, blue; mapping "code" 1, 2, 3 and "name" "Rot", "Gruen", "Blau".
        auto* pRows = new PDLMappedValueList();
        pRows->push_back(new PDLValMapping(PDLVariant("red"), values({PDLVariant(1), PDLVariant("Rot")})));
        pRows->push_back(
            new PDLValMapping(PDLVariant("green"), values({PDLVariant(2), PDLVariant("Gruen")})));
        pRows->push_back(new PDLValMapping(PDLVariant("blue"), values({PDLVariant(3), PDLVariant("Blau")})));
        m_module.registerType(new PDLType("Colors", new std::vector<std::string>{"code", "name"}, pRows));
        g_pCurrentModule = &m_module;
    }
    void TearDown() override
    {
        m_trees.clear();
        if (PDLPanelState::hasInstance())
        {
            PDLPanelState::destroyInstance();
        }
        PDLTest::TearDown();
    }
    // Binds the tree to the module context and keeps it for the test's lifetime.
    template <class T>
    T* bound(T* pExpression, bool noEventRegistration = false)
    {
        m_trees.emplace_back(pExpression);
        pExpression->setContext(&m_context, noEventRegistration);
        return pExpression;
    }
    PDLModule m_module{nullptr, UniqueModuleID(1, 2, 3), 0, 0, nullptr, ""};
    ModuleTestContext m_context;
    std::vector<std::unique_ptr<PDLBaseExpression>> m_trees;
};
} // namespace

TEST_F(ExpressionValueTest, VariableReadsRegisterAsTheirFlagsSay)
{
    PDLVariableSimple* pX = m_context.declare(simpleVar("x"));
    PDLVariableSimple* pI = m_context.declare(simpleVar("i"));
    PDLVariableArray* pArr = m_context.declare(arrayVar("arr"));
    PDLVariableSimple* pLocal = m_context.declare(simpleVar("l", eScopeLocal));
    pX->setValue(PDLVariant(7));
    pI->setValue(PDLVariant("k"));
    pArr->setValueAtIndex(PDLVariant("k"), PDLVariant(11));
    pLocal->setValue(PDLVariant(1));
    PDLExpression* pRead = bound(new PDLExpressionVariable(ref("x"), nullptr));
    EXPECT_EQ(Registrations({{"x", false}}), m_context.m_registrations);
    EXPECT_EQ(7, pRead->evaluate(true).getInt());
    // Inside a handler body nothing registers, except what an index reads.
    m_context.m_registrations.clear();
    PDLExpression* pIndexed = bound(
        new PDLExpressionVariable(ref("arr", new PDLExpressionVariable(ref("i"), nullptr)), nullptr), true);
    EXPECT_EQ(Registrations({{"i", false}}), m_context.m_registrations);
    EXPECT_EQ(11, pIndexed->evaluate(true).getInt());
    PDLVariableDescription const place = pIndexed->getExpressionVariable();
    EXPECT_EQ(pArr, place.m_pVariable);
    EXPECT_EQ("k", place.m_index);
    EXPECT_EQ(pX, pRead->getExpressionVariable().m_pVariable);
    EXPECT_EQ("", pRead->getExpressionVariable().m_index);
    // Local variables never register.
    m_context.m_registrations.clear();
    bound(new PDLExpressionVariable(ref("l"), nullptr));
    EXPECT_TRUE(m_context.m_registrations.empty());
    EXPECT_EQ("", logText());
}

TEST_F(ExpressionValueTest, VariableReadsAtIndexesAndWithWarnings)
{
    PDLVariableArray* pArr = m_context.declare(arrayVar("arr"));
    m_context.declare(simpleVar("empty"));
    pArr->setValueAtIndex(PDLVariant(2), PDLVariant("two"));
    EXPECT_EQ("two",
              bound(new PDLExpressionVariable(ref("arr", num(2)), nullptr))->evaluate(true).getString());
    // The index is the value's text: Float 2.0 is another key.
    PDLExpression* pMissing = bound(new PDLExpressionVariable(ref("arr", flt(2.0f)), nullptr));
    uint32_t const errors = PDLParseInfo::m_errorCount;
    m_log.str("");
    EXPECT_EQ(PDLVariant::eInvalid, pMissing->evaluate(false).getKind());
    EXPECT_EQ("", logText());
    EXPECT_EQ(PDLVariant::eInvalid, pMissing->evaluate(true).getKind());
    EXPECT_EQ(1, countInLog("WARNING:\n"));
    // An Invalid index is handed on: the array warns about it.
    m_log.str("");
    PDLExpression* pBadIndex = bound(new PDLExpressionVariable(ref("arr", invalid()), nullptr));
    EXPECT_EQ(PDLVariant::eInvalid, pBadIndex->evaluate(true).getKind());
    EXPECT_EQ(1, countInLog("accessing variable arr with invalid index expression"));
    m_log.str("");
    PDLExpression* pEmpty = bound(new PDLExpressionVariable(ref("empty"), nullptr));
    EXPECT_EQ(PDLVariant::eInvalid, pEmpty->evaluate(false).getKind());
    EXPECT_EQ("", logText());
    EXPECT_EQ(PDLVariant::eInvalid, pEmpty->evaluate(true).getKind());
    EXPECT_EQ(1, countInLog("WARNING:\n"));
    EXPECT_EQ(errors, PDLParseInfo::m_errorCount);
}

TEST_F(ExpressionValueTest, MappedReadsAndBindingFaults)
{
    PDLVariableSimple* pX = m_context.declare(simpleVar("x", eScopeModule, "Colors"));
    pX->setValue(PDLVariant("red"));
    // An Invalid mapping name makes the read Invalid, silently.
    PDLExpression* pInvalidMapping = bound(new PDLExpressionVariable(ref("x"), invalid()));
    uint32_t const errors = PDLParseInfo::m_errorCount;
    EXPECT_EQ(PDLVariant::eInvalid, pInvalidMapping->evaluate(true).getKind());
    EXPECT_EQ("", logText());
    EXPECT_EQ(errors, PDLParseInfo::m_errorCount);
    // A mapping is looked up in the module that executes; outside of any event there is none.
    PDLExpression* pMapped = bound(new PDLExpressionVariable(ref("x"), str("code")));
    EXPECT_EQ(PDLVariant::eInvalid, pMapped->evaluate(true).getKind());
    EXPECT_EQ(1, countInLog("\nFATAL:\npModule\n\n"));
    // An unknown name fails when bound, and the read names the missing variable.
    m_log.str("");
    PDLExpression* pUnknown = bound(new PDLExpressionVariable(ref("nope"), nullptr));
    EXPECT_EQ(1, countInLog("ERROR:\nundeclared variable nope\n"));
    m_log.str("");
    EXPECT_EQ(PDLVariant::eInvalid, pUnknown->evaluate(true).getKind());
    EXPECT_EQ("\nFATAL:\nm_pVariable\n\n", logText());
    EXPECT_FALSE(pUnknown->hasChanged());
    // Without a context there is nothing to resolve against.
    m_log.str("");
    std::unique_ptr<PDLExpression> pLoose(new PDLExpressionVariable(ref("x"), nullptr));
    EXPECT_EQ(PDLVariant::eInvalid, pLoose->evaluate(true).getKind());
    EXPECT_EQ("\nFATAL:\nm_pVariable\n\n", logText());
}

TEST_F(ExpressionValueTest, GetReadsThePanelStateAtAComposedId)
{
    PDLPanelState* pState = PDLPanelState::createInstance();
    pState->setValueInt("DEV.1.GAIN", 12);
    m_context.declare(simpleVar("ch"))->setValue(PDLVariant(1));
    PDLExpression* pGet = bound(new PDLExpressionGet(list(
        {new PDLExpressionIdentifier("DEV"), new PDLExpressionVariable(ref("ch"), nullptr), str("GAIN")})));
    PDLVariant const gain = pGet->evaluate(true);
    EXPECT_EQ(PDLVariant::eInt, gain.getKind());
    EXPECT_EQ(12, gain.getInt());
    // A variable inside the id registers like any read.
    EXPECT_EQ(Registrations({{"ch", false}}), m_context.m_registrations);
    // An unknown id creates an Invalid entry; the read mode decides the warning.
    size_t const entries = pState->getEntryCount();
    PDLExpression* pUnknown = bound(new PDLExpressionGet(list({str("DEV"), num(2)})));
    m_log.str("");
    EXPECT_EQ(PDLVariant::eInvalid, pUnknown->evaluate(false).getKind());
    EXPECT_EQ(entries + 1, pState->getEntryCount());
    EXPECT_NE(nullptr, pState->findStateEntry("DEV.2"));
    EXPECT_EQ(0, countInLog("WARNING:"));
    pUnknown->evaluate(true);
    EXPECT_EQ(1, countInLog("WARNING:"));
    // An Invalid component reads nothing and creates nothing.
    PDLExpression* pBroken = bound(new PDLExpressionGet(list({str("DEV"), invalid()})));
    EXPECT_EQ(PDLVariant::eInvalid, pBroken->evaluate(true).getKind());
    EXPECT_EQ(entries + 1, pState->getEntryCount());
}

TEST_F(ExpressionValueTest, WidgetReferencesComposeTheModulesWidgetId)
{
    uint32_t const errors = PDLParseInfo::m_errorCount;
    PDLExpression* pRef = bound(new PDLExpressionWidgetRef(num(5), "LED"));
    EXPECT_EQ(PDLVariant::eInvalid, pRef->evaluate(true).getKind());
    uint32_t const id = UniqueWidgetID(1, 2, 3, 5).getValue();
    EXPECT_EQ("\nERROR:\nwidget " + std::to_string(id) + " not found\n\n", logText());
    EXPECT_EQ(errors + 1, PDLParseInfo::m_errorCount);
    // Only the low 16 bits of the number are the widget's.
    m_log.str("");
    bound(new PDLExpressionWidgetRef(num(0x10005), "LED"))->evaluate(true);
    EXPECT_EQ(1, countInLog("widget " + std::to_string(id) + " not found"));
    m_log.str("");
    EXPECT_EQ(PDLVariant::eInvalid,
              bound(new PDLExpressionWidgetRef(invalid(), "LED"))->evaluate(true).getKind());
    EXPECT_EQ("\nFATAL:\npWidgetID.isValid()\n\n", logText());
    m_log.str("");
    std::unique_ptr<PDLExpression> pLoose(new PDLExpressionWidgetRef(num(5), "LED"));
    EXPECT_EQ(PDLVariant::eInvalid, pLoose->evaluate(true).getKind());
    EXPECT_EQ("\nFATAL:\nm_pContext\n\n", logText());
}

TEST_F(ExpressionValueTest, SingleValueRunsOnceEvenWhenInvalid)
{
    int runs = 0;
    PDLSetExpSingleValue single(new FixedExpression(PDLVariant(), &runs));
    int rounds = 0;
    PDLVariantIteratorCont const last = single.end();
    for (PDLVariantIteratorCont it = single.begin(); it != last && rounds < 10; ++it)
    {
        EXPECT_EQ(PDLVariant::eInvalid, (*it).getKind());
        ++rounds;
    }
    EXPECT_EQ(1, rounds);
    EXPECT_EQ(1, runs);
    EXPECT_EQ(1, single.getCount());
    EXPECT_EQ(PDLBaseExpression::eTypeSet, single.getType());
    // Membership of an Invalid is false before the value is even looked at.
    EXPECT_FALSE(single.isElement(PDLVariant()));
    EXPECT_EQ(1, runs);
    // Each begin evaluates anew; the value survives the end of the walk.
    PDLSetExpSingleValue five(num(5));
    PDLVariantIteratorCont it = five.begin();
    EXPECT_EQ(5, (*it).getInt());
    ++it;
    EXPECT_TRUE(it == five.end());
    EXPECT_EQ(5, (*it).getInt());
    EXPECT_EQ(Texts({"5"}), walk(five));
    EXPECT_FALSE(five.isElement(PDLVariant(6)));
    EXPECT_EQ("", logText());
}

TEST_F(ExpressionValueTest, TypeSetsIterateAndTestThroughMappings)
{
    PDLSetExpType plain("Colors", nullptr);
    EXPECT_EQ(Texts({"red", "green", "blue"}), walk(plain));
    EXPECT_TRUE(plain.isElement(PDLVariant("green")));
    EXPECT_FALSE(plain.isElement(PDLVariant(2)));
    EXPECT_FALSE(plain.isElement(PDLVariant()));
    // Mappings plus one, not the number of values.
    EXPECT_EQ(3, plain.getCount());
    EXPECT_EQ("Colors", plain.getTypeName());
    // A type unknown when the set was built.
    uint32_t const errors = PDLParseInfo::m_errorCount;
    PDLSetExpType unknown("Shapes", nullptr);
    EXPECT_FALSE(unknown.isElement(PDLVariant("red")));
    EXPECT_EQ(0, unknown.getCount());
    EXPECT_EQ(Texts({}), walk(unknown));
    EXPECT_EQ("", unknown.getTypeName());
    EXPECT_EQ(4, countInLog("FATAL:\nm_pType\n"));
    EXPECT_EQ(errors + 4, PDLParseInfo::m_errorCount);
}

TEST_F(ExpressionValueTest, VariableSetsFollowTheirVariable)
{
    PDLVariableSet* pSet = m_context.declare(setVar("members", eScopeModule, "Colors"));
    PDLVariableArray* pArr = m_context.declare(arrayVar("rows"));
    m_context.declare(simpleVar("single"));
    pSet->addValue(PDLVariant(10));
    pSet->addValue(PDLVariant(2));
    pSet->addValue(PDLVariant(1));
    pArr->setValueAtIndex(PDLVariant("b"), PDLVariant("B"));
    pArr->setValueAtIndex(PDLVariant("a"), PDLVariant("A"));
    auto* pMembers = bound(new PDLSetExpVariable(ref("members"), nullptr));
    EXPECT_EQ(PDLBaseExpression::eTypeSet, pMembers->getType());
    EXPECT_EQ(Registrations({{"members", false}}), m_context.m_registrations);
    // Elements in the order of their texts.
    EXPECT_EQ(Texts({"1", "10", "2"}), walk(*pMembers));
    EXPECT_EQ(3, pMembers->getCount());
    EXPECT_TRUE(pMembers->isElement(PDLVariant("10")));
    EXPECT_FALSE(pMembers->isElement(PDLVariant(3)));
    EXPECT_FALSE(pMembers->isElement(PDLVariant()));
    EXPECT_EQ("Colors", pMembers->getTypeName());
    EXPECT_EQ(pSet, pMembers->getExpressionVariable().m_pVariable);
    // The set is read as it is now.
    pSet->removeValue(PDLVariant(10));
    EXPECT_EQ(Texts({"1", "2"}), walk(*pMembers));
    pSet->setTypeName("Other");
    EXPECT_EQ("Other", pMembers->getTypeName());
    auto* pRows = bound(new PDLSetExpVariable(arrayRef("rows"), nullptr), true);
    EXPECT_EQ(PDLBaseExpression::eTypeArray, pRows->getType());
    EXPECT_EQ(Texts({"A", "B"}), walk(*pRows));
    EXPECT_TRUE(pRows->isElement(PDLVariant("B")));
    EXPECT_FALSE(pRows->isElement(PDLVariant("b")));
    EXPECT_EQ(2, pRows->getCount());
    EXPECT_EQ("", logText());
    // A simple variable is no collection.
    auto* pSingle = bound(new PDLSetExpVariable(ref("single"), nullptr));
    uint32_t const errors = PDLParseInfo::m_errorCount;
    EXPECT_FALSE(pSingle->isElement(PDLVariant(1)));
    EXPECT_EQ("\nERROR:\nVariable single is not an array/set variable!\n\n", logText());
    EXPECT_EQ(errors + 1, PDLParseInfo::m_errorCount);
}

TEST_F(ExpressionValueTest, VariableSetWithAnInvalidMappingHasNoMembers)
{
    PDLVariableSet* pSet = m_context.declare(setVar("members", eScopeModule, "Colors"));
    pSet->addValue(PDLVariant("red"));
    auto* pMapped = bound(new PDLSetExpVariable(ref("members"), invalid()));
    EXPECT_FALSE(pMapped->isElement(PDLVariant("red")));
    // The walk takes the Invalid name as no mapping.
    EXPECT_EQ(Texts({"red"}), walk(*pMapped));
    EXPECT_EQ("", logText());
}
