#include <basekit/timinglog.h>

#include <gtest/gtest.h>

#include <sstream>

namespace
{
std::vector<std::string> texts()
{
    std::vector<std::string> result;
    for (auto const& entry : TimingLog::getEntries())
        result.push_back(entry.second);
    return result;
}

// TimingLog is process-wide: every test starts from and leaves the default state.
class TimingLogTest : public ::testing::Test
{
protected:
    void SetUp() override { reset(); }
    void TearDown() override { reset(); }
    static void reset()
    {
        TimingLog::setEnabled(false);
        TimingLog::setCapacity(TimingLog::s_defaultCapacity);
        TimingLog::clear();
    }
};
} // namespace

TEST_F(TimingLogTest, KeepsTheNewestLinesWhileSwitchedOn)
{
    EXPECT_EQ(100000u, TimingLog::getCapacity());
    TimingLog::log("off by default");
    TimingLog::setEnabled(true);
    TimingLog::setCapacity(3);
    for (int i = 0; i < 8; ++i)
        TimingLog::log("line " + std::to_string(i));
    TimingLog::setEnabled(false);
    TimingLog::log("dropped");
    EXPECT_EQ((std::vector<std::string>{"line 5", "line 6", "line 7"}), texts());

    // Shrinking keeps the newest entries, growing keeps all and their order.
    TimingLog::setCapacity(2);
    EXPECT_EQ((std::vector<std::string>{"line 6", "line 7"}), texts());
    TimingLog::setEnabled(true);
    TimingLog::setCapacity(4);
    TimingLog::log("line 8");
    EXPECT_EQ((std::vector<std::string>{"line 6", "line 7", "line 8"}), texts());

    // The dump gives nanoseconds after the oldest entry.
    auto const entries = TimingLog::getEntries();
    std::ostringstream os;
    TimingLog::dump(os);
    EXPECT_EQ("0 line 6\n" + std::to_string(entries[1].first - entries[0].first) + " line 7\n" +
                  std::to_string(entries[2].first - entries[0].first) + " line 8\n",
              os.str());
    TimingLog::setCapacity(0);
    TimingLog::log("kept nowhere");
    EXPECT_TRUE(texts().empty());
}
