#include "rtk/module.h"

#include "testinterface.h"

#include <gtest/gtest.h>

#include <memory>

namespace
{
// Runs a test in the tests' build directory, where testlib/ holds the test library.
class RtkModule : public testing::Test
{
protected:
    void SetUp() override
    {
        m_before = rtk::Path::getCurrentDirectory();
        ASSERT_TRUE(rtk::Path::setCurrentDirectory(rtk::Path(RTK_TEST_WORKDIR)));
    }
    void TearDown() override { rtk::Path::setCurrentDirectory(m_before); }

    rtk::Path m_before;
};
} // namespace

TEST_F(RtkModule, LoadsALibraryByRelativePathAndAsksItsRoot)
{
    rtk::ModuleLoader loader;
    std::unique_ptr<rtk::Module> pModule(loader.load(rtk::Path("testlib/librtk_testmodule.so")));
    ASSERT_NE(pModule, nullptr) << loader.getLastError();
    EXPECT_TRUE(loader.getLastError().empty());

    ITestCounter* pCounter = getInterface<ITestCounter>(pModule.get());
    ASSERT_NE(pCounter, nullptr);
    EXPECT_EQ(pCounter->next(), 1);
    EXPECT_EQ(pCounter->next(), 2);
    EXPECT_EQ(pModule->queryInterface(eIWidgetManager), nullptr);

    int destroyed = 0;
    pCounter->watchDestruction(&destroyed);
    pModule.reset(); // deletes the root object, then unloads
    EXPECT_EQ(destroyed, 1);
}

TEST_F(RtkModule, MissingLibrariesGiveNull)
{
    rtk::ModuleLoader loader;
    EXPECT_EQ(loader.load(rtk::Path("testlib/libnothere.so")), nullptr);
    EXPECT_NE(loader.getLastError().find("libnothere.so"), std::string::npos) << loader.getLastError();

    // A bare name is taken from the working directory, never searched for in the library path.
    EXPECT_EQ(loader.load(rtk::Path("libc.so.6")), nullptr);
    EXPECT_FALSE(loader.getLastError().empty());
    EXPECT_EQ(loader.load(rtk::Path()), nullptr);

    // A library without the entry point is unloaded again.
    EXPECT_EQ(loader.load(rtk::Path("../../lib/librtk.so")), nullptr);
    EXPECT_NE(loader.getLastError().find(RTK_MODULE_ENTRY_NAME), std::string::npos) << loader.getLastError();
}
