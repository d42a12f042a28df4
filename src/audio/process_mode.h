#pragma once

#include <cstdint>

namespace korva {

/// What a buffer is to an engine.
enum ProcessMode : std::int32_t {
  ModeRestart = 0,   ///< the first buffer after a discontinuity
  ModeContinue = 1,  ///< normal running
  ModeFlush = 2,     ///< the stream has ended; the engine is asked for its tail
};

/// What a kernel answers.
inline constexpr std::int32_t kGoOn = 0;
inline constexpr std::int32_t kFinished = 1;
inline constexpr std::int32_t kEngineOutOfMemory = static_cast<std::int32_t>(0x8007000EU);
inline constexpr std::int32_t kEngineFailed = static_cast<std::int32_t>(0x80004005U);

}  // namespace korva
