#include "pdltypeclasses.h"

#include "pdlbaseclasses.h"
#include "pdleventmanager.h"
#include "pdlmodule.h"
#include "pdlpersistentvarmanager.h"

#if __has_include("pdlexpressionclasses.h")
#include "pdlexpressionclasses.h"
#define PDL_HAVE_EXPRESSIONS 1
#endif

#include <atomic>
#include <cstdint>
#include <iomanip>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <tuple>

namespace
{
void reportFatal(std::string const& text, char const* file, int line)
{
    PDLRunTimeInfo::report(rtk::LogOutput::eLevelFatal, text, file, line);
}

void reportError(std::string const& text, char const* file, int line)
{
    PDLRunTimeInfo::report(rtk::LogOutput::eLevelError, text, file, line);
}

void reportWarning(std::string const& text, char const* file, int line)
{
    PDLRunTimeInfo::report(rtk::LogOutput::eLevelWarning, text, file, line);
}

PDLPersistentVarManager* getPersistentStore()
{
    // A persistent access without the manager is a programming fault: getInstance asserts.
    return PDLPersistentVarManager::getInstance();
}

PDLPanelState* getPanelState()
{
    // An extern variable without the panel state is a programming fault: getInstance asserts.
    return PDLPanelState::getInstance();
}

// Finding an element by an Int index or value. Keys are texts, so a plain lookup formats the number
// and walks the map comparing strings; the loops of scripts ask for the same few numbers over and over.
// A small per-thread table remembers, for (map, number), the map entry found last time. Entries of a
// map stay where they are while others are added, so a remembered entry is good until some map loses
// or replaces elements: every erase, clear, whole-map assignment and destruction moves the epoch on,
// which forgets every remembered entry at once. Only the text of an Int is cached; other kinds of
// index (a String "1" names the same element) take the map lookup, which finds the same entry.
using ElementMap = std::map<std::string, PDLVariant>;

std::atomic<std::uint64_t> g_elementMapEpoch{1};

struct IntKeyEntry
{
    ElementMap const* m_pMap;
    std::uint64_t m_epoch;
    ElementMap::iterator m_position;
    std::int32_t m_key;
};

// Two ways per row, the newer first, so that the keys of two busy maps rarely push each other out.
constexpr std::size_t kIntKeyRows = 256;
struct IntKeyTable
{
    IntKeyEntry m_rows[kIntKeyRows][2];
};

// The table is made on a thread's first lookup. The pointer is read on every lookup, so it uses the
// initial-exec model (a plain thread-register load, no call); the owner frees the table at thread exit.
thread_local IntKeyTable* t_pIntKeyTable __attribute__((tls_model("initial-exec"))) = nullptr;
thread_local std::unique_ptr<IntKeyTable> t_intKeyTableOwner;

IntKeyTable* makeIntKeyTable()
{
    t_intKeyTableOwner.reset(new IntKeyTable{});
    t_pIntKeyTable = t_intKeyTableOwner.get();
    return t_pIntKeyTable;
}

void forgetElementPositions()
{
    g_elementMapEpoch.fetch_add(1, std::memory_order_relaxed);
}

IntKeyEntry* intKeyRow(ElementMap const& map, std::int32_t key)
{
    auto const address = reinterpret_cast<std::uintptr_t>(&map);
    std::size_t const row =
        ((address >> 4) ^ (static_cast<std::uint32_t>(key) * 0x9E3779B1u >> 8)) & (kIntKeyRows - 1);
    IntKeyTable* pTable = t_pIntKeyTable;
    if (__builtin_expect(pTable == nullptr, false))
    {
        pTable = makeIntKeyTable();
    }
    return pTable->m_rows[row];
}

// Remembers where an Int key is.
void rememberElement(ElementMap const& map, PDLVariant const& index, ElementMap::iterator position)
{
    if (index.getKind() == PDLVariant::eInt)
    {
        std::int32_t const number = index.getInt();
        IntKeyEntry* pRow = intKeyRow(map, number);
        pRow[1] = pRow[0];
        pRow[0] = IntKeyEntry{&map, g_elementMapEpoch.load(std::memory_order_relaxed), position, number};
    }
}

// findElement without a remembered entry: the map lookup, remembered when found.
__attribute__((noinline)) ElementMap::iterator searchElement(ElementMap& map, PDLVariant const& index,
                                                             std::string& key)
{
    key = index.getString();
    auto const it = map.find(key);
    if (it != map.end())
    {
        rememberElement(map, index, it);
    }
    return it;
}

// The entry of a key, or end(); key is filled with the index text whenever the map was searched (so
// always when the result is end()). The remembered case is inline in every caller.
inline ElementMap::iterator findElement(ElementMap& map, PDLVariant const& index, std::string& key)
{
    if (index.getKind() == PDLVariant::eInt)
    {
        std::int32_t const number = index.getInt();
        IntKeyEntry const* pRow = intKeyRow(map, number);
        std::uint64_t const epoch = g_elementMapEpoch.load(std::memory_order_relaxed);
        for (int way = 0; way < 2; ++way)
        {
            if (pRow[way].m_pMap == &map && pRow[way].m_key == number && pRow[way].m_epoch == epoch)
            {
                return pRow[way].m_position;
            }
        }
    }
    return searchElement(map, index, key);
}
} // namespace

// ---------------------------------------------------------------------------------------------------
// Types

PDLValMapping::PDLValMapping(PDLVariant const& value, std::vector<PDLVariant>* pMapped)
    : m_value(value), m_pMappedValues(pMapped)
{
}

PDLValMapping::~PDLValMapping()
{
    delete m_pMappedValues;
}

PDLMappedValueList::~PDLMappedValueList()
{
    for (PDLValMapping* pRow : *this)
    {
        delete pRow;
    }
}

