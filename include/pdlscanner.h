#ifndef PDLSCANNER_H
#define PDLSCANNER_H

// The PDL scanner: turns the bytes of a PDL source into tokens for the parser, skips blanks and
// comments, counts lines and carries the whole `include` mechanism. It is one process-wide machine:
// one module is parsed at a time and all state below is global and unprotected (the caller holds the
// interpreter mutex for the whole parse).
//
// Token codes and the token value (yylval) come from the grammar's generated header pdlparser.hpp.

#include "rtk/path.h"

#include <cstdint>
#include <cstdio>
#include <stdexcept>

struct yy_buffer_state;

// Returns the next token code and sets yylval and yylineno; 0 at the end of the top-level file.
int yylex();

// The stream now being read. The caller opens the top-level file into it; included files are opened
// by lexInclude and closed by the scanner when they end.
extern FILE* yyin;

// The current line, the only position kept. 1 at process start and at the first line of an included
// file; nothing resets it for a new top-level file.
extern int yylineno;

// Path of the file now being read; reported by parser messages and taken by the code objects built.
extern rtk::Path g_lexFilePath;

// The suspended files of an include chain; include_stack_ptr counts them (0 while the top-level file
// is read) and also indexes the per-file cipher table.
extern yy_buffer_state* include_stack[];
extern int32_t include_stack_line_numbers[];
extern rtk::Path include_stack_file_names[];
extern int include_stack_ptr;

// Throws away what the scanner holds, so that the next read takes the stream put into yyin for the
// next parse. Call it before that stream is opened. Files left open by a parse that stopped inside an
// include are closed (the top-level stream is the caller's) and include_stack_ptr goes back to 0.
// The scan condition and the current line are kept.
void flushLex();

// A source that cannot be read ends its load, never the process. A failed read of the file now being
// scanned reports "Failed to read file "PATH": REASON" on the standard error stream, counts an error,
// and ends the scan: the parser gets one error token, then the end of input, until the next flushLex.
void lexReportReadFailure(rtk::Path const& path, int error);
bool lexReadFailed();
// Thrown out of yylex for the scanning machine's own fatal conditions (no memory for a buffer); the
// module load that runs the parse catches it.
class PDLScanError : public std::runtime_error
{
public:
    explicit PDLScanError(char const* pMessage) : std::runtime_error(pMessage) {}
};

// The number of include levels below the top-level file: 10.
int lexMaxIncludeDepth();

// The two scan conditions. The include-file-name condition stays after a failed include.
enum ELexCondition
{
    eLexNormal = 0,
    eLexIncludeName = 1
};
ELexCondition lexGetCondition();
void lexSetCondition(ELexCondition condition);

// Called by the scanner for `include`: must leave an open stream in yyin, or null on failure.
void lexInclude(rtk::Path const& path);

// Called after every refill that read from a stream: the start of the new bytes, the stream position
// taken with fgetpos before the read and the number of bytes read (0 included). Deciphers in place and
// never changes the number of bytes.
void lexDecode(void* pBuffer, fpos_t position, unsigned long count);

// What the two hooks forward to. Without an installed hook lexInclude opens the file for binary reading
// (the name with ".enc" appended when that fails) and lexDecode leaves the bytes as they are. The module
// being loaded installs its own; each setter returns the hook it replaces (null for the default).
typedef void (*LexIncludeHook)(rtk::Path const& path);
typedef void (*LexDecodeHook)(void* pBuffer, fpos_t position, unsigned long count);
LexIncludeHook lexSetIncludeHook(LexIncludeHook hook);
LexDecodeHook lexSetDecodeHook(LexDecodeHook hook);

#endif
