#ifndef FUZZ_SUPPORT_H
#define FUZZ_SUPPORT_H

// Shared set-up of the PDL front end fuzz targets: a sandbox directory that every include resolves
// against, an include hook that serves a few sources from memory and refuses everything else, an
// in-memory top-level stream, and the reset of the scanner's process-wide state between runs.

#include "pdlscanner.h"

#include "rtk/path.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <streambuf>
#include <string>
#include <unistd.h>

namespace pdlfuzz
{
// Sources an `include` may reach. The scanner tests a name for existence on disk before it calls the
// hook, so each name also exists as an empty file in the sandbox; the hook hands out the text below.
struct IncludedSource
{
    char const* pName;
    char const* pText;
};

inline IncludedSource const* includedSources(size_t& count)
{
    static IncludedSource const s_sources[] = {
        // Plain tokens, and a nested include that returns to this file.
        {"part.pdl", "set(colour) \"red\" 12 1.5 include \"leaf.pdl\" end\n"},
        {"leaf.pdl", "widget $w = 1 // comment\n"},
        // Includes itself until the depth limit is hit, then cascades on the failure.
        {"self.pdl", "x include \"self.pdl\" y\n"},
        // Ends inside constructs that the including file continues.
        {"open.pdl", "\"unterminated /* comment include"},
        {"empty.pdl", ""},
    };
    count = sizeof(s_sources) / sizeof(s_sources[0]);
    return s_sources;
}

// A stream buffer that swallows everything: parser and scanner messages would drown the fuzzer's own
// output, which libFuzzer and the sanitizers write to file descriptor 2 directly.
class NullBuffer : public std::streambuf
{
protected:
    int overflow(int c) override { return c == traits_type::eof() ? 0 : c; }
    std::streamsize xsputn(char const*, std::streamsize count) override { return count; }
};

class Sandbox
{
public:
    static Sandbox& instance()
    {
        static Sandbox s_sandbox;
        return s_sandbox;
    }

    rtk::Path const& directory() const { return m_directory; }
    // The name the top-level source is read under; relative includes resolve beside it.
    rtk::Path mainPath() const { return m_directory + "main.pdl"; }

private:
    Sandbox()
    {
        std::string pattern = rtk::Path::getTempDirPath().getString() + "/vp_fuzz_XXXXXX";
        if (mkdtemp(&pattern[0]) == nullptr)
        {
            std::perror("mkdtemp");
            std::abort();
        }
        m_directory = rtk::Path(pattern);
        size_t count = 0;
        IncludedSource const* pSources = includedSources(count);
        for (size_t i = 0; i < count; ++i)
        {
            std::ofstream((m_directory + pSources[i].pName).getString());
        }
    }

    // Runs at exit, also when the fuzzer stops after its time is up.
    ~Sandbox()
    {
        size_t count = 0;
        IncludedSource const* pSources = includedSources(count);
        for (size_t i = 0; i < count; ++i)
        {
            ::unlink((m_directory + pSources[i].pName).c_str());
        }
        ::rmdir(m_directory.c_str());
    }

    rtk::Path m_directory;
};

// Serves the in-memory sources by their full sandbox path; any other path gets no stream, so no run
// ever opens a file outside the fuzzer's control.
inline void includeFromMemory(rtk::Path const& path)
{
    yyin = nullptr;
    size_t count = 0;
    IncludedSource const* pSources = includedSources(count);
    for (size_t i = 0; i < count; ++i)
    {
        if (path == Sandbox::instance().directory() + pSources[i].pName)
        {
            // Opened for reading only, so the text is never written to.
            yyin = fmemopen(const_cast<char*>(pSources[i].pText), std::strlen(pSources[i].pText), "rb");
            return;
        }
    }
}

// One-time set-up of a target: the sandbox, the include hook and silenced messages.
inline void initialise()
{
    Sandbox::instance();
    lexSetIncludeHook(&includeFromMemory);
    lexSetDecodeHook(nullptr);
    static NullBuffer s_null;
    std::cerr.rdbuf(&s_null);
}

// A run's input as a read-only stream, read by the scanner like a source file.
inline FILE* openInput(uint8_t const* pData, size_t size)
{
    static uint8_t s_empty = 0;
    FILE* const pInput = fmemopen(const_cast<uint8_t*>(size == 0 ? &s_empty : pData), size, "rb");
    if (pInput == nullptr)
    {
        std::perror("fmemopen");
        std::abort();
    }
    return pInput;
}

// Brings the scanner to the state of a fresh process before a run reads pInput: no include stack,
// normal condition, line 1, the sandbox as the source's directory.
inline void startScan(FILE* pInput)
{
    flushLex();
    lexSetCondition(eLexNormal);
    yylineno = 1;
    yyin = pInput;
    g_lexFilePath = Sandbox::instance().mainPath();
}

// Ends a run: closes what the scanner still holds of an include chain, then the top-level stream.
inline void endScan(FILE* pInput)
{
    flushLex();
    std::fclose(pInput);
    yyin = nullptr;
    lexSetCondition(eLexNormal);
}
} // namespace pdlfuzz

#endif
