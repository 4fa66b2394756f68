#include "pdlsymboltable.h"

#include "pdlbaseclasses.h"
#include "pdlmodule.h"
#include "pdltypeclasses.h"

#include <iomanip>
#include <iostream>

namespace
{
void reportError(std::string const& text, char const* file, int line)
{
    PDLRunTimeInfo::report(rtk::LogOutput::eLevelError, text, file, line);
}

void reportFatal(std::string const& text, char const* file, int line)
{
    PDLRunTimeInfo::report(rtk::LogOutput::eLevelFatal, text, file, line);
}
} // namespace

char const* getScopeText(int scope)
{
    static char const* const s_texts[] = {"extern", "global", "workplace", "group",
                                          "module", "local",  "none"};
    if (scope < eScopeExtern || scope > eScopeNone)
    {
        return "";
    }
    return s_texts[scope];
}

PDLSymbolTable::PDLSymbolTable() {}

PDLSymbolTable::PDLSymbolTable(PDLSymbolTable const& other)
{
    for (auto const& entry : other.m_variables)
    {
        m_variables[entry.first] = entry.second != nullptr ? entry.second->clone() : nullptr;
    }
}

PDLSymbolTable::~PDLSymbolTable()
{
    clear();
}

bool PDLSymbolTable::hasVariable(std::string const& name) const
{
    return m_variables.find(name) != m_variables.end();
}

PDLVariable* PDLSymbolTable::getVariable(std::string const& name) const
{
    auto it = m_variables.find(name);
    if (it == m_variables.end())
    {
        reportFatal("Variable " + name + " not found in symbol table!", __FILE__, __LINE__);
        return nullptr;
    }
    return it->second;
}

PDLVariable* PDLSymbolTable::registerVariable(PDLVariable* pVariable)
{
    if (pVariable == nullptr)
    {
        reportFatal("pVariable", __FILE__, __LINE__);
        return nullptr;
    }
    PDLVariable*& pEntry = m_variables[pVariable->getName()];
    if (pEntry != nullptr)
    {
        reportError("variable '" + pVariable->getName() + "' was already declared", __FILE__, __LINE__);
        delete pVariable;
        return pEntry;
    }
    pEntry = pVariable;
    return pVariable;
}

void PDLSymbolTable::registerVariableList(PDLVariableList* pList)
{
    if (pList == nullptr)
    {
        return;
    }
    for (PDLVariable* pVariable : *pList)
    {
        registerVariable(pVariable);
    }
}

void PDLSymbolTable::resetVariables()
{
    for (auto& entry : m_variables)
    {
        if (entry.second != nullptr)
        {
            entry.second->reset();
        }
    }
}

void PDLSymbolTable::clear()
{
    for (auto& entry : m_variables)
    {
        delete entry.second;
    }
    m_variables.clear();
}

void PDLSymbolTable::dump() const
{
    std::cout << std::left << std::setw(15) << "scope" << std::setw(25) << "type" << std::setw(25) << "name"
              << "value" << std::endl;
    std::cout << std::string(86, '-') << std::endl;
    for (auto const& entry : m_variables)
    {
        if (entry.second != nullptr)
        {
            entry.second->dump();
        }
    }
    std::cout << std::right;
}

PDLContext::PDLContext(PDLContext* pParent, UniqueModuleID const& id)
    : m_pParent(pParent), m_line(0), m_moduleID(id)
{
    m_symbolTables.push_back(new PDLSymbolTable());
    setFilePosition(PDLParseInfo::m_filePath, PDLParseInfo::m_line);
    PDLRunTimeInfo::s_pCurrentContext = this;
    PDLRunTimeInfo::s_pCurrentObject = nullptr;
}

PDLContext::~PDLContext()
{
    // During a call the same table can stand twice in the stack: delete each table once.
    PDLSymbolTable* pLast = nullptr;
    for (PDLSymbolTable* pTable : m_symbolTables)
    {
        if (pTable != pLast)
        {
            delete pTable;
        }
        pLast = pTable;
    }
    m_symbolTables.clear();
    m_pParent = nullptr;
    if (PDLRunTimeInfo::s_pCurrentContext == this)
    {
        PDLRunTimeInfo::s_pCurrentContext = nullptr;
        PDLRunTimeInfo::s_pCurrentObject = nullptr;
    }
}

