#include "chorus/chorus_filter.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <thread>

#include "chorus_oracle.h"
#include "support/memory_stream.h"
#include "support/test_graph.h"
#include "support/test_song.h"

namespace korva {
namespace {

// Three voices, all of them heard, with feedback and filter.
constexpr ChorusParams kBusy{-10, -30, -20, 3, 60, 0, 70, 3000, 80, 1, 6000, 0, 0, 18, 1000, 0};

TEST(Chorus, OutputDoesNotDependOnHowTheStreamIsCut) {
  for (const SampleFormat sampleFormat : kAllFormats) {
    for (const std::uint16_t channels : {std::uint16_t{1}, std::uint16_t{2}, std::uint16_t{6}, std::uint16_t{32}}) {
      const FormatRecord format = MakeFormat(sampleFormat, channels, 8000);
      const std::size_t frames = channels == 32 ? 5000 : 9000;
      const Bytes input = NoiseBytes(format, frames, 0.8);
      Bytes expected = input;
      ChorusOracle oracle(8000, channels);
      oracle.Full(kBusy, true);
      oracle.Run(format, expected);
      for (const std::size_t cut : {std::size_t{1}, std::size_t{7}, std::size_t{64}, std::size_t{4096}, frames}) {
        Owned<CQvChorus> chorus;
        chorus->SetParams(&kBusy);
        GraphOptions options;
        options.bufferFrames = cut;
        TestGraph graph(*chorus, format, options);
        EXPECT_TRUE(graph.Run(input, cut) == expected) << Describe(format) << " cut into " << cut;
        EXPECT_EQ(graph.outcome, S_OK);
      }
    }
  }
}

TEST(Chorus, OneBufferOfAMillionFramesIsLikeManySmallOnes) {
  const FormatRecord format = MakeFormat(SampleFormat::kPcm16, 2, 44100);
  const Bytes input = NoiseBytes(format, 1'000'000);
  Bytes outputs[2];
  for (std::size_t i = 0; i < 2; ++i) {
    Owned<CQvChorus> chorus;
    GraphOptions options;
    options.bufferFrames = i == 0 ? 1'000'000 : 1021;
    TestGraph graph(*chorus, format, options);
    outputs[i] = graph.Run(input, options.bufferFrames);
  }
  EXPECT_TRUE(outputs[0] == outputs[1]);
  EXPECT_EQ(outputs[0].size(), input.size());
}

TEST(Chorus, FormatsAgreeWithinTheirRounding) {
  for (const std::uint16_t channels : {std::uint16_t{1}, std::uint16_t{2}, std::uint16_t{6}}) {
    std::vector<std::vector<double>> outputs;
    for (const SampleFormat sampleFormat : kAllFormats) {
      const FormatRecord format = MakeFormat(sampleFormat, channels, 44100);
      Owned<CQvChorus> chorus;
      chorus->SetParams(&kBusy);
      TestGraph graph(*chorus, format);
      outputs.push_back(Decode(format, graph.Run(NoiseBytes(format, 6000, 0.2), 4096)));
    }
    const double steps[] = {1.0 / 128, 1.0 / 32768, 1.0 / 2147483648.0, 1.0 / 16777216, 0};
    for (std::size_t i = 0; i < 5; ++i) {
      EXPECT_LE(LargestDifference(outputs[i], outputs[4]), 0.5 * steps[i] * (1 + 1e-9)) << i << ", " << channels;
    }
  }
}

// What each event asks of the engine, told by what the plain form does there: 0 nothing, 1 the cheap recompute, 2 the
// full one, 3 the full one with a wipe. Then the same through the very samples.
TEST(Chorus, EventsAskTheEngineForNoMoreAndNoLessThanTheyShould) {
  struct Step {
    const char* what;
    int asks;
    std::function<void(CQvChorus&, TestGraph&, Stamp&)> act;
  };
  const Step steps[] = {
      {"nothing", 0, [](CQvChorus&, TestGraph&, Stamp&) {}},
      {"a delay that is set", 2, [](CQvChorus& c, TestGraph&, Stamp&) { c.SetDelay(150); }},
      {"a size that is set", 2, [](CQvChorus& c, TestGraph&, Stamp&) { c.SetChorusSize(2); }},
      {"a feedback that is set", 1, [](CQvChorus& c, TestGraph&, Stamp&) { c.SetFeedback(20); }},
      {"a rate that is set", 1, [](CQvChorus& c, TestGraph&, Stamp&) { c.SetModRate(9000); }},
      {"a delay from the host", 1, [](CQvChorus& c, TestGraph&, Stamp&) { c.SetParam(kChorusDelay, 15); }},
      {"all set to what they are", 3,
       [](CQvChorus& c, TestGraph&, Stamp&) {
         ChorusParams block{};
         c.GetParams(&block);
         c.SetParams(&block);
       }},
      {"a preset", 3, [](CQvChorus& c, TestGraph&, Stamp&) { c.SetPreset(12); }},
      {"an edit that ends", 1,
       [](CQvChorus& c, TestGraph&, Stamp&) {
         c.BeginEditFeedback();
         c.EndEditFeedback();
       }},
      {"a discontinuity", 3, [](CQvChorus&, TestGraph&, Stamp& s) { s.discontinuity = true; }},
      {"a tail-only sample before", 3,
       [](CQvChorus&, TestGraph& g, Stamp&) {
         g.Send(Bytes(6400), {0, false, true});
         g.Send(Bytes(6400), {0, false, true});
       }},
      {"bypass and back", 1,
       [](CQvChorus& c, TestGraph& g, Stamp&) {
         const Bytes noise = NoiseBytes(MakeFormat(SampleFormat::kPcm16, 2, 44100), 100);
         c.SetBypass(1);
         g.sink->pin.received.clear();
         g.Send(noise);
         EXPECT_EQ(g.sink->pin.received, noise);
         c.SetBypass(0);
       }},
      {"a flush", 0,
       [](CQvChorus&, TestGraph& g, Stamp&) {
         g.source->pin.DeliverBeginFlush();
         g.source->pin.DeliverEndFlush();
       }},
      {"an envelope that jumps", 1,
       [](CQvChorus& c, TestGraph&, Stamp&) {
         MP_ENVELOPE_SEGMENT jump{0, 1 << 30, -20, 0, MP_CURVE_JUMP, 0};
         c.AddEnvelope(kChorusDryOut, 1, &jump);
       }},
  };
  for (const std::uint16_t channels : {std::uint16_t{1}, std::uint16_t{2}, std::uint16_t{6}}) {
    for (const Step& step : steps) {
      const FormatRecord format = MakeFormat(SampleFormat::kPcm16, channels, 44100);
      if (std::strcmp(step.what, "bypass and back") == 0 && channels != 2) continue;
      Owned<CQvChorus> chorus;
      chorus->SetParams(&kBusy);
      TestGraph graph(*chorus, format);
      ASSERT_EQ(graph.Start(), S_OK);
      ChorusOracle oracle(44100, channels);
      oracle.Full(kBusy, true);
      // Long enough to fill a part of the lines that a wipe does not reach, short of a chunk of automation.
      Bytes before = NoiseBytes(format, 4000), after = NoiseBytes(format, 800, 0.5, 2);
      graph.Send(before, {0, true, false});
      Stamp stamp{0, false, false};
      step.act(*chorus, graph, stamp);
      graph.sink->pin.received.clear();
      EXPECT_EQ(graph.Send(after, stamp), S_OK);
      oracle.Run(format, before);
      ChorusParams now{};
      chorus->GetParams(&now);
      if (step.asks == 1) oracle.Cheap(now);
      if (step.asks >= 2) oracle.Full(now, step.asks == 3);
      oracle.Run(format, after);
      EXPECT_TRUE(graph.sink->pin.received == after) << step.what << ", " << channels << " channels";
    }
  }
}

TEST(Chorus, TheDirectRoadGivesTheGraphsSamples) {
  for (const std::uint16_t channels : {std::uint16_t{1}, std::uint16_t{2}, std::uint16_t{6}}) {
    const FormatRecord format = MakeFormat(SampleFormat::kFloat32, channels, 44100);
    const Bytes input = NoiseBytes(format, 3000);
    Owned<CQvChorus> byGraph, direct;
    byGraph->SetParams(&kBusy);
    direct->SetParams(&kBusy);
    TestGraph graph(*byGraph, format);
    const Bytes expected = graph.Run(input, 1000);
    Bytes output = input;
    ASSERT_EQ(direct->FloatStart(channels, 44100), S_OK);
    auto* const samples = reinterpret_cast<float*>(output.data());
    for (std::size_t at = 0; at < 3000; at += 500) {
      // Nothing restarts by itself here, not even after a skipped buffer.
      EXPECT_EQ(direct->FloatProcess(samples + at * channels, 500, 1), S_FALSE);
      EXPECT_EQ(direct->FloatProcess(samples + at * channels, 500, 0), S_OK);
    }
    EXPECT_TRUE(output == expected) << channels;
    // A rewind wipes, a reset with nothing to do does not.
    EXPECT_EQ(direct->FloatReset(1), S_OK);
    ChorusOracle oracle(44100, channels);
    oracle.Full(kBusy, true);
    Bytes before = input, again = input;
    oracle.Run(format, before);
    oracle.Full(kBusy, true);
    oracle.Run(format, again);
    output = input;
    EXPECT_EQ(direct->FloatProcess(reinterpret_cast<float*>(output.data()), 3000, 0), S_OK);
    EXPECT_TRUE(output == again) << channels;
  }
}

TEST(Chorus, ASyncedSwingFollowsTheSongToTheFrame) {
  const FormatRecord format = MakeFormat(SampleFormat::kFloat64, 2, 48000);
  ChorusParams block = kBusy;
  block.tempoSync = 1;
  block.modPeriodNote = 18;
  block.modPeriodMultiplier = 50;
  // The tempo changes after 24000 frames, the meter after 48000, to 6/8.
  TestSong song({{0, 12000}, {480, 6000}}, {{1, 3, 3}, {2, 6, 3}}, 48000);
  {
    Owned<CQvChorus> chorus;
    chorus->SetParams(&block);
    TestGraph graph(*chorus, format);
    const auto synth = chorus.As<IMfxSoftSynth>();
    ASSERT_EQ(song.ConnectTo(*synth.Get()), S_OK);
    ASSERT_EQ(synth->OnStart(0), S_OK);
    const Bytes input = NoiseBytes(format, 100'000);
    const Bytes output = graph.Run(input, 4096);
    ChorusOracle oracle(48000, 2);
    Bytes expected = input;
    const std::span<std::uint8_t> all(expected);
    TempoInfo info;
    info.flags = 5;
    std::size_t from = 0;
    const struct {
      double bpm;
      int top;
      std::size_t until;
    } parts[] = {{120, 3, 24000}, {60, 3, 48000}, {60, 6, 100'000}};
    for (const auto& part : parts) {
      info.bpm = part.bpm;
      info.numerator = part.top;
      info.denominator = 8;
      if (from == 0) {
        oracle.Full(block, true, &info);
      } else {
        oracle.Cheap(block, &info);
      }
      oracle.Run(format, all.subspan(from * format.blockAlign, (part.until - from) * format.blockAlign));
      from = part.until;
    }
    EXPECT_EQ(LargestDifference(Decode(format, output), Decode(format, expected)), 0.0);
  }
  EXPECT_EQ(song.references, 0U);
}

TEST(Chorus, AStartThatFindsNoMemoryFailsAndTheNextOneRuns) {
  const FormatRecord format = MakeFormat(SampleFormat::kPcm16, 2, 44100);
  const Bytes input = NoiseBytes(format, 3000);
  Owned<CQvChorus> chorus;
  TestGraph graph(*chorus, format);
  const Bytes expected = graph.Run(input, 1000);
  for (const int granted : {0, 1, 2}) {
    FailAllocationsAfter(granted);
    EXPECT_EQ(graph.Start(), E_OUTOFMEMORY) << granted;
    FailAllocationsAfter(-1);
    EXPECT_TRUE(chorus->IsStopped());
    TestSample sample(input);
    EXPECT_EQ(graph.input().Receive(&sample), VFW_E_WRONG_STATE);
    graph.Stop();
    FailAllocationsAfter(granted);
    EXPECT_EQ(chorus->FloatStart(2, 44100), E_OUTOFMEMORY);
    FailAllocationsAfter(-1);
    float frame[2] = {};
    EXPECT_EQ(chorus->FloatProcess(frame, 1, 0), VFW_E_WRONG_STATE);
    EXPECT_EQ(chorus->FloatStop(), S_OK);
    EXPECT_TRUE(graph.Run(input, 1000) == expected) << granted;
  }
}

// Every road by which another thread may come in, while audio runs. The wet side is silent, so a sample can only be
// the input times the old dry gain or the new one.
TEST(Chorus, SettersMayHammerWhileAudioRuns) {
  const FormatRecord format = MakeFormat(SampleFormat::kFloat32, 2, 44100);
  Owned<CQvChorus> chorus;
  chorus->SetChorusOut(-600);
  chorus->SetDryOut(0);
  TestGraph graph(*chorus, format);
  ASSERT_EQ(graph.Start(), S_OK);
  constexpr LONG kRounds = 4000;
  std::atomic<LONG> left{2 * kRounds};
  std::thread page([&] {
    for (LONG i = 0; i < kRounds; ++i, --left) {
      chorus->SetDryOut(i % 2 == 0 ? -600 : 0);
      chorus->SetDelay(i % 1000);
      chorus->SetChorusSize(i % 3 + 1);
      chorus->SetFeedback(i % 60);
      chorus->SetModRate(i % 20000);
      chorus->SetModDepth(i % 100);
      chorus->SetAttenuateHigh(i % 2);
      chorus->SetTempoSync(i % 2);
      chorus->BeginEditDelay();
      chorus->EndEditDelay();
      ChorusParams block{};
      chorus->GetParams(&block);
    }
  });
  std::thread host([&] {
    const auto params = chorus.As<IMediaParams>();
    TestSong song({{0, 12000}});
    for (LONG i = 0; i < kRounds; ++i, --left) {
      MP_ENVELOPE_SEGMENT segments[] = {{i % 7, 5000 + i % 7, 1, 90, MP_CURVE_LINEAR, 0},
                                        {6000, 90000, 80, 2, MP_CURVE_SQUARE, 0}};
      params->AddEnvelope(kChorusModDepth, 2, segments);
      params->SetParam(kChorusInvertFeedback, static_cast<float>(i % 2));
      params->FlushEnvelope(0xFFFFFFFF, i % 50, 7000);
      chorus->IsModDepthFree();
      song.ConnectTo(*chorus);
      chorus->OnStart(0);
      chorus->OnLoop(0, 480);
      chorus->Disconnect();
      MemoryStream stream;
      chorus->Save(&stream, TRUE);
      chorus->IsDirty();
    }
  });
  const Bytes input = NoiseBytes(format, 500);
  const auto in = Decode(format, input);
  for (int i = 0; i < 100 || left > 0; ++i) {
    graph.sink->pin.received.clear();
    graph.sink->pin.arrivals.clear();
    EXPECT_EQ(graph.Send(input, {i * 100, i % 50 == 0, i % 20 == 19}), S_OK);
    if (i % 20 == 19) continue;
    const auto out = Decode(format, graph.sink->pin.received);
    EXPECT_EQ(out.size(), in.size());
    for (std::size_t k = 0; k < out.size(); ++k) {
      EXPECT_TRUE(out[k] == in[k] || out[k] == 0) << "buffer " << i << ", sample " << k << ": " << out[k];
    }
  }
  page.join();
  host.join();
}

}  // namespace
}  // namespace korva
