#include "pdlmodule.h"

#include "pdlbaseclasses.h"
#include "pdlcommandclasses.h"
#include "pdlencryption.h"
#include "pdleventmanager.h"
#include "pdlfunctionclasses.h"
#include "pdlinterpreter.h"
#include "pdlparser.h"
#include "pdlscanner.h"
#include "pdlsequenceclasses.h"
#include "pdltypeclasses.h"
#include "pdlwidgetclasses.h"

#include "rtk/encryption.h"

#include <logkit/logging.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <iterator>
#include <malloc.h>
#include <sstream>

namespace
{
Orvane::Utilities::Logging::LogStream& startupInfo()
{
    static Orvane::Utilities::Logging::LogCategory s_log("Startup");
    return s_log.info();
}

Orvane::Utilities::Logging::LogStream& startupError()
{
    static Orvane::Utilities::Logging::LogCategory s_log("Startup");
    return s_log.error();
}

// The scanner's include hook while a module loads: the module opens the file.
void includeIntoCurrentModule(rtk::Path const& path)
{
    if (g_pCurrentModule != nullptr)
    {
        g_pCurrentModule->include(path);
    }
    else
    {
        yyin = nullptr;
    }
}

// The scanner's decode hook while a module loads.
void decodeForCurrentModule(void* pBuffer, fpos_t position, unsigned long count)
{
    if (g_pCurrentModule != nullptr)
    {
        g_pCurrentModule->decode(pBuffer, position, count);
    }
}

FILE* openSource(rtk::Path const& path)
{
    FILE* pFile = std::fopen(path.c_str(), "rb");
    if (pFile == nullptr)
    {
        pFile = std::fopen((path.getString() + ".enc").c_str(), "rb");
    }
    return pFile;
}
} // namespace

PDLInitSection::PDLInitSection(PDLContext* pParent, PDLVariableList* pLocals, PDLCodeBlock* pCode)
    : PDLContext(pParent, pParent != nullptr ? pParent->getUniqueModuleID() : UniqueModuleID()),
      m_pInitCode(pCode)
{
    if (m_pInitCode == nullptr)
    {
        PDLRunTimeInfo::report(rtk::LogOutput::eLevelFatal, "m_pInitCode", __FILE__, __LINE__);
    }
    // The variables go to the table; the list that carried them is no longer needed.
    getSymbolTable()->registerVariableList(pLocals);
    delete pLocals;
}

PDLInitSection::~PDLInitSection()
{
    delete m_pInitCode;
}

EScope PDLInitSection::getScope() const
{
    return eScopeLocal;
}

void PDLInitSection::init()
{
    if (m_pInitCode == nullptr)
    {
        PDLRunTimeInfo::report(rtk::LogOutput::eLevelFatal, "m_pInitCode", __FILE__, __LINE__);
        return;
    }
    m_pInitCode->setContext(this, false);
}

void PDLInitSection::execute()
{
    if (m_pInitCode == nullptr)
    {
        PDLRunTimeInfo::report(rtk::LogOutput::eLevelFatal, "m_pInitCode", __FILE__, __LINE__);
        return;
    }
    m_pInitCode->execute();
}

PDLModule::PDLModule(PDLContext* pParent, UniqueModuleID const& id, int connPort, int connConnector,
                     IFunctionID* pFunctionID, std::string const& name)
    : PDLContext(pParent, id), m_encrypted(false),
      m_ciphers(static_cast<size_t>(lexMaxIncludeDepth()) + 1, nullptr), m_key(getPDLSourceKey()),
      m_connPort(connPort), m_connConnector(connConnector), m_pFunctionID(pFunctionID), m_name(name)
{
}

PDLModule::~PDLModule()
{
    if (isLoaded())
    {
        unload();
    }
    else
    {
        // Content filled without a load (by hand) goes silently.
        releaseContent(false);
    }
    for (rtk::IsaacEncryption*& pCipher : m_ciphers)
    {
        delete pCipher;
        pCipher = nullptr;
    }
    // The engine must not keep pointing at a module that is gone.
    if (PDLEventManager::hasInstance() && PDLEventManager::getInstance()->getCurrentModule() == this)
    {
        PDLEventManager::getInstance()->setCurrentModule(nullptr);
    }
    if (g_pCurrentModule == this)
    {
        g_pCurrentModule = nullptr;
    }
}

