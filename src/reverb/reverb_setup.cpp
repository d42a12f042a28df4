#include <algorithm>
#include <cmath>

#include "audio/gain.h"
#include "audio/narrow.h"
#include "audio/process_mode.h"
#include "reverb/reverb_engine.h"

namespace korva {
namespace {

constexpr double kLongestPreDelayMs = 200;

// Twice the usual constant: the corner of the low-pass lies where this puts it.
constexpr double kLowPassScale = -12.56637061436;

// Added to the tap times, in ms, so that taps of one style do not fall on whole frames together.
constexpr std::array<double, kEarlyTaps> kTapShiftMs = {0.051, 0.151, 0.078};

// The right side's own two combs, against the left's.
constexpr std::array<double, 2> kDetune = {0.93, 1.06};

/// The gain that falls by 60 dB in `decay` seconds when it works once every `delay` seconds.
double CombGain(double delay, double decay) noexcept {
  return std::pow(10.0, delay * -3.0 / decay);
}

std::size_t Entries(double frames) noexcept {
  const auto entries = Truncate<std::int64_t>(frames);
  return entries < 1 ? 1 : static_cast<std::size_t>(entries);
}

/// A ring of `entries` of `width` values each; none where the width is 0.
bool BuildLine(ReverbLine& line, std::size_t entries, std::size_t width, StreamBudget& budget) noexcept {
  line.entries = entries;
  line.width = width;
  return width == 0 || line.ring.Allocate(entries * width, budget);
}

const ReverbModeRow& ModeRow(const ReverbParams& params) noexcept {
  return kReverbModeTable[static_cast<std::size_t>(std::clamp(params.reverbMode, 0, kReverbModes - 1))];
}

double Seconds(const ReverbParams& params) noexcept {
  return params.decayTenths / 10.0;
}

}  // namespace

std::int32_t ReverbEngine::UpdateEngine(const ReverbParams& params, ProcessMode mode) noexcept {
  const bool restart = mode == ModeRestart;
  const bool clearBass = restart || (params.bassOn != 0 && !bassOn_);
  const bool clearHigh = restart || (params.highOn != 0 && !highOn_);
  bassOn_ = params.bassOn != 0;
  highOn_ = params.highOn != 0;
  bypass_ = params.bypass != 0;
  mix_.dryGain = GainFromTenths(params.dryOut);
  mix_.reverbGain = GainFromTenths(params.reverbOut);
  // The tap factors are in percent.
  mix_.earlyGain = GainFromTenths(params.earlyOut) / 100.0;
  if (!streaming_ || !format_) return 0;

  // Taken before the work, so that a setter that raises it meanwhile is not lost.
  if (linesStale_.exchange(false, std::memory_order_relaxed) || !engineReady_) {
    const std::int32_t result = Rebuild(params, clearHigh);
    engineReady_ = ringsFit_ = result >= 0;
    if (result < 0) {
      ReleaseRings();
      MarkLinesStale(true);
      return result;
    }
    SetFilters(params, clearBass);
  } else {
    SetTail(Seconds(params));
    SetFilters(params, clearBass);
    RefreshGains(ModeRow(params), Seconds(params));
  }
  return 0;
}

std::int32_t ReverbEngine::Rebuild(const ReverbParams& params, bool clearHigh) noexcept {
  ReleaseRings();
  if (reserve_ && ReserveRings() < 0) return kEngineOutOfMemory;
  const ReverbModeRow& row = ModeRow(params);
  mix_.combCount = row.combCount;
  SetTail(Seconds(params));
  StreamBudget budget;
  std::int32_t result = BuildCombs(row, Seconds(params), budget);
  if (result >= 0) result = BuildLines(params, budget);
  if (result < 0) return result;
  if (clearHigh) {
    // Channel 0 keeps its memory, save for what no arithmetic would ever bring back to a number.
    for (std::size_t c = 1; c < network_.size(); ++c) network_[c].lowPass = 0;
    if (!std::isfinite(network_[0].lowPass)) network_[0].lowPass = 0;
  }
  return 0;
}

std::int32_t ReverbEngine::BuildCombs(const ReverbModeRow& row, double decay, StreamBudget& budget) noexcept {
  const double rate = rate_;
  const auto count = static_cast<std::size_t>(row.combCount);
  for (std::size_t c = 0; c < channels_; ++c) {
    const bool detuned = channels_ == 2 && c == 1;
    for (std::size_t i = 0; i < (detuned ? kDetune.size() : count); ++i) {
      const double delayMs = detuned ? row.delayMs[i] * kDetune[i] : row.delayMs[i];
      const double delay = delayMs / 1000.0;
      ReverbComb& comb = network_[c].combs[i];
      comb.gain = CombGain(delay, decay);
      comb.position = 0;
      comb.damping = 0;
      if (!BuildLine(comb.line, Entries(rate * delay + 0.5), CombWidth(c), budget)) return kEngineOutOfMemory;
    }
  }
  return 0;
}

void ReverbEngine::RefreshGains(const ReverbModeRow& row, double decay) noexcept {
  // The rings stay. A row with fewer combs than are running is read past its count.
  const auto count = static_cast<std::size_t>(mix_.combCount);
  for (std::size_t c = 0; c < channels_; ++c) {
    const bool detuned = channels_ == 2 && c == 1;
    for (std::size_t i = 0; i < (detuned ? kDetune.size() : count); ++i) {
      const double delayMs = detuned ? row.delayMs[i] * kDetune[i] : row.delayMs[i];
      network_[c].combs[i].gain = CombGain(delayMs / 1000.0, decay);
    }
  }
}

std::int32_t ReverbEngine::BuildLines(const ReverbParams& params, StreamBudget& budget) noexcept {
  const double rate = rate_;
  const bool stereo = channels_ == 2;
  const EarlyStyleRow& style =
      kEarlyStyleTable[static_cast<std::size_t>(std::clamp(params.earlyStyle, 0, kEarlyStyles - 1))];
  struct Tap {
    std::size_t frames;
    double left, right;
  };
  std::array<Tap, kEarlyTaps> taps{};
  for (std::size_t t = 0; t < taps.size(); ++t) {
    const double gain = style.gainPercent[t];
    const double place = (style.pan[t] + 100.0) / 200.0;
    taps[t].frames = Entries((style.tapMs[t] + kTapShiftMs[t]) * rate / 1000.0);
    taps[t].left = stereo ? gain * (1.0 - place) : gain;
    taps[t].right = stereo ? gain * place : gain;
  }
  // Two exchanges are no full sort; the styles need none at all.
  if (taps[0].frames > taps[1].frames) std::swap(taps[0], taps[1]);
  if (taps[1].frames > taps[2].frames) std::swap(taps[1], taps[2]);

  const std::size_t preDelayEntries = Entries(params.preDelayMs * (rate / 1000.0));
  const std::size_t earlyEntries = taps[2].frames;
  for (std::size_t c = 0; c < channels_; ++c) {
    ReverbChannel& channel = network_[c];
    if (!BuildLine(channel.preDelay, preDelayEntries, LineWidth(c), budget)) return kEngineOutOfMemory;
    if (!BuildLine(channel.early, earlyEntries, LineWidth(c), budget)) return kEngineOutOfMemory;
    channel.preDelayPosition = 0;
    for (std::size_t t = 0; t < taps.size(); ++t) {
      channel.taps[t] = earlyEntries - std::min(taps[t].frames, earlyEntries);
    }
  }
  for (std::size_t t = 0; t < taps.size(); ++t) {
    mix_.earlyLeft[t] = taps[t].left;
    mix_.earlyRight[t] = taps[t].right;
  }
  return 0;
}

void ReverbEngine::SetFilters(const ReverbParams& params, bool clearBass) noexcept {
  const double rate = rate_;
  const bool open = params.highOn == 0 || params.highHz >= rate;
  mix_.lowPassBack = open ? 0.0 : std::exp(params.highHz * kLowPassScale / rate);
  mix_.lowPassIn = open ? 1.0 : 1.0 - mix_.lowPassBack;

  mix_.bassOn = params.bassOn != 0;
  if (!mix_.bassOn) return;
  constexpr double kQ = 0.1;
  constexpr double kKnee = 0.011337868480725623;  // 500 Hz at 44100 Hz
  const double ratio = params.bassHz / rate;
  double frequency = ratio < kKnee ? ratio / 2.2 : ratio / 3.3;
  frequency = std::clamp(frequency, 0.0004, 0.49);
  BassFilter& bass = network_[0].bass;
  const double r = std::exp(frequency * -3.141592653589793 / kQ);
  bass.b1 = 2.0 * r * std::cos(frequency * 6.283185307179586);
  bass.b2 = std::exp(frequency * -6.283185307179586 / kQ);
  bass.a0 = 1.0 - bass.b1 + bass.b2;
  if (clearBass) bass.last = bass.beforeLast = 0;
  if (channels_ > 2) {
    for (std::size_t c = 1; c < channels_; ++c) network_[c].bass = bass;
  }
}

void ReverbEngine::SetTail(double decay) noexcept {
  // Whole seconds: a decay below one second rings out not at all.
  tailLength_ = tailLeft_ = TailFrames(Truncate<std::uint64_t>(std::trunc(decay) * rate_));
}

std::int32_t ReverbEngine::ReserveRings() noexcept {
  const double rate = rate_;
  const auto reserve = [](DelayLine& ring, std::size_t longest) {
    return longest == 0 || ring.capacity() == longest || ring.Reserve(longest);
  };
  double tapMs = 0;
  for (const EarlyStyleRow& style : kEarlyStyleTable) {
    for (std::size_t t = 0; t < kEarlyTaps; ++t) tapMs = std::max(tapMs, style.tapMs[t] + kTapShiftMs[t]);
  }
  for (std::size_t c = 0; c < channels_; ++c) {
    ReverbChannel& channel = network_[c];
    const bool detuned = channels_ == 2 && c == 1;
    for (std::size_t i = 0; i < (detuned ? kDetune.size() : channel.combs.size()); ++i) {
      double delayMs = 0;
      for (const ReverbModeRow& row : kReverbModeTable) {
        if (i < static_cast<std::size_t>(row.combCount)) delayMs = std::max(delayMs, row.delayMs[i]);
      }
      if (detuned) delayMs *= kDetune[i];
      const std::size_t entries = Entries(rate * (delayMs / 1000.0) + 0.5) + 1;
      if (!reserve(channel.combs[i].line.ring, CombWidth(c) * entries)) return kEngineOutOfMemory;
    }
    if (!reserve(channel.preDelay.ring, LineWidth(c) * (Entries(kLongestPreDelayMs * rate / 1000.0) + 1)) ||
        !reserve(channel.early.ring, LineWidth(c) * (Entries(tapMs * rate / 1000.0) + 1))) {
      return kEngineOutOfMemory;
    }
  }
  return 0;
}

void ReverbEngine::ReleaseRings() noexcept {
  ringsFit_ = false;
  for (ReverbChannel& channel : network_) {
    for (ReverbComb& comb : channel.combs) comb.line.ring.Release();
    channel.preDelay.ring.Release();
    channel.early.ring.Release();
  }
}

void ReverbEngine::FreeRings() noexcept {
  ringsFit_ = false;
  for (ReverbChannel& channel : network_) {
    for (ReverbComb& comb : channel.combs) comb.line.ring.Free();
    channel.preDelay.ring.Free();
    channel.early.ring.Free();
  }
}

}  // namespace korva
