#ifndef PDLPANELSTATE_H
#define PDLPANELSTATE_H

// The panel state: the keyed store of function values shared by PDL, the host and remote clients
// (PDLStateEntry, PDLPanelState), the subscriber side (PDLStateSubscriber, PDLStateSubscriberKey) and
// the catalogue of delegation types (PDLDelegationType). PDLPanelState is made before and deleted
// after everything that subscribes to it.

#include "pdlvariant.h"

#include "rtk/cmd.h"
#include "rtk/log.h"
#include "rtk/singleton.h"

#include <interfaces/ipanelstate.h>
#include <interfaces/ipspublisher.h>

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <set>
#include <string>
#include <utility>

class FIDPatternHelper;
class PDLEvent;

// Everything that listens to the panel state. How a change reaches the subscriber depends on
// useEventManager: false gives updateDirect on the writer's thread, true an outdated mark that the
// main loop turns into makeEvent (or update when that gives no event).
class PDLStateSubscriber
{
public:
    virtual ~PDLStateSubscriber() {}

    virtual bool useEventManager() const { return true; }
    virtual void updateDirect(std::string const& /*fid*/, std::string const& /*value*/) {}
    virtual PDLEvent* makeEvent(int /*id*/) { return nullptr; }
    virtual PDLEvent* makeTriggerEvent(int /*id*/, std::string const& /*fid*/,
                                       std::string const& /*parameter*/)
    {
        return nullptr;
    }
    virtual void update() {}
    virtual void triggerMFDriverEvent(std::string const& /*fid*/, std::string const& /*parameter*/) {}
    virtual std::string getDescription(int id) const = 0;
    // Asked for every entry created after a wildcard subscription; may subscribe to it.
    virtual void checkNewStateEntry(std::string const& /*fid*/) {}
};

// One subscription: a subscriber (not owned) and an id that tells several subscriptions of one object
// apart. Ordered by the subscriber's address, then by id.
class PDLStateSubscriberKey
{
public:
    PDLStateSubscriberKey() : m_pSubscriber(nullptr), m_id(0) {}
    PDLStateSubscriberKey(PDLStateSubscriber* pSubscriber, int32_t id) : m_pSubscriber(pSubscriber), m_id(id)
    {
    }

    bool operator<(PDLStateSubscriberKey const& other) const
    {
        if (m_pSubscriber != other.m_pSubscriber)
        {
            return std::less<PDLStateSubscriber*>()(m_pSubscriber, other.m_pSubscriber);
        }
        return m_id < other.m_id;
    }
    bool operator==(PDLStateSubscriberKey const& other) const
    {
        return m_pSubscriber == other.m_pSubscriber && m_id == other.m_id;
    }

    PDLStateSubscriber* m_pSubscriber;
    int32_t m_id;
};

typedef std::set<PDLStateSubscriberKey> PDLStateSubscriberSet;

// A device type of the delegation catalogue, with its nested types, which it owns.
class PDLDelegationType
{
public:
    PDLDelegationType() : m_slots(1) {}
    virtual ~PDLDelegationType();

    std::string m_name;
    int32_t m_slots;
    std::list<PDLDelegationType*> m_children;

private:
    PDLDelegationType(PDLDelegationType const&) = delete;
    PDLDelegationType& operator=(PDLDelegationType const&) = delete;
};

// One function id with its value and subscribers. The setters notify only on a real change: same kind
// and same value (floats compared exactly, texts byte for byte) is no change.
class PDLStateEntry
{
public:
    explicit PDLStateEntry(std::string const& functionId);
    virtual ~PDLStateEntry();

    void setValue(PDLVariant const& value);
    void setValueInvalid();
    void setValueBool(bool value);
    void setValueInt(int value);
    void setValueFloat(float value);
    void setValueString(std::string const& value);

    // A notification without a value: the value and the used mark stay as they are.
    void triggerEvent(std::string const& parameter);

    void subscribe(PDLStateSubscriberKey const& key) { m_subscribers.insert(key); }
    void unsubscribe(PDLStateSubscriberKey const& key) { m_subscribers.erase(key); }
    bool hasSubscribers() const { return !m_subscribers.empty(); }
    // Prints one description line per subscription on standard output.
    void showSubscribers() const;
    // The accounted size of the entry in bytes.
    size_t memSize() const;

    std::string const& getFunctionId() const { return m_functionId; }
    PDLVariant const& getValue() const { return m_value; }
    bool isUsed() const { return m_used; }
    PDLStateSubscriberSet const& getSubscribers() const { return m_subscribers; }

private:
    PDLStateEntry(PDLStateEntry const&) = delete;
    PDLStateEntry& operator=(PDLStateEntry const&) = delete;

    // Writes the change line when the log asks for it; newText is built only then.
    template <class F>
    void logChange(F const& newText) const;
    // Marks the entry used and tells every subscriber.
    void addSubscribersToEventManager();

