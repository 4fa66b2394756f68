#include "rtk/path.h"

#include <gtest/gtest.h>

#include <string>

TEST(RtkPath, NormaliseCutBackAndAppend)
{
    // fixNotFullQualified never rewrites the last element, so "base + fileName" still ends in fileName.
    struct Case
    {
        char const* m_text;
        char const* m_normalised;
        char const* m_cutBack;
    };
    Case const cases[] = {
        {"", "", ""},
        {"a//b/./c", "a/b/c", "a//b/."},
        {"/x///y/", "/x/y", "/x"},
        {"./config/WidgetTypes.xml", "config/WidgetTypes.xml", "./config"},
        {"a/b/../c.pdl", "a/c.pdl", "a/b/.."},
        {"a/../../c", "../c", "a/../.."},
        {"/../etc", "/etc", "/.."},
        {"dir/sub/..", "dir/sub/..", "dir/sub"},
        {"/work//config/./PDL/mod ule.pdl", "/work/config/PDL/mod ule.pdl", "/work//config/./PDL"},
        {"/a", "/a", "/"},
        {"a", "a", ""},
    };
    for (Case const& c : cases)
    {
        SCOPED_TRACE(c.m_text);
        rtk::Path normalised(c.m_text);
        normalised.fixNotFullQualified();
        EXPECT_EQ(c.m_normalised, normalised.getString());
        rtk::Path cut(c.m_text);
        cut.cutBack();
        EXPECT_EQ(c.m_cutBack, cut.getString());
    }

    struct Join
    {
        char const* m_base;
        char const* m_element;
        char const* m_joined;
    };
    Join const joins[] = {
        {"cwd", "config", "cwd/config"}, {"cwd/", "config", "cwd/config"}, {"cwd/", "/config", "cwd/config"},
        {"cwd", "/config", "cwd/config"}, {"", "config", "config"},        {"cwd", "", "cwd"},
    };
    for (Join const& j : joins)
    {
        EXPECT_EQ(j.m_joined, (rtk::Path(j.m_base) + j.m_element).getString()) << j.m_base << " + " << j.m_element;
    }
    rtk::Path chained("/data");
    chained.append("PANEL").append("panelmodel.txt");
    EXPECT_EQ("/data/PANEL/panelmodel.txt", chained.getString());
    EXPECT_EQ("panelmodel.txt", chained.getLastElement());
    EXPECT_EQ("b", rtk::Path("a/b/").getLastElement());
}
