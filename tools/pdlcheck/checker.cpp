#include "checker.h"

#include "attributecheck.h"

#include "pdlbaseclasses.h"
#include "pdlinterpreter.h"
#include "pdlmodule.h"
#include "pdlmodulemanager.h"
#include "pdlpanelstate.h"
#include "pdlparser.h"
#include "pdlpersistentvarmanager.h"
#include "pdlscanner.h"
#include "pdlsequenceclasses.h"
#include "pdltypeclasses.h"
#include "pdlwidgetclasses.h"
#include "virtualpanel.h"

#include "rtk/log.h"
#include "rtk/path.h"

#include <basekit/srammanager.h>
#include <interfaces/ifunctionid.h>
#include <logkit/logging.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

// Collects what the core writes, a line at a time, noting where the scanner stood when each line was
// completed.
class CaptureBuffer : public std::streambuf
{
public:
    std::vector<CapturedLine> take()
    {
        if (!m_pending.empty())
        {
            endLine();
        }
        std::vector<CapturedLine> lines;
        lines.swap(m_lines);
        return lines;
    }

protected:
    int_type overflow(int_type c) override
    {
        if (!traits_type::eq_int_type(c, traits_type::eof()))
        {
            put(traits_type::to_char_type(c));
        }
        return traits_type::not_eof(c);
    }

    std::streamsize xsputn(char const* pText, std::streamsize count) override
    {
        for (std::streamsize i = 0; i < count; ++i)
        {
            put(pText[i]);
        }
        return count;
    }

private:
    void put(char c)
    {
        if (c == '\n')
        {
            endLine();
        }
        else
        {
            m_pending += c;
        }
    }

    void endLine()
    {
        // The top-level stream is the scanner's input exactly while the grammar runs.
        m_lines.push_back(CapturedLine{m_pending, g_lexFilePath.getString(), yylineno, yyin != nullptr,
                                       PDLParseInfo::m_filePath.getString(), PDLParseInfo::m_line});
        m_pending.clear();
    }

    std::string m_pending;
    std::vector<CapturedLine> m_lines;
};

// The mainframe side is not there: calls and subscriptions go nowhere (nothing runs anyway).
class CheckerFunctionID : public IFunctionID
{
public:
    bool subscribeFunctionID(std::string const&) override { return true; }
    bool callFunctionID(std::string const&, FIDParameterList const&) override { return true; }
};

namespace
{
// The delegation type reader is an operation of the panel object. One panel object serves that and
// nothing else; it is never started, so it is never deleted (a panel without a driver may not be).
VirtualPanel* g_pDelegationReader = nullptr;

bool isReadableFile(std::string const& path)
{
    struct stat info;
    if (stat(path.c_str(), &info) != 0 || S_ISDIR(info.st_mode))
    {
        return false;
    }
    FILE* pFile = std::fopen(path.c_str(), "rb");
    if (pFile == nullptr)
    {
        return false;
    }
    std::fclose(pFile);
    return true;
}

std::string normalise(std::string const& path)
{
    rtk::Path normalised(path);
    normalised.fixNotFullQualified();
    return normalised.getString();
}

bool startsWith(std::string const& text, std::string const& prefix)
{
    return text.compare(0, prefix.size(), prefix) == 0;
}

bool namesWord(std::string const& line, std::string const& name)
{
    for (size_t at = line.find(name); at != std::string::npos; at = line.find(name, at + 1))
    {
        size_t const after = at + name.size();
        bool const wordBefore = at > 0 && (std::isalnum(static_cast<unsigned char>(line[at - 1])) || line[at - 1] == '_');
        bool const wordAfter =
            after < line.size() && (std::isalnum(static_cast<unsigned char>(line[after])) || line[after] == '_');
        if (!wordBefore && !wordAfter)
        {
            return true;
        }
    }
    return false;
}

// A report of a declaration names what it refuses in single quotes ("unknown type 'T'"). The construct
// began after the end of the symbol before it: on a later line of the window that names the word, or
// else on the window's first line.
void refineLine(Diagnostic& diagnostic)
{
    size_t const open = diagnostic.m_message.find('\'');
    size_t const close = open == std::string::npos ? open : diagnostic.m_message.find('\'', open + 1);
    if (diagnostic.m_lineUpTo <= diagnostic.m_line || close == std::string::npos || close == open + 1)
    {
        return;
    }
    std::string const name = diagnostic.m_message.substr(open + 1, close - open - 1);
    std::ifstream in(diagnostic.m_file, std::ios::binary);
    std::string line;
    for (int number = 1; number <= diagnostic.m_lineUpTo && std::getline(in, line); ++number)
    {
        if (number > diagnostic.m_line && namesWord(line, name))
        {
            diagnostic.m_line = number;
            return;
        }
    }
}

// The line of the extern declaration of a variable in a source text; 0 when it is not found there
// (it may stand in an included file).
int findExternDeclaration(std::string const& path, std::string const& name)
{
    std::ifstream in(path, std::ios::binary);
    std::string line;
    int number = 0;
    while (std::getline(in, line))
    {
        ++number;
        if (line.find("extern") == std::string::npos)
        {
            continue;
        }
        // $name or ::name, as a word of its own.
        for (char const* pPrefix : {"$", "::"})
        {
            std::string const declared = pPrefix + name;
            for (size_t at = line.find(declared); at != std::string::npos; at = line.find(declared, at + 1))
            {
                size_t const after = at + declared.size();
                if (after == line.size() ||
                    !(std::isalnum(static_cast<unsigned char>(line[after])) || line[after] == '_'))
                {
                    return number;
                }
            }
        }
    }
    return 0;
}
} // namespace

