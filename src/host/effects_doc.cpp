#include <ostream>
#include <string_view>

#include "frame/module_text.h"
#include "host/listing.h"
#include "host/nearest.h"
#include "host/parameter_text.h"
#include "host/words/doc_pictures.h"
#include "qvkit/language.h"
#include "qvkit/language_locales.h"

namespace korva {
namespace {

/// What people come for, and what gives it. `rest` is what the preset alone does not do.
struct Wish {
  const char* what;
  const char* effect;
  const char* preset;
  const char* rest = "";
};
constexpr Wish kWishes[] = {
    {"a voice or a guitar made thicker", "chorus", "Chorus 5"},
    {"a slow sweep, as of a jet", "chorus", "Slow flange 1"},
    {"a voice from a small speaker", "chorus", "Cheap TV"},
    {"a take in a church", "reverb", "Cathedral"},
    {"some room around a dry take", "reverb", "Medium room"},
    {"a plate on a voice or a snare", "reverb", "Plate"},
    {"one short echo, as on old records", "simple-delay", "Slap-back echo"},
    {"echoes between rocks", "simple-delay", "Grand Canyon"},
    {"echoes that wander from side to side", "multi-tap-delay", "Tapped delay, stereo pan", "--channels 2"},
    {"a mono take made wide", "multi-tap-delay", "Channel delay for stereo simulation", "--channels 2"},
    {"a fifth higher at the same length", "pitch-shift", "Fifth up", "--set preserve-duration=on"},
    {"a talk in less time, at its pitch", "time-stretch", "Time compress 85 % of original", "--set mode=A09"},
};

MaybeExit WriteWishes(std::ostream& out) {
  out << "\n| For | Effect | Preset | and |\n|---|---|---|---|\n";
  for (const Wish& wish : kWishes) {
    const Outcome<const EffectRow*> effect = FindEffect(wish.effect);
    if (!effect) return effect.earlyExit();
    const Outcome<std::int32_t> preset = FindPreset(**effect, wish.preset);
    if (!preset) return preset.earlyExit();
    const std::string rest = wish.rest;
    out << "| " << wish.what << " | " << wish.effect << " | " << *preset << " " << wish.preset << " | "
        << (rest.empty() ? "" : "`" + rest + "`") << " |\n";
  }
  return std::nullopt;
}

}  // namespace

MaybeExit WriteEffectsDoc(std::ostream& out) {
  // The page is one for all readers, whoever writes it.
  QvLang_UpdateLCID(ModuleLanguage(), kLanguageLocales[kEnglish], 0, 0);
  out << "# Effects\n\nEvery effect with its parameters and presets, written by `korva docs`: change the description "
         "rows, not this page.\nThe default is what preset 0 holds. *Ramp* and *jump* say what automation can do with "
         "a parameter; *tempo* marks\nwhat follows a host's tempo once its tempo-sync switch is on.\n";
  if (MaybeExit check = WriteWishes(out)) return check;
  for (const EffectRow& effect : EffectTable()) {
    const Outcome<EffectInstance> instance = CreateEffect(effect);
    if (!instance) return instance.earlyExit();
    const EffectDescription& description = effect.description;
    out << "\n## " << description.name << "\n\n"
        << description.summary << "\n\n"
        << "| Parameter | Range | Step | Default | Automation | What it does |\n|---|---|---|---|---|---|\n";
    const auto line = [&](const std::string& name, const std::string& range, const std::string& step,
                          const std::string& value, const std::string& movement, const std::string& summary) {
      out << "| `" << name << "` | " << range << " | " << step << " | " << value << " | " << movement << " | "
          << summary << " |\n";
    };
    for (const ParamDescriptor& row : description.rows) {
      line(row.name, RangeText(row), StepText(row), ValueText(row, description.presets.Block(0)),
           MovementText(*instance, row), row.summary);
    }
    if (effect.habits != nullptr) {
      for (const DerivedName& name : effect.habits->names) line(name.name, name.range, "", "", "-", name.summary);
    }
    for (const ParamDescriptor& row : description.rows) {
      const std::vector<std::string> choices = NumberedChoices(row);
      if (!choices.empty()) out << "\n`" << row.name << "`: " << Joined(choices, "; ") << ".\n";
    }
    if (effect.habits != nullptr && effect.habits->picks != nullptr) out << "\n" << effect.habits->picks << "\n";
    out << "\n| Preset | Name |\n|---|---|\n";
    for (std::int32_t i = 0; i < description.presets.count(); ++i) {
      out << "| " << i << " | " << PresetName(description, i) << " |\n";
    }
    for (const DocPicture& picture : DocPictures()) {
      if (std::string_view(picture.effect) != description.name) continue;
      out << "\n![" << picture.caption << "](images/plots/" << picture.file << ".png)\n\n" << picture.caption << ".\n";
    }
  }
  return std::nullopt;
}

}  // namespace korva
