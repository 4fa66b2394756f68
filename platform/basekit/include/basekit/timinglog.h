#ifndef BASEKIT_TIMINGLOG_H
#define BASEKIT_TIMINGLOG_H

#include <cstddef>
#include <iosfwd>
#include <string>
#include <utility>
#include <vector>

// A process-wide record of timestamped text lines for latency measurements ("EVENT ..." to
// "SET_A ..."). Off by default; when on, log() appends (monotonic time in ns, text) to a ring buffer
// that keeps the newest getCapacity() entries. All operations are thread safe; log() costs one atomic
// load while the log is off.
class TimingLog
{
public:
    static size_t const s_defaultCapacity = 100000;

    static void log(std::string const& text);

    static void setEnabled(bool enabled);
    static bool isEnabled();

    // Keeps the newest entries that fit; 0 keeps nothing.
    static void setCapacity(size_t capacity);
    static size_t getCapacity();

    static void clear();

    // (time in ns of a monotonic clock, text), oldest first.
    static std::vector<std::pair<long long, std::string>> getEntries();

    // One line per entry, oldest first: time in ns since the oldest entry kept, a blank, the text.
    static void dump(std::ostream& os);

private:
    TimingLog() = delete;
};

#endif
