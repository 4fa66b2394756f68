// A syntax error makes the parser throw away the string tokens it holds: their heap text must be freed.
// The leak check of the sanitizer build is what catches a missing free; the checks below make sure the
// error path was taken at all.

#include "core_scanner_fixture.h"

#include "pdlbaseclasses.h"

namespace scannertest
{
namespace
{
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
