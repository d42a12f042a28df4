#pragma once

#include <cstdint>

#include "audio/list.h"
#include "platform/locks.h"
#include "platform/media_params.h"

namespace korva {

/// A timed piece of a parameter's course: the published record, and whether it was evaluated since it was added.
struct EnvelopeSegment {
  static constexpr std::uint32_t kGone = 0xFFFFFFFF;

  MP_ENVELOPE_SEGMENT course;
  std::uint32_t entered;
  std::uint32_t successor;  ///< for an edit: its place in the next list, or `kGone`
};

/// The range that an evaluated value is held to, in display units.
struct ValueRange {
  float minimum;
  float maximum;
};

/// The automation of one parameter: its segments sorted by start, its current value, and the place that time has
/// reached.
///
/// Values are sampled, not tracked: they are worked out at chunk starts, and one rests where the last chunk start
/// inside a segment left it. Times are in units of 100 ns.
///
/// The store's lock guards all but `Add`, which takes it by itself; edits, `Add` and `Flush`, come one at a time.
class Envelope {
 public:
  /// What an evaluation says.
  enum Result : std::uint32_t {
    kInside = 1,   ///< a segment covers the time
    kChanged = 2,  ///< the engine must look
  };

  /// Puts `count` segments in, given in order of start; old ones that they overlap are deleted whole. `E_OUTOFMEMORY`
  /// changes nothing. `lock` is the one that guards the envelope, free when this is called: the next list is made
  /// outside of it, so that whoever evaluates waits for the exchange alone.
  HRESULT Add(const MP_ENVELOPE_SEGMENT* segments, std::uint32_t count, platform::Lock& lock);
  /// Deletes every segment that overlaps the span, in part too.
  void Flush(std::int64_t start, std::int64_t end) noexcept;
  bool empty() const noexcept { return segments_.empty(); }
  const List<EnvelopeSegment>& segments() const noexcept { return segments_; }

  /// Works the value out at `time`. With `kInside`, `until` is the time left in the segment. While captured nothing
  /// changes: the user's hand overrides the envelope. `scale` stretches the segments' seconds in the two rates.
  std::uint32_t Evaluate(std::int64_t time, double scale, ValueRange range, std::int64_t& until);
  /// With no segment on any parameter: forgets any movement; true if there was one.
  bool ComeToRest() noexcept;

  float value = 0;              ///< display units
  bool captured = false;        ///< the user holds the parameter
  bool releasePending = false;  ///< the user let go and the engine does not know yet
  bool inSegment = false;       ///< a segment covered the last evaluated time

 private:
  /// Marks as gone what overlaps the span, looking from `from` on; answers where it stopped.
  std::size_t MarkOverlap(std::size_t from, std::int64_t start, std::int64_t end) noexcept;
  /// The list with new segments put in; false if there is no memory. Runs beside an evaluation.
  bool Merge(const MP_ENVELOPE_SEGMENT* segments, std::uint32_t count, List<EnvelopeSegment>& next) noexcept;
  void NoteEntered(std::size_t index) noexcept;
  /// The index of the segment that covers `time`, or -1; `ranOff` when the search passed the last one.
  std::int64_t Find(std::int64_t time, bool& ranOff);
  bool EvaluateSegment(EnvelopeSegment& segment, std::int64_t time, double scale, ValueRange range);

  List<EnvelopeSegment> segments_;
  double slope_ = 0;      // per second at the last evaluation; 0 means standing still
  double curvature_ = 0;  // the same of the second derivative
  std::size_t cursor_ = 0;
  std::size_t enteredFrom_ = 0, enteredTo_ = 0;  // the range of those entered for the first time since an edit began
};

}  // namespace korva
