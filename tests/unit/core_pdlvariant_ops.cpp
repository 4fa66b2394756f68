// clear, append, print and dump.

#include "pdlvariant.h"

#include <gtest/gtest.h>

#include <iostream>
#include <sstream>
#include <string>

namespace
{
// Captures what fn writes to std::cout.
template <class F>
std::string captureStdout(F fn)
{
    std::ostringstream captured;
    std::streambuf* pOld = std::cout.rdbuf(captured.rdbuf());
    fn();
    std::cout.rdbuf(pOld);
    return captured.str();
}

TEST(PDLVariantOps, ClearKeepsTheKind)
{
    PDLVariant b(true);
    b.clear();
    EXPECT_EQ(PDLVariant::eBool, b.getKind());
    EXPECT_EQ("OFF", b.getString());

    PDLVariant i(-5);
    i.clear();
    EXPECT_EQ(PDLVariant::eInt, i.getKind());
    EXPECT_EQ(0, i.getInt());

    PDLVariant f(2.5f);
    f.clear();
    EXPECT_EQ(PDLVariant::eFloat, f.getKind());
    EXPECT_EQ("0.0000", f.getString());

    PDLVariant s("abc");
    s.clear();
    EXPECT_EQ(PDLVariant::eString, s.getKind());
    EXPECT_EQ("", s.getString());
    EXPECT_TRUE(s == PDLVariant(""));

    PDLVariant n;
    n.clear();
    EXPECT_EQ(PDLVariant::eInvalid, n.getKind());
}

TEST(PDLVariantOps, AppendMakesAString)
{
    PDLVariant s("ab");
    s.append("c");
    EXPECT_EQ(PDLVariant::eString, s.getKind());
    EXPECT_EQ("abc", s.getString());

    PDLVariant n;
    n.append("x");
    EXPECT_EQ(PDLVariant::eString, n.getKind());
    EXPECT_EQ("x", n.getString());

    PDLVariant i(5);
    i.append("a");
    EXPECT_EQ(PDLVariant::eString, i.getKind());
    EXPECT_EQ("5a", i.getString());

    PDLVariant b(true);
    b.append("x");
    EXPECT_EQ("ONx", b.getString());

    PDLVariant f(12.5f);
    f.append("%");
    EXPECT_EQ("12.50%", f.getString());

    // Appending nothing still turns the value into its text.
    PDLVariant g(-2.0f);
    g.append("");
    EXPECT_EQ(PDLVariant::eString, g.getKind());
    EXPECT_TRUE(g == PDLVariant("-2.000"));
    EXPECT_EQ(-2, g.getInt());
}

TEST(PDLVariantOps, PrintWritesTheTextWithoutLineEnd)
{
    std::ostringstream out;
    PDLVariant(false).print(out);
    PDLVariant().print(out);
    PDLVariant(-7).print(out);
    PDLVariant(0.5f).print(out);
    PDLVariant("x y").print(out);
    EXPECT_EQ("OFF-70.5000x y", out.str());

    EXPECT_EQ("ON", captureStdout([] { PDLVariant(true).print(); }));
}

TEST(PDLVariantOps, DumpNamesTheKind)
{
    auto dumped = [](PDLVariant const& v)
    {
        std::ostringstream out;
        v.dump(out);
        return out.str();
    };
    EXPECT_EQ("Variant invalid", dumped(PDLVariant()));
    EXPECT_EQ("Variant bool ON", dumped(PDLVariant(true)));
    EXPECT_EQ("Variant int -3", dumped(PDLVariant(-3)));
    EXPECT_EQ("Variant float 0.5000", dumped(PDLVariant(0.5f)));
    EXPECT_EQ("Variant string abc", dumped(PDLVariant("abc")));
    EXPECT_EQ("Variant string ", dumped(PDLVariant("")));

    EXPECT_EQ("Variant int 12", captureStdout([] { PDLVariant(12).dump(); }));
}
} // namespace
