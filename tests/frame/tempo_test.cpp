#include <gtest/gtest.h>

#include <limits>

#include "audio/tempo_info.h"
#include "frame/mfx_tempo.h"
#include "support/seed.h"
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

struct Chunk {
  std::uint32_t frames;
  double bpm;
  int numerator, denominator;
  std::uint32_t flags;
};

constexpr std::uint32_t kValid = kTempoValid | kMeterValid;
constexpr std::uint32_t kFirst = kValid | kTempoChanged | kMeterChanged;

// Takes buffers of `buffer` frames apart into the chunks that are expected of them.
void Follow(const char* what, Follower& follower, std::uint32_t buffer, const std::vector<Chunk>& chunks) {
  std::uint32_t left = buffer;
  for (std::size_t i = 0; i < chunks.size(); ++i) {
    TempoInfo info;
    const std::uint32_t frames = follower.AdvanceTempo(left, 5, info);
    EXPECT_EQ(frames, chunks[i].frames) << what << ", chunk " << i;
    EXPECT_EQ(info.bpm, chunks[i].bpm) << what << ", chunk " << i;
    EXPECT_EQ(info.numerator, chunks[i].numerator) << what << ", chunk " << i;
    EXPECT_EQ(info.denominator, chunks[i].denominator) << what << ", chunk " << i;
    EXPECT_EQ(info.flags, chunks[i].flags) << what << ", chunk " << i;
    left -= frames;
    if (left == 0) left = buffer;
  }
}

