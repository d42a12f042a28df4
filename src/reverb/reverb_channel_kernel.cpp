#include <algorithm>

#include "reverb/reverb_combs.h"
#include "reverb/reverb_network.h"
#include "reverb/reverb_tone.h"

namespace korva {
namespace {

/// Pre-delay, early taps and the final mix; `sum` is what the combs gave.
void Mix(ReverbChannel& channel, const ReverbMix& mix, const double* sum, double* samples,
         std::size_t frames) noexcept {
  const double e1 = mix.earlyLeft[0], e2 = mix.earlyLeft[1], e3 = mix.earlyLeft[2];
  const double earlyGain = mix.earlyGain, reverbGain = mix.reverbGain, dryGain = mix.dryGain;
  double* const preDelay = channel.preDelay.ring.data();
  double* const early = channel.early.ring.data();
  const std::size_t preDelayEntries = channel.preDelay.entries, earlyEntries = channel.early.entries;
  std::size_t write = channel.preDelayPosition;
  std::size_t taps[kEarlyTaps] = {channel.taps[0], channel.taps[1], channel.taps[2]};
  while (frames != 0) {
    std::size_t read = write + 1 == preDelayEntries ? 0 : write + 1;
    std::size_t run = UntilWrap(read, preDelayEntries, UntilWrap(write, preDelayEntries, frames));
    for (const std::size_t tap : taps) run = UntilWrap(tap, earlyEntries, run);
    channel.preDelay.Clean(write, run);
    channel.preDelay.Clean(read, run);
    for (const std::size_t tap : taps) channel.early.Clean(tap, run);
    for (std::size_t i = 0; i < run; ++i) {
      const double dry = samples[i];
      preDelay[write + i] = sum[i];
      const double reverb = preDelay[read + i];
      samples[i] = (early[taps[0] + i] * e1 + early[taps[1] + i] * e2 + early[taps[2] + i] * e3) * earlyGain +
                   reverb * reverbGain + dry * dryGain;
      early[taps[2] + i] = dry;
    }
    Advance(write, run, preDelayEntries);
    for (std::size_t& tap : taps) Advance(tap, run, earlyEntries);
    sum += run;
    samples += run;
    frames -= run;
  }
  channel.preDelayPosition = write;
  std::copy_n(taps, kEarlyTaps, channel.taps.begin());
}

template <class Input>
void RunBank(ReverbComb* combs, const ReverbMix& mix, Input input, double* sum, std::size_t frames) noexcept {
  switch (mix.combCount) {
    case 10:
      return RunCombs<PlainRules, false>(std::make_index_sequence<5>{}, combs, mix, input, sum, frames);
    case 9:
      return RunCombs<PlainRules, true>(std::make_index_sequence<4>{}, combs, mix, input, sum, frames);
    default:
      return RunCombs<PlainRules, false>(std::make_index_sequence<4>{}, combs, mix, input, sum, frames);
  }
}

}  // namespace

void RunReverbChannel(ReverbChannel& channel, const ReverbMix& mix, double* samples, std::size_t frames) noexcept {
  double input[kReverbBlock];
  double sum[kReverbBlock];
  std::copy_n(samples, frames, input);
  ReverbComb* const combs = channel.combs.data();
  if (mix.bassOn) {
    RunBank(combs, mix, FilteredInput<PlainRules, true>(channel, mix, input), sum, frames);
  } else {
    RunBank(combs, mix, FilteredInput<PlainRules, false>(channel, mix, input), sum, frames);
  }
  Mix(channel, mix, sum, samples, frames);
}

}  // namespace korva
