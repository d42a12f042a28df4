#include <atomic>
#include <limits>
#include <thread>

#include "audio/zeroed_buffer.h"
#include "contract/subject.h"
#include "support/memory_stream.h"
#include "support/seed.h"
#include "support/test_song.h"

// What no host should do to an effect, and some do. `make soak` plays the first of them with one seed after the other.
namespace korva {
namespace {

/// The samples of a stream of noise through preset 2, from a start; a Reverb's low-pass, which keeps its memory over a
/// restart, is switched off.
Bytes FreshRun(const Instance& made, const FormatRecord& format, const Bytes& input) {
  made.presets->SetPreset(2);
  if (made.effect().name == std::string("reverb")) made.Set("high-on=0");
  if (made.automation) made.automation->FlushEnvelope(0xFFFFFFFF, -1'000'000, 1'000'000);
  TestGraph graph(*made.filter, format);
  EXPECT_EQ(graph.Start(), S_OK);
  EXPECT_EQ(graph.SendAll(input, 500), S_OK);
  return graph.sink->pin.received;
}

/// Long lines and many channels are more than a test may take of memory; the rates past any stream's are refused.
void Shorten(const EffectDescription& effect, std::uint32_t rate, void* block) {
  for (const ParamDescriptor& row : effect.rows) {
    const std::string name = row.name;
    if (name != "delay" && !name.starts_with("tap-delay")) continue;
    PutField(row, block, rate > 768000 ? 40 : std::min(FieldOf(row, block), 40.0));
  }
}

/// Frames of one kind: zeros, any bits at all, or what is no number, too small to be normal, or at the ends.
Bytes HostileFrames(const FormatRecord& format, std::size_t frames, std::mt19937& random) {
  Bytes bytes(frames * format.blockAlign);
  const auto kind = random() % 3;
  for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(kind == 0 ? 0 : random());
  VisitFormat(*SampleFormatOf(format), [&](auto policy) {
    using Sample = typename decltype(policy)::Sample;
    using Limits = std::numeric_limits<Sample>;
    const Sample odd[] = {Limits::quiet_NaN(), Limits::infinity(), Limits::denorm_min(), Limits::max(),
                          Limits::lowest()};
    for (std::size_t at = 0; kind == 1 && at < bytes.size(); at += sizeof(Sample)) {
      std::memcpy(&bytes[at], &odd[random() % std::size(odd)], sizeof(Sample));
    }
  });
  return bytes;
}

TEST_P(Contract, NothingThatComesBreaksItAndAStartCuresAll) {
  const Seed seed;
  std::mt19937 random(seed);
  const auto pick = [&](auto... choices) {
    const std::common_type_t<decltype(choices)...> list[] = {choices...};
    return list[random() % std::size(list)];
  };
  const auto once = [&](unsigned in) { return random() % in == 0; };
  const auto play = [&](const Instance& made, const FormatRecord& format) {
    const std::uint32_t rate = format.samplesPerSecond;
    TestSong song({{0, 12000}, {1 + static_cast<LONG>(random() % 200), 1 + static_cast<int>(random() % 100000)}});
    const auto synth = Query<IMfxSoftSynth>(made.object.Get());
    if (synth && once(2)) song.ConnectTo(*synth.Get()), synth->OnStart(0);
    // An effect of variable length has no type to offer before its input has one.
    TestGraph graph(*made.filter, format, {130, made.inPlace != nullptr && once(2), once(4), once(4), false, once(4)});
    ASSERT_EQ(graph.connected, S_OK);
    const auto change = [&] {
      Bytes block = made.Block();
      Shuffle(effect(), block.data(), random);
      if (once(4)) {
        for (std::uint8_t& byte : block) byte = static_cast<std::uint8_t>(random());
      }
      Shorten(effect(), rate, block.data());
      made.parameters->WriteBlock(block.data());
      const auto value = [&] { return pick(-1e9F, 0.0F, 50.0F, std::nanf("")); };
      MP_ENVELOPE_SEGMENT segment{
          pick(-5, 0, 7), pick(-9, 7, 400000), value(), value(), static_cast<MP_CURVE_TYPE>(1U << random() % 5), 0};
      if (!made.automation || !once(3)) return;
      made.automation->AddEnvelope(static_cast<DWORD>(random() % effect().rows.size()), 1, &segment);
    };
    for (int stream = 0; stream < 2; ++stream) {
      change();
      if (const HRESULT started = graph.Start(); FAILED(started)) {
        EXPECT_TRUE(started == E_OUTOFMEMORY && rate > 768000);
        continue;
      }
      for (int step = 0; step < 6; ++step) {
        const std::size_t frames = random() % 130, before = graph.sink->pin.received.size();
        const bool tailOnly = made.inPlace != nullptr && once(3);
        const HRESULT result =
            graph.Send(HostileFrames(format, frames, random), {pick(-1, 0, 1000, 10'000'000), once(4), tailOnly});
        EXPECT_TRUE(result == S_OK || (result == E_OUTOFMEMORY && rate > 768000)) << result;
        const std::size_t came = (graph.sink->pin.received.size() - before) / format.blockAlign;
        EXPECT_TRUE(result != S_OK || made.inPlace == nullptr || came == frames) << came;
        if (once(2)) change();
        if (synth && once(5)) synth->OnLoop(static_cast<LONG>(random() % 5000), static_cast<LONG>(random() % 5000));
        if (once(15)) graph.source->pin.DeliverBeginFlush(), graph.source->pin.DeliverEndFlush();
      }
      // A sink that has enough ends the tail at once.
      graph.sink->pin.answer = S_FALSE;
      graph.source->pin.DeliverEndOfStream();
      graph.sink->pin.answer = S_OK;
      graph.Stop();
    }
    if (synth) synth->Disconnect();
    EXPECT_EQ(song.references, 0U);
  };
  for (const std::uint32_t rate : {0U, 1U, 7U, 1999U, 44100U, 768000U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
    for (const std::uint16_t channels : {std::uint16_t{1}, std::uint16_t{2}, std::uint16_t{3}, std::uint16_t{32}}) {
      // The most of both is 400 MB of lines.
      if (rate == 768000 && channels == 32) continue;
      const FormatRecord format = MakeFormat(kAllFormats[random() % 5], channels, rate);
      SCOPED_TRACE(Describe(format));
      const Instance made = Make();
      play(made, format);
      if (rate != 1999 && rate != 44100) continue;
      const Bytes noise = NoiseBytes(format, 2000), cured = FreshRun(made, format, noise);
      EXPECT_TRUE(cured == FreshRun(Make(), format, noise));
      for (const double x : Decode(format, cured)) ASSERT_LT(std::fabs(x), 100.0);
    }
  }
}

// What the thread sanitizer looks at, by every road by which another thread may come in while audio runs.
TEST_P(Contract, OtherThreadsMayChangeEverythingWhileAudioRuns) {
  const FormatRecord format = MakeFormat(SampleFormat::kFloat32, 2, 8000);
  const Bytes noise = NoiseBytes(format, 64);
  const Instance made = Make();
  {
    TestGraph graph(*made.filter, format, {64});
    ASSERT_EQ(graph.Start(), S_OK);
    std::atomic<bool> over{false};
    std::atomic<int> rounds{0};
    std::thread page([&] {
      std::mt19937 random(1);
      for (; !over; ++rounds) {
        Bytes block = made.Block();
        Shuffle(effect(), block.data(), random);
        Shorten(effect(), 8000, block.data());
        for (std::size_t row = 0; row < effect().rows.size(); ++row) made.parameters->WriteRow(row, block.data());
        if (rounds % 3 == 0) made.parameters->WriteBlock(block.data());
        if (rounds % 7 == 0) made.presets->SetPreset(static_cast<LONG>(random() % 4));
        if (made.inPlace != nullptr) made.inPlace->FloatQuery();
        if (made.inPlace != nullptr && rounds % 5 == 0) made.inPlace->FloatReset(rounds % 2);
        std::uint64_t value = 0;  // room for a number of any kind
        if (made.automation) CallSlot(made.property.Get(), 9), CallSlot(made.property.Get(), 10);
        CallSlot(made.property.Get(), 7, &value);
      }
    });
    std::thread host([&] {
      TestSong song({{0, 12000}});
      const auto synth = Query<IMfxSoftSynth>(made.object.Get());
      for (LONG i = 0; !over; ++i) {
        MemoryStream stream;
        made.record->Save(&stream, TRUE);
        made.record->IsDirty();
        made.record->Load(&stream);
        if (made.automation) {
          const auto row = static_cast<DWORD>(i) % static_cast<DWORD>(effect().rows.size());
          MP_ENVELOPE_SEGMENT segments[] = {{i % 7, 5000 + i % 7, 1, 90, MP_CURVE_LINEAR, 0},
                                            {6000, 90000, 80, 2, MP_CURVE_SQUARE, 0}};
          made.automation->AddEnvelope(row, 2, segments);
          made.automation->SetParam(row, static_cast<float>(i % 2));
          made.automation->FlushEnvelope(0xFFFFFFFF, i % 50, 7000);
        }
        if (!synth) continue;
        song.ConnectTo(*synth.Get());
        synth->OnStart(0);
        synth->OnLoop(0, 480);
        synth->Disconnect();
      }
    });
    for (int i = 0; i < 150 || rounds < 100; ++i) {
      graph.sink->pin.received.clear();
      EXPECT_EQ(graph.Send(noise, {i * 80'000, i % 50 == 0, made.inPlace != nullptr && i % 20 == 19}), S_OK);
      if (i % 20 == 19) continue;  // a tail-only sample holds what the host left in it
      // Taps that feed back more than they take grow, and how long this runs is the machine's doing.
      for (const double x : Decode(format, graph.sink->pin.received)) EXPECT_TRUE(std::isfinite(x));
    }
    over = true;
    page.join();
    host.join();
  }
  EXPECT_TRUE(FreshRun(made, format, noise) == FreshRun(Make(), format, noise));
}

TEST_P(Contract, AFailedAllocationIsAnsweredAndTheNextStartRuns) {
  for (const std::uint16_t channels : {std::uint16_t{1}, std::uint16_t{2}, std::uint16_t{3}}) {
    const FormatRecord format = MakeFormat(SampleFormat::kFloat32, channels, 8000);
    const Bytes input = NoiseBytes(format, 6000);
    const char* const settings =
        effect().name == std::string("pitch-shift") ? "preserve-duration=1 transposition=1.3" : "";
    const auto run = [&](const Instance& made, HRESULT& outcome) {
      TestGraph graph(*made.filter, format);
      if (effect().name == std::string("reverb")) made.Set("high-on=0");
      outcome = graph.Start();
      if (outcome != S_OK) {
        EXPECT_TRUE(made.filter->IsStopped());
        TestSample sample(input);
        EXPECT_EQ(graph.input().Receive(&sample), VFW_E_WRONG_STATE);
      } else {
        outcome = graph.SendAll(input, 1000);
      }
      FailAllocationsAfter(-1);
      graph.Stop();
      return graph.sink->pin.received;
    };
    HRESULT outcome = S_OK;
    const Bytes expected = run(Make(settings), outcome);
    const Instance made = Make(settings);
    int failures = -1;
    do {
      FailAllocationsAfter(++failures);
      const Bytes output = run(made, outcome);
      EXPECT_TRUE(outcome == S_OK ? output == expected : outcome == E_OUTOFMEMORY) << failures << ": " << outcome;
      if (made.inPlace != nullptr) {
        FailAllocationsAfter(failures);
        const HRESULT started = made.inPlace->FloatStart(channels, 8000);
        FailAllocationsAfter(-1);
        float frame[3] = {};
        EXPECT_TRUE(started == S_OK || (started == E_OUTOFMEMORY && outcome == started)) << started;
        EXPECT_EQ(made.inPlace->FloatProcess(frame, 1, 0), started == S_OK ? S_OK : VFW_E_WRONG_STATE);
        EXPECT_EQ(made.inPlace->FloatStop(), S_OK);
      }
      HRESULT again = S_OK;
      EXPECT_TRUE(run(made, again) == expected) << failures;
    } while (outcome != S_OK && failures < 100);
    EXPECT_GT(failures, 0);
    EXPECT_LT(failures, 100);
  }
}

}  // namespace
}  // namespace korva
