#pragma once

#include <functional>
#include <vector>

#include "host/effect_table.h"
#include "host/file_sink.h"
#include "host/file_source.h"
#include "host/outcome.h"

namespace korva {

/// What a run through the chain gave.
struct ChainResult {
  std::int64_t framesIn = 0, framesOut = 0;
  Levels levels;
};

/// A link of the chain: what the user calls it and its filter.
struct ChainLink {
  std::string name;
  ComPtr<IBaseFilter> filter;
};

/// Connects source, effects and sink pin by pin and runs the stream through them, as a graph would. All on the calling
/// thread.
///
/// `withTail`: the end of the stream goes through the effects too, so that they ring out, each into the next.
Outcome<ChainResult> RunChain(SampleInput& input, SampleOutput& output, const FormatRecord& format, StreamCut cut,
                              const std::vector<ChainLink>& effects, bool withTail,
                              const std::function<void(std::int64_t)>& progress);

}  // namespace korva
