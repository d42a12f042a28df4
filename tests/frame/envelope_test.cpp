#include "frame/envelope.h"

#include <gtest/gtest.h>

#include <chrono>
#include <limits>

#include "frame_rig.h"

namespace korva {
namespace {

constexpr REFERENCE_TIME kSecond = 10'000'000;
constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr ValueRange kRange{-100, 100};
constexpr std::uint32_t kInside = Envelope::kInside, kChanged = Envelope::kChanged;

platform::Lock lock;

MP_CURVE_TYPE Curve(int value) {
  return static_cast<MP_CURVE_TYPE>(value);
}

struct Point {
  std::int64_t time;
  std::uint32_t result;
  float value;
  std::int64_t until = 0;
};

// Every point in turn on one envelope: the results depend on where time came from.
void Follow(const char* what, const std::vector<MP_ENVELOPE_SEGMENT>& segments, const std::vector<Point>& points) {
  Envelope envelope;
  envelope.value = 77;
  ASSERT_EQ(envelope.Add(segments.data(), static_cast<std::uint32_t>(segments.size()), lock), S_OK);
  for (const Point& point : points) {
    std::int64_t until = 0;
    EXPECT_EQ(envelope.Evaluate(point.time, 1.0, kRange, until), point.result) << what << " at " << point.time;
    EXPECT_EQ(envelope.value, point.value) << what << " at " << point.time;
    EXPECT_EQ(envelope.inSegment, (point.result & kInside) != 0) << what << " at " << point.time;
    EXPECT_EQ(until, point.until) << what << " at " << point.time;
  }
}

TEST(Envelope, CurvesHaveTheirShapes) {
  const struct {
    const char* what;
    int curve;
    float quarter, half;
    bool moves;
  } rows[] = {
      {"linear", MP_CURVE_LINEAR, 4, 6, true},
      {"square", MP_CURVE_SQUARE, 2.5F, 4, true},
      {"inverse square", MP_CURVE_INVSQUARE, 5.5F, 8, true},
      {"jump", MP_CURVE_JUMP, 2, 2, false},
      {"sine, as a jump", MP_CURVE_SINE, 2, 2, false},
      {"no curve at all", 0x7FFF, 2, 2, false},
  };
  for (const auto& row : rows) {
    // From 2 to 10 over a second that begins at three.
    const std::uint32_t going = row.moves ? kInside | kChanged : kInside;
    Follow(row.what, {Segment(3 * kSecond, 4 * kSecond, 2, 10, Curve(row.curve))},
           {{3 * kSecond - 1, 0, 77},
            {3 * kSecond, kInside | kChanged, 2, kSecond},
            {3 * kSecond + kSecond / 4, going, row.quarter, 3 * kSecond / 4},
            {3 * kSecond + kSecond / 2, going, row.half, kSecond / 2},
            {4 * kSecond, kChanged, row.half},  // it rests where it was last worked out
            {4 * kSecond + 1, 0, row.half},
            {3 * kSecond, kInside | kChanged, 2, kSecond}});
  }
}

TEST(Envelope, SegmentsThatMeanNothingChangeNothingAndEndNowhere) {
  const float stands = 77;
  const struct {
    const char* what;
    std::vector<MP_ENVELOPE_SEGMENT> segments;
    std::vector<Point> points;
  } rows[] = {
      {"no length", {Segment(5, 5, 1, 2)}, {{4, 0, stands}, {5, kChanged, stands}, {6, 0, stands}}},
      {"end before start", {Segment(10, 2, 1, 2)}, {{1, 0, stands}, {5, 0, stands}, {12, 0, stands}, {5, 0, stands}}},
      {"not a number", {Segment(0, 10, kNan, 2)}, {{0, kInside | kChanged, stands, 10}}},
      {"to not a number", {Segment(0, 10, 1, kNan)}, {{0, kInside | kChanged, stands, 10}}},
      {"above the range", {Segment(0, 10, 1e30F, 1e30F)}, {{0, kInside | kChanged, 100, 10}}},
      {"to infinity", {Segment(0, 10, 0, kInfinity)}, {{5, kInside | kChanged, 100, 5}}},
      {"below the range", {Segment(0, 10, -kInfinity, 0, MP_CURVE_JUMP)}, {{5, kInside | kChanged, -100, 5}}},
      {"all of time",
       {Segment(kLeast, kMost, -1, 1)},
       {{kLeast, kInside | kChanged, -1, kMost}, {0, kInside | kChanged, 0, kMost}, {kMost, kChanged, 0}}},
      {"unsorted",
       {Segment(20, 30, 1, 1, MP_CURVE_JUMP), Segment(0, 10, 2, 2, MP_CURVE_JUMP)},
       {{5, 0, stands}, {25, kInside | kChanged, 1, 5}, {5, 0, 1}, {40, 0, 1}}},
      {"two at once, added together",
       {Segment(0, 20, 1, 1, MP_CURVE_JUMP), Segment(0, 20, 2, 2, MP_CURVE_JUMP)},
       {{5, kInside | kChanged, 1, 15}, {5, kInside, 1, 15}}},
  };
  for (const auto& row : rows) Follow(row.what, row.segments, row.points);
}

// That any edits leave what a plain list holds is the claim of the fuzz target.
TEST(Envelope, AddingManyIsOneMerge) {
  std::vector<MP_ENVELOPE_SEGMENT> segments;
  for (int i = 0; i < 50000; ++i) segments.push_back(Segment(i * 200, i * 200 + 200, 1, 2, MP_CURVE_JUMP));
  BareStore store;
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < 4; ++i) EXPECT_EQ(store.AddEnvelope(kChorusModDepth, 50000, segments.data()), S_OK);
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
  EXPECT_LT(taken.count(), 2.0) << "milliseconds as a rule; seconds for each of new times old";
}

TEST(NextChunk, CutsAtTwentyMillisecondsAndAtTheEndOfTheSegmentInForce) {
  const struct {
    const char* what;
    std::vector<MP_ENVELOPE_SEGMENT> segments;
    std::uint32_t frames;
    std::vector<std::uint32_t> chunks;
  } rows[] = {
      {"no segment", {}, 5000, {5000}},
      {"far in the future", {Segment(kSecond, 2 * kSecond, 1, 2)}, 2200, {960, 960, 280}},
      {"ends in 10 ms", {Segment(-kSecond, 100'000, 1, 2)}, 2000, {480, 960, 560}},
      // A coming segment is met where the next chunk begins.
      {"begins in 10 ms", {Segment(100'000, 300'000, 1, 2)}, 2400, {960, 480, 960}},
      {"shorter than a frame", {Segment(-1, 1, 1, 2)}, 100, {1, 99}},
      {"two that meet", {Segment(0, 50'000, 1, 2), Segment(50'000, 90'000, 1, 2)}, 1000, {240, 192, 568}},
  };
  for (const auto& row : rows) {
    BareStore store;
    store.StartTime(48000);
    auto segments = row.segments;
    if (!segments.empty()) {
      ASSERT_EQ(store.AddEnvelope(kChorusModDepth, static_cast<DWORD>(segments.size()), segments.data()), S_OK);
    }
    std::uint32_t left = row.frames;
    for (const std::uint32_t chunk : row.chunks) {
      std::uint32_t flags = 0;
      EXPECT_EQ(store.NextChunk(left, &flags, 1.0), chunk) << row.what << " with " << left << " left";
      left -= chunk;
    }
    EXPECT_EQ(left, 0U) << row.what;
  }
}

TEST(NextChunk, AddsTheBitOfEachRowThatMoved) {
  BareStore store;
  store.StartTime(48000);
  const auto moved = [&store](std::uint32_t frames = 100, std::uint32_t taken = 100) {
    std::uint32_t flags = 0;
    EXPECT_EQ(store.NextChunk(frames, &flags, 1.0), taken);
    return flags;
  };
  EXPECT_EQ(moved(), 0U);
  auto rate = Segment(0, kSecond, 1, 2);
  auto delay = Segment(0, kSecond, 50, 50, MP_CURVE_JUMP);
  store.AddEnvelope(kChorusModRate, 1, &rate);
  store.AddEnvelope(kChorusDelay, 1, &delay);
  EXPECT_EQ(moved(), 3U);
  EXPECT_EQ(moved(), 1U) << "the jump stands";
  auto later = Segment(2 * kSecond, 3 * kSecond, 60, 60, MP_CURVE_JUMP);
  store.AddEnvelope(kChorusDelay, 1, &later);
  EXPECT_EQ(moved(), 1U) << "and does so when another one is added";
  store.FlushEnvelope(kChorusModRate, kLeast, kMost);
  EXPECT_EQ(moved(), 1U) << "emptied while it moved: told once more";
  EXPECT_EQ(moved(), 0U);
  store.AddEnvelope(kChorusModRate, 1, &rate);
  EXPECT_EQ(moved(), 1U);
  store.FlushEnvelope(0xFFFFFFFF, kLeast, kMost);
  EXPECT_EQ(moved(10000, 10000), 1U) << "where no envelope is left, too";
  store.NextChunk(100, nullptr, 1.0);
}

}  // namespace
}  // namespace korva
