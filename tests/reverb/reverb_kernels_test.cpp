#include <gtest/gtest.h>

#include "reverb/reverb_network.h"
#include "support/seed.h"
#include "support/signals.h"

namespace korva {
namespace {

/// A network with rings of any length, and what it needs to run.
struct Network {
  /// Lines of `sides` values an entry; the combs' too where two neighbours share all.
  template <class Random>
  Network(Random& random, std::size_t sides, bool share) {
    const auto part = [&] { return static_cast<double>(random() % 1000) / 1000; };
    mix.combCount = 8 + static_cast<int>(random() % 3);
    mix.bassOn = random() % 2 == 0;
    mix.lowPassBack = random() % 2 == 0 ? 0 : part();
    mix.lowPassIn = 1 - mix.lowPassBack;
    mix.earlyGain = part() / 100;
    mix.reverbGain = part();
    mix.dryGain = part();
    for (auto* const early : {&mix.earlyLeft, &mix.earlyRight}) {
      for (double& gain : *early) gain = 200 * part() - 100;
    }
    for (ReverbChannel& channel : channels) {
      for (ReverbComb& comb : channel.combs) {
        Make(comb.line, 1 + random() % 300, share ? 2 : 1);
        comb.gain = part() * 0.9;
      }
      channel.bass.b1 = 1.6;
      channel.bass.b2 = 0.65;
      channel.bass.a0 = 0.05;
      Make(channel.preDelay, 1 + random() % 200, sides);
      Make(channel.early, 1 + random() % 200, sides);
      for (std::size_t& tap : channel.taps) tap = random() % channel.early.entries;
      channel.taps[2] = 0;
    }
    for (std::size_t i = 0; share && i < kReverbCombs; ++i) channels[1].combs[i].gain = channels[0].combs[i].gain;
  }
  static void Make(ReverbLine& line, std::size_t entries, std::size_t width) {
    line.width = width;
    line.entries = entries;
    EXPECT_TRUE(line.ring.Allocate(entries * width));
  }

  ReverbMix mix;
  ReverbChannel channels[2];
};

/// The kernels once more, one frame after the other with nothing side by side.
struct PlainNetwork : Network {
  using Network::Network;
  bool vector = false;

  void Frame(double* io, std::size_t sides) {
    ReverbChannel& n = channels[0];
    const double s = Input(n, sides == 2 ? (io[0] + io[1]) * 0.5 : io[0]);
    double shared = 0, reverb[2] = {}, taps[3] = {};
    for (std::size_t i = sides == 2 ? 2 : 0; i < static_cast<std::size_t>(mix.combCount); ++i) {
      shared += Step(n.combs[i], s);
    }
    for (std::size_t side = 0; side < sides; ++side) {
      double sum = shared;
      for (std::size_t i = 0; sides == 2 && i < 2; ++i) sum += Step(channels[side].combs[i], s);
      n.preDelay.ring.data()[n.preDelayPosition * sides + side] = sum;
      reverb[side] = n.preDelay.ring.data()[(n.preDelayPosition + 1) % n.preDelay.entries * sides + side];
      // Stereo hears the taps of both sides.
      for (std::size_t t = 0; t < 3; ++t) taps[t] += n.early.ring.data()[n.taps[t] * sides + side];
    }
    for (std::size_t side = 0; side < sides; ++side) {
      const auto& e = side == 0 ? mix.earlyLeft : mix.earlyRight;
      n.early.ring.data()[n.taps[2] * sides + side] = io[side];
      io[side] = (taps[0] * e[0] + taps[1] * e[1] + taps[2] * e[2]) * mix.earlyGain + reverb[side] * mix.reverbGain +
                 io[side] * mix.dryGain;
    }
    n.preDelayPosition = (n.preDelayPosition + 1) % n.preDelay.entries;
    for (std::size_t& tap : n.taps) tap = (tap + 1) % n.early.entries;
  }

 private:
  double Flushed(double x, double floor) const { return !vector && std::fabs(x) < floor ? 0 : x; }
  double Input(ReverbChannel& n, double x) const {
    n.lowPass = Flushed(x * mix.lowPassIn + n.lowPass * mix.lowPassBack, std::ldexp(1, -32));
    if (!mix.bassOn) return n.lowPass;
    BassFilter& b = n.bass;
    const double y = Flushed(n.lowPass * b.a0 + b.last * b.b1 - b.beforeLast * b.b2, std::ldexp(1, -32));
    b.beforeLast = b.last;
    b.last = y;
    return n.lowPass - (vector ? y : static_cast<double>(static_cast<float>(y)));
  }
  double Step(ReverbComb& comb, double s) const {
    double& slot = comb.line.ring.data()[comb.position];
    const double out = slot;
    comb.damping = Flushed(comb.damping * mix.lowPassBack + out * mix.lowPassIn, 1e-20);
    slot = (comb.damping + s) * comb.gain;
    comb.position = (comb.position + 1) % comb.line.entries;
    return out;
  }
};

TEST(ReverbKernels, EqualThePlainForm) {
  const Seed seed;
  for (unsigned round = 0; round < 60; ++round) {
    for (const int kernel : {0, 1, 2, 3}) {
      std::mt19937 random(seed + round), same = random, again = random;
      // The last kernel works two channels that know nothing of one another.
      const bool share = kernel == 3;
      const std::size_t sides = kernel == 0 ? 1 : 2, together = share ? 1 : sides;
      Network network(random, sides, share);
      PlainNetwork plain(same, together, false), neighbour(again, 1, false);
      plain.vector = kernel == 2;
      auto samples = GridNoise(2500 * sides), expected = samples;
      for (std::size_t at = 0, frames = 0; at < 2500; at += frames) {
        frames = std::min<std::size_t>(1 + random() % kReverbBlock, 2500 - at);
        double* const io = &samples[at * sides];
        auto& [left, right] = network.channels;
        if (kernel == 0) RunReverbChannel(left, network.mix, io, frames);
        if (kernel == 1) RunReverbStereoPlain(left, right, network.mix, io, frames);
        if (kernel == 2) RunReverbStereoVector(left, right, network.mix, io, frames);
        if (kernel == 3) RunReverbTwoChannels(left, right, network.mix, io, frames);
      }
      for (std::size_t i = 0; i < expected.size(); i += sides) {
        plain.Frame(&expected[i], together);
        if (share) neighbour.Frame(&expected[i + 1], 1);
      }
      ASSERT_LE(LargestDifference(samples, expected), kernel == 2 ? 1e-12 : 0) << "round " << round << ", " << kernel;
    }
  }
}

}  // namespace
}  // namespace korva
