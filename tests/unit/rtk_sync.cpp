#include "rtk/semaphore.h"
#include "rtk/singleton.h"

#include <gtest/gtest.h>

namespace
{
class Registry : public rtk::Singleton<Registry>
{
};
} // namespace

// The semaphores run the engine's main loop and the debugger's stops in every test of the core; what is
// left here are the breaches, which end the process.
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
