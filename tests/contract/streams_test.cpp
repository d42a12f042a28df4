#include <limits>

#include "contract/subject.h"
#include "support/seed.h"

// What an effect does with a stream, whatever it does with the sound.
namespace korva {
namespace {

using Channels = std::initializer_list<std::uint16_t>;

float* Floats(Bytes& bytes, std::size_t at = 0) {
  return reinterpret_cast<float*>(bytes.data() + at);
}

/// A stream by the direct road, in buffers of `step` frames, and with `tail` its tail.
Bytes RunDirect(CQvInPlaceFilter& filter, const FormatRecord& format, Bytes bytes, DWORD step, bool tail) {
  EXPECT_EQ(filter.FloatStart(format.channels, format.samplesPerSecond), S_OK);
  const std::size_t size = step * format.blockAlign;
  for (std::size_t at = 0; at < bytes.size(); at += size) {
    const std::size_t part = std::min(size, bytes.size() - at);
    EXPECT_EQ(filter.FloatProcess(Floats(bytes, at), static_cast<DWORD>(part / format.blockAlign), 0), S_OK);
  }
  for (HRESULT more = S_OK; tail && more == S_OK;) {
    const std::size_t end = bytes.size();
    bytes.resize(end + size, 0xAA);  // the caller need not clear it
    DWORD frames = step;
    more = filter.FloatTail(Floats(bytes, end), &frames);
    EXPECT_GE(more, 0);
    bytes.resize(end + frames * format.blockAlign);
  }
  EXPECT_EQ(filter.FloatStop(), S_OK);
  return bytes;
}

/// What comes out of a graph. The tail of an effect in place is left out, for it may be long.
Bytes RunGraph(const Instance& made, const FormatRecord& format, const Bytes& input, std::size_t cut) {
  TestGraph graph(*made.filter, format, {std::max<std::size_t>(cut, 512)});
  EXPECT_EQ(graph.Start(), S_OK);
  EXPECT_EQ(graph.SendAll(input, cut), S_OK);
  if (made.inPlace == nullptr) {
    EXPECT_EQ(graph.source->pin.DeliverEndOfStream(), S_OK);
  }
  return graph.sink->pin.received;
}

/// The output in a format is `expected` as far as the format can say it: whole numbers end at full scale.
void ExpectSameSound(const std::vector<double>& output, const std::vector<double>& expected,
                     const FormatRecord& format) {
  ASSERT_LE(output.size(), expected.size());
  const double step = format.formatTag == kTagFloat ? 0 : std::ldexp(2.0, -format.bitsPerSample);
  for (std::size_t i = 0; i < output.size(); ++i) {
    // Pitch Shift fills up with bytes of 0, which are no silence in eight bits: kept on purpose.
    if ((step != 0 && std::fabs(expected[i]) > 1 - step) || (format.bitsPerSample == 8 && output[i] == -1)) continue;
    ASSERT_NEAR(output[i], expected[i], step * 0.5001 + 1e-7 * std::fabs(expected[i]) + 1e-7) << "sample " << i;
  }
}

TEST_P(Contract, SamplesDependNeitherOnCutsNorOnTheRoadNorOnTheFormat) {
  const Seed seed;
  std::mt19937 random(seed);
  for (const std::uint16_t channels : Channels{1, 2, 6, 32}) {
    Bytes block = Make().Block();
    Shuffle(effect(), block.data(), random);
    // A format of its own rounds once more before the filter for aliases.
    const bool shifts = effect().name == std::string("pitch-shift");
    const auto make = [&] {
      Instance made = Make();
      made.parameters->WriteBlock(block.data());
      made.Set(shifts ? "anti-alias=0" : "");
      return made;
    };
    const std::uint32_t rate = random() % 2 == 0 ? 8000 : 44100;
    const auto input = GridNoise(3000U * channels, 0.2, static_cast<std::uint32_t>(random()));
    std::vector<double> reference[2];
    for (const SampleFormat sampleFormat : {SampleFormat::kFloat64, SampleFormat::kFloat32, SampleFormat::kPcm32,
                                            SampleFormat::kPcm16, SampleFormat::kPcm8}) {
      const FormatRecord format = MakeFormat(sampleFormat, channels, rate);
      SCOPED_TRACE(Describe(format));
      const Bytes bytes = Encode(format, input), whole = RunGraph(make(), format, bytes, 3000);
      if (InPlace()) {
        EXPECT_EQ(whole.size(), bytes.size());
      }
      for (const std::size_t cut : {1U, 7U, 500U}) {
        EXPECT_TRUE(RunGraph(make(), format, bytes, cut) == whole) << "cut into " << cut;
      }
      if (InPlace() && sampleFormat == SampleFormat::kFloat32) {
        EXPECT_TRUE(RunDirect(*make().inPlace, format, bytes, 333, false) == whole) << "by the direct road";
      }
      // The search for a splice works in floats where the format's samples fit in them, and may find another place.
      const bool fine = sampleFormat == SampleFormat::kFloat64 || sampleFormat == SampleFormat::kPcm32;
      std::vector<double>& expected = reference[InPlace() || fine ? 0 : 1];
      const auto output = Decode(format, whole);
      if (expected.empty()) expected = output;
      ASSERT_EQ(output.size(), expected.size());
      ExpectSameSound(output, expected, format);
    }
  }
}

struct Tail {
  const char* effect;
  std::string settings;
  std::size_t frames, framesOfFloats;  // at 8 kHz, in buffers of 3000
  std::vector<std::size_t> rung;       // of stereo tail-only samples of 1000 frames; none: not looked at
  std::size_t goingOn;                 // such calls by the direct road that are not yet answered as the end
};

// One echo of 100 ms, one tap of 100 ms in a line of 105 ms, combs of 41 ms and more. Simple Delay counts the decay
// once for each channel, and in whole numbers rings for one buffer alone. Reverb rings for whole seconds.
const std::string kEcho = "dry-out=-800 delay-out=0 delay=100 decay=10 multiple-delays=",
                  kTap = "dry-out=-800 wet-out=-10 tap-delay-1=100 feedback=",
                  kHall = "dry-out=-800 early-out=-800 reverb-out=0 reverb-mode=2 pre-delay=0 bass-on=0 high-on=0 ";
const Tail kTails[] = {
    {"chorus", "", 0, 0, {0}, 0},
    {"simple-delay", kEcho + "0", 800, 800, {800, 0}, 0},
    {"simple-delay", kEcho + "1", 3000, 8800, {}, 0},
    {"simple-delay", kEcho + "1 delay=10 decay=1", 880, 880, {1000, 680, 0, 0}, 1},
    {"simple-delay", kEcho + "1 bypass=1", 0, 0, {}, 0},
    {"multi-tap-delay", kTap + "0", 840, 840, {840, 0}, 1},
    {"multi-tap-delay", kTap + "60", 5880, 5880, {1000, 1000, 1000, 1000, 1000, 880, 0}, 6},
    {"multi-tap-delay", kTap + "90", 24360, 24360, {}, 0},
    {"multi-tap-delay", kTap + "100", 160000, 160000, {}, 0},
    {"reverb", kHall + "decay=9", 0, 0, {}, 0},
    {"reverb", kHall + "decay=10", 8000, 8000, {1000, 1000, 1000, 1000, 1000, 1000, 1000, 1000, 0}, 8},
    {"reverb", kHall + "decay=29 bypass=1", 16000, 16000, {}, 0},
    {"reverb", kHall + "decay=50", 40000, 40000, {}, 0},
};

TEST_P(Contract, TheTailIsAsLongAsItShouldByBothRoadsInAllFormats) {
  for (const Tail& tail : kTails) {
    if (effect().name != std::string(tail.effect)) continue;
    const auto input = GridNoise(2 * 1000, 0.2);
    std::vector<double> reference;
    for (auto sampleFormat = std::rbegin(kAllFormats); sampleFormat != std::rend(kAllFormats); ++sampleFormat) {
      const FormatRecord format = MakeFormat(*sampleFormat, 2, 8000);
      SCOPED_TRACE(Describe(format) + " " + tail.settings);
      const Instance made = Make(tail.settings);
      TestGraph graph(*made.filter, format, {3000});
      const Bytes bytes = graph.Run(Encode(format, input), 1000);
      auto output = Decode(format, bytes);
      const bool floats = *sampleFormat == SampleFormat::kFloat32;
      EXPECT_EQ(output.size() / 2 - 1000, floats ? tail.framesOfFloats : tail.frames);
      EXPECT_TRUE(graph.sink->pin.events.ends_with("sample end "));
      if (floats && !tail.settings.ends_with("bypass=1")) {
        const Instance direct = Make(tail.settings), cut = Make(tail.settings);
        EXPECT_TRUE(RunDirect(*direct.inPlace, format, Encode(format, input), 300, true) == bytes);
        TestGraph small(*cut.filter, format, {7});
        EXPECT_TRUE(small.Run(Encode(format, input), 7) == bytes);
      }
      if (reference.empty()) reference = output;
      output.resize(std::min(output.size(), reference.size()));
      ExpectSameSound(output, reference, format);
    }
  }
}

TEST_P(Contract, TailOnlySamplesRingOutAreSkippedAndTheNextRealOneStartsAnew) {
  for (const Tail& tail : kTails) {
    if (effect().name != std::string(tail.effect) || tail.rung.empty()) continue;
    for (const SampleFormat sampleFormat : kAllFormats) {
      const FormatRecord format = MakeFormat(sampleFormat, 2, 8000);
      SCOPED_TRACE(Describe(format) + " " + tail.settings);
      const Instance made = Make(tail.settings);
      TestGraph graph(*made.filter, format, {1000});
      ASSERT_EQ(graph.Start(), S_OK);
      EXPECT_EQ(graph.Send(NoiseBytes(format, 1000)), S_OK);
      const Bytes whole = NoiseBytes(format, 1000, 0.5, 5);
      Bytes odd = whole;
      odd.push_back(0);
      for (const std::size_t frames : tail.rung) {
        TestSample sample(odd);
        sample.tailOnly = 1;
        EXPECT_EQ(graph.input().Receive(&sample), S_OK);
        EXPECT_EQ(sample.data != odd, frames != 0);
        // The sink fetches it too.
        EXPECT_EQ(sample.pointerFetches, frames != 0 ? 2 : 1);
        const bool keepsLength = effect().name == std::string("multi-tap-delay");
        EXPECT_EQ(sample.length, static_cast<LONG>(keepsLength ? odd.size() : whole.size()));
        const auto kept = static_cast<std::ptrdiff_t>(frames * format.blockAlign);
        EXPECT_TRUE(std::equal(sample.data.begin() + kept, sample.data.end(), odd.begin() + kept));
      }
      if (tail.frames == 0) continue;
      graph.sink->pin.received.clear();
      EXPECT_EQ(graph.Send(Encode(format, std::vector<double>(2 * 1000))), S_OK);
      for (const double x : Decode(format, graph.sink->pin.received)) ASSERT_EQ(x, 0.0);
    }
    const Instance made = Make(tail.settings);
    EXPECT_EQ(made.inPlace->FloatStart(2, 8000), S_OK);
    std::vector<float> audio(2 * 1000, 0.125F);
    EXPECT_EQ(made.inPlace->FloatProcess(audio.data(), 1000, 0), S_OK);
    for (std::size_t i = 0; i < tail.rung.size(); ++i) {
      std::vector<float> buffer(2 * 1000, 0.25F);
      EXPECT_EQ(made.inPlace->FloatProcess(buffer.data(), 1000, 1), i < tail.goingOn ? S_OK : S_FALSE) << i;
      const auto kept = std::find_if(buffer.rbegin(), buffer.rend(), [](float x) { return x != 0.25F; });
      EXPECT_EQ(static_cast<std::size_t>(buffer.rend() - kept), 2 * tail.rung[i]) << i;
    }
    EXPECT_EQ(made.inPlace->FloatStop(), S_OK);
  }
}

TEST_P(Contract, BypassPassesEveryByteAndSilenceStaysSilence) {
  const Instance made = Make();
  const bool passes = effect().rows.size() >= 12 && effect().rows.size() <= 16;  // those with a bypass
  for (const SampleFormat sampleFormat : kAllFormats) {
    for (const std::uint16_t channels : Channels{1, 2, 6}) {
      const FormatRecord format = MakeFormat(sampleFormat, channels, 8000);
      SCOPED_TRACE(Describe(format));
      for (LONG preset = 0; preset < effect().presets.count(); ++preset) {
        made.presets->SetPreset(preset);
        const Bytes silence(std::size_t{2000} * format.blockAlign, SilenceByte(sampleFormat));
        const Bytes out = RunGraph(made, format, silence, 512);
        EXPECT_TRUE(std::all_of(out.begin(), out.end(), [&](std::uint8_t x) { return x == silence[0]; })) << preset;
      }
      if (!passes) continue;
      std::mt19937 random(1);
      Bytes any(std::size_t{500} * format.blockAlign);
      for (std::uint8_t& byte : any) byte = static_cast<std::uint8_t>(random());
      made.Set("bypass=1");
      EXPECT_TRUE(RunGraph(made, format, any, 200) == any);
    }
  }
}

TEST_P(Contract, SilenceComesToRestAndNoSampleIsDenormal) {
  const FormatRecord format = MakeFormat(SampleFormat::kFloat64, 2, 4000);
  for (LONG preset = 0; preset < effect().presets.count(); ++preset) {
    const Instance made = Make();
    made.presets->SetPreset(preset);
    auto input = GridNoise(2 * 100'000);
    std::fill(input.begin() + 2000, input.end(), 0.0);
    const auto output = Decode(format, RunGraph(made, format, Encode(format, input), 5000));
    for (const double x : output) ASSERT_NE(std::fpclassify(x), FP_SUBNORMAL) << "preset " << preset;
    EXPECT_LT(std::fabs(output.back()), 1e-6) << "preset " << preset;
  }
}

TEST_P(Contract, StatesAreAnsweredWithTheirCodes) {
  const Instance made = Make();
  CMediaType refused;
  refused.SetWave(MakeFormat(SampleFormat::kPcm16, 33, 44100));
  EXPECT_EQ(made.filter->GetPin(0)->QueryAccept(&refused.get()), S_FALSE);
  TestGraph graph(*made.filter, MakeFormat(SampleFormat::kPcm16, 2, 44100));
  ASSERT_EQ(graph.connected, S_OK);
  TestSample sample(Bytes(400));
  EXPECT_EQ(graph.input().Receive(nullptr), E_POINTER);
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(graph.input().Receive(&sample), VFW_E_WRONG_STATE);
    ASSERT_EQ(graph.Start(), S_OK);
    EXPECT_EQ(graph.input().Receive(&sample), S_OK);
    float frame[2] = {};
    DWORD frames = 1;
    if (made.inPlace != nullptr) {
      EXPECT_EQ(made.inPlace->FloatStart(2, 44100), VFW_E_NOT_STOPPED);
      EXPECT_EQ(made.inPlace->FloatProcess(frame, 1, 0), VFW_E_WRONG_STATE);
      EXPECT_EQ(made.inPlace->FloatTail(frame, &frames), S_FALSE);
      EXPECT_EQ(made.inPlace->FloatStop(), VFW_E_WRONG_STATE);
    }
    for (int i = 0; i < 2; ++i) graph.Stop();
    if (made.inPlace == nullptr) continue;
    EXPECT_EQ(made.inPlace->FloatStart(2, 44100), S_OK);
    EXPECT_EQ(graph.Start(), VFW_E_WRONG_STATE);
    EXPECT_EQ(made.inPlace->FloatProcess(frame, 1, 0), S_OK);
    for (int i = 0; i < 2; ++i) EXPECT_EQ(made.inPlace->FloatStop(), S_OK);
    graph.Stop();
  }
}

// With nothing to ring out, no end of stream goes on: that is kept on purpose for three of the effects.
TEST_P(Contract, TheEndOfAStreamGoesOnAfterAllThatCame) {
  const FormatRecord format = MakeFormat(SampleFormat::kPcm16, 1, 8000);
  const bool rings = InPlace() && effect().name != std::string("chorus");
  for (const int samples : {0, 1, 3}) {
    const Instance made = Make();
    TestGraph graph(*made.filter, format);
    ASSERT_EQ(graph.Start(), S_OK);
    for (int i = 0; i < samples; ++i) EXPECT_EQ(graph.Send(NoiseBytes(format, 100)), S_OK);
    EXPECT_EQ(graph.source->pin.DeliverEndOfStream(), S_OK);
    EXPECT_EQ(graph.sink->pin.events.ends_with("end "), samples != 0 || !rings) << samples;
    EXPECT_EQ(graph.sink->pin.events.find("end sample"), std::string::npos);
  }
}

}  // namespace
}  // namespace korva
