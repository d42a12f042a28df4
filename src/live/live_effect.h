#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>

#include "live/effect_kinds.h"
#include "live/live_mail.h"
#include "live/live_road.h"
#include "live/live_tempo.h"

namespace korva {

enum class LiveResult : std::uint8_t {
  kDone,
  kUnknown,  ///< no such row or preset
  kRange,    ///< a value outside its range, or no number
  kRecord,   ///< no record of this effect, or a damaged one
  kState,    ///< not in this state: running or not
  kFormat,   ///< channels or rate
  kLength,   ///< the length changes, or the pitch is raised too far for the fixed latency
  kMemory,
};

/// One effect for programs that hold no graph: rows, presets and records on one side, interleaved 32-bit float frames
/// on the other.
///
/// Threads: what is called on the side of parameters may come from any thread at any time. `Start`, `Stop` and the
/// calls that take audio come from one thread at a time, which never waits for the others. Between `Start` and `Stop`
/// nothing is allocated. Samples do not depend on how a stream is cut, and are those of the command.
///
/// Values of rows are in the command's units. In a running stream a knob whose change costs little glides to its new
/// value within 20 ms, in steps of a millisecond; all others jump at the next buffer. What is set before the first
/// buffer counts from the first frame on.
class LiveEffect {
 public:
  /// `ready` says whether memory was granted.
  explicit LiveEffect(const EffectKind& kind) noexcept;
  LiveEffect(const LiveEffect&) = delete;
  LiveEffect& operator=(const LiveEffect&) = delete;
  ~LiveEffect();
  bool ready() const noexcept { return road_ != nullptr; }
  const EffectDescription& description() const noexcept { return kind_.description; }

  // Parameters.

  LiveResult Set(std::size_t row, double value) noexcept;
  LiveResult Get(std::size_t row, double& value) const noexcept;
  LiveResult ApplyPreset(std::int32_t index) noexcept;
  /// The persistent record; `size` is that of the newest form.
  std::uint32_t recordSize() const noexcept { return description().forms.front().size; }
  LiveResult SaveRecord(std::span<std::byte> record) const noexcept;
  /// Takes a record of any form, its values held as the module holds them; `Get` gives all within their ranges.
  LiveResult LoadRecord(std::span<const std::byte> record) noexcept;
  /// Tempo in beats a minute, 1 to 1000; meter as beats over a power of two.
  LiveResult SetTempo(double bpm, std::int32_t top, std::int32_t bottom) noexcept;
  /// Whether the effect is heard, but by `Stream`, which has no sound of the same length to give instead. A change
  /// fades over 10 ms; the effect goes on listening meanwhile.
  void SetEnabled(bool enabled) noexcept { enabled_.store(enabled, std::memory_order_relaxed); }

  // Audio.

  /// How a stream is used until it is stopped.
  enum class Use : std::uint8_t {
    kFixedLatency,   ///< `Process`: as many frames out as in
    kVariableLength  ///< `Stream`
  };
  static constexpr std::uint32_t kMostRate = 384000;
  /// `channels` 1 to 32, `rate` in frames a second, up to `kMostRate`.
  LiveResult Start(Use use, std::uint32_t channels, std::uint32_t rate) noexcept;
  void Stop() noexcept;
  bool running() const noexcept { return running_.load(std::memory_order_relaxed); }
  /// Drops all that rings, as if just started.
  void Rewind() noexcept;
  /// In frames. Changes with the mode of the pitch shift, at the next buffer.
  std::uint32_t latency() const noexcept { return latency_.load(std::memory_order_relaxed); }

  /// Frames of output still to come for what was taken, about. Any thread.
  std::uint64_t heldFrames() const noexcept;

  LiveResult Process(float* samples, std::uint32_t frames) noexcept;
  /// A buffer for each channel. Those of `out` may be those of `in`, in any order.
  LiveResult ProcessPlanar(const float* const* in, float* const* out, std::uint32_t frames) noexcept;
  /// After the last of the input: fills up to `frames` frames with what rings on, or of an effect that is not heard
  /// with what of the input is held back. `ended` with the last of them.
  LiveResult Tail(float* samples, std::uint32_t& frames, bool& ended) noexcept;
  /// `in` null: the input has ended. Counts are read and written: what is offered, what was taken and given.
  LiveResult Stream(const float* in, std::uint32_t& inFrames, float* out, std::uint32_t& outFrames,
                    bool& ended) noexcept;

 private:
  static constexpr std::uint32_t kPiece = 256;
  static constexpr std::int32_t kGlideSteps = 20;

  struct Glide {
    double from = 0, to = 0;
    std::int32_t stepsLeft = 0;
  };

  LiveResult Post(const LiveBlock& block, bool whole) noexcept;
  void PickUp() noexcept;
  void TellTempo() noexcept;
  void WriteRow(std::size_t row, const LiveBlock& block) noexcept;
  void StepGlides() noexcept;
  void EndGlides() noexcept;
  void BeginBuffer(std::uint32_t frames) noexcept;
  void TellLatency() noexcept;
  LiveResult Run(float* samples, std::uint32_t frames) noexcept;
  HRESULT RunFaded(float* samples, std::uint32_t frames, bool enabled) noexcept;
  void Fade(float* samples, std::uint32_t frames, bool enabled) noexcept;

  const EffectKind& kind_;
  EffectInstance instance_;
  std::unique_ptr<LiveRoad> road_;
  LiveTempo tempo_;
  LiveMail mail_;

  // The side of parameters.
  mutable std::mutex control_;
  LiveBlock block_;
  std::atomic<Use> use_{Use::kFixedLatency};
  std::atomic<bool> running_{false};
  std::atomic<bool> enabled_{true};
  std::atomic<std::uint32_t> latency_{0};

  // The side of audio.
  std::uint32_t channels_ = 0, rate_ = 0;
  bool fresh_ = true;                   // nothing has run since the start
  bool connected_ = false;              // the effect has the tempo map
  bool tempoTold_ = false;              // since the start
  double owed_ = 0;                     // frames that the input taken so far makes
  std::atomic<std::uint64_t> held_{0};  // those of them that have not come
  LiveBlock now_;                       // the values that the effect has
  std::array<Glide, kMostRows> glides_{};
  std::uint64_t gliding_ = 0;  // row bits
  std::uint32_t framesToStep_ = 0;
  std::uint32_t fade_ = 0, fadeLength_ = 1;  // frames of the effect faded in, of those that a fade takes
  ZeroedBuffer<float> piece_, dry_;          // kPiece frames each
};

}  // namespace korva
