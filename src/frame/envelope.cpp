#include "frame/envelope.h"

#include <cstring>
#include <limits>

namespace korva {
namespace {

constexpr double kTicksPerSecond = 10'000'000.0;

/// later - earlier, which may be more than a signed word holds.
double Span(std::int64_t earlier, std::int64_t later) noexcept {
  const auto distance = static_cast<std::uint64_t>(later) - static_cast<std::uint64_t>(earlier);
  return later >= earlier ? static_cast<double>(distance) : -static_cast<double>(std::uint64_t{0} - distance);
}

std::int64_t TimeLeft(std::int64_t time, std::int64_t end) noexcept {
  const auto distance = static_cast<std::uint64_t>(end) - static_cast<std::uint64_t>(time);
  constexpr auto kMost = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  return static_cast<std::int64_t>(distance < kMost ? distance : kMost);
}

}  // namespace

void Envelope::RemoveOverlap(std::int64_t start, std::int64_t end) {
  std::size_t kept = 0;
  std::size_t at = 0;
  for (; at < segments_.size(); ++at) {
    const MP_ENVELOPE_SEGMENT& old = segments_[at].course;
    if (old.rtEnd <= start) {
      if (kept != at) segments_[kept] = segments_[at];
      ++kept;
    } else if (old.rtStart >= end) {
      break;
    }
  }
  segments_.Remove(kept, at - kept);
}

HRESULT Envelope::Add(const MP_ENVELOPE_SEGMENT* segments, std::uint32_t count) {
  if (!segments_.Reserve(segments_.size() + count)) return E_OUTOFMEMORY;
  for (std::uint32_t i = 0; i < count; ++i) RemoveOverlap(segments[i].rtStart, segments[i].rtEnd);
  // New segments find their place among the old ones only, so they must come sorted by start.
  const std::size_t old = segments_.size();
  std::size_t at = 0;
  for (std::uint32_t i = 0; i < count; ++i) {
    while (at < old && segments_[at].course.rtStart < segments[i].rtStart) ++at;
    if (!segments_.Insert(at, EnvelopeSegment{segments[i], 0})) return E_OUTOFMEMORY;
    ++at;
  }
  return S_OK;
}

void Envelope::Flush(std::int64_t start, std::int64_t end) {
  RemoveOverlap(start, end);
}

bool Envelope::ComeToRest() noexcept {
  inSegment = false;
  if (slope_ == 0 && curvature_ == 0) return false;
  slope_ = 0;
  curvature_ = 0;
  return true;
}

std::int64_t Envelope::Find(std::int64_t time, bool& ranOff) {
  const auto count = static_cast<std::int64_t>(segments_.size());
  auto index = static_cast<std::int64_t>(cursor_);
  std::int64_t step = 1;
  ranOff = false;
  while (index >= 0 && index < count) {
    const MP_ENVELOPE_SEGMENT& course = segments_[static_cast<std::size_t>(index)].course;
    if (time < course.rtStart) {
      step = -1;
    } else if (time < course.rtEnd) {
      cursor_ = static_cast<std::size_t>(index);
      return index;
    } else if (step < 0 && course.rtEnd < time) {
      break;
    }
    index += step;
  }
  ranOff = index >= count;
  // Where the next search starts: beside the gap that time stands in, so that waiting in it costs nothing.
  cursor_ = static_cast<std::size_t>(index < 0 ? 0 : index >= count ? count - 1 : index);
  return -1;
}

std::uint32_t Envelope::Evaluate(std::int64_t time, double scale, ValueRange range, std::int64_t& until) {
  if (captured) return 0;
  if (segments_.empty()) return ComeToRest() ? std::uint32_t{kChanged} : 0U;
  inSegment = false;
  if (cursor_ >= segments_.size()) cursor_ = 0;
  std::uint32_t result = 0;
  bool ranOff = false;
  if (const std::int64_t found = Find(time, ranOff); found >= 0) {
    EnvelopeSegment& segment = segments_[static_cast<std::size_t>(found)];
    inSegment = true;
    until = TimeLeft(time, segment.course.rtEnd);
    result = EvaluateSegment(segment, time, scale, range) ? kInside | kChanged : kInside;
  } else if (ranOff) {
    slope_ = 0;
    curvature_ = 0;
    if (segments_[segments_.size() - 1].course.rtEnd == time) result |= kChanged;
  }
  if (releasePending) {
    releasePending = false;
    result |= kChanged;
  }
  return result;
}

bool Envelope::EvaluateSegment(EnvelopeSegment& segment, std::int64_t time, double scale, ValueRange range) {
  const MP_ENVELOPE_SEGMENT& course = segment.course;
  const double length = Span(course.rtStart, course.rtEnd);
  const double seconds = length / kTicksPerSecond * scale;
  const double t = Span(course.rtStart, time) / length;
  const double delta = static_cast<double>(course.valEnd) - static_cast<double>(course.valStart);
  double result = static_cast<double>(course.valStart);
  slope_ = 0;
  curvature_ = 0;
  // A host may send any word; only its bits are looked at.
  std::uint32_t curve = 0;
  std::memcpy(&curve, &course.iCurve, sizeof curve);
  switch (curve) {
    case MP_CURVE_LINEAR:
      result = t * delta + static_cast<double>(course.valStart);
      slope_ = delta / seconds;
      break;
    case MP_CURVE_SQUARE:
      result = delta * (t * t) + static_cast<double>(course.valStart);
      slope_ = (2 * t + 1 / seconds) * delta / seconds;
      curvature_ = 2 * delta / (seconds * seconds);
      break;
    case MP_CURVE_INVSQUARE:
      result = -delta * ((t - 1) * (t - 1)) + static_cast<double>(course.valEnd);
      slope_ = (2 * (t - 1) + 1 / seconds) * -delta / seconds;
      curvature_ = -2 * delta / (seconds * seconds);
      break;
    default:
      break;
  }
  // What is no number leaves the value where it stands.
  if (const auto narrowed = static_cast<float>(result); narrowed == narrowed) {
    value = narrowed > range.maximum ? range.maximum : narrowed < range.minimum ? range.minimum : narrowed;
  }
  const bool moved = time == course.rtStart || segment.entered == 0 || slope_ != 0 || curvature_ != 0;
  segment.entered = 1;
  return moved;
}

}  // namespace korva
