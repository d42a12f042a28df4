#include <algorithm>

#include "plot/axes.h"
#include "plot/pictures.h"

namespace korva {

Picture AutomationPicture(std::span<const MovedParameter> parameters) {
  Picture picture;
  picture.note = "values as told, and as the effect takes them at the start of each chunk";
  for (const MovedParameter& parameter : parameters) {
    double least = parameter.envelope.front().y, most = least, seconds = 0;
    for (const auto* points : {&parameter.envelope, &parameter.sampled}) {
      for (const PlotPoint& point : *points) {
        least = std::min(least, point.y);
        most = std::max(most, point.y);
        seconds = std::max(seconds, point.x);
      }
    }
    const double room = most > least ? (most - least) * 0.12 : 1;
    const TimeAxis time = TimeUpTo(seconds);
    constexpr std::size_t kTicks = 5;
    Panel panel{parameter.name, time.axis, {"", least - room, most + room, false, {}}, {}, {}, {}, {}};
    panel.y.name = parameter.name;
    panel.y.ticks = RoundTicks(panel.y.from, panel.y.to, kTicks);
    const auto inUnits = [&](std::vector<PlotPoint> points) {
      for (PlotPoint& point : points) point.x *= time.factor;
      return points;
    };
    panel.curves.push_back({"as sampled", Ink::kFirst, CurveForm::kSteps, inUnits(parameter.sampled)});
    panel.curves.push_back({"as told", Ink::kSecond, CurveForm::kLine, inUnits(parameter.envelope)});
    picture.panels.push_back(std::move(panel));
  }
  return picture;
}

}  // namespace korva
