#include "plot/canvas.h"

#include <cairo-svg.h>
#include <pango/pangocairo.h>

#include <cmath>
#include <cstring>
#include <new>
#include <string_view>

namespace korva {
namespace {

// One that is there wherever fonts are; the system puts its own default in the place of one that is not.
constexpr const char* kFont = "DejaVu Sans";

/// Bytes of a character that begins at `at`, 0 for what is none.
std::size_t CharacterLength(std::string_view text, std::size_t at) noexcept {
  const auto byte = [&](std::size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U; };
  const unsigned first = byte(at);
  if (first < 0x80U) return first >= 0x20U && first != 0x7FU ? 1 : 0;
  const std::size_t length = first >= 0xF0U ? 4 : first >= 0xE0U ? 3 : 2;
  if (first < 0xC2U || first > 0xF4U) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(at + i) & 0xC0U) != 0x80U) return 0;
  }
  // What would be longer than it has to be, halves of pairs, and what lies beyond the last character.
  const unsigned second = byte(at + 1);
  if ((first == 0xE0U && second < 0xA0U) || (first == 0xEDU && second > 0x9FU)) return 0;
  if ((first == 0xF0U && second < 0x90U) || (first == 0xF4U && second > 0x8FU)) return 0;
  return length;
}

std::string Cleaned(const std::string& text) {
  std::string clean;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = CharacterLength(text, at);
    clean += length == 0 ? std::string(1, '?') : text.substr(at, length);
    at += length == 0 ? 1 : length;
  }
  return clean;
}

}  // namespace

cairo_status_t Canvas::Take(void* bytes, const unsigned char* data, unsigned length) noexcept {
  try {
    auto* const target = static_cast<std::vector<unsigned char>*>(bytes);
    target->insert(target->end(), data, data + length);
    return CAIRO_STATUS_SUCCESS;
  } catch (const std::bad_alloc&) {
    return CAIRO_STATUS_NO_MEMORY;
  }
}

Canvas::Canvas(const Look& look) : palette_(look.isDark ? kDarkPalette : kLightPalette), isSvg_(look.isSvg) {
  const double width = look.width * look.scale, height = look.height * look.scale;
  surface_.reset(isSvg_ ? cairo_svg_surface_create_for_stream(&Take, &bytes_, width, height)
                        : cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(std::lround(width)),
                                                     static_cast<int>(std::lround(height))));
  context_.reset(cairo_create(surface_.get()));
  cairo_scale(context_.get(), look.scale, look.scale);
  // Nothing of a text depends on the settings of a desktop.
  cairo_font_options_t* const options = cairo_font_options_create();
  cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
  cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
  cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
  PangoFontMap* const fonts = pango_cairo_font_map_new();
  PangoContext* const texts = pango_font_map_create_context(fonts);
  pango_cairo_context_set_font_options(texts, options);
  pango_context_set_language(texts, pango_language_from_string("en"));
  pango_context_set_base_dir(texts, PANGO_DIRECTION_LTR);
  pango_context_set_round_glyph_positions(texts, FALSE);
  layout_.reset(pango_layout_new(texts));
  pango_layout_set_single_paragraph_mode(layout_.get(), TRUE);
  pango_layout_set_auto_dir(layout_.get(), FALSE);
  g_object_unref(texts);
  g_object_unref(fonts);
  cairo_font_options_destroy(options);
  cairo_set_line_join(context_.get(), CAIRO_LINE_JOIN_ROUND);
  Box(0, 0, look.width, look.height, palette_.paper);
}

void Canvas::Ink(Colour colour, double opacity) {
  cairo_set_source_rgba(context_.get(), colour.red, colour.green, colour.blue, opacity);
}

void Canvas::Line(std::span<const CanvasPoint> points, Colour colour, double width, std::span<const double> dashes) {
  if (points.empty()) return;
  cairo_move_to(context_.get(), points.front().x, points.front().y);
  for (const CanvasPoint& point : points.subspan(1)) cairo_line_to(context_.get(), point.x, point.y);
  Ink(colour);
  cairo_set_line_width(context_.get(), width);
  cairo_set_dash(context_.get(), dashes.data(), static_cast<int>(dashes.size()), 0);
  cairo_stroke(context_.get());
}

void Canvas::Area(std::span<const CanvasPoint> points, Colour colour, double opacity) {
  if (points.empty()) return;
  cairo_move_to(context_.get(), points.front().x, points.front().y);
  for (const CanvasPoint& point : points.subspan(1)) cairo_line_to(context_.get(), point.x, point.y);
  cairo_close_path(context_.get());
  Ink(colour, opacity);
  cairo_fill(context_.get());
}

