#pragma once

#include <cairo.h>
#include <pango/pango.h>

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "plot/palette.h"

namespace korva {

struct CanvasPoint {
  double x, y;
};

enum class Align : std::uint8_t { kLeft, kMiddle, kRight };

/// How a picture is drawn.
struct Look {
  bool isDark = false, isSvg = false;
  double scale = 1;               ///< pixels for each unit of width and height
  int width = 800, height = 450;  ///< at scale 1
};

/// A surface in memory that becomes a PNG or SVG file: the same calls draw both. Units are pixels at scale 1, from the
/// top left. Whatever fails shows at `Finish`.
class Canvas {
 public:
  explicit Canvas(const Look& look);

  const Palette& palette() const noexcept { return palette_; }
  void Line(std::span<const CanvasPoint> points, Colour colour, double width, std::span<const double> dashes = {});
  /// Fills what the points enclose.
  void Area(std::span<const CanvasPoint> points, Colour colour, double opacity);
  void Box(double x, double y, double width, double height, Colour colour, double opacity = 1);
  /// `y` is the base line. Letters that the font lacks come from others. Bytes that are no UTF-8 and control characters
  /// come as question marks.
  void Text(double x, double y, const std::string& text, double size, Colour colour, Align align = Align::kLeft,
            bool isBold = false);
  /// Upwards, around its middle.
  void TextUp(double x, double y, const std::string& text, double size, Colour colour);
  double TextWidth(const std::string& text, double size, bool isBold = false);
  /// A picture of `columns` by `rows` opaque pixels, 0xRRGGBB, row by row from the top.
  void Image(double x, double y, double width, double height, const std::vector<std::uint32_t>& pixels,
             std::size_t columns, std::size_t rows);
  /// Keeps what is drawn until `LetGo` inside a box.
  void Hold(double x, double y, double width, double height);
  void LetGo();

  /// The bytes of the file, or none and why in `reason`.
  std::vector<unsigned char> Finish(std::string& reason);

 private:
  struct Free {
    void operator()(cairo_surface_t* surface) const noexcept { cairo_surface_destroy(surface); }
    void operator()(cairo_t* context) const noexcept { cairo_destroy(context); }
    void operator()(PangoLayout* layout) const noexcept { g_object_unref(layout); }
  };
  static cairo_status_t Take(void* bytes, const unsigned char* data, unsigned length) noexcept;
  void Ink(Colour colour, double opacity = 1);
  /// Sets what is shown or measured next, and answers its width.
  double SetText(const std::string& text, double size, bool isBold);

  const Palette& palette_;
  const bool isSvg_;
  std::vector<unsigned char> bytes_;
  std::unique_ptr<cairo_surface_t, Free> surface_;
  std::unique_ptr<cairo_t, Free> context_;
  std::unique_ptr<PangoLayout, Free> layout_;
};

}  // namespace korva