    std::string const m_functionId;
    PDLVariant m_value;
    bool m_used;
    PDLStateSubscriberSet m_subscribers;
};

// Function id and value pairs in key order; the caller of getValueWildcard owns the list.
typedef std::list<std::pair<std::string, PDLVariant>> PDLStateValueList;

class PDLPanelState : public IPanelState, public IPSPublisher, public rtk::Singleton<PDLPanelState>
{
public:
    // Fetches the log output "PanelState" and registers the shell commands.
    PDLPanelState();
    // Reports entries that still have subscribers, then deletes entries and device definitions.
    ~PDLPanelState() override;

    IInterface* queryInterface(unsigned int id) override;

    // IPanelState: each takes the interpreter mutex for its whole run.
    void setStateValue(std::string const& fid, std::string const& value) override;
    void setStateValueFloat(std::string const& fid, float value) override;
    void setStateValueInt(std::string const& fid, int value) override;
    void setStateValueBool(std::string const& fid, bool value) override;
    void unsetStateValue(std::string const& fid) override;
    void triggerEvent(std::string const& fid, std::string const& parameter) override;

    // IPSPublisher: each takes the interpreter mutex for its whole run.
    void subscribe(std::string const& fid, PDLStateSubscriberKey const& key) override;
    void subscribeWildcard(FIDPatternHelper const& pattern, PDLStateSubscriberKey const& key) override;
    void unsubscribe(std::string const& fid, PDLStateSubscriberKey const& key) override;
    void unsubscribeWildcard(FIDPatternHelper const& pattern, PDLStateSubscriberKey const& key) override;
    std::string getValueString(std::string const& fid) override;

    // Writers for code that holds the interpreter mutex already; they take no lock themselves and wake
    // the main loop whether anything changed or not.
    void setValue(std::string const& fid, PDLVariant const& value);
    void setValueInvalid(std::string const& fid);
    void setValueString(std::string const& fid, std::string const& value);
    void setValueFloat(std::string const& fid, float value);
    void setValueInt(std::string const& fid, int value);
    void setValueBool(std::string const& fid, bool value);
    // Every existing entry whose function id begins with prefix; creates none.
    void setMultiValue(std::string const& prefix, PDLVariant const& value);
    void unsetMultiValue(std::string const& prefix);

    // A copy of the value (the entry is created if need be); takes the mutex. With warnIfInvalid an
    // Invalid value is reported as a warning.
    PDLVariant getValue(std::string const& fid, bool warnIfInvalid);
    // The pairs of all entries the pattern matches, in key order; creates nothing. Takes the mutex.
    PDLStateValueList* getValueWildcard(FIDPatternHelper const& pattern);
    // The entry of fid, created (and announced to the wildcard subscribers) if there is none.
    PDLStateEntry* findOrCreateStateEntry(std::string const& fid);
    // Null when there is no such entry; creates nothing.
    PDLStateEntry* findStateEntry(std::string const& fid) const;
    size_t getEntryCount() const { return m_stateEntries.size(); }
    void triggerMFDriverEvent(std::string const& fid, std::string const& parameter);

    // Delegation types: ownership of the top-level definition passes to the state.
    void addDeviceDefinition(PDLDelegationType* pDeviceDefinition);
    void insertIntoState(std::string const& prefix, PDLDelegationType* pType);
    PDLDelegationType* getDelegationType(std::string const& name) const;
    // Mirrors fid as one boolean entry per value from now on; the caller holds the mutex.
    void unfoldSID(std::string const& fid);
    bool isUnfolded(std::string const& fid) const { return m_unfoldedSIDs.count(fid) != 0; }
    bool hasWildcardSubscriber(PDLStateSubscriberKey const& key) const
    {
        return m_wildcardSubscribers.count(key) != 0;
    }

    // Diagnostics on standard output; they read without the mutex.
    void dump(std::string const& mask) const;
    void showSubscribers(std::string const& fid) const;
    void dumpOrphanedEntries() const;

    rtk::LogOutput* getLogOutput() const;

private:
    typedef std::map<std::string, PDLStateEntry*> EntryMap;

    // Gives the main loop's semaphore, if the event manager exists.
    void wakeMainLoop() const;
    bool shellCmdShowPanelState(rtk::CmdParameters& params);
    bool shellCmdShowSubscribers(rtk::CmdParameters& params);

    EntryMap m_stateEntries;
    PDLStateSubscriberSet m_wildcardSubscribers;
    std::list<PDLDelegationType*> m_deviceDefinitions;
    std::map<std::string, PDLDelegationType*> m_delegationTypes;
    std::set<std::string> m_unfoldedSIDs;
    rtk::LogOutput* m_pPanelStateLog;
};

#endif
