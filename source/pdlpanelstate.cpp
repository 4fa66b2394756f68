#include "pdlpanelstate.h"

#include "pdlbaseclasses.h"
#include "pdleventmanager.h"
#include "pdlinterpreter.h"

#include <basekit/fidhelper.h>
#include <logkit/logging.h>

#include <iomanip>
#include <iostream>
#include <sstream>

namespace
{
// Holds the interpreter mutex for the lifetime of the object.
class InterpreterLock
{
public:
    InterpreterLock() { PDLInterpreter::mutexTake(); }
    ~InterpreterLock() { PDLInterpreter::mutexGive(); }

private:
    InterpreterLock(InterpreterLock const&) = delete;
    InterpreterLock& operator=(InterpreterLock const&) = delete;
};

bool startsWith(std::string const& text, std::string const& prefix)
{
    return text.compare(0, prefix.size(), prefix) == 0;
}

// Walks a key set so that the set may change from within the visit (a subscriber that unsubscribes
// itself, or subscribes another key): each step looks up the key after the last one visited.
template <class F>
void forEachKey(PDLStateSubscriberSet const& keys, F const& visit)
{
    PDLStateSubscriberSet::const_iterator it = keys.begin();
    while (it != keys.end())
    {
        PDLStateSubscriberKey const key = *it;
        visit(key);
        it = keys.upper_bound(key);
    }
}

std::string describe(PDLStateSubscriberKey const& key)
{
    return key.m_pSubscriber != nullptr ? key.m_pSubscriber->getDescription(key.m_id) : std::string();
}

// The report of a fault in the store: FATAL and ERROR count as errors.
void report(rtk::LogOutput::ELogLevel level, std::string const& text, char const* pFile, int line)
{
    PDLRunTimeInfo::showError(level, pFile, line) << text << std::endl << std::endl;
    if (level <= rtk::LogOutput::eLevelError)
    {
        ++PDLParseInfo::m_errorCount;
    }
}

rtk::LogOutput* stateLog()
{
    return PDLPanelState::getInstance()->getLogOutput();
}

} // namespace

// ---------------------------------------------------------------------------------------------------
// PDLDelegationType

PDLDelegationType::~PDLDelegationType()
{
    for (PDLDelegationType* pChild : m_children)
    {
        delete pChild;
    }
    m_children.clear();
}

// ---------------------------------------------------------------------------------------------------
// PDLStateEntry

PDLStateEntry::PDLStateEntry(std::string const& functionId) : m_functionId(functionId), m_used(false) {}

PDLStateEntry::~PDLStateEntry() {}

template <class F>
void PDLStateEntry::logChange(F const& newText) const
{
    rtk::LogOutput* pLog = stateLog();
    if (pLog->getLevel() > 4)
    {
        pLog->level(5) << "Panel State change " << m_functionId << " " << m_value.getString() << " ==> "
                       << newText() << std::endl;
    }
}

void PDLStateEntry::setValue(PDLVariant const& value)
{
    switch (value.getKind())
    {
    case PDLVariant::eInvalid:
        setValueInvalid();
        break;
    case PDLVariant::eBool:
        setValueBool(value.getBool());
        break;
    case PDLVariant::eInt:
        setValueInt(value.getInt());
        break;
    case PDLVariant::eFloat:
        setValueFloat(value.getFloat());
        break;
    default:
        setValueString(value.getString());
        break;
    }
}

void PDLStateEntry::setValueInvalid()
{
    if (m_value.getKind() == PDLVariant::eInvalid)
    {
        return;
    }
    logChange([] { return std::string("INV"); });
    // Only the kind changes: assigning an Invalid copies no value field.
    m_value = PDLVariant();
    addSubscribersToEventManager();
}

void PDLStateEntry::setValueBool(bool value)
{
    if (m_value.getKind() == PDLVariant::eBool && m_value.getBool() == value)
    {
        return;
    }
    logChange([value] { return std::string(value ? "TRUE" : "FALSE"); });
    m_value.setBool(value);
    addSubscribersToEventManager();
}

