#include "basekit/timinglog.h"

#include <atomic>
#include <chrono>
#include <mutex>
#include <ostream>

namespace
{
// Constant-initialised, so log() works during static initialisation of other libraries.
std::atomic<bool> g_timingLogEnabled{false};

// Ring buffer: m_entries grows up to m_capacity, then m_next marks the oldest entry, which the next
// log() overwrites.
struct TimingLogRing
{
    std::mutex m_mutex;
    std::vector<std::pair<long long, std::string>> m_entries;
    size_t m_next = 0;
    size_t m_capacity = TimingLog::s_defaultCapacity;

    // Entries oldest first; the caller holds m_mutex.
    std::vector<std::pair<long long, std::string>> ordered() const
    {
        std::vector<std::pair<long long, std::string>> result;
        result.reserve(m_entries.size());
        for (size_t i = 0; i < m_entries.size(); ++i)
            result.push_back(m_entries[(m_next + i) % m_entries.size()]);
        return result;
    }
};

TimingLogRing& ring()
{
    static TimingLogRing s_ring;
    return s_ring;
}

long long monotonicNanoseconds()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}
} // namespace

size_t const TimingLog::s_defaultCapacity;

void TimingLog::log(std::string const& text)
{
    if (!g_timingLogEnabled.load(std::memory_order_relaxed))
        return;
    TimingLogRing& r = ring();
    std::lock_guard<std::mutex> lock(r.m_mutex);
    // Read the clock under the lock, so that the ring's order is the order of the times.
    long long const now = monotonicNanoseconds();
    if (r.m_capacity == 0)
        return;
    if (r.m_entries.size() < r.m_capacity)
    {
        r.m_entries.emplace_back(now, text);
        return;
    }
    r.m_entries[r.m_next].first = now;
    r.m_entries[r.m_next].second = text;
    r.m_next = (r.m_next + 1) % r.m_entries.size();
}

void TimingLog::setEnabled(bool enabled)
{
    g_timingLogEnabled.store(enabled);
}

bool TimingLog::isEnabled()
{
    return g_timingLogEnabled.load();
}

void TimingLog::setCapacity(size_t capacity)
{
    TimingLogRing& r = ring();
    std::lock_guard<std::mutex> lock(r.m_mutex);
    std::vector<std::pair<long long, std::string>> entries = r.ordered();
    if (entries.size() > capacity)
        entries.erase(entries.begin(),
                      entries.begin() + static_cast<std::ptrdiff_t>(entries.size() - capacity));
    r.m_entries.swap(entries);
    r.m_next = 0;
    r.m_capacity = capacity;
}

size_t TimingLog::getCapacity()
{
    TimingLogRing& r = ring();
    std::lock_guard<std::mutex> lock(r.m_mutex);
    return r.m_capacity;
}

void TimingLog::clear()
{
    TimingLogRing& r = ring();
    std::lock_guard<std::mutex> lock(r.m_mutex);
    r.m_entries.clear();
    r.m_next = 0;
}

std::vector<std::pair<long long, std::string>> TimingLog::getEntries()
{
    TimingLogRing& r = ring();
    std::lock_guard<std::mutex> lock(r.m_mutex);
    return r.ordered();
}

void TimingLog::dump(std::ostream& os)
{
    std::vector<std::pair<long long, std::string>> entries = getEntries();
    if (entries.empty())
        return;
    long long const first = entries.front().first;
    for (auto const& entry : entries)
        os << (entry.first - first) << ' ' << entry.second << '\n';
}