void PDLContext::registerForVariableEvent(std::string const& /*name*/, bool /*separateEvent*/) {}

PDLEvent const* PDLContext::getCurrentEvent() const
{
    return nullptr;
}

int PDLContext::getWorkplaceID() const
{
    return m_pParent != nullptr ? m_pParent->getWorkplaceID() : 0;
}

int PDLContext::getGroupID() const
{
    return m_pParent != nullptr ? m_pParent->getGroupID() : 0;
}

int PDLContext::getModuleID() const
{
    return m_pParent != nullptr ? m_pParent->getModuleID() : 0;
}

uint32_t PDLContext::getExecWidgetID() const
{
    return 0;
}

PDLModule* PDLContext::getModule()
{
    return m_pParent != nullptr ? m_pParent->getModule() : nullptr;
}

PDLWidget* PDLContext::getWidget()
{
    return m_pParent != nullptr ? m_pParent->getWidget() : nullptr;
}

PDLSequence* PDLContext::getSequence()
{
    return m_pParent != nullptr ? m_pParent->getSequence() : nullptr;
}

IFunctionID* PDLContext::getFunctionIDInterface()
{
    return m_pParent != nullptr ? m_pParent->getFunctionIDInterface() : nullptr;
}

void PDLContext::setFilePosition(rtk::Path const& path, int line)
{
    m_filePath = path;
    m_filePath.fixNotFullQualified();
    m_line = line;

    std::string const& text = path.getString();
    std::string last;
    size_t start = 0;
    while (start <= text.size())
    {
        size_t end = text.find('/', start);
        if (end == std::string::npos)
        {
            end = text.size();
        }
        if (end > start)
        {
            last = text.substr(start, end - start);
        }
        start = end + 1;
    }
    m_fileName = rtk::Path(last);
    m_fileName.fixNotFullQualified();
}

bool PDLContext::hasVariable(std::string const& name) const
{
    for (PDLContext const* pContext = this; pContext != nullptr; pContext = pContext->m_pParent)
    {
        if (pContext->m_symbolTables.back()->hasVariable(name))
        {
            return true;
        }
    }
    return false;
}

PDLVariable* PDLContext::getVariable(std::string const& name, bool registerEvent, bool separateEvent)
{
    PDLVariable* pVariable = nullptr;
    PDLSymbolTable* pTop = m_symbolTables.back();
    if (pTop->hasVariable(name))
    {
        pVariable = pTop->getVariable(name);
    }
    else if (m_pParent != nullptr)
    {
        // The parent registers itself on the way, always for a grouped event.
        pVariable = m_pParent->getVariable(name, registerEvent, false);
    }

    if (pVariable == nullptr)
    {
        reportError("undeclared variable " + name, __FILE__, __LINE__);
        return nullptr;
    }

    // Locals are never events.
    if (registerEvent && pVariable->getScope() != eScopeLocal)
    {
        registerForVariableEvent(name, separateEvent);
    }
    return pVariable;
}

PDLVariable* PDLContext::getLocalVariable(std::string const& name)
{
    PDLSymbolTable* pTop = m_symbolTables.back();
    if (!pTop->hasVariable(name))
    {
        reportError("undeclared local variable " + name, __FILE__, __LINE__);
        return nullptr;
    }
    return pTop->getVariable(name);
}

bool PDLContext::isNonlocalVariableName(std::string const& name) const
{
    for (PDLContext const* pContext = this; pContext != nullptr; pContext = pContext->m_pParent)
    {
        auto const& variables = pContext->m_symbolTables.back()->getVariables();
        auto it = variables.find(name);
        if (it != variables.end() && it->second != nullptr)
        {
            return it->second->getScope() != eScopeLocal;
        }
    }
    return false;
}

bool PDLContext::pushSymbolTable()
{
    PDLSymbolTable* pTop = m_symbolTables.back();
    bool const recursive = m_symbolTables.size() != 1;
    // The first call runs on the table itself; a recursive one on a copy of the caller's table.
    PDLSymbolTable* pPushed = recursive ? new PDLSymbolTable(*pTop) : pTop;
    pPushed->resetVariables();
    m_symbolTables.push_back(pPushed);
    return recursive;
}

