#include <map>
#include <sstream>

#include "contract/subject.h"
#include "frame/module_text.h"
#include "pitchtime/stretch_modes.h"
#include "platform/wide_text.h"
#include "qvkit/language.h"
#include "reverb/reverb_tables.h"
#include "support/test_song.h"

// Every value of every table, and every sample of fixed streams, as numbers of their own: a typing error in a table or
// a change of the sound shows here, whatever else still agrees with itself. A table that is meant to change is read in
// the listing that a failure prints; then the new number goes in.
namespace korva {
namespace {

/// Fowler, Noll and Vo's hash, 64 bits.
std::string DigestOf(std::string_view bytes) {
  std::uint64_t value = 0xCBF29CE484222325;
  for (const char byte : bytes) value = (value ^ static_cast<std::uint8_t>(byte)) * 0x100000001B3;
  std::ostringstream text;
  text << std::hex << value;
  return text.str();
}

/// Samples to 16 bits: finer than that the C library has a say.
void Append(std::string& sound, const std::vector<double>& samples) {
  for (const double x : samples) {
    const auto whole = static_cast<std::int32_t>(std::lround(std::clamp(x, -8.0, 8.0) * 32767));
    sound.append(reinterpret_cast<const char*>(&whole), 3);
  }
}

/// A listing: values with a blank between, lines with an end.
class Listing {
 public:
  Listing() { text_.precision(9); }
  template <class... Values>
  void Line(const Values&... values) {
    (Put(values), ...);
    text_ << '\n';
  }
  template <class Value>
  void Put(const Value& value) {
    if constexpr (std::is_convertible_v<Value, double>) {
      text_ << static_cast<double>(value) << ' ';
    } else if constexpr (std::is_convertible_v<Value, std::string>) {
      text_ << value << ' ';
    } else if constexpr (std::is_same_v<Value, GUID>) {
      Put(reinterpret_cast<const std::uint8_t(&)[16]>(value));
    } else {
      for (const auto each : value) Put(each);
    }
  }
  std::string Text() const { return text_.str(); }

