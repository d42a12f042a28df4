#include <algorithm>
#include <cmath>

#include "audio/sample_lanes.h"
#include "audio/sine.h"
#include "delay/echomt/echomt_engine.h"
#include "platform/cpu.h"

// The signal path. Within a block all arrays run against time, last frame first, as the line itself does: what a tap
// reads in consecutive frames then lies in the order of the arrays.
namespace korva {
namespace {

// Low-pass memories and outputs below 2 to the -32 count as silence: it keeps the filters clear of denormals.
constexpr double kFlushBelow = 1.0 / 4294967296.0;
constexpr double kLineLimit = 16777216.0;

double Flush(double value) noexcept {
  return std::fabs(value) < kFlushBelow ? 0.0 : value;
}

// Runs `work`, which takes lanes and a place, over `count` places: in pairs, and the last odd one by itself.
template <class Work>
void ForLanes(int count, Work work) noexcept {
  int i = 0;
  for (; i + 2 <= count; i += 2) work(Pair{}, i);
  if (i < count) work(Single{}, i);
}

// Flushes a block; false if any of it is no number or infinite.
bool FlushFinite(double* block, int count) noexcept {
  double notFinite = 0.0;
  Pair notFinitePair = Pair::Broadcast(0.0);
  ForLanes(count, [&](auto lanes, int i) {
    using Lanes = decltype(lanes);
    const Lanes value = Lanes::Load(block + i), nothing = value * Lanes::Broadcast(0.0);
    if constexpr (Lanes::kLanes == 2) {
      notFinitePair = notFinitePair + nothing;
    } else {
      notFinite = nothing.value;
    }
    FlushBelow(value, Lanes::Broadcast(kFlushBelow)).Store(block + i);
  });
  return notFinite + notFinitePair.low() + notFinitePair.high() == 0.0;
}

constexpr EchomtLoops kPairLoops = EchomtLoopsOf<Pair>(), kSingleLoops = EchomtLoopsOf<Single>();

}  // namespace

void EchomtEngine::SetWide(bool on) noexcept {
  loops_ = on && HasWideUnits() ? &WideEchomtLoops() : &kPairLoops;
}

void EchomtEngine::NextSwing(EchomtSwing& swing, int frames) noexcept {
  double phase = modPhase_;
  const double step = modStep_;
  if (!modulated_) {
    for (int i = 0; i < frames; ++i) phase += step;
    swing.least = swing.most = 0.0;
    modPhase_ = phase;
    return;
  }
  double phases[kEchomtBlock + kMostLanes];
  std::fill_n(phases + frames, kMostLanes, phase);
  for (int i = frames - 1; i >= 0; --i) {
    phases[i] = phase;
    phase += step;
  }
  loops_->swing(phases, frames, swing);
  modPhase_ = phase;
}

// How many frames can be worked at once so that no tap reads a frame that another of them writes: the slots that a tap
// touches, counted from the write head, must all lie behind the writes of the block or ahead of them.
int EchomtEngine::IndependentFrames(const EchomtSwing& swing) const noexcept {
  int frames = kEchomtBlock;
  for (std::size_t i = 0; i < static_cast<std::size_t>(tapCount_); ++i) {
    std::int32_t nearest = tapPosition_[i] - writePosition_;
    if (nearest < 0) nearest += lineLength_;
    std::int32_t farthest = nearest;
    if (modulated_) {
      // One more down for the seam; up, one for the neighbour and one for the seam.
      nearest -= static_cast<std::int32_t>(std::ceil(swing.most * tapModDepth_[i])) + 1;
      farthest -= static_cast<std::int32_t>(std::floor(swing.least * tapModDepth_[i])) - 2;
    }
    if (farthest <= 0) {
      nearest += lineLength_;
      farthest += lineLength_;
    }
    frames = std::min(frames, nearest >= 1 && farthest <= lineLength_ ? nearest : 1);
  }
  return frames;
}

void EchomtEngine::LowPass(double* block, int frames, double& memory) const noexcept {
  const double in = lowPassIn_, back = lowPassBack_;
  // Switched off the filter passes its input, unless something that is no number has come into its memory. What was
  // flushed before does not change what becomes of that.
  if (back == 0.0 && std::isfinite(memory)) {
    if (FlushFinite(block, frames)) {
      memory = block[0];
      return;
    }
  }
  double state = memory;
  for (int i = frames - 1; i >= 0; --i) {
    state = Flush(in * block[i] + back * state);
    block[i] = state;
  }
  memory = state;
}

/// Sums what all taps give in as many of the last `frames` frames of a block as no tap leaves the line's end in, and
/// moves them on. Answers how many those were.
template <int kSides>
int EchomtEngine::ReadTaps(const double* line, std::array<std::int32_t, kEchomtTaps>& positions,
                           const EchomtSwing& swing, int end, int frames, double (*sums)[kEchomtBlock]) const noexcept {
  const std::int32_t lineLast = lineLength_ - 1;
  const auto count = static_cast<std::size_t>(tapCount_);
  for (std::size_t i = 0; i < count; ++i) frames = std::min(frames, positions[i] + 1);
  TapRun taps[kEchomtTaps];
  bool wraps = false;
  for (std::size_t i = 0; i < count; ++i) {
    const std::int32_t start = positions[i] - frames + 1;
    taps[i].Set(line + start, start, tapModDepth_[i], tapGains_[0][i], tapGains_[1][i]);
    wraps = wraps || start - swing.most * tapModDepth_[i] < 0 || positions[i] + 1 >= lineLast;
    positions[i] = start == 0 ? lineLast : start - 1;
  }
  const int first = end - frames;
  const Taps used{taps, count, line, lineLast, swing.value + first};
  double* const out[2] = {sums[0] + first, sums[kSides - 1] + first};
  const auto motion = static_cast<std::size_t>(!modulated_ ? kFixed : wraps ? kWrapping : kSwinging);
  const EchomtLoops& loops = frames >= loops_->lanes ? *loops_ : frames > 1 ? kPairLoops : kSingleLoops;
  loops.sum[motion][kSides - 1](used, frames, out);
  return frames;
}

template <class Format, int kSides>
void EchomtEngine::RunBlock(typename Format::Sample* buffer, std::uint32_t channel, int frames,
                            const EchomtSwing& swing, int together) noexcept {
  const std::size_t channels = channels_;
  double* const line = lines_[channel].data();
  double in[kSides][kEchomtBlock], held[kSides][kEchomtBlock], sums[kSides][kEchomtBlock];
  const double gain = inputGain_;
  int read = 0;
  if constexpr (kSides == 2) {
    const Pair factor = Pair::Broadcast(gain);
    for (; read + 2 <= frames; read += 2) {
      const Four four = ReadFour(Format{}, buffer + 2 * read);
      const Pair now = four.a * factor, next = four.b * factor;
      Lows(next, now).Store(in[0] + frames - 2 - read);
      Highs(next, now).Store(in[1] + frames - 2 - read);
    }
  }
  for (std::size_t side = 0; side < kSides; ++side) {
    const typename Format::Sample* const samples = buffer + channel + side;
    for (int i = read; i < frames; ++i) {
      in[side][frames - 1 - i] = Format::Read(samples[static_cast<std::size_t>(i) * channels]) * gain;
    }
    std::copy_n(in[side], frames, held[side]);
    LowPass(held[side], frames, inputState_[channel + side]);
  }

  std::array<std::int32_t, kEchomtTaps> positions = tapPosition_;
  std::int32_t writePosition = writePosition_;
  for (int left = frames; left != 0;) {
    const int run = ReadTaps<kSides>(line, positions, swing, left, std::min(left, together), sums);
    const int first = left - run;
    for (std::size_t side = 0; side < kSides; ++side) {
      LowPass(sums[side] + first, run, outputState_[channel + side]);
    }
    const double feedback = feedbackGain_;
    for (int todo = run; todo != 0;) {
      const int count = std::min(todo, writePosition + 1);
      double* const slots = line + (writePosition - count + 1);
      const int at = first + todo - count;
      ForLanes(count, [&](auto lanes, int k) {
        using Lanes = decltype(lanes);
        const auto add = [&](const double(&sides)[kSides][kEchomtBlock]) {
          const Lanes sum = Lanes::Load(sides[0] + at + k);
          return kSides == 2 ? sum + Lanes::Load(sides[kSides - 1] + at + k) : sum;
        };
        Lanes feed = add(sums) * Lanes::Broadcast(feedback) + add(held);
        if constexpr (kSides == 2) feed = feed * Lanes::Broadcast(0.5);
        Larger(Lanes::Broadcast(-kLineLimit), Smaller(Lanes::Broadcast(kLineLimit), feed)).Store(slots + k);
      });
      todo -= count;
      writePosition -= count;
      if (writePosition < 0) writePosition = lineLength_ - 1;
    }
    left = first;
  }

  const double dry = dryGain_, wet = wetGain_;
  int written = 0;
  if constexpr (kSides == 2) {
    const Pair dryPair = Pair::Broadcast(dry), wetPair = Pair::Broadcast(wet), floor = Pair::Broadcast(kFlushBelow);
    const auto mix = [&](std::size_t side, int at) {
      return FlushBelow(dryPair * Pair::Load(in[side] + at) + wetPair * Pair::Load(sums[side] + at), floor);
    };
    for (; written + 2 <= frames; written += 2) {
      const Pair left = mix(0, frames - 2 - written), right = mix(1, frames - 2 - written);
      WriteFour(Format{}, {Highs(left, right), Lows(left, right)}, buffer + 2 * written);
    }
  }
  for (std::size_t side = 0; side < kSides; ++side) {
    typename Format::Sample* const samples = buffer + channel + side;
    for (int i = written; i < frames; ++i) {
      const double y = dry * in[side][frames - 1 - i] + wet * sums[side][frames - 1 - i];
      samples[static_cast<std::size_t>(i) * channels] = Format::Write(Flush(y));
    }
  }
}

// Makes ready what a block may touch of a line that was taken anew: the frames it writes, and those around every tap.
void EchomtEngine::CleanAhead(DelayLine& line, const EchomtSwing& swing, int frames) noexcept {
  constexpr std::ptrdiff_t kSeam = 3;  // the neighbouring slot, and where a position wraps
  line.CleanAround(std::ptrdiff_t{writePosition_} - frames + 1, static_cast<std::size_t>(frames));
  for (std::size_t i = 0; i < static_cast<std::size_t>(tapCount_); ++i) {
    const auto reach = modulated_ ? static_cast<std::ptrdiff_t>(std::ceil(swing.most * tapModDepth_[i])) : 0;
    const std::ptrdiff_t first = std::ptrdiff_t{tapPosition_[i]} - frames - reach - kSeam;
    line.CleanAround(first, static_cast<std::size_t>(frames + reach + 2 * kSeam));
  }
}

template <class Format>
void EchomtEngine::Run(typename Format::Sample* buffer, std::uint32_t frames) noexcept {
  EchomtSwing swing;
  while (frames != 0) {
    const int count = static_cast<int>(std::min<std::uint32_t>(frames, kEchomtBlock));
    NextSwing(swing, count);
    const int together = IndependentFrames(swing);
    // Every channel sees the same block of the sine, so the channels can take turns block by block.
    if (channels_ == 2) {
      CleanAhead(lines_[0], swing, count);
      RunBlock<Format, 2>(buffer, 0, count, swing, together);
    } else {
      for (std::uint32_t c = 0; c < channels_; ++c) CleanAhead(lines_[c], swing, count);
      for (std::uint32_t c = 0; c < channels_; ++c) RunBlock<Format, 1>(buffer, c, count, swing, together);
    }
    const std::int32_t moved = count % lineLength_;
    for (std::size_t i = 0; i < static_cast<std::size_t>(tapCount_); ++i) {
      tapPosition_[i] -= moved;
      if (tapPosition_[i] < 0) tapPosition_[i] += lineLength_;
    }
    writePosition_ -= moved;
    if (writePosition_ < 0) writePosition_ += lineLength_;
    buffer += static_cast<std::size_t>(count) * channels_;
    frames -= static_cast<std::uint32_t>(count);
  }
}

template <class Format>
std::int32_t EchomtEngine::Kernel(ProcessMode mode, typename Format::Sample* buffer, std::uint32_t& frameCount,
                                  bool tailOnly) noexcept {
  constexpr bool kFloat = IsFloat(Format::kFormat);
  std::uint32_t frames = frameCount;
  frameCount = 0;
  if (tailOnly_.done()) {
    if (tailOnly) return kFinished;
    tailOnly_.ClearDone();
    engineReady_ = false;
    tailOnly_.Arm(kFloat ? TailFrames(static_cast<std::uint32_t>(lineLength_)) : tailLeft_);
  }

  const Fetched fetched = Fetch();
  std::int32_t result = 0;
  if (mode == ModeRestart && hasRun_) {
    result = RestartEngine();
  } else if (mode != ModeFlush && (fetched.dirty || !engineReady_) &&
             !(tailOnly && Format::kFormat == SampleFormat::kFloat32)) {
    result = UpdateEngine(fetched.params, mode, fetched.stale);
  } else if (fetched.stale) {
    MarkLinesStale();
  }
  if (result < 0) return result;
  if (!HasLines()) return kEngineFailed;
  hasRun_ = true;

  if (mode == ModeFlush) {
    frames = TakeFrames(tailLeft_, frames);
    if (tailLeft_ == 0) result = kFinished;
  }
  if (tailOnly) {
    frames = tailOnly_.Take(frames);
  } else {
    tailOnly_.Arm(tailLeft_);
  }
  frameCount = frames;
  Run<Format>(buffer, frames);
  return result;
}

std::int32_t EchomtEngine::Process(ProcessMode mode, void* buffer, std::uint32_t& frameCount, bool tailOnly) noexcept {
  if (!format_) {
    frameCount = 0;
    return kEngineFailed;
  }
  return VisitFormat(*format_, [&](auto policy) {
    using Format = decltype(policy);
    return Kernel<Format>(mode, static_cast<typename Format::Sample*>(buffer), frameCount, tailOnly);
  });
}

}  // namespace korva
