#include <cstring>

#include "api/korva.h"
#include "host/rig.h"

namespace korva {
namespace {

/// Frees itself.
struct Effect {
  explicit Effect(const char* name) : own(korva_create(name)) {}
  Effect(const Effect&) = delete;
  Effect& operator=(const Effect&) = delete;
  ~Effect() { korva_destroy(own); }
  korva_effect* own;
};

using Api = HostTest;

/// All of `in` through a stream, offered and taken in pieces of these sizes.
std::vector<float> Streamed(korva_effect* effect, std::uint32_t channels, const std::vector<float>& in,
                            std::uint32_t offer, std::uint32_t room) {
  std::vector<float> out, piece(std::size_t{room} * channels);
  EXPECT_EQ(korva_start_stream(effect, channels, 48000), KORVA_OK);
  std::int32_t ended = 0;
  const auto take = [&](const float* at, std::uint32_t& frames) {
    std::uint32_t written = room;
    EXPECT_EQ(korva_stream(effect, at, &frames, piece.data(), &written, &ended), KORVA_OK);
    out.insert(out.end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(std::size_t{written} * channels));
  };
  const auto frames = static_cast<std::uint32_t>(in.size() / channels);
  for (std::uint32_t at = 0; at < frames;) {
    std::uint32_t taken = std::min(offer, frames - at);
    take(in.data() + std::size_t{at} * channels, taken);
    at += taken;
  }
  for (int i = 0; ended == 0 && i < 100000; ++i) {
    std::uint32_t none = 0;
    take(nullptr, none);
  }
  EXPECT_EQ(korva_held_frames(effect), 0U);
  korva_stop(effect);
  return out;
}

TEST_F(Api, EveryPresetEqualsTheCommandWhateverTheBuffers) {
  const struct {
    int channels;
    bool quiet, all;  // all presets, or one for other kernels
  } cases[] = {{2, false, true}, {1, false, false}, {6, false, false}, {2, true, false}, {1, true, false}};
  for (const auto& [channels, quiet, all] : cases) {
    // A sound so quiet that processors count some of its numbers as too small to be normal.
    std::vector<float> in = FloatNoise(9000U * static_cast<unsigned>(channels));
    for (float& sample : in) sample *= quiet ? 1e-37F : 1;
    PutSamples("in.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, {in.begin(), in.end()}, channels);
    for (std::int32_t e = 0; e < korva_effect_count(); ++e) {
      for (std::int32_t preset = 0; preset < korva_preset_count(e); ++preset) {
        if (!all && preset != 2) continue;
        Render(std::string("@in.wav @out.wav ") + korva_effect_name(e) + " --preset " + std::to_string(preset));
        const std::vector<double> wanted = Read("out.wav").samples;
        Effect effect(korva_effect_name(e));
        ASSERT_EQ(korva_set_preset(effect.own, preset), KORVA_OK);
        const std::vector<float> given = Streamed(effect.own, static_cast<std::uint32_t>(channels), in, 701, 333);
        EXPECT_TRUE(std::equal(wanted.begin(), wanted.end(), given.begin(), given.end()))
            << korva_effect_name(e) << " preset " << preset << ", " << channels << " channels, " << quiet << ": "
            << wanted.size() << " samples and " << given.size();
      }
    }
  }
}

TEST_F(Api, AFixedLatencyGivesTheSameLater) {
  PutSound("in.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, 20000);
  Render("@in.wav @out.wav pitch-shift --set preserve-duration=on --set semitones=4 --keep-pace");
  const std::vector<double> read = Read("in.wav").samples, wanted = Read("out.wav").samples;
  Effect effect("pitch-shift");
  korva_set_by_name(effect.own, "preserve-duration", 1);
  korva_set_by_name(effect.own, "semitones", 4);
  ASSERT_EQ(korva_start(effect.own, 2, 48000), KORVA_OK);
  const std::size_t late = 2 * std::size_t{korva_latency(effect.own)};
  std::vector<float> audio(read.begin(), read.end());
  ASSERT_EQ(korva_process(effect.own, audio.data(), 20000), KORVA_OK);
  for (std::int32_t ended = 0; ended == 0;) {
    float tail[2 * 777];
    std::uint32_t frames = 777;
    ASSERT_EQ(korva_tail(effect.own, tail, &frames, &ended), KORVA_OK);
    audio.insert(audio.end(), tail, tail + 2 * std::size_t{frames});
  }
  ASSERT_EQ(audio.size(), wanted.size() + late);
  EXPECT_TRUE(std::equal(wanted.begin(), wanted.end(), audio.begin() + static_cast<std::ptrdiff_t>(late)));
}

TEST_F(Api, TellsWhatThereIsAndWhatIsWrong) {
  Effect chorus("chorus"), pitch("pitch-shift"), time("time-stretch");
  ASSERT_NE(chorus.own, nullptr);
  EXPECT_EQ(korva_create("flute"), nullptr);
  char name[64];
  EXPECT_EQ(korva_preset_name(0, 14, "de", name, sizeof name), 8U);
  EXPECT_EQ(std::strlen(name), 8U);
  EXPECT_EQ(korva_preset_name(0, 14, nullptr, name, 4), 8U);
  EXPECT_STREQ(name, "Cho");
  EXPECT_EQ(korva_find_preset(0, "Chorus 5"), 14);
  korva_row row{};
  row.size = sizeof row;
  const std::int32_t decay = korva_find_row(korva_find_effect("simple-delay"), "decay");
  ASSERT_EQ(korva_row_info(korva_find_effect("simple-delay"), decay, &row), KORVA_OK);
  EXPECT_STREQ(row.unit, "s");
  EXPECT_EQ(row.most, 20);

  float samples[64] = {};
  std::uint32_t frames = 4;
  std::int32_t ended = 0;
  double value = 0;
  const struct {
    const char* what;
    korva_result result, wanted;
  } cases[] = {
      {"null", korva_set(nullptr, 0, 0), KORVA_ERROR_ARGUMENT},
      {"size", (row.size = 1, korva_row_info(0, 0, &row)), KORVA_ERROR_ARGUMENT},
      {"row", korva_set_by_name(chorus.own, "colour", 1), KORVA_ERROR_NAME},
      {"row number", korva_set(chorus.own, 99, 1), KORVA_ERROR_NAME},
      {"range", korva_set_by_name(chorus.own, "mod-rate", 21), KORVA_ERROR_RANGE},
      {"no number", korva_set_by_name(chorus.own, "mod-rate", std::nan("")), KORVA_ERROR_RANGE},
      {"whole", korva_set_by_name(chorus.own, "chorus-size", 1.5), KORVA_ERROR_RANGE},
      {"the bound", korva_set_by_name(chorus.own, "mod-rate", 0.001), KORVA_OK},
      {"preset", korva_set_preset(chorus.own, 24), KORVA_ERROR_NAME},
      {"record", korva_load_record(chorus.own, samples, sizeof samples), KORVA_ERROR_RECORD},
      {"tempo", korva_set_tempo(chorus.own, 120, 6, 7), KORVA_ERROR_RANGE},
      {"not started", korva_process(chorus.own, samples, 4), KORVA_ERROR_STATE},
      {"channels", korva_start(chorus.own, 33, 48000), KORVA_ERROR_FORMAT},
      {"length", korva_start(time.own, 2, 48000), KORVA_ERROR_LENGTH},
      {"length too", korva_start(pitch.own, 2, 48000), KORVA_ERROR_LENGTH},
      {"started", korva_start(chorus.own, 2, 48000), KORVA_OK},
      {"twice", korva_start(chorus.own, 2, 48000), KORVA_ERROR_STATE},
      {"other kind", korva_stream(chorus.own, samples, &frames, samples, &frames, &ended), KORVA_ERROR_STATE},
      {"read back", korva_get_by_name(chorus.own, "mod-rate", &value), KORVA_OK},
  };
  for (const auto& one : cases) {
    EXPECT_EQ(one.result, one.wanted) << one.what;
    EXPECT_GT(std::strlen(korva_error_text(one.result)), 3U);
  }
  EXPECT_NEAR(value, 0.001, 1e-9);

  // A record says the same in both.
  std::vector<char> record(korva_record_size(chorus.own));
  ASSERT_EQ(korva_save_record(chorus.own, record.data(), record.size()), KORVA_OK);
  Put("own.state", {record.data(), record.size()});
  EXPECT_NE(Korva({"state", "@own.state"}).out.find("0.001 Hz"), std::string::npos);
}

TEST_F(Api, HoldsADamagedRecordToTheRanges) {
  constexpr std::size_t kHeader = 20;
  for (std::int32_t e = 0; e < korva_effect_count(); ++e) {
    for (const char byte : {'\x41', '\x80', '\xFF', '\x7F'}) {
      Effect effect(korva_effect_name(e));
      std::string record(korva_record_size(effect.own), byte);
      korva_save_record(effect.own, record.data(), record.size());
      record.replace(kHeader, record.npos, record.size() - kHeader, byte);
      ASSERT_EQ(korva_load_record(effect.own, record.data(), record.size()), KORVA_OK);
      for (std::int32_t r = 0; r < korva_row_count(e); ++r) {
        korva_row row{};
        row.size = sizeof row;
        korva_row_info(e, r, &row);
        double value = 0;
        korva_get(effect.own, r, &value);
        EXPECT_TRUE(value >= row.least - 1e-9 && value <= row.most + 1e-9) << row.name << " " << value;
      }
    }
  }
}

}  // namespace
}  // namespace korva