 private:
  std::ostringstream text_;
};

void ExpectListing(const std::string& what, const Listing& listing, const std::string& expected) {
  EXPECT_EQ(DigestOf(listing.Text()), expected) << what << ":\n" << listing.Text();
}

struct Digests {
  std::string table, sounds, walks;
};

const Digests& DigestsOf(const EffectDescription& effect) {
  static const std::map<std::string, Digests> digests = {
      {"chorus", {"fe73580f11b9c786", "26b66faea51e3a99", "6db0ec187421e5c6"}},
      {"reverb", {"a47a227698ce52b8", "a9f5368b2da2c838", "8690abfc0a6d194d"}},
      {"simple-delay", {"d1400d6c3d6de328", "5ca7a504cb612e08", "da810a66bd05c12b"}},
      {"multi-tap-delay", {"4abf215cc191b905", "bb6507e0e58de001", "4bc796743bd94fe1"}},
      {"pitch-shift", {"269792e26569f46c", "fa6337a162891c5f", "34b31f59b896bbcd"}},
      {"time-stretch", {"a16191dcf66d745b", "e0352591b4eea580", "df86f5d4b66ed2e1"}},
  };
  return digests.at(effect.name);
}

TEST_P(Contract, RowsTextsAndPresetsAreThoseOfTheTable) {
  QvLang_UpdateLCID(ModuleLanguage(), 1033, 0, 0);
  const Instance made = Make();
  const auto info = Query<IMediaParamInfo>(made.object.Get());
  Listing listing;
  listing.Line(platform::ToUtf8(effect().className), platform::ToUtf8(effect().displayName), effect().filterClass,
               effect().pageClass, effect().blockSize);
  for (const RecordForm& form : effect().forms) listing.Line(form.size, form.id, form.bodySize);
  for (std::size_t i = 0; i < effect().rows.size(); ++i) {
    const ParamDescriptor& row = effect().rows[i];
    listing.Line(row.name, row.unit, row.commandFactor, row.info.mpType, row.info.mopCaps, row.info.mpdMinValue,
                 row.info.mpdMaxValue, row.info.mpdNeutralValue, row.externalMin, row.externalMax,
                 static_cast<int>(row.storage), row.blockOffset, row.changeBit, row.buildsLine, row.followsTempo,
                 FieldOf(row, effect().recordStart));
    const std::int32_t choices = row.firstNameId >= 0 ? row.externalMax - row.externalMin + 1 : 0;
    for (std::int32_t n = 0; n < choices; ++n) {
      listing.Line(platform::ToUtf8(ModuleText(row.firstNameId + n)));
    }
    if (row.enumId >= 0) listing.Line(platform::ToUtf8(ModuleText(row.enumId)));
    MP_PARAMINFO told{};
    if (!info) continue;
    EXPECT_EQ(info->GetParamInfo(static_cast<DWORD>(i), &told), S_OK);
    listing.Line(platform::ToUtf8(told.szLabel), platform::ToUtf8(told.szUnitText));
  }
  for (LONG preset = 0; preset < effect().presets.count(); ++preset) {
    WCHAR name[260];
    EXPECT_EQ(made.presets->GetPresetName(preset, name), S_OK);
    listing.Line(platform::ToUtf8(name));
    for (const ParamDescriptor& row : effect().rows) listing.Put(FieldOf(row, effect().presets.Block(preset)));
    listing.Line();
  }
  ExpectListing(effect().name, listing, DigestsOf(effect()).table);
}

TEST(Digest, TablesOfTheEnginesAreAsTheyWereTuned) {
  Listing modes, styles, stretch;
  for (const ReverbModeRow& row : kReverbModeTable) modes.Line(row.delayMs, row.combCount);
  for (const EarlyStyleRow& row : kEarlyStyleTable) styles.Line(row.tapMs, row.gainPercent, row.pan);
  for (const StretchMode& row : StretchModeTable) {
    stretch.Line(row.blockMs, row.reservedA, row.searchMs, row.searchStepBase, row.fadeMs, row.reservedB,
                 row.matchPercent, row.reservedC, row.reservedD, row.reservedE);
  }
  ExpectListing("modes of the reverb", modes, "3cac1a199915fbe8");
  ExpectListing("early reflections", styles, "cda863dc6ec50775");
  ExpectListing("modes of the stretch", stretch, "ae4ed021b5788059");
}

TEST_P(Contract, PresetsSoundAsTheyDid) {
  std::string sound;
  for (LONG preset = 0; preset < effect().presets.count(); ++preset) {
    for (const std::uint16_t channels : {std::uint16_t{1}, std::uint16_t{2}, std::uint16_t{3}}) {
      const FormatRecord format = MakeFormat(SampleFormat::kPcm16, channels, 22050);
      const Instance made = Make();
      made.presets->SetPreset(preset);
      TestGraph graph(*made.filter, format);
      ASSERT_EQ(graph.Start(), S_OK);
      EXPECT_EQ(graph.SendAll(NoiseBytes(format, 24000, 0.4), 3000), S_OK);
      Append(sound, Decode(format, graph.sink->pin.received));
    }
  }
  EXPECT_EQ(DigestOf(sound), DigestsOf(effect()).sounds);
}

// Streams of any rate and shape with changes of every kind on the way.
TEST_P(Contract, ChangesOnTheWaySoundAsTheyDid) {
  std::mt19937 random(1);
  std::string sound;
  for (int walk = 0; walk < 60; ++walk) {
    const std::uint32_t rates[] = {1, 3000, 8000, 11025, 44100};
    const std::uint16_t channelCounts[] = {1, 2, 3, 6};
    const std::uint32_t rate = rates[random() % 5];
    // Drawn one by one: compilers disagree on the order of arguments.
    const std::uint16_t channels = channelCounts[random() % 4];
    const FormatRecord format = MakeFormat(kAllFormats[random() % 5], channels, rate);
    const Instance made = Make();
    Bytes block = made.Block();
    // A song whose tempo and meter change on the way.
    TestSong song({{0, 12000}, {480, 5000 + static_cast<int>(random() % 20000)}}, {{1, 3, 3}, {2, 6, 3}}, rate);
    const auto synth = Query<IMfxSoftSynth>(made.object.Get());
    if (synth && random() % 2 == 0) {
      EXPECT_EQ(song.ConnectTo(*synth.Get()), S_OK);
      synth->OnStart(0);
    }
    {
      TestGraph graph(*made.filter, format, {1500});
      ASSERT_EQ(graph.Start(), S_OK);
      std::size_t at = 0;
      for (int buffer = 0; buffer < 12; ++buffer) {
        Shuffle(effect(), block.data(), random);
        const std::size_t row = random() % effect().rows.size();
        const auto index = static_cast<DWORD>(row);
        const ParamDescriptor& r = effect().rows[row];
        const float shown = ToTableUnits(r, static_cast<std::int32_t>(FieldOf(r, block.data())));
        const bool ramps = (r.info.mopCaps & MP_CAPS_CURVE_LINEAR) != 0;
        const MP_CURVE_TYPE curve = ramps ? MP_CURVE_LINEAR : MP_CURVE_JUMP;
        MP_ENVELOPE_SEGMENT ramp{graph.TimeOf(at), graph.TimeOf(at + 2000), shown, r.info.mpdNeutralValue, curve, 0};
        const auto what = random() % 8;
        if (what == 0) made.parameters->WriteBlock(block.data());
        if (what == 2 && made.automation) made.automation->SetParam(index, shown);
        if (what == 3 && made.automation) made.automation->AddEnvelope(index, 1, &ramp);
        if (what == 4 && made.inPlace != nullptr) made.inPlace->FloatReset(random() % 2);
        if (what >= 6) made.parameters->WriteRow(row, block.data());
        const bool tailOnly = what == 5 && made.inPlace != nullptr && random() % 4 == 0;
        const std::size_t frames = 1 + random() % 1500;
        const Bytes noise = NoiseBytes(format, frames, 0.5, static_cast<std::uint32_t>(random() % 1000));
        EXPECT_EQ(graph.Send(noise, {graph.TimeOf(at), buffer == 0 || what == 1, tailOnly}), S_OK);
        at += frames;
      }
      Append(sound, Decode(format, graph.sink->pin.received));
    }
    if (synth) synth->Disconnect();
  }
  EXPECT_EQ(DigestOf(sound), DigestsOf(effect()).walks);
}

}  // namespace
}  // namespace korva
