#include <algorithm>
#include <cstring>
#include <exception>
#include <new>
#include <string>

#include "api/korva.h"
#include "frame/row_values.h"
#include "live/live_effect.h"
#include "live/live_text.h"
#include "qvkit/language_locales.h"

using korva::EffectDescription;
using korva::EffectKinds;
using korva::LiveEffect;
using korva::LiveResult;
using korva::ParamDescriptor;

struct korva_effect {
  std::int32_t number;
  LiveEffect live;
};

namespace {

korva_result ResultOf(LiveResult result) noexcept {
  switch (result) {
    case LiveResult::kDone:
      return KORVA_OK;
    case LiveResult::kUnknown:
      return KORVA_ERROR_NAME;
    case LiveResult::kRange:
      return KORVA_ERROR_RANGE;
    case LiveResult::kRecord:
      return KORVA_ERROR_RECORD;
    case LiveResult::kFormat:
      return KORVA_ERROR_FORMAT;
    case LiveResult::kLength:
      return KORVA_ERROR_LENGTH;
    case LiveResult::kMemory:
      return KORVA_ERROR_MEMORY;
    default:
      return KORVA_ERROR_STATE;
  }
}

const EffectDescription* Effect(std::int32_t effect) noexcept {
  const auto kinds = EffectKinds();
  const auto index = static_cast<std::size_t>(effect);
  return effect >= 0 && index < kinds.size() ? &kinds[index].description : nullptr;
}

const ParamDescriptor* Row(std::int32_t effect, std::int32_t row) noexcept {
  const EffectDescription* const description = Effect(effect);
  const auto index = static_cast<std::size_t>(row);
  return description != nullptr && row >= 0 && index < description->rows.size() ? &description->rows[index] : nullptr;
}

std::size_t ChoicesOf(const ParamDescriptor& row) noexcept {
  if (row.enumId < 0 && row.firstNameId < 0) return 0;
  return static_cast<std::size_t>(row.info.mpdMaxValue - row.info.mpdMinValue) + 1;
}

korva_kind KindOf(const ParamDescriptor& row) noexcept {
  if (row.info.mpType == MPT_BOOL) return KORVA_SWITCH;
  if (ChoicesOf(row) != 0) return KORVA_CHOICE;
  return row.info.mpType == MPT_FLOAT ? KORVA_NUMBER : KORVA_WHOLE;
}

std::size_t CopyOut(const std::string& from, char* text, std::size_t size) noexcept {
  if (text != nullptr && size != 0) {
    const std::size_t length = std::min(from.size(), size - 1);
    std::memcpy(text, from.data(), length);
    text[length] = '\0';
  }
  return from.size();
}

/// Runs what makes strings: without memory there is no text.
template <class Make>
std::size_t Texted(char* text, std::size_t size, Make make) noexcept {
  try {
    return CopyOut(make(), text, size);
  } catch (const std::exception&) {
    if (text != nullptr && size != 0) *text = '\0';
    return 0;
  }
}

std::size_t Language(const char* tag) {
  return tag != nullptr ? korva::LanguageOf(tag) : korva::kEnglish;
}

}  // namespace

const char* korva_version(void) {
  return KORVA_VERSION;
}

const char* korva_error_text(korva_result result) {
  switch (result) {
    case KORVA_OK:
      return "done";
    case KORVA_ERROR_ARGUMENT:
      return "a null pointer, or a struct of an unknown size";
    case KORVA_ERROR_NAME:
      return "there is no such effect, row, choice or preset";
    case KORVA_ERROR_RANGE:
      return "the value is outside its range, or not whole where it must be";
    case KORVA_ERROR_RECORD:
      return "these bytes are no record of this effect, or a damaged one";
    case KORVA_ERROR_STATE:
      return "not now: start the effect first, or stop it, or use the other kind of stream";
    case KORVA_ERROR_FORMAT:
      return "1 to 32 channels and a rate of 1 to 384000 are possible";
    case KORVA_ERROR_LENGTH:
      return "a stream of fixed latency needs preserve-duration on and at most 13 semitones up; korva_stream does all";
    case KORVA_ERROR_MEMORY:
      return "out of memory";
  }
  return "unknown result";
}

int32_t korva_effect_count(void) {
  return static_cast<int32_t>(EffectKinds().size());
}

const char* korva_effect_name(int32_t effect) {
  const EffectDescription* const description = Effect(effect);
  return description != nullptr ? description->name : nullptr;
}

