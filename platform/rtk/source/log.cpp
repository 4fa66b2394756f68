#include "rtk/log.h"

#include <cstring>
#include <fstream>
#include <iostream>
#include <thread>

namespace rtk
{
namespace
{
// The one destination of all log text. It is never destroyed, so that threads that end late and the
// destructors of statics can still write.
struct LogSink
{
    std::mutex m_lock;
    std::ostream* m_pStream = nullptr; // null: standard error
    std::unique_ptr<std::ofstream> m_pFile;
    bool m_lineOpen = false;
    std::thread::id m_openLineOwner;
};

LogSink& getSink()
{
    static LogSink* s_pSink = new LogSink;
    return *s_pSink;
}

// Set when the calling thread's streams are destroyed (thread end; for the main thread before the
// destructors of statics run). Trivially destructible, so it stays readable after that.
thread_local bool t_streamsGone = false;

struct ThreadStreams
{
    ~ThreadStreams() { t_streamsGone = true; }

    LogLineBuffer m_lineBuffer;
    std::ostream m_stream{&m_lineBuffer};
    NullBuffer m_nullBuffer;
    std::ostream m_nullStream{&m_nullBuffer};
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

// ------------------------------------------------------------------------------------------------

LogLineBuffer::~LogLineBuffer()
{
    if (!m_pending.empty())
    {
        if (m_pending.back() != '\n')
            m_pending += '\n';
        LogManager::writeText(m_pending);
    }
}

LogLineBuffer::int_type LogLineBuffer::overflow(int_type c)
{
    if (traits_type::eq_int_type(c, traits_type::eof()))
        return traits_type::not_eof(c);
    char const ch = traits_type::to_char_type(c);
    add(&ch, 1);
    return c;
}

std::streamsize LogLineBuffer::xsputn(char const* pText, std::streamsize count)
{
    if (count > 0)
        add(pText, static_cast<size_t>(count));
    return count;
}

int LogLineBuffer::sync()
{
    if (!m_pending.empty())
    {
        LogManager::writeText(m_pending);
        m_pending.clear();
    }
    return 0;
}

void LogLineBuffer::add(char const* pText, size_t count)
{
    bool sawLineEnd = false;
    for (size_t i = 0; i < count; ++i)
    {
        if (m_atLineStart)
        {
            m_pending += m_linePrefix;
            m_atLineStart = false;
        }
        m_pending += pText[i];
        if (pText[i] == '\n')
        {
            m_atLineStart = true;
            sawLineEnd = true;
        }
    }
    if (sawLineEnd)
        emitCompleteLines();
}

void LogLineBuffer::emitCompleteLines()
{
    size_t const end = m_pending.rfind('\n');
    if (end == std::string::npos)
        return;
    LogManager::writeText(m_pending.substr(0, end + 1));
    m_pending.erase(0, end + 1);
}

// ------------------------------------------------------------------------------------------------

std::ostream& LogOutput::level(int level)
{
    ThreadStreams& streams = getThreadStreams();
    return isEnabled(level) ? streams.m_stream : streams.m_nullStream;
}

std::ostream& LogOutput::getNullStream()
{
    return getThreadStreams().m_nullStream;
}

// ------------------------------------------------------------------------------------------------

LogOutput* LogManager::getOutput(std::string const& name)
{
    std::lock_guard<std::mutex> lock(m_lock);
    std::unique_ptr<LogOutput>& pOutput = m_outputs[name];
    if (!pOutput)
        pOutput.reset(new LogOutput(name, m_defaultLevel));
    return pOutput.get();
}

bool LogManager::hasOutput(std::string const& name) const
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_outputs.count(name) != 0;
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

void LogManager::setAllLevels(int level)
{
    std::lock_guard<std::mutex> lock(m_lock);
    m_defaultLevel = level;
    for (auto& entry : m_outputs)
        entry.second->setLevel(level);
}

bool LogManager::setLogFile(Path const& path)
{
    std::unique_ptr<std::ofstream> pFile(new std::ofstream(path.getString(), std::ios::out | std::ios::app));
    if (!pFile->is_open())
        return false;
    LogSink& sink = getSink();
    std::lock_guard<std::mutex> lock(sink.m_lock);
    sink.m_pFile = std::move(pFile);
    sink.m_pStream = sink.m_pFile.get();
    sink.m_lineOpen = false;
    return true;
}

void LogManager::setSink(std::ostream* pStream)
{
    LogSink& sink = getSink();
    std::lock_guard<std::mutex> lock(sink.m_lock);
    sink.m_pStream = pStream;
    sink.m_pFile.reset();
    sink.m_lineOpen = false;
}

void LogManager::writeText(std::string const& text)
{
    if (text.empty())
        return;
    LogSink& sink = getSink();
    std::thread::id const self = std::this_thread::get_id();
    std::lock_guard<std::mutex> lock(sink.m_lock);
    std::ostream& stream = sink.m_pStream != nullptr ? *sink.m_pStream : std::cerr;
    if (sink.m_lineOpen && sink.m_openLineOwner != self)
        stream << '\n';
    stream << text;
    stream.flush();
    sink.m_lineOpen = text.back() != '\n';
    sink.m_openLineOwner = self;
}

void LogManager::writeLine(std::string const& line)
{
    writeText(line + '\n');
}
} // namespace rtk
