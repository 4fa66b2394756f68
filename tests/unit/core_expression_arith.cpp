#include "core_expression_helpers.h"

#include <cmath>
#include <limits>

namespace
{
template <class Op>
PDLVariant apply(PDLExpression* pLeft, PDLExpression* pRight)
{
    return eval(new Op(pLeft, pRight));
}

void expectInt(int expected, PDLVariant const& value)
{
    EXPECT_EQ(PDLVariant::eInt, value.getKind());
    EXPECT_EQ(expected, value.getInt());
}

void expectFloat(float expected, PDLVariant const& value)
{
    EXPECT_EQ(PDLVariant::eFloat, value.getKind());
    EXPECT_FLOAT_EQ(expected, value.getFloat());
}
} // namespace

TEST_F(PDLTest, ArithmeticKindFollowsTheOperands)
{
    // Integer operation unless one side is a Float.
    expectInt(7, apply<PDLExpressionPlusOp>(str("3"), num(4)));
    expectInt(2, apply<PDLExpressionPlusOp>(str("1.5"), num(1)));
    expectInt(2, apply<PDLExpressionPlusOp>(fixed(PDLVariant(true)), num(1)));
    expectInt(1, apply<PDLExpressionPlusOp>(str("abc"), num(1)));
    expectInt(36, apply<PDLExpressionMultiplicationOp>(str("12"), str("3")));
    expectInt(-5, apply<PDLExpressionMinusOp>(num(2), num(7)));
    expectFloat(3.5f, apply<PDLExpressionPlusOp>(flt(2.5f), num(1)));
    expectFloat(4.0f, apply<PDLExpressionPlusOp>(str("1.5"), flt(2.5f)));
    expectFloat(-1.5f, apply<PDLExpressionMinusOp>(fixed(PDLVariant(true)), flt(2.5f)));
    expectFloat(5.0f, apply<PDLExpressionMultiplicationOp>(flt(2.0f), str("2.5")));

    // Float results stay in 32-bit precision.
    PDLVariant const sum = apply<PDLExpressionPlusOp>(flt(0.1f), flt(0.2f));
    float const expected = 0.1f + 0.2f;
    EXPECT_EQ(expected, sum.getFloat());

    // Integers wrap around at 32 bits.
    int const maxInt = std::numeric_limits<int>::max();
    int const minInt = std::numeric_limits<int>::min();
    expectInt(minInt, apply<PDLExpressionPlusOp>(num(maxInt), num(1)));
    expectInt(maxInt, apply<PDLExpressionMinusOp>(num(minInt), num(1)));
    expectInt(-2, apply<PDLExpressionMultiplicationOp>(num(maxInt), num(2)));
}

TEST_F(PDLTest, InvalidOperandsPassSilently)
{
    uint32_t const errors = PDLParseInfo::m_errorCount;
    EXPECT_EQ(PDLVariant::eInvalid, apply<PDLExpressionPlusOp>(invalid(), num(1)).getKind());
    EXPECT_EQ(PDLVariant::eInvalid, apply<PDLExpressionMinusOp>(num(1), invalid()).getKind());
    EXPECT_EQ(PDLVariant::eInvalid, apply<PDLExpressionMultiplicationOp>(invalid(), flt(1.0f)).getKind());
    // Invalid wins before the zero divisor is looked at: no report at all.
    EXPECT_EQ(PDLVariant::eInvalid, apply<PDLExpressionDivisionOp>(invalid(), num(0)).getKind());
    EXPECT_EQ(PDLVariant::eInvalid, apply<PDLExpressionModuloOp>(num(3), invalid()).getKind());
    EXPECT_EQ(errors, PDLParseInfo::m_errorCount);
    EXPECT_EQ("", logText());

    // Both operands are evaluated, left first, even when the left one is Invalid.
    int leftRuns = 0;
    int rightRuns = 0;
    EXPECT_EQ(PDLVariant::eInvalid, apply<PDLExpressionPlusOp>(new FixedExpression(PDLVariant(), &leftRuns),
                                                               new FixedExpression(PDLVariant(1), &rightRuns))
                                        .getKind());
    EXPECT_EQ(1, leftRuns);
    EXPECT_EQ(1, rightRuns);

    // The read mode reaches the operands unchanged.
    auto* pLeft = new FixedExpression(PDLVariant(1));
    auto* pRight = new FixedExpression(PDLVariant(2));
    std::unique_ptr<PDLExpression> pSum(new PDLExpressionPlusOp(pLeft, pRight));
    pSum->evaluate(true);
    EXPECT_TRUE(pLeft->m_lastWarn);
    EXPECT_TRUE(pRight->m_lastWarn);
    pSum->evaluate(false);
    EXPECT_FALSE(pLeft->m_lastWarn);
    EXPECT_FALSE(pRight->m_lastWarn);
}

