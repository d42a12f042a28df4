#include <algorithm>
#include <cmath>

#include "delay/echomt/echomt_engine.h"

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

bool AllFinite(const double* values, int count) noexcept {
  double sums[4] = {};
  int i = 0;
  for (; i + 4 <= count; i += 4) {
    for (int k = 0; k < 4; ++k) sums[k] += values[i + k] * 0.0;
  }
  for (; i < count; ++i) sums[0] += values[i] * 0.0;
  return sums[0] + sums[1] + sums[2] + sums[3] == 0.0;
}

// One tap's way along a stretch of a line.
struct TapPath {
  const double* line;
  std::int32_t lineLast;
  double depth;
};

// `frames` frames of a tap that stands still: `start` is the slot of the last of them. The share of the neighbouring
// slot is nothing.
template <int kSides>
void AddStill(const double* start, const double (&gains)[2], int frames, double* const (&sums)[2]) noexcept {
  for (int k = 0; k < frames; ++k) {
    sums[0][k] += start[k] * gains[0];
    if constexpr (kSides == 2) sums[1][k] += start[k] * gains[1];
  }
}

// `frames` frames of a tap that swings below `start`. With `kWraps` it may leave the line at either end: it comes back
// in one slot short of the ring that the write head goes round, above and below.
template <int kSides, bool kWraps>
void AddSwinging(const TapPath& path, std::int32_t start, const double* swing, const double (&gains)[2], int frames,
                 double* const (&sums)[2]) noexcept {
  const double* const line = path.line;
  const std::int32_t lineLast = path.lineLast;
  const double depth = path.depth;
  std::int32_t indices[EchomtEngine::kBlockFrames];
  double fractions[EchomtEngine::kBlockFrames];
  for (int k = 0; k < frames; ++k) {
    double position = (start + k) - swing[k] * depth;
    if constexpr (kWraps) position += position < 0 ? lineLast : 0.0;
    const std::int32_t index = RoundToInt32(position - 0.499999985);
    fractions[k] = position - index;
    indices[k] = index;
  }
  for (int k = 0; k < frames; ++k) {
    std::int32_t index = indices[k];
    if constexpr (kWraps) {
      if (index < 0) index += lineLast + 1;
      index = std::clamp(index, 0, lineLast);
    }
    std::int32_t next = index + 1;
    if constexpr (kWraps) next -= next >= lineLast ? lineLast : 0;
    const double value = line[index] + (line[next] - line[index]) * fractions[k];
    sums[0][k] += value * gains[0];
    if constexpr (kSides == 2) sums[1][k] += value * gains[1];
  }
}

}  // namespace

void EchomtEngine::NextSwing(Swing& swing, int frames) noexcept {
  double phase = modPhase_;
  const double step = modStep_;
  if (!modulated_) {
    for (int i = 0; i < frames; ++i) phase += step;
    swing.least = swing.most = 0.0;
    modPhase_ = phase;
    return;
  }
  double least = 2.0, most = 0.0;
  for (int i = frames - 1; i >= 0; --i) {
    const double value = std::sin(phase) + 1.0;
    phase += step;
    least = value < least ? value : least;
    most = value > most ? value : most;
    swing.value[i] = value;
  }
  swing.least = least;
  swing.most = most;
  modPhase_ = phase;
}

// How many frames can be worked at once so that no tap reads a frame that another of them writes: the slots that a tap
// touches, counted from the write head, must all lie behind the writes of the block or ahead of them.
int EchomtEngine::IndependentFrames(const Swing& swing) const noexcept {
  int frames = kBlockFrames;
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
  // Switched off the filter passes its input, unless something that is no number has come into its memory.
  if (back == 0.0 && std::isfinite(memory) && AllFinite(block, frames)) {
    for (int i = 0; i < frames; ++i) block[i] = Flush(block[i]);
    memory = block[0];
    return;
  }
  double state = memory;
  for (int i = frames - 1; i >= 0; --i) {
    state = Flush(in * block[i] + back * state);
    block[i] = state;
  }
  memory = state;
}