Checker::Checker()
    : m_pCapture(new CaptureBuffer), m_pSavedCerr(nullptr), m_pFunctionID(new CheckerFunctionID),
      m_hasDelegationTypes(false), m_hasModule(false), m_workplace(0), m_group(0), m_module(0)
{
    m_pCaptureStream.reset(new std::ostream(m_pCapture.get()));
    char* pDirectory = getcwd(nullptr, 0);
    if (pDirectory != nullptr)
    {
        m_workingDirectory = pDirectory;
        std::free(pDirectory);
    }

    rtk::LogManager::createInstance();
    // Start-up chatter of the module loads is not wanted; their errors are.
    Orvane::Utilities::Logging::LogManager::instance().setDefaultLevel(
        Orvane::Utilities::Logging::eSeverityWarning);

    // Persistent variables need a store: a private one in the temporary directory, gone at the end,
    // so that nothing is written below the working directory.
    std::string pattern = rtk::Path::getTempDirPath().getString();
    pattern += pattern.empty() || pattern.back() == '/' ? "pdlcheck-XXXXXX" : "/pdlcheck-XXXXXX";
    if (mkdtemp(&pattern[0]) != nullptr)
    {
        m_sramDirectory = pattern;
    }
    SRAMManager::createInstance();
    if (!m_sramDirectory.empty())
    {
        SRAMManager::getInstance()->setDirectory(m_sramDirectory);
    }
    PDLPanelState::createInstance();
    PDLPersistentVarManager::createInstance();
    startCapture();
    PDLPersistentVarManager::getInstance()->init(true);
    stopCapture();
}

Checker::~Checker()
{
    PDLPersistentVarManager::destroyInstance();
    PDLPanelState::destroyInstance();
    SRAMManager::destroyInstance();
    if (!m_sramDirectory.empty())
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_sramDirectory, ignored);
    }
    rtk::LogManager::destroyInstance();
}

void Checker::startCapture()
{
    std::cout.flush();
    m_pSavedCerr = std::cerr.rdbuf(m_pCapture.get());
    rtk::LogManager::setSink(m_pCaptureStream.get());
}

std::vector<CapturedLine> Checker::stopCapture()
{
    rtk::LogOutput::getNullStream().flush();
    rtk::LogManager::setSink(nullptr);
    std::cerr.rdbuf(m_pSavedCerr);
    return m_pCapture->take();
}

