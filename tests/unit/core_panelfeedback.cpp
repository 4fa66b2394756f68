#include "panelfeedbackmanager.h"

#include <basekit/timinglog.h>
#include <basekit/uniqueids.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{
// A receiver that records what it is told, into a log shared by all receivers of a test.
class RecordingFeedback : public IPanelFeedback
{
public:
    RecordingFeedback(std::string const& name, std::vector<std::string>& log) : m_name(name), m_log(log) {}

    IInterface* queryInterface(unsigned int) override { return nullptr; }
    EWidgetParameterType getAttributeParamType(UniqueWidgetID const&, std::string const&) override
    {
        return note("paramType") ? eParamTypeBool : eParamTypeUnknown;
    }
    EWidgetParameterType getReceiveEventParamType(UniqueWidgetID const&, std::string const&) override
    {
        return note("eventType") ? eParamTypeText : eParamTypeUnknown;
    }
    void setAllAttributesToDefault(UniqueWidgetID const&) override { note("default"); }
    bool setAttributeBool(UniqueWidgetID const&, std::string const& a, bool v) override
    {
        return note("bool " + a + "=" + (v ? "1" : "0"));
    }
    bool setAttributeNumeric(UniqueWidgetID const&, std::string const& a, int v) override
    {
        return note("num " + a + "=" + std::to_string(v));
    }
    bool setAttributeText(UniqueWidgetID const&, std::string const& a, std::string const& v) override
    {
        return note("text " + a + "=" + v);
    }
    bool getAttributeBool(UniqueWidgetID const&, std::string const&, bool& v) override
    {
        v = true;
        return note("getBool");
    }
    bool getAttributeNumeric(UniqueWidgetID const&, std::string const&, int& v) override
    {
        v = 7;
        return note("getNum");
    }
    bool getAttributeText(UniqueWidgetID const&, std::string const&, std::string& v) override
    {
        v = m_name;
        return note("getText");
    }
    bool trigger(UniqueWidgetID const&, std::string const& e, std::string const& v) override
    {
        return note("trigger " + e + "=" + v);
    }

private:
    bool note(std::string const& what)
    {
        m_log.push_back(m_name + " " + what);
        return true;
    }

    std::string m_name;
    std::vector<std::string>& m_log;
};

struct FanOut
{
    FanOut() { pManager = PanelFeedbackManager::createInstance(); }
    ~FanOut() { PanelFeedbackManager::destroyInstance(); }
    PanelFeedbackManager* pManager;
};
} // namespace

TEST(CorePanelFeedback, WritesGoToEveryReceiverReadsToTheFirst)
{
    FanOut fanOut;
    std::vector<std::string> log;
    RecordingFeedback driver("driver", log);
    RecordingFeedback simulator("simulator", log);
    fanOut.pManager->addIPanelFeedback(&driver);
    fanOut.pManager->addIPanelFeedback(&simulator);
    UniqueWidgetID const id(1, 0, 3, 17);

    TimingLog::clear();
    TimingLog::setEnabled(true);
    fanOut.pManager->setAttributeText(id, "LABEL", "Cut");
    fanOut.pManager->setAttributeBool(id, "LAMP", true);
    fanOut.pManager->setAttributeNumeric(id, "LEVEL", -4);
    fanOut.pManager->trigger(id, "FLASH", "2");
    fanOut.pManager->setAllAttributesToDefault(id);
    std::string text;
    EXPECT_TRUE(fanOut.pManager->getAttributeText(id, "LABEL", text));
    EXPECT_EQ("driver", text);
    bool flag = false;
    EXPECT_TRUE(fanOut.pManager->getAttributeBool(id, "LAMP", flag));
    int number = 0;
    EXPECT_TRUE(fanOut.pManager->getAttributeNumeric(id, "LEVEL", number));
    EXPECT_EQ(7, number);
    EXPECT_EQ(IPanelFeedback::eParamTypeBool, fanOut.pManager->getAttributeParamType(id, "LAMP"));
    EXPECT_EQ(IPanelFeedback::eParamTypeText, fanOut.pManager->getReceiveEventParamType(id, "FLASH"));
    TimingLog::setEnabled(false);

    std::vector<std::string> const expected = {"driver text LABEL=Cut",  "simulator text LABEL=Cut",
                                               "driver bool LAMP=1",     "simulator bool LAMP=1",
                                               "driver num LEVEL=-4",    "simulator num LEVEL=-4",
                                               "driver trigger FLASH=2", "simulator trigger FLASH=2",
                                               "driver default",         "simulator default",
                                               "driver getText",         "driver getBool",
                                               "driver getNum",          "driver paramType",
                                               "driver eventType"};
    EXPECT_EQ(expected, log);

    // Each write and trigger leaves a timing line; resetting to defaults leaves none.
    std::vector<std::string> lines;
    for (auto const& entry : TimingLog::getEntries())
    {
        lines.push_back(entry.second);
    }
    std::vector<std::string> const timing = {"SET_A 1.0.3.17 LABEL Cut", "SET_A 1.0.3.17 LAMP 1",
                                             "SET_A 1.0.3.17 LEVEL -4", "TRIGG 1.0.3.17 FLASH 2"};
    EXPECT_EQ(timing, lines);
    TimingLog::clear();
}

TEST(CorePanelFeedback, EmptyFanOutReadsNothing)
{
    FanOut fanOut;
    UniqueWidgetID const id(0, 0, 1, 1);
    std::string text = "unchanged";
    EXPECT_FALSE(fanOut.pManager->getAttributeText(id, "LABEL", text));
    bool flag = false;
    EXPECT_FALSE(fanOut.pManager->getAttributeBool(id, "LAMP", flag));
    int number = 0;
    EXPECT_FALSE(fanOut.pManager->getAttributeNumeric(id, "LEVEL", number));
    EXPECT_EQ(IPanelFeedback::eParamTypeUnknown, fanOut.pManager->getAttributeParamType(id, "LAMP"));
    EXPECT_EQ(IPanelFeedback::eParamTypeUnknown, fanOut.pManager->getReceiveEventParamType(id, "X"));
    EXPECT_EQ(static_cast<IPanelFeedback*>(fanOut.pManager), getInterface<IPanelFeedback>(fanOut.pManager));
}
