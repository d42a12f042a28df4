#include "host/song.h"

#include "rig.h"

namespace korva {
namespace {

using MidiSong = HostTest;

// 120 bpm for one quarter, then 60; a measure of 4/4 cut short by 6/8 at its third quarter.
const std::string kSong =
    MidiFile(MidiTempo(0, 500000) + MidiMeter(0, 4, 2) + MidiTempo(96, 1000000) + MidiMeter(96, 6, 3));

TEST_F(MidiSong, TimesAndMeasuresFollowTheEvents) {
  Put("song.mid", kSong);
  const Outcome<SongMap> map = ReadMidiSong(Path("song.mid"));
  ASSERT_TRUE(map);
  const ComPtr<SongHost> song(new SongHost(*map));
  for (const auto& [tick, msec] : {std::pair<LONG, LONG>{0, 0}, {48, 250}, {96, 500}, {192, 1500}, {9600, 99500}}) {
    EXPECT_EQ(song->TicksToMsecs(tick), msec);
    EXPECT_EQ(song->MsecsToTicks(msec), tick);
  }
  EXPECT_EQ(song->GetTempoIndexForTime(95), 0);
  EXPECT_EQ(song->GetTempoIndexForTime(96), 1);
  LONG tick = 0;
  int bpm100 = 0, measure = 0, top = 0, power = 0, beat = 0, rest = 0;
  EXPECT_EQ(song->GetTempoAt(1, &tick, &bpm100), S_OK);
  EXPECT_EQ(bpm100, 6000);
  EXPECT_EQ(song->GetTempoAt(2, &tick, &bpm100), E_INVALIDARG);
  EXPECT_EQ(song->GetMeterAt(1, &measure, &top, &power), S_OK);
  EXPECT_EQ(std::tuple(measure, top, power), std::tuple(2, 6, 3));
  EXPECT_EQ(song->MBTToTicks(2, 1, 0), 192) << "a new meter begins a measure";
  EXPECT_EQ(song->MBTToTicks(3, 2, 5), 192 + 7 * 48 + 5);
  EXPECT_EQ(song->TicksToMBT(192 + 7 * 48 + 5, &measure, &beat, &rest), S_OK);
  EXPECT_EQ(std::tuple(measure, beat, rest), std::tuple(3, 2, 5));
}

}  // namespace
}  // namespace korva