bool Checker::setConfig(std::string const& dir, std::vector<Diagnostic>& diagnostics)
{
    std::string absolute = dir;
    if (!startsWith(dir, "/"))
    {
        absolute = m_workingDirectory + "/" + dir;
    }
    absolute = normalise(absolute);
    struct stat info;
    if (stat(absolute.c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
    {
        diagnostics.push_back(Diagnostic{dir, 0, eSeverityError, "not a configuration directory"});
        return false;
    }
    m_pConfig.reset(new ConfigTree(absolute));

    std::string const delegationFile = absolute + "/DelegationTypes.xml";
    if (!isReadableFile(delegationFile))
    {
        return true;
    }
    if (g_pDelegationReader == nullptr)
    {
        g_pDelegationReader = new VirtualPanel;
    }
    startCapture();
    bool const read = g_pDelegationReader->parseDelegationTypeFile(rtk::Path(delegationFile));
    std::vector<Diagnostic> reports = readReports(stopCapture());
    for (Diagnostic& diagnostic : reports)
    {
        if (diagnostic.m_file.empty())
        {
            diagnostic.m_file = delegationFile;
        }
        diagnostics.push_back(diagnostic);
    }
    m_hasDelegationTypes = read;
    return read;
}

void Checker::setModule(int workplace, int group, int module)
{
    m_hasModule = true;
    m_workplace = workplace;
    m_group = group;
    m_module = module;
}

std::string Checker::findModuleType(std::string const& relativeToConfig, std::string& version) const
{
    version.clear();
    if (!m_pConfig)
    {
        return std::string();
    }
    // PDL/<type>/<file>: the directory the panel searches for modules of that type.
    if (startsWith(relativeToConfig, "PDL/"))
    {
        size_t const slash = relativeToConfig.find('/', 4);
        if (slash != std::string::npos && slash > 4)
        {
            std::string type = relativeToConfig.substr(4, slash - 4);
            std::string pluggedType;
            std::string pluggedVersion;
            if (m_hasModule && m_pConfig->findModule(m_workplace, m_group, m_module, pluggedType, pluggedVersion) &&
                pluggedType == type)
            {
                version = pluggedVersion;
            }
            return type;
        }
    }
    std::string type;
    if (m_hasModule && m_pConfig->findModule(m_workplace, m_group, m_module, type, version))
    {
        return type;
    }
    return std::string();
}

std::string Checker::displayName(std::string const& reported, std::string const& absolutePath,
                                 std::string const& given) const
{
    if (reported.empty() || reported == absolutePath)
    {
        return given;
    }
    if (!m_workingDirectory.empty() && startsWith(reported, m_workingDirectory + "/"))
    {
        return reported.substr(m_workingDirectory.size() + 1);
    }
    return reported;
}

FileResult Checker::check(std::string const& file)
{
    FileResult result;
    result.m_file = file;

    std::string absolute = file;
    if (!startsWith(file, "/"))
    {
        if (m_workingDirectory.empty())
        {
            result.m_status = FileResult::eUnreadable;
            result.m_diagnostics.push_back(
                Diagnostic{file, 0, eSeverityError, "cannot resolve a relative name without a working directory"});
            return result;
        }
        absolute = m_workingDirectory + "/" + file;
    }
    absolute = normalise(absolute);
    if (!isReadableFile(absolute) && !isReadableFile(absolute + ".enc"))
    {
        result.m_status = FileResult::eUnreadable;
        result.m_diagnostics.push_back(Diagnostic{file, 0, eSeverityError, "cannot open the file"});
        return result;
    }

    // A file inside the configuration tree is loaded as the panel loads it: base and name relative
    // to the tree. Any other file is loaded from its own directory.
    std::string relativeToConfig;
    if (m_pConfig && startsWith(absolute, m_pConfig->getDir() + "/"))
    {
        relativeToConfig = absolute.substr(m_pConfig->getDir().size() + 1);
    }
    rtk::Path base;
    std::string fileName;
    if (!relativeToConfig.empty())
    {
        base = rtk::Path(m_pConfig->getDir());
        fileName = relativeToConfig;
    }
    else
    {
        size_t const slash = absolute.find_last_of('/');
        base = rtk::Path(absolute.substr(0, slash == 0 ? 1 : slash));
        fileName = absolute.substr(slash + 1);
    }
    std::string version;
    std::string const moduleType = findModuleType(relativeToConfig, version);
    std::string const mhlName = moduleType.empty() ? std::string() : m_pConfig->getMHLName(moduleType, version);

    // Each file starts from a fresh scanner, as the first module of a panel does: line 1, the normal
    // scan condition, no saved block permissions.
    yylineno = 1;
    lexSetCondition(eLexNormal);
    flag_stack.clear();
    allow_flags = 0;

    UniqueModuleID const id(static_cast<uint16_t>(m_workplace), static_cast<uint16_t>(m_group),
                            static_cast<uint16_t>(m_module));
    std::vector<Diagnostic> configFindings;
    PDLInterpreter::mutexTake();
    startCapture();
    PDLModuleManager* pManager = PDLModuleManager::createInstance();
    pManager->setFunctionIDInterface(m_pFunctionID.get());
    bool const loaded = pManager->createModule(id, -1, -1, base, fileName, mhlName);
    std::vector<CapturedLine> const lines = stopCapture();

    PDLModule* pModule = pManager->getModule(id);
    if (m_pConfig && pModule != nullptr)
    {
        checkWidgets(*pModule, moduleType, version, configFindings);
        checkExternVariables(*pModule, absolute, configFindings);
    }
    startCapture();
    PDLModuleManager::destroyInstance();
    stopCapture();
    PDLInterpreter::mutexGive();

    result.m_diagnostics = readReports(lines);
    // The configuration's findings in source order, after what the load itself reported.
    std::stable_sort(configFindings.begin(), configFindings.end(), [](Diagnostic const& a, Diagnostic const& b) {
        return a.m_file == b.m_file && a.m_line < b.m_line;
    });
    result.m_diagnostics.insert(result.m_diagnostics.end(), configFindings.begin(), configFindings.end());
    bool anyError = false;
    for (Diagnostic& diagnostic : result.m_diagnostics)
    {
        refineLine(diagnostic);
        diagnostic.m_file = displayName(diagnostic.m_file, absolute, file);
        anyError = anyError || diagnostic.m_severity == eSeverityError;
    }
    if (!loaded)
    {
        result.m_status = FileResult::eErrors;
        if (!anyError)
        {
            result.m_diagnostics.push_back(Diagnostic{file, 0, eSeverityError, "the module does not load"});
        }
    }
    return result;
}

void Checker::checkWidgets(PDLModule const& module, std::string const& moduleType, std::string const& version,
                           std::vector<Diagnostic>& diagnostics) const
{
    std::map<unsigned int, WidgetInfo> widgets;
    std::string source;
    if (moduleType.empty() || !m_pConfig->getWidgets(moduleType, version, widgets, source))
    {
        return;
    }
    auto checkNumbers = [&](PDLContext const& owner, std::list<uint32_t> const& numbers, char const* pWhat) {
        for (uint32_t number : numbers)
        {
            if (widgets.count(number) == 0)
            {
                std::ostringstream text;
                text << pWhat << " for widget " << number << ": module type " << moduleType << " has no widget "
                     << number << " (see " << source << ")";
                diagnostics.push_back(
                    Diagnostic{owner.getFilePath().getString(), owner.getLine(), eSeverityWarning, text.str()});
            }
        }
    };
    for (PDLWidget const* pWidget : module.getWidgets())
    {
        checkNumbers(*pWidget, pWidget->getWidgetIDs(), "widget code");
    }
    for (PDLSequence const* pSequence : module.getSequences())
    {
        checkNumbers(*pSequence, pSequence->getWidgetIDs(), "sequence");
    }
    checkAttributes(module, *m_pConfig, moduleType, widgets, source, diagnostics);
}

void Checker::checkExternVariables(PDLModule const& module, std::string const& absolutePath,
                                   std::vector<Diagnostic>& diagnostics) const
{
    if (!m_hasDelegationTypes)
    {
        return;
    }
    for (auto const& entry : module.getSymbolTable()->getVariables())
    {
        PDLVariableExtern const* pExtern = dynamic_cast<PDLVariableExtern const*>(entry.second);
        if (pExtern == nullptr ||
            PDLPanelState::getInstance()->getDelegationType(pExtern->getDelegationTypeName()) != nullptr)
        {
            continue;
        }
        // The text the panel reports when the module starts and the variable takes its default slot.
        diagnostics.push_back(Diagnostic{absolutePath, findExternDeclaration(absolutePath, entry.first),
                                         eSeverityWarning,
                                         "External variable " + entry.first + " is of unknown delegation type " +
                                             pExtern->getDelegationTypeName()});
    }
}
