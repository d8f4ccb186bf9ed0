// A clock that stands still unless a test moves it. For one source file of a program.
#pragma once

#include <sys/time.h>

namespace support
{

// The time that the program sees.
inline timeval clock_now = {1790000000, 0};

} // namespace support

// Stands before the C library's.
extern "C" int gettimeofday(timeval *now, void *) noexcept
{
    *now = support::clock_now;
    return 0;
}