PDLType::PDLType(std::string const& name, std::vector<PDLVariant>* pValues)
    : m_name(name), m_pMappingNames(nullptr)
{
    m_values.resize(1);
    if (pValues != nullptr)
    {
        m_values[0] = *pValues;
        delete pValues;
    }
    for (size_t i = 0; i < m_values[0].size(); ++i)
    {
        m_valueIndex[m_values[0][i].getString()] = static_cast<int32_t>(i);
    }
}

PDLType::PDLType(std::string const& name, std::vector<std::string>* pMappingNames, PDLMappedValueList* pList)
    : m_name(name), m_pMappingNames(pMappingNames)
{
    size_t const mappingCount = m_pMappingNames != nullptr ? m_pMappingNames->size() : 0;
    size_t const rowCount = pList != nullptr ? pList->size() : 0;
    m_values.resize(mappingCount + 1);
    m_values[0].resize(rowCount);

    if (pList != nullptr)
    {
        int32_t index = 0;
        for (PDLValMapping const* pRow : *pList)
        {
            m_valueIndex[pRow->m_value.getString()] = index;
            m_values[0][static_cast<size_t>(index)] = pRow->m_value;
            ++index;
        }

        for (size_t j = 0; j < mappingCount; ++j)
        {
            std::vector<PDLVariant>& column = m_values[j + 1];
            column.resize(rowCount);
            size_t i = 0;
            for (PDLValMapping const* pRow : *pList)
            {
                PDLVariant mapped;
                if (pRow->m_pMappedValues != nullptr && j < pRow->m_pMappedValues->size())
                {
                    mapped = (*pRow->m_pMappedValues)[j];
                }
                column[i] = mapped;
                if (mapped.getKind() == PDLVariant::eInvalid)
                {
                    // The rest of this mapping stays Invalid.
                    reportError("Type " + m_name + " is missing a value mapping for value \"" +
                                    pRow->m_value.getString() + "\", mapping \"" + (*m_pMappingNames)[j] +
                                    "\"",
                                __FILE__, __LINE__);
                    break;
                }
                ++i;
            }
        }
    }
    delete pList;
}

PDLType::~PDLType()
{
    delete m_pMappingNames;
}

std::vector<PDLVariant> const* PDLType::getValueVector(std::string const& mapping) const
{
    if (mapping.empty())
    {
        return &m_values[0];
    }
    if (m_pMappingNames == nullptr)
    {
        reportError("type " + m_name + " has no mappings", __FILE__, __LINE__);
        return nullptr;
    }
    for (size_t j = 0; j < m_pMappingNames->size(); ++j)
    {
        if ((*m_pMappingNames)[j] == mapping)
        {
            return &m_values[j + 1];
        }
    }
    reportError("mapping " + mapping + " not found", __FILE__, __LINE__);
    return nullptr;
}

PDLVariant PDLType::getMappedValue(PDLVariant const& value, std::string const& mapping) const
{
    if (value.getKind() == PDLVariant::eInvalid)
    {
        return PDLVariant();
    }
    if (m_pMappingNames == nullptr)
    {
        reportError("type " + m_name + " has no mappings", __FILE__, __LINE__);
        return PDLVariant();
    }
    // By text: Int 3 finds a value declared as "3".
    for (size_t j = 0; j < m_pMappingNames->size(); ++j)
    {
        if ((*m_pMappingNames)[j] == mapping)
        {
            auto it = m_valueIndex.find(value.getString());
            if (it != m_valueIndex.end())
            {
                return m_values[j + 1][static_cast<size_t>(it->second)];
            }
        }
    }
    reportError("mapping " + mapping + " not found", __FILE__, __LINE__);
    return PDLVariant();
}

bool PDLType::isElementIn(PDLVariant const& value, std::string const& mapping) const
{
    if (value.getKind() == PDLVariant::eInvalid)
    {
        return false;
    }
    std::vector<PDLVariant> const* pVector = nullptr;
    if (mapping.empty())
    {
        pVector = &m_values[0];
    }
    else if (m_pMappingNames == nullptr)
    {
        reportError("type " + m_name + " has no mappings", __FILE__, __LINE__);
        return false;
    }
    else
    {
        for (size_t j = 0; j < m_pMappingNames->size() && pVector == nullptr; ++j)
        {
            if ((*m_pMappingNames)[j] == mapping)
            {
                pVector = &m_values[j + 1];
            }
        }
        if (pVector == nullptr)
        {
            reportError("mapping " + mapping + " not found", __FILE__, __LINE__);
            return false;
        }
    }
    // By value equality, which crosses kinds.
    for (PDLVariant const& element : *pVector)
    {
        if (element == value)
        {
            return true;
        }
    }
    return false;
}

PDLVariantIteratorCont PDLType::makeIterator(std::string const& mapping, bool atEnd) const
{
    std::vector<PDLVariant> const* pVector = getValueVector(mapping);
    if (pVector == nullptr)
    {
        reportError("mapping " + mapping + " not found", __FILE__, __LINE__);
        return PDLVariantIteratorCont(new PDLVariantIteratorEmpty());
    }
    PDLVariant const* pPosition = pVector->data() + (atEnd ? pVector->size() : 0);
    auto& iterators = atEnd ? m_endIterators : m_beginIterators;
    auto result = iterators.insert_or_assign(mapping, PDLVariantIteratorVectorWrapper(pPosition));
    return PDLVariantIteratorCont(result.first->second.clone());
}

PDLVariantIteratorCont PDLType::begin(std::string const& mapping) const
{
    return makeIterator(mapping, false);
}

PDLVariantIteratorCont PDLType::end(std::string const& mapping) const
{
    return makeIterator(mapping, true);
}

