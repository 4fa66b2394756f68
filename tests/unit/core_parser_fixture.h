#ifndef CORE_PARSER_FIXTURE_H
#define CORE_PARSER_FIXTURE_H

// Shared set-up of the parser tests: a module below global, workplace and group scopes, a source file
// in the test's temporary directory, and a parse run as module loading starts it (scanner flushed and
// on the file, line 1, error count 0, block words cleared) whose standard error is captured.

#include "core_pdlfixture.h"

#include "pdlbaseclasses.h"
#include "pdlmodule.h"
#include "pdlparser.h"
#include "pdlscanner.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace parsertest
{
// What a parse gave: yyparse's result, the lines written to standard error and the error count.
struct ParseResult
{
    int code = -1;
    std::vector<std::string> messages;
    uint32_t errors = 0;
};

inline std::string joinLines(std::vector<std::string> const& lines)
{
    std::string text;
    for (std::string const& line : lines)
    {
        text += line;
        text += '\n';
    }
    return text;
}

class ParserTest : public PDLTest
{
protected:
    void SetUp() override
    {
        PDLTest::SetUp();
        m_pGlobal.reset(new TestContext(nullptr, eScopeGlobal));
        m_pWorkplace.reset(new TestContext(m_pGlobal.get(), eScopeWorkplace));
        m_pGroup.reset(new TestContext(m_pWorkplace.get(), eScopeGroup));
        lexSetCondition(eLexNormal);
        lexSetIncludeHook(nullptr);
        lexSetDecodeHook(nullptr);
        m_sourcePath = (m_directory / "test.pdl").string();
        // Persistent declarations reach the store, as in a running panel, on a section in memory.
        static std::vector<unsigned char> s_section(70000);
        PDLPersistentVarManager::createInstance()->useSection(s_section.data(), s_section.size());
        PDLPersistentVarManager::getInstance()->init(true);
    }
    void TearDown() override
    {
        closeSource();
        g_pCurrentModule = nullptr;
        m_pModule.reset();
        m_pGroup.reset();
        m_pWorkplace.reset();
        m_pGlobal.reset();
        flag_stack.clear();
        allow_flags = 0;
        PDLParseInfo::m_errorCount = 0;
        PDLTest::TearDown();
    }
    // The one place where the tests make a module: below the group scope, current for the parse.
    PDLModule* makeModule()
    {
        g_pCurrentModule = nullptr;
        m_pModule.reset();
        m_pModule.reset(new PDLModule(m_pGroup.get(), UniqueModuleID(1, 2, 3), 0, 0, nullptr, "test"));
        g_pCurrentModule = m_pModule.get();
        return m_pModule.get();
    }
    // Parses the text as the whole source of a fresh module. The block words are cleared first unless
    // a test looks at what an earlier parse left.
    ParseResult parse(std::string const& text, bool clearBlockWords = true)
    {
        makeModule();
        writeFile("test.pdl", text);
        closeSource();
        flushLex();
        m_pSource = std::fopen(m_sourcePath.c_str(), "rb");
        EXPECT_NE(m_pSource, nullptr);
        yyin = m_pSource;
        g_lexFilePath = rtk::Path(m_sourcePath);
        yylineno = 1;
        PDLParseInfo::m_errorCount = 0;
        if (clearBlockWords)
        {
            flag_stack.clear();
            allow_flags = 0;
        }
        ParseResult result;
        testing::internal::CaptureStderr();
        result.code = yyparse();
        std::string const written = testing::internal::GetCapturedStderr();
        result.errors = PDLParseInfo::m_errorCount;
        std::istringstream lines(written);
        std::string line;
        while (std::getline(lines, line))
        {
            result.messages.push_back(line);
        }
        closeSource();
        return result;
    }
    // A message as the parser writes it for a line of the test source.
    std::string at(int line, std::string const& message) const
    {
        return m_sourcePath + "(" + std::to_string(line) + "): " + message;
    }
    // Parses text that must hold exactly one syntax error and returns its message without the
    // position, after checking that it was the only report and ended the parse.
    std::string syntaxError(std::string const& text)
    {
        ParseResult const result = parse(text);
        EXPECT_EQ(1, result.code) << text;
        EXPECT_EQ(1u, result.errors) << text;
        if (result.messages.size() != 1)
        {
            ADD_FAILURE() << text << "\n" << joinLines(result.messages);
            return std::string();
        }
        std::string const& message = result.messages.front();
        size_t const start = message.find("): ");
        return start == std::string::npos ? message : message.substr(start + 3);
    }
    void closeSource()
    {
        flushLex();
        if (m_pSource != nullptr)
        {
            std::fclose(m_pSource);
            m_pSource = nullptr;
            yyin = nullptr;
        }
    }
    std::unique_ptr<TestContext> m_pGlobal;
    std::unique_ptr<TestContext> m_pWorkplace;
    std::unique_ptr<TestContext> m_pGroup;
    std::unique_ptr<PDLModule> m_pModule;
    std::string m_sourcePath;
    FILE* m_pSource = nullptr;
};
} // namespace parsertest
#endif
