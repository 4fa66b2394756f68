#include "rtk/highrestime.h"

#include <time.h>

namespace rtk
{
HighResTime HighResTime::getCurrentTime()
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    HighResTime result;
    result.m_nanoseconds = static_cast<long long>(now.tv_sec) * 1000000000LL + now.tv_nsec;
    return result;
}
} // namespace rtk
