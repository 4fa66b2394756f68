#include <basekit/fidhelper.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

TEST(FIDHelper, SplitsAtDots)
{
    struct Case
    {
        char const* m_fid;
        std::vector<std::string> m_elements;
    };
    std::vector<Case> const cases = {
        {"PANEL.MODULE.0.3.11.LOGICBOARD.ID", {"PANEL", "MODULE", "0", "3", "11", "LOGICBOARD", "ID"}},
        {".SYSTEM.NAME", {"", "SYSTEM", "NAME"}},
        {"A..B.", {"A", "", "B", ""}},
        {"NAME", {"NAME"}},
        {"", {}},
    };
    for (Case const& c : cases)
    {
        FIDHelper fid(c.m_fid);
        std::vector<std::string> elements;
        for (size_t i = 0; i < fid.getElementCount(); ++i)
            elements.push_back(fid.getElement(i));
        EXPECT_EQ(c.m_elements, elements) << c.m_fid;
    }
}

TEST(FIDPatternHelper, MatchesRangesListsAndAnyElementByElement)
{
    struct Case
    {
        char const* m_pattern;
        char const* m_fid;
        bool m_matches;
    };
    Case const cases[] = {
        // Ranges include both ends; literal elements compare byte for byte.
        {"PANEL.MODULE.0.[GRP:1-9].11.LOGICBOARD.ID", "PANEL.MODULE.0.1.11.LOGICBOARD.ID", true},
        {"PANEL.MODULE.0.[GRP:1-9].11.LOGICBOARD.ID", "PANEL.MODULE.0.9.11.LOGICBOARD.ID", true},
        {"PANEL.MODULE.0.[GRP:1-9].11.LOGICBOARD.ID", "PANEL.MODULE.0.0.11.LOGICBOARD.ID", false},
        {"PANEL.MODULE.0.[GRP:1-9].11.LOGICBOARD.ID", "PANEL.MODULE.0.10.11.LOGICBOARD.ID", false},
        {"PANEL.MODULE.0.[GRP:1-9].11.LOGICBOARD.ID", "PANEL.MODULE.1.5.11.LOGICBOARD.ID", false},
        {"PANEL.MODULE.0.[GRP:1-9].11.LOGICBOARD.ID", "PANEL.MODULE.0.5.11.LOGICBOARD.id", false},
        {"A.[X:4-4]", "A.4", true},
        {"A.[X:4-4]", "A.5", false},
        {"A.[X:0-4294967295]", "A.4294967295", true},
        {"A.[X:0-4294967295]", "A.4294967296", false},
        {"A.[M:1,3,5-7].B", "A.3.B", true},
        {"A.[M:1,3,5-7].B", "A.7.B", true},
        {"A.[M:1,3,5-7].B", "A.4.B", false},
        {"DRV1.[ANY:*].NAME", "DRV1..NAME", true},
        // The element count must be equal.
        {"[D:*].[E:*]", "x.y.z", false},
        {"A.[X:*]", "A", false},
        {"A.B", "A.B.C", false},
        {".SYSTEM.NAME", "SYSTEM.NAME", false},
        // Numbers are canonical decimal.
        {"A.[X:5-9]", "A.7x", false},
        {"A.[X:5-9]", "A.007", false},
        {"A.[X:5-9]", "A.+7", false},
        {"A.[X:5-9]", "A.", false},
        {"A.[X:0-3]", "A.0", true},
        {"A.[X:0-3]", "A.00", false},
    };
    for (Case const& c : cases)
    {
        EXPECT_EQ(c.m_matches, FIDPatternHelper(c.m_pattern).matches(FIDHelper(c.m_fid)))
            << c.m_pattern << " / " << c.m_fid;
    }

    EXPECT_TRUE(FIDPatternHelper::isParameterized("[X:*].A"));
    EXPECT_TRUE(FIDPatternHelper::isParameterized("A.[X:1-"));
    EXPECT_FALSE(FIDPatternHelper::isParameterized("A.B[1]"));
    EXPECT_FALSE(FIDPatternHelper::isParameterized("DRV1.SYSTEM.NAME"));
}

TEST(FIDPatternHelper, MalformedParameterElementsMatchNothing)
{
    for (char const* text : {"A.[GRP:9-1]", "A.[GRP:1-9", "A.[GRP]", "A.[:1-9]", "A.[GRP:]", "A.[GRP:-3]",
                             "A.[GRP:1,]", "A.[GRP:1-2-3]", "A.[GRP: 1-9]", "A.[G R:1-9]", "A.[GRP:01-9]",
                             "A.[GRP:4294967296]", "A.[GRP:**]", "[X:*].[Y:9-1]"})
    {
        FIDPatternHelper pattern(text);
        EXPECT_FALSE(pattern.isValid()) << text;
        EXPECT_FALSE(pattern.getError().empty()) << text;
        EXPECT_FALSE(pattern.matches(FIDHelper("A.5"))) << text;
        EXPECT_FALSE(pattern.matches(FIDHelper(text))) << text;
    }
    EXPECT_TRUE(FIDPatternHelper("A.[GRP:1-9]").isValid());
}
