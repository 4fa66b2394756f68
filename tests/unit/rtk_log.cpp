#include "rtk/log.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace
{
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

TEST_F(RtkLog, OutputsStartAtTheDefaultLevelAndFilterByLevel)
{
    rtk::LogManager* pManager = rtk::LogManager::getInstance();
    rtk::LogOutput* pEvents = pManager->getOutput("EventMgr");
    EXPECT_EQ(pEvents, pManager->getOutput("EventMgr"));
    EXPECT_EQ(rtk::LogOutput::eLevelWarning, pEvents->getLevel());
    pManager->setDefaultLevel(5);
    rtk::LogOutput* pQueue = pManager->getOutput("HWEvQ");
    EXPECT_EQ(5, pQueue->getLevel());
    EXPECT_EQ(3, pEvents->getLevel()); // existing outputs keep theirs
    pManager->setAllLevels(1);
    EXPECT_EQ(1, pQueue->getLevel());
    EXPECT_EQ(1, pManager->getOutput("PanelState")->getLevel());

    pEvents->setLevel(rtk::LogOutput::eLevelWarning);
    std::ostream& discarded = pEvents->level(rtk::LogOutput::eLevelInfo);
    discarded << "hidden " << 42 << std::endl;
    EXPECT_TRUE(discarded.good());
    pEvents->level(rtk::LogOutput::eLevelError) << "ERROR:" << std::endl << "text " << 7 << std::endl;
    pEvents->level(rtk::LogOutput::eLevelWarning) << "at the level" << std::endl;
    EXPECT_EQ("ERROR:\ntext 7\nat the level\n", m_sink.str());
}

TEST_F(RtkLog, LinesAreWholeAcrossFlushesAndThreads)
{
    rtk::LogOutput* pOutput = rtk::LogManager::getInstance()->getOutput("HWEvQ");
    pOutput->setLevel(5);
    std::ostream& stream = pOutput->level(5);
    stream << "HwEvQ: ";
    EXPECT_EQ("", m_sink.str()); // neither a line end nor a flush yet
    stream << std::flush;
    EXPECT_EQ("HwEvQ: ", m_sink.str());
    // A line left open is ended before another thread's line.
    std::thread([pOutput] { pOutput->level(3) << "other thread" << std::endl; }).join();
    stream << "." << std::flush << "+\nrest" << std::endl;
    EXPECT_EQ("HwEvQ: \nother thread\n.+\nrest\n", m_sink.str());

}
