#ifndef RTK_HIGHRESTIME_H
#define RTK_HIGHRESTIME_H

namespace rtk
{
// A signed time span in nanoseconds.
class HighResTimeSpan
{
public:
    HighResTimeSpan() {}
    explicit HighResTimeSpan(long long nanoseconds) : m_nanoseconds(nanoseconds) {}

    static HighResTimeSpan fromMilliseconds(long long ms) { return HighResTimeSpan(ms * 1000000LL); }

    // Each cut towards zero to a whole number of the unit.
    long long getMilliseconds() const { return m_nanoseconds / 1000000LL; }
    long long getMicroseconds() const { return m_nanoseconds / 1000LL; }
    long long getNanoseconds() const { return m_nanoseconds; }

    HighResTimeSpan& operator+=(HighResTimeSpan const& other)
    {
        m_nanoseconds += other.m_nanoseconds;
        return *this;
    }
    HighResTimeSpan& operator-=(HighResTimeSpan const& other)
    {
        m_nanoseconds -= other.m_nanoseconds;
        return *this;
    }
    HighResTimeSpan operator+(HighResTimeSpan const& other) const
    {
        return HighResTimeSpan(m_nanoseconds + other.m_nanoseconds);
    }
    HighResTimeSpan operator-(HighResTimeSpan const& other) const
    {
        return HighResTimeSpan(m_nanoseconds - other.m_nanoseconds);
    }
    // Integer division; a divisor of 0 gives a zero span.
    HighResTimeSpan operator/(long long divisor) const
    {
        return HighResTimeSpan(divisor != 0 ? m_nanoseconds / divisor : 0);
    }

    bool operator<(HighResTimeSpan const& other) const { return m_nanoseconds < other.m_nanoseconds; }
    bool operator>(HighResTimeSpan const& other) const { return m_nanoseconds > other.m_nanoseconds; }
    bool operator<=(HighResTimeSpan const& other) const { return m_nanoseconds <= other.m_nanoseconds; }
    bool operator>=(HighResTimeSpan const& other) const { return m_nanoseconds >= other.m_nanoseconds; }
    bool operator==(HighResTimeSpan const& other) const { return m_nanoseconds == other.m_nanoseconds; }
    bool operator!=(HighResTimeSpan const& other) const { return m_nanoseconds != other.m_nanoseconds; }

private:
    long long m_nanoseconds = 0;
};

// A point of the monotonic clock (not wall time: it never jumps).
class HighResTime
{
public:
    HighResTime() {}

    static HighResTime getCurrentTime();

    HighResTimeSpan operator-(HighResTime const& earlier) const
    {
        return HighResTimeSpan(m_nanoseconds - earlier.m_nanoseconds);
    }
    HighResTime operator+(HighResTimeSpan const& span) const
    {
        HighResTime result;
        result.m_nanoseconds = m_nanoseconds + span.getNanoseconds();
        return result;
    }
    bool operator<(HighResTime const& other) const { return m_nanoseconds < other.m_nanoseconds; }
    long long getNanoseconds() const { return m_nanoseconds; }

private:
    long long m_nanoseconds = 0;
};
} // namespace rtk

#endif