// A quarter note has 480 ticks: at 120 it lasts 24000 frames.
TEST(Tempo, ChunksNeverSpanAChange) {
  const struct {
    const char* what;
    std::vector<TestSong::Tempo> tempos;
    std::vector<TestSong::Meter> meters;
    LONG start;
    std::uint32_t buffer;
    std::vector<Chunk> chunks;
  } rows[] = {
      {"constant", {{0, 9050}}, {{1, 6, 3}}, 0, 4096, {{4096, 90.5, 6, 8, kFirst}, {4096, 90.5, 6, 8, kValid}}},
      {"the tempo doubles after a second",
       {{0, 12000}, {960, 24000}},
       {{1, 4, 2}},
       0,
       40000,
       {{40000, 120, 4, 4, kFirst},
        {8000, 120, 4, 4, kValid},
        {32000, 240, 4, 4, kValid | kTempoChanged},
        {40000, 240, 4, 4, kValid}}},
      {"a change where a buffer begins cuts nothing",
       {{0, 12000}, {960, 24000}},
       {{1, 4, 2}},
       0,
       48000,
       {{48000, 120, 4, 4, kFirst}, {48000, 240, 4, 4, kValid | kTempoChanged}, {48000, 240, 4, 4, kValid}}},
      {"the start in the middle",
       {{0, 12000}, {960, 24000}, {1920, 6000}},
       {{1, 4, 2}},
       1440,
       20000,
       {{12000, 240, 4, 4, kFirst}, {8000, 60, 4, 4, kValid | kTempoChanged}}},
      {"meter",
       {{0, 12000}},
       {{1, 4, 2}, {2, 6, 3}},
       0,
       100000,
       {{96000, 120, 4, 4, kFirst}, {4000, 120, 6, 8, kValid | kMeterChanged}, {100000, 120, 6, 8, kValid}}},
      // The meter's change comes first and shortens the chunk: the tempo's is beyond it and must wait.
      {"meter before tempo",
       {{0, 12000}, {480, 6000}},
       {{1, 1, 3}, {2, 4, 2}},
       0,
       48000,
       {{12000, 120, 1, 8, kFirst},
        {12000, 120, 4, 4, kValid | kMeterChanged},
        {24000, 60, 4, 4, kValid | kTempoChanged}}},
      {"both at once",
       {{0, 12000}, {240, 6000}},
       {{1, 1, 3}, {2, 4, 2}},
       0,
       24000,
       {{12000, 120, 1, 8, kFirst}, {12000, 60, 4, 4, kFirst}}},
      {"many in one buffer",
       {{0, 12000}, {48, 12100}, {48, 12200}, {96, 12000}},
       {{1, 4, 2}},
       0,
       6000,
       {{2400, 120, 4, 4, kFirst},
        {2361, 122, 4, 4, kValid | kTempoChanged},
        {1239, 120, 4, 4, kValid | kTempoChanged}}},
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
        Follow(row.what, follower, row.buffer, row.chunks);
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
  Follow("first time", follower, 60000, {{48000, 120, 4, 4, kFirst}, {12000, 240, 4, 4, kValid | kTempoChanged}});
  follower.OnLoop(0, 1440);  // 60000 frames
  Follow("second time", follower, 60000,
         {{48000, 120, 4, 4, kValid | kTempoChanged}, {12000, 240, 4, 4, kValid | kTempoChanged}});
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
  EXPECT_FALSE(follower.HasTempo());
  EXPECT_EQ(song.ConnectTo(follower), S_OK);
  EXPECT_TRUE(follower.HasTempo());
  EXPECT_EQ(song.ConnectTo(follower), E_UNEXPECTED);
  song.Release();
  EXPECT_EQ(follower.Disconnect(), S_OK);
  EXPECT_FALSE(follower.HasTempo());
  EXPECT_EQ(song.references, 0U);
  song.hasMeter = false;
  EXPECT_EQ(song.ConnectTo(follower), S_OK);
  EXPECT_FALSE(follower.HasTempo());
  follower.Disconnect();
  song.hasMeter = true;
  song.hasTempo = false;
  EXPECT_EQ(song.ConnectTo(follower), S_OK);
  EXPECT_FALSE(follower.HasTempo());
}

/// A host whose maps answer anything.
class WildSong final : public TestSong {
 public:
  WildSong() : TestSong({{0, 12000}}, {{1, 4, 2}}, 48000) {}
  LONG TicksToMsecs(LONG) override { return Word(); }
  LONG MsecsToTicks(LONG) override { return Word(); }
  int GetTicksPerQuarterNote() override { return Word(); }
  int GetTempoIndexForTime(LONG) override { return Word(); }
  int GetTempoCount() override {
    return random() % 50 == 0 ? std::numeric_limits<int>::max() : static_cast<int>(random() % 8) - 2;
  }
  HRESULT GetTempoAt(int, LONG* ticks, int* bpm100) override {
    *ticks = Word();
    *bpm100 = Word();
    return random() % 4 != 0 ? S_OK : E_FAIL;
  }
  LONG MBTToTicks(int, int, int) override { return Word(); }
  int GetMeterIndexForTime(LONG) override { return Word(); }
  int GetMeterCount() override { return GetTempoCount(); }
  HRESULT GetMeterAt(int, int* measure, int* top, int* power) override {
    for (int* const answer : {measure, top, power}) *answer = Word();
    return S_OK;
  }
  HRESULT ConvertMfxTime(MfxTime* time, int newFormat) override {
    time->format = newFormat;
    time->frames = static_cast<LONGLONG>((std::uint64_t{random()} << 32 | random()) >> (random() % 64));
    return S_OK;
  }
  int Word() {
    constexpr int kWords[] = {
        0, 1, -1, 7, 31, 64, 12000, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()};
    const auto pick = random() % 12;
    return pick < 9 ? kWords[pick] : static_cast<int>(random());
  }

  const Seed seed;
  std::mt19937 random{seed};
};

TEST(Tempo, NoAnswerOfAHostCanHoldItUp) {
  WildSong song;
  for (int round = 0; round < 300; ++round) {
    Follower follower;
    follower.rate = std::vector<DWORD>{0, 1, 48000, 0xFFFFFFFF}[static_cast<std::size_t>(round % 4)];
    ASSERT_EQ(song.ConnectTo(follower), S_OK);
    if (round % 2 == 0) follower.OnStart(song.Word());
    for (int i = 0; i < 50; ++i) {
      TempoInfo info;
      const auto asked = static_cast<std::uint32_t>(song.random() % 100000 + 1);
      const std::uint32_t frames = follower.AdvanceTempo(asked, 5, info);
      EXPECT_GE(frames, 1U);
      EXPECT_LE(frames, asked);
      if (i % 7 == 0) follower.OnLoop(song.Word(), song.Word());
      if (i % 11 == 0) follower.SkipFrames(std::numeric_limits<std::int64_t>::max());
    }
  }
  EXPECT_EQ(song.references, 0U);
}

}  // namespace
}  // namespace korva
