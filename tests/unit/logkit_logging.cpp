#include "logkit/logging.h"

#include "rtk/log.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

using namespace Orvane::Utilities::Logging;

namespace
{
class LogkitLogging : public testing::Test
{
protected:
    void SetUp() override { rtk::LogManager::setSink(&m_sink); }
    void TearDown() override
    {
        rtk::LogManager::setSink(nullptr);
        LogManager::instance().setDefaultLevel(eSeverityInfo);
    }
    std::ostringstream m_sink;
};
} // namespace

TEST_F(LogkitLogging, LinesCarryCategoryAndSeverity)
{
    LogCategory startup("Startup");
    EXPECT_EQ(startup.getName(), "Startup");
    startup.info() << "Parsing Widget Type file..." << std::endl;
    startup.error() << "Can not find \""
                    << "bin/libmoduledriver.so"
                    << "\" library" << std::endl;
    startup.fatal() << "Persistent storage: out of memory (heap full)" << std::endl;
    startup.warning() << "two\nlines" << std::endl;
    EXPECT_EQ(m_sink.str(), "[Startup] INFO Parsing Widget Type file...\n"
                            "[Startup] ERROR Can not find \"bin/libmoduledriver.so\" library\n"
                            "[Startup] FATAL Persistent storage: out of memory (heap full)\n"
                            "[Startup] WARNING two\n"
                            "[Startup] WARNING lines\n");
    // Numbers go through the stream's formatting; the process goes on after fatal.
    LogCategory rclp("RCLP");
    rclp.info() << "Accepted RCLP connection from "
                << "127.0.0.1"
                << ":" << 56662 << std::endl;
    EXPECT_NE(m_sink.str().find("[RCLP] INFO Accepted RCLP connection from 127.0.0.1:56662\n"),
              std::string::npos);
}

TEST_F(LogkitLogging, ThresholdsPerCategory)
{
    LogCategory startup("Startup");
    LogCategory quiet("QuietTest");
    EXPECT_FALSE(startup.isEnabled(eSeverityDebug)); // info and above by default
    startup.debug() << "hidden" << std::endl;
    LogManager::instance().setLevel("QuietTest", eSeverityError);
    LogStream& discarded = quiet.warning();
    discarded << "hidden too " << 3 << std::endl;
    EXPECT_TRUE(discarded.good());
    quiet.error() << "shown" << std::endl;
    LogManager::instance().setDefaultLevel(eSeverityDebug);
    startup.debug() << "now shown" << std::endl;
    quiet.info() << "still hidden" << std::endl; // its own level wins over the default
    EXPECT_EQ(m_sink.str(), "[QuietTest] ERROR shown\n[Startup] DEBUG now shown\n");
    EXPECT_EQ(LogManager::instance().getLevel("QuietTest"), eSeverityError);
}

TEST_F(LogkitLogging, SharedCategoryFromManyThreads)
{
    LogCategory shared("Startup");
    std::vector<std::thread> writers;
    for (int t = 0; t < 4; ++t)
    {
        writers.emplace_back(
            [&shared, t]
            {
                for (int i = 0; i < 100; ++i)
                    shared.info() << "thread " << t << " line " << i << " end" << std::endl;
            });
    }
    for (std::thread& writer : writers)
        writer.join();
    std::set<std::string> expected;
    for (int t = 0; t < 4; ++t)
        for (int i = 0; i < 100; ++i)
            expected.insert("[Startup] INFO thread " + std::to_string(t) + " line " + std::to_string(i) +
                            " end");
    std::istringstream lines(m_sink.str());
    std::string line;
    size_t count = 0;
    while (std::getline(lines, line))
    {
        ++count;
        EXPECT_EQ(expected.erase(line), 1u) << "torn or repeated line: " << line;
    }
    EXPECT_EQ(count, 400u);
}