EScope PDLModule::getScope() const
{
    return eScopeModule;
}

int PDLModule::getWorkplaceID() const
{
    return m_moduleID.getWorkplaceID();
}

int PDLModule::getGroupID() const
{
    return m_moduleID.getGroupID();
}

int PDLModule::getModuleID() const
{
    return m_moduleID.getModuleID();
}

PDLModule* PDLModule::getModule()
{
    return this;
}

IFunctionID* PDLModule::getFunctionIDInterface()
{
    return m_pFunctionID;
}

std::string PDLModule::getText() const
{
    std::ostringstream text;
    text << m_moduleID;
    return text.str();
}

void PDLModule::createBuiltIn(std::string const& name, int value)
{
    PDLVariable* pVariable = getSymbolTable()->registerVariable(
        new PDLVariableSimple(eScopeModule, "", name, false, true, false, false, m_moduleID));
    if (pVariable != nullptr)
    {
        pVariable->setValueInt(value);
    }
}

PDLModule::ESourceCheck PDLModule::takeSourceIntoUse(FILE* pFile, rtk::Path const& path)
{
    // A file shorter than the header keeps the header's zero magic and reads as plain.
    PDLEncryptionHeader header;
    errno = 0;
    if (!header.read(pFile) && std::ferror(pFile))
    {
        lexReportReadFailure(path, errno != 0 ? errno : EIO);
        return eSourceUnreadable;
    }
    if (header.m_magic != PDLEncryptionHeader::s_magic)
    {
        m_encrypted = false;
        std::fseek(pFile, 0, SEEK_SET);
        return eSourceReady;
    }
    std::string const name = path.getString();
    if (header.m_version != PDLEncryptionHeader::s_version)
    {
        PDLRunTimeInfo::report(rtk::LogOutput::eLevelError,
                               "File " + name + " has unknown rtk::encryption version (" +
                                   std::to_string(header.m_version) + ")!",
                               __FILE__, __LINE__);
        return eSourceRefused;
    }
    if (header.m_type != PDLEncryptionHeader::s_typeIsaac)
    {
        PDLRunTimeInfo::report(rtk::LogOutput::eLevelError,
                               "File " + name + " has unknown rtk::encryption type!", __FILE__, __LINE__);
        return eSourceRefused;
    }
    m_encrypted = true;
    if (header.m_keyHash != rtk::EncryptionKey::getKeyHash(m_key))
    {
        PDLRunTimeInfo::report(rtk::LogOutput::eLevelError,
                               "File " + name + " has unknown rtk::encryption key!", __FILE__, __LINE__);
        return eSourceRefused;
    }
    // Each include level has its own cipher, so an includer goes on at its own key stream position.
    size_t const level = static_cast<size_t>(include_stack_ptr);
    if (level >= m_ciphers.size())
    {
        m_ciphers.resize(level + 1, nullptr);
    }
    delete m_ciphers[level];
    m_ciphers[level] = new rtk::IsaacEncryption;
    m_ciphers[level]->setKey(m_key);
    return eSourceReady;
}

void PDLModule::decode(void* pBuffer, fpos_t /*position*/, unsigned long count)
{
    size_t const level = static_cast<size_t>(include_stack_ptr);
    if (!m_encrypted || level >= m_ciphers.size() || m_ciphers[level] == nullptr)
    {
        return;
    }
    unsigned char* pBytes = static_cast<unsigned char*>(pBuffer);
    m_ciphers[level]->decipher(pBytes, pBytes, count);
}

