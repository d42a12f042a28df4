#include <gtest/gtest.h>

#include <limits>
#include <sstream>

#include "audio/tempo_info.h"
#include "frame/mfx_tempo.h"
#include "support/test_song.h"

namespace korva {
namespace {

/// The effect's side of a song, on a stream of 48 kHz.
class Follower final : public CMFXTempo {
 public:
  KORVA_STACK_UNKNOWN(IMfxSoftSynth);
  HRESULT GetFormat(WAVEFORMATEX* format) override {
    *format = WAVEFORMATEX{};
    format->nSamplesPerSec = rate;
    return rate != 0 ? S_OK : VFW_E_NOT_CONNECTED;
  }
  DWORD rate = 48000;
};

/// The chunks that buffers of `buffer` frames are taken apart into: frames, tempo and meter, then a T where the tempo
/// is new and an M where the meter is.
std::string Chunks(Follower& follower, std::uint32_t buffer, int count) {
  std::ostringstream text;
  for (std::uint32_t left = buffer; count > 0; --count) {
    TempoInfo info;
    const std::uint32_t frames = follower.AdvanceTempo(left, 5, info);
    EXPECT_EQ(info.flags & (kTempoValid | kMeterValid), kTempoValid | kMeterValid);
    text << frames << " at " << info.bpm << ' ' << info.numerator << '/' << info.denominator;
    text << ((info.flags & kTempoChanged) != 0 ? " T" : "") << ((info.flags & kMeterChanged) != 0 ? " M" : "");
    text << (count > 1 ? ", " : "");
    left = left == frames ? buffer : left - frames;
  }
  return text.str();
}

// A quarter note has 480 ticks: at 120 it lasts 24000 frames.
TEST(Tempo, ChunksNeverSpanAChange) {
  using Tempos = std::vector<TestSong::Tempo>;
  using Meters = std::vector<TestSong::Meter>;
  const Tempos odd{{0, 9050}}, doubles{{0, 12000}, {960, 24000}}, falls{{0, 12000}, {960, 24000}, {1920, 6000}};
  const Tempos halves{{0, 12000}, {480, 6000}}, soon{{0, 12000}, {240, 6000}};
  const Tempos many{{0, 12000}, {48, 12100}, {48, 12200}, {96, 12000}};
  const Meters fourFour{{1, 4, 2}}, sixEight{{1, 6, 3}}, fromOneEight{{1, 1, 3}, {2, 4, 2}};
  const struct {
    const char* what;
    const Tempos& tempos;
    const Meters& meters;
    LONG start;
    std::uint32_t buffer;
    int count;
    const char* chunks;
  } rows[] = {
      {"constant", odd, sixEight, 0, 4096, 2, "4096 at 90.5 6/8 T M, 4096 at 90.5 6/8"},
      {"the tempo doubles after a second", doubles, fourFour, 0, 40000, 4,
       "40000 at 120 4/4 T M, 8000 at 120 4/4, 32000 at 240 4/4 T, 40000 at 240 4/4"},
      {"a change where a buffer begins cuts nothing", doubles, fourFour, 0, 48000, 3,
       "48000 at 120 4/4 T M, 48000 at 240 4/4 T, 48000 at 240 4/4"},
      {"the start in the middle", falls, fourFour, 1440, 20000, 2, "12000 at 240 4/4 T M, 8000 at 60 4/4 T"},
      // The meter's change comes first and shortens the chunk: the tempo's is beyond it and must wait.
      {"meter before tempo", halves, fromOneEight, 0, 48000, 3,
       "12000 at 120 1/8 T M, 12000 at 120 4/4 M, 24000 at 60 4/4 T"},
      {"both at once", soon, fromOneEight, 0, 24000, 2, "12000 at 120 1/8 T M, 12000 at 60 4/4 T M"},
      {"many in one buffer", many, fourFour, 0, 6000, 3, "2400 at 120 4/4 T M, 2361 at 122 4/4 T, 1239 at 120 4/4 T"},
  };
  for (const double converterRate : {48000.0, 0.0}) {
    for (const auto& row : rows) {
      // Whole milliseconds cannot tell the frame of the last row.
      if (converterRate == 0 && row.tempos.size() == 4) continue;
      TestSong song(row.tempos, row.meters, converterRate);
      {
        Follower follower;
        ASSERT_EQ(song.ConnectTo(follower), S_OK);
        follower.OnStart(row.start);
        EXPECT_EQ(Chunks(follower, row.buffer, row.count), row.chunks) << row.what;
      }
      EXPECT_EQ(song.references, 0U) << row.what;
    }
  }
}

TEST(Tempo, LoopsFindTheSongsStartAgain) {
  TestSong song({{0, 12000}, {960, 24000}});
  Follower follower;
  song.ConnectTo(follower);
  follower.OnStart(0);
  EXPECT_EQ(Chunks(follower, 60000, 2), "48000 at 120 4/4 T M, 12000 at 240 4/4 T");
  follower.OnLoop(0, 1440);  // 60000 frames
  EXPECT_EQ(Chunks(follower, 60000, 2), "48000 at 120 4/4 T, 12000 at 240 4/4 T");
  // A stop forgets loops; the position goes on.
  follower.OnStop(0);
  TempoInfo info;
  follower.AdvanceTempo(100, 5, info);
  EXPECT_EQ(info.position, 120000);
  // Frames that were passed over count as well.
  follower.SkipFrames(1000);
  follower.AdvanceTempo(100, 5, info);
  EXPECT_EQ(info.position, 121100);
}

TEST(Tempo, ConnectsOnceAndNeedsBothMaps) {
  TestSong song({{0, 12000}}, {{1, 4, 2}}, 48000);
  Follower follower;
  EXPECT_EQ(follower.Connect(nullptr), E_POINTER);
  for (const auto& [tempo, meter] : {std::pair{true, true}, {true, false}, {false, true}}) {
    song.hasTempo = tempo;
    song.hasMeter = meter;
    EXPECT_EQ(song.ConnectTo(follower), S_OK);
    EXPECT_EQ(follower.HasTempo(), tempo && meter);
    EXPECT_EQ(song.ConnectTo(follower), E_UNEXPECTED);
    song.Release();
    EXPECT_EQ(follower.Disconnect(), S_OK);
    EXPECT_FALSE(follower.HasTempo());
    EXPECT_EQ(song.references, 0U);
  }
}

/// A host that claims changes without end, all of them now.
class EndlessSong final : public TestSong {
 public:
  EndlessSong() : TestSong({{0, 12000}}) {}
  int GetTempoCount() override { return std::numeric_limits<int>::max(); }
  int GetTempoIndexForTime(LONG) override { return -7; }
  HRESULT GetTempoAt(int, LONG* ticks, int* bpm100) override { return *ticks = 0, *bpm100 = 12000, S_OK; }
};

TEST(Tempo, NoNumberOfChangesCanHoldItUp) {
  EndlessSong song;
  Follower follower;
  ASSERT_EQ(song.ConnectTo(follower), S_OK);
  follower.OnStart(0);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(Chunks(follower, 1000, 1).substr(0, 14), "1000 at 120 4/");
  follower.Disconnect();
}

}  // namespace
}  // namespace korva
