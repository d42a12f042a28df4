#pragma once

#include <iosfwd>

#include "host/command_line.h"
#include "host/output_file.h"

namespace korva {

/// The standard streams of a run, and what stands behind them.
struct Streams {
  std::istream& in;
  std::ostream& out;
  std::ostream& err;
  bool outIsTerminal = false;
  bool errIsTerminal = false;
};

/// The output of a call, `-` for standard output, which must be no terminal.
Outcome<OutputFile> OpenOutput(const std::string& path, bool overwrite, Streams& streams);
/// Renders the one input of a call into its output.
MaybeExit RenderOne(const RenderRequest& request, Streams& streams);
/// Does what `korva render` was asked for. Says what was done on `err` unless the call is quiet.
MaybeExit Render(const RenderRequest& request, Streams& streams);

}  // namespace korva
