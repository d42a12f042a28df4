#pragma once

#include <cmath>
#include <vector>

#include "reverb/reverb_block.h"
#include "reverb/reverb_tables.h"

namespace korva {

/// The effect worked one frame after the other with nothing side by side, to hold the engine against: the same samples
/// to the last bit with the plain kernels; with `vector`, the same to rounding.
class ReverbOracle {
 public:
  ReverbOracle(const ReverbParams& p, std::size_t channelCount, double sampleRate, bool vector)
      : rate_(sampleRate), vector_(vector), stereo_(channelCount == 2), networks_(channelCount) {
    count_ = static_cast<std::size_t>(Mode(p).combCount);
    const EarlyStyleRow& style = kEarlyStyleTable[static_cast<std::size_t>(p.earlyStyle)];
    const double shift[] = {0.051, 0.151, 0.078};
    for (std::size_t t = 0; t < 3; ++t) {
      tap_[t] = static_cast<std::size_t>((style.tapMs[t] + shift[t]) * rate_ / 1000.0);
      const double right = (style.pan[t] + 100) / 200.0;
      early_[0][t] = stereo_ ? style.gainPercent[t] * (1 - right) : style.gainPercent[t];
      early_[1][t] = style.gainPercent[t] * right;
    }
    for (Network& network : networks_) {
      network.preDelay.resize(std::max<std::size_t>(1, static_cast<std::size_t>(p.preDelayMs * (rate_ / 1000))));
      network.past.resize(tap_[2]);
      network.combs.resize(count_);
    }
    Refresh(p);
    for (Network& network : networks_) {
      for (Comb& comb : network.combs) comb.ring.resize(static_cast<std::size_t>(rate_ * comb.seconds + 0.5));
    }
  }

  /// What a change does to lines that stay.
  void Refresh(const ReverbParams& p) {
    const auto gain = [](std::int32_t tenths) { return tenths > -800 ? std::pow(10, tenths / 200.0) : 0; };
    dry_ = gain(p.dryOut);
    wet_ = gain(p.reverbOut);
    earlyGain_ = gain(p.earlyOut) / 100;
    const bool damped = p.highOn != 0 && p.highHz < rate_;
    back_ = damped ? std::exp(p.highHz * -12.56637061436 / rate_) : 0;
    in_ = 1 - back_;
    if (p.bassOn != 0) {
      const double ratio = p.bassHz / rate_;
      const double f = std::fmin(std::fmax(ratio < 0.011337868480725623 ? ratio / 2.2 : ratio / 3.3, 0.0004), 0.49);
      b1_ = 2 * std::exp(f * -3.141592653589793 / 0.1) * std::cos(f * 6.283185307179586);
      b2_ = std::exp(f * -6.283185307179586 / 0.1);
      a0_ = 1 - b1_ + b2_;
      // Channels with networks of their own go on from the first one's memory.
      for (Network& network : networks_) {
        network.y1 = bass_ ? networks_[0].y1 : 0;
        network.y2 = bass_ ? networks_[0].y2 : 0;
      }
    }
    bass_ = p.bassOn != 0;
    for (std::size_t c = 0; c < networks_.size(); ++c) {
      for (std::size_t i = 0; i < count_; ++i) {
        const double detune = stereo_ && c == 1 && i < 2 ? (i == 0 ? 0.93 : 1.06) : 1;
        Comb& comb = networks_[c].combs[i];
        comb.seconds = Mode(p).delayMs[i] * detune / 1000;
        comb.gain = std::pow(10, comb.seconds * -3 / (p.decayTenths / 10.0));
      }
    }
  }

  /// One frame in place.
  void Run(double* frame) {
    if (!stereo_) {
      for (std::size_t c = 0; c < networks_.size(); ++c) {
        const double s = Input(networks_[c], frame[c]);
        double sum = 0;
        for (Comb& comb : networks_[c].combs) sum += Step(comb, s);
        frame[c] = Output(networks_[c], 0, sum, frame[c], Taps(networks_[c]));
      }
    } else {
      const double s = Input(networks_[0], (frame[0] + frame[1]) * 0.5);
      double shared = 0;
      for (std::size_t i = 2; i < count_; ++i) shared += Step(networks_[0].combs[i], s);
      std::array<double, 3> taps = Taps(networks_[0]);
      for (std::size_t t = 0; t < 3; ++t) taps[t] += Taps(networks_[1])[t];
      for (std::size_t c = 0; c < 2; ++c) {
        double sum = shared;
        for (std::size_t i = 0; i < 2; ++i) sum += Step(networks_[c].combs[i], s);
        frame[c] = Output(networks_[c], c, sum, frame[c], taps);
      }
    }
    ++now_;
  }

 private:
  struct Comb {
    std::vector<double> ring;
    double seconds = 0, gain = 0, damping = 0;
  };
  struct Network {
    double lowPass = 0, y1 = 0, y2 = 0;
    std::vector<double> preDelay, past;
    std::vector<Comb> combs;
  };

  static const ReverbModeRow& Mode(const ReverbParams& p) {
    return kReverbModeTable[static_cast<std::size_t>(p.reverbMode)];
  }
  double Flushed(double x, double floor) const { return !vector_ && std::fabs(x) < floor ? 0 : x; }

  double Input(Network& n, double x) const {
    n.lowPass = Flushed(x * in_ + n.lowPass * back_, std::ldexp(1, -32));
    if (!bass_) return n.lowPass;
    const double y = Flushed(n.lowPass * a0_ + n.y1 * b1_ - n.y2 * b2_, std::ldexp(1, -32));
    n.y2 = n.y1;
    n.y1 = y;
    return n.lowPass - (vector_ ? y : static_cast<double>(static_cast<float>(y)));
  }
  double Step(Comb& comb, double s) const {
    double& slot = comb.ring[now_ % comb.ring.size()];
    const double out = slot;
    comb.damping = Flushed(comb.damping * back_ + out * in_, 1e-20);
    slot = (comb.damping + s) * comb.gain;
    return out;
  }
  std::array<double, 3> Taps(const Network& n) const {
    const std::size_t size = n.past.size();
    return {n.past[(now_ + size - tap_[0]) % size], n.past[(now_ + size - tap_[1]) % size], n.past[now_ % size]};
  }
  double Output(Network& n, std::size_t side, double sum, double dry, const std::array<double, 3>& taps) const {
    n.preDelay[now_ % n.preDelay.size()] = sum;
    const double reverb = n.preDelay[(now_ + 1) % n.preDelay.size()];
    n.past[now_ % n.past.size()] = dry;
    const auto& e = early_[side];
    return (taps[0] * e[0] + taps[1] * e[1] + taps[2] * e[2]) * earlyGain_ + reverb * wet_ + dry * dry_;
  }

  const double rate_;
  const bool vector_, stereo_;
  std::vector<Network> networks_;
  std::size_t count_ = 0, now_ = 0;
  std::array<std::size_t, 3> tap_{};
  std::array<std::array<double, 3>, 2> early_{};
  double dry_ = 0, wet_ = 0, earlyGain_ = 0, in_ = 1, back_ = 0, a0_ = 0, b1_ = 0, b2_ = 0;
  bool bass_ = false;
};

}  // namespace korva
