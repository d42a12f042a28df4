#include <algorithm>
#include <cmath>

#include "plot/axes.h"
#include "plot/pictures.h"

namespace korva {
namespace {

constexpr double kFloorDb = -96;
constexpr std::size_t kStretches = 700, kMostBars = 175;
constexpr std::size_t kFewStretches = 120, kFewBars = 24;
constexpr double kLeastSeconds = 0.02, kRoom = 1.08;

/// A time in the unit of its axis.
std::string TimeText(double seconds, const TimeAxis& axis) {
  if (axis.factor == 1) return ShortNumber(seconds, seconds < 1 ? 3 : 2) + " s";
  return ShortNumber(seconds * 1000, seconds < 0.1 ? 1 : 0) + " ms";
}

/// The end of the tail.
Mark TailMark(const ImpulseRun& run, const TimeAxis& axis) {
  const PlainSound& sound = run.back.sound;
  const std::size_t frames = FramesAbove(sound, kSilentLevel);
  if (frames == 0) return {0, "nothing louder than -90 dB comes back"};
  const double end = run.isCut ? sound.seconds() : static_cast<double>(frames) / sound.rate;
  const std::string time = TimeText(end, axis);
  if (run.isCut) return {end * axis.factor, "cut off at " + time};
  // Where sound moves in time there is no length to tell, as it may come back before it went in.
  return {end * axis.factor, (run.impulseSeconds > 0 ? "-90 dB at " : "-90 dB after ") + time};
}

/// "one impulse at 0 dB"
std::string ImpulseText(const ImpulseRun& run) {
  return "one impulse at " + ShortNumber(run.impulseDb, 1) + " dB";
}

double ShownSeconds(std::span<const ImpulseRun> runs) {
  double shown = kLeastSeconds;
  for (const ImpulseRun& run : runs) {
    const PlainSound& sound = run.back.sound;
    const double end = static_cast<double>(FramesAbove(sound, kSilentLevel)) / sound.rate;
    shown = std::max(shown, (run.isCut ? sound.seconds() : end) * kRoom);
    shown = std::max(shown, run.impulseSeconds * kRoom);
  }
  return shown;
}

/// Where an axis ends that is to show a sound of this peak.
double TopDb(float peak) {
  return std::max(0.0, std::ceil(Decibels(static_cast<double>(peak)) / kLevelStepDb - 0.01) * kLevelStepDb);
}

double TopDb(std::span<const ImpulseRun> runs) {
  float peak = 0;
  for (const ImpulseRun& run : runs) peak = std::max(peak, Highest(run.back.sound.samples));
  return TopDb(peak);
}

/// One channel's part of a panel: `place` says where a level lies on the y axis.
template <class Place>
void AddChannel(Panel& panel, const ImpulseRun& run, std::size_t channel, double shown, const TimeAxis& time,
                Curve curve, Place&& place) {
  const std::vector<float> samples = run.back.sound.Channel(channel);
  const std::uint32_t rate = run.back.sound.rate;
  // Of two that lie over one another only few echoes can be told apart.
  const bool isAlone = curve.form == CurveForm::kArea;
  std::vector<Echo> echoes = FindEchoes(samples, rate);
  if (!isAlone && echoes.size() > kFewBars) echoes.clear();
  for (const PlotPoint& point :
       PeakLevels(samples, rate, 0, shown, isAlone || !echoes.empty() ? kStretches : kFewStretches)) {
    curve.points.push_back({point.x * time.factor, place(std::max(point.y, kFloorDb))});
  }
  std::stable_sort(echoes.begin(), echoes.end(),
                   [](const Echo& a, const Echo& b) { return std::fabs(a.value) > std::fabs(b.value); });
  if (echoes.size() > kMostBars) echoes.resize(kMostBars);
  for (const Echo& echo : echoes) {
    const double level = std::max(Decibels(std::fabs(echo.value)), kFloorDb);
    panel.bars.push_back(
        {echo.seconds * time.factor, place(kFloorDb), place(level), curve.ink, TimeText(echo.seconds, time)});
  }
  panel.curves.push_back(std::move(curve));
}

/// The first channel upwards and the second downwards from the middle.
Panel MirroredPanel(const ImpulseRun& run, double shown, const TimeAxis& time, double top) {
  Panel panel{"left above, right below", time.axis, {}, {}, {}, {}, {}};
  const double height = top - kFloorDb;
  panel.y = {"level (dB)", -height, height, false, {}};
  for (const Tick& tick : LevelAxis("", kFloorDb, top).ticks) {
    const double at = tick.at - kFloorDb;
    panel.y.ticks.push_back({at, tick.text});
    if (at > 0) panel.y.ticks.push_back({-at, tick.text});
  }
  for (const std::size_t channel : {0U, 1U}) {
    AddChannel(panel, run, channel, shown, time,
               {ChannelName(channel, 2), channel == 0 ? Ink::kFirst : Ink::kSecond, CurveForm::kArea, {}},
               [&](double level) { return (level - kFloorDb) * (channel == 0 ? 1 : -1); });
  }
  return panel;
}

std::size_t DifferentChannels(std::span<const ImpulseRun> runs) {
  std::size_t channels = 1;
  for (const ImpulseRun& run : runs) {
    for (std::size_t channel = 1; channel < run.back.sound.channels; ++channel) {
      if (!SameAsFirst(run.back.sound, channel)) channels = run.back.sound.channels;
    }
  }
  return channels;
}

}  // namespace

Picture ImpulsePicture(std::span<const ImpulseRun> runs) {
  const double shown = ShownSeconds(runs), top = TopDb(runs);
  const TimeAxis time = TimeUpTo(shown);
  const std::size_t channels = DifferentChannels(runs);
  Picture picture;
  if (runs.size() == 1 && channels == 2) {
    picture.panels.push_back(MirroredPanel(runs.front(), shown, time, top));
  } else {
    for (std::size_t channel = 0; channel < channels; ++channel) {
      Panel panel{channels > 1 ? ChannelName(channel, channels) : "", time.axis, {}, {}, {}, {}, {}};
      panel.y = LevelAxis("level (dB)", kFloorDb, top);
      for (std::size_t i = 0; i < runs.size(); ++i) {
        AddChannel(panel, runs[i], channel, shown, time,
                   {runs[i].back.name, static_cast<Ink>(i), runs.size() == 1 ? CurveForm::kArea : CurveForm::kLine, {}},
                   [](double level) { return level; });
      }
      picture.panels.push_back(std::move(panel));
    }
  }
  picture.note = "what comes back from " + ImpulseText(runs.front());
  std::size_t most = 0;
  for (const Panel& panel : picture.panels) {
    for (const Ink ink : {Ink::kFirst, Ink::kSecond}) {
      most = std::max(most, static_cast<std::size_t>(std::count_if(panel.bars.begin(), panel.bars.end(),
                                                                   [&](const Bar& bar) { return bar.ink == ink; })));
    }
  }
  // The end of the bars is not that of the sound.
  if (most >= kMostBars)
    picture.note += "; bars: the " + std::to_string(kMostBars) + " loudest echoes";
  else if (most > 1)
    picture.note += "; bars: echoes down to 60 dB below the loudest";
  for (const ImpulseRun& run : runs) {
    Mark tail = TailMark(run, time);
    if (runs.size() > 1) tail.text = run.back.name + ": " + tail.text;
    for (Panel& panel : picture.panels) {
      panel.marks.push_back(tail);
      if (run.impulseSeconds > 0) panel.marks.push_back({run.impulseSeconds * time.factor, "impulse goes in"});
    }
  }
  return picture;
}

Picture TapPicture(const ImpulseRun& run, std::span<const double> tapMs) {
  const PlainSound& sound = run.back.sound;
  // As long as the page's own graph can be, and as short as everything still fits.
  double span = 500;
  constexpr double kFaintest = 1e-3;
  const double shown = static_cast<double>(FramesAbove(sound, kFaintest)) * 1000 / sound.rate - 1;
  for (const double longer : {1000.0, 3000.0, 5000.0}) {
    if (shown > span) span = longer;
  }
  constexpr std::size_t kTicks = 8;
  const TimeAxis time{{"time (ms)", 0, span * kRoom, false, RoundTicks(0, span, kTicks)}, 1000};
  const Mark tail = TailMark(run, time);
  constexpr double kRoomAbove = 1.2;
  const std::size_t channels = DifferentChannels({&run, 1});
  Picture picture;
  for (std::size_t channel = 0; channel < channels; ++channel) {
    const std::vector<float> samples = sound.Channel(channel);
    Panel panel{channels > 1 ? ChannelName(channel, channels) : "", time.axis, {}, {}, {}, {}, {}};
    double peak = 0;
    const auto bins = static_cast<std::size_t>(span);
    std::vector<double> highest(bins + 1);
    for (std::size_t i = 0; i < samples.size(); ++i) {
      const auto bin = static_cast<std::size_t>(std::lround(static_cast<double>(i) * 1000 / sound.rate));
      const auto value = static_cast<double>(samples[i]);
      if (bin <= bins && std::fabs(value) > std::fabs(highest[bin])) highest[bin] = value;
    }
    std::vector<Bar> taps, echoes;
    for (std::size_t bin = 0; bin <= bins; ++bin) {
      if (std::fabs(highest[bin]) < kFaintest) continue;
      if (bin > 0) peak = std::max(peak, std::fabs(highest[bin]));
      const auto at = static_cast<double>(bin);
      const bool isTap = std::any_of(tapMs.begin(), tapMs.end(), [&](double tap) { return std::fabs(tap - at) < 0.5; });
      const Ink ink = bin == 0 ? Ink::kSecond : isTap ? Ink::kFirst : Ink::kQuiet;
      std::string text = isTap ? TimeText(at / 1000, time) : "";
      if (bin == 0) text = ShortNumber(highest[bin] * 100, 0) + " %";
      (ink == Ink::kQuiet ? echoes : taps).push_back({at, 0, highest[bin] * 100, ink, std::move(text)});
    }
    panel.bars = std::move(echoes);
    // On top of the echoes, as on the page.
    panel.bars.insert(panel.bars.end(), taps.begin(), taps.end());
    // The impulse itself may be cut off, so that what the taps make of it is seen.
    const double edge = std::max(std::ceil(peak * 20 - 0.01) * 5, 5.0);
    panel.y = {"gain (%)", -edge * kRoomAbove, edge * kRoomAbove, false, RoundTicks(-edge, edge, 4)};
    for (Bar& bar : panel.bars) bar.to = std::clamp(bar.to, panel.y.from, panel.y.to);
    // For the legend alone: curves without a point.
    panel.curves = {{"impulse", Ink::kSecond, CurveForm::kLine, {}},
                    {"taps", Ink::kFirst, CurveForm::kLine, {}},
                    {"echoes of them", Ink::kQuiet, CurveForm::kLine, {}}};
    // Its text stands above, where the times of the last taps do not.
    if (tail.at <= time.axis.to) panel.marks.push_back({tail.at, ""});
    picture.panels.push_back(std::move(panel));
  }
  picture.note = ImpulseText(run) + " comes back; below the middle: inverted; " + tail.text;
  return picture;
}

Picture LevelPicture(std::span<const NamedSound> sounds) {
  double seconds = kLeastSeconds;
  float peak = 0;
  for (const NamedSound& one : sounds) {
    seconds = std::max(seconds, one.sound.seconds());
    peak = std::max(peak, Highest(one.sound.samples));
  }
  const TimeAxis time = TimeUpTo(seconds);
  Panel panel{"", time.axis, LevelAxis("level (dB)", kFloorDb, TopDb(peak)), {}, {}, {}, {}};
  for (std::size_t i = 0; i < sounds.size(); ++i) {
    Curve curve{sounds[i].name, static_cast<Ink>(i), CurveForm::kLine, {}};
    std::vector<float> loudest = sounds[i].sound.Channel(0);
    for (std::size_t channel = 1; channel < sounds[i].sound.channels; ++channel) {
      for (std::size_t frame = 0; frame < loudest.size(); ++frame) {
        loudest[frame] = std::max(std::fabs(loudest[frame]), std::fabs(sounds[i].sound.At(frame, channel)));
      }
    }
    for (const PlotPoint& point : PeakLevels(loudest, sounds[i].sound.rate, 0, seconds, kStretches / 2)) {
      curve.points.push_back({point.x * time.factor, std::max(point.y, kFloorDb)});
    }
    panel.curves.push_back(std::move(curve));
  }
  Picture picture;
  picture.note = "loudest sample over time";
  picture.panels.push_back(std::move(panel));
  return picture;
}

}  // namespace korva
