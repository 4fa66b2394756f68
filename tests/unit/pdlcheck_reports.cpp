// The reader that turns the core's report texts into diagnostics.
#include "diagnostics.h"

#include <gtest/gtest.h>

namespace
{
CapturedLine line(std::string const& text)
{
    return CapturedLine{text, "/src/inc.pdl", 7, false, "", 0};
}

std::string show(std::vector<Diagnostic> const& diagnostics)
{
    std::string text;
    for (Diagnostic const& d : diagnostics)
    {
        text += d.m_file + ":" + std::to_string(d.m_line) + ": " + getSeverityText(d.m_severity) + ": " +
                d.m_message + "|";
    }
    return text;
}

struct ReportCase
{
    char const* m_name;
    std::vector<std::string> m_lines;
    char const* m_expected;
};

TEST(PdlcheckReports, EachReportFormGivesOneDiagnostic)
{
    ReportCase const cases[] = {
        {"parser message", {"/a/m.pdl(3): syntax error, unexpected '@'"}, "/a/m.pdl:3: error: syntax error, unexpected '@'|"},
        {"path with parentheses", {"/a(1)/m.pdl(12): goto not allowed in this context"},
         "/a(1)/m.pdl:12: error: goto not allowed in this context|"},
        {"report block", {"", "ERROR:", "/a/m.pdl(5): ", "undeclared variable x", "", ""},
         "/a/m.pdl:5: error: undeclared variable x|"},
        {"fatal report with event line", {"", "FATAL:", "/a/m.pdl(9): ", "current widget event: 3 DOWN", "m_pContext", ""},
         "/a/m.pdl:9: error: m_pContext|"},
        {"warning without position", {"", "WARNING:", "Variable v is invalid", ""}, ":0: warning: Variable v is invalid|"},
        {"report left out by the log level", {"", "", ""}, ""},
        {"repeated per scope", {"", "ERROR:", "/a/m.pdl(5): ", "undeclared variable x", "", "", "ERROR:", "/a/m.pdl(5): ",
                                "undeclared variable x", "", ""},
         "/a/m.pdl:5: error: undeclared variable x|"},
        {"same text elsewhere", {"/a/m.pdl(5): exit not allowed in this context", "/a/m.pdl(6): exit not allowed in this context"},
         "/a/m.pdl:5: error: exit not allowed in this context|/a/m.pdl:6: error: exit not allowed in this context|"},
        {"category lines", {"[Startup] INFO   Loading module 0.0.0", "[Startup] ERROR Failed to open file", "[RCLP] WARNING slow"},
         ":0: error: Failed to open file|:0: warning: slow|"},
        {"include message at the scanner's place", {"", "Failed to open include file \"/a/x.pdl\""},
         "/src/inc.pdl:7: warning: Failed to open include file \"/a/x.pdl\"|"},
        {"include name over several lines", {"Failed to open include file \"/a/", "b", "\"", "/a/m.pdl(9): syntax error"},
         "/src/inc.pdl:7: warning: Failed to open include file \"/a/\\nb\\n\"|/a/m.pdl:9: error: syntax error|"},
        {"too deep", {"Includes nested too deeply"}, "/src/inc.pdl:7: warning: Includes nested too deeply|"},
        {"unreadable source", {"Failed to read file \"/a/x.pdl\": Is a directory"},
         "/src/inc.pdl:7: error: Failed to read file \"/a/x.pdl\": Is a directory|"},
        {"anything else is kept", {"something odd"}, ":0: note: something odd|"},
    };
    for (ReportCase const& c : cases)
    {
        std::vector<CapturedLine> lines;
        for (std::string const& text : c.m_lines)
        {
            lines.push_back(line(text));
        }
        EXPECT_EQ(show(readReports(lines)), c.m_expected) << c.m_name;
    }
}

TEST(PdlcheckReports, ReportOfAGrammarActionTakesTheConstructsPlace)
{
    // The core prints the module's first line; the construct began on line 4 and the scanner is on 6.
    std::vector<CapturedLine> lines = {CapturedLine{"", "/a/m.pdl", 6, true, "/a/m.pdl", 4},
                                       CapturedLine{"ERROR:", "/a/m.pdl", 6, true, "/a/m.pdl", 4},
                                       CapturedLine{"/a/m.pdl(1): ", "/a/m.pdl", 6, true, "/a/m.pdl", 4},
                                       CapturedLine{"unknown type 'T'", "/a/m.pdl", 6, true, "/a/m.pdl", 4},
                                       CapturedLine{"", "/a/m.pdl", 6, true, "/a/m.pdl", 4}};
    std::vector<Diagnostic> const diagnostics = readReports(lines);
    ASSERT_EQ(diagnostics.size(), 1u);
    EXPECT_EQ(diagnostics[0].m_line, 4);
    EXPECT_EQ(diagnostics[0].m_lineUpTo, 6);

    // Once binding runs, the core's own position stands.
    for (CapturedLine& l : lines)
    {
        l.m_duringParse = false;
    }
    EXPECT_EQ(readReports(lines).at(0).m_line, 1);
}
} // namespace