void PDLType::dump()
{
    std::cout << std::left << "Name:   " << m_name << std::endl;
    std::cout << "Values: ";
    for (PDLVariant const& value : m_values[0])
    {
        std::cout << value.getString() << " ";
    }
    std::cout << std::endl;
    if (m_pMappingNames != nullptr)
    {
        std::cout << "Mappings:" << std::endl;
        for (size_t j = 0; j < m_pMappingNames->size(); ++j)
        {
            std::cout << "   " << std::setw(10) << ((*m_pMappingNames)[j] + ": ");
            for (PDLVariant const& value : m_values[j + 1])
            {
                std::cout << value.getString() << " ";
            }
            std::cout << std::endl;
        }
    }
    std::cout << std::endl << std::right;
}

// ---------------------------------------------------------------------------------------------------
// Declarations

PDLProtoVariable::PDLProtoVariable(std::string const& name, bool isArray, bool isSet, PDLExpression* pIndex,
                                   bool isReference, std::string const& typeName, bool generateEvents)
    : m_name(name), m_typeName(typeName), m_isArray(isArray), m_isSet(isSet), m_isReference(isReference),
      m_pIndex(pIndex), m_generateEvents(generateEvents)
{
}

PDLProtoVariable::~PDLProtoVariable()
{
#ifdef PDL_HAVE_EXPRESSIONS
    delete m_pIndex;
#endif
}

namespace
{
// The shared prototypes, by contents. Never destroyed, so that nodes deleted while the process ends
// still find their records.
struct SharedProtos
{
    std::mutex m_mutex;
    std::map<std::tuple<std::string, std::string, bool, bool, bool, bool>, PDLProtoVariable*> m_byContents;
    std::set<PDLProtoVariable const*> m_shared;
};

SharedProtos& sharedProtos()
{
    static SharedProtos* const s_pShared = new SharedProtos();
    return *s_pShared;
}
} // namespace

PDLProtoVariable* PDLProtoVariable::share(PDLProtoVariable* pProto)
{
    if (pProto == nullptr || pProto->m_pIndex != nullptr)
    {
        return pProto;
    }
    SharedProtos& shared = sharedProtos();
    std::lock_guard<std::mutex> guard(shared.m_mutex);
    if (shared.m_shared.count(pProto) != 0)
    {
        return pProto;
    }
    auto const key = std::make_tuple(pProto->m_name, pProto->m_typeName, pProto->m_isArray, pProto->m_isSet,
                                     pProto->m_isReference, pProto->m_generateEvents);
    auto const found = shared.m_byContents.find(key);
    if (found != shared.m_byContents.end())
    {
        delete pProto;
        return found->second;
    }
    shared.m_byContents.emplace(key, pProto);
    shared.m_shared.insert(pProto);
    return pProto;
}

void PDLProtoVariable::release(PDLProtoVariable* pProto)
{
    if (pProto == nullptr)
    {
        return;
    }
    if (pProto->m_pIndex == nullptr)
    {
        SharedProtos& shared = sharedProtos();
        std::lock_guard<std::mutex> guard(shared.m_mutex);
        if (shared.m_shared.count(pProto) != 0)
        {
            return;
        }
    }
    delete pProto;
}

PDLVariable* createDeclaredVariable(EScope scope, std::string const& typeName, PDLProtoVariable const& proto,
                                    bool persistent, UniqueModuleID const& moduleID)
{
    if (proto.m_isArray && proto.m_isSet)
    {
        reportFatal("arrays of sets are not supported yet", __FILE__, __LINE__);
        return nullptr;
    }
    if (proto.m_isArray)
    {
        return new PDLVariableArray(scope, typeName, proto.m_name, proto.m_generateEvents, false, false,
                                    persistent, moduleID);
    }
    if (proto.m_isSet)
    {
        if (persistent)
        {
            reportFatal("persistent set variables are not supported yet", __FILE__, __LINE__);
            return nullptr;
        }
        return new PDLVariableSet(scope, typeName, proto.m_name, proto.m_generateEvents, false, false, false);
    }
    return new PDLVariableSimple(scope, typeName, proto.m_name, proto.m_generateEvents, false, false,
                                 persistent, moduleID);
}

// ---------------------------------------------------------------------------------------------------
// PDLVariable

PDLVariable::PDLVariable(EContainerType containerType, EScope scope, std::string const& typeName,
                         std::string const& name, bool generateEvents, bool readOnly, bool isReference,
                         bool persistent)
    : m_containerType(containerType), m_scope(scope), m_name(name), m_changed(false),
      m_generateEvents(generateEvents), m_readOnly(readOnly), m_isReference(isReference),
      m_persistent(persistent), m_typeName(typeName), m_declaredTypeName(typeName)
{
}

PDLVariable::PDLVariable(PDLVariable const& other) = default;

PDLVariable::~PDLVariable() {}

bool PDLVariable::copyTo(PDLVariableDescription& /*description*/) const
{
    return false;
}

void PDLVariable::setValue(PDLVariant const& /*value*/)
{
    reportFatal("PDLVariable::setValue(): base class version called", __FILE__, __LINE__);
}

void PDLVariable::setValueString(std::string const& value)
{
    setValue(PDLVariant(value));
}

void PDLVariable::setValueInt(int value)
{
    setValue(PDLVariant(value));
}

void PDLVariable::setValueFloat(float value)
{
    setValue(PDLVariant(value));
}

void PDLVariable::setValueBool(bool value)
{
    setValue(PDLVariant(value));
}

void PDLVariable::setValueAtIndex(PDLVariant const& /*index*/, PDLVariant const& /*value*/)
{
    reportError("Variable " + m_name + " is not an array variable!", __FILE__, __LINE__);
}

PDLVariant PDLVariable::getValue(std::string const& /*mapping*/, bool /*warnInvalid*/) const
{
    reportFatal("PDLVariable::getValue(): base class version called", __FILE__, __LINE__);
    return PDLVariant();
}

