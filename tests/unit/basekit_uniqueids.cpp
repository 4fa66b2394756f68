#include <basekit/uniqueids.h>

#include <gtest/gtest.h>

#include <sstream>

TEST(UniqueIDs, BitLayoutOrderAndDottedText)
{
    struct Case
    {
        uint16_t m_workplace, m_group, m_module, m_widget;
        uint32_t m_value; // of the widget id; the module id is its upper half
        char const* m_text;
    };
    Case const cases[] = {
        {1, 2, 3, 17, 0x22030011u, "1.2.3.17"},      {7, 0, 0, 0, 0xe0000000u, "7.0.0.0"},
        {0, 31, 0, 0, 0x1f000000u, "0.31.0.0"},      {0, 0, 255, 0, 0x00ff0000u, "0.0.255.0"},
        {0, 0, 0, 65535, 0x0000ffffu, "0.0.0.65535"}, {7, 31, 255, 65535, 0xffffffffu, "7.31.255.65535"},
    };
    for (Case const& c : cases)
    {
        SCOPED_TRACE(c.m_text);
        UniqueWidgetID const id(c.m_workplace, c.m_group, c.m_module, c.m_widget);
        EXPECT_EQ(c.m_value, id.getValue());
        EXPECT_EQ(c.m_text, id.toString());
        UniqueWidgetID const raw(c.m_value);
        EXPECT_EQ(c.m_workplace, raw.getWorkplaceID());
        EXPECT_EQ(c.m_group, raw.getGroupID());
        EXPECT_EQ(c.m_module, raw.getModuleID());
        EXPECT_EQ(c.m_widget, raw.getWidgetID());
        UniqueModuleID const module(c.m_workplace, c.m_group, c.m_module);
        EXPECT_EQ(c.m_value >> 16, module.getValue());
        EXPECT_EQ(module, raw.getUniqueModuleID());
        EXPECT_EQ(id, UniqueWidgetID(module, c.m_widget));
        std::ostringstream os;
        os << module;
        EXPECT_EQ(std::string(c.m_text).substr(0, std::string(c.m_text).rfind('.')), os.str());
    }
    // Ordered by value: workplace outranks group, group module, module widget.
    EXPECT_LT(UniqueModuleID(0, 31, 255), UniqueModuleID(1, 0, 0));
    EXPECT_LT(UniqueModuleID(1, 0, 255), UniqueModuleID(1, 1, 0));
    EXPECT_LT(UniqueWidgetID(1, 0, 3, 65535), UniqueWidgetID(1, 0, 4, 0));
    EXPECT_LT(UniqueWidgetID(1, 0, 3, 16), UniqueWidgetID(1, 0, 3, 17));
}

TEST(UniqueIDsDeathTest, RangeBreachEndsTheProcess)
{
    char const* text = "Assertion \"workplaceID < 8 && groupID < 32 && moduleID < 256\" failed";
    EXPECT_DEATH(UniqueModuleID(8, 0, 0), text);
    EXPECT_DEATH(UniqueModuleID(0, 32, 0), text);
    EXPECT_DEATH(UniqueWidgetID(0, 0, 256, 1), text);
}
