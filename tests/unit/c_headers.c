// Compiled once per public header, as C11 and as C++17, with VANTU_HEADER naming the header: each must stand
// on its own, so nothing is included before it.
#include VANTU_HEADER

// A header that declares nothing would leave an empty translation unit, which C does not allow.
typedef int vantu_header_stands_alone;
