#include "frame/envelope.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <limits>
#include <mutex>

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

std::size_t Envelope::MarkOverlap(std::size_t from, std::int64_t start, std::int64_t end) noexcept {
  for (; from < segments_.size(); ++from) {
    EnvelopeSegment& old = segments_[from];
    if (old.successor == EnvelopeSegment::kGone || old.course.rtEnd <= start) continue;
    if (old.course.rtStart >= end) break;
    old.successor = EnvelopeSegment::kGone;
  }
  return from;
}

bool Envelope::Merge(const MP_ENVELOPE_SEGMENT* segments, std::uint32_t count, List<EnvelopeSegment>& next) noexcept {
  if (segments_.size() + count >= EnvelopeSegment::kGone || !next.Reserve(segments_.size() + count)) return false;
  for (EnvelopeSegment& old : segments_) old.successor = 0;
  // A later segment passes over what an earlier one passed over or took out. One that comes out of order looks from the
  // first again.
  std::size_t from = 0;
  for (std::uint32_t i = 0; i < count; ++i) {
    if (i != 0 && segments[i].rtStart < segments[i - 1].rtStart) from = 0;
    from = MarkOverlap(from, segments[i].rtStart, segments[i].rtEnd);
  }
  const auto kept =
      static_cast<std::size_t>(std::count_if(segments_.begin(), segments_.end(), [](const EnvelopeSegment& old) {
        return old.successor != EnvelopeSegment::kGone;
      }));
  // A place is looked for no further than the list went before, though it grows: a late segment can come to stand
  // before old ones that it should follow.
  std::uint32_t added = 0;
  for (EnvelopeSegment& old : segments_) {
    if (old.successor == EnvelopeSegment::kGone) continue;
    while (added < count && !(next.size() < kept && old.course.rtStart < segments[added].rtStart)) {
      next.Append({segments[added++], 0, 0});
    }
    old.successor = static_cast<std::uint32_t>(next.size());
    next.Append({old.course, std::atomic_ref(old.entered).load(std::memory_order_relaxed), 0});
  }
  while (added < count) next.Append({segments[added++], 0, 0});
  return true;
}

HRESULT Envelope::Add(const MP_ENVELOPE_SEGMENT* segments, std::uint32_t count, platform::Lock& lock) {
  {
    const std::lock_guard guard(lock);
    enteredFrom_ = enteredTo_ = 0;
  }
  List<EnvelopeSegment> next;
  if (!Merge(segments, count, next)) return E_OUTOFMEMORY;
  const std::lock_guard guard(lock);
  // Time went on meanwhile: as a rule over none or one that it had not met before.
  for (std::size_t i = enteredFrom_; i < enteredTo_; ++i) {
    const EnvelopeSegment& old = segments_[i];
    if (old.successor != EnvelopeSegment::kGone) next[old.successor].entered = old.entered;
  }
  segments_.Swap(next);
  return S_OK;
}

void Envelope::Flush(std::int64_t start, std::int64_t end) noexcept {
  for (EnvelopeSegment& old : segments_) old.successor = 0;
  MarkOverlap(0, start, end);
  std::size_t kept = 0;
  for (const EnvelopeSegment& old : segments_) {
    if (old.successor != EnvelopeSegment::kGone) segments_[kept++] = old;
  }
  segments_.Remove(kept, segments_.size() - kept);
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

void Envelope::NoteEntered(std::size_t index) noexcept {
  enteredFrom_ = enteredTo_ == 0 ? index : std::min(enteredFrom_, index);
  enteredTo_ = std::max(enteredTo_, index + 1);
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
    if (segment.entered == 0) NoteEntered(static_cast<std::size_t>(found));
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
  // What is no number leaves the value as it is.
  if (const auto narrowed = static_cast<float>(result); narrowed == narrowed) {
    value = narrowed > range.maximum ? range.maximum : narrowed < range.minimum ? range.minimum : narrowed;
  }
  const bool moved = time == course.rtStart || segment.entered == 0 || slope_ != 0 || curvature_ != 0;
  std::atomic_ref(segment.entered).store(1, std::memory_order_relaxed);
  return moved;
}

}  // namespace korva
