// What the graph of the Multi-Tap Delay's page shows: the echoes that the feedback makes of the taps, and the bars.
#pragma once

#include <cstdint>
#include <span>

#include "delay/echomt/echomt_block.h"

namespace korva {

/// Full scale of a response and of a bar: a gain of 100 %.
inline constexpr std::int32_t kEchoUnity = 10000;

/// Milliseconds that the graph spans, by graph resolution; any other resolution counts as the first.
inline constexpr std::int32_t kGraphSpans[] = {500, 1000, 3000, 5000};
std::int32_t GraphSpan(std::int32_t resolution) noexcept;

/// Writes what the feedback adds to an impulse, by milliseconds: the entry of a time is the level that comes back then,
/// full scale at most. Entry 0 is the impulse itself. It knows gains, delays and feedback alone, summed as one channel:
/// no pan, no modulation, no low-pass. `params` are in their ranges.
void ComputeEchoResponse(const EchomtParams& params, std::span<std::int32_t> response) noexcept;

/// Edges in pixels; right and bottom lie outside.
struct GraphBox {
  int left, top, right, bottom;
  bool operator==(const GraphBox&) const = default;
};

/// The line of level 0 in a graph.
constexpr int ZeroLine(const GraphBox& graph) noexcept {
  return (graph.bottom - graph.top) / 2;
}

/// The bar of a level at a time in a graph that spans `span` milliseconds: one pixel wide, up from the zero line or
/// down from below it, and a dot on it for level 0. A time beyond the span gives an empty box.
GraphBox BarOf(const GraphBox& graph, std::int32_t span, std::int32_t time, std::int32_t level) noexcept;

}  // namespace korva
