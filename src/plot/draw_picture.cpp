#include "plot/draw_picture.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "plot/numbers.h"

namespace korva {
namespace {

constexpr double kTitleSize = 13, kTextSize = 11, kSmallSize = 10;
constexpr double kMargin = 12, kNoteLine = 40;
constexpr double kLeft = 62, kLongTexts = 22, kRight = 18, kTop = 50, kBottom = 40, kBetween = 10;

/// Where a panel lies, and how its axes map to that.
struct Frame {
  double left, top, right, bottom;

  static double Part(const Axis& axis, double value) noexcept {
    if (axis.isLogarithmic) return std::log(value / axis.from) / std::log(axis.to / axis.from);
    return (value - axis.from) / (axis.to - axis.from);
  }
  double X(const Axis& axis, double value) const noexcept { return left + Part(axis, value) * (right - left); }
  double Y(const Axis& axis, double value) const noexcept { return bottom - Part(axis, value) * (bottom - top); }
};

std::vector<double> DashesOf(Ink ink) {
  switch (ink) {
    case Ink::kSecond:
      return {6, 3};
    case Ink::kThird:
      return {2, 2};
    case Ink::kFourth:
      return {8, 3, 2, 3};
    default:
      return {};
  }
}

Colour ColourOf(const Canvas& canvas, Ink ink) {
  return canvas.palette().inks[static_cast<std::size_t>(ink)];
}

/// As much of a text as there is room for.
std::string Shortened(Canvas& canvas, std::string text, double size, bool isBold, double room) {
  if (canvas.TextWidth(text, size, isBold) <= room) return text;
  const std::string dots = "...";
  while (!text.empty() && canvas.TextWidth(text + dots, size, isBold) > room) {
    // A whole character goes.
    while (text.size() > 1 && (static_cast<unsigned char>(text.back()) & 0xC0U) == 0x80U) text.pop_back();
    text.pop_back();
  }
  return text + dots;
}

void DrawAxes(Canvas& canvas, const Panel& panel, const Frame& frame, bool withTimes) {
  const Palette& palette = canvas.palette();
  // Lines across would hide colours; there they are short and outside.
  constexpr double kShort = 4;
  for (const Tick& tick : panel.x.ticks) {
    const double x = frame.X(panel.x, tick.at);
    const CanvasPoint line[] = {{x, panel.heat ? frame.bottom : frame.top},
                                {x, panel.heat ? frame.bottom + kShort : frame.bottom}};
    canvas.Line(line, palette.grid, tick.text.empty() ? 0.5 : 1);
    if (withTimes) canvas.Text(x, frame.bottom + 15, tick.text, kTextSize, palette.quietText, Align::kMiddle);
  }
  std::vector<double> labelled;
  for (const Tick& tick : panel.y.ticks) {
    const double y = frame.Y(panel.y, tick.at);
    const CanvasPoint line[] = {{panel.heat ? frame.left - kShort : frame.left, y},
                                {panel.heat ? frame.left : frame.right, y}};
    canvas.Line(line, palette.grid, tick.text.empty() ? 0.5 : 1);
    const bool isFree = std::none_of(labelled.begin(), labelled.end(),
                                     [&](double other) { return std::fabs(other - y) < kTextSize + 1; });
    if (tick.text.empty() || !isFree) continue;
    labelled.push_back(y);
    canvas.Text(frame.left - 6, y + 4, tick.text, kTextSize, palette.quietText, Align::kRight);
  }
  if (withTimes) {
    canvas.Text((frame.left + frame.right) / 2, frame.bottom + 31, panel.x.name, kTextSize, palette.text,
                Align::kMiddle);
  }
}

void DrawHeat(Canvas& canvas, const Panel& panel, const Frame& frame) {
  const Heat& heat = *panel.heat;
  std::vector<std::uint32_t> pixels(heat.columns * heat.rows);
  for (std::size_t column = 0; column < heat.columns; ++column) {
    for (std::size_t row = 0; row < heat.rows; ++row) {
      const auto level = static_cast<double>(heat.levels[column * heat.rows + row]);
      const Colour colour = HeatColour((level - heat.least) / (heat.most - heat.least));
      const auto part = [](double value) { return static_cast<std::uint32_t>(std::lround(value * 255)); };
      pixels[(heat.rows - 1 - row) * heat.columns + column] =
          part(colour.red) << 16U | part(colour.green) << 8U | part(colour.blue);
    }
  }
  const double from = frame.X(panel.x, heat.fromX), to = frame.X(panel.x, heat.toX);
  canvas.Image(from, frame.top, to - from, frame.bottom - frame.top, pixels, heat.columns, heat.rows);
}

void DrawCurve(Canvas& canvas, const Panel& panel, const Curve& curve, const Frame& frame) {
  std::vector<CanvasPoint> points;
  for (const PlotPoint& point : curve.points) {
    const CanvasPoint at{frame.X(panel.x, point.x), frame.Y(panel.y, point.y)};
    if (curve.form == CurveForm::kSteps && !points.empty()) points.push_back({at.x, points.back().y});
    points.push_back(at);
  }
  const Colour colour = ColourOf(canvas, curve.ink);
  if (curve.form != CurveForm::kArea) {
    canvas.Line(points, colour, 1.6, DashesOf(curve.ink));
    return;
  }
  if (points.empty()) return;
  // Down to the end of the axis, or in a mirrored panel to its middle.
  const bool isMirrored = panel.y.from < 0 && panel.y.to == -panel.y.from;
  const double base = frame.Y(panel.y, isMirrored ? 0 : panel.y.from);
  std::vector<CanvasPoint> closed = points;
  closed.push_back({points.back().x, base});
  closed.push_back({points.front().x, base});
  canvas.Area(closed, colour, 0.25);
  canvas.Line(points, colour, 0.8);
}

/// A text that has its place: none other comes so near.
struct Taken {
  double left, right, y;
};

void DrawBars(Canvas& canvas, const Panel& panel, const Frame& frame) {
  std::vector<Taken> taken;
  // What has its text first is drawn last, and so lies on top.
  for (auto bar = panel.bars.rbegin(); bar != panel.bars.rend(); ++bar) {
    const double x = frame.X(panel.x, bar->at);
    const CanvasPoint line[] = {{x, frame.Y(panel.y, bar->from)}, {x, frame.Y(panel.y, bar->to)}};
    if (bar->from == bar->to)
      canvas.Box(x - 1.5, line[0].y - 1.5, 3, 3, ColourOf(canvas, bar->ink));
    else
      canvas.Line(line, ColourOf(canvas, bar->ink), bar->ink == Ink::kQuiet ? 1 : 2);
  }
  // Where another text stands already, there may be room in a row further off; for few of them that stays readable.
  constexpr std::ptrdiff_t kFew = 24;
  const auto texts =
      std::count_if(panel.bars.begin(), panel.bars.end(), [](const Bar& bar) { return !bar.text.empty(); });
  const int rows = texts <= kFew ? 5 : 1;
  for (const Bar& bar : panel.bars) {
    if (bar.text.empty()) continue;
    const double width = canvas.TextWidth(bar.text, kSmallSize);
    const bool isDown = bar.to < bar.from;
    const double x = std::clamp(frame.X(panel.x, bar.at), frame.left + width / 2, frame.right - width / 2);
    constexpr double kRow = kSmallSize + 2;
    Taken own{x - width / 2 - 3, x + width / 2 + 3, 0};
    bool isFree = false;
    double away = 0;
    for (int row = 0; row < rows && !isFree; ++row) {
      away = row * kRow;
      own.y = std::clamp(frame.Y(panel.y, bar.to) + (isDown ? 12 + away : -4 - away), frame.top + 9, frame.bottom - 3);
      isFree = std::none_of(taken.begin(), taken.end(), [&](const Taken& other) {
        return own.left < other.right && other.left < own.right && std::fabs(own.y - other.y) < kRow;
      });
    }
    if (!isFree) continue;
    const double y = own.y;
    taken.push_back(own);
    if (away > 0) {
      const double edge = isDown ? y - kSmallSize : y + 2;
      const CanvasPoint leader[] = {{frame.X(panel.x, bar.at), edge},
                                    {frame.X(panel.x, bar.at), frame.Y(panel.y, bar.to)}};
      canvas.Line(leader, canvas.palette().quietText, 0.5);
    }
    canvas.Box(own.left + 1, y - kSmallSize + 1, width + 4, kSmallSize + 2, canvas.palette().paper, 0.75);
    canvas.Text(x, y, bar.text, kSmallSize, canvas.palette().text, Align::kMiddle);
  }
}

void DrawMarks(Canvas& canvas, const Panel& panel, const Frame& frame) {
  const Palette& palette = canvas.palette();
  double row = frame.bottom - 6;
  for (const Mark& mark : panel.marks) {
    const double x = frame.X(panel.x, mark.at);
    const CanvasPoint line[] = {{x, frame.top}, {x, frame.bottom}};
    const double dashes[] = {3, 3};
    canvas.Line(line, palette.quietText, 1, dashes);
    // Under the panel's name, as long as there is room.
    if (row - kSmallSize < frame.top + kTextSize + 8 && row < frame.bottom - kSmallSize) continue;
    const double width = canvas.TextWidth(mark.text, kSmallSize);
    const bool isLeft = x + width + 8 > frame.right;
    const double left = std::max(isLeft ? x - width - 5 : x + 5, frame.left + 2);
    canvas.Box(left - 2, row - kSmallSize, width + 4, kSmallSize + 3, palette.paper, 0.75);
    canvas.Text(left, row, mark.text, kSmallSize, palette.text);
    row -= kSmallSize + 4;
  }
}

/// In the corner where it hides the least of the curves.
void DrawName(Canvas& canvas, const Panel& panel, const Frame& frame) {
  const double width = canvas.TextWidth(panel.name, kTextSize, true) + 8, height = kTextSize + 6;
  CanvasPoint best{};
  std::size_t least = std::numeric_limits<std::size_t>::max();
  for (const CanvasPoint corner : {CanvasPoint{frame.right - width - 4, frame.top + 3},
                                   {frame.left + 4, frame.top + 3},
                                   {frame.right - width - 4, frame.bottom - height - 3},
                                   {frame.left + 4, frame.bottom - height - 3}}) {
    std::size_t hidden = 0;
    for (const Curve& curve : panel.curves) {
      hidden +=
          static_cast<std::size_t>(std::count_if(curve.points.begin(), curve.points.end(), [&](const PlotPoint& p) {
            const double x = frame.X(panel.x, p.x) - corner.x, y = frame.Y(panel.y, p.y) - corner.y;
            return x >= 0 && x <= width && y >= 0 && y <= height;
          }));
    }
    if (hidden >= least) continue;
    least = hidden;
    best = corner;
  }
  canvas.Box(best.x, best.y, width, height, canvas.palette().paper, 0.8);
  canvas.Text(best.x + 4, best.y + kTextSize + 2, panel.name, kTextSize, canvas.palette().text, Align::kLeft, true);
}

void DrawPanel(Canvas& canvas, const Panel& panel, const Frame& frame, bool withTimes) {
  const Palette& palette = canvas.palette();
  if (panel.heat) DrawHeat(canvas, panel, frame);
  DrawAxes(canvas, panel, frame, withTimes);
  canvas.Hold(frame.left, frame.top, frame.right - frame.left, frame.bottom - frame.top);
  for (const Curve& curve : panel.curves) DrawCurve(canvas, panel, curve, frame);
  canvas.LetGo();
  DrawBars(canvas, panel, frame);
  DrawMarks(canvas, panel, frame);
  const CanvasPoint edge[] = {{frame.left, frame.top},
                              {frame.right, frame.top},
                              {frame.right, frame.bottom},
                              {frame.left, frame.bottom},
                              {frame.left, frame.top}};
  canvas.Line(edge, palette.quietText, 1);
  if (panel.y.from < 0 && panel.y.to > 0) {
    const double y = frame.Y(panel.y, 0);
    const CanvasPoint zero[] = {{frame.left, y}, {frame.right, y}};
    canvas.Line(zero, palette.quietText, 1);
  }
  // A name that is longer than its axis stands inside.
  const bool fits = canvas.TextWidth(panel.y.name, kTextSize) <= frame.bottom - frame.top;
  if (fits) canvas.TextUp(14, (frame.top + frame.bottom) / 2, panel.y.name, kTextSize, palette.text);
  if (panel.name.empty() || (fits && panel.name == panel.y.name)) return;
  DrawName(canvas, panel, frame);
}

constexpr double kSample = 22, kGap = 16;
constexpr int kHeatSteps = 60, kHeatStep = 2;

/// The room that the legend of a panel takes.
double LegendWidth(Canvas& canvas, const Panel& panel) {
  if (panel.heat) {
    return canvas.TextWidth(ShortNumber(panel.heat->least, 0) + " dB" + ShortNumber(panel.heat->most, 0) + " dB",
                            kTextSize) +
           kHeatSteps * kHeatStep + 12;
  }
  double width = 0;
  for (const Curve& curve : panel.curves) {
    if (!curve.name.empty()) width += canvas.TextWidth(curve.name, kTextSize) + kSample + 5 + kGap;
  }
  return std::max(width - kGap, 0.0);
}

/// What the inks and colours of the first panel stand for.
void DrawLegend(Canvas& canvas, const Panel& panel, double left, double right, double baseLine) {
  const Palette& palette = canvas.palette();
  if (panel.heat) {
    const std::string least = ShortNumber(panel.heat->least, 0) + " dB",
                      most = ShortNumber(panel.heat->most, 0) + " dB";
    const double at = right - canvas.TextWidth(most, kTextSize) - 6 - kHeatSteps * kHeatStep;
    for (int i = 0; i < kHeatSteps; ++i) {
      canvas.Box(at + i * kHeatStep, baseLine - 9, kHeatStep, 10, HeatColour(i / static_cast<double>(kHeatSteps - 1)));
    }
    canvas.Text(right, baseLine, most, kTextSize, palette.text, Align::kRight);
    canvas.Text(at - 6, baseLine, least, kTextSize, palette.text, Align::kRight);
    return;
  }
  const auto named = static_cast<double>(
      std::count_if(panel.curves.begin(), panel.curves.end(), [](const Curve& one) { return !one.name.empty(); }));
  if (named == 0) return;
  const double width = LegendWidth(canvas, panel);
  // Long names share what room there is.
  const double most = (right - left) / named - kSample - 5 - kGap;
  double at = std::max(left, right - width);
  for (const Curve& curve : panel.curves) {
    if (curve.name.empty()) continue;
    const std::string name = width > right - left ? Shortened(canvas, curve.name, kTextSize, false, most) : curve.name;
    const CanvasPoint line[] = {{at, baseLine - 4}, {at + kSample, baseLine - 4}};
    canvas.Line(line, ColourOf(canvas, curve.ink), 2.5,
                curve.form == CurveForm::kArea || curve.points.empty() ? std::vector<double>() : DashesOf(curve.ink));
    canvas.Text(at + kSample + 5, baseLine, name, kTextSize, palette.text);
    at += kSample + 5 + canvas.TextWidth(name, kTextSize) + kGap;
  }
}

}  // namespace

std::vector<unsigned char> DrawPicture(const Picture& picture, const Look& look, std::string& reason) {
  Canvas canvas(look);
  const Palette& palette = canvas.palette();
  const double right = look.width - kRight;
  canvas.Text(kMargin, 20, Shortened(canvas, picture.title, kTitleSize, true, right - kMargin), kTitleSize,
              palette.text, Align::kLeft, true);
  canvas.Text(kMargin, kNoteLine, Shortened(canvas, picture.note, kTextSize, false, right - kMargin), kTextSize,
              palette.quietText);
  double top = kTop;
  if (!picture.panels.empty()) {
    // To the right of the note, or below it.
    const double beside = kMargin + canvas.TextWidth(picture.note, kTextSize) + 20;
    const double width = LegendWidth(canvas, picture.panels.front());
    const bool fits = width == 0 || beside + width <= right;
    if (!fits) top += kTextSize + 5;
    DrawLegend(canvas, picture.panels.front(), fits ? beside : kMargin, right, kNoteLine + top - kTop);
  }
  const auto count = static_cast<double>(picture.panels.size());
  double room = look.height - top - kBottom;
  std::vector<bool> withTimes;
  for (std::size_t i = 0; i < picture.panels.size(); ++i) {
    // Panels with the same times show them once.
    const bool isLast = i + 1 == picture.panels.size();
    withTimes.push_back(isLast || picture.panels[i].x.to != picture.panels[i + 1].x.to);
    if (!isLast) room -= withTimes.back() ? kBottom : kBetween;
  }
  constexpr double kLeastHeight = 20;
  const double height = room / std::max(count, 1.0);
  if (height < kLeastHeight) {
    reason = "its " + std::to_string(picture.panels.size()) + " parts need more room; --size " +
             std::to_string(look.width) + "x" +
             ShortNumber(std::ceil(look.height + (kLeastHeight - height) * count), 0) + " has it";
    return {};
  }
  for (std::size_t i = 0; i < picture.panels.size(); ++i) {
    const double left = kLeft + (picture.panels[i].y.isLogarithmic ? kLongTexts : 0);
    DrawPanel(canvas, picture.panels[i], {left, top, right, top + height}, withTimes[i]);
    top += height + (withTimes[i] ? kBottom : kBetween);
  }
  return canvas.Finish(reason);
}

}  // namespace korva
