// Envelope lists against a plain list: edits and evaluations, a byte for each choice.

#include <cmath>

#include "frame/envelope.h"
#include "input.h"
#include "plain_envelope.h"

namespace korva {
namespace {

constexpr ValueRange kRange{-100, 100};

float AnyValue(Input& input) {
  const unsigned kind = input.TakeUpTo(3);
  return kind == 0 ? input.Take<float>() : static_cast<float>(input.Take<std::int8_t>());
}

/// Near the others as a rule, so that segments meet and overlap; sometimes anywhere.
std::int64_t AnyTime(Input& input) {
  const auto near = input.Take<std::uint8_t>();
  return near == 0xFF ? input.Take<std::int64_t>() : near;
}

void Compare(const Envelope& envelope, const PlainEnvelope& plain) {
  Require(envelope.segments().size() == plain.items.size(), "the lists are of one length");
  for (std::size_t i = 0; i < plain.items.size(); ++i) {
    const EnvelopeSegment& held = envelope.segments()[i];
    Require(SameSegment(held.course, plain.items[i]), "the lists hold the same");
  }
}

void Evaluate(Envelope& envelope, const PlainEnvelope& plain, std::int64_t time, double scale) {
  std::int64_t until = 0;
  const std::uint32_t said = envelope.Evaluate(time, scale, kRange, until);
  Require(envelope.value >= kRange.minimum && envelope.value <= kRange.maximum, "a value lies in its range");
  const bool inside = (said & Envelope::kInside) != 0;
  Require(inside == envelope.inSegment && (!inside || until > 0), "time is left inside of a segment");
  const auto covers = [time](const auto& segment) { return segment.rtStart <= time && time < segment.rtEnd; };
  const auto found = std::find_if(plain.items.begin(), plain.items.end(), covers);
  Require(!inside || found != plain.items.end(), "a segment covers the time");
  // Among segments that stand in order time may jump anywhere.
  const auto meets = [](const auto& a, const auto& b) { return a.rtStart >= a.rtEnd || a.rtEnd > b.rtStart; };
  const bool inOrder = std::adjacent_find(plain.items.begin(), plain.items.end(), meets) == plain.items.end();
  if (!inOrder || plain.items.empty() || plain.items.back().rtStart >= plain.items.back().rtEnd) return;
  Require(inside == (found != plain.items.end()), "the segment that covers the time is found");
  if (!inside || found->iCurve != MP_CURVE_JUMP || std::isnan(found->valStart)) return;
  Require(envelope.value == std::clamp(found->valStart, kRange.minimum, kRange.maximum), "its value is in force");
}

}  // namespace
}  // namespace korva

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace korva;
  Input input(data, size);
  Envelope envelope;
  PlainEnvelope plain;
  platform::Lock lock;
  while (!input.empty()) {
    const unsigned choice = input.TakeUpTo(15);
    if (choice < 6) {
      std::vector<MP_ENVELOPE_SEGMENT> added(1 + choice);
      for (MP_ENVELOPE_SEGMENT& segment : added) {
        segment.rtStart = AnyTime(input);
        segment.rtEnd = AnyTime(input);
        segment.valStart = AnyValue(input);
        segment.valEnd = AnyValue(input);
        segment.iCurve = static_cast<MP_CURVE_TYPE>(1U << input.TakeUpTo(4));
      }
      Require(envelope.Add(added.data(), static_cast<std::uint32_t>(added.size()), lock) == S_OK, "there is memory");
      plain.Add(added);
    } else if (choice == 6) {
      const std::int64_t start = AnyTime(input), end = AnyTime(input);
      envelope.Flush(start, end);
      plain.TakeOut(start, end);
    } else if (choice == 7) {
      envelope.captured = !envelope.captured;
      envelope.releasePending = !envelope.captured;
    } else if (!envelope.captured) {
      Evaluate(envelope, plain, AnyTime(input), choice == 8 ? 0.0 : 1.0);
    }
    Compare(envelope, plain);
  }
  return 0;
}
