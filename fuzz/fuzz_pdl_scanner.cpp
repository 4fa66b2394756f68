// Fuzz target: the input bytes as one PDL source file, scanned to its end. Besides the sanitizers it
// checks what every token must satisfy, so a wrong match shows up as a crash too.

#include "fuzz_support.h"

#include "pdlparser.hpp"
#include "pdlscanner.h"

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace
{
void require(bool condition, char const* pWhat)
{
    if (!condition)
    {
        std::fprintf(stderr, "scanner invariant broken: %s\n", pWhat);
        std::abort();
    }
}

bool isWord(std::string const& text)
{
    bool allDigits = true;
    for (char c : text)
    {
        unsigned char const byte = static_cast<unsigned char>(c);
        if (!std::isalnum(byte) && c != '_')
        {
            return false;
        }
        allDigits = allDigits && std::isdigit(byte);
    }
    // A run of digits alone is a NUMBER.
    return !text.empty() && !allDigits;
}

// Takes over a token's heap string as the grammar does, checks it and frees it.
void takeString(int code)
{
    std::string* const pText = yylval.m_pString;
    yylval.m_pString = nullptr;
    require(pText != nullptr, "value token without text");
    if (code == IDENTIFIER)
    {
        require(isWord(*pText), "IDENTIFIER is not a word");
    }
    else
    {
        require(pText->find('"') == std::string::npos, "TEXTVAL holds a double quote");
    }
    delete pText;
}
} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    pdlfuzz::initialise();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* pData, size_t size)
{
    FILE* const pInput = pdlfuzz::openInput(pData, size);
    pdlfuzz::startScan(pInput);

    // A NUL byte outside strings and comments is returned as code 0 like the end of input, and the
    // scan goes on behind it. The true end answers 0 on every further call, so once more zeros came
    // than the input has NUL bytes, the end has been reached.
    size_t nulBytes = 0;
    for (size_t i = 0; i < size; ++i)
    {
        nulBytes += pData[i] == 0 ? 1 : 0;
    }
    size_t zeros = 0;
    while (zeros <= nulBytes)
    {
        int const code = yylex();
        require(include_stack_ptr >= 0 && include_stack_ptr <= lexMaxIncludeDepth(),
                "include depth out of range");
        require(yylineno >= 1, "line counter below 1");
        if (code == 0)
        {
            ++zeros;
        }
        else if (code == IDENTIFIER || code == TEXTVAL)
        {
            takeString(code);
        }
    }
    require(include_stack_ptr == 0, "end of input inside an included file");

    pdlfuzz::endScan(pInput);
    return 0;
}
