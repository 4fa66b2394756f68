#include "rtk/semaphore.h"
#include "rtk/singleton.h"
#include "rtk/thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace
{
// Waits (bounded) until the predicate holds; used to know that a thread is blocked.
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

class Registry : public rtk::Singleton<Registry>
{
};
} // namespace

TEST(RtkBinarySemaphore, HoldsOneSignalAndHandsItToAWaiter)
{
    rtk::BinarySemaphore semaphore;
    EXPECT_FALSE(semaphore.take(0));
    semaphore.give();
    semaphore.give();
    EXPECT_TRUE(semaphore.take(0));
    EXPECT_FALSE(semaphore.take(0)); // two gives without a waiter are one signal
    EXPECT_FALSE(semaphore.take(5));

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
    EXPECT_EQ(1, released);
    EXPECT_TRUE(semaphore.take(0));
    EXPECT_FALSE(semaphore.isSignalled());
}

// The interpreter mutex lets its owner take it again; the engine and the panel state rely on that in
// every test of the core. What is left here are the binary semaphore's rules and the breaches.
TEST(RtkSyncDeathTest, BreachesEndTheProcessWithTheirAssertionTexts)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    rtk::MutexSemaphore mutex;
    EXPECT_DEATH(mutex.give(), "ownedByCaller");
    EXPECT_DEATH(Registry::getInstance(), "Assertion \"s_pInstance\" failed");
    Registry::createInstance();
    EXPECT_DEATH(Registry::createInstance(), "Assertion \"s_pInstance == NULL\" failed");
    Registry::destroyInstance();
    EXPECT_FALSE(Registry::hasInstance());
}