void PDLStateEntry::setValueInt(int value)
{
    if (m_value.getKind() == PDLVariant::eInt && m_value.getInt() == value)
    {
        return;
    }
    logChange([value] { return std::to_string(value); });
    m_value.setInt(value);
    addSubscribersToEventManager();
}

void PDLStateEntry::setValueFloat(float value)
{
    // Exact comparison: a NaN never equals and so is a change each time.
    if (m_value.getKind() == PDLVariant::eFloat && m_value.getFloat() == value)
    {
        return;
    }
    logChange(
        [value]
        {
            std::ostringstream os;
            os << value;
            return os.str();
        });
    m_value.setFloat(value);
    addSubscribersToEventManager();
}

void PDLStateEntry::setValueString(std::string const& value)
{
    if (m_value.getKind() == PDLVariant::eString && m_value.getString() == value)
    {
        return;
    }
    logChange([&value] { return value; });
    m_value.setString(value);
    addSubscribersToEventManager();
}

void PDLStateEntry::addSubscribersToEventManager()
{
    m_used = true;
    if (m_subscribers.empty())
    {
        return;
    }

    rtk::LogOutput* pLog = stateLog();
    PDLEventManager* pEventManager =
        PDLEventManager::hasInstance() ? PDLEventManager::getInstance() : nullptr;
    std::string valueText;
    bool haveValueText = false;

    forEachKey(m_subscribers,
               [&](PDLStateSubscriberKey const& key)
               {
                   if (pLog->getLevel() > 5)
                   {
                       pLog->level(6) << "  " << describe(key) << std::endl;
                   }
                   if (key.m_pSubscriber != nullptr && !key.m_pSubscriber->useEventManager())
                   {
                       if (!haveValueText)
                       {
                           valueText = m_value.getString();
                           haveValueText = true;
                       }
                       key.m_pSubscriber->updateDirect(m_functionId, valueText);
                   }
                   else if (pEventManager != nullptr)
                   {
                       pEventManager->addOutdatedSubscriber(key);
                   }
               });
}

void PDLStateEntry::triggerEvent(std::string const& parameter)
{
    rtk::LogOutput* pLog = stateLog();
    if (pLog->getLevel() > 4)
    {
        pLog->level(5) << "STATE: TRIGGER " << m_functionId << " ( " << parameter << ") received."
                       << std::endl;
    }
    PDLEventManager* pEventManager =
        PDLEventManager::hasInstance() ? PDLEventManager::getInstance() : nullptr;
    forEachKey(m_subscribers,
               [&](PDLStateSubscriberKey const& key)
               {
                   if (pLog->getLevel() > 5)
                   {
                       pLog->level(6)
                           << "       TRIGGER " << m_functionId << " sent to " << describe(key) << std::endl;
                   }
                   if (pEventManager != nullptr)
                   {
                       pEventManager->triggerMFDriverEvent(key, m_functionId, parameter);
                   }
               });
}

void PDLStateEntry::showSubscribers() const
{
    for (PDLStateSubscriberKey const& key : m_subscribers)
    {
        std::cout << describe(key) << std::endl;
    }
}

size_t PDLStateEntry::memSize() const
{
    return m_subscribers.size() * 16 + m_value.getString().size() + 176;
}

// ---------------------------------------------------------------------------------------------------
// PDLPanelState

PDLPanelState::PDLPanelState() : m_pPanelStateLog(nullptr)
{
    m_pPanelStateLog = rtk::LogManager::getInstance()->getOutput("PanelState");

    rtk::CmdProcessor* pCmd = rtk::CmdProcessor::getInstance();
    pCmd->registerCmd(
        "showPanelState",
        "showPanelState [FID search mask]\n\tList all entries currently available in the PanelState, along "
        "with their values.\n\tIf a FID search mask is specified, display only values starting with the "
        "search string.\n\tIn addition, list a S for each value that has subscribers (i.e. are currently "
        "used\n\tby at least one widget), and a U for entries that have been set at least once (i.e. is "
        "valid).",
        this, &PDLPanelState::shellCmdShowPanelState);
    pCmd->registerCmd("showSubscribers",
                      "showSubscribers <FID>\n\tList all subscribers for specified PanelState entry.", this,
                      &PDLPanelState::shellCmdShowSubscribers);
}

