#include "core_command_helpers.h"
#include "core_function_helpers.h"

#include "pdlpanelcommandclasses.h"
#include "pdlpanelstate.h"
#include "pdlphysicalwidget.h"
#include "pdlscaler.h"

#include <interfaces/ipanelfeedback.h>

#include <memory>
#include <string>
#include <vector>

namespace
{
// Hardware side that records resets and receive events, as "id event=parameter".
class TriggerFeedback : public IPanelFeedback
{
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    EWidgetParameterType getAttributeParamType(UniqueWidgetID const&, std::string const&) override
    {
        return eParamTypeText;
    }
    EWidgetParameterType getReceiveEventParamType(UniqueWidgetID const&, std::string const&) override
    {
        return eParamTypeText;
    }
    void setAllAttributesToDefault(UniqueWidgetID const& id) override { m_resets.push_back(id.toString()); }
    bool setAttributeBool(UniqueWidgetID const&, std::string const&, bool) override { return true; }
    bool setAttributeNumeric(UniqueWidgetID const&, std::string const&, int) override { return true; }
    bool setAttributeText(UniqueWidgetID const&, std::string const&, std::string const&) override
    {
        return true;
    }
    bool getAttributeBool(UniqueWidgetID const&, std::string const&, bool&) override { return false; }
    bool getAttributeNumeric(UniqueWidgetID const&, std::string const&, int&) override { return false; }
    bool getAttributeText(UniqueWidgetID const&, std::string const&, std::string&) override { return false; }
    bool trigger(UniqueWidgetID const& id, std::string const& event, std::string const& value) override
    {
        m_triggers.push_back(id.toString() + " " + event + "=" + value);
        return true;
    }

    std::vector<std::string> m_resets;
    std::vector<std::string> m_triggers;
};

// The module scope of the command tests, with a function id service.
class PanelContext : public CommandTestContext
{
public:
    IFunctionID* getFunctionIDInterface() override { return m_pFunctionID; }

    IFunctionID* m_pFunctionID = nullptr;
};

class PanelCommandTest : public PDLTest
{
protected:
    void SetUp() override
    {
        PDLTest::SetUp();
        m_pState = PDLPanelState::createInstance();
        m_pWidgets = PDLPhysicalWidgetManager::createInstance();
        m_pWidgets->setPanelFeedbackInterface(&m_feedback);
        m_context.m_pFunctionID = &m_functionID;
        m_errors = PDLParseInfo::m_errorCount;
    }

    void TearDown() override
    {
        m_trees.clear();
        PDLPhysicalWidgetManager::destroyInstance();
        PDLPanelState::destroyInstance();
        PDLTest::TearDown();
    }

    template <class T>
    T* bound(T* pCommand)
    {
        m_trees.emplace_back(pCommand);
        pCommand->setContext(&m_context, false);
        return pCommand;
    }

    bool run(PDLCommand* pCommand) { return bound(pCommand)->execute(); }

    // The widget of number n in the test module (workplace 1, group 2, module 3).
    PDLPhysicalWidget* widget(uint16_t number)
    {
        return m_pWidgets->getWidget(UniqueWidgetID(1, 2, 3, number));
    }

    uint32_t newErrors() const { return PDLParseInfo::m_errorCount - m_errors; }

    TriggerFeedback m_feedback;
    RecordingFunctionID m_functionID;
    PanelContext m_context;
    PDLPanelState* m_pState = nullptr;
    PDLPhysicalWidgetManager* m_pWidgets = nullptr;
    std::vector<std::unique_ptr<PDLCommand>> m_trees;
    uint32_t m_errors = 0;
};

PDLExpressionList* fid(std::string const& device, std::string const& name)
{
    return list({str(device), str(name)});
}
} // namespace

