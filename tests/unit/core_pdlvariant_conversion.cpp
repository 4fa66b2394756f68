// Construction, setters and the conversion of every kind to every other kind.

#include "pdlvariant.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>
#include <string>

namespace
{
const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

TEST(PDLVariantConversion, ConstructorsGiveTheirKind)
{
    EXPECT_EQ(PDLVariant::eInvalid, PDLVariant().getKind());
    EXPECT_EQ(PDLVariant::eBool, PDLVariant(false).getKind());
    EXPECT_EQ(PDLVariant::eInt, PDLVariant(0).getKind());
    EXPECT_EQ(PDLVariant::eInt, PDLVariant(0u).getKind());
    EXPECT_EQ(PDLVariant::eFloat, PDLVariant(0.0f).getKind());
    EXPECT_EQ(PDLVariant::eString, PDLVariant("").getKind());
    EXPECT_EQ(PDLVariant::eString, PDLVariant(std::string()).getKind());
    // The kind numbers are stored by other units.
    EXPECT_EQ(0u, static_cast<unsigned>(PDLVariant::eInvalid));
    EXPECT_EQ(1u, static_cast<unsigned>(PDLVariant::eBool));
    EXPECT_EQ(2u, static_cast<unsigned>(PDLVariant::eInt));
    EXPECT_EQ(3u, static_cast<unsigned>(PDLVariant::eFloat));
    EXPECT_EQ(4u, static_cast<unsigned>(PDLVariant::eString));

    // Unsigned values keep their 32 bits, read as signed.
    EXPECT_EQ(-1, PDLVariant(4294967295u).getInt());
    EXPECT_EQ(INT_MIN, PDLVariant(2147483648u).getInt());
    EXPECT_EQ("-1", PDLVariant(4294967295u).getString());

    PDLVariant copy(PDLVariant("some text that is too long for any small buffer"));
    EXPECT_EQ(PDLVariant::eString, copy.getKind());
    EXPECT_EQ("some text that is too long for any small buffer", copy.getString());
}

TEST(PDLVariantConversion, InvalidConvertsToNothing)
{
    PDLVariant v;
    EXPECT_FALSE(v.getBool());
    EXPECT_EQ(0, v.getInt());
    EXPECT_EQ(0.0f, v.getFloat());
    EXPECT_EQ("", v.getString());
}

TEST(PDLVariantConversion, BoolIsOnOffOnTheWayOut)
{
    PDLVariant t(true);
    PDLVariant f(false);
    EXPECT_TRUE(t.getBool());
    EXPECT_FALSE(f.getBool());
    EXPECT_EQ(1, t.getInt());
    EXPECT_EQ(0, f.getInt());
    EXPECT_EQ(1.0f, t.getFloat());
    EXPECT_EQ(0.0f, f.getFloat());
    EXPECT_EQ("ON", t.getString());
    EXPECT_EQ("OFF", f.getString());

    // Through text and back the truth survives, the number does not.
    PDLVariant text(t.getString());
    EXPECT_TRUE(text.getBool());
    EXPECT_EQ(0, text.getInt());
    EXPECT_EQ(0.0f, text.getFloat());
    EXPECT_FALSE(PDLVariant(f.getString()).getBool());
}

TEST(PDLVariantConversion, IntConversions)
{
    EXPECT_TRUE(PDLVariant(7).getBool());
    EXPECT_TRUE(PDLVariant(-1).getBool());
    EXPECT_FALSE(PDLVariant(0).getBool());
    EXPECT_EQ(-42, PDLVariant(-42).getInt());
    EXPECT_EQ(-42.0f, PDLVariant(-42).getFloat());
    // Rounded to nearest, ties to even: 2^24+1 lies halfway between 2^24 and 2^24+2, 2^24+3 halfway
    // between 2^24+2 and 2^24+4.
    EXPECT_EQ(16777216.0f, PDLVariant(16777217).getFloat());
    EXPECT_EQ(16777220.0f, PDLVariant(16777219).getFloat());
    EXPECT_EQ("-42", PDLVariant(-42).getString());
    EXPECT_EQ("1234567", PDLVariant(1234567).getString());
    EXPECT_EQ("0", PDLVariant(0).getString());
    EXPECT_EQ("-2147483648", PDLVariant(INT_MIN).getString());
    EXPECT_EQ("2147483647", PDLVariant(INT_MAX).getString());
}

TEST(PDLVariantConversion, FloatConversions)
{
    EXPECT_TRUE(PDLVariant(0.5f).getBool());
    EXPECT_TRUE(PDLVariant(-0.001f).getBool());
    EXPECT_FALSE(PDLVariant(0.0f).getBool());
    EXPECT_FALSE(PDLVariant(-0.0f).getBool());
    EXPECT_TRUE(PDLVariant(kNaN).getBool());

    // Truncated toward zero.
    EXPECT_EQ(2, PDLVariant(2.9f).getInt());
    EXPECT_EQ(-2, PDLVariant(-2.9f).getInt());
    EXPECT_EQ(0, PDLVariant(-0.9f).getInt());
    EXPECT_EQ(2147483520, PDLVariant(2147483520.0f).getInt()); // largest float below 2^31
    EXPECT_EQ(INT_MIN, PDLVariant(-2147483648.0f).getInt());
    // Out of range, infinite or NaN: the integer indefinite.
    EXPECT_EQ(INT_MIN, PDLVariant(2147483648.0f).getInt());
    EXPECT_EQ(INT_MIN, PDLVariant(3e9f).getInt());
    EXPECT_EQ(INT_MIN, PDLVariant(-3e9f).getInt());
    EXPECT_EQ(INT_MIN, PDLVariant(kInf).getInt());
    EXPECT_EQ(INT_MIN, PDLVariant(-kInf).getInt());
    EXPECT_EQ(INT_MIN, PDLVariant(kNaN).getInt());

    EXPECT_EQ(2.75f, PDLVariant(2.75f).getFloat());
    EXPECT_TRUE(std::isnan(PDLVariant(kNaN).getFloat()));

    EXPECT_EQ("1000", PDLVariant(1000.0f).getString());
    EXPECT_EQ("999.0", PDLVariant(999.0f).getString());
    EXPECT_EQ("1.0000", PDLVariant(1.0f).getString());
    EXPECT_EQ("1.500", PDLVariant(1.5f).getString());
}

TEST(PDLVariantConversion, StringToBoolNeedsAnExactKeyword)
{
    EXPECT_TRUE(PDLVariant("ON").getBool());
    EXPECT_TRUE(PDLVariant("TRUE").getBool());
    for (const char* text :
         {"on", "On", "true", "True", "OFF", "FALSE", "1", "YES", "", " ON", "ON ", "ONX", "TRUE\n"})
    {
        EXPECT_FALSE(PDLVariant(text).getBool()) << '"' << text << '"';
    }
    EXPECT_FALSE(PDLVariant(std::string("ON\0", 3)).getBool());
}

TEST(PDLVariantConversion, StringToIntParsesADecimalPrefix)
{
    EXPECT_EQ(12, PDLVariant("12abc").getInt());
    EXPECT_EQ(-17, PDLVariant("  -17").getInt());
    EXPECT_EQ(42, PDLVariant("\t\n 42").getInt());
    EXPECT_EQ(5, PDLVariant("+5").getInt());
    EXPECT_EQ(3, PDLVariant("3.9").getInt());
    EXPECT_EQ(0, PDLVariant("abc").getInt());
    EXPECT_EQ(0, PDLVariant("").getInt());
    EXPECT_EQ(0, PDLVariant("- 5").getInt());
    EXPECT_EQ(0, PDLVariant("ON").getInt());
    EXPECT_EQ(0, PDLVariant("0x10").getInt()); // base 10: stops at the x
    EXPECT_EQ(10, PDLVariant("010").getInt()); // and no octal either
    // Only the low 32 bits of the long are kept.
    EXPECT_EQ(-1, PDLVariant("4294967295").getInt());
    EXPECT_EQ(0, PDLVariant("4294967296").getInt());
    EXPECT_EQ(INT_MIN, PDLVariant("2147483648").getInt());
    EXPECT_EQ(1, PDLVariant("-4294967295").getInt());
    // Beyond the range of a 64-bit long the parse clamps to LONG_MAX / LONG_MIN first.
    EXPECT_EQ(-1, PDLVariant("99999999999999999999").getInt());
    EXPECT_EQ(0, PDLVariant("-99999999999999999999").getInt());
}

TEST(PDLVariantConversion, StringToFloatParsesANumberPrefix)
{
    EXPECT_EQ(150.0f, PDLVariant("1.5e2").getFloat());
    EXPECT_EQ(-0.25f, PDLVariant("  -0.25xyz").getFloat());
    EXPECT_EQ(0.5f, PDLVariant(".5").getFloat());
    EXPECT_EQ(1.0f, PDLVariant("1e").getFloat());
    EXPECT_EQ(0.1f, PDLVariant("0.1").getFloat()); // the double 0.1 rounded to float
    EXPECT_EQ(8.0f, PDLVariant("0x1p3").getFloat());
    EXPECT_EQ(0.0f, PDLVariant("abc").getFloat());
    EXPECT_EQ(0.0f, PDLVariant("").getFloat());
    EXPECT_EQ(0.0f, PDLVariant("ON").getFloat());
    EXPECT_EQ(0.0f, PDLVariant("TRUE").getFloat());
    EXPECT_EQ(kInf, PDLVariant("inf").getFloat());
    EXPECT_EQ(-kInf, PDLVariant("-INFINITY").getFloat());
    EXPECT_EQ(kInf, PDLVariant("1e39").getFloat()); // fits a double, not a float
    EXPECT_TRUE(std::isnan(PDLVariant("nan").getFloat()));
}

TEST(PDLVariantConversion, StringKeepsItsBytes)
{
    const std::string bytes("a\0\xff\x01z", 5);
    PDLVariant v(bytes);
    EXPECT_EQ(bytes, v.getString());
    EXPECT_EQ(bytes, v.getFunctionID());
    EXPECT_EQ(".SYSTEM.NAME", PDLVariant(".SYSTEM.NAME").getFunctionID());
    EXPECT_EQ("ON", PDLVariant(true).getFunctionID());
    EXPECT_EQ("12.50", PDLVariant(12.5f).getFunctionID());
}

TEST(PDLVariantConversion, SettersChangeTheKindAndHideTheOldValue)
{
    PDLVariant v("a long text that certainly lives on the heap");
    v.setInt(5);
    EXPECT_EQ(PDLVariant::eInt, v.getKind());
    EXPECT_EQ("5", v.getString());
    v.setFloat(2.5f);
    EXPECT_EQ(PDLVariant::eFloat, v.getKind());
    EXPECT_EQ(2, v.getInt());
    v.setBool(true);
    EXPECT_EQ(PDLVariant::eBool, v.getKind());
    EXPECT_EQ(1, v.getInt());
    v.setString("7x");
    EXPECT_EQ(PDLVariant::eString, v.getKind());
    EXPECT_EQ(7, v.getInt());
    v.setBool(false);
    EXPECT_EQ("OFF", v.getString());

    // Assignment likewise: neither the old text nor the old number shows through.
    PDLVariant a("stale");
    a = PDLVariant(3);
    EXPECT_EQ("3", a.getString());
    a.append("x");
    EXPECT_EQ("3x", a.getString());

    PDLVariant b(9.5f);
    b = PDLVariant();
    EXPECT_EQ(PDLVariant::eInvalid, b.getKind());
    EXPECT_EQ(0.0f, b.getFloat());
    EXPECT_EQ("", b.getString());

    PDLVariant c("old");
    c = PDLVariant();
    c.append("z");
    EXPECT_EQ("z", c.getString());

    PDLVariant d("keep");
    PDLVariant& alias = d;
    d = alias;
    EXPECT_EQ("keep", d.getString());
    PDLVariant e(4);
    e = PDLVariant("moved in");
    EXPECT_EQ("moved in", e.getString());
}
} // namespace
