// The processor's treatment of numbers too small to be normal.
#pragma once

#if defined(__x86_64__) || defined(_M_X64)
#include <xmmintrin.h>
#endif

namespace korva::platform {

// Sets flush-to-zero and denormals-are-zero for the calling thread and leaves them set. Where the processor has no such
// bits nothing happens: kernels that decay flush their own state and need this only for speed.
inline void SetFlushDenormals() noexcept {
#if defined(__x86_64__) || defined(_M_X64)
  constexpr unsigned kFlushBits = 0x8040;
  _mm_setcsr(_mm_getcsr() | kFlushBits);
#endif
}

}  // namespace korva::platform