bool PDLModule::load(rtk::Path const& base, std::string const& fileName)
{
    if (isLoaded())
    {
        unload();
    }
    m_filePath = base;
    m_filePath.append(fileName);
    m_fileName = fileName;
    m_filePath.fixNotFullQualified();
    g_pCurrentModule = this;

    createBuiltIn("module_id", m_moduleID.getModuleID());
    createBuiltIn("conn_port", m_connPort);
    createBuiltIn("conn_connector", m_connConnector);

    flushLex();
    PDLParseInfo::m_errorCount = 0;
    startupInfo() << "  Loading module " << getText() << " PDL code  from file \"" << m_filePath.getString()
                  << "\"..." << std::endl;

    FILE* pSource = openSource(m_filePath);
    if (pSource == nullptr)
    {
        startupError() << "Failed to open file" << std::endl;
        return false;
    }
    yyin = pSource;
    if (takeSourceIntoUse(pSource, m_filePath) != eSourceReady)
    {
        // The check has reported and counted the error.
        std::fclose(pSource);
        yyin = nullptr;
        return false;
    }
    setFilePosition(m_filePath, 1);
    g_lexFilePath = m_filePath;

    LexIncludeHook const previousInclude = lexSetIncludeHook(&includeIntoCurrentModule);
    LexDecodeHook const previousDecode = lexSetDecodeHook(&decodeForCurrentModule);
    try
    {
        yyparse();
    }
    catch (PDLScanError const& error)
    {
        // The scanning machine gave up (no memory for a buffer): this load fails, the process goes on.
        std::cerr << "Failed to read file \"" << g_lexFilePath.getString() << "\": " << error.what()
                  << std::endl;
        ++PDLParseInfo::m_errorCount;
    }
    lexSetDecodeHook(previousDecode);
    lexSetIncludeHook(previousInclude);
    std::fclose(pSource);
    if (yyin == pSource)
    {
        yyin = nullptr;
    }

    // Binding runs whether or not the parse succeeded: it may find further errors.
    for (auto& entry : m_functions)
    {
        entry.second->init();
    }
    for (PDLInitSection* pInitSection : m_initSections)
    {
        pInitSection->init();
    }
    for (PDLWidget* pWidget : m_widgets)
    {
        if (pWidget->getWidgetCode() == nullptr)
        {
            PDLRunTimeInfo::report(rtk::LogOutput::eLevelFatal, "m_pWidgetCode", __FILE__, __LINE__);
            continue;
        }
        pWidget->getWidgetCode()->setContext(pWidget, false);
    }
    for (PDLSequence* pSequence : m_sequences)
    {
        pSequence->init();
    }
    // The table grew by doubling while the parse went on; it keeps only what it holds. The buffers
    // that the parse outgrew (this table, statement lists, scanner and parser stacks) are free but still
    // resident inside the heap: they go back to the system now.
    m_lineRuns.shrink_to_fit();
    m_commandLines.shrink_to_fit();
    m_commandsByLine.shrink_to_fit();
    malloc_trim(0);

    if (PDLParseInfo::m_errorCount > 0)
    {
        return false;
    }
    startupInfo() << "  Module " << getText() << " Load OK" << std::endl;
    return true;
}

void PDLModule::init()
{
    if (PDLEventManager::hasInstance())
    {
        PDLEventManager::getInstance()->setCurrentModule(this);
    }
    getSymbolTable()->resetVariables();
    for (PDLInitSection* pInitSection : m_initSections)
    {
        pInitSection->execute();
    }
    PDLEvent event(PDLEvent::eEventInit);
    event.m_name = "INIT";
    executeEvent(&event);
}

void PDLModule::reload()
{
    PDLInterpreter::mutexTake();
    if (!isLoaded())
    {
        PDLInterpreter::mutexGive();
        return;
    }
    std::string const& path = m_filePath.getString();
    rtk::Path const base(
        path.substr(0, path.size() >= m_fileName.size() ? path.size() - m_fileName.size() : 0));
    // load unloads first and may change m_fileName: pass a copy.
    std::string const fileName = m_fileName;
    load(base, fileName);
    init();
    PDLInterpreter::mutexGive();
}

void PDLModule::unload()
{
    std::string const text = getText();
    startupInfo() << "  Unloading module " << text << " from file \"" << m_fileName << "\"" << std::endl;
    releaseContent(true);
    m_filePath = rtk::Path();
    startupInfo() << "  Module " << text << " Unload OK" << std::endl;
}

