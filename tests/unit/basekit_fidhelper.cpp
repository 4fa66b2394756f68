#include <basekit/fidhelper.h>

#include <gtest/gtest.h>

namespace
{
bool match(std::string const& pattern, std::string const& fid)
{
    return FIDPatternHelper(pattern).matches(FIDHelper(fid));
}
} // namespace

TEST(FIDHelper, SplitsAtDots)
{
    FIDHelper fid("PANEL.MODULE.0.3.11.LOGICBOARD.ID");
    EXPECT_EQ(fid.getString(), "PANEL.MODULE.0.3.11.LOGICBOARD.ID");
    ASSERT_EQ(fid.getElementCount(), 7u);
    EXPECT_EQ(fid.getElement(0), "PANEL");
    EXPECT_EQ(fid.getElement(3), "3");
    EXPECT_EQ(fid.getElement(6), "ID");

    FIDHelper leading(".SYSTEM.NAME");
    ASSERT_EQ(leading.getElementCount(), 3u);
    EXPECT_EQ(leading.getElement(0), "");
    EXPECT_EQ(leading.getElement(2), "NAME");

    FIDHelper inner("A..B.");
    ASSERT_EQ(inner.getElementCount(), 4u);
    EXPECT_EQ(inner.getElement(1), "");
    EXPECT_EQ(inner.getElement(3), "");

    EXPECT_EQ(FIDHelper("").getElementCount(), 0u);
    EXPECT_EQ(FIDHelper("NAME").getElementCount(), 1u);
}

TEST(FIDParameterList, KeepsOrderAndWidgetID)
{
    FIDParameterList list;
    EXPECT_EQ(list.getWidgetID(), UniqueWidgetID());
    list.add("b", "2");
    list.add("a", "1");
    list.add("b", "3");
    list.setWidgetID(UniqueWidgetID(1, 0, 3, 17));
    ASSERT_EQ(list.getCount(), 3u);
    EXPECT_EQ(list.getName(0), "b");
    EXPECT_EQ(list.getValue(0), "2");
    EXPECT_EQ(list.getName(1), "a");
    EXPECT_EQ(list.getValue(2), "3");
    EXPECT_EQ(list.getWidgetID(), UniqueWidgetID(1, 0, 3, 17));
    list.clear();
    EXPECT_EQ(list.getCount(), 0u);
    EXPECT_EQ(list.getWidgetID(), UniqueWidgetID());
}

TEST(FIDPatternHelper, RangesIncludeBothEnds)
{
    std::string const pattern = "PANEL.MODULE.0.[GRP:1-9].11.LOGICBOARD.ID";
    EXPECT_TRUE(match(pattern, "PANEL.MODULE.0.1.11.LOGICBOARD.ID"));
    EXPECT_TRUE(match(pattern, "PANEL.MODULE.0.9.11.LOGICBOARD.ID"));
    EXPECT_TRUE(match(pattern, "PANEL.MODULE.0.5.11.LOGICBOARD.ID"));
    EXPECT_FALSE(match(pattern, "PANEL.MODULE.0.0.11.LOGICBOARD.ID"));
    EXPECT_FALSE(match(pattern, "PANEL.MODULE.0.10.11.LOGICBOARD.ID"));
    // Literal elements around the parameter count byte for byte.
    EXPECT_FALSE(match(pattern, "PANEL.MODULE.1.5.11.LOGICBOARD.ID"));
    EXPECT_FALSE(match(pattern, "PANEL.MODULE.0.5.11.LOGICBOARD.id"));
    // Single-value range and the ends of the 32-bit range.
    EXPECT_TRUE(match("A.[X:4-4]", "A.4"));
    EXPECT_FALSE(match("A.[X:4-4]", "A.5"));
    EXPECT_TRUE(match("A.[X:0-4294967295]", "A.4294967295"));
    EXPECT_FALSE(match("A.[X:0-4294967295]", "A.4294967296"));
}

TEST(FIDPatternHelper, ListsAndAny)
{
    std::string const pattern = "A.[M:1,3,5-7].B";
    for (std::string value : {"1", "3", "5", "6", "7"})
        EXPECT_TRUE(match(pattern, "A." + value + ".B")) << value;
    for (std::string value : {"0", "2", "4", "8"})
        EXPECT_FALSE(match(pattern, "A." + value + ".B")) << value;

    EXPECT_TRUE(match("DRV1.[ANY:*].NAME", "DRV1.SYSTEM.NAME"));
    EXPECT_TRUE(match("DRV1.[ANY:*].NAME", "DRV1..NAME"));
    EXPECT_TRUE(match("[D:*].[E:*]", "x.y"));
    EXPECT_FALSE(match("[D:*].[E:*]", "x.y.z"));
}

