#include "diagnostics.h"

#include <cctype>

namespace
{
// "PATH(LINE): TEXT": the first "(digits): " splits, so a path may hold parentheses of its own.
bool splitPositioned(std::string const& text, std::string& file, int& line, std::string& rest)
{
    for (size_t close = text.find("): "); close != std::string::npos; close = text.find("): ", close + 1))
    {
        size_t const open = text.rfind('(', close);
        if (open == std::string::npos || open == 0)
        {
            continue;
        }
        std::string const digits = text.substr(open + 1, close - open - 1);
        size_t const first = !digits.empty() && digits[0] == '-' ? 1 : 0;
        if (digits.size() <= first || digits.size() > 10 ||
            digits.find_first_not_of("0123456789", first) != std::string::npos)
        {
            continue;
        }
        file = text.substr(0, open);
        line = std::stoi(digits);
        rest = text.substr(close + 3);
        return true;
    }
    return false;
}

// "[Category] SEVERITY text"
bool splitCategoryLine(std::string const& text, std::string& severity, std::string& rest)
{
    size_t const close = text.find("] ");
    if (text.empty() || text[0] != '[' || close == std::string::npos || close < 2)
    {
        return false;
    }
    size_t const end = text.find(' ', close + 2);
    severity = text.substr(close + 2, end == std::string::npos ? std::string::npos : end - close - 2);
    if (severity != "FATAL" && severity != "ERROR" && severity != "WARNING" && severity != "INFO" &&
        severity != "DEBUG")
    {
        return false;
    }
    rest = end == std::string::npos ? std::string() : text.substr(end + 1);
    return true;
}

std::string const s_includeFailed = "Failed to open include file \"";
std::string const s_includeTooDeep = "Includes nested too deeply";
std::string const s_readFailed = "Failed to read file \"";

bool isReportLevel(std::string const& text, ESeverity& severity)
{
    if (text == "FATAL:" || text == "ERROR:")
    {
        severity = eSeverityError;
        return true;
    }
    if (text == "WARNING:")
    {
        severity = eSeverityWarning;
        return true;
    }
    if (text == "INFO:" || text == "DEBUG1:" || text == "DEBUG2:" || text == "DEBUG3:")
    {
        severity = eSeverityNote;
        return true;
    }
    return false;
}

bool startsWith(std::string const& text, std::string const& prefix)
{
    return text.compare(0, prefix.size(), prefix) == 0;
}

void add(std::vector<Diagnostic>& result, Diagnostic const& diagnostic)
{
    for (Diagnostic const& known : result)
    {
        if (known.m_file == diagnostic.m_file && known.m_line == diagnostic.m_line &&
            known.m_severity == diagnostic.m_severity && known.m_message == diagnostic.m_message)
        {
            return;
        }
    }
    result.push_back(diagnostic);
}

std::string trimLeft(std::string const& text)
{
    size_t const first = text.find_first_not_of(' ');
    return first == std::string::npos ? std::string() : text.substr(first);
}
} // namespace

char const* getSeverityText(ESeverity severity)
{
    switch (severity)
    {
    case eSeverityError:
        return "error";
    case eSeverityWarning:
        return "warning";
    case eSeverityNote:
        return "note";
    }
    return "note";
}

std::vector<Diagnostic> readReports(std::vector<CapturedLine> const& lines)
{
    std::vector<Diagnostic> result;
    size_t i = 0;
    while (i < lines.size())
    {
        std::string const& text = lines[i].m_text;
        std::string file;
        int line = 0;
        std::string rest;
        Diagnostic diagnostic;
        if (text.empty())
        {
            ++i;
            continue;
        }
        if (isReportLevel(text, diagnostic.m_severity))
        {
            // A report block: the level, the source position when one is known, the event being run
            // when there is one, then the text up to the empty line that ends the report.
            CapturedLine const& levelLine = lines[i];
            ++i;
            if (i < lines.size() && splitPositioned(lines[i].m_text, file, line, rest) && rest.empty())
            {
                diagnostic.m_file = file;
                diagnostic.m_line = line;
                ++i;
            }
            if (levelLine.m_duringParse && !levelLine.m_parseFile.empty())
            {
                diagnostic.m_file = levelLine.m_parseFile;
                diagnostic.m_line = levelLine.m_parseLine;
                if (levelLine.m_scanFile == levelLine.m_parseFile && levelLine.m_scanLine > levelLine.m_parseLine)
                {
                    diagnostic.m_lineUpTo = levelLine.m_scanLine;
                }
            }
            if (i < lines.size() && (startsWith(lines[i].m_text, "current variable event: ") ||
                                     startsWith(lines[i].m_text, "current widget event: ")))
            {
                ++i;
            }
            while (i < lines.size() && !lines[i].m_text.empty())
            {
                if (!diagnostic.m_message.empty())
                {
                    diagnostic.m_message += " ";
                }
                diagnostic.m_message += lines[i].m_text;
                ++i;
            }
            // A report whose level the log leaves out carries no text at all: nothing to tell.
            if (!diagnostic.m_message.empty())
            {
                add(result, diagnostic);
            }
            continue;
        }
        ++i;
        std::string severity;
        if (splitCategoryLine(text, severity, rest))
        {
            if (severity == "INFO" || severity == "DEBUG")
            {
                continue;
            }
            diagnostic.m_severity = severity == "WARNING" ? eSeverityWarning : eSeverityError;
            diagnostic.m_message = trimLeft(rest);
        }
        else if (startsWith(text, s_includeFailed) || text == s_includeTooDeep)
        {
            // The load goes on without the file (and counts no error): a warning where the scanner
            // stood when it gave up.
            diagnostic.m_file = lines[i - 1].m_scanFile;
            diagnostic.m_line = lines[i - 1].m_scanLine;
            diagnostic.m_severity = eSeverityWarning;
            diagnostic.m_message = text;
            // After a failed include the scanner reads up to the next double quote as one more name,
            // line ends included: the message goes on over the following lines.
            bool const open = startsWith(text, s_includeFailed) &&
                              (text.size() == s_includeFailed.size() || text.back() != '"');
            while (open && i < lines.size())
            {
                diagnostic.m_message += "\\n" + lines[i].m_text;
                ++i;
                if (!lines[i - 1].m_text.empty() && lines[i - 1].m_text.back() == '"')
                {
                    break;
                }
            }
        }
        else if (startsWith(text, s_readFailed))
        {
            // A source that cannot be read ends its load: an error where the scanner stood.
            diagnostic.m_file = lines[i - 1].m_scanFile;
            diagnostic.m_line = lines[i - 1].m_scanLine;
            diagnostic.m_message = text;
        }
        else if (splitPositioned(text, file, line, rest) && !rest.empty())
        {
            // The parser's own messages: syntax errors and the context checks of the blocks.
            diagnostic.m_file = file;
            diagnostic.m_line = line;
            diagnostic.m_message = rest;
        }
        else
        {
            diagnostic.m_severity = eSeverityNote;
            diagnostic.m_message = text;
        }
        add(result, diagnostic);
    }
    return result;
}
