#include <algorithm>
#include <limits>

#include "frame/module_text.h"
#include "pitchtime/page_times.h"

namespace korva {
namespace {

std::uint32_t InputRate(const PageValues& values) noexcept {
  return static_cast<std::uint32_t>(values.Get(kSampleRateRow));
}

}  // namespace

ShortText ShowFrames(const PageValues& values, double frames, PartMillisecond part, StringId none) noexcept {
  const std::uint32_t rate = InputRate(values);
  if (rate != 0) return FormatSamplesAsTime(rate, frames, part);
  ShortText text;
  ShowCaption(text.characters, none);
  return text;
}

double TypedFrames(const PageValues& values, const TimeFields& time, double none) noexcept {
  constexpr auto kMost = static_cast<double>(std::numeric_limits<std::uint32_t>::max());
  const std::uint32_t rate = InputRate(values);
  return rate != 0 ? std::min(FramesOfTime(time.Milliseconds(), rate), kMost) : none;
}

void ShowCaption(std::span<WCHAR> text, StringId format, const ShortText& first, const ShortText& second) noexcept {
  QvPrintF(text, ModuleText(format), {first, second});
}

}  // namespace korva