PDLVariant PDLVariable::getValueAtIndex(PDLVariant const& /*index*/, std::string const& mapping,
                                        bool warnInvalid) const
{
    reportError("Variable " + m_name + " is not an array variable!", __FILE__, __LINE__);
    return getValue(mapping, warnInvalid);
}

void PDLVariable::addValue(PDLVariant const& /*value*/)
{
    reportFatal("PDLVariable::addValue(): base class version called", __FILE__, __LINE__);
}

void PDLVariable::removeValue(PDLVariant const& /*value*/)
{
    reportFatal("PDLVariable::removeValue(): base class version called", __FILE__, __LINE__);
}

void PDLVariable::clearAllValues()
{
    reportFatal("PDLVariable::clearAllValues(): base class version called", __FILE__, __LINE__);
}

void PDLVariable::reportNotContainer() const
{
    reportError("Variable " + m_name + " is not an array/set variable!", __FILE__, __LINE__);
}

bool PDLVariable::isElementIn(PDLVariant const& /*value*/, std::string const& /*mapping*/) const
{
    reportNotContainer();
    return false;
}

PDLVariantIteratorCont PDLVariable::begin(std::string const& /*mapping*/) const
{
    reportNotContainer();
    return PDLVariantIteratorCont(new PDLVariantIteratorEmpty());
}

PDLVariantIteratorCont PDLVariable::end(std::string const& /*mapping*/) const
{
    reportNotContainer();
    return PDLVariantIteratorCont(new PDLVariantIteratorEmpty());
}

int PDLVariable::getCount() const
{
    reportNotContainer();
    return 1;
}

PDLVariant const& PDLVariable::getValueRef(bool warnInvalid, PDLVariant& scratch) const
{
    scratch = getValue(std::string(), warnInvalid);
    return scratch;
}

void PDLVariable::raiseChangeFlag()
{
    // Queued at most once until the engine lowers the flag (setChangeFlag tests both flags first).
    m_changed = true;
    if (m_scope == eScopeLocal || !m_generateEvents)
    {
        return;
    }
    // Without an event engine (a check of sources alone) nobody listens.
    if (PDLEventManager::hasInstance())
    {
        PDLEventManager::getInstance()->addChangedVariable(this);
    }
}

void PDLVariable::reset()
{
    if (m_readOnly)
    {
        return;
    }
    if (m_typeName != m_declaredTypeName)
    {
        m_typeName = m_declaredTypeName;
    }
    m_changed = false;
    if (!m_persistent)
    {
        setInvalid();
    }
}

PDLVariant PDLVariable::getStoredValue(PDLVariant const& slot) const
{
    if (m_persistent)
    {
        return getPersistentStore()->getValue(slot.getInt());
    }
    return slot;
}

void PDLVariable::setStoredValue(PDLVariant& slot, PDLVariant const& value)
{
    if (m_persistent)
    {
        // The handle in the slot stays.
        getPersistentStore()->setValue(slot.getInt(), value);
        return;
    }
    slot = value;
}

PDLVariant PDLVariable::getMappedValue(PDLVariant const& value, std::string const& mapping) const
{
    // The type comes from the module now executing, not from the one that declared the variable.
    PDLModule* pModule =
        PDLEventManager::hasInstance() ? PDLEventManager::getInstance()->getCurrentModule() : nullptr;
    if (pModule == nullptr)
    {
        reportFatal("pModule", __FILE__, __LINE__);
        return PDLVariant();
    }
    PDLType* pType = m_typeName.empty() ? nullptr : pModule->getType(m_typeName);
    if (pType == nullptr)
    {
        reportError("Variable " + m_name + " has no type and therefore no mapping!", __FILE__, __LINE__);
        return PDLVariant();
    }
    return pType->getMappedValue(value, mapping);
}

void PDLVariable::registerSequence(PDLSequence* pSequence, bool separateEvent)
{
    // Read-only and NOEVENTS variables wake nobody.
    if (m_readOnly || !m_generateEvents)
    {
        return;
    }
    (separateEvent ? m_sequencesSeparate : m_sequences).insert(pSequence);
}

void PDLVariable::registerWidget(PDLWidget* pWidget, bool separateEvent)
{
    if (m_readOnly || !m_generateEvents)
    {
        return;
    }
    (separateEvent ? m_widgetsSeparate : m_widgets).insert(pWidget);
}

void PDLVariable::unregisterSequence(PDLSequence* pSequence)
{
    if (m_readOnly || !m_generateEvents)
    {
        return;
    }
    m_sequences.erase(pSequence);
    m_sequencesSeparate.erase(pSequence);
}

void PDLVariable::unregisterWidget(PDLWidget* pWidget)
{
    if (m_readOnly || !m_generateEvents)
    {
        return;
    }
    m_widgets.erase(pWidget);
    m_widgetsSeparate.erase(pWidget);
}

void PDLVariable::print() const
{
    getValue("", false).print();
}

void PDLVariable::dump() const
{
    std::cout << std::left << std::setw(15) << getScopeText(m_scope) << std::setw(25)
              << (m_typeName.empty() ? std::string("(no type)") : m_typeName) << std::setw(25) << m_name;
    switch (m_containerType)
    {
    case eContainerSimple:
        getValue("", false).print(std::cout);
        break;
    case eContainerSet:
        std::cout << "(set variable)";
        break;
    case eContainerArray:
        std::cout << "(array variable)";
        break;
    }
    std::cout << std::endl << std::right;
}

// ---------------------------------------------------------------------------------------------------
// PDLVariableSimple

PDLVariableSimple::PDLVariableSimple(EScope scope, std::string const& typeName, std::string const& name,
                                     bool generateEvents, bool readOnly, bool isReference, bool persistent,
                                     UniqueModuleID const& moduleID)
    : PDLVariable(eContainerSimple, scope, typeName, name, generateEvents, readOnly, isReference, persistent)
{
    if (m_persistent)
    {
        m_value = PDLVariant(getPersistentStore()->insertVariable(moduleID, name));
    }
}

