#ifndef CORE_PANELSTATE_HELPERS_H
#define CORE_PANELSTATE_HELPERS_H

// Test subscribers of the panel state and a capture of standard output.

#include "pdleventmanager.h"
#include "pdlpanelstate.h"

#include <basekit/fidhelper.h>

#include <atomic>
#include <iostream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

// Redirects std::cout into a string for its lifetime.
class StdoutCapture
{
public:
    StdoutCapture() : m_pOld(std::cout.rdbuf(m_text.rdbuf())) {}
    ~StdoutCapture() { std::cout.rdbuf(m_pOld); }
    std::string text() const { return m_text.str(); }

private:
    std::ostringstream m_text;
    std::streambuf* m_pOld;
};

// Records every call it receives. By default it is served directly (updateDirect on the writer's
// thread); with useEventManager it is marked outdated and served by the main loop.
class RecordingSubscriber : public PDLStateSubscriber
{
public:
    explicit RecordingSubscriber(std::string const& name, bool useEventManager = false)
        : m_name(name), m_useEventManager(useEventManager)
    {
    }

    bool useEventManager() const override { return m_useEventManager; }
    void updateDirect(std::string const& fid, std::string const& value) override
    {
        m_direct.push_back(std::make_pair(fid, value));
    }
    PDLEvent* makeEvent(int id) override
    {
        m_madeEvents.push_back(id);
        if (!m_giveEvents)
        {
            return nullptr;
        }
        // An event without a module: the queue drops it after counting.
        return new PDLEvent(PDLEvent::eEventState);
    }
    PDLEvent* makeTriggerEvent(int id, std::string const& fid, std::string const& parameter) override
    {
        m_triggerEvents.push_back(std::to_string(id) + ":" + fid + ":" + parameter);
        return m_giveEvents ? new PDLEvent(PDLEvent::eEventMFDriver) : nullptr;
    }
    void update() override { ++m_updates; }
    void triggerMFDriverEvent(std::string const& fid, std::string const& parameter) override
    {
        m_directTriggers.push_back(fid + ":" + parameter);
    }
    std::string getDescription(int id) const override { return m_name + "#" + std::to_string(id); }

    std::string m_name;
    bool m_useEventManager;
    bool m_giveEvents = false;
    std::vector<std::pair<std::string, std::string>> m_direct;
    std::vector<int> m_madeEvents;
    std::vector<std::string> m_triggerEvents;
    std::vector<std::string> m_directTriggers;
    std::atomic<int> m_updates{0};
};

// Keeps its patterns itself, as wildcard subscribers do, and subscribes to new entries that fit.
class PatternSubscriber : public RecordingSubscriber
{
public:
    PatternSubscriber(std::string const& name, std::vector<std::string> const& patterns)
        : RecordingSubscriber(name), m_patterns(patterns)
    {
    }

    void checkNewStateEntry(std::string const& fid) override
    {
        m_asked.push_back(fid);
        for (std::string const& pattern : m_patterns)
        {
            if (FIDPatternHelper(pattern).matches(FIDHelper(fid)))
            {
                PDLPanelState::getInstance()->subscribe(fid, PDLStateSubscriberKey(this, 0));
                return;
            }
        }
    }

    std::vector<std::string> m_patterns;
    std::vector<std::string> m_asked;
};

#endif