TEST(FIDPatternHelper, ElementCountMustBeEqual)
{
    EXPECT_FALSE(match("A.[X:*]", "A"));
    EXPECT_FALSE(match("A.[X:*]", "A.1.2"));
    EXPECT_FALSE(match("A.[X:1-9]", "A.1."));
    EXPECT_FALSE(match("A.B", "A.B.C"));
    // A pattern without parameters is an exact comparison.
    EXPECT_TRUE(match("A.B", "A.B"));
    EXPECT_TRUE(match(".SYSTEM.NAME", ".SYSTEM.NAME"));
    EXPECT_FALSE(match(".SYSTEM.NAME", "SYSTEM.NAME"));
}

TEST(FIDPatternHelper, NumbersMustBeCanonicalDecimal)
{
    std::string const pattern = "A.[X:5-9]";
    EXPECT_FALSE(match(pattern, "A.abc"));
    EXPECT_FALSE(match(pattern, "A.7x"));
    EXPECT_FALSE(match(pattern, "A."));
    EXPECT_FALSE(match(pattern, "A.007"));
    EXPECT_FALSE(match(pattern, "A.+7"));
    EXPECT_FALSE(match(pattern, "A.-7"));
    EXPECT_FALSE(match(pattern, "A. 7"));
    EXPECT_TRUE(match(pattern, "A.7"));
    EXPECT_TRUE(match("A.[X:0-3]", "A.0"));
    EXPECT_FALSE(match("A.[X:0-3]", "A.00"));
}

TEST(FIDPatternHelper, IsParameterized)
{
    EXPECT_TRUE(FIDPatternHelper::isParameterized("PANEL.MODULE.0.[GRP:1-9].11.LOGICBOARD.ID"));
    EXPECT_TRUE(FIDPatternHelper::isParameterized("[X:*].A"));
    EXPECT_TRUE(FIDPatternHelper::isParameterized("A.[X:1-"));
    EXPECT_FALSE(FIDPatternHelper::isParameterized("DRV1.SYSTEM.NAME"));
    EXPECT_FALSE(FIDPatternHelper::isParameterized("A.B[1]"));
    EXPECT_FALSE(FIDPatternHelper::isParameterized(""));
}

TEST(FIDPatternHelper, MalformedParameterElementsMatchNothing)
{
    FIDPatternHelper good("A.[GRP:1-9]");
    EXPECT_TRUE(good.isValid());
    EXPECT_TRUE(good.getError().empty());
    EXPECT_EQ(good.getParameters().getCount(), 0u);
    EXPECT_EQ(good.getElementCount(), 2u);
    EXPECT_EQ(good.getString(), "A.[GRP:1-9]");

    char const* const malformed[] = {
        "A.[GRP:9-1]", // reversed range
        "A.[GRP:1-9",  // no closing bracket
        "A.[GRP]",     // no range or list
        "A.[:1-9]",    // no name
        "A.[GRP:]",    // empty range
        "A.[GRP:-3]",  // negative numbers are not part of the grammar
        "A.[GRP:1,]",  // empty list item
        "A.[GRP:1-2-3]",
        "A.[GRP:a-b]",
        "A.[GRP: 1-9]", // blanks are not allowed
        "A.[G R:1-9]",
        "A.[GRP:01-9]", // numbers are written without leading zeros
        "A.[GRP:4294967296]",
        "A.[GRP:**]",
    };
    for (char const* text : malformed)
    {
        FIDPatternHelper pattern(text);
        EXPECT_FALSE(pattern.isValid()) << text;
        EXPECT_FALSE(pattern.getError().empty()) << text;
        EXPECT_FALSE(pattern.matches(FIDHelper("A.5"))) << text;
        // Not even its own text.
        EXPECT_FALSE(pattern.matches(FIDHelper(text))) << text;
    }
    // One bad element spoils a pattern whose other elements are fine.
    EXPECT_FALSE(match("[X:*].[Y:9-1]", "A.5"));
}
