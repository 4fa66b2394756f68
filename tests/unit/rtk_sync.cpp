#include "rtk/highrestime.h"
#include "rtk/semaphore.h"
#include "rtk/thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace
{
// Waits (bounded) until the predicate holds; the tests use it to know that a thread is blocked.
template <class Predicate>
bool eventually(Predicate predicate)
{
    for (int i = 0; i < 5000; ++i)
    {
        if (predicate())
            return true;
        rtk::Thread::mssleep(1);
    }
    return false;
}

rtk::MutexSemaphore g_staticMutex; // constructed during static initialisation, as class statics are
} // namespace

TEST(RtkMutexSemaphore, OwnerReentersAndOthersWaitForTheLastGive)
{
    rtk::MutexSemaphore mutex;
    mutex.take();
    mutex.take(); // the owner takes it again without blocking
    EXPECT_TRUE(mutex.tryTake());
    EXPECT_EQ(mutex.getCount(), 3u);
    EXPECT_TRUE(mutex.isOwnedByCurrentThread());

    std::atomic<bool> acquired(false);
    std::atomic<bool> triedWhileOwned(true);
    std::thread other(
        [&]
        {
            triedWhileOwned = mutex.tryTake();
            mutex.take();
            acquired = true;
            EXPECT_TRUE(mutex.isOwnedByCurrentThread());
            mutex.give();
        });
    ASSERT_TRUE(eventually([&] { return mutex.getWaiterCount() == 1; }));
    EXPECT_FALSE(triedWhileOwned);
    mutex.give();
    mutex.give();
    EXPECT_EQ(mutex.getWaiterCount(), 1u); // still one take left: the other thread keeps waiting
    EXPECT_FALSE(acquired);
    EXPECT_TRUE(mutex.isOwnedByCurrentThread());
    mutex.give();
    other.join();
    EXPECT_TRUE(acquired);
    EXPECT_FALSE(mutex.isOwnedByCurrentThread());
    EXPECT_EQ(mutex.getCount(), 0u);

    // Held across a function boundary and given later on the same thread.
    g_staticMutex.take();
    EXPECT_TRUE(g_staticMutex.isOwnedByCurrentThread());
    g_staticMutex.give();
    EXPECT_FALSE(g_staticMutex.isOwnedByCurrentThread());
}

TEST(RtkMutexSemaphoreDeathTest, GiveByNonOwnerIsAFault)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    rtk::MutexSemaphore mutex;
    EXPECT_DEATH(mutex.give(), "ownedByCaller");
    mutex.take();
    EXPECT_DEATH(std::thread([&] { mutex.give(); }).join(), "ownedByCaller");
    mutex.give();
}

TEST(RtkBinarySemaphore, HoldsOneSignalAtMost)
{
    rtk::BinarySemaphore semaphore;
    EXPECT_FALSE(semaphore.take(0));
    semaphore.give();
    semaphore.give();
    EXPECT_TRUE(semaphore.isSignalled());
    EXPECT_TRUE(semaphore.take(0));
    EXPECT_FALSE(semaphore.take(0)); // two gives without a waiter are one signal

    rtk::BinarySemaphore initiallySignalled(true);
    EXPECT_TRUE(initiallySignalled.take(0));
    EXPECT_FALSE(initiallySignalled.take(0));

    // A timed take without a signal gives up after its time.
    rtk::HighResTime const start = rtk::HighResTime::getCurrentTime();
    EXPECT_FALSE(semaphore.take(30));
    EXPECT_GE((rtk::HighResTime::getCurrentTime() - start).getMilliseconds(), 29);
    semaphore.give();
    EXPECT_TRUE(semaphore.take(30));
}

TEST(RtkBinarySemaphore, GiveHandsTheSignalToABlockedTaker)
{
    rtk::BinarySemaphore semaphore;
    std::atomic<int> released(0);
    std::thread waiter(
        [&]
        {
            if (semaphore.take(-1))
                ++released;
        });
    ASSERT_TRUE(eventually([&] { return semaphore.getWaiterCount() == 1; }));
    semaphore.give(); // goes to the waiter, however late it wakes
    semaphore.give(); // stays in the semaphore
    waiter.join();
    EXPECT_EQ(released, 1);
    EXPECT_TRUE(semaphore.take(0));
    EXPECT_FALSE(semaphore.take(0));

    // A timed waiter is released by a give from another thread as well.
    std::thread timedWaiter(
        [&]
        {
            if (semaphore.take(60000))
                ++released;
        });
    ASSERT_TRUE(eventually([&] { return semaphore.getWaiterCount() == 1; }));
    semaphore.give();
    timedWaiter.join();
    EXPECT_EQ(released, 2);
    EXPECT_FALSE(semaphore.isSignalled());
}

