#include <cstdio>
#include <sstream>

#include "contract/subject.h"
#include "frame/module_text.h"
#include "pitchtime/anti_alias.h"
#include "pitchtime/resampler.h"
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
class Digest {
 public:
  void Add(std::string_view bytes) {
    for (const char byte : bytes) value_ = (value_ ^ static_cast<std::uint8_t>(byte)) * 0x100000001B3;
  }
  /// Samples to 16 bits: finer than that the C library has a say.
  void Add(const std::vector<double>& samples) {
    for (const double x : samples) {
      const auto whole = static_cast<std::int32_t>(std::lround(std::clamp(x, -8.0, 8.0) * 32767));
      Add({reinterpret_cast<const char*>(&whole), 3});
    }
  }
  std::string Text() const {
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(value_));
    return text;
  }

 private:
  std::uint64_t value_ = 0xCBF29CE484222325;
};

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

void ExpectListing(const std::string& what, const std::string& listing, const char* expected) {
  Digest digest;
  digest.Add(listing);
  EXPECT_EQ(digest.Text(), expected) << what << ":\n" << listing;
}

struct Numbers {
  const char *effect, *rows, *presets, *sounds, *walks;
};

const Numbers kNumbers[] = {
    {"chorus", "a9fbde29723f802b", "2767e1c50e7bdcc0", "26b66faea51e3a99", "6db0ec187421e5c6"},
    {"reverb", "9c6455841f342cd7", "aabafa0a2baa41ba", "a9f5368b2da2c838", "8690abfc0a6d194d"},
    {"simple-delay", "757d1c0f7d8933ee", "6a3f736e99069689", "5ca7a504cb612e08", "da810a66bd05c12b"},
    {"multi-tap-delay", "cc7f27714f1ca166", "babfc794d0e9589c", "bb6507e0e58de001", "4bc796743bd94fe1"},
    {"pitch-shift", "9ebc2a3f7b3c8e50", "35d0bf4c3ebe103b", "fa6337a162891c5f", "34b31f59b896bbcd"},
    {"time-stretch", "b2db35b03241ca91", "aa946f76120ca4b7", "e0352591b4eea580", "df86f5d4b66ed2e1"},
};

const Numbers& NumbersOf(const EffectDescription& effect) {
  return *std::find_if(std::begin(kNumbers), std::end(kNumbers),
                       [&](const Numbers& numbers) { return effect.name == std::string(numbers.effect); });
}

TEST_P(Contract, RowsAndTheirTextsAreThoseOfTheTable) {
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
  ExpectListing(effect().name, listing.Text(), NumbersOf(effect()).rows);
}

TEST_P(Contract, PresetsAreThoseOfTheTable) {
  QvLang_UpdateLCID(ModuleLanguage(), 1033, 0, 0);
  Listing listing;
  for (LONG preset = 0; preset < effect().presets.count(); ++preset) {
    WCHAR name[260];
    EXPECT_EQ(Make().presets->GetPresetName(preset, name), S_OK);
    listing.Line(platform::ToUtf8(name));
    for (const ParamDescriptor& row : effect().rows) listing.Put(FieldOf(row, effect().presets.Block(preset)));
    listing.Line();
  }
  ExpectListing(effect().name, listing.Text(), NumbersOf(effect()).presets);
}

TEST(Digest, TablesOfTheEnginesAreAsTheyWereTuned) {
  Listing modes, styles, stretch, weights, filter;
  for (const ReverbModeRow& row : kReverbModeTable) modes.Line(row.delayMs, row.combCount);
  for (const EarlyStyleRow& row : kEarlyStyleTable) styles.Line(row.tapMs, row.gainPercent, row.pan);
  for (const StretchMode& row : StretchModeTable) {
    stretch.Line(row.blockMs, row.reservedA, row.searchMs, row.searchStepBase, row.fadeMs, row.reservedB,
                 row.matchPercent, row.reservedC, row.reservedD, row.reservedE);
  }
  // What is worked out, and not written down, is heard: an impulse through the interpolators and the filter.
  for (const std::int32_t accuracy : {1, 2, 3}) {
    Resampler resampler;
    ASSERT_EQ(resampler.Configure(accuracy, 1), 0);
    resampler.SetKernels(SampleFormat::kFloat64, SampleFormat::kFloat64);
    resampler.SetRatio(0.171875);
    std::vector<double> in(40), out(200);
    in[16] = 1;
    auto taken = static_cast<std::uint32_t>(in.size()), made = static_cast<std::uint32_t>(out.size());
    resampler.ResamplePitch(in.data(), taken, out.data(), made);
    weights.Line(accuracy, made);
    for (const double x : out) weights.Put(std::round(x * 1e7));
  }
  for (const double cutoff : {0.05, 0.25, 0.45}) {
    AntiAliasFilter antiAlias;
    antiAlias.DesignAntiAlias(cutoff);
    std::vector<double> samples(100);
    samples[0] = 1;
    antiAlias.FilterInPlace(SampleFormat::kFloat64, samples.data(), 1, samples.size());
    for (const double x : samples) filter.Put(std::round(x * 1e7));
  }
  ExpectListing("modes of the reverb", modes.Text(), "3cac1a199915fbe8");
  ExpectListing("early reflections", styles.Text(), "cda863dc6ec50775");
  ExpectListing("modes of the stretch", stretch.Text(), "ae4ed021b5788059");
  ExpectListing("weights of the interpolators", weights.Text(), "7c2d3cdc4b5144dd");
  ExpectListing("filter for aliases", filter.Text(), "83c39b8037e02622");
}

TEST_P(Contract, PresetsSoundAsTheyDid) {
  Digest digest;
  for (LONG preset = 0; preset < effect().presets.count(); ++preset) {
    for (const std::uint16_t channels : {std::uint16_t{1}, std::uint16_t{2}, std::uint16_t{3}}) {
      const FormatRecord format = MakeFormat(SampleFormat::kPcm16, channels, 22050);
      const Instance made = Make();
      made.presets->SetPreset(preset);
      TestGraph graph(*made.filter, format);
      ASSERT_EQ(graph.Start(), S_OK);
      EXPECT_EQ(graph.SendAll(NoiseBytes(format, 24000, 0.4), 3000), S_OK);
      digest.Add(Decode(format, graph.sink->pin.received));
    }
  }
  EXPECT_EQ(digest.Text(), NumbersOf(effect()).sounds);
}

// Streams of any rate and shape with changes of every kind on the way.
TEST_P(Contract, ChangesOnTheWaySoundAsTheyDid) {
  std::mt19937 random(1);
  Digest digest;
  for (int walk = 0; walk < 60; ++walk) {
    const std::uint32_t rates[] = {1, 3000, 8000, 11025, 44100};
    const std::uint16_t channelCounts[] = {1, 2, 3, 6};
    const std::uint32_t rate = rates[random() % 5];
    const FormatRecord format = MakeFormat(kAllFormats[random() % 5], channelCounts[random() % 4], rate);
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
        MP_ENVELOPE_SEGMENT ramp{graph.TimeOf(at),
                                 graph.TimeOf(at + 2000),
                                 shown,
                                 r.info.mpdNeutralValue,
                                 ramps ? MP_CURVE_LINEAR : MP_CURVE_JUMP,
                                 0};
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
      digest.Add(Decode(format, graph.sink->pin.received));
    }
    if (synth) synth->Disconnect();
  }
  EXPECT_EQ(digest.Text(), NumbersOf(effect()).walks);
}

}  // namespace
}  // namespace korva
