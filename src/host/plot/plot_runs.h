#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "host/chain/stream.h"
#include "plot/pictures.h"

// The runs that pictures are made of: a chain with a sound in memory.
namespace korva {

/// What one side of a picture runs.
struct PlotRun {
  RenderRequest call;         ///< rate and channels are told
  std::string standardInput;  ///< what a state of `-` is read from, in each run anew
};

/// When the last automation of a call is over.
Outcome<double> AutomationSeconds(const RenderRequest& call);

/// `sound` and `silence` seconds behind it through the chain. `remarks` gets what the user should know.
Outcome<PlainSound> RunSound(const PlotRun& run, const PlainSound& sound, double silence,
                             std::vector<std::string>& remarks);

/// An impulse at full scale in every channel, `lead` seconds after the start, and what comes back until it has died
/// down.
Outcome<ImpulseRun> RunImpulse(const PlotRun& run, double lead, std::vector<std::string>& remarks);

/// The response of each channel: of `moments` impulses over a cycle where the chain swings, from noise where it moves
/// sound in time.
Outcome<std::vector<FrequencyCurves>> RunResponse(const PlotRun& run, std::size_t moments,
                                                  std::vector<std::string>& remarks);

/// Four seconds from 20 Hz to 20 kHz at -6 dB, every octave as long.
PlainSound Sweep(std::uint32_t rate, std::uint32_t channels);

/// What the automation of a call told, and what the effects' own parameters make of it in a stream that is cut like
/// theirs.
Outcome<std::vector<MovedParameter>> SampleAutomation(const PlotRun& run, std::vector<std::string>& remarks);

/// A sound file, all of it.
Outcome<PlainSound> LoadSound(const std::string& path, const RenderRequest& call, std::istream& in,
                              std::vector<std::string>& remarks);

}  // namespace korva