bool PDLContext::popSymbolTable()
{
    if (m_symbolTables.size() == 1)
    {
        reportFatal("trying to pop last symbol table", __FILE__, __LINE__);
        return false;
    }
    PDLSymbolTable* pRemoved = m_symbolTables.back();
    m_symbolTables.pop_back();
    if (m_symbolTables.back() == pRemoved)
    {
        return false;
    }
    delete pRemoved;
    return true;
}

void PDLContext::createVariables(EScope scope, std::string const& typeName, PDLProtoVarVector* pProtos,
                                 bool persistent)
{
    PDLContext* pTarget = this;
    while (true)
    {
        if (g_pCurrentModule == nullptr)
        {
            reportFatal("g_pCurrentModule", __FILE__, __LINE__);
        }
        if (pTarget == nullptr || pTarget->getScope() == scope)
        {
            break;
        }
        pTarget = pTarget->m_pParent;
    }
    if (pTarget == nullptr)
    {
        reportFatal("unknown scope", __FILE__, __LINE__);
        return;
    }

    if (!typeName.empty() && (g_pCurrentModule == nullptr || !g_pCurrentModule->hasType(typeName)))
    {
        reportError("unknown type '" + typeName + "'", __FILE__, __LINE__);
        if (pProtos != nullptr)
        {
            for (PDLProtoVariable* pProto : *pProtos)
            {
                delete pProto;
            }
            delete pProtos;
        }
        return;
    }

    if (pProtos == nullptr)
    {
        return;
    }

    PDLSymbolTable* pTable = pTarget->m_symbolTables.back();
    bool const shared = scope != eScopeModule && scope != eScopeLocal;
    for (PDLProtoVariable*& pProto : *pProtos)
    {
        if (pProto == nullptr)
        {
            continue;
        }
        std::string const& name = pProto->m_name;
        bool create = true;
        if (shared)
        {
            // Many modules may declare one shared variable, each at most once.
            if (g_pCurrentModule != nullptr)
            {
                if (g_pCurrentModule->hasVariableInFile(name))
                {
                    reportError("variable '" + name + "' was already declared", __FILE__, __LINE__);
                    return;
                }
                g_pCurrentModule->addVariableInFile(name);
            }
            create = !pTable->hasVariable(name);
        }
        else if (pTable->hasVariable(name))
        {
            reportError("variable '" + name + "' was already declared", __FILE__, __LINE__);
            return;
        }

        if (create)
        {
            PDLVariable* pVariable =
                createDeclaredVariable(scope, typeName, *pProto, persistent, pTarget->m_moduleID);
            if (pVariable != nullptr)
            {
                pTable->registerVariable(pVariable);
            }
        }
        delete pProto;
        pProto = nullptr;
    }
    delete pProtos;
}

void PDLContext::createType(std::string const& name, std::vector<PDLVariant>* pValues)
{
    PDLModule* pModule = getModule();
    if (pModule == nullptr)
    {
        reportFatal("pModule", __FILE__, __LINE__);
        delete pValues;
        return;
    }
    if (pModule->hasType(name))
    {
        reportError("type '" + name + "' was already declared", __FILE__, __LINE__);
        delete pValues;
        return;
    }
    if (pValues == nullptr)
    {
        reportFatal("pValues", __FILE__, __LINE__);
        return;
    }
    if (!pModule->registerType(new PDLType(name, pValues)))
    {
        reportFatal("failed to register type", __FILE__, __LINE__);
    }
}

void PDLContext::createType(std::string const& name, std::vector<std::string>* pMappingNames,
                            PDLMappedValueList* pMappedValues)
{
    PDLModule* pModule = getModule();
    if (pModule == nullptr)
    {
        reportFatal("pModule", __FILE__, __LINE__);
        return;
    }
    if (pModule->hasType(name))
    {
        reportError("type '" + name + "' was already declared", __FILE__, __LINE__);
        return;
    }
    if (pMappedValues == nullptr)
    {
        reportFatal("pMappedValues", __FILE__, __LINE__);
        return;
    }
    if (!pModule->registerType(new PDLType(name, pMappingNames, pMappedValues)))
    {
        reportFatal("failed to register type", __FILE__, __LINE__);
    }
}
