#ifndef RTK_ASSERT_H
#define RTK_ASSERT_H

namespace rtk
{
// Prints "Assertion "TEXT" failed (FILE:LINE)" on standard error and aborts the process.
[[noreturn]] void assertFailed(char const* text, char const* file, int line);
} // namespace rtk

// An assertion that holds in every build type: a breach is a programming fault that ends the process.
// The text of the breach is the expression exactly as written.
#define RTK_ASSERT(expr) ((expr) ? static_cast<void>(0) : ::rtk::assertFailed(#expr, __FILE__, __LINE__))

#endif
