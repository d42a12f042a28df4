#pragma once

#include <cmath>
#include <cstdint>
#include <vector>

#include "audio/sine.h"
#include "audio/tempo_info.h"
#include "chorus/chorus_block.h"
#include "support/signals.h"

namespace korva {

/// The Chorus one frame and one voice at a time, in the plainest form: what the engine, however it groups its work, has
/// to equal to the bit.
class ChorusOracle {
 public:
  ChorusOracle(std::uint32_t rate, int channels)
      : rate_(rate), channels_(channels), length_(static_cast<std::int64_t>(std::ceil(2.0 * rate / 10 + 100))) {
    for (Voice& voice : voices_) voice.line.resize(static_cast<std::size_t>(length_ * channels));
  }

  void Full(const ChorusParams& p, bool wipe, const TempoInfo* tempo = nullptr) {
    count_ = p.chorusSize;
    delay_ = std::trunc(p.delay * double{1.0} * rate_ / 10000);
    for (int v = 0; v < 3; ++v) {
      Voice& voice = voices_[v];
      if (wipe) {
        for (std::int64_t i = 0; i < length_; ++i) voice.line[static_cast<std::size_t>(i)] = 0;
        voice.write = 0;
      }
      voice.memory.assign(32, 0.0);
      voice.read = std::trunc(kRatio[v] * delay_);
      if (!wipe) {
        voice.read += static_cast<double>(voice.write);
        if (voice.read > static_cast<double>(length_)) voice.read -= static_cast<double>(length_);
      }
    }
    Cheap(p, tempo);
  }

  void Cheap(const ChorusParams& p, const TempoInfo* tempo = nullptr) {
    in_ = Gain(p.inputGain);
    dry_ = Gain(p.dryOut);
    const double g = p.invertChorus != 0 ? -Gain(p.chorusOut) : Gain(p.chorusOut);
    panLeft_ = 0.9 * g;
    panRight_ = 0.95 * g;
    voices_[0].gain = 0.9 * g;
    voices_[1].gain = 0.81 * g;
    voices_[2].gain = 0.729 * g;
    feedback_ = p.feedback / 100.0;
    if (p.invertFeedback != 0) feedback_ = -feedback_;
    double cycle = p.modRate != 0 ? 1000.0 / p.modRate : 1.0;
    if (p.tempoSync != 0 && tempo != nullptr) {
      const double beat = (tempo->flags & 1) != 0 ? 60 / tempo->bpm : 2.0;
      double beats = 4.0;
      if (p.modPeriodNote != 18) {
        beats = kNoteQuarters[static_cast<std::size_t>(p.modPeriodNote)];
      } else if ((tempo->flags & 4) != 0) {
        beats = 4.0 / tempo->denominator * tempo->numerator;
      }
      cycle = beats * beat * p.modPeriodMultiplier / 1000;
    }
    for (int v = 0; v < 3; ++v) {
      voices_[v].period = std::trunc(rate_ * cycle * kRatio[v]);
      if (!(voices_[v].period >= 1)) voices_[v].period = 1;
      voices_[v].sine.SetStep(kTurn / voices_[v].period);
    }
    lowIn_ = 1;
    lowBack_ = 0;
    if (p.attenuateHigh != 0 && static_cast<std::uint32_t>(p.attenuationHz) < rate_ / 2) {
      lowBack_ = std::exp(p.attenuationHz * -kTurn / rate_);
      lowIn_ = 1 - lowBack_;
    }
    depth_ = std::trunc(p.modDepth / 100.0 * delay_);
  }

