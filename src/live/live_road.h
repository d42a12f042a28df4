#pragma once

#include <cstdint>

#include "audio/zeroed_buffer.h"
#include "live/effect_kinds.h"
#include "platform/platform.h"

namespace korva {

/// How the audio of a live effect goes: through one of these, chosen at its start. Frames are interleaved floats.
/// Everything belongs to one thread at a time; between `Start` and `Stop` nothing is allocated. Results below 0 are
/// failures.
class LiveRoad {
 public:
  LiveRoad() = default;
  LiveRoad(const LiveRoad&) = delete;
  LiveRoad& operator=(const LiveRoad&) = delete;
  virtual ~LiveRoad() = default;

  virtual HRESULT Start(std::uint32_t channels, std::uint32_t rate) = 0;
  virtual void Stop() = 0;
  /// As if just started, with the parameters of now.
  virtual void Rewind() = 0;
  /// A row was written that makes the engine drop what it holds.
  virtual void EngineRebuilt() {}

  /// Rewrites `frames` frames in place. `dry`, where it is not null, gets what came in, as late as what goes out.
  virtual HRESULT Run(float* samples, float* dry, std::uint32_t frames) = 0;
  /// The next frames after the end of the input; `frames` is read and written. `dry` as above, silence after its last.
  /// 1 with the last of them.
  virtual HRESULT Tail(float* samples, float* dry, std::uint32_t& frames) = 0;
  /// Frames of the input that are held back for `dry`.
  virtual std::uint32_t dryFrames() const noexcept { return 0; }
  /// Takes input and gives output in numbers of their own. `in` null: the input has ended. 1 with the last output.
  virtual HRESULT Stream(const float* in, std::uint32_t& inFrames, float* out, std::uint32_t& outFrames) = 0;

  /// By how many frames `Run` gives its output late.
  virtual std::uint32_t latency() const noexcept { return 0; }
};

/// Over the direct road of the four effects that work in place.
class InPlaceRoad final : public LiveRoad {
 public:
  explicit InPlaceRoad(CQvInPlaceFilter& filter) noexcept : filter_(filter) {}
  HRESULT Start(std::uint32_t channels, std::uint32_t rate) override;
  void Stop() override;
  void Rewind() override;
  HRESULT Run(float* samples, float* dry, std::uint32_t frames) override;
  HRESULT Tail(float* samples, float* dry, std::uint32_t& frames) override;
  HRESULT Stream(const float* in, std::uint32_t& inFrames, float* out, std::uint32_t& outFrames) override;

 private:
  CQvInPlaceFilter& filter_;
  std::uint32_t channels_ = 0, rate_ = 0;
};

/// Frames that wait: what is written comes out `level` frames later. Fixed memory.
class FrameRing {
 public:
  [[nodiscard]] bool Allocate(std::uint32_t frames, std::uint32_t channels) noexcept;
  void Release() noexcept { samples_.Release(); }
  std::uint32_t level() const noexcept { return level_; }
  /// Puts in `frames` frames, or silence for null. They must fit.
  void Put(const float* samples, std::uint32_t frames) noexcept;
  /// Takes out the oldest `frames`, which must be there; null drops them.
  void Get(float* samples, std::uint32_t frames) noexcept;

 private:
  ZeroedBuffer<float> samples_;
  std::uint32_t capacity_ = 0, channels_ = 0, first_ = 0, level_ = 0;
};

/// Over the engine of an effect of variable length. `Run` is for a pitch with its length kept: a ring makes the
/// engine's uneven output as late as its longest wait, which depends on the mode alone.
class StretchRoad final : public LiveRoad {
 public:
  StretchRoad(CQvStretchFilter& filter, BlockHolder& parameters) noexcept : filter_(filter), parameters_(parameters) {}
  HRESULT Start(std::uint32_t channels, std::uint32_t rate) override;
  void Stop() override;
  void Rewind() override;
  void EngineRebuilt() override;
  HRESULT Run(float* samples, float* dry, std::uint32_t frames) override;
  HRESULT Tail(float* samples, float* dry, std::uint32_t& frames) override;
  std::uint32_t dryFrames() const noexcept override { return dry_.level(); }
  HRESULT Stream(const float* in, std::uint32_t& inFrames, float* out, std::uint32_t& outFrames) override;
  std::uint32_t latency() const noexcept override { return latency_; }

 private:
  static constexpr std::uint32_t kPiece = 256;  // frames that are worked at once

  HRESULT WetTail(float* samples, std::uint32_t& frames);
  HRESULT RunPiece(float* samples, float* dry, std::uint32_t frames);
  std::uint32_t LatencyOf(std::int32_t mode) const noexcept;
  std::uint32_t LatencyNow() const;
  void SetLevel(FrameRing& ring, std::uint32_t level) noexcept;

  CQvStretchFilter& filter_;
  BlockHolder& parameters_;
  std::uint32_t channels_ = 0, rate_ = 0, latency_ = 0;
  bool restart_ = true, finished_ = false;
  FrameRing wet_, dry_;
  ZeroedBuffer<float> out_;    // kPiece frames of the engine's output
  ZeroedBuffer<float> input_;  // kPiece frames of a stream's input, made ready
  std::uint32_t inputFrames_ = 0, inputTaken_ = 0;
};

}  // namespace korva
