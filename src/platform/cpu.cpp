#include "platform/cpu.h"

namespace korva {
namespace {

std::uint32_t FindFacilities() noexcept {
  __builtin_cpu_init();
  std::uint32_t found = 0;
  if (__builtin_cpu_supports("mmx")) found |= kCpuMmx;
  if (__builtin_cpu_supports("sse")) found |= kCpuSse;
  if (__builtin_cpu_supports("sse2")) found |= kCpuSse2;
  if (__builtin_cpu_supports("sse3")) found |= kCpuSse3;
  if (__builtin_cpu_supports("ssse3")) found |= kCpuSsse3;
  if (__builtin_cpu_supports("sse4.1")) found |= kCpuSse41;
  if (__builtin_cpu_supports("sse4.2")) found |= kCpuSse42;
  if (__builtin_cpu_supports("avx")) found |= kCpuAvx;
  return found;
}

}  // namespace

std::uint32_t QvGetCPUSupport(std::uint32_t mask) noexcept {
  static const std::uint32_t facilities = FindFacilities();
  return facilities & mask;
}

bool HasWideUnits() noexcept {
  static const bool has = (__builtin_cpu_init(), __builtin_cpu_supports("avx2") != 0);
  return has;
}

}  // namespace korva
