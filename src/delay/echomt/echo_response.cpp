#include "delay/echomt/echo_response.h"

#include <algorithm>
#include <iterator>

namespace korva {

std::int32_t GraphSpan(std::int32_t resolution) noexcept {
  const bool known = resolution > 0 && resolution < static_cast<std::int32_t>(std::size(kGraphSpans));
  return kGraphSpans[known ? resolution : 0];
}

void ComputeEchoResponse(const EchomtParams& params, std::span<std::int32_t> response) noexcept {
  if (response.empty()) return;
  double sum = 0;
  for (int tap = 0; tap < params.tapCount; ++tap) sum += params.tapGain[tap] / 100.0;
  const auto scale = static_cast<std::int32_t>(params.feedback * 100.0 / std::max(1.0, sum));
  std::ranges::fill(response, 0);
  response[0] = kEchoUnity;
  if (scale == 0) return;
  const auto count = static_cast<std::int32_t>(response.size());
  for (std::int32_t time = 1; time < count; ++time) {
    std::int32_t sumOfTaps = 0;
    for (int tap = 0; tap < params.tapCount; ++tap) {
      const std::int32_t from = time - params.tapDelayMs[tap];
      if (from >= 0) sumOfTaps += response[static_cast<std::size_t>(from)] * params.tapGain[tap] / 100;
    }
    response[static_cast<std::size_t>(time)] = std::clamp(sumOfTaps * scale / kEchoUnity, -kEchoUnity, kEchoUnity);
  }
}

GraphBox BarOf(const GraphBox& graph, std::int32_t span, std::int32_t time, std::int32_t level) noexcept {
  if (time > span) return {};
  const int half = ZeroLine(graph);
  const int x = graph.left + (graph.right - graph.left - 1) * time / span;
  if (level > 0) {
    const int end = half + graph.top;
    return {x, end - std::max(half * level / kEchoUnity, 1), x + 1, end};
  }
  if (level < 0) {
    const int start = half + graph.top + 1;
    return {x, start, x + 1, start + std::max((graph.bottom - half) * -level / kEchoUnity, 1)};
  }
  return {x, half, x + 1, half + 1};
}

}  // namespace korva