void PDLModule::releaseContent(bool log)
{
    std::string const prefix = "    Module " + getText();
    auto step = [&prefix, log](char const* pWhat)
    {
        if (log)
        {
            startupInfo() << prefix << pWhat << std::endl;
        }
    };

    // The line table goes first: each command forgets its line as it is deleted, which is then a search
    // in an empty table rather than one removal per command from a long one.
    std::vector<LineRun>().swap(m_lineRuns);
    std::vector<uint16_t>().swap(m_commandLines);
    std::vector<PDLCommand*>().swap(m_commandsByLine);

    for (PDLInitSection* pInitSection : m_initSections)
    {
        delete pInitSection;
    }
    m_initSections.clear();
    step(" Init Sections Deleted");

    for (PDLWidget* pWidget : m_widgets)
    {
        delete pWidget;
    }
    m_widgets.clear();
    step(" Widgets Deleted");

    for (auto& entry : m_functions)
    {
        delete entry.second;
    }
    m_functions.clear();
    step(" Functiond Deleted");

    for (PDLSequence* pSequence : m_sequences)
    {
        // Its cancel code runs while types and variables are still there.
        if (pSequence->isRunning())
        {
            pSequence->gotoState("CANCEL");
        }
        delete pSequence;
    }
    m_sequences.clear();
    step(" Sequences Deleted");

    for (auto& entry : m_types)
    {
        delete entry.second;
    }
    m_types.clear();
    step(" Types Deleted");

    m_sequencesByID.clear();
    m_widgetsByID.clear();
    m_runningSequences.clear();
    m_variablesInFile.clear();
    // The commands of the lines are gone (the table was emptied above): a breakpoint must not reach
    // them, and the next load records its own.
    step(" Module Cleared");

    // Changes of the module's variables not yet turned into events must not outlive the variables.
    if (PDLEventManager::hasInstance())
    {
        PDLEventManager* pEventManager = PDLEventManager::getInstance();
        for (auto const& entry : getSymbolTable()->getVariables())
        {
            pEventManager->removeChangedVariable(entry.second);
        }
    }
    getSymbolTable()->clear();
}

void PDLModule::include(rtk::Path const& path)
{
    std::string const& full = path.getString();
    size_t const baseLength = m_filePath.getString().size() >= m_fileName.size()
                                  ? m_filePath.getString().size() - m_fileName.size()
                                  : 0;
    std::string const shown = full.size() > baseLength ? full.substr(baseLength) : full;
    startupInfo() << "    [Including file \"" << shown << "\"]..." << std::endl;

    yyin = openSource(path);
    if (yyin == nullptr)
    {
        return;
    }
    // A refused header leaves the stream in use (the counted error fails the load); one that cannot be
    // read at all leaves none.
    if (takeSourceIntoUse(yyin, path) == eSourceUnreadable)
    {
        std::fclose(yyin);
        yyin = nullptr;
    }
}