PDLPanelState::~PDLPanelState()
{
    rtk::CmdProcessor::getInstance()->unregisterOwner(this);

    Orvane::Utilities::Logging::LogCategory log("Startup");
    log.info() << "Deleting " << m_stateEntries.size() << " entries from panel state" << std::endl;
    size_t const count = m_stateEntries.size();
    for (EntryMap::value_type& item : m_stateEntries)
    {
        if (item.second->hasSubscribers())
        {
            report(rtk::LogOutput::eLevelFatal, "deleting state entry " + item.first + " with subscribers",
                   __FILE__, __LINE__);
        }
        delete item.second;
    }
    m_stateEntries.clear();
    log.info() << "Deleted " << count << " entries" << std::endl;

    for (PDLDelegationType* pDefinition : m_deviceDefinitions)
    {
        delete pDefinition;
    }
    m_deviceDefinitions.clear();
    m_delegationTypes.clear();
    m_pPanelStateLog = nullptr;
}

IInterface* PDLPanelState::queryInterface(unsigned int id)
{
    if (id == IPanelState::s_interfaceID)
    {
        return static_cast<IPanelState*>(this);
    }
    if (id == IPSPublisher::s_interfaceID)
    {
        return static_cast<IPSPublisher*>(this);
    }
    return nullptr;
}

rtk::LogOutput* PDLPanelState::getLogOutput() const
{
    RTK_ASSERT(m_pPanelStateLog);
    return m_pPanelStateLog;
}

void PDLPanelState::wakeMainLoop() const
{
    if (PDLEventManager::hasInstance())
    {
        PDLEventManager::getInstance()->wakeStateDriver();
    }
}

// --- IPanelState -------------------------------------------------------------------------------------

void PDLPanelState::setStateValue(std::string const& fid, std::string const& value)
{
    InterpreterLock lock;
    if (m_unfoldedSIDs.count(fid) != 0)
    {
        std::string const present = getValue(fid, false).getString();
        if (present != value)
        {
            if (!present.empty())
            {
                setValueBool(fid + "." + present, false);
            }
            setValueBool(fid + "." + value, true);
        }
    }
    setValueString(fid, value);
}

void PDLPanelState::setStateValueFloat(std::string const& fid, float value)
{
    InterpreterLock lock;
    setValueFloat(fid, value);
}

void PDLPanelState::setStateValueInt(std::string const& fid, int value)
{
    InterpreterLock lock;
    if (m_unfoldedSIDs.count(fid) != 0)
    {
        PDLVariant const present = getValue(fid, false);
        if (present.getKind() == PDLVariant::eInvalid || present.getInt() != value)
        {
            // An Invalid value reads as 0 here, so "fid.0" is cleared (and created) then.
            setValueBool(fid + "." + std::to_string(present.getInt()), false);
            setValueBool(fid + "." + std::to_string(value), true);
        }
    }
    setValueInt(fid, value);
}

void PDLPanelState::setStateValueBool(std::string const& fid, bool value)
{
    InterpreterLock lock;
    setValueBool(fid, value);
}

void PDLPanelState::unsetStateValue(std::string const& fid)
{
    InterpreterLock lock;
    if (!fid.empty() && fid[fid.size() - 1] == '*')
    {
        unsetMultiValue(fid.substr(0, fid.size() - 1));
    }
    else
    {
        setValueInvalid(fid);
    }
}

void PDLPanelState::triggerEvent(std::string const& fid, std::string const& parameter)
{
    InterpreterLock lock;
    triggerMFDriverEvent(fid, parameter);
}