PDLVariableSimple::~PDLVariableSimple() {}

PDLVariable* PDLVariableSimple::clone() const
{
    if (m_scope != eScopeLocal)
    {
        reportFatal("m_scope == kScopeLocal", __FILE__, __LINE__);
        return nullptr;
    }
    return new PDLVariableSimple(*this);
}

bool PDLVariableSimple::isValid() const
{
    return getStoredValue(m_value).getKind() != PDLVariant::eInvalid;
}

void PDLVariableSimple::setInvalid()
{
    if (!m_persistent)
    {
        m_value = PDLVariant();
        return;
    }
    setStoredValue(m_value, PDLVariant());
}

bool PDLVariableSimple::copyTo(PDLVariableDescription& description) const
{
    if (description.m_pVariable == nullptr)
    {
        return false;
    }
    auto* pSimple = isExactly<PDLVariableSimple>(*description.m_pVariable)
                        ? static_cast<PDLVariableSimple*>(description.m_pVariable)
                        : dynamic_cast<PDLVariableSimple*>(description.m_pVariable);
    if (pSimple != nullptr)
    {
        PDLVariant scratch;
        pSimple->setValue(getValueRef(true, scratch));
        return true;
    }
    if (auto* pArray = dynamic_cast<PDLVariableArray*>(description.m_pVariable))
    {
        if (!description.m_index.empty())
        {
            pArray->setValueAtIndex(PDLVariant(description.m_index), getValue("", true));
            return true;
        }
    }
    return false;
}

void PDLVariableSimple::setValueGeneral(PDLVariant const& value)
{
    if (value.getKind() != PDLVariant::eInvalid)
    {
        // Equality crosses kinds: an equal value keeps the old one and its kind.
        if (getStoredValue(m_value) == value)
        {
            return;
        }
        setChangeFlag();
        setStoredValue(m_value, value);
        return;
    }
    if (isValid())
    {
        setChangeFlag();
        setInvalid();
    }
}

void PDLVariableSimple::setValueString(std::string const& value)
{
    PDLVariant const stored = getStoredValue(m_value);
    if (stored.getKind() == PDLVariant::eString && stored.getString() == value)
    {
        return;
    }
    setStoredValue(m_value, PDLVariant(value));
    setChangeFlag();
}

void PDLVariableSimple::setValueInt(int value)
{
    PDLVariant const stored = getStoredValue(m_value);
    if (stored.getKind() == PDLVariant::eInt && stored.getInt() == value)
    {
        return;
    }
    setStoredValue(m_value, PDLVariant(value));
    setChangeFlag();
}

void PDLVariableSimple::setValueFloat(float value)
{
    PDLVariant const stored = getStoredValue(m_value);
    if (stored.getKind() == PDLVariant::eFloat && stored.getFloat() == value)
    {
        return;
    }
    setStoredValue(m_value, PDLVariant(value));
    setChangeFlag();
}

void PDLVariableSimple::setValueBool(bool value)
{
    PDLVariant const stored = getStoredValue(m_value);
    if (stored.getKind() == PDLVariant::eBool && stored.getBool() == value)
    {
        return;
    }
    setStoredValue(m_value, PDLVariant(value));
    setChangeFlag();
}

PDLVariant const& PDLVariableSimple::getValueRef(bool warnInvalid, PDLVariant& scratch) const
{
    if (m_persistent)
    {
        return PDLVariable::getValueRef(warnInvalid, scratch);
    }
    if (warnInvalid && m_value.getKind() == PDLVariant::eInvalid)
    {
        reportWarning("Variable " + m_name + " is invalid", __FILE__, __LINE__);
    }
    return m_value;
}

PDLVariant PDLVariableSimple::getValue(std::string const& mapping, bool warnInvalid) const
{
    PDLVariant value = getStoredValue(m_value);
    if (!mapping.empty())
    {
        value = getMappedValue(value, mapping);
    }
    if (warnInvalid && value.getKind() == PDLVariant::eInvalid)
    {
        reportWarning("Variable " + m_name + " is invalid", __FILE__, __LINE__);
    }
    return value;
}

// ---------------------------------------------------------------------------------------------------
// PDLVariableSet

PDLVariableSet::iterator::iterator() : m_pSet(nullptr) {}

PDLVariableSet::iterator::iterator(PDLVariableSet const* pSet,
                                   std::map<std::string, PDLVariant>::const_iterator position,
                                   std::string const& mapping)
    : m_position(position), m_pSet(pSet), m_mapping(mapping)
{
}

PDLVariantIterator& PDLVariableSet::iterator::operator++()
{
    if (m_pSet != nullptr && m_position != m_pSet->m_elements.end())
    {
        ++m_position;
    }
    return *this;
}

PDLVariantIterator& PDLVariableSet::iterator::operator++(int)
{
    return ++(*this);
}

bool PDLVariableSet::iterator::operator==(PDLVariantIterator const& other) const
{
    auto const* pOther = dynamic_cast<iterator const*>(&other);
    if (pOther == nullptr || pOther->m_pSet != m_pSet)
    {
        return false;
    }
    return m_pSet == nullptr || m_position == pOther->m_position;
}

bool PDLVariableSet::iterator::operator!=(PDLVariantIterator const& other) const
{
    return !(*this == other);
}

PDLVariant PDLVariableSet::iterator::operator*() const
{
    if (m_pSet == nullptr)
    {
        reportFatal("m_pSet", __FILE__, __LINE__);
        return PDLVariant();
    }
    if (m_position == m_pSet->m_elements.end())
    {
        return PDLVariant();
    }
    if (!m_mapping.empty())
    {
        return m_pSet->getMappedValue(m_position->second, m_mapping);
    }
    return m_position->second;
}

