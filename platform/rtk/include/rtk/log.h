#ifndef RTK_LOG_H
#define RTK_LOG_H

#include "rtk/path.h"
#include "rtk/singleton.h"

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>

namespace rtk
{
// A stream buffer that collects one thread's text and hands it to the log sink (LogManager::writeText):
// the complete lines whenever a line end is written, everything on flush (sync), and what is left when
// it is destroyed (ended by a line end). A prefix, if given, is put ahead of every line. One object
// belongs to one thread.
class LogLineBuffer : public std::streambuf
{
public:
    explicit LogLineBuffer(std::string const& linePrefix = "") : m_linePrefix(linePrefix) {}
    ~LogLineBuffer() override;

protected:
    int_type overflow(int_type c) override;
    std::streamsize xsputn(char const* pText, std::streamsize count) override;
    int sync() override;

private:
    void add(char const* pText, size_t count);
    void emitCompleteLines();

    std::string m_linePrefix;
    std::string m_pending;
    bool m_atLineStart = true;
};

// A stream buffer that accepts and drops everything.
class NullBuffer : public std::streambuf
{
protected:
    int_type overflow(int_type c) override { return traits_type::not_eof(c); }
    std::streamsize xsputn(char const*, std::streamsize count) override { return count; }
};

// A named log output with a level. level(l) hands out the calling thread's stream when l is at or
// below the output's level, else a stream that swallows everything. Each thread writes into its own
// buffer, which reaches the shared sink a whole line at a time (on a line end) or on flush, so lines of
// different threads never mix. The library adds no prefix to what is written.
class LogOutput
{
public:
    enum ELogLevel
    {
        eLevelFatal = 1,
        eLevelError,
        eLevelWarning,
        eLevelInfo,
        eLevelDebug1,
        eLevelDebug2,
        eLevelDebug3
    };

    LogOutput(std::string const& name, int level) : m_name(name), m_level(level) {}

    std::string const& getName() const { return m_name; }
    int getLevel() const { return m_level.load(std::memory_order_relaxed); }
    void setLevel(int level) { m_level.store(level, std::memory_order_relaxed); }
    bool isEnabled(int level) const { return level <= getLevel(); }

    std::ostream& level(int level);

    // The calling thread's stream that discards everything (the same one level() gives when off).
    static std::ostream& getNullStream();

private:
    LogOutput(LogOutput const&) = delete;
    LogOutput& operator=(LogOutput const&) = delete;

    std::string m_name;
    std::atomic<int> m_level;
};

// The registry of log outputs and the one sink all of them (and the logkit categories) share.
// The host creates it with createInstance(); the sink itself lives for the whole process, so the
// static sink operations work before the manager exists and after it is gone.
class LogManager : public Singleton<LogManager>
{
public:
    LogManager() {}

    // The output of that name; the same object for the same name, created at first use at the default
    // level (3, WARNING, unless changed).
    LogOutput* getOutput(std::string const& name);
    bool hasOutput(std::string const& name) const;

    int getDefaultLevel() const;
    // The level of outputs created from now on.
    void setDefaultLevel(int level);
    // The level of every existing output, and the default for later ones.
    void setAllLevels(int level);

    // Appends to (or creates) that file and sends all log text there. False when it cannot be opened;
    // the sink is left as it was then.
    static bool setLogFile(Path const& path);
    // Sends all log text to that stream (null: back to standard error). The stream is not owned.
    static void setSink(std::ostream* pStream);
    // Writes text to the sink under the sink's lock. A text without a line end leaves the line open for
    // the same thread; text of another thread first ends that open line.
    static void writeText(std::string const& text);
    // Writes the text and a line end.
    static void writeLine(std::string const& line);

private:
    mutable std::mutex m_lock;
    std::map<std::string, std::unique_ptr<LogOutput>> m_outputs;
    int m_defaultLevel = LogOutput::eLevelWarning;
};
} // namespace rtk

#endif
