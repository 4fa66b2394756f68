// Buffer refills: tokens across the 8192-byte read boundary, tokens longer than a buffer, the decode
// hook after every read, and a failing read.

#include "core_scanner_fixture.h"

#include "pdlbaseclasses.h"

#include <sys/stat.h>

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

long long offsetOf(fpos_t const& position)
{
    return static_cast<long long>(position.__pos);
}

void recordingDecode(void* /*pBuffer*/, fpos_t position, unsigned long count)
{
    s_refills.push_back(Refill{offsetOf(position), count});
}
// A stand-in cipher: every byte XOR 0x55, applied in place.
void xorDecode(void* pBuffer, fpos_t position, unsigned long count)
{
    recordingDecode(pBuffer, position, count);
    unsigned char* const pBytes = static_cast<unsigned char*>(pBuffer);
    for (unsigned long i = 0; i < count; ++i)
    {
        pBytes[i] ^= 0x55;
    }
}

std::string xorEncode(std::string text)
{
    for (char& c : text)
    {
        c = static_cast<char>(c ^ 0x55);
    }
    return text;
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

TEST_F(ScannerTest, TokensLongerThanTheBufferAreRead)
{
    std::string body;
    for (int i = 0; i < 4000; ++i)
    {
        body += "line " + std::to_string(i) + "\n";
    }
    ASSERT_GT(body.size(), 16384u * 2);
    std::string const identifier(20000, 'q');
    std::vector<Token> const tokens = scanText("a \"" + body + "\" " + identifier + " z\nw");
    ASSERT_EQ(5u, tokens.size());
    EXPECT_EQ(TEXTVAL, tokens[1].code);
    EXPECT_EQ(body, tokens[1].text);
    EXPECT_EQ(IDENTIFIER, tokens[2].code);
    EXPECT_EQ(identifier, tokens[2].text);
    EXPECT_EQ("IDENTIFIER(z)@1 IDENTIFIER(w)@2", describe(tokens[3]) + " " + describe(tokens[4]));
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

TEST_F(ScannerTest, RulesRunOnTheDecodedBytesOfEveryFile)
{
    s_refills.clear();
    // A header-like prefix the caller has already read stays out of the scanner's reads.
    writeFile("b.pdl", xorEncode("then \"x\ny\"\n"));
    std::string const main = writeFile("main.pdl", "HEADER" + xorEncode("if x include \"b.pdl\" end\nIF"));
    lexSetDecodeHook(xorDecode);
    open(main);
    yylineno = 1;
    char header[6];
    ASSERT_EQ(6u, std::fread(header, 1, sizeof(header), yyin));
    std::vector<Token> const tokens = scanRest();
    EXPECT_EQ("IF@1 IDENTIFIER(x)@1 THEN@1 TEXTVAL(x\ny)@1 END@1 IDENTIFIER(IF)@2", describe(tokens));
    // main from offset 6, then all of b.pdl and its end, then the end of main.
    ASSERT_EQ(4u, s_refills.size());
    EXPECT_EQ(6, s_refills[0].position);
    EXPECT_EQ(27u, s_refills[0].count);
    EXPECT_EQ(0, s_refills[1].position);
    EXPECT_EQ(11u, s_refills[1].count);
    EXPECT_EQ(11, s_refills[2].position);
    EXPECT_EQ(0u, s_refills[2].count);
    EXPECT_EQ(33, s_refills[3].position);
    EXPECT_EQ(0u, s_refills[3].count);
}

TEST_F(ScannerTest, AFailedReadEndsTheScanNotTheProcess)
{
    std::filesystem::create_directories(m_directory / "adir");
    PDLParseInfo::m_errorCount = 0;
    testing::internal::CaptureStderr();
    // Opening a directory succeeds, reading from it fails: one error token, then the end of input,
    // also on later calls.
    std::vector<Token> const tokens = scanFile(path("adir"));
    EXPECT_EQ(0, next().code);
    std::string const errors = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::to_string(YYerror) + "@1", describe(tokens));
    EXPECT_EQ("Failed to read file \"" + path("adir") + "\": Is a directory\n", errors);
    EXPECT_EQ(1u, PDLParseInfo::m_errorCount);
    // The next file scans normally after the flush.
    EXPECT_EQ("IDENTIFIER(x)@1", describe(scanText("x")));
}
} // namespace
} // namespace scannertest
