#include "core_expression_helpers.h"

#include "pdlpanelstate.h"
#include "pdlphysicalwidget.h"

namespace
{
class ExpressionValueTest : public PDLTest
{
protected:
    void TearDown() override
    {
        if (PDLPanelState::hasInstance())
        {
            PDLPanelState::destroyInstance();
        }
        PDLTest::TearDown();
    }

    // Binds the tree to the module context and keeps it for the test's lifetime.
    PDLExpression* bound(PDLExpression* pExpression, bool noEventRegistration = false)
    {
        m_trees.emplace_back(pExpression);
        pExpression->setContext(&m_context, noEventRegistration);
        return pExpression;
    }

    ModuleTestContext m_context;
    std::vector<std::unique_ptr<PDLExpression>> m_trees;
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

    // The change flag of the variable read.
    pX->clearChangeFlag();
    EXPECT_FALSE(pRead->hasChanged());
    pX->setValue(PDLVariant(8));
    EXPECT_TRUE(pRead->hasChanged());
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

    m_log.str("");
    bound(new PDLExpressionVariable(nullptr, nullptr));
    EXPECT_EQ("\nFATAL:\nm_pProtoVariable\n\n", logText());

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

    // A lone component is a whole id.
    pState->setValueString("7", "seven");
    EXPECT_EQ("seven", bound(new PDLExpressionGet(list({num(7)})))->evaluate(true).getString());

    m_log.str("");
    bound(new PDLExpressionGet(nullptr));
    EXPECT_EQ("\nFATAL:\nm_pFunctionIdComponents\n\n", logText());
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

TEST_F(ExpressionValueTest, ScaleFollowsTheParameterArray)
{
    PDLVariableArray* pParams = m_context.declare(arrayVar("params"));
    int runs = 0;
    PDLExpression* pScale =
        bound(new PDLExpressionScale(new FixedExpression(PDLVariant(7), &runs), "params", false));
    EXPECT_EQ(Registrations({{"params", false}}), m_context.m_registrations);

    // No TYPE: the operand passes unscaled, kind and all.
    PDLVariant const plain = pScale->evaluate(true);
    EXPECT_EQ(PDLVariant::eInt, plain.getKind());
    EXPECT_EQ(7, plain.getInt());
    EXPECT_EQ(1, runs);

    // An unknown type gives Invalid without evaluating the operand.
    pParams->setValueAtIndex(PDLVariant("TYPE"), PDLVariant("percent"));
    EXPECT_EQ(PDLVariant::eInvalid, pScale->evaluate(true).getKind());
    EXPECT_EQ(1, runs);

    // The parameters are read anew at each evaluation.
    pParams->setValueAtIndex(PDLVariant("TYPE"), PDLVariant("PERCENT"));
    PDLExpression* pValue = bound(new PDLExpressionScale(flt(0.125f), "params", false));
    EXPECT_EQ("12.5%", pValue->evaluate(true).getString());
    pParams->setValueAtIndex(PDLVariant("MIN"), PDLVariant(10));
    pParams->setValueAtIndex(PDLVariant("MAX"), PDLVariant(20));
    EXPECT_EQ("25.0%", bound(new PDLExpressionScale(num(15), "params", false))->evaluate(true).getString());
    pParams->setValueAtIndex(PDLVariant("PRECISION"), PDLVariant(3));
    EXPECT_EQ("25.000%", bound(new PDLExpressionScale(num(15), "params", false))->evaluate(true).getString());

    PDLVariant const inverse = bound(new PDLExpressionScale(num(50), "params", true))->evaluate(true);
    EXPECT_EQ(PDLVariant::eFloat, inverse.getKind());
    EXPECT_FLOAT_EQ(0.5f, inverse.getFloat());
    EXPECT_EQ(PDLVariant::eInvalid,
              bound(new PDLExpressionScale(invalid(), "params", true))->evaluate(true).getKind());
    EXPECT_EQ("", logText());

    bound(new PDLExpressionScale(num(1), "missing", false))->evaluate(true);
    EXPECT_EQ(1, countInLog("ERROR:\nundeclared variable missing\n"));
    EXPECT_EQ(1, countInLog("FATAL:\nm_pVariable\n"));
}
