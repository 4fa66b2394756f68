#include <basekit/timinglog.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <thread>

namespace
{
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

TEST_F(TimingLogTest, OffByDefaultAndWhenSwitchedOff)
{
    EXPECT_FALSE(TimingLog::isEnabled());
    EXPECT_EQ(TimingLog::getCapacity(), 100000u);
    TimingLog::log("EVENT 1.0.3.17 DOWN 0");
    EXPECT_TRUE(TimingLog::getEntries().empty());

    TimingLog::setEnabled(true);
    TimingLog::log("EVENT 1.0.3.17 DOWN 0");
    TimingLog::log("SET_A 1.0.3.17 LED 1");
    TimingLog::setEnabled(false);
    TimingLog::log("dropped");
    auto entries = TimingLog::getEntries();
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0].second, "EVENT 1.0.3.17 DOWN 0");
    EXPECT_EQ(entries[1].second, "SET_A 1.0.3.17 LED 1");
    EXPECT_LE(entries[0].first, entries[1].first);

    TimingLog::clear();
    EXPECT_TRUE(TimingLog::getEntries().empty());
}

TEST_F(TimingLogTest, RingKeepsTheNewest)
{
    TimingLog::setEnabled(true);
    TimingLog::setCapacity(3);
    for (int i = 0; i < 8; ++i)
        TimingLog::log("line " + std::to_string(i));
    auto entries = TimingLog::getEntries();
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[0].second, "line 5");
    EXPECT_EQ(entries[1].second, "line 6");
    EXPECT_EQ(entries[2].second, "line 7");
    EXPECT_TRUE(entries[0].first <= entries[1].first && entries[1].first <= entries[2].first);

    // Shrinking keeps the newest entries, growing keeps all and the order.
    TimingLog::setCapacity(2);
    entries = TimingLog::getEntries();
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0].second, "line 6");
    EXPECT_EQ(entries[1].second, "line 7");
    TimingLog::setCapacity(4);
    TimingLog::log("line 8");
    entries = TimingLog::getEntries();
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[0].second, "line 6");
    EXPECT_EQ(entries[2].second, "line 8");

    TimingLog::setCapacity(0);
    TimingLog::log("kept nowhere");
    EXPECT_TRUE(TimingLog::getEntries().empty());
}

TEST_F(TimingLogTest, DumpIsRelativeToTheOldestEntry)
{
    TimingLog::setEnabled(true);
    TimingLog::setCapacity(2);
    TimingLog::log("overwritten");
    TimingLog::log("EVENT 1.0.3.17 DOWN 0");
    TimingLog::log("SET_A 1.0.3.17 LED 1");
    auto entries = TimingLog::getEntries();
    ASSERT_EQ(entries.size(), 2u);

    std::ostringstream os;
    TimingLog::dump(os);
    std::string const expected = "0 EVENT 1.0.3.17 DOWN 0\n" +
                                 std::to_string(entries[1].first - entries[0].first) +
                                 " SET_A 1.0.3.17 LED 1\n";
    EXPECT_EQ(os.str(), expected);
}

TEST_F(TimingLogTest, ThreadsLogAtOnce)
{
    TimingLog::setEnabled(true);
    int const threadCount = 4;
    int const perThread = 2000;
    std::vector<std::thread> threads;
    for (int t = 0; t < threadCount; ++t)
    {
        threads.emplace_back(
            [t]
            {
                for (int i = 0; i < perThread; ++i)
                    TimingLog::log(std::to_string(t) + " " + std::to_string(i));
            });
    }
    for (auto& thread : threads)
        thread.join();

    auto entries = TimingLog::getEntries();
    ASSERT_EQ(entries.size(), static_cast<size_t>(threadCount * perThread));
    // Times never go back, and each thread's lines arrive whole and in its own order.
    std::vector<int> next(threadCount, 0);
    for (size_t i = 0; i < entries.size(); ++i)
    {
        if (i > 0)
        {
            EXPECT_LE(entries[i - 1].first, entries[i].first);
        }
        std::istringstream line(entries[i].second);
        int thread = -1;
        int index = -1;
        line >> thread >> index;
        ASSERT_TRUE(thread >= 0 && thread < threadCount) << entries[i].second;
        EXPECT_EQ(index, next[thread]++);
    }
    for (int count : next)
        EXPECT_EQ(count, perThread);
}
