#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>
#include <vector>

#include "frame/in_place_filter.h"
#include "frame/row_values.h"
#include "live/live_effect.h"
#include "pitchtime/stretch_filter.h"
#include "support/signals.h"

namespace korva {
namespace {

// Lines that come out of a reserve must read as silence where those fresh from the system do.
TEST(Live, ReservedMemoryChangesNoSample) {
  for (const EffectKind& kind : EffectKinds()) {
    for (const std::uint16_t channels : {std::uint16_t{1}, std::uint16_t{2}, std::uint16_t{3}}) {
      std::vector<float> results[2];
      for (const bool reserve : {false, true}) {
        const EffectInstance effect = kind.create();
        if (effect.inPlace == nullptr) continue;
        effect.inPlace->ReserveForRows(reserve);
        ASSERT_EQ(effect.inPlace->FloatStart(channels, 16000), S_OK);
        std::minstd_rand random(5);
        std::vector<float> audio = FloatNoise(std::size_t{channels} * 400 * 311);
        LiveBlock block;
        effect.parameters->ReadBlock(block.data());
        for (std::size_t buffer = 0; buffer < 400; ++buffer) {
          const auto row = random() % kind.description.rows.size();
          const MP_PARAMINFO& range = kind.description.rows[row].info;
          const auto least = static_cast<double>(range.mpdMinValue), most = static_cast<double>(range.mpdMaxValue);
          StoreDisplayValue(kind.description.rows[row], block.data(),
                            std::floor(least + (most - least) * static_cast<double>(random() % 1001) / 1000));
          if (std::string_view(kind.description.rows[row].name) == "bypass") continue;
          if (buffer % 3 == 0) effect.parameters->WriteRow(row, block.data());
          effect.inPlace->FloatProcess(audio.data() + buffer * 311 * channels, 311, 0);
        }
        effect.inPlace->FloatStop();
        results[reserve ? 1 : 0] = std::move(audio);
      }
      EXPECT_TRUE(results[0] == results[1]) << kind.description.name << " " << channels;
    }
  }
}

const EffectKind& Kind(std::string_view name) {
  return *std::find_if(EffectKinds().begin(), EffectKinds().end(),
                       [&](const EffectKind& kind) { return name == kind.description.name; });
}

std::size_t Row(const EffectKind& kind, std::string_view name) {
  std::size_t row = 0;
  while (row < kind.description.rows.size() && name != kind.description.rows[row].name) ++row;
  return row;
}

TEST(Live, OutputHangsNeitherOnBuffersNorOnTheOrderOfWhatWasSetBefore) {
  for (const EffectKind& kind : EffectKinds()) {
    std::vector<std::vector<float>> results;
    for (const std::size_t frames : {64U, 1U, 1000U}) {
      LiveEffect effect(kind);
      const auto set = [&] {
        effect.ApplyPreset(2);
        effect.Set(Row(kind, "preserve-duration"), 1);
      };
      set();
      if (effect.Start(LiveEffect::Use::kFixedLatency, 2, 44100) != LiveResult::kDone) {
        EXPECT_EQ(kind.description.name, std::string_view("time-stretch"));
        continue;
      }
      // From the second time on what was set before the first buffer is set after the start.
      if (frames != 64) effect.ApplyPreset(0), set();
      std::vector<float> audio = FloatNoise(2 * 40000);
      const std::size_t gain = kind.description.rows.size() > 10 ? Row(kind, "dry-out") : Row(kind, "semitones");
      for (std::size_t at = 0; at < 40000;) {
        if (at == 16000) effect.Set(gain, -3);
        if (at == 24000) effect.SetEnabled(false);
        if (at == 32000) effect.SetEnabled(true);
        const std::size_t run = std::min(frames, 8000 - at % 8000);
        ASSERT_EQ(effect.Process(audio.data() + 2 * at, static_cast<std::uint32_t>(run)), LiveResult::kDone);
        at += run;
      }
      results.push_back(std::move(audio));
    }
    for (const auto& result : results) EXPECT_TRUE(result == results[0]) << kind.description.name;
  }
}

// A knob that jumped would step by as much as the signal is high; a switch of the effect too.
TEST(Live, KnobsGlideAndTheSwitchFades) {
  for (const bool knob : {true, false}) {
    const EffectKind& kind = Kind("chorus");
    LiveEffect effect(kind);
    effect.Set(Row(kind, "chorus-out"), -60);
    ASSERT_EQ(effect.Start(LiveEffect::Use::kFixedLatency, 1, 48000), LiveResult::kDone);
    std::vector<float> audio(9600, 0.5F);
    effect.Process(audio.data(), 4800);
    knob ? static_cast<void>(effect.Set(Row(kind, "dry-out"), -60)) : effect.SetEnabled(false);
    effect.Process(audio.data() + 4800, 4800);
    EXPECT_NEAR(audio[9599], knob ? 0 : 0.5, 1e-6);
    EXPECT_NEAR(audio[4799], 0.5 * std::pow(10, -0.3), 1e-4);
    float step = 0;
    for (std::size_t i = 1; i < audio.size(); ++i) step = std::max(step, std::abs(audio[i] - audio[i - 1]));
    EXPECT_LT(step, knob ? 0.08F : 0.001F);
  }
}

TEST(Live, ARaisedPitchNeverRunsDry) {
  const EffectKind& kind = Kind("pitch-shift");
  for (const double cents : {-700.0, -10.0, 10.0, 100.0, 700.0, 1300.0}) {
    LiveEffect effect(kind);
    const double semitones = std::min(std::trunc(cents / 100), 12.0);
    effect.Set(Row(kind, "preserve-duration"), 1);
    effect.Set(Row(kind, "mode"), 6);
    effect.Set(Row(kind, "semitones"), semitones);
    effect.Set(Row(kind, "cents"), cents - 100 * semitones);
    ASSERT_EQ(effect.Start(LiveEffect::Use::kFixedLatency, 1, 8000), LiveResult::kDone);
    const std::uint32_t latency = effect.latency();
    std::vector<float> audio(8000);
    for (int second = 0; second < 600; ++second) {
      for (std::size_t i = 0; i < audio.size(); ++i) audio[i] = 0.5F * std::sin(static_cast<float>(i) * 0.31415927F);
      ASSERT_EQ(effect.Process(audio.data(), 8000), LiveResult::kDone);
      EXPECT_EQ(effect.latency(), latency);
      for (std::size_t i = 0; second > 1 && i + 80 <= audio.size(); i += 20) {
        ASSERT_GT(*std::max_element(&audio[i], &audio[i] + 80), 0.2F) << cents << " " << second;
      }
    }
  }
}

// What was set, told or still gliding before holds from the first frame on, and nothing rings over.
TEST(Live, AResetAndANewStartAreAsTheFirst) {
  constexpr std::uint32_t kFrames = 20000;
  const auto prepare = [](LiveEffect& effect, const EffectKind& kind) {
    for (const char* name : {"tempo-sync", "tempo-sync-delay", "preserve-duration"}) effect.Set(Row(kind, name), 1);
    effect.SetTempo(60, 4, 4);
    return effect.Start(LiveEffect::Use::kFixedLatency, 2, 8000);
  };
  for (const EffectKind& kind : EffectKinds()) {
    const std::size_t knob = kind.description.rows.size() > 10 ? Row(kind, "dry-out") : Row(kind, "semitones");
    std::vector<float> wanted = FloatNoise(2 * kFrames);
    LiveEffect first(kind);
    if (prepare(first, kind) != LiveResult::kDone) continue;
    first.Set(knob, -3);
    ASSERT_EQ(first.Process(wanted.data(), kFrames), LiveResult::kDone);
    for (const auto& [stop, glides] : {std::pair(true, true), {true, false}, {false, true}, {false, false}}) {
      LiveEffect effect(kind);
      ASSERT_EQ(prepare(effect, kind), LiveResult::kDone);
      std::vector<float> audio = FloatNoise(2 * kFrames + 2 * 50);
      effect.Process(audio.data(), kFrames);
      effect.Set(knob, -3);
      if (glides) effect.Process(audio.data(), 50);
      if (stop) {
        effect.Stop();
        ASSERT_EQ(effect.Start(LiveEffect::Use::kFixedLatency, 2, 8000), LiveResult::kDone);
      } else {
        FailAllocationsAfter(0);
        effect.Rewind();
      }
      audio = FloatNoise(2 * kFrames);
      effect.Process(audio.data(), kFrames);
      FailAllocationsAfter(-1);
      EXPECT_TRUE(audio == wanted) << kind.description.name << (stop ? " started" : " reset") << glides;
    }
  }
}

// The input that is still held back comes as it was, and nothing after it.
TEST(Live, AnEffectThatIsNotHeardHasNoTail) {
  constexpr std::uint32_t kFrames = 30000;
  for (const EffectKind& kind : EffectKinds()) {
    for (const std::uint32_t heardFrames : {0U, kFrames / 2, kFrames - 20}) {
      LiveEffect effect(kind);
      effect.Set(Row(kind, "preserve-duration"), 1);
      effect.Set(Row(kind, "semitones"), 5);
      if (effect.Start(LiveEffect::Use::kFixedLatency, 1, 8000) != LiveResult::kDone) continue;
      const std::vector<float> in = FloatNoise(kFrames);
      std::vector<float> audio = in, tail(kFrames, 9);
      effect.Process(audio.data(), heardFrames);
      if (heardFrames == kFrames / 2) effect.Set(Row(kind, "mode"), 6);  // blocks of another length
      effect.SetEnabled(false);
      effect.Process(audio.data() + heardFrames, kFrames - heardFrames);
      EXPECT_TRUE(heardFrames != 0 || effect.latency() != 0 || audio == in) << "off before the first frame";
      bool ended = false;
      std::uint32_t length = 0;
      for (int i = 0; !ended && i < 100; ++i) {
        std::uint32_t frames = 300;
        ASSERT_EQ(effect.Tail(tail.data() + length, frames, ended), LiveResult::kDone);
        length += frames;
      }
      // The fade of 80 frames may reach into it.
      const std::uint32_t faded = heardFrames == kFrames - 20 ? 60 : 0;
      if (effect.latency() == 0 && faded != 0) continue;
      ASSERT_EQ(length, effect.latency()) << kind.description.name;
      EXPECT_TRUE(std::equal(in.end() - length + faded, in.end(), tail.begin() + faded)) << kind.description.name;
    }
  }
}

// What the thread sanitizer looks at: any thread may set, ask and load while another processes.
TEST(Live, ParametersMayComeFromAnyThread) {
  for (const char* name : {"chorus", "pitch-shift"}) {
    const EffectKind& kind = Kind(name);
    LiveEffect effect(kind);
    effect.Set(Row(kind, "preserve-duration"), 1);
    ASSERT_EQ(effect.Start(LiveEffect::Use::kFixedLatency, 2, 8000), LiveResult::kDone);
    std::atomic<bool> over{false};
    std::thread other([&] {
      std::vector<std::byte> record(effect.recordSize());
      for (int i = 0; !over.load(); ++i) {
        for (std::size_t row = 0; row < kind.description.rows.size(); ++row) {
          double value = 0;
          effect.Get(row, value);
          effect.Set(row, value == 1 ? 2 : 1);
        }
        effect.SaveRecord(record);
        effect.LoadRecord(record);
        effect.ApplyPreset(i % 2);
        effect.SetTempo(60 + i % 100, 4, 4);
        effect.SetEnabled(i % 3 != 0);
        static_cast<void>(effect.latency() + effect.heldFrames());
      }
    });
    std::vector<float> audio(2 * 100);
    for (int i = 0; i < 300; ++i) {
      EXPECT_EQ(effect.Process(audio.data(), 100), LiveResult::kDone);
      for (const float sample : audio) ASSERT_TRUE(std::isfinite(sample));
    }
    over = true;
    other.join();
    effect.Stop();
  }
}

}  // namespace
}  // namespace korva
