#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// What a picture shows, as plain data: numbers with their axes and names, and nothing of how they are drawn.
namespace korva {

/// Whose a curve or bar is. Each ink has a colour and a dash of its own.
enum class Ink : std::uint8_t { kFirst, kSecond, kThird, kFourth, kQuiet };

struct PlotPoint {
  double x, y;
};

struct Tick {
  double at;
  std::string text;
};

/// Ticks lie within the range.
struct Axis {
  std::string name;  ///< with its unit
  double from = 0, to = 1;
  bool isLogarithmic = false;
  std::vector<Tick> ticks;
};

enum class CurveForm : std::uint8_t { kLine, kSteps, kArea };

struct Curve {
  std::string name;  ///< for the legend; empty leaves it out there
  Ink ink = Ink::kFirst;
  CurveForm form = CurveForm::kLine;
  std::vector<PlotPoint> points;
};

struct Bar {
  double at, from, to;
  Ink ink = Ink::kFirst;
  std::string text;
};

/// A place on the x axis that is pointed out.
struct Mark {
  double at;
  std::string text;
};

/// Levels as colours: column by column, each from the bottom up, at equal steps of both axes as they are drawn.
struct Heat {
  std::size_t columns = 0, rows = 0;
  std::vector<float> levels;
  double fromX = 0, toX = 1;     ///< the columns' part of the x axis; the rows fill the y axis
  double least = -80, most = 0;  ///< dB of the ends of the colours
};

struct Panel {
  std::string name;
  Axis x, y;
  std::vector<Curve> curves;
  std::vector<Bar> bars;  ///< in the order in which they get room for their texts
  std::vector<Mark> marks;
  std::optional<Heat> heat;
};

struct Picture {
  std::string title, note;
  std::vector<Panel> panels;  ///< from the top down
};

}  // namespace korva
