// Reading files: includes (splicing, paths beside the including file, the depth limit, the messages,
// the condition that stays after a failure, the streams left) and buffer refills (tokens across the
// 8192-byte read boundary and longer than a buffer, the decode hook after every read).

#include "core_scanner_fixture.h"

namespace scannertest
{
namespace
{
struct Refill
{
    long long position;
    unsigned long count;
};
std::vector<Refill> s_refills;

void recordingDecode(void* /*pBuffer*/, fpos_t position, unsigned long count)
{
    s_refills.push_back(Refill{static_cast<long long>(position.__pos), count});
}

TEST_F(ScannerTest, IncludeSplicesTheFileIntoTheStatement)
{
    std::string const part = writeFile("part.pdl", "set(colour)\n\"red\"\n");
    std::string const main = writeFile("main.pdl", "widget $w = 1\n  include \"part.pdl\" end\nwidget\n");
    std::vector<Token> const tokens = scanFile(main);
    EXPECT_EQ("WIDGET@1 '$'@1 IDENTIFIER(w)@1 '='@1 NUMBER(1)@1 SET_ATTR@1 '('@1 IDENTIFIER(colour)@1 ')'@1 "
              "TEXTVAL(red)@2 END@2 WIDGET@3",
              describe(tokens));
    ASSERT_EQ(12u, tokens.size());
    // While the included file is read its path is current and one file is suspended.
    EXPECT_EQ(main, tokens[4].path);
    EXPECT_EQ(0, tokens[4].depth);
    EXPECT_EQ(part, tokens[5].path);
    EXPECT_EQ(1, tokens[5].depth);
    EXPECT_EQ(part, tokens[9].path);
    EXPECT_EQ(main, tokens[10].path);
    EXPECT_EQ(0, tokens[10].depth);
    EXPECT_EQ(eLexNormal, lexGetCondition());
}

TEST_F(ScannerTest, IncludedNamesAreLookedUpBesideTheIncludingFile)
{
    writeFile("dir/sub/b.pdl", "include \"c.pdl\" include\"../d.pdl\"");
    writeFile("dir/sub/c.pdl", "fromSub");
    writeFile("dir/c.pdl", "fromDir");
    writeFile("dir/d.pdl", "dFromDir");
    writeFile("dir/sub/my file.pdl", "blank");
    writeFile("c.pdl", "fromTop");
    std::string const main = writeFile("dir/main.pdl", "include \"sub/b.pdl\" include \"sub/my file.pdl\"");
    std::vector<Token> const tokens = scanFile(main);
    EXPECT_EQ("IDENTIFIER(fromSub)@1 IDENTIFIER(dFromDir)@1 IDENTIFIER(blank)@1", describe(tokens));
    ASSERT_EQ(3u, tokens.size());
    EXPECT_EQ(path("dir/sub/c.pdl"), tokens[0].path);
    EXPECT_EQ(2, tokens[0].depth);
    EXPECT_EQ(2, tokens[1].depth);
    EXPECT_EQ(path("dir/sub/my file.pdl"), tokens[2].path);
    EXPECT_EQ(1, tokens[2].depth);
}

TEST_F(ScannerTest, ARelativeSourcePathIsTakenBelowTheWorkingDirectory)
{
    std::string const cwd = rtk::Path::getCurrentDirectory().getString();
    open(writeFile("main.pdl", "a include \"x.pdl\"\"../y.pdl\""), "rel/dir/main.pdl");
    yylineno = 1;
    testing::internal::CaptureStderr();
    std::vector<Token> const tokens = scanRest();
    EXPECT_EQ("\nFailed to open include file \"" + cwd + "/rel/dir/x.pdl\"\n" +
                  "\nFailed to open include file \"" + cwd + "/rel/y.pdl\"\n",
              testing::internal::GetCapturedStderr());
    EXPECT_EQ("IDENTIFIER(a)@1", describe(tokens));
}

TEST_F(ScannerTest, ElevenNestedIncludesStopAtTheTenthLevel)
{
    int const openBefore = countOpenFiles();
    for (int i = 0; i <= 11; ++i)
    {
        // File i starts its token on line i + 1 and includes file i + 1 as its last text.
        std::string const text = std::string(i, '\n') + "a" + std::to_string(i) + " include \"f" +
                                 std::to_string(i + 1) + ".pdl\"";
        writeFile("f" + std::to_string(i) + ".pdl", i == 11 ? std::string("deepest") : text);
    }
    testing::internal::CaptureStderr();
    std::vector<Token> const tokens = scanFile(path("f0.pdl"));
    EXPECT_EQ("Includes nested too deeply\n", testing::internal::GetCapturedStderr());
    std::string expected;
    for (int i = 0; i <= 10; ++i)
    {
        expected += (i > 0 ? " " : "") + std::string("IDENTIFIER(a") + std::to_string(i) + ")@" +
                    std::to_string(i + 1);
    }
    EXPECT_EQ(expected, describe(tokens));
    ASSERT_EQ(11u, tokens.size());
    EXPECT_EQ(10, tokens[10].depth);
    EXPECT_EQ(10, lexMaxIncludeDepth());
    // The refused include leaves the include-file-name condition; every included stream is closed.
    EXPECT_EQ(eLexIncludeName, lexGetCondition());
    EXPECT_EQ(0, include_stack_ptr);
    EXPECT_EQ(path("f0.pdl"), g_lexFilePath.getString());
    EXPECT_EQ(1, yylineno);
    EXPECT_EQ(openBefore + 1, countOpenFiles()); // only the top-level stream, which is the caller's
}

TEST_F(ScannerTest, AMissingIncludeCascadesUpToTheNextQuotes)
{
    std::string const dir = m_directory.string();
    testing::internal::CaptureStderr();
    std::vector<Token> const tokens = scanText("x include \"missing.pdl\" y \"z\" w");
    EXPECT_EQ("\nFailed to open include file \"" + dir + "/missing.pdl\"\n" +
                  "\nFailed to open include file \"" + dir + "/ y \"\n" + "\nFailed to open include file \"" +
                  dir + "/z\"\n" + "\nFailed to open include file \"" + dir + "/ w\"\n",
              testing::internal::GetCapturedStderr());
    EXPECT_EQ("IDENTIFIER(x)@1", describe(tokens));
    EXPECT_EQ(eLexIncludeName, lexGetCondition());
    // The condition outlives the parse: the next file starts as an include file name.
    writeFile("good.pdl", "fromGood");
    testing::internal::CaptureStderr();
    open(writeFile("next.pdl", "\"good.pdl\" tail"));
    std::vector<Token> const next = scanRest();
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
    EXPECT_EQ("IDENTIFIER(fromGood)@1 IDENTIFIER(tail)@1", describe(next));
    EXPECT_EQ(eLexNormal, lexGetCondition());
}

TEST_F(ScannerTest, AnIncludeMayEndTheFile)
{
    writeFile("b.pdl", "fromB\n");
    // The closing quote may be missing at the end of input.
    EXPECT_EQ("IDENTIFIER(a)@1 IDENTIFIER(fromB)@1", describe(scanText("a include \"b.pdl")));
    EXPECT_EQ(eLexNormal, lexGetCondition());
    EXPECT_EQ("IDENTIFIER(a)@2 IDENTIFIER(fromB)@1", describe(scanText("\na include \"b.pdl\"")));
    // An included file may end inside a construct its includer finishes, and a file may end in a
    // comment or a blank run before returning.
    writeFile("open.pdl", "\"two\nlines\" if /* c */ ");
    EXPECT_EQ("TEXTVAL(two\nlines)@1 IF@1 THEN@1 END@2 IF@2",
              describe(scanText("include \"open.pdl\"then\nend if")));
}

TEST_F(ScannerTest, IncludeIsADirectiveOnlyAsAWholeWordOutsideStrings)
{
    writeFile("b.pdl", "fromB");
    EXPECT_EQ("IDENTIFIER(includex)@1 TEXTVAL(b.pdl)@1 TEXTVAL(include )@1 IDENTIFIER(b)@1 '.'@1 "
              "IDENTIFIER(pdl)@1 '\"'@1",
              describe(scanText("includex \"b.pdl\" \"include \"b.pdl\"")));
    // Blanks and quotes before the name are skipped; a name without quotes keeps its leading blanks.
    EXPECT_EQ("IDENTIFIER(fromB)@1 IDENTIFIER(z)@1", describe(scanText("include \t\" \"b.pdl\"z")));
}

TEST_F(ScannerTest, FlushAbandonsAnUnfinishedIncludeChain)
{
    int const openBefore = countOpenFiles();
    writeFile("c.pdl", "deep1 deep2");
    writeFile("b.pdl", "x include \"c.pdl\" y");
    open(writeFile("main.pdl", "a include \"b.pdl\" z"));
    yylineno = 1;
    EXPECT_EQ("IDENTIFIER(a)@1", describe(next()));
    EXPECT_EQ("IDENTIFIER(x)@1", describe(next()));
    EXPECT_EQ("IDENTIFIER(deep1)@1", describe(next()));
    EXPECT_EQ(2, include_stack_ptr);
    EXPECT_EQ(openBefore + 3, countOpenFiles());
    // As after a syntax error inside an included file: the next parse must not return into it.
    flushLex();
    EXPECT_EQ(0, include_stack_ptr);
    EXPECT_EQ(openBefore + 1, countOpenFiles());
    open(writeFile("next.pdl", "q"));
    EXPECT_EQ("IDENTIFIER(q)@1", describe(scanRest()));
    EXPECT_EQ(0, next().code);
}

TEST_F(ScannerTest, TokensStraddlingTheReadBoundaryStayWhole)
{
    // Each token starts a few bytes before offset 8192 and ends after it.
    EXPECT_EQ("IDENTIFIER(abcdefgh)@1 IDENTIFIER(x)@2",
              describe(scanText(std::string(8190, ' ') + "abcdefgh\nx")));
    EXPECT_EQ("FLOATVAL(12345.7)@1", describe(scanText(std::string(8189, ' ') + "12345.678")));
    EXPECT_EQ("IDENTIFIER(a)@1 INCROP@1 IDENTIFIER(b)@1",
              describe(scanText("a" + std::string(8190, ' ') + "++b")));
    EXPECT_EQ("IDENTIFIER(c)@3", describe(scanText(std::string(8188, ' ') + "/*\n\n*/c")));
    // The line counter carries on over many refills.
    std::string lines;
    for (int i = 0; i < 5000; ++i)
    {
        lines += "word" + std::to_string(i) + "\n";
    }
    std::vector<Token> const tokens = scanText(lines);
    ASSERT_EQ(5000u, tokens.size());
    for (int i = 0; i < 5000; ++i)
    {
        ASSERT_EQ("IDENTIFIER(word" + std::to_string(i) + ")@" + std::to_string(i + 1), describe(tokens[i]));
    }
}

TEST_F(ScannerTest, EveryReadIsHandedToTheDecodeHookInFileOrder)
{
    s_refills.clear();
    std::string text;
    while (text.size() < 20000)
    {
        text += "ab ";
    }
    text.resize(20000);
    lexSetDecodeHook(recordingDecode);
    std::vector<Token> const tokens = scanText(text);
    EXPECT_EQ(6667u, tokens.size());
    // At most 8192 bytes per read, each position where the previous read ended, and one read of 0
    // bytes at the end.
    ASSERT_EQ(4u, s_refills.size());
    EXPECT_EQ(0, s_refills[0].position);
    EXPECT_EQ(8192u, s_refills[0].count);
    EXPECT_EQ(8192, s_refills[1].position);
    EXPECT_EQ(8192u, s_refills[1].count);
    EXPECT_EQ(16384, s_refills[2].position);
    EXPECT_EQ(3616u, s_refills[2].count);
    EXPECT_EQ(20000, s_refills[3].position);
    EXPECT_EQ(0u, s_refills[3].count);
    EXPECT_EQ(&recordingDecode, lexSetDecodeHook(nullptr));
}
} // namespace
} // namespace scannertest