void PDLModule::executeEvent(PDLEvent const* pEvent)
{
    if (pEvent == nullptr)
    {
        PDLRunTimeInfo::report(rtk::LogOutput::eLevelFatal, "Event", __FILE__, __LINE__);
        return;
    }
    switch (pEvent->m_type)
    {
    case PDLEvent::eEventWidget:
    {
        auto const range = m_sequencesByID.equal_range(pEvent->m_widgetID);
        for (auto it = range.first; it != range.second; ++it)
        {
            PDLSequence* pSequence = it->second;
            if (!pSequence->isRunning() && pSequence->start(pEvent))
            {
                m_runningSequences.push_back(pSequence);
            }
        }
        // Every running sequence sees every hardware event of the module. A sequence that ends is
        // taken out before the next one runs.
        for (auto it = m_runningSequences.begin(); it != m_runningSequences.end();)
        {
            auto const next = std::next(it);
            if (!(*it)->execute(pEvent))
            {
                m_runningSequences.erase(it);
            }
            it = next;
        }
        auto const widgets = m_widgetsByID.equal_range(pEvent->m_widgetID);
        for (auto it = widgets.first; it != widgets.second; ++it)
        {
            it->second->execute(pEvent);
        }
        break;
    }
    case PDLEvent::eEventVariable:
    case PDLEvent::eEventMFDriver:
    case PDLEvent::eEventState:
    {
        if (pEvent->m_pWidget != nullptr)
        {
            pEvent->m_pWidget->execute(pEvent);
            break;
        }
        if (pEvent->m_pSequence == nullptr)
        {
            PDLRunTimeInfo::report(rtk::LogOutput::eLevelFatal, "event w/o widget or sequence ptr", __FILE__,
                                   __LINE__);
            break;
        }
        PDLSequence* pSequence = pEvent->m_pSequence;
        if (pEvent->m_type == PDLEvent::eEventVariable && !pSequence->isRunning() && pSequence->start(pEvent))
        {
            m_runningSequences.push_back(pSequence);
        }
        for (auto it = m_runningSequences.begin(); it != m_runningSequences.end();)
        {
            auto const next = std::next(it);
            if (*it == pSequence && !pSequence->execute(pEvent))
            {
                m_runningSequences.erase(it);
            }
            it = next;
        }
        break;
    }
    case PDLEvent::eEventInit:
        for (PDLWidget* pWidget : m_widgets)
        {
            pWidget->execute(pEvent);
        }
        break;
    case PDLEvent::eEventSetVar:
    {
        PDLVariable* pVariable = getVariable(pEvent->m_varName, false, false);
        if (pVariable == nullptr)
        {
            PDLRunTimeInfo::showError(rtk::LogOutput::eLevelError, __FILE__, __LINE__)
                << "SETVAR failed: unknown variable " << pEvent->m_varName << std::endl
                << std::endl
                << std::endl;
            ++PDLParseInfo::m_errorCount;
            break;
        }
        pVariable->setValueString(pEvent->m_varValue);
        break;
    }
    default:
        // Kinds the engine does not know are ignored.
        break;
    }
}

void PDLModule::addInitSection(PDLInitSection* pInitSection)
{
    if (pInitSection != nullptr)
    {
        m_initSections.push_back(pInitSection);
    }
}

void PDLModule::addWidget(PDLWidget* pWidget)
{
    if (pWidget == nullptr)
    {
        PDLRunTimeInfo::report(rtk::LogOutput::eLevelFatal, "pWidget", __FILE__, __LINE__);
        return;
    }
    m_widgets.push_back(pWidget);
    for (uint32_t id : pWidget->getWidgetIDs())
    {
        m_widgetsByID.emplace(id, pWidget);
    }
}

void PDLModule::addSequence(PDLSequence* pSequence)
{
    if (pSequence == nullptr)
    {
        PDLRunTimeInfo::report(rtk::LogOutput::eLevelFatal, "pSequence", __FILE__, __LINE__);
        return;
    }
    m_sequences.push_back(pSequence);
    for (uint32_t id : pSequence->getWidgetIDs())
    {
        m_sequencesByID.emplace(id, pSequence);
    }
}

void PDLModule::addFunction(PDLFunction* pFunction)
{
    if (pFunction == nullptr)
    {
        PDLRunTimeInfo::report(rtk::LogOutput::eLevelFatal, "pFunction", __FILE__, __LINE__);
        return;
    }
    if (!m_functions.emplace(pFunction->getName(), pFunction).second)
    {
        // The first function stays; the refused one is neither entered nor freed.
        PDLRunTimeInfo::report(rtk::LogOutput::eLevelError, "function name already exists", __FILE__,
                               __LINE__);
    }
}

namespace
{
void deleteProtos(PDLProtoVarVector* pProtos, size_t from)
{
    for (size_t i = from; i < pProtos->size(); ++i)
    {
        delete (*pProtos)[i];
    }
    delete pProtos;
}
} // namespace

