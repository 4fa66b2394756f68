// The value type: conversions of every kind, the float-to-text rule, the four-step equality, clear,
// append, dump, and the value iterators.

#include "pdlvariant.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iomanip>
#include <limits>
#include <locale>
#include <sstream>
#include <string>
#include <typeinfo>
#include <vector>

namespace
{
float const kNaN = std::numeric_limits<float>::quiet_NaN();
float const kInf = std::numeric_limits<float>::infinity();

std::string dumped(PDLVariant const& value)
{
    std::ostringstream out;
    value.dump(out);
    return out.str();
}

TEST(PDLVariant, EveryKindConvertsToEveryOther)
{
    struct Row
    {
        PDLVariant value;
        char const* pDump; // kind and text
        bool asBool;
        int asInt;
        float asFloat;
    };
    std::vector<Row> const rows = {
        {PDLVariant(), "Variant invalid", false, 0, 0.0f},
        {PDLVariant(true), "Variant bool ON", true, 1, 1.0f},
        {PDLVariant(false), "Variant bool OFF", false, 0, 0.0f},
        {PDLVariant(-42), "Variant int -42", true, -42, -42.0f},
        {PDLVariant(0), "Variant int 0", false, 0, 0.0f},
        {PDLVariant(INT_MIN), "Variant int -2147483648", true, INT_MIN, -2147483648.0f},
        // Unsigned values keep their 32 bits, read as signed.
        {PDLVariant(4294967295u), "Variant int -1", true, -1, -1.0f},
        // Rounded to nearest, ties to even.
        {PDLVariant(16777217), "Variant int 16777217", true, 16777217, 16777216.0f},
        {PDLVariant(16777219), "Variant int 16777219", true, 16777219, 16777220.0f},
        // Truncated toward zero; out of range, infinite or NaN gives the integer indefinite.
        {PDLVariant(-2.9f), "Variant float -2.900", true, -2, -2.9f},
        {PDLVariant(-0.0f), "Variant float -0.0000", false, 0, 0.0f},
        {PDLVariant(2147483520.0f), "Variant float 2147483520", true, 2147483520, 2147483520.0f},
        {PDLVariant(2147483648.0f), "Variant float 2147483648", true, INT_MIN, 2147483648.0f},
        {PDLVariant(-kInf), "Variant float -inf", true, INT_MIN, -kInf},
        // Text to bool needs an exact keyword; to numbers a C prefix parse, keeping the low 32 bits.
        {PDLVariant("ON"), "Variant string ON", true, 0, 0.0f},
        {PDLVariant("TRUE"), "Variant string TRUE", true, 0, 0.0f},
        {PDLVariant("on"), "Variant string on", false, 0, 0.0f},
        {PDLVariant("True"), "Variant string True", false, 0, 0.0f},
        {PDLVariant(" ON"), "Variant string  ON", false, 0, 0.0f},
        {PDLVariant("ONX"), "Variant string ONX", false, 0, 0.0f},
        {PDLVariant("1"), "Variant string 1", false, 1, 1.0f},
        {PDLVariant("12abc"), "Variant string 12abc", false, 12, 12.0f},
        {PDLVariant("\t\n -17"), "Variant string \t\n -17", false, -17, -17.0f},
        {PDLVariant("+5"), "Variant string +5", false, 5, 5.0f},
        {PDLVariant("3.9"), "Variant string 3.9", false, 3, 3.9f},
        {PDLVariant("- 5"), "Variant string - 5", false, 0, 0.0f},
        {PDLVariant("0x10"), "Variant string 0x10", false, 0, 16.0f},
        {PDLVariant("010"), "Variant string 010", false, 10, 10.0f},
        {PDLVariant("4294967295"), "Variant string 4294967295", false, -1, 4294967295.0f},
        {PDLVariant("2147483648"), "Variant string 2147483648", false, INT_MIN, 2147483648.0f},
        {PDLVariant("99999999999999999999"), "Variant string 99999999999999999999", false, -1, 1e20f},
        {PDLVariant("-99999999999999999999"), "Variant string -99999999999999999999", false, 0, -1e20f},
        {PDLVariant("1.5e2"), "Variant string 1.5e2", false, 1, 150.0f},
        {PDLVariant("  -0.25xyz"), "Variant string   -0.25xyz", false, 0, -0.25f},
        {PDLVariant(".5"), "Variant string .5", false, 0, 0.5f},
        {PDLVariant("1e39"), "Variant string 1e39", false, 1, kInf},
        {PDLVariant("-INFINITY"), "Variant string -INFINITY", false, 0, -kInf},
        {PDLVariant(""), "Variant string ", false, 0, 0.0f},
    };
    for (Row const& row : rows)
    {
        SCOPED_TRACE(row.pDump);
        EXPECT_EQ(row.pDump, dumped(row.value));
        EXPECT_EQ(row.asBool, row.value.getBool());
        EXPECT_EQ(row.asInt, row.value.getInt());
        EXPECT_EQ(row.asFloat, row.value.getFloat());
        EXPECT_EQ(row.value.getString(), row.value.getFunctionID());
    }
    EXPECT_TRUE(PDLVariant(kNaN).getBool());
    EXPECT_EQ(INT_MIN, PDLVariant(kNaN).getInt());
    EXPECT_TRUE(std::isnan(PDLVariant("nan").getFloat()));
    EXPECT_FALSE(PDLVariant(std::string("ON\0", 3)).getBool());
    std::string const bytes("a\0\xff\x01z", 5);
    EXPECT_EQ(bytes, PDLVariant(bytes).getString());
    // The kind numbers are stored by other units.
    EXPECT_EQ((std::vector<unsigned>{0, 1, 2, 3, 4}),
              (std::vector<unsigned>{PDLVariant::eInvalid, PDLVariant::eBool, PDLVariant::eInt,
                                     PDLVariant::eFloat, PDLVariant::eString}));
}

TEST(PDLVariant, FloatTextDependsOnTheMagnitude)
{
    std::vector<std::pair<float, char const*>> const rows = {
        // Above 999.9 and below -999.9: whole numbers, exact halves to even.
        {1234.4f, "1234"},
        {-1000.0f, "-1000"},
        {1000.0f, "1000"},
        {1234.5f, "1234"},
        {1235.5f, "1236"},
        {std::nextafter(999.9f, 2000.0f), "1000"},
        {std::nextafter(-999.9f, -2000.0f), "-1000"},
        {1e10f, "10000000000"},
        {kInf, "inf"},
        {-kInf, "-inf"},
        // Otherwise above 1 in magnitude: four significant digits, trailing zeros kept.
        {999.9f, "999.9"},
        {-999.9f, "-999.9"},
        {999.0f, "999.0"},
        {12.5f, "12.50"},
        {100.0f, "100.0"},
        {-2.0f, "-2.000"},
        {1.5f, "1.500"},
        {99.995f, "100.0"},
        {1.00001f, "1.000"},
        {9.9996f, "10.00"},
        {std::nextafter(1.0f, 2.0f), "1.000"},
        {std::nextafter(-1.0f, -2.0f), "-1.000"},
        // From -1 to 1 inclusive, and NaN: four decimals.
        {1.0f, "1.0000"},
        {-1.0f, "-1.0000"},
        {0.5f, "0.5000"},
        {0.0f, "0.0000"},
        {-0.0f, "-0.0000"},
        {0.12345f, "0.1235"},
        {0.00005f, "0.0000"},
        {0.00006f, "0.0001"},
        {kNaN, "nan"},
        {-kNaN, "-nan"},
    };
    PDLVariant const other(12.5f);
    for (auto const& row : rows)
    {
        EXPECT_EQ(row.second, other.formatFloat(row.first)) << row.second;
        EXPECT_EQ(row.second, PDLVariant(row.first).getString()) << row.second;
    }
    EXPECT_EQ("12.50", other.getString());
}
// The rule as a default-locale output stream applies it, to check a wide spread of floats.
std::string streamFormat(float f)
{
    std::ostringstream out;
    out.imbue(std::locale::classic());
    double const wide = f;
    if (f > 999.9f || f < -999.9f)
    {
        out << std::fixed << std::setprecision(0) << wide;
    }
    else if (f > 1.0f || f < -1.0f)
    {
        out << std::showpoint << std::setprecision(4) << wide;
    }
    else
    {
        out << std::fixed << std::showpoint << std::setprecision(4) << wide;
    }
    return out.str();
}

TEST(PDLVariant, FloatTextAgreesWithAClassicStreamAcrossTheFloats)
{
    // Every 65537th bit pattern covers all exponents and both signs, NaNs and infinities included.
    for (std::uint64_t bits = 0; bits <= 0xffffffffu; bits += 65537)
    {
        std::uint32_t const pattern = static_cast<std::uint32_t>(bits);
        float f;
        std::memcpy(&f, &pattern, sizeof(f));
        ASSERT_EQ(streamFormat(f), PDLVariant(f).getString()) << "bits 0x" << std::hex << pattern;
    }
    for (float start : {999.9f, -999.9f, 1.0f, -1.0f, 9.9995f, 99.995f})
    {
        float f = start;
        for (int i = 0; i < 100; ++i)
        {
            f = std::nextafter(f, 0.0f);
        }
        for (int i = 0; i < 200; ++i, f = std::nextafter(f, 2 * start))
        {
            ASSERT_EQ(streamFormat(f), PDLVariant(f).getString()) << f;
        }
    }
}

TEST(PDLVariant, EqualityBySameKindThenInvalidThenTruthThenText)
{
    struct Row
    {
        PDLVariant a;
        PDLVariant b;
        bool equal;
    };
    PDLVariant cleared("x");
    cleared.clear();
    std::vector<Row> const rows = {
        // Same kind: by value, IEEE for floats, bytes for strings (never through the keywords).
        {PDLVariant(), PDLVariant(), true},
        {PDLVariant(true), PDLVariant(false), false},
        {PDLVariant(4294967295u), PDLVariant(-1), true},
        {PDLVariant(0.0f), PDLVariant(-0.0f), true},
        {PDLVariant(1234.4f), PDLVariant(1234.3f), false},
        {PDLVariant("ab"), PDLVariant("abc"), false},
        {PDLVariant(std::string("a\0b", 3)), PDLVariant(std::string("a\0c", 3)), false},
        {PDLVariant("ON"), PDLVariant("TRUE"), false},
        {PDLVariant("1"), PDLVariant("01"), false},
        // An Invalid equals no other kind, though each of these converts like it.
        {PDLVariant(), PDLVariant(false), false},
        {PDLVariant(), PDLVariant(0), false},
        {PDLVariant(), PDLVariant(0.0f), false},
        {PDLVariant(), cleared, false},
        // A Bool against anything compares truth.
        {PDLVariant(true), PDLVariant(7), true},
        {PDLVariant(true), PDLVariant(-1), true},
        {PDLVariant(true), PDLVariant(0), false},
        {PDLVariant(false), PDLVariant(0), true},
        {PDLVariant(true), PDLVariant(0.5f), true},
        {PDLVariant(true), PDLVariant(kNaN), true},
        {PDLVariant(false), PDLVariant(-0.0f), true},
        {PDLVariant(true), PDLVariant("TRUE"), true},
        {PDLVariant(true), PDLVariant("on"), false},
        {PDLVariant(true), PDLVariant("1"), false},
        {PDLVariant(false), PDLVariant("abc"), true},
        // All other pairs compare their texts.
        {PDLVariant(1), PDLVariant(1.0f), false},
        {PDLVariant(0), PDLVariant(0.0f), false},
        {PDLVariant(1000), PDLVariant(1000.0f), true},
        {PDLVariant(1234), PDLVariant(1234.5f), true},
        {PDLVariant(1235), PDLVariant(1234.5f), false},
        {PDLVariant(12), PDLVariant("12"), true},
        {PDLVariant(12), PDLVariant("012"), false},
        {PDLVariant(12), PDLVariant(" 12"), false},
        {PDLVariant(0.5f), PDLVariant("0.5000"), true},
        {PDLVariant(0.5f), PDLVariant("0.5"), false},
        {PDLVariant(0.0f), PDLVariant("-0.0000"), false},
        {PDLVariant(kNaN), PDLVariant("nan"), true},
    };
    for (Row const& row : rows)
    {
        EXPECT_EQ(row.equal, row.a == row.b) << dumped(row.a) << " / " << dumped(row.b);
        EXPECT_EQ(row.equal, row.b == row.a) << dumped(row.b) << " / " << dumped(row.a);
    }
    PDLVariant const nan(kNaN);
    EXPECT_FALSE(nan == nan);
}

TEST(PDLVariant, SettersClearAndAppendNeverShowAStaleValue)
{
    PDLVariant v("a long text that certainly lives on the heap");
    v.setInt(5);
    EXPECT_EQ("Variant int 5", dumped(v));
    v.setFloat(2.5f);
    EXPECT_EQ(2, v.getInt());
    v.setBool(true);
    EXPECT_EQ("Variant bool ON", dumped(v));
    v.setString("7x");
    EXPECT_EQ(7, v.getInt());
    PDLVariant b(9.5f);
    b = PDLVariant();
    EXPECT_EQ("Variant invalid", dumped(b));
    EXPECT_EQ(0.0f, b.getFloat());
    // clear keeps the kind; append turns any kind into its text first.
    struct Row
    {
        PDLVariant value;
        char const* pCleared;
        char const* pAppended; // after appending "x"
    };
    std::vector<Row> const rows = {
        {PDLVariant(), "Variant invalid", "Variant string x"},
        {PDLVariant(true), "Variant bool OFF", "Variant string ONx"},
        {PDLVariant(-5), "Variant int 0", "Variant string -5x"},
        {PDLVariant(12.5f), "Variant float 0.0000", "Variant string 12.50x"},
        {PDLVariant("ab"), "Variant string ", "Variant string abx"},
    };
    for (Row const& row : rows)
    {
        PDLVariant cleared = row.value;
        cleared.clear();
        EXPECT_EQ(row.pCleared, dumped(cleared));
        PDLVariant appended = row.value;
        appended.append("x");
        EXPECT_EQ(row.pAppended, dumped(appended));
    }
}

PDLVariantIteratorCont at(std::vector<PDLVariant> const& values, size_t position)
{
    PDLVariantIteratorVectorWrapper kept(values.data() + position);
    return PDLVariantIteratorCont(kept.clone());
}

TEST(PDLVariant, IteratorsStepInPlaceAndHandOutCopies)
{
    std::vector<PDLVariant> values{PDLVariant(true), PDLVariant(-4), PDLVariant("x")};
    std::vector<std::string> seen;
    for (PDLVariantIteratorCont it = at(values, 0); it != at(values, 3); ++it)
    {
        seen.push_back((*it).getString());
    }
    EXPECT_EQ((std::vector<std::string>{"ON", "-4", "x"}), seen);
    // Both increments step once and return the iterator itself; the value is a copy.
    PDLVariantIteratorCont it = at(values, 0);
    EXPECT_EQ(&it, &(it++));
    EXPECT_EQ(&it, &(++it));
    PDLVariant copy = *it;
    copy.setInt(99);
    EXPECT_EQ("x", values[2].getString());
    PDLVariantIteratorCont clone(it);
    ++clone;
    EXPECT_TRUE(clone == at(values, 3));
    EXPECT_TRUE(it == at(values, 2));
    // An empty iterator stays where it is and, on the left side, equals anything; a wrapper on the
    // left cannot compare with it.
    PDLVariantIteratorEmpty empty;
    EXPECT_EQ(&empty, &(++empty));
    EXPECT_EQ(PDLVariant::eInvalid, (*empty).getKind());
    PDLVariantIteratorVectorWrapper wrapper(values.data());
    EXPECT_TRUE(empty == wrapper);
    EXPECT_FALSE(PDLVariantIteratorEmpty::obj != wrapper);
    EXPECT_THROW((void)(wrapper == empty), std::bad_cast);
    PDLVariantIteratorCont emptyCont(PDLVariantIteratorEmpty::obj.clone());
    EXPECT_TRUE(emptyCont == at(values, 1));
}
} // namespace