// --- IPSPublisher ------------------------------------------------------------------------------------

void PDLPanelState::subscribe(std::string const& fid, PDLStateSubscriberKey const& key)
{
    InterpreterLock lock;
    findOrCreateStateEntry(fid)->subscribe(key);
}

void PDLPanelState::subscribeWildcard(FIDPatternHelper const& pattern, PDLStateSubscriberKey const& key)
{
    InterpreterLock lock;
    for (EntryMap::value_type& item : m_stateEntries)
    {
        if (pattern.matches(FIDHelper(item.first)))
        {
            item.second->subscribe(key);
        }
    }
    // Only who wants to be asked about new entries is kept, not the pattern.
    m_wildcardSubscribers.insert(key);
}

void PDLPanelState::unsubscribe(std::string const& fid, PDLStateSubscriberKey const& key)
{
    InterpreterLock lock;
    PDLStateEntry* pEntry = findStateEntry(fid);
    if (pEntry != nullptr)
    {
        pEntry->unsubscribe(key);
    }
}

void PDLPanelState::unsubscribeWildcard(FIDPatternHelper const& pattern, PDLStateSubscriberKey const& key)
{
    InterpreterLock lock;
    for (EntryMap::value_type& item : m_stateEntries)
    {
        if (pattern.matches(FIDHelper(item.first)))
        {
            item.second->unsubscribe(key);
        }
    }
    m_wildcardSubscribers.erase(key);
}

std::string PDLPanelState::getValueString(std::string const& fid)
{
    InterpreterLock lock;
    return getValue(fid, false).getString();
}

// --- unlocked writers ------------------------------------------------------------------------------

void PDLPanelState::setValue(std::string const& fid, PDLVariant const& value)
{
    findOrCreateStateEntry(fid)->setValue(value);
    wakeMainLoop();
}

void PDLPanelState::setValueInvalid(std::string const& fid)
{
    findOrCreateStateEntry(fid)->setValueInvalid();
    wakeMainLoop();
}

void PDLPanelState::setValueString(std::string const& fid, std::string const& value)
{
    findOrCreateStateEntry(fid)->setValueString(value);
    wakeMainLoop();
}

void PDLPanelState::setValueFloat(std::string const& fid, float value)
{
    findOrCreateStateEntry(fid)->setValueFloat(value);
    wakeMainLoop();
}

void PDLPanelState::setValueInt(std::string const& fid, int value)
{
    findOrCreateStateEntry(fid)->setValueInt(value);
    wakeMainLoop();
}

void PDLPanelState::setValueBool(std::string const& fid, bool value)
{
    findOrCreateStateEntry(fid)->setValueBool(value);
    wakeMainLoop();
}

void PDLPanelState::setMultiValue(std::string const& prefix, PDLVariant const& value)
{
    // Entries made by a direct subscriber during the walk do not disturb it: map insertion keeps
    // iterators valid.
    for (EntryMap::iterator it = m_stateEntries.lower_bound(prefix);
         it != m_stateEntries.end() && startsWith(it->first, prefix); ++it)
    {
        it->second->setValue(value);
    }
    wakeMainLoop();
}

void PDLPanelState::unsetMultiValue(std::string const& prefix)
{
    for (EntryMap::iterator it = m_stateEntries.lower_bound(prefix);
         it != m_stateEntries.end() && startsWith(it->first, prefix); ++it)
    {
        it->second->setValueInvalid();
    }
    wakeMainLoop();
}

// --- reading and lookup --------------------------------------------------------------------------

PDLVariant PDLPanelState::getValue(std::string const& fid, bool warnIfInvalid)
{
    InterpreterLock lock;
    PDLVariant value = findOrCreateStateEntry(fid)->getValue();
    if (warnIfInvalid && value.getKind() == PDLVariant::eInvalid)
    {
        report(rtk::LogOutput::eLevelWarning, "State Entry " + fid + " is invalid", __FILE__, __LINE__);
    }
    return value;
}