TEST_F(PanelCommandTest, ConnectTakesTheScalerTheStateNamesOrClearsIt)
{
    m_pState->setValueString("DEV.FADER.TYPE", "PERCENT");
    m_pState->setValueInt("DEV.FADER.MAX", 20);

    EXPECT_TRUE(run(new PDLCommandConnect(num(4), "LEVEL", fid("DEV", "FADER"))));
    PDLPhysicalWidget* pWidget = m_pWidgets->findWidget(UniqueWidgetID(1, 2, 3, 4));
    ASSERT_NE(nullptr, pWidget);
    EXPECT_EQ("DEV.FADER", pWidget->getConnection("LEVEL"));
    PDLScaler* pScaler = pWidget->getScaler("LEVEL");
    ASSERT_NE(nullptr, pScaler);
    // The parameters were read below the id: 10 of a maximum of 20.
    EXPECT_EQ("50.0%", pScaler->scale(PDLVariant(10), false).getString());

    // An id without a scaler type clears the scaler and connects unscaled.
    EXPECT_TRUE(run(new PDLCommandConnect(num(4), "LEVEL", fid("DEV", "PLAIN"))));
    EXPECT_EQ(nullptr, pWidget->getScaler("LEVEL"));
    EXPECT_EQ("DEV.PLAIN", pWidget->getConnection("LEVEL"));

    // Without a widget id the widget is the one running the code (5 here); an invalid id is no-op.
    EXPECT_TRUE(run(new PDLCommandConnect("LABEL", fid("DEV", "NAME"))));
    EXPECT_EQ("DEV.NAME", widget(5)->getConnection("LABEL"));
    EXPECT_TRUE(run(new PDLCommandConnect(invalid(), "LABEL", fid("DEV", "NAME"))));
    EXPECT_TRUE(run(new PDLCommandConnect(num(6), "LABEL", list({str("DEV"), invalid()}))));
    EXPECT_EQ(nullptr, m_pWidgets->findWidget(UniqueWidgetID(1, 2, 3, 6)));
    EXPECT_EQ(0u, newErrors());

    // A missing id list is reported at binding and at execution.
    m_log.str("");
    EXPECT_FALSE(run(new PDLCommandConnect("LABEL", nullptr)));
    EXPECT_EQ(2, countInLog("FATAL:\nm_pFunctionId"));
}

TEST_F(PanelCommandTest, ScaledConnectTakesTheScalerFromTheParameterArray)
{
    PDLVariableArray* pParams = m_context.declare(arrayVar("params"));
    pParams->setValueAtIndex(PDLVariant("TYPE"), PDLVariant("PERCENT"));
    pParams->setValueAtIndex(PDLVariant("MAX"), PDLVariant(40));
    m_context.declare(arrayVar("empty"));
    m_pState->setValueString("DEV.FADER.TYPE", "PERCENT");

    EXPECT_TRUE(run(new PDLCommandScaledConnect(num(2), "params", "LEVEL", fid("DEV", "FADER"))));
    EXPECT_EQ(Registrations({{"params", false}}), m_context.m_registrations);
    PDLPhysicalWidget* pWidget = widget(2);
    EXPECT_EQ("DEV.FADER", pWidget->getConnection("LEVEL"));
    ASSERT_NE(nullptr, pWidget->getScaler("LEVEL"));
    EXPECT_EQ("25.0%", pWidget->getScaler("LEVEL")->scale(PDLVariant(10), false).getString());

    // An array without a type clears the scaler; the state's type plays no part here.
    EXPECT_TRUE(run(new PDLCommandScaledConnect(num(2), "empty", "LEVEL", fid("DEV", "FADER"))));
    EXPECT_EQ(nullptr, pWidget->getScaler("LEVEL"));

    // An unknown parameter array is reported, and the connect leaves the scaler alone.
    pWidget->setScaler("LEVEL", PDLScaler::create("PERCENT"));
    PDLScaler* pKept = pWidget->getScaler("LEVEL");
    EXPECT_TRUE(run(new PDLCommandScaledConnect(num(2), "nothing", "LEVEL", fid("DEV", "OTHER"))));
    EXPECT_EQ(1, countInLog("undeclared variable nothing"));
    EXPECT_EQ(pKept, pWidget->getScaler("LEVEL"));
    EXPECT_EQ("DEV.OTHER", pWidget->getConnection("LEVEL"));
}

