#pragma once

#include <cstdint>

namespace korva {

/// Facilities of the processor, one bit each, in the order in which processors gained them.
enum CpuFacility : std::uint32_t {
  kCpuMmx = 16,
  kCpuSse = 32,
  kCpuSse2 = 64,  ///< two doubles to an operation
  kCpuSse3 = 128,
  kCpuSsse3 = 256,
  kCpuSse41 = 512,
  kCpuSse42 = 1024,
  kCpuAvx = 2048,  ///< and the system keeps its registers
};

/// Every facility that there is a bit for: 4080.
inline constexpr std::uint32_t kCpuVectorMask = 0xFF0;

/// The facilities among those in `mask` that this processor has. Bits outside `kCpuVectorMask` answer 0.
/// Any thread; never fails.
std::uint32_t QvGetCPUSupport(std::uint32_t mask) noexcept;

/// Whether files named *_wide.cpp may run here: AVX2, and a system that keeps its registers. Any thread; never fails.
bool HasWideUnits() noexcept;

}  // namespace korva