  /// One frame in place.
  void Frame(double* s) {
    for (int c = 0; c < channels_; ++c) s[c] *= in_;
    for (int v = 0; v < count_; ++v) {
      Voice& voice = voices_[v];
      double taps[32];
      Tap(voice, taps);
      for (int c = 0; c < channels_; ++c) {
        const double y = taps[c];
        const double x = s[c];
        const double pan = c == 0 ? panLeft_ : panRight_;
        if (channels_ != 2) {
          s[c] = y * voice.gain + (v == 0 ? x * dry_ : x);
        } else if (v == 0) {
          s[c] = voice.gain * y * pan + dry_ * x;
        } else {
          s[c] = x + y * pan;
        }
        voice.line[static_cast<std::size_t>(voice.write * channels_ + c)] = feedback_ * y + x;
      }
      if (--voice.write < 0) voice.write = length_ - 1;
    }
  }

  /// A stream's bytes in place.
  void Run(const FormatRecord& format, std::span<std::uint8_t> bytes) {
    VisitFormat(*SampleFormatOf(format), [&](auto policy) {
      auto* at = reinterpret_cast<typename decltype(policy)::Sample*>(bytes.data());
      std::vector<double> frame(static_cast<std::size_t>(channels_));
      for (std::size_t n = bytes.size() / format.blockAlign; n > 0; --n) {
        for (double& x : frame) x = decltype(policy)::Read(*at++);
        Frame(frame.data());
        at -= channels_;
        for (const double x : frame) *at++ = decltype(policy)::Write(x);
      }
    });
  }

  /// Frames from the impulse to the first tap that touches it, at full scale of its swing.
  std::int64_t FirstArrival() {
    for (std::int64_t t = 1;; ++t) {
      for (int v = 0; v < count_; ++v) {
        const auto now = static_cast<double>(t);
        const double swing = Sine(voices_[v], t % static_cast<std::int64_t>(voices_[v].period));
        if (std::fabs(std::trunc(kRatio[v] * delay_) + depth_ * swing - now) < 1) return t;
      }
    }
  }

 private:
  static constexpr double kTurn = 6.28318530718;
  static constexpr double kRatio[] = {1.0, 0.811731, 1.132329};

  struct Voice {
    std::vector<double> line, memory;
    std::int64_t write = 0, phase = 0;
    double read = 0, period = 1, gain = 0;
    CountedSine sine;
  };

  static double Sine(Voice& voice, std::int64_t phase) {
    voice.sine.MoveTo(static_cast<std::int32_t>(phase));
    return voice.sine.At<Single>(static_cast<std::int32_t>(phase)).value;
  }

  static double Gain(std::int32_t tenths) { return tenths > -600 ? std::pow(10.0, tenths / 200.0) : 0.0; }

  void Tap(Voice& voice, double* taps) {
    const auto length = static_cast<double>(length_);
    double position = Sine(voice, voice.phase) * depth_ + voice.read;
    if (position >= length) {
      position -= length;
    } else if (position < 0) {
      position += length;
    }
    auto i = static_cast<std::int64_t>(std::nearbyint(position - 0.499999985));
    const double fraction = position - static_cast<double>(i);
    i = (i + length_) % length_;
    const std::int64_t next = (i + 1) % length_;
    for (int c = 0; c < channels_; ++c) {
      const double a = voice.line[static_cast<std::size_t>(i * channels_ + c)];
      const double b = voice.line[static_cast<std::size_t>(next * channels_ + c)];
      double& memory = voice.memory[static_cast<std::size_t>(c)];
      double y = ((b - a) * fraction + a) * lowIn_ + memory * lowBack_;
      if (std::fabs(y) < 2e-11) y = 0;
      memory = taps[c] = y;
    }
    voice.read -= 1;
    if (voice.read < 0) voice.read = length - 1;
    voice.phase += 1;
    if (static_cast<double>(voice.phase) >= voice.period) voice.phase = 0;
  }

  const std::uint32_t rate_;
  const int channels_;
  const std::int64_t length_;
  Voice voices_[3];
  int count_ = 1;
  double in_ = 0, dry_ = 0, panLeft_ = 0, panRight_ = 0, feedback_ = 0, lowIn_ = 1, lowBack_ = 0;
  double delay_ = 0, depth_ = 0;
};

}  // namespace korva
