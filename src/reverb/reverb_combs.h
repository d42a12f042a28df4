#pragma once

#include <cstddef>
#include <utility>

#include "audio/pair.h"
#include "reverb/reverb_network.h"

// The bank's inner loops. A comb waits on its own damping from frame to frame, so several are worked side by side, two
// to an operation; frames are read and written two at a time.
namespace korva {

/// Flushes what decays itself, takes away the bass as a 32-bit float and adds combs in order.
struct PlainRules {
  static constexpr bool kFlushes = true;
  template <class Lanes>
  static Lanes Bass(Lanes y) noexcept {
    return ThroughFloat(y);
  }
  static Pair Add(Pair total, Pair a, Pair b) noexcept { return total + a + b; }
};

/// Leaves small values to the processor, keeps full precision and adds the two of a pair first.
struct VectorRules {
  static constexpr bool kFlushes = false;
  template <class Lanes>
  static Lanes Bass(Lanes y) noexcept {
    return y;
  }
  static Pair Add(Pair total, Pair a, Pair b) noexcept { return total + (a + b); }
};

// Below this a comb's damping counts as silence.
constexpr double kDampingFloor = 1e-20;

template <class Rules>
Pair FlushDamping(Pair damping) noexcept {
  if constexpr (Rules::kFlushes) return FlushBelow(damping, Pair::Broadcast(kDampingFloor));
  return damping;
}

/// Two combs. Their dampings stand one in each half, their rings are worked apart.
template <class Rules>
struct CombPair {
  CombPair(ReverbComb& a, ReverbComb& b) noexcept
      : first(a),
        second(b),
        damping(Pair::Of(a.damping, b.damping)),
        gainA(Pair::Broadcast(a.gain)),
        gainB(Pair::Broadcast(b.gain)) {}

  void Keep() const noexcept {
    first.damping = damping.low();
    second.damping = damping.high();
  }
  /// Frames up to the next end of a ring, at most `frames`; makes ready for them.
  std::size_t Begin(std::size_t frames) noexcept {
    atA = first.line.ring.data() + first.position;
    atB = second.line.ring.data() + second.position;
    return BeginRun(first, BeginRun(second, frames));
  }
  void End(std::size_t frames) const noexcept {
    Advance(first.position, frames, first.line.entries);
    Advance(second.position, frames, second.line.entries);
  }

  /// Works frames i and i + 1 on `input`; a and b get what the combs gave in them.
  void StepTwo(std::size_t i, Pair input, Pair in, Pair back, Pair& a, Pair& b) noexcept {
    a = Pair::Load(atA + i);
    b = Pair::Load(atB + i);
    const Pair freshA = a * in, freshB = b * in;
    const Pair now = FlushDamping<Rules>(damping * back + Lows(freshA, freshB));
    damping = FlushDamping<Rules>(now * back + Highs(freshA, freshB));
    ((Lows(now, damping) + input) * gainA).Store(atA + i);
    ((Highs(now, damping) + input) * gainB).Store(atB + i);
  }
  /// Works frame i; what the combs gave is in the low halves.
  void StepOne(std::size_t i, Pair input, Pair in, Pair back, Pair& a, Pair& b) noexcept {
    a = Pair::LoadLow(atA + i);
    b = Pair::LoadLow(atB + i);
    damping = FlushDamping<Rules>(damping * back + Lows(a, b) * in);
    ((damping + input) * gainA).StoreLow(atA + i);
    ((Swapped(damping) + input) * gainB).StoreLow(atB + i);
  }

  ReverbComb& first;
  ReverbComb& second;
  Pair damping, gainA, gainB;
  double* atA = nullptr;
  double* atB = nullptr;
};

/// The comb left over when their count is odd.
template <class Rules>
struct OneComb {
  explicit OneComb(ReverbComb& c) noexcept
      : comb(c), damping(Pair::Broadcast(c.damping)), gain(Pair::Broadcast(c.gain)) {}

  void Keep() const noexcept { comb.damping = damping.low(); }
  std::size_t Begin(std::size_t frames) noexcept {
    at = comb.line.ring.data() + comb.position;
    return BeginRun(comb, frames);
  }
  void End(std::size_t frames) const noexcept { Advance(comb.position, frames, comb.line.entries); }

  Pair StepTwo(std::size_t i, Pair input, Pair in, Pair back) noexcept {
    const Pair out = Pair::Load(at + i);
    const Pair fresh = out * in;
    const Pair now = FlushDamping<Rules>(damping * back + fresh);
    damping = FlushDamping<Rules>(now * back + Swapped(fresh));
    ((Lows(now, damping) + input) * gain).Store(at + i);
    return out;
  }
  Pair StepOne(std::size_t i, Pair input, Pair in, Pair back) noexcept {
    const Pair out = Pair::LoadLow(at + i);
    damping = FlushDamping<Rules>(damping * back + out * in);
    ((damping + input) * gain).StoreLow(at + i);
    return out;
  }