PDLStateValueList* PDLPanelState::getValueWildcard(FIDPatternHelper const& pattern)
{
    InterpreterLock lock;
    PDLStateValueList* pList = new PDLStateValueList;
    for (EntryMap::value_type const& item : m_stateEntries)
    {
        if (pattern.matches(FIDHelper(item.first)))
        {
            pList->push_back(std::make_pair(item.first, item.second->getValue()));
        }
    }
    return pList;
}

PDLStateEntry* PDLPanelState::findStateEntry(std::string const& fid) const
{
    EntryMap::const_iterator it = m_stateEntries.find(fid);
    return it != m_stateEntries.end() ? it->second : nullptr;
}

PDLStateEntry* PDLPanelState::findOrCreateStateEntry(std::string const& fid)
{
    EntryMap::iterator it = m_stateEntries.lower_bound(fid);
    if (it != m_stateEntries.end() && it->first == fid)
    {
        return it->second;
    }
    PDLStateEntry* pEntry = new PDLStateEntry(fid);
    m_stateEntries.insert(it, std::make_pair(fid, pEntry));

    // After the insertion, so that a wildcard subscriber can subscribe to the new entry from here.
    forEachKey(m_wildcardSubscribers,
               [&fid](PDLStateSubscriberKey const& key)
               {
                   if (key.m_pSubscriber != nullptr)
                   {
                       key.m_pSubscriber->checkNewStateEntry(fid);
                   }
               });
    return pEntry;
}

void PDLPanelState::triggerMFDriverEvent(std::string const& fid, std::string const& parameter)
{
    findOrCreateStateEntry(fid)->triggerEvent(parameter);
}

// --- delegation types ------------------------------------------------------------------------------

void PDLPanelState::addDeviceDefinition(PDLDelegationType* pDeviceDefinition)
{
    if (pDeviceDefinition == nullptr)
    {
        report(rtk::LogOutput::eLevelFatal, "pDeviceDefinition", __FILE__, __LINE__);
        // Going on would read through the null pointer.
        return;
    }
    std::string const& name = pDeviceDefinition->m_name;
    if (m_delegationTypes.count(name) != 0)
    {
        // The state does not take the definition over in this case.
        report(rtk::LogOutput::eLevelError,
               "Device type " + name + " is already defined (see DelegationTypes.xml)", __FILE__, __LINE__);
        return;
    }
    m_deviceDefinitions.push_back(pDeviceDefinition);
    insertIntoState("PANEL.EXTVAR", pDeviceDefinition);
}

void PDLPanelState::insertIntoState(std::string const& prefix, PDLDelegationType* pType)
{
    if (pType == nullptr)
    {
        return;
    }
    std::map<std::string, PDLDelegationType*>::iterator it = m_delegationTypes.find(pType->m_name);
    if (it != m_delegationTypes.end() && it->second != pType)
    {
        report(rtk::LogOutput::eLevelError,
               "Delegation " + pType->m_name + " is already defined (see DelegationTypes.xml)", __FILE__,
               __LINE__);
        return;
    }
    m_delegationTypes[pType->m_name] = pType;
    if (pType->m_slots < 1)
    {
        return;
    }
    // The path of each slot is handed down; it names the place in the tree but creates no entry.
    for (int32_t slot = 1; slot <= pType->m_slots; ++slot)
    {
        std::string const slotPrefix = prefix + "." + pType->m_name + std::to_string(slot);
        for (PDLDelegationType* pChild : pType->m_children)
        {
            insertIntoState(slotPrefix, pChild);
        }
    }
}

PDLDelegationType* PDLPanelState::getDelegationType(std::string const& name) const
{
    std::map<std::string, PDLDelegationType*>::const_iterator it = m_delegationTypes.find(name);
    return it != m_delegationTypes.end() ? it->second : nullptr;
}

