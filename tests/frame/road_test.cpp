#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <atomic>
#include <cmath>
#include <cstring>
#include <thread>

#include "audio/zeroed_buffer.h"
#include "delay/echomt/echomt_filter.h"
#include "delay/echos/echos_filter.h"
#include "frame_rig.h"
#include "reverb/reverb_filter.h"
#include "support/test_song.h"

namespace korva {
namespace {

const FormatRecord kStereo = MakeFormat(SampleFormat::kFloat32, 2, 48000);
constexpr REFERENCE_TIME kSecond = 10'000'000;

TEST(GraphRoad, SamplesKeepTheirTimesAndLoseOnlyPartFrames) {
  Owned<CQvChorus> chorus;
  TestGraph graph(*chorus, kStereo);
  ASSERT_EQ(graph.Start(), S_OK);
  for (const std::size_t length : {0U, 1U, 8U, 15U, 801U}) {
    EXPECT_EQ(graph.Send(Bytes(length), {5000, false, false}), S_OK);
    EXPECT_EQ(graph.sink->pin.arrivals.back().bytes, length / 8 * 8);
    EXPECT_EQ(graph.sink->pin.arrivals.back().start, 5000);
  }
  graph.source->pin.DeliverEndOfStream();
  EXPECT_EQ(graph.sink->pin.events, "sample sample sample sample sample end ");  // and no tail
}

// A buffer that may not be written to is passed in a copy, tail-only samples with their mark.
TEST(GraphRoad, ATailOnlySampleIsCopiedWhereItsMemoryIsNotOurs) {
  Owned<CQvChorus> chorus;
  TestGraph graph(*chorus, kStereo, {.readOnly = true});
  ASSERT_EQ(graph.Start(), S_OK);
  TestSample sample(NoiseBytes(kStereo, 100));
  const Bytes before = sample.data;
  sample.tailOnly = 1;
  bool marked = false;
  graph.sink->pin.onReceive = [&](IMediaSample& received) {
    const auto mark = Query<ITailOnlySample>(&received);
    marked = mark && mark->IsTailOnly() != 0;
    // As an effect writes that has a tail: into memory that it was told is its own.
    if (BYTE* const own = graph.sink->pin.arrivals.back().address; own != nullptr) own[0] ^= 0xFF;
    return S_OK;
  };
  EXPECT_EQ(graph.input().Receive(&sample), S_OK);
  EXPECT_TRUE(marked);
  EXPECT_EQ(graph.sink->pin.received, before);
  EXPECT_EQ(sample.data, before);
  // One that cannot give its memory is passed as well; a real one is not.
  sample.pointerResult = E_FAIL;
  EXPECT_EQ(graph.input().Receive(&sample), S_OK);
  sample.tailOnly = 0;
  EXPECT_TRUE(FAILED(graph.input().Receive(&sample)));
  EXPECT_EQ(graph.sink->pin.arrivals.size(), 2U);
  EXPECT_EQ(sample.references, 0U);
}

TEST(GraphRoad, SkippedFramesCountForTheSong) {
  TestSong song({{0, 12000}, {480, 6000}}, {{1, 4, 2}}, 48000);
  Owned<CQvChorus> chorus;
  TestGraph graph(*chorus, kStereo);
  ASSERT_EQ(graph.Start(), S_OK);
  song.ConnectTo(*chorus.As<IMfxSoftSynth>().Get());
  chorus.As<IMfxSoftSynth>()->OnStart(0);
  // Across the tempo's change at 24000.
  for (int i = 0; i < 7; ++i) graph.Send(Bytes(kStereo.blockAlign * 4000U), {0, i == 0, i != 0});
  TempoInfo info;
  chorus->AdvanceTempo(100, 5, info);
  EXPECT_EQ(info.position, 28000);
  chorus.As<IMfxSoftSynth>()->Disconnect();
}

// Values are worked out where a chunk begins: at each buffer, every 20 ms from there, and where a segment ends. So the
// output is the same for any cutting whose buffers begin on whole chunks of 20 ms, as long as segments end on them.
TEST(Automation, IsTheSameForAllCuttingsIntoWholeChunks) {
  const FormatRecord format = MakeFormat(SampleFormat::kFloat64, 2, 44100);
  const std::size_t chunk = format.samplesPerSecond / 50;
  const Bytes input = NoiseBytes(format, chunk * 30 + 17);
  Bytes first;
  for (const std::size_t chunksPerBuffer : {1U, 2U, 7U, 31U}) {
    Owned<CQvChorus> chorus;
    const auto params = chorus.As<IMediaParams>();
    MP_ENVELOPE_SEGMENT dry[] = {Segment(0, kSecond / 10, -10, 0),
                                 Segment(kSecond / 5, kSecond / 2, 0, -20, MP_CURVE_SQUARE)};
    MP_ENVELOPE_SEGMENT size = Segment(kSecond / 25, kSecond, 1, 3, MP_CURVE_JUMP);
    ASSERT_EQ(params->AddEnvelope(kChorusDryOut, 2, dry), S_OK);
    ASSERT_EQ(params->AddEnvelope(kChorusSize, 1, &size), S_OK);
    TestGraph graph(*chorus, format, {.bufferFrames = input.size() / format.blockAlign});
    const Bytes output = graph.Run(input, chunksPerBuffer * chunk);
    ASSERT_EQ(output.size(), input.size()) << graph.outcome;
    if (first.empty()) first = output;
    EXPECT_EQ(output, first) << chunksPerBuffer << " chunks a buffer";
  }
}

/// The host's rounding and treatment of small numbers stand after each call, and none of the latter comes out.
template <class Filter>
void ExpectHostsSettingStays(unsigned setting) {
  const auto settings = [] { return _mm_getcsr() & 0xFFC0U; };
  std::vector<float> tiny = FloatNoise(2 * 9000);
  for (float& x : tiny) x *= 1e-38F;
  Owned<Filter> filter;
  EXPECT_EQ(filter->SetPreset(2), S_OK);
  EXPECT_EQ(filter->FloatStart(2, 8000), S_OK);
  const unsigned before = _mm_getcsr();
  _mm_setcsr((before & 0x3FU) | setting);
  EXPECT_EQ(filter->FloatProcess(tiny.data(), 9000, 0), S_OK);
  EXPECT_EQ(settings(), setting);
  DWORD frames = 256;
  std::vector<float> tail(2 * std::size_t{frames});
  filter->FloatTail(tail.data(), &frames);
  EXPECT_EQ(settings(), setting);
  filter->FloatStop();
  TestGraph graph(*filter, kStereo);
  EXPECT_EQ(graph.Start(), S_OK);
  EXPECT_EQ(graph.SendAll(NoiseBytes(kStereo, 500), 500), S_OK);
  graph.source->pin.DeliverEndOfStream();
  EXPECT_EQ(settings(), setting);
  _mm_setcsr(before);
  for (const float x : tiny) ASSERT_NE(std::fpclassify(x), FP_SUBNORMAL);
}

TEST(DirectRoad, TheHostsSettingStays) {
  for (const unsigned setting : {0x1F80U, 0x5F80U, 0x9FC0U}) {  // the usual, upwards, small numbers flushed
    SCOPED_TRACE(setting);
    ExpectHostsSettingStays<CQvChorus>(setting);
    ExpectHostsSettingStays<CQvReverb>(setting);
    ExpectHostsSettingStays<CQvEchos>(setting);
    ExpectHostsSettingStays<CQvEchomt>(setting);
  }
}

TEST(DirectRoad, CarriesItsOwnTimeForwardAndTellsWhatAResetFound) {
  Owned<CQvChorus> chorus;
  std::vector<float> buffer(882, 0.5F);
  EXPECT_EQ(chorus->FloatReset(0), S_OK);
  EXPECT_EQ(chorus->FloatReset(0), S_FALSE);
  EXPECT_EQ(chorus->FloatReset(1), S_OK);
  ASSERT_EQ(chorus->FloatStart(1, 44100), S_OK);
  EXPECT_EQ(chorus->FloatReset(0), S_FALSE);  // the start has picked everything up
  chorus->SetFeedback(50);
  EXPECT_EQ(chorus->FloatQuery(), S_FALSE);
  EXPECT_EQ(chorus->FloatReset(0), S_OK);
  EXPECT_EQ(chorus->FloatReset(0), S_FALSE);
  EXPECT_EQ(chorus->FloatReset(1), S_OK);
  chorus->FloatProcess(buffer.data(), 882, 0);
  EXPECT_EQ(chorus->hostTime(), 200'000);
  // A buffer with nothing in it takes its own time and one frame more, and stays as it is.
  buffer.assign(882, 0.25F);
  EXPECT_EQ(chorus->FloatProcess(buffer.data(), 882, 1), S_FALSE);
  EXPECT_EQ(chorus->hostTime(), 400'227);
  EXPECT_EQ(buffer, std::vector<float>(882, 0.25F));
  chorus->FloatReset(1);
  EXPECT_EQ(chorus->hostTime(), 0);
  // A stream with no rate has endless frames; time goes round and is never undefined.
  ASSERT_EQ(chorus->FloatStart(1, 0), S_OK);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(chorus->FloatProcess(buffer.data(), 10, 0), S_OK);
}

TEST(FormatRecord, IsThatOfTheStreamThatComesIn) {
  CMediaType stereo, other;
  other.SetWave(MakeFormat(SampleFormat::kPcm8, 1, 8000));
  stereo.SetWave(kStereo);
  Owned<CQvChorus> chorus;
  Owned<SourceFilter> source;
  Owned<SinkFilter> sink;
  IPin* const in = chorus->GetPin(0);
  IPin* const out = chorus->GetPin(1);
  const auto connectIn = [&] { return source->pin.Connect(in, &stereo.get()); };
  const auto connectOut = [&] { return out->Connect(&sink->pin, &stereo.get()); };
  const auto start = [&](WORD channels, DWORD rate) {
    return [=, &chorus] { return chorus->FloatStart(channels, rate); };
  };
  const auto startInVain = [&] {
    FailAllocationsAfter(0);
    const HRESULT result = chorus->FloatStart(1, 22050);
    FailAllocationsAfter(-1);
    return result;
  };
  const auto stop = [&] { return chorus->FloatStop(); };
  const auto disconnect = [](IPin* one, IPin* another) {
    return [=] {
      one->Disconnect();
      return another->Disconnect();
    };
  };
  const auto refuse = [&] {
    sink->pin.accept = [](const AM_MEDIA_TYPE&) { return E_FAIL; };
    return connectOut();
  };
  // The far source could change to it; when that comes to nothing, the stream runs in the input's type.
  const auto connectOther = [&] {
    source->pin.refuseOtherTypes = false;
    return out->Connect(&sink->pin, &other.get());
  };
  const struct {
    const char* what;
    std::function<HRESULT()> act;
    HRESULT result;
    DWORD rate;
  } rows[] = {
      {"the output alone", connectOut, S_OK, 0},
      {"and gone again", disconnect(out, &sink->pin), S_OK, 0},
      {"the direct road", start(2, 44100), S_OK, 44100},
      {"a connection in its middle", connectIn, VFW_E_NOT_STOPPED, 44100},
      {"its end", stop, S_OK, 0},
      {"the input", connectIn, S_OK, 48000},
      {"a refused output beside it", refuse, VFW_E_TYPE_NOT_ACCEPTED, 48000},
      {"an output of another type beside it", connectOther, VFW_E_TYPE_NOT_ACCEPTED, 48000},
      {"the direct road beside it", start(1, 22050), S_OK, 22050},
      {"its end", stop, S_OK, 48000},
      {"a road that cannot start", startInVain, E_OUTOFMEMORY, 48000},
      {"the direct road once more", start(1, 22050), S_OK, 22050},
      {"the input gone in its middle", disconnect(in, &source->pin), S_OK, 22050},
      {"its end", stop, S_OK, 0},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.act(), row.result) << row.what;
    WAVEFORMATEX format{};
    EXPECT_EQ(chorus->GetFormat(&format) == S_OK ? format.nSamplesPerSec : 0, row.rate) << row.what;
  }
}

}  // namespace
}  // namespace korva
