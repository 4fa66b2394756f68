// The four-step equality: same kind, Invalid, Bool by truth, everything else by text.

#include "pdlvariant.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace
{
const float kNaN = std::numeric_limits<float>::quiet_NaN();

// Equality must not depend on which side is which.
void expectEqual(PDLVariant const& a, PDLVariant const& b, bool expected)
{
    EXPECT_EQ(expected, a == b) << a.getString() << " / " << b.getString();
    EXPECT_EQ(expected, b == a) << b.getString() << " / " << a.getString();
}

TEST(PDLVariantEquality, SameKindComparesByValue)
{
    expectEqual(PDLVariant(), PDLVariant(), true);
    expectEqual(PDLVariant(true), PDLVariant(true), true);
    expectEqual(PDLVariant(true), PDLVariant(false), false);
    expectEqual(PDLVariant(5), PDLVariant(5), true);
    expectEqual(PDLVariant(5), PDLVariant(6), false);
    expectEqual(PDLVariant(4294967295u), PDLVariant(-1), true);
    expectEqual(PDLVariant(0.0f), PDLVariant(-0.0f), true);
    expectEqual(PDLVariant(1.5f), PDLVariant(1.5f), true);
    // Two floats that print alike are still different numbers.
    expectEqual(PDLVariant(1234.4f), PDLVariant(1234.3f), false);
    PDLVariant nan(kNaN);
    EXPECT_FALSE(nan == nan);
    EXPECT_TRUE(nan.getBool());
    expectEqual(PDLVariant("abc"), PDLVariant("abc"), true);
    expectEqual(PDLVariant("abc"), PDLVariant("abd"), false);
    expectEqual(PDLVariant("ab"), PDLVariant("abc"), false);
    expectEqual(PDLVariant(""), PDLVariant(""), true);
    expectEqual(PDLVariant(std::string("a\0b", 3)), PDLVariant(std::string("a\0c", 3)), false);
    expectEqual(PDLVariant(std::string("a\0b", 3)), PDLVariant("a"), false);
    // Two strings never go through the keywords.
    expectEqual(PDLVariant("ON"), PDLVariant("TRUE"), false);
    expectEqual(PDLVariant("1"), PDLVariant("01"), false);
}

TEST(PDLVariantEquality, InvalidEqualsNoOtherKind)
{
    // Each of these converts to false, 0, 0.0 or empty text like an Invalid does.
    expectEqual(PDLVariant(), PDLVariant(false), false);
    expectEqual(PDLVariant(), PDLVariant(0), false);
    expectEqual(PDLVariant(), PDLVariant(0.0f), false);
    expectEqual(PDLVariant(), PDLVariant(""), false);
    PDLVariant cleared("x");
    cleared.clear();
    expectEqual(PDLVariant(), cleared, false);
}

TEST(PDLVariantEquality, BoolAgainstAnythingComparesTruth)
{
    expectEqual(PDLVariant(true), PDLVariant(1), true);
    expectEqual(PDLVariant(true), PDLVariant(2), true);
    expectEqual(PDLVariant(true), PDLVariant(7), true);
    expectEqual(PDLVariant(true), PDLVariant(-1), true);
    expectEqual(PDLVariant(true), PDLVariant(0), false);
    expectEqual(PDLVariant(false), PDLVariant(0), true);
    expectEqual(PDLVariant(false), PDLVariant(3), false);

    expectEqual(PDLVariant(true), PDLVariant(1.0f), true);
    expectEqual(PDLVariant(true), PDLVariant(0.5f), true);
    expectEqual(PDLVariant(true), PDLVariant(kNaN), true);
    expectEqual(PDLVariant(false), PDLVariant(0.0f), true);
    expectEqual(PDLVariant(false), PDLVariant(-0.0f), true);

    expectEqual(PDLVariant(true), PDLVariant("TRUE"), true);
    expectEqual(PDLVariant(true), PDLVariant("ON"), true);
    expectEqual(PDLVariant(true), PDLVariant("on"), false);
    expectEqual(PDLVariant(true), PDLVariant("1"), false);
    expectEqual(PDLVariant(false), PDLVariant("OFF"), true);
    expectEqual(PDLVariant(false), PDLVariant("abc"), true);
    expectEqual(PDLVariant(false), PDLVariant(""), true);
    expectEqual(PDLVariant(false), PDLVariant("1"), true);
}

TEST(PDLVariantEquality, NumbersAndTextCompareByText)
{
    // Int against Float: "1" is not "1.0000", "12" is not "12.00" ...
    expectEqual(PDLVariant(1), PDLVariant(1.0f), false);
    expectEqual(PDLVariant(12), PDLVariant(12.0f), false);
    expectEqual(PDLVariant(0), PDLVariant(0.0f), false);
    // ... but large floats print as whole numbers.
    expectEqual(PDLVariant(1000), PDLVariant(1000.0f), true);
    expectEqual(PDLVariant(1234), PDLVariant(1234.4f), true);
    expectEqual(PDLVariant(-1000), PDLVariant(-1000.0f), true);
    expectEqual(PDLVariant(1234), PDLVariant(1234.5f), true);
    expectEqual(PDLVariant(1235), PDLVariant(1234.5f), false);

    // Int against String.
    expectEqual(PDLVariant(12), PDLVariant("12"), true);
    expectEqual(PDLVariant(-5), PDLVariant("-5"), true);
    expectEqual(PDLVariant(12), PDLVariant("012"), false);
    expectEqual(PDLVariant(12), PDLVariant(" 12"), false);
    expectEqual(PDLVariant(12), PDLVariant("12abc"), false);

    // Float against String.
    expectEqual(PDLVariant(0.5f), PDLVariant("0.5000"), true);
    expectEqual(PDLVariant(0.5f), PDLVariant("0.5"), false);
    expectEqual(PDLVariant(12.5f), PDLVariant("12.50"), true);
    expectEqual(PDLVariant(0.0f), PDLVariant("-0.0000"), false);
    expectEqual(PDLVariant(-0.0f), PDLVariant("-0.0000"), true);
    // A NaN is unequal to itself but equal to its text.
    expectEqual(PDLVariant(kNaN), PDLVariant("nan"), true);
}
} // namespace