  ReverbComb& comb;
  Pair damping, gain;
  double* at = nullptr;
};

/// The same comb of two channels, by the plain rules: each half is a channel, and an entry of the ring holds both.
struct TwoChannelComb {
  TwoChannelComb(ReverbComb& a, ReverbComb& b) noexcept
      : first(a), second(b), damping(Pair::Of(a.damping, b.damping)), gain(Pair::Broadcast(a.gain)) {}

  void Keep() const noexcept {
    first.damping = damping.low();
    second.damping = damping.high();
  }
  std::size_t Begin(std::size_t frames) noexcept {
    at = first.line.ring.data() + 2 * first.position;
    return BeginRun(first, frames);
  }
  void End(std::size_t frames) const noexcept { Advance(first.position, frames, first.line.entries); }

  /// What frame i gives; `least` falls to the smallest memory.
  Pair Take(std::size_t i, Pair in, Pair back, Pair& least) noexcept {
    const Pair out = Pair::Load(at + 2 * i);
    damping = damping * back + out * in;
    least = Smaller(Magnitude(damping), least);
    return out;
  }
  void Flush() noexcept { damping = FlushDamping<PlainRules>(damping); }
  void Give(std::size_t i, Pair input) const noexcept { ((damping + input) * gain).Store(at + 2 * i); }

  ReverbComb& first;
  ReverbComb& second;
  Pair damping, gain;
  double* at = nullptr;
};

/// Runs so many combs of two channels, from `first` and `second` on, on what `input` gives; what comes out of them is
/// added to `sum`.
template <class Input, std::size_t... C>
void RunTwoChannelCombs(std::index_sequence<C...> /*combs*/, ReverbComb* first, ReverbComb* second,
                        const ReverbMix& mix, Input input, double* sum, std::size_t frames) noexcept {
  const Pair in = Pair::Broadcast(mix.lowPassIn), back = Pair::Broadcast(mix.lowPassBack);
  const Pair floor = Pair::Broadcast(kDampingFloor);
  TwoChannelComb combs[] = {{first[C], second[C]}...};
  while (frames != 0) {
    std::size_t run = frames;
    ((run = combs[C].Begin(run)), ...);
    for (std::size_t i = 0; i < run; ++i) {
      const Pair s = input.At(i);
      Pair total = Pair::Load(sum + 2 * i);
      Pair least = floor;
      ((total = total + combs[C].Take(i, in, back, least)), ...);
      // Few frames need it, and without it no comb waits.
      if (Less(least, floor).AnySet()) (combs[C].Flush(), ...);
      (combs[C].Give(i, s), ...);
      total.Store(sum + 2 * i);
    }
    (combs[C].End(run), ...);
    input.Move(run);
    sum += 2 * run;
    frames -= run;
  }
  (combs[C].Keep(), ...);
  input.Keep();
}

/// Runs the pairs from `combs` on and, with `kOdd`, one comb after them, on what `input` gives; `sum` gets what comes
/// out of them.
template <class Rules, bool kOdd, class Input, std::size_t... P>
void RunCombs(std::index_sequence<P...> /*pairs*/, ReverbComb* combs, const ReverbMix& mix, Input input, double* sum,
              std::size_t frames) noexcept {
  const Pair in = Pair::Broadcast(mix.lowPassIn), back = Pair::Broadcast(mix.lowPassBack);
  CombPair<Rules> pairs[] = {{combs[2 * P], combs[2 * P + 1]}...};
  OneComb<Rules> odd(combs[kOdd ? 2 * sizeof...(P) : 0]);
  while (frames != 0) {
    std::size_t run = frames;
    ((run = pairs[P].Begin(run)), ...);
    if constexpr (kOdd) run = odd.Begin(run);
    std::size_t i = 0;
    Pair a, b;
    for (; i + 2 <= run; i += 2) {
      const Pair s = input.Two(i);
      Pair total = Pair::Broadcast(0.0);
      ((pairs[P].StepTwo(i, s, in, back, a, b), total = Rules::Add(total, a, b)), ...);
      if constexpr (kOdd) total = total + odd.StepTwo(i, s, in, back);
      total.Store(sum + i);
    }
    if (i != run) {
      const Pair s = Pair::Broadcast(input.At(i).value);
      Pair total = Pair::Broadcast(0.0);
      ((pairs[P].StepOne(i, s, in, back, a, b), total = Rules::Add(total, a, b)), ...);
      if constexpr (kOdd) total = total + odd.StepOne(i, s, in, back);
      total.StoreLow(sum + i);
    }
    (pairs[P].End(run), ...);
    if constexpr (kOdd) odd.End(run);
    input.Move(run);
    sum += run;
    frames -= run;
  }
  (pairs[P].Keep(), ...);
  if constexpr (kOdd) odd.Keep();
  input.Keep();
}

}  // namespace korva
