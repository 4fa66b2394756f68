// Reports of PDL faults: the layout of a report, the source position of the node or the context, the
// current event, the configured level, and which levels count as errors.

#include "core_pdlfixture.h"

namespace
{
// A node with a source position.
class TestNode : public PDLObject
{
};
std::string report(rtk::LogOutput::ELogLevel level, std::string const& text)
{
    PDLRunTimeInfo::report(level, text, __FILE__, __LINE__);
    return text;
}
} // namespace

TEST_F(PDLTest, ReportLayoutWithoutObjectOrContextAndCounting)
{
    uint32_t const errors = PDLParseInfo::m_errorCount;
    report(rtk::LogOutput::eLevelError, "bad thing");
    EXPECT_EQ("\nERROR:\nbad thing\n\n", logText());
    EXPECT_EQ(errors + 1, PDLParseInfo::m_errorCount);
    m_log.str("");
    report(rtk::LogOutput::eLevelFatal, "m_pContext");
    EXPECT_EQ("\nFATAL:\nm_pContext\n\n", logText());
    EXPECT_EQ(errors + 2, PDLParseInfo::m_errorCount);
    // Warnings are written but do not count.
    m_log.str("");
    report(rtk::LogOutput::eLevelWarning, "Variable x is invalid");
    EXPECT_EQ("\nWARNING:\nVariable x is invalid\n\n", logText());
    EXPECT_EQ(errors + 2, PDLParseInfo::m_errorCount);
    // A level without a name writes none.
    rtk::LogManager::getInstance()->getOutput("PDLInterpreter")->setLevel(9);
    m_log.str("");
    PDLRunTimeInfo::showError(static_cast<rtk::LogOutput::ELogLevel>(8), __FILE__, __LINE__)
        << "x" << std::endl;
    EXPECT_EQ("\nx\n", logText());
}

TEST_F(PDLTest, ReportAboveTheConfiguredLevelWritesNothingButStillCounts)
{
    // The output takes the interpreter's level when a report first fetches it.
    rtk::LogManager::getInstance()->getOutput("PDLInterpreter")->setLevel(7);
    PDLInterpreter::s_logLevel = 1;
    uint32_t const errors = PDLParseInfo::m_errorCount;
    report(rtk::LogOutput::eLevelError, "hidden error");
    EXPECT_EQ("", logText());
    EXPECT_EQ(errors + 1, PDLParseInfo::m_errorCount);
    report(rtk::LogOutput::eLevelFatal, "shown");
    EXPECT_EQ("\nFATAL:\nshown\n\n", logText());
    EXPECT_EQ(1, PDLRunTimeInfo::s_pLogOutput->getLevel());
    report(rtk::LogOutput::eLevelWarning, "hidden warning");
    EXPECT_EQ(errors + 2, PDLParseInfo::m_errorCount);
    EXPECT_EQ(std::string::npos, logText().find("hidden"));
}

TEST_F(PDLTest, ReportShowsTheSourcePositionAndTheEvent)
{
    PDLParseInfo::m_filePath = "config/PDL/panel.pdl";
    PDLParseInfo::m_line = 12;
    TestContext context(nullptr, eScopeLocal);
    EXPECT_EQ(&context, PDLRunTimeInfo::s_pCurrentContext);
    // The context alone gives its own position.
    report(rtk::LogOutput::eLevelError, "first");
    EXPECT_EQ("\nERROR:\nconfig/PDL/panel.pdl(12): \nfirst\n\n", logText());
    // A node built later is the current object and shows its line.
    PDLParseInfo::m_line = 17;
    TestNode node;
    EXPECT_EQ(&node, PDLRunTimeInfo::s_pCurrentObject);
    m_log.str("");
    report(rtk::LogOutput::eLevelError, "second");
    EXPECT_EQ("\nERROR:\nconfig/PDL/panel.pdl(17): \nsecond\n\n", logText());
    PDLEvent widgetEvent(PDLEvent::eEventWidget);
    widgetEvent.m_widgetID = 5;
    widgetEvent.m_name = "PRESS";
    context.m_pEvent = &widgetEvent;
    m_log.str("");
    report(rtk::LogOutput::eLevelWarning, "third");
    EXPECT_EQ("\nWARNING:\nconfig/PDL/panel.pdl(17): \ncurrent widget event: 5 PRESS\nthird\n\n", logText());
    PDLEvent variableEvent(PDLEvent::eEventVariable);
    variableEvent.m_widgetID = 5;
    variableEvent.m_name = "a b ";
    context.m_pEvent = &variableEvent;
    m_log.str("");
    report(rtk::LogOutput::eLevelError, "fourth");
    EXPECT_EQ("\nERROR:\nconfig/PDL/panel.pdl(17): \ncurrent variable event: a b \nfourth\n\n", logText());
    // Every kind but the variable event reads as a widget event.
    PDLEvent stateEvent(PDLEvent::eEventState);
    stateEvent.m_widgetID = 7;
    stateEvent.m_name = "STATE";
    context.m_pEvent = &stateEvent;
    m_log.str("");
    report(rtk::LogOutput::eLevelError, "state");
    EXPECT_EQ("\nERROR:\nconfig/PDL/panel.pdl(17): \ncurrent widget event: 7 STATE\nstate\n\n", logText());
    // An event without a name adds no line.
    PDLEvent nameless(PDLEvent::eEventInit);
    nameless.m_name.clear();
    context.m_pEvent = &nameless;
    m_log.str("");
    report(rtk::LogOutput::eLevelError, "fifth");
    EXPECT_EQ("\nERROR:\nconfig/PDL/panel.pdl(17): \nfifth\n\n", logText());
}

TEST_F(PDLTest, ReportFallsBackToTheContextAndForgetsDeletedOnes)
{
    PDLParseInfo::m_filePath = "config//PDL/./desk.pdl";
    PDLParseInfo::m_line = 3;
    auto pContext = std::make_unique<TestContext>(nullptr, eScopeModule);
    EXPECT_EQ("config/PDL/desk.pdl", pContext->getFilePath().getString());
    EXPECT_EQ("desk.pdl", pContext->getFileName().getString());
    // A node without a path of its own falls back to the context's position.
    PDLParseInfo::m_filePath = rtk::Path();
    PDLParseInfo::m_line = 40;
    auto pNode = std::make_unique<TestNode>();
    report(rtk::LogOutput::eLevelError, "fallback");
    EXPECT_EQ("\nERROR:\nconfig/PDL/desk.pdl(3): \nfallback\n\n", logText());
    // A context without a path shows no position, but its event.
    pContext->setFilePosition(rtk::Path(), 9);
    EXPECT_EQ("", pContext->getFileName().getString());
    PDLEvent event(PDLEvent::eEventWidget);
    event.m_widgetID = 2;
    event.m_name = "TURN";
    pContext->m_pEvent = &event;
    m_log.str("");
    report(rtk::LogOutput::eLevelError, "no position");
    EXPECT_EQ("\nERROR:\ncurrent widget event: 2 TURN\nno position\n\n", logText());
    // Gone nodes and contexts are no longer current.
    pNode.reset();
    EXPECT_EQ(nullptr, PDLRunTimeInfo::s_pCurrentObject);
    pContext.reset();
    EXPECT_EQ(nullptr, PDLRunTimeInfo::s_pCurrentContext);
    m_log.str("");
    report(rtk::LogOutput::eLevelError, "alone");
    EXPECT_EQ("\nERROR:\nalone\n\n", logText());
}
