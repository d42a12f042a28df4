#include "host/automation_text.h"

#include <algorithm>
#include <cmath>

#include "host/nearest.h"
#include "host/number_text.h"
#include "host/parameter_text.h"

namespace korva {
namespace {

struct CurveName {
  const char* name;
  MP_CURVE_TYPE curve;
};
constexpr CurveName kCurves[] = {
    {"linear", MP_CURVE_LINEAR},
    {"square", MP_CURVE_SQUARE},
    {"invsquare", MP_CURVE_INVSQUARE},
    {"jump", MP_CURVE_JUMP},
};

constexpr std::size_t kLeastFields = 5, kMostFields = 6;

Outcome<MP_CURVE_TYPE> ParseCurve(const ParamDescriptor& row, std::string_view text) {
  std::vector<std::string> names;
  for (const CurveName& curve : kCurves) {
    names.emplace_back(curve.name);
    if (text != curve.name) continue;
    if ((row.info.mopCaps & static_cast<MP_CAPS>(curve.curve)) != 0) return curve.curve;
    return BadCall(std::string(row.name) + " cannot ramp; it only takes jump");
  }
  return BadCall(UnknownName("there is no curve", text, names, "the curves are " + Joined(names, ", ")));
}

Outcome<REFERENCE_TIME> ParseTime(std::string_view text) {
  constexpr double kMostSeconds = 1e9;
  const std::optional<double> seconds = ParseNumber(text);
  if (!seconds || *seconds < 0 || *seconds > kMostSeconds) {
    return BadCall("times are seconds from 0 on, not \"" + std::string(text) + "\"");
  }
  return static_cast<REFERENCE_TIME>(std::llround(*seconds * 1e7));
}

Outcome<AutomatedSpan> ParseFields(const EffectRow& effect, std::string_view text) {
  std::vector<std::string_view> fields;
  for (std::size_t colon = text.find(':'); colon != std::string_view::npos; colon = text.find(':')) {
    fields.push_back(text.substr(0, colon));
    text.remove_prefix(colon + 1);
  }
  fields.push_back(text);
  if (fields.size() < kLeastFields || fields.size() > kMostFields) return BadCall("it takes NAME:T0:T1:V0:V1[:CURVE]");
  const Outcome<std::size_t> row = FindRow(effect, fields[0]);
  if (!row) return row.earlyExit();
  const ParamDescriptor& descriptor = effect.description.rows[*row];
  AutomatedSpan span{*row, {}};
  for (const auto& [field, time] : {std::pair(1U, &span.segment.rtStart), std::pair(2U, &span.segment.rtEnd)}) {
    const Outcome<REFERENCE_TIME> parsed = ParseTime(fields[field]);
    if (!parsed) return parsed.earlyExit();
    *time = *parsed;
  }
  if (span.segment.rtEnd <= span.segment.rtStart) return BadCall("T1 must come after T0");
  for (const auto& [field, value] : {std::pair(3U, &span.segment.valStart), std::pair(4U, &span.segment.valEnd)}) {
    const Outcome<double> parsed = ParseValue(descriptor, fields[field]);
    if (!parsed) return parsed.earlyExit();
    *value = static_cast<MP_DATA>(*parsed);
  }
  const bool ramps = (descriptor.info.mopCaps & static_cast<MP_CAPS>(MP_CURVE_LINEAR)) != 0;
  const Outcome<MP_CURVE_TYPE> curve = ParseCurve(descriptor, fields.size() == kMostFields ? fields[kMostFields - 1]
                                                              : ramps                      ? "linear"
                                                                                           : "jump");
  if (!curve) return curve.earlyExit();
  span.segment.iCurve = *curve;
  if (!ramps && fields.size() < kMostFields && span.segment.valStart != span.segment.valEnd) {
    return BadCall(std::string(descriptor.name) + " cannot ramp; with :jump at the end it takes V0 at T0");
  }
  return span;
}

/// Adds a jump to the end value behind each ramp that no other span follows at once. A stream takes values by chunks,
/// and would rest on that of the last one.
void CloseRamps(std::vector<AutomatedSpan>& spans) {
  constexpr REFERENCE_TIME kLength = 10'000;
  const std::size_t count = spans.size();
  for (std::size_t i = 0; i < count; ++i) {
    AutomatedSpan jump = spans[i];
    if (jump.segment.iCurve == MP_CURVE_JUMP) continue;
    jump.segment.rtStart = jump.segment.rtEnd;
    jump.segment.rtEnd += kLength;
    for (std::size_t k = 0; k < count; ++k) {
      const MP_ENVELOPE_SEGMENT& other = spans[k].segment;
      if (spans[k].row != jump.row || other.rtStart < jump.segment.rtStart) continue;
      jump.segment.rtEnd = std::min(jump.segment.rtEnd, other.rtStart);
    }
    if (jump.segment.rtEnd <= jump.segment.rtStart) continue;
    jump.segment.valStart = jump.segment.valEnd;
    jump.segment.iCurve = MP_CURVE_JUMP;
    spans.push_back(jump);
  }
}

}  // namespace

Outcome<AutomatedSpan> ParseAutomation(const EffectRow& effect, std::string_view text) {
  Outcome<AutomatedSpan> span = ParseFields(effect, text);
  if (span) return span;
  return EarlyExit{span.earlyExit().exitCode, "--automate " + std::string(text) + ": " + span.earlyExit().text};
}

Outcome<std::vector<AutomatedSpan>> ApplyAutomation(const EffectRow& effect, EffectInstance& instance,
                                                    const std::vector<std::string>& texts, bool closesRamps) {
  std::vector<AutomatedSpan> spans;
  if (texts.empty()) return spans;
  const ComPtr<IMediaParams> params = Query<IMediaParams>(instance.filter.Get());
  if (!params) return BadCall(std::string(effect.description.name) + " has no automation");
  for (const std::string& text : texts) {
    const Outcome<AutomatedSpan> span = ParseAutomation(effect, text);
    if (!span) return span.earlyExit();
    // An envelope drops a segment that a later one overlaps, and half of what was asked for would be gone unseen.
    const bool overlaps = std::any_of(spans.begin(), spans.end(), [&](const AutomatedSpan& other) {
      return other.row == span->row && other.segment.rtStart < span->segment.rtEnd &&
             span->segment.rtStart < other.segment.rtEnd;
    });
    if (overlaps) return BadCall("--automate " + text + ": it overlaps an earlier one of the same parameter");
    spans.push_back(*span);
  }
  std::vector<AutomatedSpan> added = spans;
  if (closesRamps) CloseRamps(added);
  for (AutomatedSpan& span : added) {
    if (FAILED(params->AddEnvelope(static_cast<DWORD>(span.row), 1, &span.segment))) return Failed("out of memory");
  }
  return spans;
}

}  // namespace korva
