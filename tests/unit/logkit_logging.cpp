#include "logkit/logging.h"

#include "rtk/log.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace Orvane::Utilities::Logging;

TEST(LogkitLogging, LinesCarryCategoryAndSeverityAboveTheThreshold)
{
    std::ostringstream sink;
    rtk::LogManager::setSink(&sink);
    LogCategory startup("Startup");
    LogCategory quiet("QuietTest");
    startup.info() << "Parsing Widget Type file..." << std::endl;
    startup.error() << "Can not find \"" << "bin/libmoduledriver.so" << "\" library" << std::endl;
    startup.fatal() << "Persistent storage: out of memory (heap full)" << std::endl;
    startup.warning() << "two\nlines" << std::endl;
    startup.debug() << "hidden: info and above by default" << std::endl;
    LogManager::instance().setLevel("QuietTest", eSeverityError);
    quiet.warning() << "hidden too " << 3 << std::endl;
    quiet.error() << "shown" << std::endl;
    LogManager::instance().setDefaultLevel(eSeverityDebug);
    startup.debug() << "now shown" << std::endl;
    quiet.info() << "still hidden: its own level wins over the default" << std::endl;
    LogManager::instance().setDefaultLevel(eSeverityInfo);
    rtk::LogManager::setSink(nullptr);
    EXPECT_EQ("[Startup] INFO Parsing Widget Type file...\n"
              "[Startup] ERROR Can not find \"bin/libmoduledriver.so\" library\n"
              "[Startup] FATAL Persistent storage: out of memory (heap full)\n"
              "[Startup] WARNING two\n"
              "[Startup] WARNING lines\n"
              "[QuietTest] ERROR shown\n"
              "[Startup] DEBUG now shown\n",
              sink.str());
}