const char* korva_effect_summary(int32_t effect) {
  const EffectDescription* const description = Effect(effect);
  return description != nullptr ? description->summary : nullptr;
}

int32_t korva_find_effect(const char* name) {
  for (int32_t i = 0; name != nullptr && i < korva_effect_count(); ++i) {
    if (std::strcmp(name, korva_effect_name(i)) == 0) return i;
  }
  return -1;
}

int32_t korva_row_count(int32_t effect) {
  const EffectDescription* const description = Effect(effect);
  return description != nullptr ? static_cast<int32_t>(description->rows.size()) : 0;
}

korva_result korva_row_info(int32_t effect, int32_t row, korva_row* info) {
  if (info == nullptr || info->size != sizeof *info) return KORVA_ERROR_ARGUMENT;
  const ParamDescriptor* const descriptor = Row(effect, row);
  if (descriptor == nullptr) return KORVA_ERROR_NAME;
  const void* const standard = Effect(effect)->presets.Block(0);
  info->name = descriptor->name;
  info->unit = descriptor->unit;
  info->summary = descriptor->summary;
  info->least = korva::CommandBound(*descriptor, descriptor->info.mpdMinValue);
  info->most = korva::CommandBound(*descriptor, descriptor->info.mpdMaxValue);
  info->standard = korva::LoadDisplayValue(*descriptor, standard) * korva::CommandFactor(*descriptor);
  info->kind = KindOf(*descriptor);
  info->choices = static_cast<int32_t>(ChoicesOf(*descriptor));
  return KORVA_OK;
}

int32_t korva_find_row(int32_t effect, const char* name) {
  for (int32_t i = 0; name != nullptr && i < korva_row_count(effect); ++i) {
    if (std::strcmp(name, Row(effect, i)->name) == 0) return i;
  }
  return -1;
}

int32_t korva_preset_count(int32_t effect) {
  const EffectDescription* const description = Effect(effect);
  return description != nullptr ? description->presets.count() : 0;
}

size_t korva_preset_name(int32_t effect, int32_t preset, const char* language, char* text, size_t size) {
  return Texted(text, size, [&] {
    const EffectDescription* const description = Effect(effect);
    const bool there = description != nullptr && description->presets.Has(preset);
    return there ? korva::PresetNameIn(Language(language), *description, preset) : std::string();
  });
}

size_t korva_choice_name(int32_t effect, int32_t row, int32_t choice, const char* language, char* text, size_t size) {
  return Texted(text, size, [&] {
    const ParamDescriptor* const descriptor = Row(effect, row);
    if (descriptor == nullptr || choice < 0) return std::string();
    const auto names = korva::ChoiceNamesIn(Language(language), *descriptor);
    const auto index = static_cast<std::size_t>(choice);
    return index < names.size() ? names[index] : std::string();
  });
}

int32_t korva_find_preset(int32_t effect, const char* name) {
  constexpr std::size_t kLongest = 260;
  char text[kLongest];
  for (int32_t i = 0; name != nullptr && i < korva_preset_count(effect); ++i) {
    if (korva_preset_name(effect, i, nullptr, text, sizeof text) != 0 && std::strcmp(name, text) == 0) return i;
  }
  return -1;
}

korva_effect* korva_create(const char* name) {
  const int32_t number = korva_find_effect(name);
  if (number < 0) return nullptr;
  auto* const effect =
      new (std::nothrow) korva_effect{number, LiveEffect(EffectKinds()[static_cast<std::size_t>(number)])};
  if (effect != nullptr && !effect->live.ready()) {
    delete effect;
    return nullptr;
  }
  return effect;
}

void korva_destroy(korva_effect* effect) {
  delete effect;
}

korva_result korva_set(korva_effect* effect, int32_t row, double value) {
  if (effect == nullptr) return KORVA_ERROR_ARGUMENT;
  return row < 0 ? KORVA_ERROR_NAME : ResultOf(effect->live.Set(static_cast<std::size_t>(row), value));
}

korva_result korva_get(const korva_effect* effect, int32_t row, double* value) {
  if (effect == nullptr || value == nullptr) return KORVA_ERROR_ARGUMENT;
  return row < 0 ? KORVA_ERROR_NAME : ResultOf(effect->live.Get(static_cast<std::size_t>(row), *value));
}

korva_result korva_set_by_name(korva_effect* effect, const char* row, double value) {
  if (effect == nullptr || row == nullptr) return KORVA_ERROR_ARGUMENT;
  return korva_set(effect, korva_find_row(effect->number, row), value);
}