template <int kSides>
void EchomtEngine::ReadTap(int tap, const double* line, std::int32_t position, const double* swing, double mostSwing,
                           int frames, double (*sums)[kBlockFrames], int first) const noexcept {
  const auto i = static_cast<std::size_t>(tap);
  const TapPath path{line, lineLength_ - 1, tapModDepth_[i]};
  const double gains[2] = {tapGains_[0][i], tapGains_[1][i]};
  const double reach = mostSwing * path.depth;
  while (frames != 0) {
    const int run = std::min(frames, position + 1);
    const std::int32_t start = position - run + 1;
    const int at = first + frames - run;
    double* const out[2] = {sums[0] + at, sums[kSides - 1] + at};
    if (!modulated_) {
      AddStill<kSides>(line + start, gains, run, out);
    } else if (start - reach >= 0 && position + 1 < path.lineLast) {
      AddSwinging<kSides, false>(path, start, swing + at, gains, run, out);
    } else {
      AddSwinging<kSides, true>(path, start, swing + at, gains, run, out);
    }
    frames -= run;
    position = start == 0 ? path.lineLast : start - 1;
  }
}

template <class Format, int kSides>
void EchomtEngine::RunBlock(typename Format::Sample* buffer, std::uint32_t channel, int frames, const Swing& swing,
                            int together) noexcept {
  const std::size_t channels = channels_;
  double* const line = lines_[channel].data();
  double in[kSides][kBlockFrames], held[kSides][kBlockFrames], sums[kSides][kBlockFrames];
  for (std::size_t side = 0; side < kSides; ++side) {
    const double gain = inputGain_;
    const typename Format::Sample* const samples = buffer + channel + side;
    for (int i = 0; i < frames; ++i) {
      const double x = Format::Read(samples[static_cast<std::size_t>(i) * channels]) * gain;
      in[side][frames - 1 - i] = x;
      held[side][frames - 1 - i] = x;
    }
    LowPass(held[side], frames, inputState_[channel + side]);
    std::fill_n(sums[side], frames, 0.0);
  }

  std::array<std::int32_t, kEchomtTaps> positions = tapPosition_;
  std::int32_t writePosition = writePosition_;
  for (int left = frames; left != 0;) {
    const int run = std::min(left, together);
    const int first = left - run;
    for (int tap = 0; tap < tapCount_; ++tap) {
      std::int32_t& position = positions[static_cast<std::size_t>(tap)];
      ReadTap<kSides>(tap, line, position, swing.value, swing.most, run, sums, first);
      position -= run % lineLength_;
      if (position < 0) position += lineLength_;
    }
    for (std::size_t side = 0; side < kSides; ++side) {
      LowPass(sums[side] + first, run, outputState_[channel + side]);
    }
    const double feedback = feedbackGain_;
    for (int todo = run; todo != 0;) {
      const int count = std::min(todo, writePosition + 1);
      double* const slots = line + (writePosition - count + 1);
      const int at = first + todo - count;
      for (int k = 0; k < count; ++k) {
        double feed = 0.0;
        if constexpr (kSides == 2) {
          feed = ((sums[0][at + k] + sums[1][at + k]) * feedback + (held[0][at + k] + held[1][at + k])) * 0.5;
        } else {
          feed = sums[0][at + k] * feedback + held[0][at + k];
        }
        feed = feed > kLineLimit ? kLineLimit : feed;
        slots[k] = feed < -kLineLimit ? -kLineLimit : feed;
      }
      todo -= count;
      writePosition -= count;
      if (writePosition < 0) writePosition = lineLength_ - 1;
    }
    left = first;
  }

  const double dry = dryGain_, wet = wetGain_;
  for (std::size_t side = 0; side < kSides; ++side) {
    typename Format::Sample* const samples = buffer + channel + side;
    for (int i = 0; i < frames; ++i) {
      const double y = dry * in[side][frames - 1 - i] + wet * sums[side][frames - 1 - i];
      samples[static_cast<std::size_t>(i) * channels] = Format::Write(Flush(y));
    }
  }
}

// Makes ready what a block may touch of a line that was taken anew: the frames it writes, and those around every tap.
void EchomtEngine::CleanAhead(DelayLine& line, const Swing& swing, int frames) noexcept {
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
  Swing swing;
  while (frames != 0) {
    const int count = static_cast<int>(std::min<std::uint32_t>(frames, kBlockFrames));
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
  constexpr bool kFloat = Format::kFormat == SampleFormat::kFloat32 || Format::kFormat == SampleFormat::kFloat64;
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

std::int32_t EchomtEngine::ProcessFloat32(ProcessMode mode, float* buffer, std::uint32_t& frameCount,
                                          bool tailOnly) noexcept {
  return Kernel<Float32>(mode, buffer, frameCount, tailOnly);
}

}  // namespace korva
