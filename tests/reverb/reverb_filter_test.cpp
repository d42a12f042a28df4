#include "reverb/reverb_filter.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>

#include "reverb_rig.h"
#include "support/memory_stream.h"
#include "support/test_graph.h"

namespace korva {
namespace {

// Reverberation alone, unfiltered, out of combs of 41 ms and more; a tail of one second.
constexpr ReverbParams kWet = {-800, 0, -800, 2, 3, 10, 0, 0, 500, 0, 5000, 0};

/// A stream and its tail by the direct road, in buffers of `step` frames.
std::vector<float> RunDirect(CQvReverb& filter, std::size_t channels, std::vector<float> samples, std::size_t step) {
  EXPECT_EQ(filter.FloatStart(static_cast<WORD>(channels), 8000), S_OK);
  for (std::size_t at = 0; at < samples.size(); at += step * channels) {
    const auto frames = static_cast<DWORD>(std::min(step, (samples.size() - at) / channels));
    EXPECT_EQ(filter.FloatProcess(samples.data() + at, frames, 0), S_OK);
  }
  for (HRESULT result = S_OK; result == S_OK && samples.size() < 10'000'000;) {
    std::vector<float> part(step * channels, 0.5F);
    auto frames = static_cast<DWORD>(step);
    result = filter.FloatTail(part.data(), &frames);
    samples.insert(samples.end(), part.begin(), part.begin() + static_cast<std::ptrdiff_t>(frames * channels));
  }
  EXPECT_EQ(filter.FloatStop(), S_OK);
  return samples;
}

TEST(ReverbFilter, BothRoadsAndAllFormatsGiveOneStreamAndATailOfWholeSeconds) {
  const double step[] = {1.0 / 128, 1.0 / 32768, 0, 0, 0};
  for (const std::int32_t decay : {5, 9, 10, 29}) {
    for (const std::uint16_t channels : {std::uint16_t{1}, std::uint16_t{2}, std::uint16_t{6}}) {
      Owned<CQvReverb> filter;
      filter->SetDecayTime(decay);
      const auto input = GridNoise(std::size_t{1000} * channels, 0.25);
      const auto direct = RunDirect(*filter, channels, std::vector<float>(input.begin(), input.end()), 300);
      const std::vector<double> expected(direct.begin(), direct.end());
      for (const SampleFormat sampleFormat : kAllFormats) {
        const FormatRecord format = MakeFormat(sampleFormat, channels, 8000);
        SCOPED_TRACE(Describe(format));
        TestGraph graph(*filter, format, {700});
        const auto output = Decode(format, graph.Run(Encode(format, input), 123));
        EXPECT_EQ(output.size(), (1000U + 8000U * static_cast<unsigned>(decay / 10)) * channels);
        const bool same = sampleFormat == SampleFormat::kFloat32;
        EXPECT_LE(LargestDifference(output, expected), same ? 0 : step[static_cast<int>(sampleFormat)] * 0.51 + 1e-7);
        EXPECT_EQ(graph.sink->pin.events.substr(graph.sink->pin.events.size() - 4), "end ");
      }
    }
  }
  Owned<CQvReverb> filter;
  filter->SetBypass(1);
  const FormatRecord format = MakeFormat(SampleFormat::kPcm8, 2, 8000);
  TestGraph graph(*filter, format);
  // A direct road that could not be opened does not bar the graph.
  FailAllocationsAfter(3);
  EXPECT_EQ(filter->FloatStart(2, 8000), E_OUTOFMEMORY);
  FailAllocationsAfter(-1);
  const Bytes input = NoiseBytes(format, 100);
  const Bytes output = graph.Run(input, 100);
  ASSERT_EQ(output.size(), 2 * 16100U);
  EXPECT_TRUE(std::equal(input.begin(), input.end(), output.begin()));
  EXPECT_EQ(std::count(output.begin() + 200, output.end(), 128), 32000);
}

struct Edit {
  const char* name;
  void (*make)(CQvReverb&);
  bool graph, restarted, direct;  // whether the old reverb rings on after it, by road
};

void Jump(CQvReverb& filter, DWORD row, float value) {
  MP_ENVELOPE_SEGMENT segment{0, 1'000'000'000, value, value, MP_CURVE_JUMP, 0};
  EXPECT_EQ(filter.AddEnvelope(row, 1, &segment), S_OK);
}

constexpr Edit kEdits[] = {
    {"nothing", [](CQvReverb&) {}, true, false, true},
    {"the value that stands", [](CQvReverb& f) { f.SetReverbMode(2); }, true, false, true},
    {"an edit ended", [](CQvReverb& f) { f.EndEditPreDelay(); }, true, true, true},
    {"decay", [](CQvReverb& f) { f.SetDecayTime(30); }, true, true, true},
    {"mode", [](CQvReverb& f) { f.SetReverbMode(1); }, true, true, false},
    {"style", [](CQvReverb& f) { f.SetEarlyStyle(1); }, true, true, false},
    {"pre-delay", [](CQvReverb& f) { f.SetPreDelay(50); }, true, true, false},
    {"all", [](CQvReverb& f) { f.SetParams(&kWet); }, true, true, false},
    {"host: pre-delay", [](CQvReverb& f) { f.SetParam(kReverbPreDelay, 50); }, true, true, false},
    {"host: style", [](CQvReverb& f) { f.SetParam(kReverbEarlyStyle, 1); }, true, true, false},
    {"host: mode", [](CQvReverb& f) { f.SetParam(kReverbMode, 1); }, true, true, true},
    {"automated pre-delay", [](CQvReverb& f) { Jump(f, kReverbPreDelay, 50); }, false, false, false},
    {"automated style", [](CQvReverb& f) { Jump(f, kReverbEarlyStyle, 1); }, false, false, false},
    {"automated mode", [](CQvReverb& f) { Jump(f, kReverbMode, 1); }, true, true, true},
    {"reset", [](CQvReverb& f) { EXPECT_EQ(f.FloatReset(0), S_FALSE); }, true, false, true},
    {"reset with rewind", [](CQvReverb& f) { EXPECT_EQ(f.FloatReset(1), S_OK); }, true, false, true},
};

TEST(ReverbFilter, WhatDropsTheOldReverbDependsOnTheRoad) {
  const FormatRecord format = MakeFormat(SampleFormat::kFloat32, 1, 8000);
  const Bytes noise = NoiseBytes(format, 4000);
  const Bytes silence(300 * 4);
  for (const Edit& edit : kEdits) {
    for (const bool restart : {false, true}) {
      Owned<CQvReverb> filter;
      filter->SetParams(&kWet);
      TestGraph graph(*filter, format);
      ASSERT_EQ(graph.Start(), S_OK);
      EXPECT_EQ(graph.Send(noise, {0, true}), S_OK);
      edit.make(*filter);
      graph.sink->pin.received.clear();
      EXPECT_EQ(graph.Send(silence, {graph.TimeOf(4000), restart}), S_OK);
      EXPECT_EQ(graph.sink->pin.received != silence, restart ? edit.restarted : edit.graph)
          << edit.name << ", restarted " << restart;
    }
    Owned<CQvReverb> filter;
    filter->SetParams(&kWet);
    EXPECT_EQ(filter->FloatStart(1, 8000), S_OK);
    EXPECT_EQ(filter->FloatQuery(), S_FALSE);
    auto samples = Decode(format, noise);
    std::vector<float> buffer(samples.begin(), samples.end());
    EXPECT_EQ(filter->FloatProcess(buffer.data(), 4000, 0), S_OK);
    edit.make(*filter);
    buffer.assign(300, 0.0F);
    EXPECT_EQ(filter->FloatProcess(buffer.data(), 300, 0), S_OK);
    EXPECT_EQ(std::count(buffer.begin(), buffer.end(), 0.0F) != 300, edit.direct) << edit.name << ", direct";
    // A reset picks a setter's change up, and with it what it asks for.
    filter->SetReverbMode(4);
    EXPECT_EQ(filter->FloatQuery(), S_OK);
    EXPECT_EQ(filter->FloatReset(0), S_OK);
    EXPECT_EQ(filter->FloatProcess(buffer.data(), 0, 0), S_OK);
    EXPECT_EQ(filter->FloatQuery(), S_FALSE);
  }
}

TEST(ReverbFilter, TailOnlySamplesRunToTheLimitAreSkippedAndTheNextRealOneStartsAfresh) {
  const FormatRecord format = MakeFormat(SampleFormat::kFloat32, 1, 8000);
  const Bytes noise = NoiseBytes(format, 4000);
  const Bytes mark = Encode(format, std::vector<double>(3000, 0.25));
  Owned<CQvReverb> filter;
  filter->SetParams(&kWet);
  TestGraph graph(*filter, format);
  ASSERT_EQ(graph.Start(), S_OK);
  const auto send = [&](const Bytes& bytes, bool first) {
    graph.sink->pin.received.clear();
    EXPECT_EQ(graph.Send(bytes, {-1, first}), S_OK);
    return graph.sink->pin.received;
  };
  const Bytes fresh = send(noise, true);
  // One second is two samples and 2000 frames of the third; what lies beyond stays as the host made it.
  for (const std::size_t worked : {3000U, 3000U, 2000U, 0U, 0U}) {
    TestSample sample(mark);
    sample.tailOnly = 1;
    EXPECT_EQ(graph.input().Receive(&sample), S_OK);
    EXPECT_EQ(sample.length, 12000);
    // The sink fetches it too.
    EXPECT_EQ(sample.pointerFetches, worked != 0 ? 2 : 1);
    const auto samples = Decode(format, sample.data);
    EXPECT_EQ(std::count(samples.begin(), samples.end(), 0.25), 3000 - static_cast<std::ptrdiff_t>(worked));
  }
  EXPECT_EQ(send(noise, false), fresh);
  EXPECT_NE(send(noise, false), fresh);
}

TEST(ReverbFilter, EverySlotOfThePropertyInterfaceHoldsItsParameterToItsRange) {
  struct Group {
    std::int32_t ReverbParams::*field;
    LONG low, high;
  };
  using P = ReverbParams;
  constexpr Group groups[] = {{&P::reverbMode, 0, 18},  {&P::earlyStyle, 0, 9},   {&P::dryOut, -800, 0},
                              {&P::reverbOut, -800, 0}, {&P::earlyOut, -800, 0},  {&P::decayTenths, 5, 50},
                              {&P::preDelayMs, 0, 200}, {&P::bassOn, 0, 1},       {&P::highOn, 0, 1},
                              {&P::bassHz, 10, 5000},   {&P::highHz, 100, 15000}, {&P::bypass, 0, 1}};
  Owned<CQvReverb> filter;
  const ComPtr<IQvReverbProp2> property = filter.As<IQvReverbProp2>();
  void** const slots = *reinterpret_cast<void***>(property.Get());
  for (std::size_t g = 0; g < std::size(groups); ++g) {
    const auto get = reinterpret_cast<HRESULT (*)(void*, LONG*)>(slots[7 + 5 * g]);
    const auto set = reinterpret_cast<HRESULT (*)(void*, LONG)>(slots[8 + 5 * g]);
    for (const LONG value : {groups[g].high, groups[g].low, groups[g].low + 1, groups[g].high + 1, groups[g].low - 1,
                             std::numeric_limits<LONG>::max(), std::numeric_limits<LONG>::min()}) {
      ReverbParams before{}, after{};
      property->GetParams(&before);
      LONG read = -1;
      EXPECT_EQ(set(property.Get(), value), S_OK);
      EXPECT_EQ(get(property.Get(), &read), S_OK);
      property->GetParams(&after);
      EXPECT_EQ(read, std::clamp<LONG>(value, groups[g].low, groups[g].high)) << "group " << g;
      before.*groups[g].field = read;
      EXPECT_EQ(std::memcmp(&before, &after, sizeof after), 0) << "group " << g;
    }
  }
}

TEST(ReverbFilter, PresetsAndRecordsComeBackAndOldFormsAreRead) {
  Owned<CQvReverb> filter;
  ReverbParams read{};
  EXPECT_EQ(filter->IsDirty(), S_OK);
  for (LONG index = 12; index >= 0; --index) {
    EXPECT_EQ(filter->SetPreset(index), S_OK);
    filter->GetParams(&read);
    EXPECT_EQ(std::memcmp(&read, kReverbEffect.presets.Block(index), sizeof read), 0) << index;
  }

  const ReverbParams params = {-10, -20, -30, 18, 9, 50, 200, 1, 5000, 1, 15000, 1};
  filter->SetParams(&params);
  MemoryStream saved;
  EXPECT_EQ(filter->Save(&saved, TRUE), S_OK);
  constexpr GUID kFirst{0x607682E3, 0x6E21, 0x11D0, {0xAE, 0xBC, 0x00, 0xA0, 0xC9, 0x05, 0x39, 0x12}};
  constexpr GUID kFormer{0xC9A9FEC7, 0x8A9B, 0x4CFE, {0xAE, 0xBC, 0x92, 0xEA, 0x0E, 0x50, 0x52, 0x19}};
  struct Form {
    std::uint32_t size;
    GUID id;
    HRESULT result;
    std::int32_t bypass;
  };
  for (const Form& form : {Form{68, IID_IQvReverbProp2, S_OK, 1}, Form{68, kFormer, S_OK, 1}, Form{64, kFirst, S_OK, 0},
                           Form{64, kFormer, E_FAIL, 1}, Form{68, kFirst, E_FAIL, 1}}) {
    filter->SetBypass(1);
    MemoryStream stream(saved.bytes);
    std::memcpy(stream.bytes.data(), &form.size, 4);
    std::memcpy(stream.bytes.data() + 4, &form.id, 16);
    stream.bytes.resize(form.size);
    EXPECT_EQ(filter->Load(&stream), form.result);
    ReverbParams expected = params;
    expected.bypass = form.bypass;
    filter->GetParams(&read);
    EXPECT_EQ(std::memcmp(&read, &expected, sizeof read), 0) << form.size;
  }
}

TEST(ReverbFilter, SettersOfAnotherThreadDisturbNothing) {
  for (const bool direct : {false, true}) {
    const FormatRecord format = MakeFormat(SampleFormat::kFloat32, 3, 8000);
    Owned<CQvReverb> filter;
    TestGraph graph(*filter, format, {500});
    std::atomic<bool> done = false;
    std::thread setter([&] {
      std::mt19937 random(1);
      while (!done) {
        const ReverbParams params = RandomParams(random);
        filter->SetParams(&params);
        filter->SetReverbMode(static_cast<LONG>(random() % 19));
        filter->SetPreDelay(static_cast<LONG>(random() % 200));
        filter->SetParam(static_cast<DWORD>(random() % 12), 1.0F);
        filter->FloatQuery();
        filter->SetPreset(static_cast<LONG>(random() % 13));
      }
    });
    const auto input = GridNoise(500 * 3);
    const Bytes bytes = Encode(format, input);
    EXPECT_EQ(direct ? filter->FloatStart(3, 8000) : graph.Start(), S_OK);
    for (int pass = 0; pass < 100; ++pass) {
      std::vector<float> buffer(input.begin(), input.end());
      EXPECT_EQ(direct ? filter->FloatProcess(buffer.data(), 500, 0) : graph.Send(bytes, {-1, pass % 8 == 0}), S_OK);
      if (!direct) {
        const auto output = Decode(format, graph.sink->pin.received);
        buffer.assign(output.end() - 1500, output.end());
      }
      EXPECT_TRUE(std::all_of(buffer.begin(), buffer.end(), [](float x) { return std::fabs(x) < 50; }));
    }
    done = true;
    setter.join();
    filter->FloatStop();
  }
}

TEST(ReverbFilter, WhateverAHostSendsNothingBreaksAndARestartCures) {
  const auto seed = std::random_device{}();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 random(seed);
  const auto any = [&](auto... choices) {
    const std::common_type_t<decltype(choices)...> list[] = {choices...};
    return list[random() % std::size(list)];
  };
  const long objects = CBaseObject::ObjectsActive();
  for (int round = 0; round < 60; ++round) {
    Owned<CQvReverb> filter;
    const auto channels = static_cast<std::uint16_t>(any(1, 2, 3, 6, 32));
    const auto rate = any(0U, 1U, 10U, 300U, 8000U, 44100U, channels < 4 ? 768000U : 96000U, 0xFFFFFFFFU);
    const FormatRecord format =
        MakeFormat(any(kAllFormats[0], kAllFormats[1], kAllFormats[2], kAllFormats[3], kAllFormats[4]), channels, rate);
    SCOPED_TRACE(Describe(format));
    TestGraph graph(*filter, format, {1 + random() % 1000});
    const HRESULT started = graph.Start();
    EXPECT_EQ(started, rate == 0xFFFFFFFFU ? E_OUTOFMEMORY : S_OK);
    for (int pass = 0; pass < 8 && started == S_OK; ++pass) {
      ReverbParams params = RandomParams(random);
      params.decayTenths = any(0, 5, 20, std::numeric_limits<std::int32_t>::max());
      params.preDelayMs = any(-1, 0, 1, 200, std::numeric_limits<std::int32_t>::min());
      if (random() % 2 == 0) filter->SetParams(&params);
      MP_ENVELOPE_SEGMENT segment{any(-5, 0, 7),
                                  any(-9, 7, 400000),
                                  any(-1e9F, 0.0F, 50.0F, std::nanf("")),
                                  any(-1e9F, 0.0F, 50.0F, std::nanf("")),
                                  MP_CURVE_LINEAR,
                                  0};
      if (random() % 4 == 0) filter->AddEnvelope(static_cast<DWORD>(random() % 12), 1, &segment);
      // Any bytes are samples: in floats also those that are no numbers. And any length.
      Bytes bytes(random() % static_cast<std::size_t>(graph.source->pin.wanted.cbBuffer + 1));
      for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
      const HRESULT sent = graph.Send(bytes, {any(-1, 0, 100000), random() % 4 == 0, random() % 4 == 0});
      EXPECT_EQ(sent, S_OK);
      if (random() % 4 == 0 && rate < 10000) {
        EXPECT_EQ(graph.source->pin.DeliverEndOfStream(), S_OK);
      }
    }
    if (started != S_OK) continue;
    // The first restart meets a change, which it picks up in its place.
    filter->FlushEnvelope(0xFFFFFFFF, -100, 1'000'000);
    for (int restart = 0; restart < 2; ++restart) {
      graph.sink->pin.received.clear();
      EXPECT_EQ(graph.Send(Bytes(format.blockAlign, 0), {-1, true}), S_OK);
    }
    for (const double x : Decode(format, graph.sink->pin.received)) EXPECT_TRUE(std::isfinite(x));
  }
  EXPECT_EQ(CBaseObject::ObjectsActive(), objects);
}

}  // namespace
}  // namespace korva