void PDLModule::createExternVariables(std::string const& fid, std::string const& typeName,
                                      PDLProtoVarVector* pProtos)
{
    if (pProtos == nullptr)
    {
        return;
    }
    if (!typeName.empty() && !hasType(typeName))
    {
        PDLRunTimeInfo::report(rtk::LogOutput::eLevelError, "unknown type '" + typeName + "'", __FILE__,
                               __LINE__);
        deleteProtos(pProtos, 0);
        return;
    }
    for (size_t i = 0; i < pProtos->size(); ++i)
    {
        PDLProtoVariable* pProto = (*pProtos)[i];
        if (pProto == nullptr)
        {
            continue;
        }
        if (getSymbolTable()->hasVariable(pProto->m_name))
        {
            // Stops at this declaration; the rest of the list is dropped.
            PDLRunTimeInfo::report(rtk::LogOutput::eLevelError,
                                   "variable '" + pProto->m_name + "' was already declared", __FILE__,
                                   __LINE__);
            deleteProtos(pProtos, i);
            return;
        }
        if (pProto->m_isArray || pProto->m_isSet)
        {
            PDLRunTimeInfo::report(rtk::LogOutput::eLevelFatal,
                                   "extern variables can only be simple variables", __FILE__, __LINE__);
            delete pProto;
            continue;
        }
        // `$a::b`: the prototype's type slot names the extern variable b is nested in.
        PDLVariableExtern* pParent = nullptr;
        if (!pProto->m_typeName.empty())
        {
            pParent = dynamic_cast<PDLVariableExtern*>(getVariable(pProto->m_typeName, false, false));
        }
        getSymbolTable()->registerVariable(
            new PDLVariableExtern(this, fid, typeName, pProto->m_name, pParent));
        delete pProto;
    }
    delete pProtos;
}

PDLFunction* PDLModule::getFunction(std::string const& name) const
{
    auto it = m_functions.find(name);
    return it != m_functions.end() ? it->second : nullptr;
}

bool PDLModule::registerType(PDLType* pType)
{
    if (pType == nullptr)
    {
        PDLRunTimeInfo::report(rtk::LogOutput::eLevelFatal, "type", __FILE__, __LINE__);
        return false;
    }
    if (hasType(pType->getName()))
    {
        delete pType;
        return false;
    }
    m_types[pType->getName()] = pType;
    return true;
}

bool PDLModule::hasType(std::string const& name) const
{
    return m_types.find(name) != m_types.end();
}

PDLType* PDLModule::getType(std::string const& name) const
{
    auto it = m_types.find(name);
    return it != m_types.end() ? it->second : nullptr;
}

void PDLModule::addVariableInFile(std::string const& name)
{
    m_variablesInFile.insert(name);
}

bool PDLModule::hasVariableInFile(std::string const& name) const
{
    return m_variablesInFile.find(name) != m_variablesInFile.end();
}

namespace
{
int32_t highPart(int line)
{
    return static_cast<int32_t>(line >> 16);
}

uint16_t lowPart(int line)
{
    return static_cast<uint16_t>(static_cast<uint32_t>(line) & 0xFFFFu);
}
} // namespace

void PDLModule::addCommand(int line, PDLCommand* pCommand)
{
    // Later commands of a line are kept behind the first: should the first be thrown away, the next
    // takes its place. Commands come mostly in line order, so the insertion is mostly an append.
    int32_t const high = highPart(line);
    auto const runBefore = [](LineRun const& run, int32_t value) { return run.m_high < value; };
    auto run = std::lower_bound(m_lineRuns.begin(), m_lineRuns.end(), high, runBefore);
    if (run == m_lineRuns.end() || run->m_high != high)
    {
        uint32_t const begin =
            run == m_lineRuns.end() ? static_cast<uint32_t>(m_commandLines.size()) : run->m_begin;
        run = m_lineRuns.insert(run, LineRun{high, begin});
    }
    auto const last = std::next(run) == m_lineRuns.end() ? m_commandLines.end()
                                                         : m_commandLines.begin() + std::next(run)->m_begin;
    auto const position = std::upper_bound(m_commandLines.begin() + run->m_begin, last, lowPart(line));
    auto const index = position - m_commandLines.begin();
    m_commandLines.insert(position, lowPart(line));
    m_commandsByLine.insert(m_commandsByLine.begin() + index, pCommand);
    for (auto later = std::next(run); later != m_lineRuns.end(); ++later)
    {
        ++later->m_begin;
    }
}

