// Songs. The first byte says what follows: a MIDI file; the changes that a MIDI file told; or the answers of a host
// that says whatever it likes of its song.
#include <sys/mman.h>
#include <unistd.h>

#include "chorus/chorus_filter.h"
#include "host/song.h"
#include "input.h"
#include "support/owned.h"

namespace korva {
namespace {

constexpr LONG kLeast = std::numeric_limits<LONG>::min(), kMost = std::numeric_limits<LONG>::max();

/// Times go up with ticks, and back again to the same place.
void AskEverything(SongHost& song, Input& input) {
  LONG last = kLeast;
  std::vector<LONG> ticks{kLeast, -1, 0, 1, kMost};
  while (!input.empty() && ticks.size() < 40) ticks.push_back(input.Take<LONG>());
  std::sort(ticks.begin(), ticks.end());
  for (const LONG tick : ticks) {
    const LONG milliseconds = song.TicksToMsecs(tick);
    Require(milliseconds >= last, "time goes on with ticks");
    last = milliseconds;
    song.MsecsToTicks(tick);
    int measure = 0, beat = 0, rest = 0, bpm100 = 0, top = 0, power = 0;
    LONG at = 0;
    Require(song.TicksToMBT(tick, &measure, &beat, &rest) == S_OK, "every tick is somewhere");
    Require(measure >= 1 && beat >= 1 && rest >= 0, "measures and beats count from 1");
    song.MBTToTicks(measure, beat, rest);
    song.MBTToTicks(tick, beat, tick);
    const int tempo = song.GetTempoIndexForTime(tick), meter = song.GetMeterIndexForTime(tick);
    Require(song.GetTempoAt(tempo, &at, &bpm100) == S_OK && bpm100 > 0, "every tick has a tempo");
    Require(song.GetMeterAt(meter, &measure, &top, &power) == S_OK && top > 0, "every tick has a meter");
  }
}

/// An effect that follows the song, over `frames` frames at `rate`.
void Follow(CQvChorus& chorus, Input& input) {
  const auto rate = input.Take<std::uint32_t>() % 200000 + 1;
  if (chorus.FloatStart(1, rate) != S_OK) return;
  chorus.SetTempoSync(1);
  const auto synth = Query<IMfxSoftSynth>(chorus.GetOwner());
  synth->OnStart(input.Take<LONG>());
  std::vector<float> buffer(2000, 0.5F);
  for (int i = 0; i < 4; ++i) {
    Require(chorus.FloatProcess(buffer.data(), 1 + input.Take<std::uint8_t>(), 0) == S_OK, "the effect runs");
    if (input.TakeUpTo(1) != 0) synth->OnLoop(input.Take<LONG>(), input.Take<LONG>());
  }
  synth->OnStop(input.Take<LONG>());
  chorus.FloatStop();
}

void PlaySong(SongMap map, Input& input) {
  const ComPtr<SongHost> song(new SongHost(std::move(map)));
  AskEverything(*song.Get(), input);
  Owned<CQvChorus> chorus;
  Require(ConnectSong(chorus->GetOwner(), *song.Get()), "the chorus follows a song");
  Follow(*chorus, input);
  Query<IMfxSoftSynth>(chorus->GetOwner())->Disconnect();
}

Outcome<SongMap> ReadFile(Input& input) {
  const auto bytes = input.Rest();
  const int file = ::memfd_create("song.mid", 0);
  Require(file >= 0 && ::write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()), "a file");
  const Outcome<SongMap> song = ReadMidiSong("/proc/self/fd/" + std::to_string(file));
  ::close(file);
  return song;
}

/// What a file can hold: a division of 15 bits, 24 bits of microseconds, a byte of beats.
Outcome<SongMap> TakeChanges(Input& input) {
  const std::int32_t division = input.Take<std::uint16_t>() & 0x7FFF;
  std::vector<SongChange> changes(input.TakeUpTo(20));
  std::int32_t tick = 0;
  for (SongChange& change : changes) {
    const bool anywhere = input.TakeUpTo(7) == 0;
    tick = anywhere ? input.Take<std::int32_t>() : tick + input.Take<std::uint8_t>();
    change = {tick, input.Take<std::int32_t>() & 0xFFFFFF, input.Take<std::uint8_t>(), input.Take<std::int32_t>()};
    tick &= 0x3FFFFFFF;
  }
  return SongOfChanges("song", division, changes);
}

/// A host whose every answer is what comes next.
class AnySong final : public IMfxTempoMap, public IMfxMeterMap {
 public:
  explicit AnySong(Input& input) : input_(input) {}
  KORVA_STACK_UNKNOWN(IMfxTempoMap, IMfxMeterMap);

  LONG TicksToMsecs(LONG) override { return input_.Take<LONG>(); }
  LONG MsecsToTicks(LONG) override { return input_.Take<LONG>(); }
  int GetTicksPerQuarterNote() override { return input_.Take<int>(); }
  int GetTempoIndexForTime(LONG) override { return input_.Take<int>(); }
  int GetTempoCount() override { return input_.Take<std::int8_t>(); }
  HRESULT GetTempoAt(int, LONG* ticks, int* bpm100) override { return Answer(*ticks, *bpm100); }
  HRESULT TicksToMBT(LONG, int* measure, int* beat, int* ticks) override { return Answer(*measure, *beat, *ticks); }
  LONG MBTToTicks(int, int, int) override { return input_.Take<LONG>(); }
  int GetMeterIndexForTime(LONG) override { return input_.Take<int>(); }
  int GetMeterCount() override { return input_.Take<std::int8_t>(); }
  HRESULT GetMeterAt(int, int* measure, int* top, int* power) override { return Answer(*measure, *top, *power); }

 private:
  template <class... Values>
  HRESULT Answer(Values&... values) {
    if (input_.TakeUpTo(7) == 0) return E_FAIL;
    ((values = input_.Take<Values>()), ...);
    return S_OK;
  }

  Input& input_;
};

}  // namespace
}  // namespace korva

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace korva;
  Input input(data, size);
  const unsigned kind = input.TakeUpTo(7);
  if (kind == 0 || kind > 4) {
    AnySong song(input);
    song.AddRef();  // handed over
    {
      Owned<CQvChorus> chorus;
      const auto synth = Query<IMfxSoftSynth>(chorus->GetOwner());
      Require(synth->Connect(static_cast<IMfxTempoMap*>(&song)) == S_OK, "the chorus follows a song");
      Follow(*chorus, input);
      synth->Disconnect();
    }
    Require(song.references == 0, "every reference to the song was given back");
    return 0;
  }
  const Outcome<SongMap> map = kind == 1 ? ReadFile(input) : TakeChanges(input);
  if (map) PlaySong(*map, input);
  return 0;
}
