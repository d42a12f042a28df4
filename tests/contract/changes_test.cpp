#include "contract/subject.h"

// What a change does to what an effect holds, by each way that a change can come.
namespace korva {
namespace {

/// One letter a row, in table order, after the row was moved by a step: '=' the old sound goes on as if nothing had
/// been changed, '~' it goes on otherwise, '-' it is gone. After the rows: all values set to what they are, an edit
/// that ends, a reset, a reset with a rewind.
struct Letters {
  const char *effect, *settings;
  const char *setter, *direct, *host, *automation;  // the last two for effects with automation
};

// Nothing dry, everything at full level: what is heard in the silence after noise is what the effect held. Noise after
// noise is heard for the rest.
const Letters kLetters[] = {
    {"chorus",
     "dry-out=-600 chorus-out=0 chorus-size=1 delay=500 mod-rate=2000 mod-depth=50 feedback=50 attenuation-hz=1000",
     "~~~~~~~~=~~~-=== -==-", "~~~~~~~~=~~~-=== -==-", "~~=~=~~~=~~~-=== ", "~~=~=~~~=~~~-=== "},
    {"reverb",
     "dry-out=-800 reverb-out=0 early-out=-800 reverb-mode=2 decay=10 pre-delay=50 bass-on=0 high-on=0 high-hz=2000",
     "=~~=~=~=~~~- ====", "-~--~=~=~~~- -===", "=~~=~=~=~~~- ", "-~~-~=~=~~~- "},
    {"simple-delay", "multiple-delays=0 delay=100 decay=10 delay-out=0 dry-out=-800", "-=~~~-====== ===-",
     "-=~~~-====== ===-", "-=~~~-====== ", "-=~~~-====== "},
    // A second tap, which is not heard, makes the line long enough for a tap that moves.
    {"multi-tap-delay",
     "tap-delay-1=100 tap-delay-2=160 tap-gain-2=0 tap-count=2 dry-out=-800 wet-out=-10 low-pass-hz=1000",
     "~-~~~~~~~~~~~~~~~~~~~~~~~~~~~~=-=== ~==-", "~-~~~~~~~~~~~~~~~~~~~~~~~~~~~~=-=== ~==-", "", ""},
};

enum Way { kSetter, kDirect, kHost, kAutomation };

constexpr std::size_t kFrames = 1500;
const FormatRecord kFormat = MakeFormat(SampleFormat::kFloat32, 1, 8000);

/// What is heard of `next` after noise and a change.
Bytes After(const Instance& made, Way way, Bytes next, const std::function<void(const Instance&)>& change) {
  Bytes noise = NoiseBytes(kFormat, kFrames);
  if (way == kDirect) {
    EXPECT_EQ(made.inPlace->FloatStart(1, 8000), S_OK);
    made.inPlace->FloatProcess(reinterpret_cast<float*>(noise.data()), kFrames, 0);
    change(made);
    made.inPlace->FloatProcess(reinterpret_cast<float*>(next.data()), kFrames, 0);
    made.inPlace->FloatStop();
    return next;
  }
  TestGraph graph(*made.filter, kFormat, {kFrames});
  EXPECT_EQ(graph.Start(), S_OK);
  EXPECT_EQ(graph.Send(noise, {0, true, false}), S_OK);
  change(made);
  graph.sink->pin.received.clear();
  EXPECT_EQ(graph.Send(next, {graph.TimeOf(kFrames), false, false}), S_OK);
  return graph.sink->pin.received;
}

TEST_P(Contract, AChangeKeepsMovesOrDropsWhatIsHeld) {
  for (const Letters& letters : kLetters) {
    if (effect().name != std::string(letters.effect)) continue;
    const char* const expected[] = {letters.setter, letters.direct, letters.host, letters.automation};
    for (const Way way : {kSetter, kDirect, kHost, kAutomation}) {
      if ((way == kDirect && !InPlace()) || (way >= kHost && !Make().automation)) continue;
      const Bytes silence(kFrames * 4), noise = NoiseBytes(kFormat, kFrames, 0.5, 7);
      const Bytes unchanged = After(Make(letters.settings), way, noise, [](const Instance&) {});
      const auto letter = [&](const std::function<void(const Instance&)>& change) {
        if (After(Make(letters.settings), way, silence, change) == silence) return '-';
        return After(Make(letters.settings), way, noise, change) == unchanged ? '=' : '~';
      };
      std::string heard;
      for (std::size_t row = 0; row < effect().rows.size(); ++row) {
        const ParamDescriptor& r = effect().rows[row];
        heard += letter([&](const Instance& made) {
          Bytes block = made.Block();
          const double value = FieldOf(r, block.data());
          const double step = std::max(1, (r.externalMax - r.externalMin) / 50);
          const double moved = value + step <= r.externalMax ? value + step : value - step;
          PutField(r, block.data(), moved);
          if (way == kSetter || way == kDirect) return made.parameters->WriteRow(row, block.data());
          const float shown = ToTableUnits(r, static_cast<std::int32_t>(moved));
          if (way == kHost) return made.automation->SetParam(static_cast<DWORD>(row), shown);
          MP_ENVELOPE_SEGMENT jump{0, 1 << 30, shown, shown, MP_CURVE_JUMP, 0};
          return made.automation->AddEnvelope(static_cast<DWORD>(row), 1, &jump);
        });
      }
      heard += ' ';
      if (way == kSetter || way == kDirect) {
        heard += letter([](const Instance& made) { return made.parameters->WriteBlock(made.Block().data()); });
        heard += letter([](const Instance& made) {
          return made.automation ? CallSlot(made.property.Get(), 10) : S_OK;  // an edit that ends, with nothing moved
        });
        heard += letter([](const Instance& made) { return made.inPlace != nullptr ? made.inPlace->FloatReset(0) : 0; });
        heard += letter([](const Instance& made) { return made.inPlace != nullptr ? made.inPlace->FloatReset(1) : 0; });
      }
      EXPECT_EQ(heard, expected[way]) << "way " << way;
    }
  }
}

}  // namespace
}  // namespace korva
