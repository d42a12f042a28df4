#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <initializer_list>
#include <thread>

#include "audio/process_mode.h"
#include "audio/zeroed_buffer.h"
#include "frame/effect_description.h"
#include "frame/row_values.h"
#include "support/memory_stream.h"
#include "support/test_graph.h"

// What the tests of both delays share.
namespace korva {

using Channels = std::initializer_list<std::uint16_t>;

inline std::vector<double> Impulse(std::size_t frames, std::size_t channels) {
  std::vector<double> values(frames * channels);
  for (std::size_t c = 0; c < channels; ++c) values[c] = 0.5 + 0.25 * static_cast<double>(c % 3);
  return values;
}

/// Runs all of `bytes` in buffers of `size` frames; each must be taken whole.
template <class Engine>
void RunCut(Engine& engine, const FormatRecord& format, Bytes& bytes, std::uint32_t size) {
  const auto frames = static_cast<std::uint32_t>(bytes.size() / format.blockAlign);
  for (std::uint32_t at = 0; at < frames; at += size) {
    const std::uint32_t offered = std::min(size, frames - at);
    std::uint32_t count = offered;
    ASSERT_EQ(engine.Process(ModeContinue, &bytes[std::size_t{at} * format.blockAlign], count, false), kGoOn);
    ASSERT_EQ(count, offered);
  }
}

/// The whole stream and its tail by the direct road.
template <class Filter>
Bytes RunDirect(Filter& filter, const FormatRecord& format, Bytes bytes, DWORD framesPerBuffer) {
  EXPECT_EQ(filter.FloatStart(format.channels, format.samplesPerSecond), S_OK);
  const auto floats = [](Bytes& from, std::size_t at) { return reinterpret_cast<float*>(from.data() + at); };
  const std::size_t step = std::size_t{framesPerBuffer} * format.blockAlign;
  for (std::size_t at = 0; at < bytes.size(); at += step) {
    const std::size_t part = std::min(step, bytes.size() - at);
    EXPECT_EQ(filter.FloatProcess(floats(bytes, at), static_cast<DWORD>(part / format.blockAlign), 0), S_OK);
  }
  for (HRESULT more = S_OK; more == S_OK;) {
    const std::size_t end = bytes.size();
    bytes.resize(end + step, 0xAA);  // the caller need not clear it
    DWORD frames = framesPerBuffer;
    more = filter.FloatTail(floats(bytes, end), &frames);
    EXPECT_GE(more, 0);
    bytes.resize(end + std::size_t{frames} * format.blockAlign);
  }
  filter.FloatStop();
  return bytes;
}

/// Graph and direct road give the same stream and tail, in buffers of any size.
template <class Filter, class Block>
void ExpectRoadsAgree(const Block& params) {
  for (const std::uint16_t channels : Channels{1, 2, 6}) {
    const FormatRecord format = MakeFormat(SampleFormat::kFloat32, channels, 8000);
    const Bytes input = NoiseBytes(format, 1000);
    for (const std::size_t size : {1U, 7U, 1000U}) {
      Owned<Filter> filter;
      filter->SetParams(&params);
      const Bytes direct = RunDirect(*filter, format, input, 300);
      TestGraph graph(*filter, format, {size});
      EXPECT_TRUE(graph.Run(input, size) == direct) << channels << " channels in buffers of " << size;
    }
  }
}

/// The end of a stream of 1000 stereo frames at 8 kHz brings a tail of `floatTail` frames in 32-bit float and of
/// `otherTail` in other formats, in buffers of 3000; all formats agree to half a step.
template <class Filter, class Block>
void ExpectTails(const Block& params, std::size_t floatTail, std::size_t otherTail) {
  const auto input = GridNoise(2 * 1000, 0.2);
  std::vector<double> reference;
  for (auto sampleFormat = std::rbegin(kAllFormats); sampleFormat != std::rend(kAllFormats); ++sampleFormat) {
    const FormatRecord format = MakeFormat(*sampleFormat, 2, 8000);
    SCOPED_TRACE(Describe(format));
    Owned<Filter> filter;
    filter->SetParams(&params);
    TestGraph graph(*filter, format, {3000});
    auto output = Decode(format, graph.Run(Encode(format, input), 1000));
    ASSERT_EQ(output.size(), 2 * (1000 + (*sampleFormat == SampleFormat::kFloat32 ? floatTail : otherTail)));
    EXPECT_TRUE(graph.sink->pin.events.ends_with("sample end "));
    if (reference.empty()) reference = output;
    output.resize(reference.size());
    const bool coarse = format.formatTag == kTagPcm && format.bitsPerSample != 32;
    EXPECT_LE(LargestDifference(output, reference), coarse ? 1.001 / (1 << format.bitsPerSample) : 1e-7);
  }
}

/// After audio the host sends tail-only samples of 1000 frames: `rung` frames of each are rewritten, the last ones are
/// skipped, and the audio after them starts anew.
template <class Filter, class Block>
void ExpectTailOnlyRun(const Block& params, std::initializer_list<std::size_t> rung, bool keepsLength) {
  for (const SampleFormat sampleFormat : kAllFormats) {
    const FormatRecord format = MakeFormat(sampleFormat, 2, 8000);
    SCOPED_TRACE(Describe(format));
    Owned<Filter> filter;
    filter->SetParams(&params);
    TestGraph graph(*filter, format, {1000});
    ASSERT_EQ(graph.Start(), S_OK);
    EXPECT_EQ(graph.Send(NoiseBytes(format, 1000)), S_OK);
    const Bytes whole = NoiseBytes(format, 1000, 0.5, 5);
    Bytes odd = whole;
    odd.push_back(0);
    for (const std::size_t frames : rung) {
      TestSample sample(odd);
      sample.tailOnly = 1;
      EXPECT_EQ(graph.input().Receive(&sample), S_OK);
      EXPECT_EQ(sample.pointerFetches != 0 && sample.data != odd, frames != 0);
      EXPECT_EQ(sample.length, static_cast<LONG>(keepsLength ? odd.size() : whole.size()));
      const auto kept = static_cast<std::ptrdiff_t>(frames * format.blockAlign);
      EXPECT_TRUE(std::equal(sample.data.begin() + kept, sample.data.end(), odd.begin() + kept));
    }
    graph.sink->pin.received.clear();
    EXPECT_EQ(graph.Send(Encode(format, std::vector<double>(2 * 1000))), S_OK);
    for (const double x : Decode(format, graph.sink->pin.received)) ASSERT_EQ(x, 0.0);
  }
}

/// `FloatProcess` by `count` tail-only buffers of 1000 stereo frames: the answer to each and the frames it rewrote.
template <class Filter>
std::string TailOnlyAnswers(Filter& filter, int count) {
  std::string answers;
  for (int i = 0; i < count; ++i) {
    std::vector<float> buffer(2 * 1000, 0.25F);
    answers += std::to_string(filter.FloatProcess(buffer.data(), 1000, 1));
    const auto kept = std::find_if(buffer.rbegin(), buffer.rend(), [](float x) { return x != 0.25F; });
    answers += ':' + std::to_string((buffer.rend() - kept) / 2) + ' ';
  }
  return answers;
}

/// One operation of an interface by its slot, as hosts in other languages call it.
template <class... Arguments>
HRESULT CallSlot(IUnknown* object, std::size_t slot, Arguments... arguments) {
  void* const* const table = *reinterpret_cast<void* const* const*>(object);
  return reinterpret_cast<HRESULT (*)(IUnknown*, Arguments...)>(table[slot])(object, arguments...);
}

/// What the slots after Get and Set of a parameter reach: a field of the block, held to a range.
struct SlotRule {
  std::size_t field;
  LONG low, high;
};

/// The parameters of a property interface in slot order, `perGroup` slots each, and what stands before and after them.
/// Also shows that presets are in force as they are told. Returns the slot after the last.
template <class Filter>
std::size_t ExpectSlots(Filter& filter, IUnknown* property, std::size_t perGroup, const std::vector<SlotRule>& rules) {
  const EffectDescription& effect = filter.parameters().effect();
  std::vector<LONG> values(effect.blockSize / sizeof(LONG));
  EXPECT_EQ(filter.IsDirty(), S_OK);
  for (LONG i = 0; i < effect.presets.count(); ++i) {
    EXPECT_EQ(filter.SetPreset(i), S_OK);
    CallSlot<LONG*>(property, 3, values.data());
    EXPECT_EQ(std::memcmp(values.data(), effect.presets.Block(i), effect.blockSize), 0) << "preset " << i;
  }
  std::size_t slot = 7;
  for (const SlotRule& rule : rules) {
    for (const bool high : {false, true}) {
      LONG value = 0;
      EXPECT_EQ(CallSlot<LONG>(property, slot + 1, high ? 99999 : -99999), S_OK);
      EXPECT_EQ(CallSlot<LONG*>(property, slot, &value), S_OK);
      CallSlot<LONG*>(property, 3, values.data());
      EXPECT_EQ(value, high ? rule.high : rule.low) << "slot " << slot;
      EXPECT_EQ(values[rule.field], value) << "slot " << slot;
    }
    slot += perGroup;
  }
  LONG word = 5;
  EXPECT_EQ(CallSlot<LONG*>(property, slot + 1, &word), S_OK);
  EXPECT_EQ(word, 0);
  CallSlot<LONG>(property, slot + 2, -7);
  CallSlot<LONG*>(property, slot + 3, &word);
  EXPECT_EQ(word, -7);
  return slot + 4;
}

/// Loads a record of `size` bytes under `id` whose block is `values`, cut to what the record holds.
inline HRESULT LoadForm(IPersistStream& filter, std::uint32_t size, GUID id, std::vector<std::int32_t> values) {
  Bytes bytes(20);
  std::memcpy(bytes.data(), &size, 4);
  std::memcpy(&bytes[4], &id, 16);
  const auto* const block = reinterpret_cast<const std::uint8_t*>(values.data());
  bytes.insert(bytes.end(), block, block + values.size() * 4);
  MemoryStream stream(bytes);
  return filter.Load(&stream);
}

/// Buffers run in a graph while another thread calls `set` over and over; then all settings must still come through.
template <class Filter, class Set>
void HammerSetters(Set&& set) {
  const FormatRecord format = MakeFormat(SampleFormat::kFloat32, 2, 8000);
  const Bytes noise = NoiseBytes(format, 64);
  Owned<Filter> filter, fresh;
  TestGraph graph(*filter, format, {64}), quiet(*fresh, format, {64});
  ASSERT_EQ(graph.Start(), S_OK);
  std::atomic<bool> stop{false};
  std::atomic<int> rounds{0};
  std::thread writer([&] {
    for (LONG i = 0; !stop; i = (i * 5 + 3) % 1024) set(*filter, i), ++rounds;
  });
  for (int i = 0; i < 300 || rounds < 300; ++i) EXPECT_EQ(graph.Send(noise), S_OK);
  stop = true;
  writer.join();
  for (const double x : Decode(format, graph.sink->pin.received)) ASSERT_LT(std::fabs(x), 100.0);
  filter->SetPreset(2);
  fresh->SetPreset(2);
  graph.sink->pin.received.clear();
  ASSERT_EQ(quiet.Start(), S_OK);
  for (int i = 0; i < 100; ++i) {
    EXPECT_EQ(graph.Send(noise, {-1, i == 0, false}), S_OK);
    EXPECT_EQ(quiet.Send(noise, {-1, i == 0, false}), S_OK);
  }
  EXPECT_TRUE(graph.sink->pin.received == quiet.sink->pin.received);
}

/// Random settings, bytes, lengths and marks at every rate, format and number of channels. `limit` keeps the lines of a
/// block to what a test may take of memory, or so long at rates past any stream's that they are refused.
template <class Filter, class Block, class Limit>
void RunHostileMatrix(const EffectDescription& effect, Limit&& limit) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 random(seed);
  const auto pick = [&](std::int32_t low, std::int32_t high) {
    return std::uniform_int_distribution<std::int32_t>(low, high)(random);
  };
  for (const std::uint32_t rate : {0U, 1U, 1999U, 44100U, 768000U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
    for (const std::uint16_t channels : Channels{1, 2, 3, 32}) {
      for (const SampleFormat sampleFormat : kAllFormats) {
        const FormatRecord format = MakeFormat(sampleFormat, channels, rate);
        Owned<Filter> filter;
        TestGraph graph(*filter, format, {130});
        ASSERT_EQ(graph.connected, S_OK);
        const auto change = [&] {
          Block block{};
          std::memcpy(&block, effect.presets.Block(pick(0, effect.presets.count() - 1)), sizeof block);
          for (const ParamDescriptor& row : effect.rows) {
            const std::int32_t end = pick(0, 1) != 0 ? row.externalMax : row.externalMin;
            if (pick(0, 2) != 0)
              StoreField(row, &block, pick(0, 1) != 0 ? end : pick(row.externalMin, row.externalMax));
          }
          limit(block, rate);
          EXPECT_EQ(filter->SetParams(&block), S_OK);
        };
        change();
        if (FAILED(graph.Start())) continue;
        for (int step = 0; step < 8; ++step) {
          Bytes bytes(static_cast<std::size_t>(pick(0, 129 * format.blockAlign)));
          for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
          const bool tailOnly = pick(0, 2) == 0;
          const std::size_t before = graph.sink->pin.received.size();
          const HRESULT result = graph.Send(bytes, {pick(-1, 1000), pick(0, 3) == 0, tailOnly});
          EXPECT_TRUE(result == S_OK || result == E_OUTOFMEMORY) << result;
          if (result == S_OK) {
            const std::size_t came = graph.sink->pin.received.size() - before;
            EXPECT_EQ(came / format.blockAlign, bytes.size() / format.blockAlign);
          }
          if (pick(0, 1) != 0) change();
        }
        graph.sink->pin.answer = S_FALSE;
        graph.source->pin.DeliverEndOfStream();
      }
    }
  }
}

}  // namespace korva
