// pdlcheck: checks PDL files without a panel and reports in the form compilers use.
//
//   pdlcheck [--config DIR] [--module W.G.M] [--json] FILE...
//
// Exit status: 0 every file loads, 1 some file does not, 2 bad usage or input that cannot be read.

#include "checker.h"

#include <nlohmann/json.hpp>

#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

namespace
{
char const* const s_usage =
    "Usage: pdlcheck [--config DIR] [--module W.G.M] [--json] FILE...\n"
    "Checks PDL files as a panel loads them and prints FILE:LINE: error: TEXT for each fault.\n"
    "  --config DIR     the panel's configuration directory: delegation types, module types, MHL files\n"
    "  --module W.G.M   the module position (workplace, group, module) the files are loaded at\n"
    "  --json           one JSON document on standard output instead of lines\n"
    "Exit status: 0 clean, 1 errors, 2 usage or unreadable input.\n";

int usageError(std::string const& text)
{
    std::cerr << "pdlcheck: " << text << "\n" << s_usage;
    return 2;
}

bool readNumber(std::string const& text, int limit, int& value)
{
    if (text.empty() || text.size() > 3 || text.find_first_not_of("0123456789") != std::string::npos)
    {
        return false;
    }
    value = std::atoi(text.c_str());
    return value < limit;
}

// "W.G.M" with workplace under 8, group under 32, module under 256.
bool readModule(std::string const& text, int& workplace, int& group, int& module)
{
    size_t const first = text.find('.');
    size_t const second = first == std::string::npos ? first : text.find('.', first + 1);
    if (second == std::string::npos)
    {
        return false;
    }
    return readNumber(text.substr(0, first), 8, workplace) &&
           readNumber(text.substr(first + 1, second - first - 1), 32, group) &&
           readNumber(text.substr(second + 1), 256, module);
}

void printLine(Diagnostic const& diagnostic)
{
    std::cout << diagnostic.m_file;
    if (diagnostic.m_line > 0)
    {
        std::cout << ":" << diagnostic.m_line;
    }
    std::cout << ": " << getSeverityText(diagnostic.m_severity) << ": " << diagnostic.m_message << "\n";
}

nlohmann::json toJson(Diagnostic const& diagnostic)
{
    return nlohmann::json{{"file", diagnostic.m_file},
                          {"line", diagnostic.m_line},
                          {"severity", getSeverityText(diagnostic.m_severity)},
                          {"message", diagnostic.m_message}};
}

char const* getStatusText(FileResult::EStatus status)
{
    switch (status)
    {
    case FileResult::eClean:
        return "clean";
    case FileResult::eErrors:
        return "errors";
    case FileResult::eUnreadable:
        return "unreadable";
    }
    return "errors";
}
} // namespace

int main(int argc, char** argv)
{
    std::string configDir;
    bool hasModule = false;
    int workplace = 0;
    int group = 0;
    int module = 0;
    bool json = false;
    std::vector<std::string> files;
    bool optionsEnded = false;
    for (int i = 1; i < argc; ++i)
    {
        std::string const argument = argv[i];
        if (optionsEnded || argument.empty() || argument[0] != '-' || argument == "-")
        {
            files.push_back(argument);
        }
        else if (argument == "--")
        {
            optionsEnded = true;
        }
        else if (argument == "--help" || argument == "-h")
        {
            std::cout << s_usage;
            return 0;
        }
        else if (argument == "--json")
        {
            json = true;
        }
        else if (argument == "--config" || argument == "--module")
        {
            if (i + 1 >= argc)
            {
                return usageError(argument + " needs a value");
            }
            std::string const value = argv[++i];
            if (argument == "--config")
            {
                configDir = value;
            }
            else if (!readModule(value, workplace, group, module))
            {
                return usageError("bad module position \"" + value + "\" (W.G.M, W < 8, G < 32, M < 256)");
            }
            else
            {
                hasModule = true;
            }
        }
        else
        {
            return usageError("unknown option " + argument);
        }
    }
    if (files.empty())
    {
        return usageError("no file to check");
    }

    Checker checker;
    int status = 0;
    std::vector<Diagnostic> configDiagnostics;
    if (!configDir.empty() && !checker.setConfig(configDir, configDiagnostics))
    {
        status = 2;
    }
    if (hasModule)
    {
        checker.setModule(workplace, group, module);
    }

    std::vector<FileResult> results;
    if (status != 2)
    {
        for (std::string const& file : files)
        {
            results.push_back(checker.check(file));
            FileResult::EStatus const fileStatus = results.back().m_status;
            if (fileStatus == FileResult::eUnreadable)
            {
                status = 2;
            }
            else if (fileStatus == FileResult::eErrors && status == 0)
            {
                status = 1;
            }
        }
    }

    int errors = 0;
    int warnings = 0;
    auto count = [&](Diagnostic const& diagnostic) {
        errors += diagnostic.m_severity == eSeverityError ? 1 : 0;
        warnings += diagnostic.m_severity == eSeverityWarning ? 1 : 0;
    };
    if (json)
    {
        nlohmann::json document;
        document["config"] = nlohmann::json::array();
        for (Diagnostic const& diagnostic : configDiagnostics)
        {
            count(diagnostic);
            document["config"].push_back(toJson(diagnostic));
        }
        document["files"] = nlohmann::json::array();
        for (FileResult const& result : results)
        {
            nlohmann::json entry{{"file", result.m_file}, {"status", getStatusText(result.m_status)}};
            entry["diagnostics"] = nlohmann::json::array();
            for (Diagnostic const& diagnostic : result.m_diagnostics)
            {
                count(diagnostic);
                entry["diagnostics"].push_back(toJson(diagnostic));
            }
            document["files"].push_back(entry);
        }
        document["errors"] = errors;
        document["warnings"] = warnings;
        document["status"] = status;
        std::cout << document.dump(2) << std::endl;
        return status;
    }
    for (Diagnostic const& diagnostic : configDiagnostics)
    {
        count(diagnostic);
        printLine(diagnostic);
    }
    for (FileResult const& result : results)
    {
        for (Diagnostic const& diagnostic : result.m_diagnostics)
        {
            count(diagnostic);
            printLine(diagnostic);
        }
    }
    std::cout.flush();
    return status;
}
