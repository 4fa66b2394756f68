#ifndef PDLBASECLASSES_H
#define PDLBASECLASSES_H

// Process-wide position and error bookkeeping of the PDL interpreter: where the parser stands
// (PDLParseInfo) and how a fault is reported (PDLRunTimeInfo::showError).

#include "rtk/log.h"
#include "rtk/path.h"

#include <cstdint>
#include <ostream>

class PDLContext;
class PDLObject;

// The construct being built: its file and line, and the count of errors reported so far.
class PDLParseInfo
{
public:
    static rtk::Path m_filePath;
    static int32_t m_line;
    static uint32_t m_errorCount;
};

class PDLRunTimeInfo
{
public:
    // The log output "PDLInterpreter", fetched at the first report.
    static rtk::LogOutput* s_pLogOutput;
    // The last context made or entered, and the node being built, bound or executed.
    static PDLContext* s_pCurrentContext;
    static PDLObject* s_pCurrentObject;

    // Opens a report of that level and returns the stream into which the caller writes its text.
    // The caller ends the report with two line ends and counts FATAL and ERROR reports in
    // PDLParseInfo::m_errorCount. file and line name the call site and are not printed.
    static std::ostream& showError(rtk::LogOutput::ELogLevel level, char const* file, int line);
};

#endif
