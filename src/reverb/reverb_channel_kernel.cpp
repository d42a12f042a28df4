#include <algorithm>

#include "reverb/reverb_combs.h"
#include "reverb/reverb_network.h"
#include "reverb/reverb_tone.h"

namespace korva {
namespace {

/// Pre-delay, early taps and the final mix; `sum` is what the combs gave.
template <class Lanes>
void Mix(ReverbChannel& channel, const ReverbMix& mix, const double* sum, double* samples,
         std::size_t frames) noexcept {
  const Lanes e1 = Lanes::Broadcast(mix.earlyLeft[0]), e2 = Lanes::Broadcast(mix.earlyLeft[1]),
              e3 = Lanes::Broadcast(mix.earlyLeft[2]);
  const Lanes earlyGain = Lanes::Broadcast(mix.earlyGain), reverbGain = Lanes::Broadcast(mix.reverbGain),
              dryGain = Lanes::Broadcast(mix.dryGain);
  const std::size_t preDelayEntries = channel.preDelay.entries, earlyEntries = channel.early.entries;
  std::size_t write = channel.preDelayPosition;
  std::size_t taps[kEarlyTaps] = {channel.taps[0], channel.taps[1], channel.taps[2]};
  while (frames != 0) {
    const std::size_t read = write + 1 == preDelayEntries ? 0 : write + 1;
    std::size_t run = UntilWrap(read, preDelayEntries, UntilWrap(write, preDelayEntries, frames));
    for (const std::size_t tap : taps) run = UntilWrap(tap, earlyEntries, run);
    channel.preDelay.Clean(write, run);
    channel.preDelay.Clean(read, run);
    for (const std::size_t tap : taps) channel.early.Clean(tap, run);
    double* const preDelay = channel.preDelay.ring.data();
    double* const early = channel.early.ring.data();
    for (std::size_t i = 0; i < run; ++i) {
      constexpr std::size_t kWidth = Lanes::kLanes;
      const Lanes dry = Lanes::Load(samples + kWidth * i);
      Lanes::Load(sum + kWidth * i).Store(preDelay + kWidth * (write + i));
      const Lanes reverb = Lanes::Load(preDelay + kWidth * (read + i));
      const Lanes t1 = Lanes::Load(early + kWidth * (taps[0] + i)), t2 = Lanes::Load(early + kWidth * (taps[1] + i)),
                  t3 = Lanes::Load(early + kWidth * (taps[2] + i));
      ((t1 * e1 + t2 * e2 + t3 * e3) * earlyGain + reverb * reverbGain + dry * dryGain).Store(samples + kWidth * i);
      dry.Store(early + kWidth * (taps[2] + i));
    }
    Advance(write, run, preDelayEntries);
    for (std::size_t& tap : taps) Advance(tap, run, earlyEntries);
    sum += Lanes::kLanes * run;
    samples += Lanes::kLanes * run;
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

/// Two loops over the combs, so that their dampings stay in registers. `block` is what `input` works on.
template <class Input>
void RunTwoBanks(ReverbChannel& first, ReverbChannel& second, const ReverbMix& mix, Input input, const double* block,
                 double* sum, std::size_t frames) noexcept {
  std::fill_n(sum, 2 * frames, 0.0);
  ReverbComb *a = first.combs.data(), *b = second.combs.data();
  RunTwoChannelCombs(std::make_index_sequence<4>{}, a, b, mix, input, sum, frames);
  a += 4;
  b += 4;
  const FilteredBlock<Pair> filtered(block);
  switch (mix.combCount) {
    case 10:
      return RunTwoChannelCombs(std::make_index_sequence<6>{}, a, b, mix, filtered, sum, frames);
    case 9:
      return RunTwoChannelCombs(std::make_index_sequence<5>{}, a, b, mix, filtered, sum, frames);
    default:
      return RunTwoChannelCombs(std::make_index_sequence<4>{}, a, b, mix, filtered, sum, frames);
  }
}

}  // namespace

void RunReverbChannel(ReverbChannel& channel, const ReverbMix& mix, double* samples, std::size_t frames) noexcept {
  double input[kReverbBlock];
  double sum[kReverbBlock];
  std::copy_n(samples, frames, input);
  ReverbComb* const combs = channel.combs.data();
  if (mix.bassOn) {
    RunBank(combs, mix, FilteredInput<PlainRules, true, Single>({&channel}, mix, input), sum, frames);
  } else {
    RunBank(combs, mix, FilteredInput<PlainRules, false, Single>({&channel}, mix, input), sum, frames);
  }
  Mix<Single>(channel, mix, sum, samples, frames);
}

void RunReverbTwoChannels(ReverbChannel& first, ReverbChannel& second, const ReverbMix& mix, double* samples,
                          std::size_t frames) noexcept {
  double input[2 * kReverbBlock];
  double sum[2 * kReverbBlock];
  std::copy_n(samples, 2 * frames, input);
  if (mix.bassOn) {
    const FilteredInput<PlainRules, true, Pair> filtered({&first, &second}, mix, input);
    RunTwoBanks(first, second, mix, filtered, input, sum, frames);
  } else {
    const FilteredInput<PlainRules, false, Pair> filtered({&first, &second}, mix, input);
    RunTwoBanks(first, second, mix, filtered, input, sum, frames);
  }
  Mix<Pair>(first, mix, sum, samples, frames);
}

}  // namespace korva
