#pragma once

#include "pages/page_values.h"
#include "pitchtime/time_text.h"
#include "qvkit/string_ids.h"

namespace korva {

/// Frames as a time at the input's rate; without an input the text `none`.
ShortText ShowFrames(const PageValues& values, double frames, PartMillisecond part, StringId none) noexcept;

/// A typed time as frames at the input's rate; `none` without an input.
double TypedFrames(const PageValues& values, const TimeFields& time, double none) noexcept;

/// Writes a text of the module, which may take two others, into a caption.
void ShowCaption(std::span<WCHAR> text, StringId format, const ShortText& first = {},
                 const ShortText& second = {}) noexcept;

}  // namespace korva