PDLCommand* PDLModule::getCommand(int line) const
{
    int32_t const high = highPart(line);
    auto const runBefore = [](LineRun const& run, int32_t value) { return run.m_high < value; };
    auto const run = std::lower_bound(m_lineRuns.begin(), m_lineRuns.end(), high, runBefore);
    if (run == m_lineRuns.end() || run->m_high != high)
    {
        return nullptr;
    }
    auto const last = std::next(run) == m_lineRuns.end() ? m_commandLines.end()
                                                         : m_commandLines.begin() + std::next(run)->m_begin;
    // Equal lines keep their order of insertion: the lower bound is the first recorded.
    auto const it = std::lower_bound(m_commandLines.begin() + run->m_begin, last, lowPart(line));
    return it != last && *it == lowPart(line) ? m_commandsByLine[it - m_commandLines.begin()] : nullptr;
}

void PDLModule::forgetCommand(int line, PDLCommand const* pCommand)
{
    int32_t const high = highPart(line);
    auto const runBefore = [](LineRun const& run, int32_t value) { return run.m_high < value; };
    auto const run = std::lower_bound(m_lineRuns.begin(), m_lineRuns.end(), high, runBefore);
    if (run == m_lineRuns.end() || run->m_high != high)
    {
        return;
    }
    auto const last = std::next(run) == m_lineRuns.end() ? m_commandLines.end()
                                                         : m_commandLines.begin() + std::next(run)->m_begin;
    auto it = std::lower_bound(m_commandLines.begin() + run->m_begin, last, lowPart(line));
    for (; it != last && *it == lowPart(line); ++it)
    {
        auto const index = it - m_commandLines.begin();
        if (m_commandsByLine[index] == pCommand)
        {
            m_commandLines.erase(it);
            m_commandsByLine.erase(m_commandsByLine.begin() + index);
            for (auto later = std::next(run); later != m_lineRuns.end(); ++later)
            {
                --later->m_begin;
            }
            // A run left empty goes: runs always hold entries.
            uint32_t const end = std::next(run) == m_lineRuns.end()
                                     ? static_cast<uint32_t>(m_commandLines.size())
                                     : std::next(run)->m_begin;
            if (end == run->m_begin)
            {
                m_lineRuns.erase(run);
            }
            return;
        }
    }
}

void PDLModule::setBreakpoint(int line)
{
    PDLCommand* pCommand = getCommand(line);
    if (pCommand == nullptr)
    {
        std::cout << "Line (" << line << ") without code, breakpoint not possible!" << std::endl;
        return;
    }
    pCommand->setBreakpoint(true);
}

void PDLModule::deleteBreakpoint(int line)
{
    PDLCommand* pCommand = getCommand(line);
    if (pCommand != nullptr)
    {
        pCommand->setBreakpoint(false);
    }
}

void PDLModule::setTrace(unsigned int id, bool on)
{
    auto const widgets = m_widgetsByID.equal_range(id);
    for (auto it = widgets.first; it != widgets.second; ++it)
    {
        it->second->setTrace(id, on);
    }
    auto const sequences = m_sequencesByID.equal_range(id);
    for (auto it = sequences.first; it != sequences.second; ++it)
    {
        it->second->setTrace(id, on);
    }
}

void PDLModule::dumpTypes() const
{
    std::cout << "Types:" << std::endl;
    std::cout << "======" << std::endl;
    for (auto const& entry : m_types)
    {
        entry.second->dump();
    }
}

void PDLModule::dumpWidgetSymbolTables(unsigned int id) const
{
    auto const widgets = m_widgetsByID.equal_range(id);
    for (auto it = widgets.first; it != widgets.second; ++it)
    {
        std::cout << "Widget " << id << ":" << std::endl;
        it->second->getSymbolTable()->dump();
    }
}

void PDLModule::dumpSequenceSymbolTables(unsigned int id) const
{
    auto const sequences = m_sequencesByID.equal_range(id);
    for (auto it = sequences.first; it != sequences.second; ++it)
    {
        std::cout << "Sequence " << id << ":" << std::endl;
        it->second->getSymbolTable()->dump();
    }
}
