#include "logkit/logging.h"

#include "rtk/log.h"

#include <memory>
#include <utility>

namespace Orvane
{
namespace Utilities
{
namespace Logging
{
namespace
{
struct StreamEntry
{
    explicit StreamEntry(std::string const& prefix) : m_buffer(prefix), m_stream(&m_buffer) {}

    rtk::LogLineBuffer m_buffer;
    LogStream m_stream;
};

thread_local bool t_streamsGone = false;

// The calling thread's streams, by category name and severity.
struct ThreadStreams
{
    ThreadStreams() : m_nullStream(&m_nullBuffer) {}
    ~ThreadStreams() { t_streamsGone = true; }

    std::map<std::pair<std::string, int>, std::unique_ptr<StreamEntry>> m_streams;
    rtk::NullBuffer m_nullBuffer;
    LogStream m_nullStream;
};

ThreadStreams& getThreadStreams()
{
    if (t_streamsGone)
    {
        // Writers after the end of their thread's streams (destructors of statics) share this one.
        static ThreadStreams* s_pLateStreams = new ThreadStreams;
        return *s_pLateStreams;
    }
    thread_local ThreadStreams t_streams;
    return t_streams;
}
} // namespace

char const* getSeverityName(int severity)
{
    switch (severity)
    {
    case eSeverityFatal:
        return "FATAL";
    case eSeverityError:
        return "ERROR";
    case eSeverityWarning:
        return "WARNING";
    case eSeverityInfo:
        return "INFO";
    case eSeverityDebug:
        return "DEBUG";
    default:
        return "LOG";
    }
}

// ------------------------------------------------------------------------------------------------

LogManager& LogManager::instance()
{
    // Never destroyed: categories may log from the destructors of statics.
    static LogManager* s_pInstance = new LogManager;
    return *s_pInstance;
}

int LogManager::getLevel(std::string const& category) const
{
    std::lock_guard<std::mutex> lock(m_lock);
    auto it = m_levels.find(category);
    return it != m_levels.end() ? it->second : m_defaultLevel;
}

void LogManager::setLevel(std::string const& category, int level)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_levels[category] = level;
}

int LogManager::getDefaultLevel() const
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_defaultLevel;
}

void LogManager::setDefaultLevel(int level)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_defaultLevel = level;
}

// ------------------------------------------------------------------------------------------------

bool LogCategory::isEnabled(int severity) const
{
    return severity <= LogManager::instance().getLevel(m_name);
}

LogStream& LogCategory::stream(int severity)
{
    ThreadStreams& streams = getThreadStreams();
    if (!isEnabled(severity))
        return streams.m_nullStream;
    std::unique_ptr<StreamEntry>& pEntry = streams.m_streams[std::make_pair(m_name, severity)];
    if (!pEntry)
        pEntry.reset(new StreamEntry("[" + m_name + "] " + getSeverityName(severity) + " "));
    return pEntry->m_stream;
}
} // namespace Logging
} // namespace Utilities
} // namespace Orvane