void PDLPanelState::unfoldSID(std::string const& fid)
{
    if (!m_unfoldedSIDs.insert(fid).second)
    {
        return;
    }
    std::string const text = getValue(fid, false).getString();
    if (!text.empty())
    {
        setValueBool(fid + "." + text, true);
    }
}

// --- diagnostics -------------------------------------------------------------------------------------

namespace
{
struct DumpStatistics
{
    size_t m_count = 0;
    size_t m_unsubscribed = 0;
    size_t m_unused = 0;
    size_t m_memory = 0;

    void add(PDLStateEntry const& entry)
    {
        ++m_count;
        if (!entry.hasSubscribers())
        {
            ++m_unsubscribed;
        }
        if (!entry.isUsed())
        {
            ++m_unused;
        }
        m_memory += entry.getFunctionId().size() + 72 + entry.memSize();
    }

    void print(std::ostream& os) const
    {
        os << std::setw(30) << "Number of entries: " << m_count << std::endl;
        if (m_count != 0)
        {
            os << std::setw(30) << "Unsubscribed values: " << std::setw(8) << m_unsubscribed << " ("
               << m_unsubscribed * 100 / m_count << "%)" << std::endl;
            os << std::setw(30) << "Unused values: " << std::setw(8) << m_unused << " ("
               << m_unused * 100 / m_count << "%)" << std::endl;
        }
        os << std::setw(30) << "Memory usage: " << (m_memory >> 10) << " KB" << std::endl;
    }
};
} // namespace

void PDLPanelState::dump(std::string const& mask) const
{
    std::ostream& os = std::cout;
    std::ios_base::fmtflags const oldFlags = os.flags();
    os << std::left;
    std::string const rule(78, '=');

    os << std::endl << "Panel State:" << std::endl;
    os << std::setw(42) << "Function ID" << std::setw(20) << "Value"
       << "[Subscribers/Used]" << std::endl;
    os << rule << std::endl;

    DumpStatistics listed;
    DumpStatistics total;
    for (EntryMap::value_type const& item : m_stateEntries)
    {
        PDLStateEntry const& entry = *item.second;
        total.add(entry);
        if (!startsWith(item.first, mask))
        {
            continue;
        }
        listed.add(entry);
        PDLVariant const& value = entry.getValue();
        std::string const valueText =
            value.getKind() != PDLVariant::eInvalid ? "\"" + value.getString() + "\"" : std::string("(INV)");
        os << std::setw(40) << item.first << "= " << std::setw(20) << valueText << "["
           << (entry.hasSubscribers() ? "S" : " ") << (entry.isUsed() ? "U" : " ") << "]" << std::endl;
    }

    os << rule << std::endl << "Statistics:" << std::endl;
    listed.print(os);
    if (!mask.empty())
    {
        os << std::endl << "Total:" << std::endl;
        total.print(os);
    }
    os << rule << std::endl;
    os.flags(oldFlags);
}

void PDLPanelState::showSubscribers(std::string const& fid) const
{
    PDLStateEntry const* pEntry = findStateEntry(fid);
    if (pEntry == nullptr)
    {
        std::cout << "Entry not found." << std::endl;
        return;
    }
    pEntry->showSubscribers();
}

void PDLPanelState::dumpOrphanedEntries() const
{
    for (EntryMap::value_type const& item : m_stateEntries)
    {
        if (!item.second->hasSubscribers())
        {
            std::cout << "State Entry " << item.first << " has no subscribers" << std::endl;
        }
        if (!item.second->isUsed())
        {
            std::cout << "State Entry " << item.first << " has never been set" << std::endl;
        }
    }
}

bool PDLPanelState::shellCmdShowPanelState(rtk::CmdParameters& params)
{
    dump(params.getCount() > 0 ? params.get(0) : std::string());
    return true;
}

bool PDLPanelState::shellCmdShowSubscribers(rtk::CmdParameters& params)
{
    if (params.getCount() == 1)
    {
        showSubscribers(params.get(0));
    }
    else
    {
        std::cout << "missing FID argument" << std::endl;
    }
    return true;
}
