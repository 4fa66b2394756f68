#include "rtk/singleton.h"

#include <gtest/gtest.h>

namespace
{
class Registry : public rtk::Singleton<Registry>
{
public:
    explicit Registry(int value) : m_value(value) {}
    int m_value;
};
} // namespace

TEST(RtkSingleton, CreateGetDestroy)
{
    EXPECT_FALSE(Registry::hasInstance());
    Registry* pRegistry = Registry::createInstance(17);
    EXPECT_TRUE(Registry::hasInstance());
    EXPECT_EQ(Registry::getInstance(), pRegistry);
    EXPECT_EQ(Registry::getInstance()->m_value, 17);
    Registry::destroyInstance();
    EXPECT_FALSE(Registry::hasInstance());
    Registry::destroyInstance(); // nothing left to destroy: no fault
}

TEST(RtkSingletonDeathTest, BreachesAbortWithTheirAssertionTexts)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(Registry::getInstance(), "Assertion \"s_pInstance\" failed");
    Registry::createInstance(1);
    EXPECT_DEATH(Registry::createInstance(2), "Assertion \"s_pInstance == NULL\" failed");
    Registry::destroyInstance();
}
