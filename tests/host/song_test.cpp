#include "host/song.h"

#include "rig.h"

namespace korva {
namespace {

TEST(SongHost, TimesAndMeasuresFollowTheMaps) {
  // 120 bpm for four quarters, then 60; a measure of 4/4, one of 4/4 cut short by 6/8 at its third quarter.
  SongMap map;
  map.ticksPerQuarter = 96;
  map.tempos = {{0, 120}, {4 * 96, 60}};
  map.meters = {{0, 4, 2}, {6 * 96, 6, 3}};
  const ComPtr<SongHost> song(new SongHost(map));
  struct Time {
    LONG tick, msec;
  };
  for (const auto& [tick, msec] : {Time{0, 0}, {48, 250}, {4 * 96, 2000}, {5 * 96, 3000}, {100 * 96, 98000}}) {
    EXPECT_EQ(song->TicksToMsecs(tick), msec);
    EXPECT_EQ(song->MsecsToTicks(msec), tick);
  }
  EXPECT_EQ(song->GetTempoIndexForTime(4 * 96 - 1), 0);
  EXPECT_EQ(song->GetTempoIndexForTime(4 * 96), 1);
  LONG tick = 0;
  int bpm100 = 0, measure = 0, top = 0, power = 0, beat = 0, rest = 0;
  EXPECT_EQ(song->GetTempoAt(1, &tick, &bpm100), S_OK);
  EXPECT_EQ(bpm100, 6000);
  EXPECT_EQ(song->GetTempoAt(2, &tick, &bpm100), E_INVALIDARG);
  EXPECT_EQ(song->GetMeterAt(1, &measure, &top, &power), S_OK);
  EXPECT_EQ(std::tuple(measure, top, power), std::tuple(3, 6, 3));
  EXPECT_EQ(song->MBTToTicks(3, 1, 0), 6 * 96) << "a new meter begins a measure";
  EXPECT_EQ(song->MBTToTicks(4, 2, 5), 9 * 96 + 48 + 5);
  EXPECT_EQ(song->TicksToMBT(9 * 96 + 48 + 5, &measure, &beat, &rest), S_OK);
  EXPECT_EQ(std::tuple(measure, beat, rest), std::tuple(4, 2, 5));
}

TEST(SongHost, NoTimeOverflows) {
  SongMap map;
  map.ticksPerQuarter = 32767;
  map.tempos = {{0, 3.6}, {2147483647, 1e6}};
  map.meters = {{0, 255, 0}, {2147483647, 1, 6}};
  const ComPtr<SongHost> song(new SongHost(map));
  for (const LONG time : {-2147483647 - 1, -1, 0, 1, 2147483647}) {
    int measure = 0, beat = 0, rest = 0;
    song->TicksToMsecs(time);
    song->MsecsToTicks(time);
    song->TicksToMBT(time, &measure, &beat, &rest);
    song->MBTToTicks(time, time, time);
  }
}

class MidiSong : public HostTest {};

TEST_F(MidiSong, TempoAndMeterEventsBecomeTheMaps) {
  Put("song.mid", MidiFile(MidiTempo(0, 500000) + MidiMeter(0, 3, 2) + MidiTempo(96, 1000000) + MidiMeter(0, 6, 3) +
                           MidiTempo(96, 250000)));
  const Outcome<SongMap> map = ReadMidiSong(Path("song.mid"));
  ASSERT_TRUE(map);
  EXPECT_EQ(map->ticksPerQuarter, 96);
  ASSERT_EQ(map->tempos.size(), 3U);
  EXPECT_EQ(map->tempos[0].bpm, 120);
  EXPECT_EQ(map->tempos[1].tick, 96);
  EXPECT_EQ(map->tempos[1].bpm, 60);
  EXPECT_EQ(map->tempos[2].bpm, 240);
  ASSERT_EQ(map->meters.size(), 2U);
  EXPECT_EQ(map->meters[0].top, 3);
  EXPECT_EQ(map->meters[1].tick, 96);
  EXPECT_EQ(map->meters[1].bottomPower, 3);
}

// Every single byte of a good file set to each of several hostile values, and every cut of it: an answer, never an end
// of this process.
TEST_F(MidiSong, BrokenFilesAreRefusedAndNothingWorse) {
  const std::string good = MidiFile(MidiTempo(0, 500000) + MidiMeter(0, 3, 2) + MidiTempo(96, 1000000));
  std::vector<std::string> hostile;
  for (std::size_t i = 0; i < good.size(); ++i) {
    hostile.push_back(good.substr(0, i));
    for (const int byte : {0x00, 0xF7, 0xFF}) {
      hostile.push_back(good);
      hostile.back()[i] = static_cast<char>(byte);
    }
  }
  for (const std::string& bytes : hostile) {
    Put("bad.mid", bytes);
    const Outcome<SongMap> map = ReadMidiSong(Path("bad.mid"));
    if (!map) {
      EXPECT_EQ(map.earlyExit().exitCode, kFailed);
      continue;
    }
    const ComPtr<SongHost> song(new SongHost(*map));
    song->MsecsToTicks(song->TicksToMsecs(1000));
    song->MBTToTicks(5, 1, 0);
  }
}

}  // namespace
}  // namespace korva
