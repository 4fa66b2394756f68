#include "core_pdlfixture.h"

#include "pdlpanelstate.h"
#include "pdlscaler.h"

#include <memory>

namespace
{
class ScalerTest : public PDLTest
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
    std::unique_ptr<PDLScaler> make(std::string const& name)
    {
        std::unique_ptr<PDLScaler> pScaler(PDLScaler::create(name));
        EXPECT_NE(nullptr, pScaler) << name;
        return pScaler;
    }
    static std::string dumped(PDLVariant const& value)
    {
        std::ostringstream out;
        value.dump(out);
        return out.str();
    }
    std::string text(PDLScaler& scaler, PDLVariant const& value)
    {
        PDLVariant const result = scaler.scale(value, false);
        EXPECT_EQ(PDLVariant::eString, result.getKind());
        return result.getString();
    }
    float raw(PDLScaler& scaler, PDLVariant const& value)
    {
        PDLVariant const result = scaler.scale(value, true);
        EXPECT_EQ(PDLVariant::eFloat, result.getKind());
        return result.getFloat();
    }
    PDLVariableArray* params()
    {
        return keep(new PDLVariableArray(eScopeModule, "", "params", true, false, false, false));
    }
    static void put(PDLVariable* pArray, char const* key, PDLVariant const& value)
    {
        pArray->setValueAtIndex(PDLVariant(key), value);
    }
};
} // namespace

TEST_F(ScalerTest, AnalogParametersFallBackToTheClassDefaults)
{
    PDLVariableArray* pParams = params();
    put(pParams, "MIN", PDLVariant(0));
    put(pParams, "MAX", PDLVariant(100));
    put(pParams, "MINOUT", PDLVariant(0.0f));
    put(pParams, "MAXOUT", PDLVariant(10.0f));
    put(pParams, "UNIT", PDLVariant("V"));
    put(pParams, "PRECISION", PDLVariant(2));
    auto pScaler = make("ANALOG_BIDI_D");
    pScaler->setParameters(pParams);
    EXPECT_EQ("2.50V", text(*pScaler, PDLVariant(25)));
    EXPECT_FLOAT_EQ(25.0f, raw(*pScaler, PDLVariant(2.5f)));
    // Parameters taken away go back to the class's defaults, not to the last values read.
    put(pParams, "UNIT", PDLVariant());
    put(pParams, "PRECISION", PDLVariant());
    put(pParams, "MIN", PDLVariant());
    put(pParams, "MAX", PDLVariant());
    pScaler->setParameters(pParams);
    // The output range in force is still 0 to 10.
    EXPECT_EQ("0.0\xB0", text(*pScaler, PDLVariant(-2048)));
    EXPECT_EQ("10.0\xB0", text(*pScaler, PDLVariant(2047)));
    // An empty input range divides by zero.
    put(pParams, "MIN", PDLVariant(5));
    put(pParams, "MAX", PDLVariant(5));
    pScaler->setParameters(pParams);
    EXPECT_EQ("inf\xB0", text(*pScaler, PDLVariant(6)));
}

TEST_F(ScalerTest, ASimpleVariableIsNoParameterArray)
{
    PDLVariableSimple* pSimple =
        keep(new PDLVariableSimple(eScopeModule, "", "p", true, false, false, false));
    auto pScaler = make("PERCENT");
    uint32_t const errors = PDLParseInfo::m_errorCount;
    pScaler->setParameters(pSimple);
    // One report per parameter read; the Invalid value read leaves the defaults.
    EXPECT_EQ(4, countInLog("ERROR:\nVariable p is not an array variable!\n"));
    EXPECT_EQ(errors + 4, PDLParseInfo::m_errorCount);
    EXPECT_EQ("12.5%", text(*pScaler, PDLVariant(0.125f)));
}

TEST_F(ScalerTest, PanelStateParametersAreCreatedAndMirrored)
{
    PDLPanelState* pState = PDLPanelState::createInstance();
    auto pScaler = make("PERCENT");
    pScaler->setParameters(std::string("DEV.FADER"));
    EXPECT_EQ("DEV.FADER.", pScaler->getParameterPrefix());
    EXPECT_EQ(pState, pScaler->getPanelState());
    EXPECT_EQ(nullptr, pScaler->getVariable());
    EXPECT_EQ("12.5%", text(*pScaler, PDLVariant(0.125f)));
    // The entries the scaler looked for now exist, Invalid; a read does not warn.
    for (char const* pKey : {"UNIT", "MIN", "MAX", "PRECISION"})
    {
        PDLStateEntry* pEntry = pState->findStateEntry(std::string("DEV.FADER.") + pKey);
        ASSERT_NE(nullptr, pEntry) << pKey;
        EXPECT_EQ(PDLVariant::eInvalid, pEntry->getValue().getKind());
    }
    EXPECT_EQ(nullptr, pState->findStateEntry("DEV.FADER.MINOUT"));
    EXPECT_EQ(0, countInLog("WARNING:"));
    auto pAnalog = make("ANALOG_UNI_P");
    pAnalog->setParameters(std::string("DEV.KNOB"));
    EXPECT_NE(nullptr, pState->findStateEntry("DEV.KNOB.MINOUT"));
    EXPECT_NE(nullptr, pState->findStateEntry("DEV.KNOB.MAXOUT"));
    // With a variable the state values, Invalid ones included, are mirrored into it.
    PDLVariableArray* pParams = params();
    put(pParams, "PRECISION", PDLVariant(4));
    pState->setValueString("DEV.FADER.TYPE", "PERCENT");
    pState->setValueInt("DEV.FADER.MIN", 10);
    pState->setValueInt("DEV.FADER.MAX", 20);
    pScaler->setParameters(std::string("DEV.FADER"), pParams);
    EXPECT_EQ(pParams, pScaler->getVariable());
    EXPECT_EQ("25.0%", text(*pScaler, PDLVariant(15)));
    EXPECT_EQ("PERCENT", pParams->getValueAtIndex(PDLVariant("TYPE"), "", false).getString());
    EXPECT_EQ(10, pParams->getValueAtIndex(PDLVariant("MIN"), "", false).getInt());
    EXPECT_EQ(20, pParams->getValueAtIndex(PDLVariant("MAX"), "", false).getInt());
    // The Invalid state value replaced what the variable held.
    EXPECT_EQ(PDLVariant::eInvalid, pParams->getValueAtIndex(PDLVariant("PRECISION"), "", false).getKind());
    // A later change of the state does not reach a scaler until it is told again.
    pState->setValueInt("DEV.FADER.MAX", 40);
    EXPECT_EQ("25.0%", text(*pScaler, PDLVariant(15)));
    pScaler->setParameters(std::string("DEV.FADER"));
    EXPECT_EQ("12.5%", text(*pScaler, PDLVariant(15)));
    // Switching to a variable keeps the panel state: the parameters are then read from the state's
    // root entries and mirrored into the variable.
    pState->setValueInt("MAX", 50);
    PDLVariableArray* pOther = params();
    put(pOther, "MAX", PDLVariant(1));
    pScaler->setParameters(pOther);
    EXPECT_EQ("", pScaler->getParameterPrefix());
    EXPECT_EQ(pState, pScaler->getPanelState());
    EXPECT_EQ("30.0%", text(*pScaler, PDLVariant(15)));
    EXPECT_EQ(50, pOther->getValueAtIndex(PDLVariant("MAX"), "", false).getInt());
}
