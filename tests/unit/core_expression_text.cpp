#include "core_expression_helpers.h"

namespace
{
PDLVariant sub(PDLExpressionSubExp::EMode mode, PDLExpression* pSource, int n)
{
    return eval(new PDLExpressionSubExp(mode, pSource, num(n)));
}

void expectString(std::string const& expected, PDLVariant const& value)
{
    EXPECT_EQ(PDLVariant::eString, value.getKind());
    EXPECT_EQ(expected, value.getString());
}
} // namespace

TEST_F(PDLTest, SubExpressionsAtAndBeyondTheEnds)
{
    using E = PDLExpressionSubExp;
    // GETLEFT / GETRIGHT: nothing below 1, the source itself from the full length on.
    expectString("", sub(E::GETLEFT, str("abc"), 0));
    expectString("", sub(E::GETLEFT, str("abc"), -4));
    expectString("ab", sub(E::GETLEFT, str("abc"), 2));
    expectString("abc", sub(E::GETLEFT, str("abc"), 3));
    expectString("abc", sub(E::GETLEFT, str("abc"), 9));
    expectString("", sub(E::GETRIGHT, str("abc"), 0));
    expectString("c", sub(E::GETRIGHT, str("abc"), 1));
    expectString("45", sub(E::GETRIGHT, num(12345), 2));
    // The source unchanged keeps its kind.
    PDLVariant const whole = sub(E::GETRIGHT, num(12345), 9);
    EXPECT_EQ(PDLVariant::eInt, whole.getKind());
    EXPECT_EQ(12345, whole.getInt());
    PDLVariant const wholeLeft = sub(E::GETLEFT, flt(0.5f), 6);
    EXPECT_EQ(PDLVariant::eFloat, wholeLeft.getKind());
    expectString("0.50", sub(E::GETLEFT, flt(0.5f), 4));

    // CUTLEFT / CUTRIGHT: the source itself below 1, nothing from the full length on.
    expectString("abc", sub(E::CUTLEFT, str("abc"), 0));
    expectString("bc", sub(E::CUTLEFT, str("abc"), 1));
    expectString("", sub(E::CUTLEFT, str("abc"), 3));
    expectString("", sub(E::CUTLEFT, str("abc"), 4));
    expectString("ab", sub(E::CUTRIGHT, str("abc"), 1));
    expectString("", sub(E::CUTRIGHT, str("abc"), 3));
    PDLVariant const uncut = sub(E::CUTRIGHT, num(12345), -1);
    EXPECT_EQ(PDLVariant::eInt, uncut.getKind());
    expectString("123", sub(E::CUTRIGHT, num(12345), 2));
    // An empty source is the source from any length on.
    expectString("", sub(E::GETRIGHT, str(""), 1));
    expectString("", sub(E::CUTLEFT, str(""), 1));

    // Bytes, not characters; the length is read as a number.
    expectString("\xC3", eval(new E(E::GETLEFT, str("\xC3\xA4x"), str("1"))));
    expectString("x", eval(new E(E::CUTLEFT, str("\xC3\xA4x"), flt(2.9f))));

    uint32_t const errors = PDLParseInfo::m_errorCount;
    EXPECT_EQ(PDLVariant::eInvalid, eval(new E(E::GETLEFT, invalid(), num(1))).getKind());
    EXPECT_EQ(PDLVariant::eInvalid, eval(new E(E::GETLEFT, str("abc"), invalid())).getKind());
    EXPECT_EQ(errors, PDLParseInfo::m_errorCount);
}

TEST_F(PDLTest, SubExpressionWithAnUnknownModeKeepsItsLastResult)
{
    std::unique_ptr<PDLExpression> pSub(
        new PDLExpressionSubExp(static_cast<PDLExpressionSubExp::EMode>(7), str("abc"), num(1)));
    uint32_t const errors = PDLParseInfo::m_errorCount;
    EXPECT_EQ(PDLVariant::eInvalid, pSub->evaluate(true).getKind());
    EXPECT_EQ("\nFATAL:\nUnknown PDLExpressionSubExp mode !\n\n", logText());
    EXPECT_EQ(errors + 1, PDLParseInfo::m_errorCount);

    std::unique_ptr<PDLExpression> pNoSource(
        new PDLExpressionSubExp(PDLExpressionSubExp::GETLEFT, nullptr, num(1)));
    m_log.str("");
    EXPECT_EQ(PDLVariant::eInvalid, pNoSource->evaluate(true).getKind());
    EXPECT_EQ("\nFATAL:\nm_pSourceExpression\n\n", logText());
}

