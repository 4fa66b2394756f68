// The float-to-text rule: three ranges by magnitude, NaN and the infinities.

#include "pdlvariant.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <iomanip>
#include <limits>
#include <locale>
#include <sstream>
#include <string>

namespace
{
std::string fmt(float f)
{
    return PDLVariant().formatFloat(f);
}

TEST(PDLVariantFormatFloat, LargeMagnitudesAreWholeNumbers)
{
    EXPECT_EQ("1234", fmt(1234.4f));
    EXPECT_EQ("-1000", fmt(-1000.0f));
    EXPECT_EQ("1000", fmt(1000.0f));
    // Exact halves round to even.
    EXPECT_EQ("1234", fmt(1234.5f));
    EXPECT_EQ("1236", fmt(1235.5f));
    EXPECT_EQ("-1236", fmt(-1235.5f));
    // The float just above 999.9f (999.90008544921875) is already in this range.
    EXPECT_EQ("1000", fmt(std::nextafter(999.9f, 2000.0f)));
    EXPECT_EQ("-1000", fmt(std::nextafter(-999.9f, -2000.0f)));
    EXPECT_EQ("10000000000", fmt(1e10f));
    EXPECT_EQ("340282346638528859811704183484516925440", fmt(std::numeric_limits<float>::max()));
    EXPECT_EQ("inf", fmt(std::numeric_limits<float>::infinity()));
    EXPECT_EQ("-inf", fmt(-std::numeric_limits<float>::infinity()));
}

TEST(PDLVariantFormatFloat, MediumMagnitudesHaveFourSignificantDigits)
{
    EXPECT_EQ("12.50", fmt(12.5f));
    EXPECT_EQ("100.0", fmt(100.0f));
    EXPECT_EQ("-2.000", fmt(-2.0f));
    EXPECT_EQ("2.500", fmt(2.5f));
    EXPECT_EQ("999.9", fmt(999.9f)); // the boundary itself belongs here
    EXPECT_EQ("-999.9", fmt(-999.9f));
    EXPECT_EQ("999.0", fmt(999.0f));
    EXPECT_EQ("123.5", fmt(123.456f));
    EXPECT_EQ("3.142", fmt(3.14159f));
    EXPECT_EQ("99.99", fmt(99.99f));  // the float is 99.98999786...
    EXPECT_EQ("100.0", fmt(99.995f)); // the float is 99.99500274...
    EXPECT_EQ("1.000", fmt(1.00001f));
    EXPECT_EQ("10.00", fmt(9.9996f));
    EXPECT_EQ("1.000", fmt(std::nextafter(1.0f, 2.0f)));
    EXPECT_EQ("-1.000", fmt(std::nextafter(-1.0f, -2.0f)));
}

TEST(PDLVariantFormatFloat, SmallMagnitudesHaveFourDecimals)
{
    EXPECT_EQ("0.5000", fmt(0.5f));
    EXPECT_EQ("1.0000", fmt(1.0f));
    EXPECT_EQ("-1.0000", fmt(-1.0f));
    EXPECT_EQ("0.0000", fmt(0.0f));
    EXPECT_EQ("-0.0000", fmt(-0.0f));
    EXPECT_EQ("-0.2500", fmt(-0.25f));
    EXPECT_EQ("0.1000", fmt(0.1f));
    EXPECT_EQ("0.1235", fmt(0.12345f)); // the float is 0.12345000356...
    EXPECT_EQ("0.0000", fmt(0.00005f)); // the float is 0.0000499999987...
    EXPECT_EQ("0.0001", fmt(0.00006f));
    EXPECT_EQ("0.0000", fmt(std::numeric_limits<float>::denorm_min()));
}

TEST(PDLVariantFormatFloat, NaNTakesTheSmallRange)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ("nan", fmt(nan));
    EXPECT_EQ("-nan", fmt(-nan));
    EXPECT_EQ("nan", PDLVariant(nan).getString());
}

TEST(PDLVariantFormatFloat, FormatsTheArgumentNotTheValue)
{
    PDLVariant v(12.5f);
    EXPECT_EQ("0.5000", v.formatFloat(0.5f));
    EXPECT_EQ("12.50", v.getString());
}

// The rule as a default-locale output stream would apply it, to check a wide spread of floats.
std::string streamFormat(float f)
{
    std::ostringstream out;
    out.imbue(std::locale::classic());
    const double wide = f;
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

TEST(PDLVariantFormatFloat, AgreesWithAClassicLocaleStreamAcrossTheFloats)
{
    // Every 65537th bit pattern covers all exponents and both signs, NaNs and infinities included.
    int checked = 0;
    for (std::uint64_t bits = 0; bits <= 0xffffffffu; bits += 65537)
    {
        const std::uint32_t pattern = static_cast<std::uint32_t>(bits);
        float f;
        std::memcpy(&f, &pattern, sizeof(f));
        ASSERT_EQ(streamFormat(f), fmt(f)) << "bits 0x" << std::hex << pattern;
        ++checked;
    }
    // And densely around the range boundaries.
    for (float start : {999.9f, -999.9f, 1.0f, -1.0f, 9.9995f, 99.995f, 999.95f})
    {
        float f = start;
        for (int i = 0; i < 200; ++i)
        {
            f = std::nextafter(f, 0.0f);
        }
        for (int i = 0; i < 400; ++i)
        {
            ASSERT_EQ(streamFormat(f), fmt(f)) << f;
            f = std::nextafter(f, 2 * start);
            ++checked;
        }
    }
    EXPECT_GT(checked, 60000);
}
} // namespace
