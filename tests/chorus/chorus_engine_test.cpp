#include "chorus/chorus_engine.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <random>

#include "chorus/chorus_params.h"
#include "chorus_oracle.h"

namespace korva {
namespace {

ChorusParams PresetBlock(std::int32_t index) {
  return *static_cast<const ChorusParams*>(kChorusEffect.presets.Block(index));
}

ChorusParams RandomBlock(std::mt19937& random) {
  ChorusParams block{};
  for (const ParamDescriptor& row : kChorusEffect.rows) {
    const auto span = static_cast<std::uint32_t>(row.externalMax - row.externalMin);
    // The ends of a range are where things break.
    const auto pick = random() % 8;
    const std::int32_t value = pick == 0   ? row.externalMin
                               : pick == 1 ? row.externalMax
                                           : row.externalMin + static_cast<std::int32_t>(random() % (span + 1));
    std::memcpy(reinterpret_cast<char*>(&block) + row.blockOffset, &value, sizeof value);
  }
  if (random() % 2 == 0) block.inputGain = block.dryOut = 0;
  return block;
}

TEST(ChorusEngine, EqualsTheFrameByFrameFormToTheBit) {
  constexpr std::uint32_t kRates[] = {1, 9, 8000, 11025, 44100, 96000};
  constexpr std::uint16_t kChannels[] = {1, 2, 3, 6, 32};
  for (std::uint32_t seed = 0; seed < 150; ++seed) {
    std::mt19937 random(seed);
    const FormatRecord format = MakeFormat(kAllFormats[seed % 5], kChannels[random() % 5], kRates[random() % 6]);
    ChorusEngine engine;
    ASSERT_EQ(engine.Start(format), 0);
    ChorusOracle oracle(format.samplesPerSecond, format.channels);
    ChorusParams block = RandomBlock(random);
    engine.FullRecompute(block, true, nullptr);
    oracle.Full(block, true);
    for (int part = 0; part < 8; ++part) {
      Bytes bytes = NoiseBytes(format, 1 + random() % 1500, 0.9, seed + 1);
      Bytes expected = bytes;
      engine.Process(bytes.data(), static_cast<std::uint32_t>(bytes.size() / format.blockAlign));
      oracle.Run(format, expected);
      ASSERT_EQ(LargestDifference(Decode(format, bytes), Decode(format, expected)), 0.0)
          << Describe(format) << ", seed " << seed << ", part " << part;
      const bool reuse = random() % 2 == 0;
      if (!reuse) block = RandomBlock(random);
      TempoInfo tempo;
      tempo.flags = random() % 16;
      tempo.bpm = 30 + static_cast<double>(random() % 300);
      tempo.numerator = 1 + static_cast<std::int32_t>(random() % 7);
      const TempoInfo* const given = random() % 2 == 0 ? &tempo : nullptr;
      switch (random() % 4) {
        case 0:
          engine.FullRecompute(block, true, given);
          oracle.Full(block, true, given);
          break;
        case 1:
          engine.FullRecompute(block, false, given);
          oracle.Full(block, false, given);
          break;
        case 2:
          engine.CheapRecompute(block, given);
          oracle.Cheap(block, given);
          break;
        default:
          break;
      }
    }
  }
}

TEST(ChorusEngine, AnImpulseComesBackWhenEachPresetsDelaySays) {
  for (std::int32_t index = 0; index < kChorusEffect.presets.count(); ++index) {
    for (const std::uint16_t channels : {std::uint16_t{1}, std::uint16_t{2}}) {
      const FormatRecord format = MakeFormat(SampleFormat::kFloat64, channels, 44100);
      const ChorusParams block = PresetBlock(index);
      ChorusEngine engine;
      ASSERT_EQ(engine.Start(format), 0);
      engine.FullRecompute(block, true, nullptr);
      ChorusOracle oracle(44100, channels);
      oracle.Full(block, true);
      std::vector<double> signal(std::size_t{10000} * channels);
      signal[0] = 1;
      engine.Process(signal.data(), 10000);
      std::size_t first = 1;
      while (first < 10000 && signal[first * channels] == 0) ++first;
      EXPECT_EQ(first, static_cast<std::size_t>(oracle.FirstArrival())) << "preset " << index;
      EXPECT_NEAR(signal[0], std::pow(10.0, (block.inputGain + block.dryOut) / 200.0), 1e-15) << "preset " << index;
      // Channels do not leak into one another.
      for (std::size_t i = 1; channels == 2 && i < signal.size(); i += 2) ASSERT_EQ(signal[i], 0.0) << index;
    }
  }
}

TEST(ChorusEngine, VoicesComeInAsLoudAsChannelCountAndPlaceSay) {
  const struct {
    const char* what;
    std::uint16_t channels, channel;
    std::int32_t voices;
    int arrival;  // frames
    double gain;
  } rows[] = {
      // 10 ms at 44.1 kHz; voice 1 stands at 0.811731 of that. The swing is too slow to matter.
      {"mono, voice 0", 1, 0, 1, 441, 0.9},
      {"stereo, voice 0, left", 2, 0, 1, 441, 0.81},
      {"stereo, voice 0, right", 2, 1, 1, 441, 0.855},
      {"six, voice 0", 6, 5, 1, 441, 0.9},
      {"mono, voice 1", 1, 0, 2, 357, 0.81},
      {"stereo, voice 1, left", 2, 0, 2, 357, 0.9},
      {"stereo, voice 1, right", 2, 1, 2, 357, 0.95},
      {"mono, voice 2", 1, 0, 3, 499, 0.729},
      {"stereo, voice 2, right", 2, 1, 3, 499, 0.95},
  };
  for (const auto& row : rows) {
    for (const bool inverted : {false, true}) {
      ChorusParams block = PresetBlock(0);
      block.dryOut = block.chorusOut = 0;
      block.chorusSize = row.voices;
      block.delay = 100;
      block.modRate = block.modDepth = 1;
      block.invertChorus = inverted ? 1 : 0;
      ChorusEngine engine;
      ASSERT_EQ(engine.Start(MakeFormat(SampleFormat::kFloat64, row.channels, 44100)), 0);
      engine.FullRecompute(block, true, nullptr);
      std::vector<double> signal(std::size_t{600} * row.channels);
      signal[row.channel] = 1;
      engine.Process(signal.data(), 600);
      double sum = 0;
      for (int t = row.arrival - 2; t <= row.arrival + 2; ++t) {
        sum += signal[static_cast<std::size_t>(t) * row.channels + row.channel];
      }
      // The first stereo voice takes the wet gain twice, so its sign never turns.
      const bool turns = inverted && !(row.channels == 2 && row.voices == 1);
      EXPECT_NEAR(sum, turns ? -row.gain : row.gain, 1e-5) << row.what;
    }
  }
}

TEST(ChorusEngine, TakesAnyRateAndAnySample) {
  constexpr double kOdd[] = {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
                             -std::numeric_limits<double>::infinity(), std::numeric_limits<double>::denorm_min(),
                             std::numeric_limits<double>::max(),       -0.0};
  for (const std::uint32_t rate : {0U, 1U, 2U, 499U, 44100U, 768000U, 1'000'000'000U, 0xFFFFFFFFU}) {
    for (const std::uint16_t channels : {std::uint16_t{1}, std::uint16_t{2}, std::uint16_t{32}}) {
      for (const SampleFormat sampleFormat : kAllFormats) {
        const FormatRecord format = MakeFormat(sampleFormat, channels, rate);
        ChorusEngine engine;
        if (engine.Start(format) != 0) {
          EXPECT_GT(rate, 768000U) << Describe(format);
          continue;
        }
        std::mt19937 random(rate);
        for (int round = 0; round < 6; ++round) {
          const ChorusParams block = round == 0 ? ChorusParams{} : RandomBlock(random);
          engine.FullRecompute(block, round % 2 == 0, nullptr);
          std::vector<double> samples(std::size_t{300} * channels);
          for (double& x : samples) x = kOdd[random() % 6];
          Bytes bytes = Encode(format, samples);
          engine.Process(bytes.data(), 300);
          engine.CheapRecompute(RandomBlock(random), nullptr);
          engine.Process(bytes.data(), 0);
          engine.Process(bytes.data(), 300);
        }
      }
    }
  }
}

}  // namespace
}  // namespace korva
