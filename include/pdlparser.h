#ifndef PDLPARSER_H
#define PDLPARSER_H

// The PDL parser: reads the scanner's tokens for one module and builds its objects through
// g_pCurrentModule. Runs under the interpreter mutex; all state here is process-wide.

#include <cstdint>
#include <list>

// Parses the stream the scanner is on up to its end. 0: the text parsed, 1: it stopped at a syntax
// error, 2: memory ran out. Errors are counted in PDLParseInfo::m_errorCount.
int yyparse();

// Reports a parse error at the scanner's position ("path(line): message" on standard error) and
// counts it.
void yyerror(char const* pMessage);

// Permission bits of the block now being parsed, and the saved words of the blocks around it.
extern uint32_t allow_flags;
extern std::list<uint32_t> flag_stack;

#endif