PDLVariantIterator* PDLVariableSet::iterator::clone() const
{
    return new iterator(*this);
}

PDLVariableSet::PDLVariableSet(EScope scope, std::string const& typeName, std::string const& name,
                               bool generateEvents, bool readOnly, bool isReference, bool persistent)
    : PDLVariable(eContainerSet, scope, typeName, name, generateEvents, readOnly, isReference, persistent)
{
}

PDLVariableSet::PDLVariableSet(PDLVariableSet const& other) : PDLVariable(other), m_elements(other.m_elements)
{
}

PDLVariableSet::~PDLVariableSet()
{
    forgetElementPositions();
}

PDLVariable* PDLVariableSet::clone() const
{
    if (m_scope != eScopeLocal)
    {
        reportFatal("m_scope == kScopeLocal", __FILE__, __LINE__);
        return nullptr;
    }
    return new PDLVariableSet(*this);
}

bool PDLVariableSet::isValid() const
{
    return true;
}

void PDLVariableSet::setInvalid()
{
    forgetElementPositions();
    m_elements.clear();
}

bool PDLVariableSet::copyTo(PDLVariableDescription& description) const
{
    auto* pTarget = dynamic_cast<PDLVariableSet*>(description.m_pVariable);
    if (pTarget == nullptr || !description.m_index.empty())
    {
        return false;
    }
    // Emptied first, so no position of the target is remembered any more.
    pTarget->clearAllValues();
    pTarget->m_elements = m_elements;
    pTarget->setChangeFlag();
    return true;
}

void PDLVariableSet::addValue(PDLVariant const& value)
{
    std::string key;
    auto it = findElement(m_elements, value, key);
    if (it == m_elements.end())
    {
        setChangeFlag();
        rememberElement(m_elements, value, m_elements.emplace(std::move(key), value).first);
        return;
    }
    // Re-adding under the same text replaces the stored variant without a change.
    it->second = value;
}

void PDLVariableSet::removeValue(PDLVariant const& value)
{
    auto it = m_elements.find(value.getString());
    if (it != m_elements.end())
    {
        setChangeFlag();
        forgetElementPositions();
        m_elements.erase(it);
    }
}

void PDLVariableSet::clearAllValues()
{
    if (m_elements.empty())
    {
        return;
    }
    setChangeFlag();
    forgetElementPositions();
    m_elements.clear();
}

bool PDLVariableSet::isElementIn(PDLVariant const& value, std::string const& mapping) const
{
    if (value.getKind() == PDLVariant::eInvalid)
    {
        return false;
    }
    if (mapping.empty())
    {
        // The lookup only remembers where an element is; the set itself is not changed.
        auto& elements = const_cast<ElementMap&>(m_elements);
        std::string key;
        return findElement(elements, value, key) != elements.end();
    }
    for (auto const& element : m_elements)
    {
        if (getMappedValue(element.second, mapping) == value)
        {
            return true;
        }
    }
    return false;
}

PDLVariantIteratorCont PDLVariableSet::begin(std::string const& mapping) const
{
    auto result = m_beginIterators.insert_or_assign(mapping, iterator(this, m_elements.begin(), mapping));
    return PDLVariantIteratorCont(result.first->second.clone());
}

PDLVariantIteratorCont PDLVariableSet::end(std::string const& mapping) const
{
    auto result = m_endIterators.insert_or_assign(mapping, iterator(this, m_elements.end(), mapping));
    return PDLVariantIteratorCont(result.first->second.clone());
}

int PDLVariableSet::getCount() const
{
    return static_cast<int>(m_elements.size());
}

// ---------------------------------------------------------------------------------------------------
// PDLVariableArray

PDLVariableArray::iterator::iterator() : m_pArray(nullptr) {}

PDLVariableArray::iterator::iterator(PDLVariableArray const* pArray,
                                     std::map<std::string, PDLVariant>::const_iterator position,
                                     std::string const& mapping)
    : m_position(position), m_pArray(pArray), m_mapping(mapping)
{
}

PDLVariantIterator& PDLVariableArray::iterator::operator++()
{
    if (m_pArray != nullptr && m_position != m_pArray->m_elements.end())
    {
        ++m_position;
    }
    return *this;
}

PDLVariantIterator& PDLVariableArray::iterator::operator++(int)
{
    return ++(*this);
}

bool PDLVariableArray::iterator::operator==(PDLVariantIterator const& other) const
{
    auto const* pOther = dynamic_cast<iterator const*>(&other);
    if (pOther == nullptr || pOther->m_pArray != m_pArray)
    {
        return false;
    }
    return m_pArray == nullptr || m_position == pOther->m_position;
}

bool PDLVariableArray::iterator::operator!=(PDLVariantIterator const& other) const
{
    return !(*this == other);
}

PDLVariant PDLVariableArray::iterator::operator*() const
{
    if (m_pArray == nullptr)
    {
        reportFatal("m_pArray", __FILE__, __LINE__);
        return PDLVariant();
    }
    if (m_position == m_pArray->m_elements.end())
    {
        return PDLVariant();
    }
    PDLVariant const value = m_pArray->getStoredValue(m_position->second);
    if (!m_mapping.empty())
    {
        return m_pArray->getMappedValue(value, m_mapping);
    }
    return value;
}

PDLVariantIterator* PDLVariableArray::iterator::clone() const
{
    return new iterator(*this);
}