TEST_F(PDLTest, StrLenStrCmpAndAppend)
{
    PDLVariant const boolLength = eval(new PDLExpressionStrLen(fixed(PDLVariant(true))));
    EXPECT_EQ(PDLVariant::eInt, boolLength.getKind());
    EXPECT_EQ(2, boolLength.getInt());
    EXPECT_EQ(6, eval(new PDLExpressionStrLen(flt(0.5f))).getInt());
    EXPECT_EQ(0, eval(new PDLExpressionStrLen(str(""))).getInt());
    EXPECT_EQ(2, eval(new PDLExpressionStrLen(str("\xC3\xA4"))).getInt());
    EXPECT_EQ(3, eval(new PDLExpressionStrLen(num(-12))).getInt());
    EXPECT_EQ(PDLVariant::eInvalid, eval(new PDLExpressionStrLen(invalid())).getKind());

    auto cmp = [](PDLExpression* pLeft, PDLExpression* pRight)
    { return eval(new PDLExpressionStrCmp(pLeft, pRight)); };
    EXPECT_EQ(PDLVariant::eInt, cmp(str("a"), str("a")).getKind());
    EXPECT_EQ(0, cmp(str("abc"), str("abc")).getInt());
    EXPECT_LT(cmp(str("abc"), str("abd")).getInt(), 0);
    EXPECT_GT(cmp(str("abd"), str("abc")).getInt(), 0);
    // Equal prefixes: the length difference.
    EXPECT_EQ(-2, cmp(str("ab"), str("abcd")).getInt());
    EXPECT_EQ(3, cmp(str("abcd"), str("a")).getInt());
    // Bytes compare unsigned, and numbers compare as their texts.
    EXPECT_GT(cmp(str("\xFF"), str("a")).getInt(), 0);
    EXPECT_LT(cmp(num(10), str("9")).getInt(), 0);
    EXPECT_EQ(0, cmp(fixed(PDLVariant(false)), str("OFF")).getInt());
    EXPECT_EQ(PDLVariant::eInvalid, cmp(invalid(), str("a")).getKind());
    EXPECT_EQ(PDLVariant::eInvalid, cmp(str("a"), invalid()).getKind());

    auto append = [](PDLExpression* pLeft, PDLExpression* pRight)
    { return eval(new PDLExpressionAppend(pLeft, pRight)); };
    expectString("a1", append(str("a"), num(1)));
    expectString("0.5000x", append(flt(0.5f), str("x")));
    expectString("ONOFF", append(fixed(PDLVariant(true)), fixed(PDLVariant(false))));
    expectString("12", append(num(1), num(2)));
    EXPECT_EQ(PDLVariant::eInvalid, append(invalid(), str("x")).getKind());
    EXPECT_EQ(PDLVariant::eInvalid, append(str("x"), invalid()).getKind());
    EXPECT_EQ("", logText());
}

TEST_F(PDLTest, ExpressionListsBuildDottedTexts)
{
    PDLVariant target(5);
    std::unique_ptr<PDLExpressionList> pEmpty(list({}));
    pEmpty->evaluateTo(target, true);
    // An empty list clears the value and keeps the kind.
    EXPECT_EQ(PDLVariant::eInt, target.getKind());
    EXPECT_EQ(0, target.getInt());
    EXPECT_FALSE(pEmpty->isIdentifier());

    std::unique_ptr<PDLExpressionList> pList(list({new PDLExpressionIdentifier("A"), num(3), flt(0.5f)}));
    target = PDLVariant("old text");
    pList->evaluateTo(target, true);
    expectString("A.3.0.5000", target);
    EXPECT_FALSE(pList->isIdentifier());
    EXPECT_EQ("A.3.0.5000", pList->evaluate(false).getString());
    PDLVariant fresh;
    pList->evaluateTo(fresh, true);
    expectString("A.3.0.5000", fresh);

    std::unique_ptr<PDLExpressionList> pBroken(list({str("A"), invalid(), str("B")}));
    target = PDLVariant("old");
    pBroken->evaluateTo(target, true);
    EXPECT_EQ(PDLVariant::eInvalid, target.getKind());

    std::unique_ptr<PDLExpressionList> pWord(list({new PDLExpressionIdentifier("PRESS")}));
    EXPECT_TRUE(pWord->isIdentifier());
    std::unique_ptr<PDLExpressionList> pText(list({str("PRESS")}));
    EXPECT_FALSE(pText->isIdentifier());
}

TEST_F(PDLTest, FunctionIdsKeepALoneComponentsKind)
{
    EXPECT_EQ(PDLVariant::eInvalid,
              eval(new PDLExpressionFunctionId(list({new PDLExpressionIdentifier("a"), num(3), invalid()})))
                  .getKind());
    expectString("a.3", eval(new PDLExpressionFunctionId(list({new PDLExpressionIdentifier("a"), num(3)}))));
    PDLVariant const lone = eval(new PDLExpressionFunctionId(list({num(3)})));
    EXPECT_EQ(PDLVariant::eInt, lone.getKind());
    EXPECT_EQ(3, lone.getInt());
    // An empty id keeps the kind of its last evaluation, Invalid at first.
    EXPECT_EQ(PDLVariant::eInvalid, eval(new PDLExpressionFunctionId(list({}))).getKind());

    uint32_t const errors = PDLParseInfo::m_errorCount;
    EXPECT_EQ(PDLVariant::eInvalid, eval(new PDLExpressionFunctionId(nullptr)).getKind());
    EXPECT_EQ("\nFATAL:\nm_pFunctionIdComponents\n\n", logText());
    EXPECT_EQ(errors + 1, PDLParseInfo::m_errorCount);
}

TEST_F(PDLTest, ConstantsDumpAndPrint)
{
    std::unique_ptr<PDLExpression> pNumber(num(42));
    std::unique_ptr<PDLExpression> pFloat(flt(0.25f));
    std::unique_ptr<PDLExpression> pText(str("hi"));
    std::unique_ptr<PDLExpression> pWord(new PDLExpressionIdentifier("PRESS"));
    std::unique_ptr<PDLExpression> pNothing(invalid());
    CoutCapture out;
    pNumber->dump();
    pFloat->dump();
    pText->dump();
    pNothing->dump();
    pNumber->print();
    pWord->print();
    EXPECT_EQ("Variant int 42\nVariant float 0.2500\nVariant string hi\nVariant invalid\n42PRESS",
              out.text());
    EXPECT_TRUE(pWord->isIdentifier());
    EXPECT_FALSE(pText->isIdentifier());
    EXPECT_EQ(PDLVariant::eString, pWord->evaluate(true).getKind());
    EXPECT_EQ(PDLBaseExpression::eTypeExpression, pNumber->getType());
    EXPECT_TRUE(pNumber->hasChanged());
}
