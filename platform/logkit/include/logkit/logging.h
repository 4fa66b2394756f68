#ifndef LOGKIT_LOGGING_H
#define LOGKIT_LOGGING_H

#include <map>
#include <mutex>
#include <ostream>
#include <streambuf>
#include <string>

namespace Orvane
{
namespace Utilities
{
namespace Logging
{
// The severities of a category's streams, most severe first.
enum ELogSeverity
{
    eSeverityFatal = 1,
    eSeverityError = 2,
    eSeverityWarning = 3,
    eSeverityInfo = 4,
    eSeverityDebug = 5
};

// One line layout for all categories: "[CATEGORY] SEVERITY text", e.g. "[Startup] INFO Unloading
// modules...". The text goes to the sink of rtk's log outputs.
char const* getSeverityName(int severity);

// A std::ostream that one thread writes to. Its text reaches the log sink a line at a time (each line
// carrying the category and severity) on every line end or flush; lines of different threads never
// mix.
class LogStream : public std::ostream
{
public:
    explicit LogStream(std::streambuf* pBuffer) : std::ostream(pBuffer) {}
};

// Per-category thresholds. Everything at or above a category's level (numerically at or below) is
// written; the rest is discarded. The default level is info.
class LogManager
{
public:
    static LogManager& instance();

    int getLevel(std::string const& category) const;
    void setLevel(std::string const& category, int level);
    int getDefaultLevel() const;
    // The level of every category without a level of its own.
    void setDefaultLevel(int level);

private:
    LogManager() {}
    LogManager(LogManager const&) = delete;
    LogManager& operator=(LogManager const&) = delete;

    mutable std::mutex m_lock;
    std::map<std::string, int> m_levels;
    int m_defaultLevel = eSeverityInfo;
};

// A named log category ("Startup", "RCLP"). May be used from any thread: each thread gets its own
// streams. Writing to fatal() only writes: the process goes on.
class LogCategory
{
public:
    explicit LogCategory(std::string const& name) : m_name(name) {}

    std::string const& getName() const { return m_name; }
    bool isEnabled(int severity) const;

    LogStream& fatal() { return stream(eSeverityFatal); }
    LogStream& error() { return stream(eSeverityError); }
    LogStream& warning() { return stream(eSeverityWarning); }
    LogStream& info() { return stream(eSeverityInfo); }
    LogStream& debug() { return stream(eSeverityDebug); }
    // The calling thread's stream of this category and severity, or a discarding one when the
    // severity is below the category's level.
    LogStream& stream(int severity);

private:
    std::string m_name;
};
} // namespace Logging
} // namespace Utilities
} // namespace Orvane

#endif