TEST_F(PanelCommandTest, SetWritesTheAttributeAndAWidgetReferenceReadsIt)
{
    m_pState->setValueString("DEV.FADER.TYPE", "PERCENT");
    EXPECT_TRUE(run(new PDLCommandConnect(num(3), "LABEL", fid("DEV", "FADER"))));
    ASSERT_NE(nullptr, widget(3)->getScaler("LABEL"));

    // A plain write ends the connection and drops the scaler.
    EXPECT_TRUE(run(new PDLCommandSetAttribute(num(3), "LABEL", str("hello"))));
    EXPECT_EQ("hello", widget(3)->getAttributeValue("LABEL").getString());
    EXPECT_EQ("", widget(3)->getConnection("LABEL"));
    EXPECT_EQ(nullptr, widget(3)->getScaler("LABEL"));
    std::unique_ptr<PDLExpression> pRef(new PDLExpressionWidgetRef(num(3), "LABEL"));
    pRef->setContext(&m_context, false);
    EXPECT_EQ("hello", pRef->evaluate(true).getString());

    // An invalid value writes nothing; without an id the running widget is written.
    EXPECT_TRUE(run(new PDLCommandSetAttribute(num(3), "LABEL", invalid())));
    EXPECT_EQ("hello", pRef->evaluate(true).getString());
    EXPECT_TRUE(run(new PDLCommandSetAttribute("LABEL", num(8))));
    EXPECT_EQ(8, widget(5)->getAttributeValue("LABEL").getInt());

    // An attribute never written reads Invalid.
    std::unique_ptr<PDLExpression> pUnset(new PDLExpressionWidgetRef(num(3), "COLOR"));
    pUnset->setContext(&m_context, false);
    EXPECT_EQ(PDLVariant::eInvalid, pUnset->evaluate(true).getKind());
    EXPECT_EQ(0u, newErrors());
}

TEST_F(PanelCommandTest, TriggerAddressesTheRunningWidgetOrNumberZero)
{
    EXPECT_TRUE(run(new PDLCommandTrigger("BLINK", str("fast"))));
    EXPECT_TRUE(run(new PDLCommandTrigger(num(9), "BLINK", nullptr)));
    // An invalid parameter or widget number triggers nothing.
    EXPECT_TRUE(run(new PDLCommandTrigger(num(9), "BLINK", invalid())));
    EXPECT_TRUE(run(new PDLCommandTrigger(invalid(), "BLINK", str("x"))));
    // Code without an owning widget addresses number 0 of the module.
    m_context.m_execWidgetID = 0;
    EXPECT_TRUE(run(new PDLCommandTrigger("FLASH", num(2))));
    EXPECT_EQ((std::vector<std::string>{"1.2.3.5 BLINK=fast", "1.2.3.9 BLINK=", "1.2.3.0 FLASH=2"}),
              m_feedback.m_triggers);
    // Widgets are made at first use, and reset then.
    EXPECT_EQ((std::vector<std::string>{"1.2.3.5", "1.2.3.9", "1.2.3.0"}), m_feedback.m_resets);
    EXPECT_EQ(0u, newErrors());

    // Without the widget table the widget cannot be had: a failed check and false.
    PDLPhysicalWidgetManager::destroyInstance();
    EXPECT_FALSE(run(new PDLCommandTrigger("BLINK", nullptr)));
    EXPECT_EQ(1, countInLog("FATAL:\npWidget\n"));
    PDLPhysicalWidgetManager::createInstance();
}

TEST_F(PanelCommandTest, SetStateWritesEvenInvalidValuesButNotToInvalidIds)
{
    EXPECT_TRUE(run(new PDLCommandSetState(fid("DEV", "GAIN"), num(4))));
    EXPECT_EQ(4, m_pState->getValue("DEV.GAIN", false).getInt());

    EXPECT_TRUE(run(new PDLCommandSetState(fid("DEV", "GAIN"), invalid())));
    ASSERT_NE(nullptr, m_pState->findStateEntry("DEV.GAIN"));
    EXPECT_EQ(PDLVariant::eInvalid, m_pState->getValue("DEV.GAIN", false).getKind());

    size_t const entries = m_pState->getEntryCount();
    EXPECT_TRUE(run(new PDLCommandSetState(list({str("DEV"), invalid()}), num(1))));
    EXPECT_EQ(entries, m_pState->getEntryCount());
    EXPECT_EQ(0u, newErrors());

    m_log.str("");
    EXPECT_FALSE(run(new PDLCommandSetState(fid("DEV", "X"), nullptr)));
    EXPECT_EQ(2, countInLog("FATAL:\nm_pExpression"));
}

