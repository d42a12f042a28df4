#pragma once

#include <cstdint>

#include "audio/format_record.h"
#include "audio/process_mode.h"

namespace korva {

/// What the streaming loop of the two effects of variable length sees of an engine.
///
/// Frames are interleaved, in the stream's format. Every call comes from the streaming thread, or from the thread that
/// starts and stops the stream while none runs. Results: 0 go on, 1 no more to give, negative a failure.
class StretchEngine {
 public:
  StretchEngine() = default;
  StretchEngine(const StretchEngine&) = delete;
  StretchEngine& operator=(const StretchEngine&) = delete;
  virtual ~StretchEngine() = default;

  /// The stream's format, on both sides. Another one than before drops what is held; the next call rebuilds.
  virtual void SetFormat(const FormatRecord& format) noexcept = 0;

  /// Keeps pace with the ratio over any time; see `StretchCore::SetKeepPace`. Between streams.
  virtual void SetKeepPace(bool on) noexcept = 0;

  /// From the next stream on: memory for every mode and quality is taken with the stream, and no change while it runs
  /// asks for any.
  virtual void ReserveForRows(bool on) noexcept = 0;

  /// Full restart: when streaming starts, and on a discontinuity in a running stream (`Process` does that one itself).
  virtual std::int32_t Reset() noexcept = 0;

  /// Frees all memory.
  virtual void Release() noexcept = 0;

  /// Works on a whole input buffer in place, once, before any of it goes to `Process`. `mode` is that of the first call
  /// of `Process` for it. A failure ends the buffer.
  virtual std::int32_t PrepareInput(ProcessMode mode, void* buffer, std::uint32_t frames) noexcept = 0;

  /// Takes up to `*sourceFrames` frames and writes up to `*destinationFrames`; both come back as what was taken and
  /// written. A null count is 0, and nothing is reported.
  ///
  /// Given a source and room for a frame, every call takes or writes frames. In `ModeFlush`, given room for a frame,
  /// the result comes to be 1, and at most two calls in a row write nothing before it does; such a call is not yet the
  /// end.
  virtual std::int32_t Process(ProcessMode mode, const void* source, std::uint32_t* sourceFrames, void* destination,
                               std::uint32_t* destinationFrames) noexcept = 0;
};

}  // namespace korva
