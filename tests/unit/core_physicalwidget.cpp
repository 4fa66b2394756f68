#include "core_pdlfixture.h"

#include "pdlphysicalwidget.h"
#include "pdlscaler.h"

#include <interfaces/ipanelfeedback.h>

#include <map>
#include <string>
#include <vector>

namespace
{
// A hardware side with a fixed set of attributes and receive events per name (the same for every
// control). It keeps what is written, answers reads from it, and records every write as
// "id NAME=VALUE" (bools as 0/1), a reset as "id default" and a trigger as "id !EVENT=VALUE".
class ModelFeedback : public IPanelFeedback
{
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    EWidgetParameterType getAttributeParamType(UniqueWidgetID const&, std::string const& name) override
    {
        auto it = m_types.find(name);
        return it != m_types.end() ? it->second : eParamTypeUnknown;
    }
    EWidgetParameterType getReceiveEventParamType(UniqueWidgetID const&, std::string const& name) override
    {
        auto it = m_events.find(name);
        return it != m_events.end() ? it->second : eParamTypeUnknown;
    }
    void setAllAttributesToDefault(UniqueWidgetID const& id) override
    {
        m_values.clear();
        m_writes.push_back(id.toString() + " default");
    }
    bool setAttributeBool(UniqueWidgetID const& id, std::string const& a, bool v) override
    {
        return write(id, a, v ? "1" : "0");
    }
    bool setAttributeNumeric(UniqueWidgetID const& id, std::string const& a, int v) override
    {
        return write(id, a, std::to_string(v));
    }
    bool setAttributeText(UniqueWidgetID const& id, std::string const& a, std::string const& v) override
    {
        return write(id, a, v);
    }
    bool getAttributeBool(UniqueWidgetID const&, std::string const& a, bool& v) override
    {
        v = m_values[a] == "1";
        return m_readable;
    }
    bool getAttributeNumeric(UniqueWidgetID const&, std::string const& a, int& v) override
    {
        v = std::atoi(m_values[a].c_str());
        return m_readable;
    }
    bool getAttributeText(UniqueWidgetID const&, std::string const& a, std::string& v) override
    {
        v = m_values[a];
        return m_readable;
    }
    bool trigger(UniqueWidgetID const& id, std::string const& e, std::string const& v) override
    {
        m_writes.push_back(id.toString() + " !" + e + "=" + v);
        return true;
    }

    // The writes since the last call.
    std::vector<std::string> take()
    {
        std::vector<std::string> writes;
        writes.swap(m_writes);
        return writes;
    }

    std::map<std::string, EWidgetParameterType> m_types = {
        {"LAMP", eParamTypeBool},   {"LABEL", eParamTypeText},    {"NAME", eParamTypeText2},
        {"LEVEL", eParamTypeNumeric}, {"PRESSED", eParamTypeBool}, {"ODD", static_cast<EWidgetParameterType>(5)}};
    std::map<std::string, EWidgetParameterType> m_events = {{"FLASH", eParamTypeText}, {"LAMP", eParamTypeText},
                                                            {"BLINK", eParamTypeNumeric}};
    std::map<std::string, std::string> m_values;
    bool m_readable = true;

private:
    bool write(UniqueWidgetID const& id, std::string const& a, std::string const& v)
    {
        m_values[a] = v;
        m_writes.push_back(id.toString() + " " + a + "=" + v);
        return true;
    }

    std::vector<std::string> m_writes;
};

typedef std::vector<std::string> Writes;

class AttributeTest : public PDLTest
{
protected:
    void SetUp() override
    {
        PDLTest::SetUp();
        PDLInterpreter::s_logLevel = 5;
        m_pState = PDLPanelState::createInstance();
        m_pManager = PDLPhysicalWidgetManager::createInstance();
        m_pManager->setPanelFeedbackInterface(&m_hw);
        m_pWidget = m_pManager->getWidget(UniqueWidgetID(1, 0, 3, 17));
        m_hw.take();
        m_log.str("");
    }
    void TearDown() override
    {
        PDLPhysicalWidgetManager::destroyInstance();
        PDLPanelState::destroyInstance();
        PDLTest::TearDown();
    }

