// The include mechanism: splicing, paths beside the including file, the depth limit, the two
// messages, the condition that stays after a failure, the include hook and the streams it leaves.

#include "core_scanner_fixture.h"

namespace scannertest
{
namespace
{
std::vector<std::string> s_hookPaths;
std::string s_redirectTarget;
// An include hook that opens nothing.
void failingInclude(rtk::Path const& path)
{
    s_hookPaths.push_back(path.getString());
    yyin = nullptr;
}
// An include hook that reads another file than the one named.
void redirectingInclude(rtk::Path const& path)
{
    s_hookPaths.push_back(path.getString());
    yyin = std::fopen(s_redirectTarget.c_str(), "rb");
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

TEST_F(ScannerTest, AnIncludeThatOpensNoStreamIsUndone)
{
    s_hookPaths.clear();
    writeFile("exists.pdl", "never");
    std::string const main = writeFile("main.pdl", "a\ninclude \"exists.pdl\" b\nc");
    lexSetIncludeHook(failingInclude);
    testing::internal::CaptureStderr();
    std::vector<Token> const tokens = scanFile(main);
    // No leading empty line in this message; the scanner is back in the normal condition.
    EXPECT_EQ("Failed to open include file \"" + path("exists.pdl") + "\"\n",
              testing::internal::GetCapturedStderr());
    EXPECT_EQ("IDENTIFIER(a)@1 IDENTIFIER(b)@2 IDENTIFIER(c)@3", describe(tokens));
    ASSERT_EQ(3u, tokens.size());
    EXPECT_EQ(main, tokens[1].path);
    EXPECT_EQ(0, tokens[1].depth);
    EXPECT_EQ(std::vector<std::string>{path("exists.pdl")}, s_hookPaths);
    EXPECT_EQ(eLexNormal, lexGetCondition());
    // The existence test comes first: a missing file never reaches the hook.
    s_hookPaths.clear();
    testing::internal::CaptureStderr();
    scanText("include \"absent.pdl\"");
    EXPECT_EQ("\nFailed to open include file \"" + path("absent.pdl") + "\"\n",
              testing::internal::GetCapturedStderr());
    EXPECT_TRUE(s_hookPaths.empty());
}

TEST_F(ScannerTest, TheIncludeHookProvidesTheStream)
{
    s_hookPaths.clear();
    s_redirectTarget = writeFile("other.pdl", "fromOther\nsecond");
    writeFile("named.pdl", "fromNamed");
    lexSetIncludeHook(redirectingInclude);
    std::vector<Token> const tokens = scanText("a include \"named.pdl\" b");
    EXPECT_EQ("IDENTIFIER(a)@1 IDENTIFIER(fromOther)@1 IDENTIFIER(second)@2 IDENTIFIER(b)@1",
              describe(tokens));
    EXPECT_EQ(std::vector<std::string>{path("named.pdl")}, s_hookPaths);
    // Setting a hook hands back the one it replaces.
    EXPECT_EQ(&redirectingInclude, lexSetIncludeHook(nullptr));
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
} // namespace
} // namespace scannertest
