#pragma once

#include <iosfwd>

#include "host/command_line.h"

namespace korva {

/// The standard streams of a run, and what stands behind them.
struct Streams {
  std::istream& in;
  std::ostream& out;
  std::ostream& err;
  bool outIsTerminal = false;
  bool errIsTerminal = false;
};

/// Renders the one input of a call into its output.
Check RenderOne(const RenderRequest& request, Streams& streams);
/// Does what `korva render` was asked for. Says what was done on `err` unless the call is quiet.
Check Render(const RenderRequest& request, Streams& streams);

}  // namespace korva
