#include <algorithm>
#include <cmath>

#include "plot/axes.h"
#include "plot/pictures.h"

namespace korva {
namespace {

constexpr std::size_t kColumns = 600, kRows = 240;
constexpr double kRangeDb = 80;

}  // namespace

Picture SpectrogramPicture(std::span<const NamedSound> sounds) {
  double seconds = 0;
  float loudest = static_cast<float>(kSilentDb);
  Picture picture;
  for (const NamedSound& one : sounds) seconds = std::max(seconds, one.sound.seconds());
  const TimeAxis time = TimeUpTo(seconds);
  for (const NamedSound& one : sounds) {
    Panel panel{one.name, time.axis, FrequencyAxis(one.sound.rate), {}, {}, {}, {}};
    const double part = seconds > 0 ? one.sound.seconds() / seconds : 0;
    const auto columns = static_cast<std::size_t>(std::ceil(kColumns * part));
    Heat heat = SpectrogramOf(one.sound, std::max<std::size_t>(columns, 1), ShownFrequencies(one.sound.rate, kRows));
    heat.toX *= time.factor;
    loudest =
        std::max(loudest, heat.levels.empty() ? loudest : *std::max_element(heat.levels.begin(), heat.levels.end()));
    panel.heat = std::move(heat);
    picture.panels.push_back(std::move(panel));
  }
  for (Panel& panel : picture.panels) {
    panel.heat->most = std::clamp(std::ceil(static_cast<double>(loudest) / kLevelStepDb) * kLevelStepDb, -60.0, 24.0);
    panel.heat->least = panel.heat->most - kRangeDb;
  }
  picture.note = "level over time and frequency";
  return picture;
}

}  // namespace korva
