#include "rtk/assert.h"

#include <cstdio>
#include <cstdlib>

namespace rtk
{
void assertFailed(char const* text, char const* file, int line)
{
    std::fprintf(stderr, "Assertion \"%s\" failed (%s:%d)\n", text, file, line);
    std::fflush(stderr);
    std::abort();
}
} // namespace rtk
