#ifndef PDLCHECK_DIAGNOSTICS_H
#define PDLCHECK_DIAGNOSTICS_H

// What pdlcheck tells about a file, and the reader that turns the core's own report texts into it.
//
// The core reports in three forms, all of which a module load writes while it parses and binds:
//   - parser messages, one line on standard error:            PATH(LINE): MESSAGE
//   - code object reports, a block in the log:                 (empty line) LEVEL: / PATH(LINE): / text
//   - log category lines:                                     [Startup] ERROR text
// and the scanner's messages about includes and unreadable sources, which carry no position of their
// own. The reader takes the
// captured lines in order and gives one diagnostic per report.

#include <string>
#include <vector>

enum ESeverity
{
    eSeverityError,
    eSeverityWarning,
    eSeverityNote
};

char const* getSeverityText(ESeverity severity);

struct Diagnostic
{
    std::string m_file;  // as the core names it; empty when the report names no file
    int m_line = 0;      // 0 when the report names no line
    ESeverity m_severity = eSeverityError;
    std::string m_message;
    // For a report made by a grammar action: the construct began after the end of the symbol before
    // it, which may lie a few lines ahead of the construct itself; the scanner stood on this line when
    // the report was made. 0 otherwise.
    int m_lineUpTo = 0;
};

// One line of captured output, with the positions known at the moment the line was completed: the
// scanner's (where the include messages belong) and, while the grammar runs, that of the construct
// being built (where a report made by a grammar action belongs).
struct CapturedLine
{
    std::string m_text;
    std::string m_scanFile;
    int m_scanLine = 0;
    bool m_duringParse = false;
    std::string m_parseFile;
    int m_parseLine = 0;
};

// Turns captured lines into diagnostics. Lines that fit no report form are kept as notes, so that
// nothing the core said is lost. A report repeated word for word at the same place (name resolution
// reports an unknown name once for every scope it searched) is given once. Reports made while the
// grammar runs are placed at the construct being built: the position the core prints with them is
// that of whichever node was built last, or the module's first line.
std::vector<Diagnostic> readReports(std::vector<CapturedLine> const& lines);

#endif