korva_result korva_get_by_name(const korva_effect* effect, const char* row, double* value) {
  if (effect == nullptr || row == nullptr) return KORVA_ERROR_ARGUMENT;
  return korva_get(effect, korva_find_row(effect->number, row), value);
}

korva_result korva_set_preset(korva_effect* effect, int32_t preset) {
  return effect != nullptr ? ResultOf(effect->live.ApplyPreset(preset)) : KORVA_ERROR_ARGUMENT;
}

size_t korva_record_size(const korva_effect* effect) {
  return effect != nullptr ? effect->live.recordSize() : 0;
}

korva_result korva_save_record(const korva_effect* effect, void* record, size_t size) {
  if (effect == nullptr || record == nullptr) return KORVA_ERROR_ARGUMENT;
  return ResultOf(effect->live.SaveRecord({static_cast<std::byte*>(record), size}));
}

korva_result korva_load_record(korva_effect* effect, const void* record, size_t size) {
  if (effect == nullptr || record == nullptr) return KORVA_ERROR_ARGUMENT;
  return ResultOf(effect->live.LoadRecord({static_cast<const std::byte*>(record), size}));
}

korva_result korva_set_tempo(korva_effect* effect, double bpm, int32_t beats, int32_t unit) {
  return effect != nullptr ? ResultOf(effect->live.SetTempo(bpm, beats, unit)) : KORVA_ERROR_ARGUMENT;
}

korva_result korva_set_enabled(korva_effect* effect, int32_t enabled) {
  if (effect == nullptr) return KORVA_ERROR_ARGUMENT;
  effect->live.SetEnabled(enabled != 0);
  return KORVA_OK;
}

korva_result korva_start(korva_effect* effect, uint32_t channels, uint32_t rate) {
  if (effect == nullptr) return KORVA_ERROR_ARGUMENT;
  return ResultOf(effect->live.Start(LiveEffect::Use::kFixedLatency, channels, rate));
}

uint32_t korva_latency(const korva_effect* effect) {
  return effect != nullptr ? effect->live.latency() : 0;
}

korva_result korva_process(korva_effect* effect, float* samples, uint32_t frames) {
  if (effect == nullptr || (samples == nullptr && frames != 0)) return KORVA_ERROR_ARGUMENT;
  return ResultOf(effect->live.Process(samples, frames));
}

korva_result korva_process_planar(korva_effect* effect, float* const* channels, uint32_t frames) {
  if (effect == nullptr || (channels == nullptr && frames != 0)) return KORVA_ERROR_ARGUMENT;
  return ResultOf(effect->live.ProcessPlanar(channels, channels, frames));
}

korva_result korva_tail(korva_effect* effect, float* samples, uint32_t* frames, int32_t* ended) {
  if (effect == nullptr || samples == nullptr || frames == nullptr || ended == nullptr) return KORVA_ERROR_ARGUMENT;
  bool over = false;
  const LiveResult result = effect->live.Tail(samples, *frames, over);
  *ended = over ? 1 : 0;
  return ResultOf(result);
}

korva_result korva_start_stream(korva_effect* effect, uint32_t channels, uint32_t rate) {
  if (effect == nullptr) return KORVA_ERROR_ARGUMENT;
  return ResultOf(effect->live.Start(LiveEffect::Use::kVariableLength, channels, rate));
}

korva_result korva_stream(korva_effect* effect, const float* in, uint32_t* in_frames, float* out, uint32_t* out_frames,
                          int32_t* ended) {
  if (effect == nullptr || out == nullptr || out_frames == nullptr || ended == nullptr ||
      (in != nullptr && in_frames == nullptr)) {
    return KORVA_ERROR_ARGUMENT;
  }
  bool over = false;
  std::uint32_t none = 0;
  const LiveResult result = effect->live.Stream(in, in != nullptr ? *in_frames : none, out, *out_frames, over);
  *ended = over ? 1 : 0;
  return ResultOf(result);
}

uint64_t korva_held_frames(const korva_effect* effect) {
  return effect != nullptr ? effect->live.heldFrames() : 0;
}

korva_result korva_reset(korva_effect* effect) {
  if (effect == nullptr) return KORVA_ERROR_ARGUMENT;
  if (!effect->live.running()) return KORVA_ERROR_STATE;
  effect->live.Rewind();
  return KORVA_OK;
}

void korva_stop(korva_effect* effect) {
  if (effect != nullptr) effect->live.Stop();
}
