// Panel commands on the edges a PDL source cannot reach: Invalid operands, a trigger parameter, code
// without an owning widget and failed checks. Connect, scaled connect, setstate, sendevent, subscribe
// and getscale as a panel runs them are covered by the sys-panel-commands scenario.

#include "core_command_helpers.h"
#include "core_function_helpers.h"

#include "pdlpanelcommandclasses.h"
#include "pdlpanelstate.h"
#include "pdlphysicalwidget.h"
#include "pdlscaler.h"

#include <interfaces/ipanelfeedback.h>

#include <memory>

namespace
{
typedef std::vector<std::string> Texts;

// A hardware side of text attributes that records resets and receive events, as "id event=parameter".
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
    bool setAttributeText(UniqueWidgetID const&, std::string const&, std::string const&) override { return true; }
    bool getAttributeBool(UniqueWidgetID const&, std::string const&, bool&) override { return false; }
    bool getAttributeNumeric(UniqueWidgetID const&, std::string const&, int&) override { return false; }
    bool getAttributeText(UniqueWidgetID const&, std::string const&, std::string&) override { return false; }
    bool trigger(UniqueWidgetID const& id, std::string const& event, std::string const& value) override
    {
        m_triggers.push_back(id.toString() + " " + event + "=" + value);
        return true;
    }

    Texts m_resets;
    Texts m_triggers;
};

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
    }
    void TearDown() override
    {
        m_trees.clear();
        if (PDLPhysicalWidgetManager::hasInstance())
            PDLPhysicalWidgetManager::destroyInstance();
        PDLPanelState::destroyInstance();
        PDLTest::TearDown();
    }
    bool run(PDLCommand* pCommand)
    {
        m_trees.emplace_back(pCommand);
        pCommand->setContext(&m_context, false);
        return pCommand->execute();
    }
    PDLPhysicalWidget* widget(uint16_t number) { return m_pWidgets->findWidget(UniqueWidgetID(1, 2, 3, number)); }

    TriggerFeedback m_feedback;
    RecordingFunctionID m_functionID;
    PanelContext m_context;
    PDLPanelState* m_pState = nullptr;
    PDLPhysicalWidgetManager* m_pWidgets = nullptr;
    std::vector<std::unique_ptr<PDLCommand>> m_trees;
};

PDLExpressionList* fid(std::string const& name)
{
    return list({str("DEV"), str(name)});
}
} // namespace

TEST_F(PanelCommandTest, InvalidOperandsDoNothingAndSucceed)
{
    m_context.declare(arrayVar("params"));
    uint32_t const errors = PDLParseInfo::m_errorCount;
    size_t const entries = m_pState->getEntryCount();
    EXPECT_TRUE(run(new PDLCommandConnect(invalid(), "LABEL", fid("NAME"))));
    EXPECT_TRUE(run(new PDLCommandConnect(num(6), "LABEL", list({str("DEV"), invalid()}))));
    EXPECT_TRUE(run(new PDLCommandSetAttribute(num(6), "LABEL", invalid())));
    EXPECT_TRUE(run(new PDLCommandTrigger(num(6), "BLINK", invalid())));
    EXPECT_TRUE(run(new PDLCommandTrigger(invalid(), "BLINK", str("x"))));
    EXPECT_TRUE(run(new PDLCommandSetState(list({str("DEV"), invalid()}), num(1))));
    EXPECT_TRUE(run(new PDLCommandSendEvent(list({invalid()}), str("lost"))));
    EXPECT_TRUE(run(new PDLCommandSubscribe(list({str("DEV"), invalid()}))));
    EXPECT_TRUE(run(new PDLCommandGetScale(list({invalid()}), "params")));
    EXPECT_EQ(nullptr, widget(6));
    EXPECT_TRUE(m_feedback.m_triggers.empty());
    EXPECT_EQ(entries, m_pState->getEntryCount());
    EXPECT_TRUE(m_functionID.m_subscriptions.empty());
    EXPECT_EQ(errors, PDLParseInfo::m_errorCount);
}

TEST_F(PanelCommandTest, TriggerAddressesTheRunningWidgetOrNumberZero)
{
    EXPECT_TRUE(run(new PDLCommandTrigger("BLINK", str("fast"))));
    EXPECT_TRUE(run(new PDLCommandTrigger(num(9), "BLINK", nullptr)));
    // Code without an owning widget addresses number 0 of the module.
    m_context.m_execWidgetID = 0;
    EXPECT_TRUE(run(new PDLCommandTrigger("FLASH", num(2))));
    EXPECT_EQ((Texts{"1.2.3.5 BLINK=fast", "1.2.3.9 BLINK=", "1.2.3.0 FLASH=2"}), m_feedback.m_triggers);
    // Widgets are made at first use, and reset then.
    EXPECT_EQ((Texts{"1.2.3.5", "1.2.3.9", "1.2.3.0"}), m_feedback.m_resets);

    // A scaled connect with an unknown parameter array is reported and leaves the scaler alone.
    PDLPhysicalWidget* pWidget = widget(5);
    pWidget->setScaler("LEVEL", PDLScaler::create("PERCENT"));
    PDLScaler* pKept = pWidget->getScaler("LEVEL");
    EXPECT_TRUE(run(new PDLCommandScaledConnect(num(5), "nothing", "LEVEL", fid("OTHER"))));
    EXPECT_EQ(1, countInLog("undeclared variable nothing"));
    EXPECT_EQ(pKept, pWidget->getScaler("LEVEL"));
    EXPECT_EQ("DEV.OTHER", pWidget->getConnection("LEVEL"));

    // Failed checks: each names its member, and the command fails.
    m_log.str("");
    EXPECT_FALSE(run(new PDLCommandConnect("LABEL", nullptr)));
    EXPECT_FALSE(run(new PDLCommandSetState(fid("X"), nullptr)));
    m_context.m_pFunctionID = nullptr;
    EXPECT_FALSE(run(new PDLCommandSubscribe(fid("KEY"))));
    EXPECT_FALSE(run(new PDLCommandGetScale(fid("FADER"), "nothing")));
    PDLPhysicalWidgetManager::destroyInstance();
    EXPECT_FALSE(run(new PDLCommandTrigger("BLINK", nullptr)));
    for (char const* pMember : {"m_pFunctionId", "m_pExpression", "m_pFIDReceiver", "m_pVariable", "pWidget"})
        EXPECT_NE(0, countInLog(std::string("FATAL:\n") + pMember + "\n")) << pMember;
}
