// The scanner's token rules: numbers, floats, identifiers, strings, operators and keywords, comments,
// single bytes and line counting.

#include "core_scanner_fixture.h"

#include "pdlbaseclasses.h"

#include <cstring>

namespace scannertest
{
namespace
{
TEST_F(ScannerTest, NumbersFloatsAndIdentifiersSplitAsTheRulesSay)
{
    std::vector<Token> const tokens =
        scanText("1abc 123 12.5 12. 1.5e3 .5 007 0x12 1e5 a.b -5 _x9 99999999999 2147483648 "
                 "99999999999999999999999");
    EXPECT_EQ("IDENTIFIER(1abc)@1 NUMBER(123)@1 FLOATVAL(12.5)@1 NUMBER(12)@1 '.'@1 FLOATVAL(1.5)@1 "
              "IDENTIFIER(e3)@1 '.'@1 NUMBER(5)@1 NUMBER(7)@1 IDENTIFIER(0x12)@1 IDENTIFIER(1e5)@1 "
              "IDENTIFIER(a)@1 '.'@1 IDENTIFIER(b)@1 MINUSOP@1 NUMBER(5)@1 IDENTIFIER(_x9)@1 "
              "NUMBER(1215752191)@1 NUMBER(-2147483648)@1 NUMBER(-1)@1",
              describe(tokens));
}

TEST_F(ScannerTest, OperatorsTakeTheLongestMatch)
{
    EXPECT_EQ("ASSGNOP@1 VALASSIGN@1 NUMEQ@1 NEQ@1 PLUSOP@1 MINUSOP@1 INCROP@1 DECROP@1 MULTOP@1 DIVOP@1 "
              "MODOP@1 LESSOP@1 GREATEROP@1 LESSEQOP@1 GREATEREQOP@1",
              describe(scanText("<- := == <> + - ++ -- * / % < > <= >=")));
    // Glued operators: the longest spelling at each position, then the rest.
    EXPECT_EQ("ASSGNOP@1 MINUSOP@1 DECROP@1 MINUSOP@1 LESSOP@1 LESSEQOP@1 '='@1 LESSOP@1 INCROP@1 PLUSOP@1 "
              "'='@1 NUMEQ@1 VALASSIGN@1 NUMEQ@1",
              describe(scanText("<--  ---<<==<+++ = == :===")));
    EXPECT_EQ("IDENTIFIER(a)@1 ASSGNOP@1 IDENTIFIER(b)@1 '$'@1 IDENTIFIER(x)@1 VALASSIGN@1 NUMBER(1)@1 "
              "'$'@1 IDENTIFIER(x)@1 INCROP@1",
              describe(scanText("a<-b $x:=1 $x++")));
}

TEST_F(ScannerTest, EveryKeywordMapsToItsToken)
{
    for (Keyword const& keyword : keywordTable())
    {
        std::vector<Token> const tokens = scanText(std::string(keyword.pSpelling));
        ASSERT_EQ(1u, tokens.size()) << keyword.pSpelling;
        EXPECT_EQ(keyword.code, tokens[0].code) << keyword.pSpelling;
    }
    // Keywords directly followed by punctuation, and an operator glued to a word.
    EXPECT_EQ("IF@1 '('@1 NOT@1 IDENTIFIER(x)@1 ')'@1 THEN@1 END@1 IF@1 SET_ATTR@1 '('@1",
              describe(scanText("if(not x)then end if set(")));
}

TEST_F(ScannerTest, KeywordsMatchOnlyAsWholeLowerCaseWords)
{
    EXPECT_EQ("IDENTIFIER(IF)@1 IDENTIFIER(End)@1 IDENTIFIER(END)@1 IDENTIFIER(endx)@1 IDENTIFIER(xend)@1 "
              "IDENTIFIER(if_)@1 IDENTIFIER(set_attr)@1 IDENTIFIER(includex)@1 IDENTIFIER(INCLUDE)@1 "
              "IDENTIFIER(in2)@1 IDENTIFIER(Widget)@1 IDENTIFIER(getscales)@1",
              describe(scanText("IF End END endx xend if_ set_attr includex INCLUDE in2 Widget getscales")));
    // A keyword that is the prefix of a longer keyword.
    EXPECT_EQ("PRINT@1 PRINTLN@1 SET_ATTR@1 SET_STATE@1 GET@1 GETSCALE@1 SCALE@1 IN@1 INIT@1",
              describe(scanText("print println set setstate get getscale scale in init")));
}

TEST_F(ScannerTest, BlockCommentsPairStarsAsWritten)
{
    EXPECT_EQ("IDENTIFIER(c)@1", describe(scanText("/* a **/ b */ c")));
    EXPECT_EQ("IDENTIFIER(b)@1", describe(scanText("/* a */ b")));
    EXPECT_EQ("IDENTIFIER(y)@1", describe(scanText("/***/ x */ y")));
    EXPECT_EQ("IDENTIFIER(z)@1", describe(scanText("/**/ z")));
    EXPECT_EQ("IDENTIFIER(w)@1", describe(scanText("/* a ***/ w")));
    // Every newline inside a comment is counted.
    EXPECT_EQ("IDENTIFIER(x)@3 IDENTIFIER(y)@4", describe(scanText("/*\n * two\n*/ x\ny")));
    // Without a closing match the opener is two operators.
    EXPECT_EQ("DIVOP@1 MULTOP@1 IDENTIFIER(open)@1 IDENTIFIER(x)@2", describe(scanText("/* open\n x")));
    EXPECT_EQ("DIVOP@1 MULTOP@1 IDENTIFIER(a)@1 MULTOP@1 MULTOP@1", describe(scanText("/* a **")));
}

TEST_F(ScannerTest, LineCommentsNeedTheirNewline)
{
    EXPECT_EQ("IDENTIFIER(a)@1 IDENTIFIER(b)@2", describe(scanText("a // c /* d\nb")));
    EXPECT_EQ("IDENTIFIER(a)@2", describe(scanText("// only\na // trailing\n")));
    // On a last line without a newline the comment is no comment.
    EXPECT_EQ("IDENTIFIER(a)@1 DIVOP@1 DIVOP@1 IDENTIFIER(c)@1 '.'@1", describe(scanText("a // c.")));
    EXPECT_EQ("DIVOP@1 DIVOP@1", describe(scanText("//")));
}

TEST_F(ScannerTest, StringsKeepEveryByteAndHideTheirNewlines)
{
    // The string spans three lines; the two newlines inside are not counted.
    std::vector<Token> const tokens = scanText("\"one\ntwo\nthree\" x\ny\n\"last\"");
    EXPECT_EQ("TEXTVAL(one\ntwo\nthree)@1 IDENTIFIER(x)@1 IDENTIFIER(y)@2 TEXTVAL(last)@3", describe(tokens));
    EXPECT_EQ("TEXTVAL(a\\b)@1 TEXTVAL()@1 TEXTVAL(include x)@1 TEXTVAL(/* c */ // d)@1 TEXTVAL(if)@1",
              describe(scanText("\"a\\b\" \"\" \"include x\" \"/* c */ // d\" \"if\"")));
    // A double quote that opens no complete string is a single byte.
    EXPECT_EQ("IDENTIFIER(a)@1 '\"'@1 IDENTIFIER(unclosed)@1 IDENTIFIER(b)@2",
              describe(scanText("a \"unclosed\nb")));
}

TEST_F(ScannerTest, BlanksAndNewlinesOnlySeparate)
{
    EXPECT_EQ("IDENTIFIER(a)@1 IDENTIFIER(b)@1 IDENTIFIER(c)@4 IDENTIFIER(d)@4",
              describe(scanText("a\t\r b\r\n\n\nc\td \r\n")));
    EXPECT_TRUE(scanText("").empty());
    EXPECT_TRUE(scanText(" \t\r\n\n").empty());
    EXPECT_EQ(3, yylineno);
}

TEST_F(ScannerTest, OtherBytesAreTokensOfTheirSignedValue)
{
    EXPECT_EQ(
        "'{'@1 '}'@1 '('@1 ')'@1 '@'@1 ','@1 '.'@1 '$'@1 '['@1 ']'@1 '&'@1 ':'@1 '='@1 ':'@1 '#'@1 '!'@1 "
        "';'@1 '?'@1 '\\'@1 '''@1 '|'@1 '^'@1 '~'@1",
        describe(scanText("{}()@,.$[]&: =:#!;?\\'|^~")));
    // Bytes of 0x80 and above have negative codes, which the parser takes for the end of input.
    std::vector<Token> const tokens = scanText("a\xC3\xA9 \x80\xFF b");
    EXPECT_EQ("IDENTIFIER(a)@1 -61@1 -87@1 -128@1 -1@1 IDENTIFIER(b)@1", describe(tokens));
    // Inside strings and comments they are ordinary bytes.
    EXPECT_EQ("TEXTVAL(caf\xC3\xA9)@1 IDENTIFIER(x)@1", describe(scanText("\"caf\xC3\xA9\" /* \xFF */ x")));
    // A control byte is a token as well.
    EXPECT_EQ("1@1 IDENTIFIER(z)@1", describe(scanText("\x01z")));
}

TEST_F(ScannerTest, TheLineGoesOnAcrossParsesAndFlushes)
{
    scanText("a\nb\nc\n");
    EXPECT_EQ(4, yylineno);
    // A second top-level file is not reset to line 1.
    open(writeFile("second.pdl", "x\ny"));
    std::vector<Token> const tokens = scanRest();
    EXPECT_EQ("IDENTIFIER(x)@4 IDENTIFIER(y)@5", describe(tokens));
}
// A syntax error makes the parser throw away the strings it holds: the sanitizer build checks they are freed.
TEST_F(ScannerTest, StringsDroppedOnASyntaxErrorAreFreed)
{
    std::string const main = writeFile("main.pdl", "\"text\" name ) \"more\" other 1\n");
    // Twice, as a module that is loaded again: a string the first parse dropped without freeing is
    // unreachable once the second one has run.
    for (int pass = 0; pass < 2; ++pass)
    {
        open(main);
        yylineno = 1;
        PDLParseInfo::m_errorCount = 0;
        testing::internal::CaptureStderr();
        int const result = yyparse();
        std::string const messages = testing::internal::GetCapturedStderr();
        EXPECT_NE(0, result);
        EXPECT_EQ(1u, PDLParseInfo::m_errorCount);
        EXPECT_EQ(0u, messages.find(main + "(1): syntax error")) << messages;
    }
    PDLParseInfo::m_errorCount = 0;
}
} // namespace
} // namespace scannertest
