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

/// Has the processor count numbers too small to be normal as 0 while it lives, in the calling thread; then the host's
/// own setting stands again. What decays to nothing would otherwise cost a hundred times what sound does.
class FlushDenormals {
 public:
#if defined(__x86_64__) || defined(_M_X64)
  FlushDenormals() noexcept : before_(_mm_getcsr()) {
    SetFlushDenormals();
  }
  ~FlushDenormals() {
    _mm_setcsr(before_);
  }
#else
  FlushDenormals() noexcept = default;
#endif
  FlushDenormals(const FlushDenormals&) = delete;
  FlushDenormals& operator=(const FlushDenormals&) = delete;

 private:
  [[maybe_unused]] unsigned before_ = 0;
};

}  // namespace korva::platform