void Canvas::Box(double x, double y, double width, double height, Colour colour, double opacity) {
  cairo_rectangle(context_.get(), x, y, width, height);
  Ink(colour, opacity);
  cairo_fill(context_.get());
}

double Canvas::SetText(const std::string& text, double size, bool isBold) {
  PangoFontDescription* const font = pango_font_description_new();
  pango_font_description_set_family_static(font, kFont);
  pango_font_description_set_weight(font, isBold ? PANGO_WEIGHT_BOLD : PANGO_WEIGHT_NORMAL);
  pango_font_description_set_absolute_size(font, size * PANGO_SCALE);
  pango_layout_set_font_description(layout_.get(), font);
  pango_font_description_free(font);
  const std::string clean = Cleaned(text);
  pango_layout_set_text(layout_.get(), clean.data(), static_cast<int>(clean.size()));
  int width = 0;
  pango_layout_get_size(layout_.get(), &width, nullptr);
  return static_cast<double>(width) / PANGO_SCALE;
}

double Canvas::TextWidth(const std::string& text, double size, bool isBold) {
  return SetText(text, size, isBold);
}

void Canvas::Text(double x, double y, const std::string& text, double size, Colour colour, Align align, bool isBold) {
  const double width = SetText(text, size, isBold);
  const double left = align == Align::kLeft ? x : align == Align::kMiddle ? x - width / 2 : x - width;
  cairo_move_to(context_.get(), left, y - static_cast<double>(pango_layout_get_baseline(layout_.get())) / PANGO_SCALE);
  Ink(colour);
  pango_cairo_show_layout(context_.get(), layout_.get());
  cairo_new_path(context_.get());
}

void Canvas::TextUp(double x, double y, const std::string& text, double size, Colour colour) {
  cairo_save(context_.get());
  cairo_translate(context_.get(), x, y);
  cairo_rotate(context_.get(), -std::acos(0.0));
  Text(0, 0, text, size, colour, Align::kMiddle);
  cairo_restore(context_.get());
}

void Canvas::Image(double x, double y, double width, double height, const std::vector<std::uint32_t>& pixels,
                   std::size_t columns, std::size_t rows) {
  const std::unique_ptr<cairo_surface_t, Free> image(
      cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(columns), static_cast<int>(rows)));
  if (cairo_surface_status(image.get()) != CAIRO_STATUS_SUCCESS) throw std::bad_alloc();
  unsigned char* const data = cairo_image_surface_get_data(image.get());
  const auto stride = static_cast<std::size_t>(cairo_image_surface_get_stride(image.get()));
  for (std::size_t row = 0; row < rows; ++row) {
    std::memcpy(data + row * stride, pixels.data() + row * columns, columns * sizeof pixels.front());
  }
  cairo_surface_mark_dirty(image.get());
  cairo_save(context_.get());
  cairo_translate(context_.get(), x, y);
  cairo_scale(context_.get(), width / static_cast<double>(columns), height / static_cast<double>(rows));
  cairo_set_source_surface(context_.get(), image.get(), 0, 0);
  cairo_pattern_set_filter(cairo_get_source(context_.get()), CAIRO_FILTER_BILINEAR);
  cairo_pattern_set_extend(cairo_get_source(context_.get()), CAIRO_EXTEND_PAD);
  cairo_rectangle(context_.get(), 0, 0, static_cast<double>(columns), static_cast<double>(rows));
  cairo_fill(context_.get());
  cairo_restore(context_.get());
}

void Canvas::Hold(double x, double y, double width, double height) {
  cairo_save(context_.get());
  cairo_rectangle(context_.get(), x, y, width, height);
  cairo_clip(context_.get());
}

void Canvas::LetGo() {
  cairo_restore(context_.get());
}

std::vector<unsigned char> Canvas::Finish(std::string& reason) {
  cairo_status_t status = cairo_status(context_.get());
  if (status == CAIRO_STATUS_SUCCESS && !isSvg_) {
    cairo_surface_flush(surface_.get());
    status = cairo_surface_write_to_png_stream(surface_.get(), &Take, &bytes_);
  }
  context_.reset();
  cairo_surface_finish(surface_.get());
  if (status == CAIRO_STATUS_SUCCESS) status = cairo_surface_status(surface_.get());
  if (status == CAIRO_STATUS_SUCCESS) return std::move(bytes_);
  reason = cairo_status_to_string(status);
  return {};
}

}  // namespace korva