namespace
{
// Runs until asked to stop (when obeying), counting the calls of the callback.
class Worker : public rtk::Thread
{
public:
    explicit Worker(bool obey, bool acceptRequest = true)
        : rtk::Thread("worker"), m_obey(obey), m_acceptRequest(acceptRequest)
    {
    }
    ~Worker() override
    {
        m_release = true;
        m_wakeUp.give();
        shutdown(-1);
    }

    std::atomic<int> m_runs{0};
    std::atomic<int> m_callbacks{0};
    std::atomic<bool> m_release{false};
    std::atomic<bool> m_ranOnItself{false};

protected:
    void run() override
    {
        ++m_runs;
        m_ranOnItself = isCurrentThread(*this);
        while (!m_release)
            m_wakeUp.take(-1);
    }
    bool shutdownCallback() override
    {
        ++m_callbacks;
        if (m_obey)
            m_release = true;
        m_wakeUp.give();
        return m_acceptRequest;
    }

private:
    bool m_obey;
    bool m_acceptRequest;
    rtk::BinarySemaphore m_wakeUp;
};
} // namespace

TEST(RtkThread, ShutdownCallsTheCallbackOnceAndJoins)
{
    Worker worker(true);
    EXPECT_TRUE(worker.shutdown(-1)); // never started: nothing to wait for
    EXPECT_EQ(worker.m_callbacks, 0);
    ASSERT_TRUE(worker.start(rtk::Thread::ePriorityHigh));
    EXPECT_EQ(worker.getPriority(), 260);
    EXPECT_FALSE(worker.start(257)); // already running
    ASSERT_TRUE(eventually([&] { return worker.m_runs == 1; }));
    EXPECT_TRUE(worker.isRunning());
    EXPECT_FALSE(rtk::Thread::isCurrentThread(worker));
    EXPECT_TRUE(worker.shutdown(-1));
    EXPECT_EQ(worker.m_callbacks, 1);
    EXPECT_FALSE(worker.isRunning());
    EXPECT_EQ(worker.m_runs, 1);
    EXPECT_TRUE(worker.m_ranOnItself);
}

TEST(RtkThread, ShutdownTimesOutOnAThreadThatGoesOn)
{
    Worker worker(false);
    ASSERT_TRUE(worker.start(rtk::Thread::ePriorityLow));
    EXPECT_FALSE(worker.shutdown(20));
    EXPECT_TRUE(worker.isRunning());
    EXPECT_EQ(worker.m_callbacks, 1);
    worker.m_release = true;
    EXPECT_TRUE(worker.shutdown(-1));
    EXPECT_EQ(worker.m_callbacks, 2);
    EXPECT_FALSE(worker.isRunning());
    // It can run again after it ended.
    worker.m_release = false;
    ASSERT_TRUE(worker.start(rtk::Thread::ePriorityLow));
    ASSERT_TRUE(eventually([&] { return worker.m_runs == 2; }));
    // The destructor stops it.
}

TEST(RtkThread, DeclinedShutdownDoesNotWait)
{
    Worker worker(true, false);
    ASSERT_TRUE(worker.start());
    ASSERT_TRUE(eventually([&] { return worker.m_runs == 1; }));
    EXPECT_FALSE(worker.shutdown(-1));
    EXPECT_EQ(worker.m_callbacks, 1);
    ASSERT_TRUE(eventually([&] { return !worker.isRunning(); })); // it did stop by itself
}

TEST(RtkHighResTime, SpansCutToWholeUnitsAndCombine)
{
    rtk::HighResTimeSpan const span(2999999);
    EXPECT_EQ(span.getMilliseconds(), 2);
    EXPECT_EQ(span.getMicroseconds(), 2999);
    EXPECT_EQ(span.getNanoseconds(), 2999999);
    EXPECT_EQ(rtk::HighResTimeSpan().getNanoseconds(), 0);

    rtk::HighResTimeSpan total;
    total += span;
    total += rtk::HighResTimeSpan::fromMilliseconds(7);
    EXPECT_EQ(total.getNanoseconds(), 9999999);
    EXPECT_EQ((total / 3).getNanoseconds(), 3333333);
    EXPECT_EQ((total / 0).getNanoseconds(), 0);
    EXPECT_EQ((total - span).getMilliseconds(), 7);
    EXPECT_TRUE(span < total);
    EXPECT_TRUE(total > span);
    EXPECT_TRUE(span + span == rtk::HighResTimeSpan(5999998));

    rtk::HighResTime const before = rtk::HighResTime::getCurrentTime();
    rtk::Thread::mssleep(5);
    rtk::Thread::mssleep(0);
    rtk::Thread::mssleep(-5); // no sleep, no fault
    rtk::HighResTime const after = rtk::HighResTime::getCurrentTime();
    EXPECT_GE((after - before).getMilliseconds(), 5);
}
