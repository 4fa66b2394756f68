#include "rtk/file.h"
#include "rtk/log.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace
{
std::vector<std::string> splitLines(std::string const& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    std::string line;
    while (std::getline(stream, line))
        lines.push_back(line);
    return lines;
}

// Creates the manager and catches the sink for one test.
class RtkLog : public testing::Test
{
protected:
    void SetUp() override
    {
        rtk::LogManager::createInstance();
        rtk::LogManager::setSink(&m_sink);
    }
    void TearDown() override
    {
        rtk::LogManager::setSink(nullptr);
        rtk::LogManager::destroyInstance();
    }
    std::ostringstream m_sink;
};
} // namespace

TEST_F(RtkLog, OutputsAreNamedOnceAndStartAtTheDefaultLevel)
{
    rtk::LogManager* pManager = rtk::LogManager::getInstance();
    rtk::LogOutput* pEvents = pManager->getOutput("EventMgr");
    ASSERT_NE(pEvents, nullptr);
    EXPECT_EQ(pManager->getOutput("EventMgr"), pEvents);
    EXPECT_EQ(pEvents->getName(), "EventMgr");
    EXPECT_EQ(pEvents->getLevel(), rtk::LogOutput::eLevelWarning);
    EXPECT_FALSE(pManager->hasOutput("HWEvQ"));

    pManager->setDefaultLevel(5);
    rtk::LogOutput* pQueue = pManager->getOutput("HWEvQ");
    EXPECT_EQ(pQueue->getLevel(), 5);
    EXPECT_EQ(pEvents->getLevel(), 3); // existing outputs keep theirs

    pManager->setAllLevels(1);
    EXPECT_EQ(pEvents->getLevel(), 1);
    EXPECT_EQ(pQueue->getLevel(), 1);
    EXPECT_EQ(pManager->getOutput("PanelState")->getLevel(), 1);
}

TEST_F(RtkLog, LevelsFilterAndSwitchAtRunTime)
{
    rtk::LogOutput* pOutput = rtk::LogManager::getInstance()->getOutput("PDLInterpreter");
    pOutput->setLevel(rtk::LogOutput::eLevelWarning);

    std::ostream& discarded = pOutput->level(rtk::LogOutput::eLevelInfo);
    discarded << "hidden " << 42 << ' ' << 1.5 << std::endl;
    discarded << "more" << std::flush;
    EXPECT_TRUE(discarded.good()); // a discarding stream still takes everything
    EXPECT_EQ(m_sink.str(), "");

    pOutput->level(rtk::LogOutput::eLevelError) << "ERROR:" << std::endl << "text " << 7 << std::endl;
    pOutput->level(rtk::LogOutput::eLevelWarning) << "at the level" << std::endl;
    EXPECT_EQ(m_sink.str(), "ERROR:\ntext 7\nat the level\n");

    pOutput->setLevel(rtk::LogOutput::eLevelDebug3);
    pOutput->level(rtk::LogOutput::eLevelDebug3) << "now shown" << std::endl;
    pOutput->setLevel(rtk::LogOutput::eLevelFatal);
    pOutput->level(rtk::LogOutput::eLevelError) << "now hidden" << std::endl;
    EXPECT_EQ(m_sink.str(), "ERROR:\ntext 7\nat the level\nnow shown\n");
}

TEST_F(RtkLog, TextReachesTheSinkOnLineEndOrFlush)
{
    rtk::LogOutput* pOutput = rtk::LogManager::getInstance()->getOutput("HWEvQ");
    pOutput->setLevel(5);
    std::ostream& stream = pOutput->level(5);
    stream << "HwEvQ: ";
    EXPECT_EQ(m_sink.str(), ""); // neither a line end nor a flush yet
    stream << std::flush;
    EXPECT_EQ(m_sink.str(), "HwEvQ: ");
    stream << "." << std::flush << "+\nrest";
    EXPECT_EQ(m_sink.str(), "HwEvQ: .+\n");
    stream << std::flush;
    EXPECT_EQ(m_sink.str(), "HwEvQ: .+\nrest");
    stream << std::endl;
    EXPECT_EQ(m_sink.str(), "HwEvQ: .+\nrest\n");
}

TEST_F(RtkLog, AnOpenLineIsEndedBeforeAnotherThreadsLine)
{
    rtk::LogOutput* pOutput = rtk::LogManager::getInstance()->getOutput("HWEvQ");
    pOutput->setLevel(5);
    pOutput->level(5) << "HwEvQ: " << std::flush;
    std::thread([pOutput] { pOutput->level(3) << "other thread" << std::endl; }).join();
    pOutput->level(5) << "+" << std::endl;
    EXPECT_EQ(m_sink.str(), "HwEvQ: \nother thread\n+\n");
}

TEST_F(RtkLog, LinesOfManyThreadsStayWhole)
{
    rtk::LogOutput* pOutput = rtk::LogManager::getInstance()->getOutput("EventMgr");
    pOutput->setLevel(4);
    int const threads = 4;
    int const lines = 200;
    std::vector<std::thread> writers;
    for (int t = 0; t < threads; ++t)
    {
        writers.emplace_back(
            [pOutput, t]
            {
                for (int i = 0; i < lines; ++i)
                {
                    std::ostream& stream = pOutput->level(4);
                    stream << "thread " << t << " line " << i;
                    for (int piece = 0; piece < 5; ++piece)
                        stream << " piece" << piece;
                    stream << std::endl;
                }
            });
    }
    for (std::thread& writer : writers)
        writer.join();
    std::vector<std::string> const written = splitLines(m_sink.str());
    ASSERT_EQ(written.size(), static_cast<size_t>(threads * lines));
    std::set<std::string> expected;
    for (int t = 0; t < threads; ++t)
        for (int i = 0; i < lines; ++i)
            expected.insert("thread " + std::to_string(t) + " line " + std::to_string(i) +
                            " piece0 piece1 piece2 piece3 piece4");
    for (std::string const& line : written)
        EXPECT_EQ(expected.erase(line), 1u) << "torn or repeated line: " << line;
}

TEST_F(RtkLog, LogFileReceivesTheText)
{
    std::string const name = rtk::Path::getTempDirPath().getString() + "/rtk_log_test_" +
                             std::to_string(static_cast<long>(getpid())) + ".log";
    rtk::File::remove(name);
    ASSERT_TRUE(rtk::LogManager::setLogFile(name));
    rtk::LogManager::writeLine("to the file");
    rtk::LogManager::setSink(&m_sink); // closes the file
    rtk::LogManager::writeLine("to the stream");
    EXPECT_EQ(m_sink.str(), "to the stream\n");

    rtk::File file;
    ASSERT_TRUE(file.open(name, rtk::File::eModeRead));
    char buffer[64] = {};
    EXPECT_EQ(file.read(buffer, sizeof(buffer) - 1), 12);
    EXPECT_STREQ(buffer, "to the file\n");
    file.close();
    EXPECT_TRUE(rtk::File::remove(name));
    EXPECT_FALSE(rtk::LogManager::setLogFile("/nonexistent-dir/x.log"));
}
