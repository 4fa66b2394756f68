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
// The operators and keywords in the order of the keyword table, read column by column. Their token codes
// follow TEXTVAL in this order, which also orders the expected tokens of syntax error messages.
struct Keyword
{
    char const* pSpelling;
    int code;
    char const* pName;
};

inline std::vector<Keyword> const& keywordTable()
{
    static char const* const s_spellings[] = {
        "<-",     ":=",       "==",        "<>",         "+",        "-",         "++",        "--",
        "*",      "/",        "%",         "<",          ">",        "<=",        ">=",        "persistent",
        "extern", "global",   "workplace", "group",      "module",   "local",     "noevents",  "if",
        "when",   "goto",     "exit",      "dump",       "print",    "println",   "add",       "remove",
        "append", "cutleft",  "cutright",  "getleft",    "getright", "strlen",    "strcmp",    "get",
        "init",   "function", "subscribe", "ref",        "isvalid",  "end",       "widget",    "then",
        "else",   "elsif",    "foreach",   "in",         "while",    "and",       "or",        "not",
        "call",   "set",      "setstate",  "connect",    "trigger",  "sendevent", "event",     "sequence",
        "scale",  "getscale", "invscale",  "startevent", "unfold",   "delay",     "assignslot"};
    static char const* const s_names[] = {
        "ASSGNOP",     "VALASSIGN",  "NUMEQ",     "NEQ",      "PLUSOP",     "MINUSOP",    "INCROP",
        "DECROP",      "MULTOP",     "DIVOP",     "MODOP",    "LESSOP",     "GREATEROP",  "LESSEQOP",
        "GREATEREQOP", "PERSISTENT", "EXTERN",    "GLOBAL",   "WORKPLACE",  "GROUP",      "MODULE",
        "LOCAL",       "NOEVENTS",   "IF",        "WHEN",     "GOTO",       "EXIT",       "DUMP",
        "PRINT",       "PRINTLN",    "ADD",       "REMOVE",   "APPEND",     "CUTLEFT",    "CUTRIGHT",
        "GETLEFT",     "GETRIGHT",   "STRLEN",    "STRCMP",   "GET",        "INIT",       "FUNCTION",
        "SUBSCRIBE",   "REF",        "ISVALID",   "END",      "WIDGET",     "THEN",       "ELSE",
        "ELSIF",       "FOREACH",    "IN",        "WHILE",    "AND",        "OR",         "NOT",
        "CALL",        "SET_ATTR",   "SET_STATE", "CONNECT",  "TRIGGER",    "SEND_EVENT", "EVENT",
        "SEQUENCE",    "SCALE",      "GETSCALE",  "INVSCALE", "STARTEVENT", "UNFOLD",     "DELAY",
        "ASSGN_SLOT"};
    static std::vector<Keyword> s_table;
    if (s_table.empty())
    {
        for (size_t i = 0; i < sizeof(s_names) / sizeof(s_names[0]); ++i)
        {
            s_table.push_back({s_spellings[i], TEXTVAL + 1 + static_cast<int>(i), s_names[i]});
        }
    }
    return s_table;
}
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