PDLVariableArray::PDLVariableArray(EScope scope, std::string const& typeName, std::string const& name,
                                   bool generateEvents, bool readOnly, bool isReference, bool persistent,
                                   UniqueModuleID const& moduleID)
    : PDLVariable(eContainerArray, scope, typeName, name, generateEvents, readOnly, isReference, persistent),
      m_moduleID(moduleID)
{
    // Elements kept under this array's name come back, whether or not this array is persistent.
    // Without a persistent store only a persistent array is a fault (the store asserts).
    if (!m_persistent && !PDLPersistentVarManager::hasInstance())
    {
        return;
    }
    PDLPersistentVarManager* pStore = getPersistentStore();
    int start = 0;
    while (true)
    {
        int const handle = pStore->findKeysGetNext(start, m_moduleID, m_name);
        if (handle < 0)
        {
            break;
        }
        std::string const storedName = pStore->getVarName(handle);
        std::string const key = storedName.size() > m_name.size() ? storedName.substr(m_name.size() + 1) : "";
        m_elements[key] = PDLVariant(handle);
        start = handle + 1;
    }
}

PDLVariableArray::PDLVariableArray(PDLVariableArray const& other)
    : PDLVariable(other), m_elements(other.m_elements), m_moduleID()
{
}

PDLVariableArray::~PDLVariableArray()
{
    forgetElementPositions();
}

PDLVariable* PDLVariableArray::clone() const
{
    if (m_scope != eScopeLocal)
    {
        reportFatal("m_scope == kScopeLocal", __FILE__, __LINE__);
        return nullptr;
    }
    return new PDLVariableArray(*this);
}

bool PDLVariableArray::isValid() const
{
    return true;
}

void PDLVariableArray::setInvalid()
{
    for (auto& element : m_elements)
    {
        setStoredValue(element.second, PDLVariant());
    }
}

bool PDLVariableArray::copyTo(PDLVariableDescription& description) const
{
    auto* pTarget = dynamic_cast<PDLVariableArray*>(description.m_pVariable);
    if (pTarget == nullptr || !description.m_index.empty())
    {
        return false;
    }
    if (isEqual(pTarget))
    {
        return true;
    }
    if (pTarget->m_persistent)
    {
        pTarget->clearAllValues();
    }
    if (!m_persistent && !pTarget->m_persistent)
    {
        forgetElementPositions();
        pTarget->m_elements = m_elements;
        pTarget->setChangeFlag();
        return true;
    }
    // Element by element; a target that is not persistent keeps keys this array lacks.
    for (auto const& element : m_elements)
    {
        pTarget->setValueAtIndex(PDLVariant(element.first), getStoredValue(element.second));
    }
    pTarget->setChangeFlag();
    return true;
}

void PDLVariableArray::setValueAtIndex(PDLVariant const& index, PDLVariant const& value)
{
    if (index.getKind() == PDLVariant::eInvalid)
    {
        return;
    }
    bool const invalidValue = value.getKind() == PDLVariant::eInvalid;
    std::string key;
    auto it = findElement(m_elements, index, key);
    if (it == m_elements.end())
    {
        if (invalidValue)
        {
            return;
        }
        PDLVariant slot;
        if (m_persistent)
        {
            slot = PDLVariant(getPersistentStore()->insertVariable(m_moduleID, m_name + "." + key));
        }
        setChangeFlag();
        it = m_elements.emplace(std::move(key), slot).first;
        rememberElement(m_elements, index, it);
        setStoredValue(it->second, value);
        return;
    }
    if (invalidValue)
    {
        // Assigning Invalid erases the element.
        setChangeFlag();
        if (m_persistent)
        {
            getPersistentStore()->removeVariable(it->second.getInt());
        }
        forgetElementPositions();
        m_elements.erase(it);
        return;
    }
    PDLVariant stored;
    PDLVariant const& current = m_persistent ? (stored = getStoredValue(it->second)) : it->second;
    if (current == value)
    {
        return;
    }
    setChangeFlag();
    setStoredValue(it->second, value);
}

PDLVariant PDLVariableArray::getValueAtIndex(PDLVariant const& index, std::string const& mapping,
                                             bool warnInvalid) const
{
    if (index.getKind() == PDLVariant::eInvalid)
    {
        reportWarning("accessing variable " + m_name + " with invalid index expression", __FILE__, __LINE__);
        return PDLVariant();
    }
    auto& elements = const_cast<ElementMap&>(m_elements); // only remembered positions change
    std::string key;
    auto it = findElement(elements, index, key);
    if (it == elements.end())
    {
        if (warnInvalid)
        {
            reportWarning("unknown array index " + key + " for variable " + m_name, __FILE__, __LINE__);
        }
        return PDLVariant();
    }
    PDLVariant const value = getStoredValue(it->second);
    if (!mapping.empty())
    {
        return getMappedValue(value, mapping);
    }
    return value;
}

void PDLVariableArray::clearAllValues()
{
    if (m_elements.empty())
    {
        return;
    }
    if (m_persistent)
    {
        PDLPersistentVarManager* pStore = getPersistentStore();
        for (auto const& element : m_elements)
        {
            pStore->removeVariable(element.second.getInt());
        }
        forgetElementPositions();
        m_elements.clear();
    }
    // Not persistent: the keys stay with Invalid values, so the count does not drop.
    setChangeFlag();
    setInvalid();
}

bool PDLVariableArray::isElementIn(PDLVariant const& value, std::string const& mapping) const
{
    if (value.getKind() == PDLVariant::eInvalid)
    {
        return false;
    }
    // Values, not keys.
    for (auto const& element : m_elements)
    {
        PDLVariant stored = getStoredValue(element.second);
        if (!mapping.empty())
        {
            stored = getMappedValue(stored, mapping);
        }
        if (stored == value)
        {
            return true;
        }
    }
    return false;
}

PDLVariantIteratorCont PDLVariableArray::begin(std::string const& mapping) const
{
    auto result = m_beginIterators.insert_or_assign(mapping, iterator(this, m_elements.begin(), mapping));
    return PDLVariantIteratorCont(result.first->second.clone());
}

PDLVariantIteratorCont PDLVariableArray::end(std::string const& mapping) const
{
    auto result = m_endIterators.insert_or_assign(mapping, iterator(this, m_elements.end(), mapping));
    return PDLVariantIteratorCont(result.first->second.clone());
}