TEST_F(PanelCommandTest, SendEventAndSubscribeHandTheIdOn)
{
    rtk::LogManager::getInstance()->getOutput("PanelState")->setLevel(5);
    EXPECT_TRUE(run(new PDLCommandSendEvent(fid("DEV", "KEY"), str("hello"))));
    EXPECT_TRUE(run(new PDLCommandSendEvent(fid("DEV", "TAP"), nullptr)));
    EXPECT_TRUE(run(new PDLCommandSendEvent(list({invalid()}), str("lost"))));
    EXPECT_EQ(1, countInLog("STATE: TRIGGER DEV.KEY ( hello) received."));
    EXPECT_EQ(1, countInLog("STATE: TRIGGER DEV.TAP ( ) received."));
    EXPECT_EQ(0, countInLog("lost"));
    rtk::LogManager::getInstance()->getOutput("PanelState")->setLevel(3);

    EXPECT_TRUE(run(new PDLCommandSubscribe(fid("DEV", "KEY"))));
    EXPECT_TRUE(run(new PDLCommandSubscribe(list({str("DEV"), invalid()}))));
    EXPECT_EQ(std::vector<std::string>{"DEV.KEY"}, m_functionID.m_subscriptions);
    EXPECT_EQ(0u, newErrors());

    // Without a function id service the subscription fails its check.
    m_context.m_pFunctionID = nullptr;
    m_log.str("");
    EXPECT_FALSE(run(new PDLCommandSubscribe(fid("DEV", "KEY"))));
    EXPECT_EQ("\nFATAL:\nm_pFIDReceiver\n\n", logText());
    EXPECT_EQ(1u, m_functionID.m_subscriptions.size());
}

TEST_F(PanelCommandTest, GetScaleCopiesTheParametersOrInvalidatesTheArray)
{
    m_pState->setValueString("DEV.FADER.TYPE", "PERCENT");
    m_pState->setValueInt("DEV.FADER.MAX", 20);
    PDLVariableArray* pParams = m_context.declare(arrayVar("params"));

    EXPECT_TRUE(run(new PDLCommandGetScale(fid("DEV", "FADER"), "params")));
    EXPECT_EQ("PERCENT", pParams->getValueAtIndex(PDLVariant("TYPE"), "", false).getString());
    EXPECT_EQ(20, pParams->getValueAtIndex(PDLVariant("MAX"), "", false).getInt());
    // No read of the array registers its owner.
    EXPECT_TRUE(m_context.m_registrations.empty());

    // No scaler below the id: every element becomes Invalid and the keys stay.
    PDLVariableArray* pOld = m_context.declare(arrayVar("old"));
    pOld->setValueAtIndex(PDLVariant("A"), PDLVariant(1));
    pOld->setValueAtIndex(PDLVariant("B"), PDLVariant(2));
    EXPECT_TRUE(run(new PDLCommandGetScale(fid("DEV", "NONE"), "old")));
    ASSERT_EQ(2u, pOld->getElements().size());
    for (auto const& element : pOld->getElements())
    {
        EXPECT_EQ(PDLVariant::eInvalid, element.second.getKind()) << element.first;
    }

    // An invalid id leaves the array alone.
    EXPECT_TRUE(run(new PDLCommandGetScale(list({invalid()}), "params")));
    EXPECT_EQ(20, pParams->getValueAtIndex(PDLVariant("MAX"), "", false).getInt());
    EXPECT_EQ(0u, newErrors());

    // An unknown array is reported at binding, and the command then fails its check.
    PDLCommand* pUnknown = bound(new PDLCommandGetScale(fid("DEV", "FADER"), "nothing"));
    EXPECT_EQ(1, countInLog("ERROR:\nundeclared variable nothing"));
    m_log.str("");
    EXPECT_FALSE(pUnknown->execute());
    EXPECT_EQ("\nFATAL:\nm_pVariable\n\n", logText());
}
