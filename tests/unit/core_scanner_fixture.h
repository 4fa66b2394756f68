#ifndef CORE_SCANNER_FIXTURE_H
#define CORE_SCANNER_FIXTURE_H

// Shared set-up of the scanner tests: source files in a temporary directory, a scan loop that records
// each token with its value, line, file and include depth, and readable token names for comparisons.

#include "pdlparser.hpp"
#include "pdlscanner.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace scannertest
{
struct Token
{
    int code = 0;
    int line = 0;
    int32_t number = 0;
    float floatValue = 0.0f;
    std::string text;
    std::string path;
    int depth = 0;
};

// The operators and keywords in the order of the keyword table, read column by column.
struct Keyword
{
    char const* pSpelling;
    int code;
    char const* pName;
};

#define SCANNER_KEYWORD(spelling, token)                                                                     \
    {                                                                                                        \
        spelling, token, #token                                                                              \
    }
inline std::vector<Keyword> const& keywordTable()
{
    static std::vector<Keyword> const s_table = {
        SCANNER_KEYWORD("<-", ASSGNOP),
        SCANNER_KEYWORD(":=", VALASSIGN),
        SCANNER_KEYWORD("==", NUMEQ),
        SCANNER_KEYWORD("<>", NEQ),
        SCANNER_KEYWORD("+", PLUSOP),
        SCANNER_KEYWORD("-", MINUSOP),
        SCANNER_KEYWORD("++", INCROP),
        SCANNER_KEYWORD("--", DECROP),
        SCANNER_KEYWORD("*", MULTOP),
        SCANNER_KEYWORD("/", DIVOP),
        SCANNER_KEYWORD("%", MODOP),
        SCANNER_KEYWORD("<", LESSOP),
        SCANNER_KEYWORD(">", GREATEROP),
        SCANNER_KEYWORD("<=", LESSEQOP),
        SCANNER_KEYWORD(">=", GREATEREQOP),
        SCANNER_KEYWORD("persistent", PERSISTENT),
        SCANNER_KEYWORD("extern", EXTERN),
        SCANNER_KEYWORD("global", GLOBAL),
        SCANNER_KEYWORD("workplace", WORKPLACE),
        SCANNER_KEYWORD("group", GROUP),
        SCANNER_KEYWORD("module", MODULE),
        SCANNER_KEYWORD("local", LOCAL),
        SCANNER_KEYWORD("noevents", NOEVENTS),
        SCANNER_KEYWORD("if", IF),
        SCANNER_KEYWORD("when", WHEN),
        SCANNER_KEYWORD("goto", GOTO),
        SCANNER_KEYWORD("exit", EXIT),
        SCANNER_KEYWORD("dump", DUMP),
        SCANNER_KEYWORD("print", PRINT),
        SCANNER_KEYWORD("println", PRINTLN),
        SCANNER_KEYWORD("add", ADD),
        SCANNER_KEYWORD("remove", REMOVE),
        SCANNER_KEYWORD("append", APPEND),
        SCANNER_KEYWORD("cutleft", CUTLEFT),
        SCANNER_KEYWORD("cutright", CUTRIGHT),
        SCANNER_KEYWORD("getleft", GETLEFT),
        SCANNER_KEYWORD("getright", GETRIGHT),
        SCANNER_KEYWORD("strlen", STRLEN),
        SCANNER_KEYWORD("strcmp", STRCMP),
        SCANNER_KEYWORD("get", GET),
        SCANNER_KEYWORD("init", INIT),
        SCANNER_KEYWORD("function", FUNCTION),
        SCANNER_KEYWORD("subscribe", SUBSCRIBE),
        SCANNER_KEYWORD("ref", REF),
        SCANNER_KEYWORD("isvalid", ISVALID),
        SCANNER_KEYWORD("end", END),
        SCANNER_KEYWORD("widget", WIDGET),
        SCANNER_KEYWORD("then", THEN),
        SCANNER_KEYWORD("else", ELSE),
        SCANNER_KEYWORD("elsif", ELSIF),
        SCANNER_KEYWORD("foreach", FOREACH),
        SCANNER_KEYWORD("in", IN),
        SCANNER_KEYWORD("while", WHILE),
        SCANNER_KEYWORD("and", AND),
        SCANNER_KEYWORD("or", OR),
        SCANNER_KEYWORD("not", NOT),
        SCANNER_KEYWORD("call", CALL),
        SCANNER_KEYWORD("set", SET_ATTR),
        SCANNER_KEYWORD("setstate", SET_STATE),
        SCANNER_KEYWORD("connect", CONNECT),
        SCANNER_KEYWORD("trigger", TRIGGER),
        SCANNER_KEYWORD("sendevent", SEND_EVENT),
        SCANNER_KEYWORD("event", EVENT),
        SCANNER_KEYWORD("sequence", SEQUENCE),
        SCANNER_KEYWORD("scale", SCALE),
        SCANNER_KEYWORD("getscale", GETSCALE),
        SCANNER_KEYWORD("invscale", INVSCALE),
        SCANNER_KEYWORD("startevent", STARTEVENT),
        SCANNER_KEYWORD("unfold", UNFOLD),
        SCANNER_KEYWORD("delay", DELAY),
        SCANNER_KEYWORD("assignslot", ASSGN_SLOT),
    };
    return s_table;
}
#undef SCANNER_KEYWORD

// "NAME(value)@line": value tokens with their value, literal bytes quoted, other codes as numbers.
inline std::string describe(Token const& token)
{
    std::ostringstream out;
    switch (token.code)
    {
    case NUMBER:
        out << "NUMBER(" << token.number << ")";
        break;
    case FLOATVAL:
        out << "FLOATVAL(" << token.floatValue << ")";
        break;
    case IDENTIFIER:
        out << "IDENTIFIER(" << token.text << ")";
        break;
    case TEXTVAL:
        out << "TEXTVAL(" << token.text << ")";
        break;
    default:
    {
        bool named = false;
        for (Keyword const& keyword : keywordTable())
        {
            if (keyword.code == token.code)
            {
                out << keyword.pName;
                named = true;
                break;
            }
        }
        if (!named)
        {
            if (token.code > 32 && token.code < 127)
            {
                out << "'" << static_cast<char>(token.code) << "'";
            }
            else
            {
                out << token.code;
            }
        }
    }
    }
    out << "@" << token.line;
    return out.str();
}

inline std::string describe(std::vector<Token> const& tokens)
{
    std::string text;
    for (Token const& token : tokens)
    {
        if (!text.empty())
        {
            text += ' ';
        }
        text += describe(token);
    }
    return text;
}

// The number of open file descriptors of the process.
inline int countOpenFiles()
{
    int count = 0;
    for (auto const& entry : std::filesystem::directory_iterator("/proc/self/fd"))
    {
        (void)entry;
        ++count;
    }
    return count;
}

class ScannerTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        char pattern[] = "/tmp/vp_scan_XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        m_directory = pattern;
        lexSetCondition(eLexNormal);
        lexSetIncludeHook(nullptr);
        lexSetDecodeHook(nullptr);
    }

    void TearDown() override
    {
        flushLex();
        closeTopLevel();
        lexSetCondition(eLexNormal);
        lexSetIncludeHook(nullptr);
        lexSetDecodeHook(nullptr);
        std::error_code ignored;
        std::filesystem::remove_all(m_directory, ignored);
    }

    // Writes a file below the temporary directory (creating its folders) and returns its full path.
    std::string writeFile(std::string const& name, std::string const& content)
    {
        std::filesystem::path const path = m_directory / name;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream file(path, std::ios::binary);
        file << content;
        return path.string();
    }

    std::string path(std::string const& name) const { return (m_directory / name).string(); }

    // Starts a parse as the module loader does: flush, open the top-level stream, set the path. The
    // line counter is left alone.
    void open(std::string const& fullPath, std::string const& label = std::string())
    {
        flushLex();
        closeTopLevel();
        m_pTopLevel = std::fopen(fullPath.c_str(), "rb");
        ASSERT_NE(m_pTopLevel, nullptr) << fullPath;
        yyin = m_pTopLevel;
        g_lexFilePath = rtk::Path(label.empty() ? fullPath : label);
    }

    // Reads one token; IDENTIFIER and TEXTVAL values are taken over and freed.
    Token next()
    {
        Token token;
        token.code = yylex();
        token.line = yylineno;
        token.path = g_lexFilePath.getString();
        token.depth = include_stack_ptr;
        if (token.code == NUMBER)
        {
            token.number = yylval.m_number;
        }
        else if (token.code == FLOATVAL)
        {
            token.floatValue = yylval.m_float;
        }
        else if (token.code == IDENTIFIER || token.code == TEXTVAL)
        {
            token.text = *yylval.m_pString;
            delete yylval.m_pString;
            yylval.m_pString = nullptr;
        }
        return token;
    }

    // Reads tokens up to the end of input (code 0), which is not part of the result.
    std::vector<Token> scanRest()
    {
        std::vector<Token> tokens;
        for (int guard = 0; guard < 100000; ++guard)
        {
            Token token = next();
            if (token.code == 0)
            {
                return tokens;
            }
            tokens.push_back(token);
        }
        ADD_FAILURE() << "no end of input";
        return tokens;
    }

    // A whole first parse of a file: line counting starts at 1.
    std::vector<Token> scanFile(std::string const& fullPath)
    {
        open(fullPath);
        yylineno = 1;
        return scanRest();
    }

    std::vector<Token> scanText(std::string const& text) { return scanFile(writeFile("main.pdl", text)); }

    void closeTopLevel()
    {
        if (m_pTopLevel != nullptr)
        {
            std::fclose(m_pTopLevel);
            m_pTopLevel = nullptr;
            yyin = nullptr;
        }
    }

    std::filesystem::path m_directory;
    FILE* m_pTopLevel = nullptr;
};
} // namespace scannertest

#endif