int PDLVariableArray::getCount() const
{
    return static_cast<int>(m_elements.size());
}

bool PDLVariableArray::isEqual(PDLVariableArray const* pOther) const
{
    if (pOther == nullptr || pOther->m_elements.size() != m_elements.size())
    {
        return false;
    }
    auto itOther = pOther->m_elements.begin();
    for (auto const& element : m_elements)
    {
        if (element.first != itOther->first ||
            !(getStoredValue(element.second) == pOther->getStoredValue(itOther->second)))
        {
            return false;
        }
        ++itOther;
    }
    return true;
}

// ---------------------------------------------------------------------------------------------------
// PDLVariableExtern

PDLVariableExtern::PDLVariableExtern(PDLModule const* pModule, std::string const& delegationType,
                                     std::string const& typeName, std::string const& name,
                                     PDLVariableExtern* pParent)
    : PDLVariable(eContainerSimple, eScopeExtern, typeName, name, true, false, false, false),
      m_pModule(pModule), m_delegationType(delegationType), m_pParent(pParent)
{
}

PDLVariableExtern::~PDLVariableExtern()
{
    // A subscription exists only while the panel state does; the check keeps a late teardown from
    // tripping the singleton's assertion.
    if (!m_functionID.empty() && PDLPanelState::hasInstance())
    {
        PDLPanelState::getInstance()->unsubscribe(m_functionID, key());
    }
    m_functionID.clear();
    m_pModule = nullptr;
    m_pParent = nullptr;
}

PDLVariable* PDLVariableExtern::clone() const
{
    // So an extern variable never lives in the table that a recursive call copies.
    reportFatal("extern variables can not be cloned", __FILE__, __LINE__);
    return nullptr;
}

bool PDLVariableExtern::isValid() const
{
    return getValue("", false).getKind() != PDLVariant::eInvalid;
}

void PDLVariableExtern::setInvalid()
{
    PDLDelegationType const* pType = getPanelState()->getDelegationType(m_delegationType);
    if (pType == nullptr)
    {
        reportError("External variable " + m_name + " is of unknown delegation type " + m_delegationType,
                    __FILE__, __LINE__);
        return;
    }
    // The parent's id is part of this one: it goes back to its default first.
    if (m_pParent != nullptr)
    {
        m_pParent->setInvalid();
    }
    // A device type with one slot needs no assignment: the slot is the type's name and 1.
    if (pType->m_slots == 1)
    {
        setLocalFunctionID(m_delegationType + "1");
    }
}

void PDLVariableExtern::setValue(PDLVariant const& value)
{
    if (m_localFunctionID.empty())
    {
        reportError("External variable " + m_name + " has not been configured (no slot assigned)", __FILE__,
                    __LINE__);
        return;
    }
    // No comparison and no change flag here: the flag comes through update() if the state changed.
    getPanelState()->setValue(getFunctionID(), value);
    m_value = value;
}

PDLVariant PDLVariableExtern::getValue(std::string const& mapping, bool warnInvalid) const
{
    if (m_localFunctionID.empty())
    {
        if (warnInvalid)
        {
            reportWarning("External variable " + m_name + " has not been configured (no slot assigned)",
                          __FILE__, __LINE__);
        }
        return PDLVariant();
    }
    // The value of the last update: a read does not go to the panel state.
    PDLVariant value = m_value;
    if (!mapping.empty())
    {
        value = getMappedValue(value, mapping);
    }
    if (warnInvalid && value.getKind() == PDLVariant::eInvalid)
    {
        reportWarning("Variable " + m_name + " is invalid", __FILE__, __LINE__);
    }
    return value;
}

void PDLVariableExtern::update()
{
    // Called only at a change of the entry, so the flag goes up whatever the value.
    m_value = getPanelState()->getValue(getFunctionID(), false);
    setChangeFlag();
}

std::string PDLVariableExtern::getDescription(int /*id*/) const
{
    return "extvar " + m_name + " (" + getFunctionID() + ")";
}

std::string PDLVariableExtern::getFunctionID() const
{
    if (!PDL_CHECK(m_pModule))
    {
        return std::string();
    }
    std::string prefix;
    if (m_pParent != nullptr)
    {
        prefix = m_pParent->getFunctionID() + ".";
    }
    else
    {
        prefix = "PANEL.EXTVAR" + std::to_string(m_pModule->getWorkplaceID()) + ".";
    }
    return prefix + m_localFunctionID;
}

void PDLVariableExtern::setLocalFunctionID(std::string const& localFunctionID)
{
    PDLPanelState* pState = getPanelState();
    if (!m_functionID.empty())
    {
        pState->unsubscribe(m_functionID, key());
    }
    m_localFunctionID = localFunctionID;
    m_functionID = getFunctionID();
    pState->subscribe(m_functionID, key());
    // A new slot is a change of the variable, whether or not the value differs.
    update();
}

// ---------------------------------------------------------------------------------------------------
// PDLVariableList

PDLVariableList::PDLVariableList(EScope scope, PDLProtoVarVector* pProtos, std::string const& typeName)
{
    if (pProtos == nullptr)
    {
        return;
    }
    for (PDLProtoVariable* pProto : *pProtos)
    {
        if (pProto == nullptr)
        {
            continue;
        }
        PDLVariable* pVariable = createDeclaredVariable(scope, typeName, *pProto, false, UniqueModuleID());
        if (pVariable != nullptr)
        {
            push_back(pVariable);
        }
        delete pProto;
    }
    delete pProtos;
}

PDLVariableList::~PDLVariableList() {}

void PDLVariableList::appendList(PDLVariableList*& pOther)
{
    if (pOther == nullptr)
    {
        return;
    }
    splice(end(), *pOther);
    delete pOther;
    pOther = nullptr;
}
