#include <algorithm>

#include "audio/pair.h"
#include "reverb/reverb_combs.h"
#include "reverb/reverb_network.h"
#include "reverb/reverb_tone.h"

namespace korva {
namespace {

/// The bank's input before its filters: half the sum of both sides.
void Fold(const double* samples, double* input, std::size_t frames) noexcept {
  for (std::size_t i = 0; i < frames; ++i) input[i] = (samples[2 * i] + samples[2 * i + 1]) * 0.5;
}

/// Pre-delay, early taps and the final mix. A pair is left and right; `sums` holds what the combs gave each side.
void Mix(ReverbChannel& bank, const ReverbMix& mix, const double* sums, double* samples, std::size_t frames) noexcept {
  const Pair e1 = Pair::Of(mix.earlyLeft[0], mix.earlyRight[0]);
  const Pair e2 = Pair::Of(mix.earlyLeft[1], mix.earlyRight[1]);
  const Pair e3 = Pair::Of(mix.earlyLeft[2], mix.earlyRight[2]);
  const Pair earlyGain = Pair::Broadcast(mix.earlyGain);
  const Pair reverbGain = Pair::Broadcast(mix.reverbGain);
  const Pair dryGain = Pair::Broadcast(mix.dryGain);
  const std::size_t preDelayEntries = bank.preDelay.entries, earlyEntries = bank.early.entries;
  std::size_t write = bank.preDelayPosition;
  std::size_t taps[kEarlyTaps] = {bank.taps[0], bank.taps[1], bank.taps[2]};
  while (frames != 0) {
    const std::size_t read = write + 1 == preDelayEntries ? 0 : write + 1;
    std::size_t run = UntilWrap(read, preDelayEntries, UntilWrap(write, preDelayEntries, frames));
    for (const std::size_t tap : taps) run = UntilWrap(tap, earlyEntries, run);
    bank.preDelay.Clean(write, run);
    bank.preDelay.Clean(read, run);
    for (const std::size_t tap : taps) bank.early.Clean(tap, run);
    double* const preDelayIn = bank.preDelay.ring.data() + 2 * write;
    const double* const preDelayOut = bank.preDelay.ring.data() + 2 * read;
    const double* const tap1 = bank.early.ring.data() + 2 * taps[0];
    const double* const tap2 = bank.early.ring.data() + 2 * taps[1];
    double* const tap3 = bank.early.ring.data() + 2 * taps[2];
    for (std::size_t i = 0; i < 2 * run; i += 2) {
      const Pair dry = Pair::Load(samples + i);
      Pair::Load(sums + i).Store(preDelayIn + i);
      const Pair reverb = Pair::Load(preDelayOut + i);
      const Pair t1 = Pair::Load(tap1 + i), t2 = Pair::Load(tap2 + i), t3 = Pair::Load(tap3 + i);
      // A reflection comes from the middle of the room: each tap is the sum of both sides, placed by its pan.
      const Pair early = (t1 + Swapped(t1)) * e1 + (t2 + Swapped(t2)) * e2 + (t3 + Swapped(t3)) * e3;
      (early * earlyGain + reverb * reverbGain + dry * dryGain).Store(samples + i);
      dry.Store(tap3 + i);
    }
    Advance(write, run, preDelayEntries);
    for (std::size_t& tap : taps) Advance(tap, run, earlyEntries);
    sums += 2 * run;
    samples += 2 * run;
    frames -= run;
  }
  bank.preDelayPosition = write;
  std::copy_n(taps, kEarlyTaps, bank.taps.begin());
}

/// What is left of the shared combs, none, one or a pair from `combs` on, and then the two combs that each side has of
/// its own. `sum` is what the shared combs gave before; `sums` gets each side's whole sum.
template <class Rules, int kRest>
void RunSides(ReverbComb* combs, ReverbChannel& left, ReverbChannel& right, const ReverbMix& mix, const double* input,
              const double* sum, double* sums, std::size_t frames) noexcept {
  const Pair in = Pair::Broadcast(mix.lowPassIn), back = Pair::Broadcast(mix.lowPassBack);
  CombPair<Rules> zero(left.combs[0], right.combs[0]), one(left.combs[1], right.combs[1]);
  CombPair<Rules> rest(combs[0], combs[kRest == 2 ? 1 : 0]);
  OneComb<Rules> odd(combs[0]);
  while (frames != 0) {
    std::size_t run = zero.Begin(one.Begin(frames));
    if constexpr (kRest == 2) run = rest.Begin(run);
    if constexpr (kRest == 1) run = odd.Begin(run);
    std::size_t i = 0;
    Pair a, b;
    for (; i + 2 <= run; i += 2) {
      const Pair s = Pair::Load(input + i);
      Pair shared = Pair::Load(sum + i);
      if constexpr (kRest == 2) {
        rest.StepTwo(i, s, in, back, a, b);
        shared = Rules::Add(shared, a, b);
      } else if constexpr (kRest == 1) {
        shared = shared + odd.StepTwo(i, s, in, back);
      }
      zero.StepTwo(i, s, in, back, a, b);
      Pair onLeft = shared + a, onRight = shared + b;
      one.StepTwo(i, s, in, back, a, b);
      onLeft = onLeft + a;
      onRight = onRight + b;
      Lows(onLeft, onRight).Store(sums + 2 * i);
      Highs(onLeft, onRight).Store(sums + 2 * i + 2);
    }
    if (i != run) {
      const Pair s = Pair::Broadcast(input[i]);
      Pair shared = Pair::LoadLow(sum + i);
      if constexpr (kRest == 2) {
        rest.StepOne(i, s, in, back, a, b);
        shared = Rules::Add(shared, a, b);
      } else if constexpr (kRest == 1) {
        shared = shared + odd.StepOne(i, s, in, back);
      }
      zero.StepOne(i, s, in, back, a, b);
      Pair onLeft = shared + a, onRight = shared + b;
      one.StepOne(i, s, in, back, a, b);
      onLeft = onLeft + a;
      onRight = onRight + b;
      Lows(onLeft, onRight).Store(sums + 2 * i);
    }
    if constexpr (kRest == 2) rest.End(run);
    if constexpr (kRest == 1) odd.End(run);
    zero.End(run);
    one.End(run);
    input += run;
    sum += run;
    sums += 2 * run;
    frames -= run;
  }
  if constexpr (kRest == 2) rest.Keep();
  if constexpr (kRest == 1) odd.Keep();
  zero.Keep();
  one.Keep();
}

template <class Rules>
void RunStereo(ReverbChannel& left, ReverbChannel& right, const ReverbMix& mix, double* samples,
               std::size_t frames) noexcept {
  double input[kReverbBlock];
  double shared[kReverbBlock];
  double sums[2 * kReverbBlock];
  Fold(samples, input, frames);
  // Six shared combs here and the rest with the sides': two loops of about one length.
  ReverbComb* const combs = left.combs.data() + 2;
  constexpr std::make_index_sequence<3> kThreePairs{};
  if (mix.bassOn) {
    RunCombs<Rules, false>(kThreePairs, combs, mix, FilteredInput<Rules, true, Single>({&left}, mix, input), shared,
                           frames);
  } else {
    RunCombs<Rules, false>(kThreePairs, combs, mix, FilteredInput<Rules, false, Single>({&left}, mix, input), shared,
                           frames);
  }
  switch (mix.combCount) {
    case 10:
      RunSides<Rules, 2>(combs + 6, left, right, mix, input, shared, sums, frames);
      break;
    case 9:
      RunSides<Rules, 1>(combs + 6, left, right, mix, input, shared, sums, frames);
      break;
    default:
      RunSides<Rules, 0>(combs, left, right, mix, input, shared, sums, frames);
      break;
  }
  Mix(left, mix, sums, samples, frames);
}

}  // namespace

void RunReverbStereoPlain(ReverbChannel& left, ReverbChannel& right, const ReverbMix& mix, double* samples,
                          std::size_t frames) noexcept {
  RunStereo<PlainRules>(left, right, mix, samples, frames);
}

void RunReverbStereoVector(ReverbChannel& left, ReverbChannel& right, const ReverbMix& mix, double* samples,
                           std::size_t frames) noexcept {
  RunStereo<VectorRules>(left, right, mix, samples, frames);
}

}  // namespace korva