    ModelFeedback m_hw;
    PDLPanelState* m_pState = nullptr;
    PDLPhysicalWidgetManager* m_pManager = nullptr;
    PDLPhysicalWidget* m_pWidget = nullptr;
};
} // namespace

TEST_F(AttributeTest, ParameterTypesDecideHowValuesAreWrittenAndRead)
{
    struct Case
    {
        char const* m_attribute;
        PDLVariant m_value;
        Writes m_writes;
        std::string m_readBack;
        PDLVariant::EKind m_readKind;
    };
    std::vector<Case> const cases = {
        {"LAMP", PDLVariant("TRUE"), {"1.0.3.17 LAMP=1"}, "ON", PDLVariant::eBool},
        {"LAMP", PDLVariant("1"), {"1.0.3.17 LAMP=0"}, "OFF", PDLVariant::eBool},
        {"LEVEL", PDLVariant("42"), {"1.0.3.17 LEVEL=42"}, "42", PDLVariant::eInt},
        {"LEVEL", PDLVariant(2.75f), {"1.0.3.17 LEVEL=2"}, "2", PDLVariant::eInt},
        {"LABEL", PDLVariant(7), {"1.0.3.17 LABEL=7"}, "7", PDLVariant::eString},
        {"NAME", PDLVariant("Cam"), {"1.0.3.17 NAME=Cam"}, "Cam", PDLVariant::eString},
        // A type the core does not handle is kept but neither written nor read.
        {"ODD", PDLVariant("x"), {}, "", PDLVariant::eInvalid},
        // An unknown attribute changes nothing.
        {"NOPE", PDLVariant("x"), {}, "", PDLVariant::eInvalid},
    };
    for (Case const& c : cases)
    {
        SCOPED_TRACE(c.m_attribute);
        m_pWidget->setAttributeValue(c.m_attribute, c.m_value);
        EXPECT_EQ(c.m_writes, m_hw.take());
        PDLVariant const read = m_pWidget->getAttributeValue(c.m_attribute);
        EXPECT_EQ(c.m_readKind, read.getKind());
        EXPECT_EQ(c.m_readBack, read.getString());
    }
    EXPECT_EQ(1, countInLog("set: unknown attribute 'NOPE' for widget 1.0.3.17"));
    EXPECT_EQ(1, countInLog("get: unknown attribute 'NOPE' for widget 1.0.3.17"));

}

TEST_F(AttributeTest, RecordsSuppressRepeatsFallBackOnFailedReadsAndAnswerPressed)
{
    m_pWidget->setAttributeValue("LABEL", PDLVariant("A"));
    m_pWidget->setAttributeValue("LABEL", PDLVariant("A"));
    EXPECT_EQ((Writes{"1.0.3.17 LABEL=A"}), m_hw.take());

    // A read takes the hardware's value; a failed read keeps the one known.
    m_hw.m_values["LABEL"] = "B";
    EXPECT_EQ("B", m_pWidget->getAttributeValue("LABEL").getString());
    m_hw.m_values["LABEL"] = "C";
    m_hw.m_readable = false;
    EXPECT_EQ("B", m_pWidget->getAttributeValue("LABEL").getString());

    // The press state, as a text, from the hardware event names only.
    struct Step
    {
        char const* m_event;
        char const* m_pressed;
    };
    for (Step const& step : {Step{"DOWN", "TRUE"}, Step{"MOVE", "TRUE"}, Step{"UP", "FALSE"}, Step{"DPOP", "TRUE"},
                             Step{"down", "TRUE"}, Step{"UP", "FALSE"}})
    {
        m_pWidget->sendEvent(step.m_event);
        PDLVariant const pressed = m_pWidget->getAttributeValue("PRESSED");
        EXPECT_EQ(PDLVariant::eString, pressed.getKind()) << step.m_event;
        EXPECT_EQ(step.m_pressed, pressed.getString()) << step.m_event;
    }
    EXPECT_EQ(Writes{}, m_hw.take());
}