TEST_F(PDLTest, DivisionAndModuloTruncateTowardZero)
{
    expectInt(3, apply<PDLExpressionDivisionOp>(num(7), num(2)));
    expectInt(-3, apply<PDLExpressionDivisionOp>(num(-7), num(2)));
    expectInt(-3, apply<PDLExpressionDivisionOp>(num(7), num(-2)));
    expectFloat(3.5f, apply<PDLExpressionDivisionOp>(flt(7.0f), num(2)));
    expectInt(-1, apply<PDLExpressionModuloOp>(num(-7), num(2)));
    expectInt(1, apply<PDLExpressionModuloOp>(num(7), num(-2)));
    // Modulo always truncates Float operands first.
    expectInt(1, apply<PDLExpressionModuloOp>(flt(7.9f), num(2)));
    expectInt(2, apply<PDLExpressionModuloOp>(flt(8.9f), flt(3.7f)));
    expectInt(1, apply<PDLExpressionModuloOp>(str("10"), str("3")));

    // The one quotient that does not fit wraps instead of trapping.
    int const minInt = std::numeric_limits<int>::min();
    expectInt(minInt, apply<PDLExpressionDivisionOp>(num(minInt), num(-1)));
    expectInt(0, apply<PDLExpressionModuloOp>(num(minInt), num(-1)));

    // A NaN divisor is no zero.
    uint32_t const errors = PDLParseInfo::m_errorCount;
    PDLVariant const nan = apply<PDLExpressionDivisionOp>(flt(1.0f), flt(std::nanf("")));
    EXPECT_EQ(PDLVariant::eFloat, nan.getKind());
    EXPECT_TRUE(std::isnan(nan.getFloat()));
    EXPECT_EQ(errors, PDLParseInfo::m_errorCount);
}

TEST_F(PDLTest, DivisionByZeroGivesTwoCountedReports)
{
    std::string const oneFailure = "\nERROR:\nDivision by zero!\n\n\nERROR:\nMath calculation error !\n\n";
    uint32_t const errors = PDLParseInfo::m_errorCount;

    EXPECT_EQ(PDLVariant::eInvalid, apply<PDLExpressionDivisionOp>(num(5), num(0)).getKind());
    EXPECT_EQ(errors + 2, PDLParseInfo::m_errorCount);
    EXPECT_EQ(oneFailure, logText());

    m_log.str("");
    EXPECT_EQ(PDLVariant::eInvalid, apply<PDLExpressionDivisionOp>(flt(5.0f), num(0)).getKind());
    EXPECT_EQ(PDLVariant::eInvalid, apply<PDLExpressionDivisionOp>(num(5), flt(-0.0f)).getKind());
    // A text divisor reads as its number: "abc" is 0.
    EXPECT_EQ(PDLVariant::eInvalid, apply<PDLExpressionDivisionOp>(num(5), str("abc")).getKind());
    EXPECT_EQ(oneFailure + oneFailure + oneFailure, logText());
    EXPECT_EQ(errors + 8, PDLParseInfo::m_errorCount);

    // Modulo by zero, also by a Float that truncates to zero.
    m_log.str("");
    EXPECT_EQ(PDLVariant::eInvalid, apply<PDLExpressionModuloOp>(num(5), num(0)).getKind());
    EXPECT_EQ(PDLVariant::eInvalid, apply<PDLExpressionModuloOp>(num(5), flt(0.5f)).getKind());
    EXPECT_EQ(oneFailure + oneFailure, logText());
    EXPECT_EQ(errors + 12, PDLParseInfo::m_errorCount);

    // A tiny Float divisor is not zero.
    expectFloat(5.0f / 0.5f, apply<PDLExpressionDivisionOp>(num(5), flt(0.5f)));
}

TEST_F(PDLTest, ArithmeticReportsShowTheOperatorsPosition)
{
    PDLParseInfo::m_filePath = rtk::Path("calc.pdl");
    PDLParseInfo::m_line = 12;
    PDLExpression* pDivision = new PDLExpressionDivisionOp(nullptr, nullptr);
    PDLParseInfo::m_line = 3;
    std::unique_ptr<PDLExpression> pTree(new PDLExpressionPlusOp(num(1), pDivision));
    PDLParseInfo::m_filePath = rtk::Path();

    uint32_t const errors = PDLParseInfo::m_errorCount;
    EXPECT_EQ(PDLVariant::eInvalid, pTree->evaluate(true).getKind());
    // The missing child is named, at the position of the node that misses it.
    EXPECT_EQ("\nFATAL:\ncalc.pdl(12): \nm_pLeftExpression\n\n", logText());
    EXPECT_EQ(errors + 1, PDLParseInfo::m_errorCount);

    m_log.str("");
    std::unique_ptr<PDLExpression> pZero(new PDLExpressionDivisionOp(num(1), num(0)));
    pZero->evaluate(true);
    EXPECT_EQ(2, countInLog("ERROR:\n"));
}
