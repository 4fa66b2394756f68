#include <basekit/uniqueids.h>

#include <gtest/gtest.h>

#include <map>
#include <sstream>

TEST(UniqueModuleID, BitLayoutBothWays)
{
    UniqueModuleID id(1, 2, 3);
    EXPECT_EQ(id.getValue(), 0x2203);
    UniqueModuleID raw(static_cast<uint16_t>(0x2203));
    EXPECT_EQ(raw.getWorkplaceID(), 1);
    EXPECT_EQ(raw.getGroupID(), 2);
    EXPECT_EQ(raw.getModuleID(), 3);
    EXPECT_EQ(raw, id);

    // Each field at its maximum fills exactly its bits.
    EXPECT_EQ(UniqueModuleID(7, 0, 0).getValue(), 0xe000);
    EXPECT_EQ(UniqueModuleID(0, 31, 0).getValue(), 0x1f00);
    EXPECT_EQ(UniqueModuleID(0, 0, 255).getValue(), 0x00ff);
    UniqueModuleID full(static_cast<uint16_t>(0xffff));
    EXPECT_EQ(full.getWorkplaceID(), 7);
    EXPECT_EQ(full.getGroupID(), 31);
    EXPECT_EQ(full.getModuleID(), 255);
    EXPECT_EQ(UniqueModuleID().getValue(), 0);
}

TEST(UniqueModuleID, OrderedByValueAndPrintedDotted)
{
    // Workplace outranks group, group outranks module.
    EXPECT_LT(UniqueModuleID(0, 31, 255), UniqueModuleID(1, 0, 0));
    EXPECT_LT(UniqueModuleID(1, 0, 255), UniqueModuleID(1, 1, 0));
    EXPECT_FALSE(UniqueModuleID(1, 1, 0) < UniqueModuleID(1, 1, 0));
    EXPECT_NE(UniqueModuleID(1, 1, 0), UniqueModuleID(1, 1, 1));

    std::map<UniqueModuleID, int> modules;
    modules[UniqueModuleID(2, 0, 0)] = 3;
    modules[UniqueModuleID(0, 5, 9)] = 1;
    modules[UniqueModuleID(1, 0, 0)] = 2;
    int expected = 1;
    for (auto const& entry : modules)
        EXPECT_EQ(entry.second, expected++);

    EXPECT_EQ(UniqueModuleID(7, 31, 255).toString(), "7.31.255");
    std::ostringstream os;
    os << UniqueModuleID(1, 2, 3);
    EXPECT_EQ(os.str(), "1.2.3");
}

TEST(UniqueModuleIDDeathTest, RangeBreachEndsTheProcess)
{
    char const* text = "Assertion \"workplaceID < 8 && groupID < 32 && moduleID < 256\" failed";
    EXPECT_DEATH(UniqueModuleID(8, 0, 0), text);
    EXPECT_DEATH(UniqueModuleID(0, 32, 0), text);
    EXPECT_DEATH(UniqueModuleID(0, 0, 256), text);
    EXPECT_DEATH(UniqueWidgetID(0, 32, 0, 1), text);
}

TEST(UniqueWidgetID, BitLayoutBothWays)
{
    UniqueWidgetID id(1, 0, 3, 17);
    EXPECT_EQ(id.getValue(), 0x20030011u);
    UniqueWidgetID raw(static_cast<uint32_t>(0xffffffffu));
    EXPECT_EQ(raw.getWorkplaceID(), 7);
    EXPECT_EQ(raw.getGroupID(), 31);
    EXPECT_EQ(raw.getModuleID(), 255);
    EXPECT_EQ(raw.getWidgetID(), 0xffff);
    EXPECT_EQ(UniqueWidgetID(0, 31, 0, 0).getValue(), 0x1f000000u);
    EXPECT_EQ(UniqueWidgetID(0, 0, 255, 0).getValue(), 0x00ff0000u);
    EXPECT_EQ(UniqueWidgetID(0, 0, 0, 65535).getValue(), 0x0000ffffu);

    UniqueModuleID module(1, 2, 3);
    UniqueWidgetID fromModule(module, 40000);
    EXPECT_EQ(fromModule, UniqueWidgetID(1, 2, 3, 40000));
    EXPECT_EQ(fromModule.getUniqueModuleID(), module);
    EXPECT_EQ(fromModule.getUniqueModuleID().getValue(), 0x2203);
    EXPECT_EQ(UniqueWidgetID().getValue(), 0u);
}

TEST(UniqueWidgetID, OrderedByValueAndPrintedDotted)
{
    EXPECT_LT(UniqueWidgetID(0, 31, 255, 65535), UniqueWidgetID(1, 0, 0, 0));
    EXPECT_LT(UniqueWidgetID(1, 0, 3, 65535), UniqueWidgetID(1, 0, 4, 0));
    EXPECT_LT(UniqueWidgetID(1, 0, 3, 16), UniqueWidgetID(1, 0, 3, 17));
    EXPECT_NE(UniqueWidgetID(1, 0, 3, 16), UniqueWidgetID(1, 0, 3, 17));

    EXPECT_EQ(UniqueWidgetID(1, 0, 3, 17).toString(), "1.0.3.17");
    std::ostringstream os;
    os << UniqueWidgetID(7, 31, 255, 65535);
    EXPECT_EQ(os.str(), "7.31.255.65535");
}