// Connections, receive events, plain writes and the setAttr command as a panel shows them are covered by
// the widget-attributes and sys-panel-commands scenarios.
TEST_F(AttributeTest, AScaledConnectionIsWrittenAgainOnEveryUpdate)
{
    m_pState->setValueInt("DEV.FADER", 10);
    m_pWidget->setScaler("LABEL", PDLScaler::create("PERCENT"));
    m_pWidget->connect("LABEL", "DEV.FADER");
    m_pWidget->update();
    Writes const writes = m_hw.take();
    ASSERT_EQ(2u, writes.size());
    EXPECT_EQ(writes[0], writes[1]);
    EXPECT_NE("1.0.3.17 LABEL=10", writes[0]);
    // A plain write drops the scaler.
    m_pWidget->setAttributeValue("LABEL", PDLVariant("x"));
    EXPECT_EQ(nullptr, m_pWidget->getScaler("LABEL"));
}

TEST_F(AttributeTest, OverridesStackWithTheNewestInForce)
{
    m_hw.m_values["LABEL"] = "hw";
    struct Step
    {
        char m_op; // o override, r restore, s plain set
        char const* m_overrider;
        char const* m_value;
        Writes m_writes;
    };
    std::vector<Step> const steps = {
        {'o', "A", "a1", {"1.0.3.17 LABEL=a1"}},
        {'o', "A", "a1", {}},                     // same value by the same overrider: nothing
        {'o', "B", "a1", {"1.0.3.17 LABEL=a1"}},  // same value by a new one: pushed and written
        {'o', "A", "a2", {}},                     // a hidden overrider changes its value unseen
        {'s', "", "plain", {"1.0.3.17 LABEL=a1"}}, // the value under the overrides changes unseen
        {'r', "C", "", {"1.0.3.17 LABEL=a1"}},    // no override of C: the front is written again
        {'r', "B", "", {"1.0.3.17 LABEL=a2"}},    // B goes, A's new value shows
        {'r', "A", "", {"1.0.3.17 LABEL=plain"}}, // the last goes, the plain value shows
        {'r', "A", "", {}},                       // nothing overridden: nothing written
    };
    for (Step const& step : steps)
    {
        SCOPED_TRACE(std::string(1, step.m_op) + step.m_overrider + step.m_value);
        if (step.m_op == 'o')
            m_pWidget->overrideAttributeValue(step.m_overrider, "LABEL", PDLVariant(step.m_value));
        else if (step.m_op == 'r')
            m_pWidget->restoreAttributeValue(step.m_overrider, "LABEL");
        else
            m_pWidget->setAttributeValue("LABEL", PDLVariant(step.m_value));
        EXPECT_EQ(step.m_writes, m_hw.take());
        if (step.m_op == 'o' && std::string(step.m_overrider) == "A")
        {
            // Reads give the value under the overrides, without asking the hardware.
            m_hw.m_values["LABEL"] = "changed";
            EXPECT_EQ("hw", m_pWidget->getAttributeValue("LABEL").getString());
        }
    }
    EXPECT_TRUE(m_pWidget->getOverrides("LABEL").empty());

    // A connection keeps running under an override; the last restore shows its latest value.
    m_pState->setValueString("DEV.NAME", "one");
    m_pWidget->connect("LABEL", "DEV.NAME");
    m_pManager->overrideWidgetAttributeValue("X", UniqueWidgetID(1, 0, 3, 17), "LABEL", "held");
    m_pState->setValueString("DEV.NAME", "two");
    m_pWidget->update();
    m_pManager->restoreWidgetAttributeValue("X", UniqueWidgetID(1, 0, 3, 17), "LABEL");
    EXPECT_EQ((Writes{"1.0.3.17 LABEL=one", "1.0.3.17 LABEL=held", "1.0.3.17 LABEL=held", "1.0.3.17 LABEL=two"}),
              m_hw.take());
    m_pWidget->overrideAttributeValue("X", "NOPE", PDLVariant(1));
    m_pWidget->restoreAttributeValue("X", "NOPE");
    EXPECT_EQ(1, countInLog("override: unknown attribute 'NOPE' for widget 1.0.3.17"));
    EXPECT_EQ(1, countInLog("restore: unknown attribute 'NOPE' for widget 1.0.3.17"));
}
