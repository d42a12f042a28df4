#include <algorithm>
#include <cmath>
#include <map>
#include <sstream>

#include "frame/plugin_params.h"
#include "frame/row_values.h"
#include "host/automation_text.h"
#include "host/plot/plot_runs.h"

namespace korva {
namespace {

/// A ramp as the published curves have it, 0 to 1 over its length.
double CurveAt(MP_CURVE_TYPE curve, double part) {
  switch (curve) {
    case MP_CURVE_LINEAR:
      return part;
    case MP_CURVE_SQUARE:
      return part * part;
    case MP_CURVE_INVSQUARE:
      return std::sqrt(part);
    default:
      return 0;
  }
}

/// The envelope of one row, from the value it has before to `seconds`.
std::vector<PlotPoint> EnvelopeCourse(std::vector<MP_ENVELOPE_SEGMENT> segments, double before, double factor,
                                      double seconds) {
  std::sort(segments.begin(), segments.end(), [](const auto& a, const auto& b) { return a.rtStart < b.rtStart; });
  std::vector<PlotPoint> points{{0, before * factor}};
  for (const MP_ENVELOPE_SEGMENT& segment : segments) {
    const double start = static_cast<double>(segment.rtStart) / 1e7, end = static_cast<double>(segment.rtEnd) / 1e7;
    const auto from = static_cast<double>(segment.valStart), to = static_cast<double>(segment.valEnd);
    points.push_back({start, points.back().y});
    constexpr int kSteps = 64;
    for (int i = 0; i <= kSteps; ++i) {
      const double part = static_cast<double>(i) / kSteps;
      points.push_back({start + (end - start) * part, (from + (to - from) * CurveAt(segment.iCurve, part)) * factor});
    }
  }
  points.push_back({seconds, points.back().y});
  return points;
}

/// Lets the parameters of an effect go through a stream of `seconds`, in blocks, and notes the value of each row at the
/// start of every chunk.
void Sample(CQvPlugInParams& store, const RenderRequest& call, double seconds,
            std::map<std::size_t, std::vector<PlotPoint>>& rows) {
  store.SetStreaming(true);
  store.StartTime(call.rate);
  const auto frames = static_cast<std::int64_t>(seconds * call.rate);
  for (std::int64_t block = 0; block < frames; block += call.blockFrames) {
    store.SetHostTime(std::llround(static_cast<double>(block) / call.rate * 1e7));
    for (std::uint32_t done = 0; done < call.blockFrames;) {
      std::uint32_t flags = 0;
      const std::int64_t at = block + done;
      done += std::min(store.NextChunk(call.blockFrames - done, &flags, 1.0), call.blockFrames - done);
      for (auto& [row, points] : rows) {
        MP_DATA value = 0;
        store.GetParam(static_cast<DWORD>(row), &value);
        if (at < frames) points.push_back({static_cast<double>(at) / call.rate, static_cast<double>(value)});
      }
    }
  }
  store.SetStreaming(false);
}

}  // namespace

Outcome<std::vector<MovedParameter>> SampleAutomation(const PlotRun& run, std::vector<std::string>& remarks) {
  std::istringstream in(run.standardInput);
  const RenderRequest& call = run.call;
  const Outcome<double> moves = AutomationSeconds(call);
  if (!moves) return moves.earlyExit();
  constexpr double kRoom = 1.05, kMostSeconds = 3600;
  const double seconds = *moves * kRoom;
  if (seconds > kMostSeconds) return Failed("--automation draws an hour at most");
  const Outcome<std::vector<PreparedEffect>> effects =
      PrepareEffects(call, {seconds * call.rate, call.rate}, nullptr, in, remarks);
  if (!effects) return effects.earlyExit();
  std::vector<MovedParameter> moved;
  for (const PreparedEffect& effect : *effects) {
    const EffectRow& row = *effect.request->effect;
    std::map<std::size_t, std::vector<MP_ENVELOPE_SEGMENT>> envelopes;
    for (const std::string& text : effect.request->automations) {
      const Outcome<AutomatedSpan> span = ParseAutomation(row, text);
      envelopes[span->row].push_back(span->segment);
    }
    const ComPtr<IMediaParams> params = Query<IMediaParams>(effect.instance.filter.Get());
    auto* const store = dynamic_cast<CQvPlugInParams*>(params.Get());
    if (envelopes.empty() || store == nullptr) continue;
    std::map<std::size_t, std::vector<PlotPoint>> sampled;
    std::map<std::size_t, double> before;
    for (const auto& [index, segments] : envelopes) {
      MP_DATA value = 0;
      store->GetParam(static_cast<DWORD>(index), &value);
      before[index] = static_cast<double>(value);
      sampled[index] = {};
    }
    Sample(*store, call, seconds, sampled);
    for (auto& [index, points] : sampled) {
      const ParamDescriptor& descriptor = row.description.rows[index];
      const double factor = CommandFactor(descriptor);
      for (PlotPoint& point : points) point.y *= factor;
      const std::string unit = descriptor.unit;
      const std::string name = call.effects.size() > 1 ? std::string(row.description.name) + " " : "";
      moved.push_back({name + descriptor.name + (unit.empty() ? "" : " (" + unit + ")"),
                       EnvelopeCourse(envelopes[index], before[index], factor, seconds), std::move(points)});
    }
  }
  return moved;
}

}  // namespace korva
