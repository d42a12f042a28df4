#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "audio/pair.h"
#include "audio/sample_format.h"
#include "audio/single.h"

// The house's own sine. C libraries choose theirs by the processor or use another one altogether, so their last places
// differ; here every step is one plain operation that rounds the same everywhere.
namespace korva {

template <class Lanes>
struct SineCosine {
  Lanes sine, cosine;
};

/// An angle less its nearest whole number of quarter turns.
template <class Lanes>
struct ReducedAngle {
  Lanes y, tail;   ///< the rest in radians, in two parts
  Lanes quarters;  ///< their number in the low bits
};

/// `x` in so many radians that it stands for no exact angle any more, or none at all.
template <class Lanes>
Lanes PlainRemainder(Lanes x, double largest) noexcept {
  double each[Lanes::kLanes];
  x.Store(each);
  for (double& one : each) one = std::fabs(one) < largest ? one : std::fmod(one, 6.283185307179586);
  return Lanes::Load(each);
}

/// By quarter turns in three parts (Cody and Waite), the first two so short that their products with any number of
/// turns are exact. Beyond 10^8 radians the plain remainder comes first.
template <class Lanes>
inline ReducedAngle<Lanes> ReduceAngle(Lanes x) noexcept {
  constexpr double kLargest = 1e8;
  if (!Less(Magnitude(x), Lanes::Broadcast(kLargest)).AllSet()) x = PlainRemainder(x, kLargest);
  const Lanes bias = Lanes::Broadcast(kRoundingBias);
  const Lanes quarters = x * Lanes::Broadcast(0x1.45f306dc9c883p-1) + bias;
  const Lanes turns = quarters - bias;
  const Lanes rough = x - turns * Lanes::Broadcast(0x1.921fb54p+0);
  const Lanes second = turns * Lanes::Broadcast(0x1.10b461p-30);
  const Lanes close = rough - second;
  const Lanes rest = (rough - close) - second - turns * Lanes::Broadcast(0x1.a62633145c06ep-58);
  const Lanes y = close + rest;
  return {y, (close - y) + rest, quarters};
}

// The polynomials of FDLIBM (Sun Microsystems, 1993) for up to an eighth of a turn.
template <class Lanes>
inline Lanes SinePolynomial(Lanes y, Lanes tail) noexcept {
  const auto number = [](double value) { return Lanes::Broadcast(value); };
  const Lanes z = y * y;
  Lanes s = number(2.75573137070700676789e-06) +
            z * (number(-2.50507602534068634195e-08) + z * number(1.58969099521155010221e-10));
  s = number(8.33333333332248946124e-03) + z * (number(-1.98412698298579493134e-04) + z * s);
  const Lanes cube = z * y;
  return y - ((z * (number(0.5) * tail - cube * s) - tail) - cube * number(-1.66666666666666324348e-01));
}
template <class Lanes>
inline Lanes CosinePolynomial(Lanes y, Lanes tail) noexcept {
  const auto number = [](double value) { return Lanes::Broadcast(value); };
  const Lanes z = y * y;
  const Lanes half = number(0.5) * z;
  Lanes c = number(-2.75573143513906633035e-07) +
            z * (number(2.08757232129817482790e-09) + z * number(-1.13596475577881948265e-11));
  c = number(4.16666666666666019037e-02) +
      z * (number(-1.38888888888741095749e-03) + z * (number(2.48015872894767294178e-05) + z * c));
  const Lanes whole = number(1.0) - half;
  return whole + (((number(1.0) - whole) - half) + (z * (z * c) - y * tail));
}

/// Sine and cosine of `x` radians, within one last place, and exactly 1 and -1 at the crests.
template <class Lanes>
inline SineCosine<Lanes> SineAndCosine(Lanes x) noexcept {
  const ReducedAngle<Lanes> angle = ReduceAngle(x);
  const Lanes sine = SinePolynomial(angle.y, angle.tail), cosine = CosinePolynomial(angle.y, angle.tail);
  const Lanes odd = angle.quarters.template MaskOfBit<0>(), negative = angle.quarters.template MaskOfBit<1>();
  const Lanes sign = Lanes::Broadcast(-0.0);
  return {Select(odd, cosine, sine) ^ (negative & sign), Select(odd, sine, cosine) ^ ((odd ^ negative) & sign)};
}

/// The sine alone.
template <class Lanes>
inline Lanes Sine(Lanes x) noexcept {
  return SineAndCosine(x).sine;
}

/// The sine of a phase that counts whole frames, for a swing that must not drift: the sine of an anchor in every 64
/// frames, moved on by a table of one span's steps and the addition theorem. A value depends on its count alone.
class CountedSine {
 public:
  static constexpr std::int32_t kSpan = 64;

  /// Radians to the frame.
  void SetStep(double step) noexcept {
    if (step == step_) return;
    step_ = step;
    anchor_ = -1;
    for (std::size_t i = 0; i < sines_.size(); i += 2) {
      const auto at = static_cast<double>(i);
      const SineCosine<Pair> both = SineAndCosine(Pair::Of(at * step, (at + 1.0) * step));
      both.sine.Store(&sines_[i]);
      both.cosine.Store(&cosines_[i]);
    }
  }

  /// The sines of the counts from some count on.
  template <class Lanes>
  struct Row {
    Lanes sine, cosine;
    const double *sines, *cosines;

    /// The `i`th one and, in more lanes, those after it.
    Lanes At(std::int32_t i) const noexcept {
      return sine * Lanes::Load(cosines + i) + cosine * Lanes::Load(sines + i);
    }
  };
  /// How many sines the row from `count` (0 and up) on has.
  static std::int32_t CountsLeft(std::int32_t count) noexcept { return kSpan - count % kSpan; }
  template <class Lanes>
  Row<Lanes> From(std::int32_t count) noexcept {
    const std::int32_t at = count % (2 * kSpan);
    MoveTo(count - at);
    const auto half = static_cast<std::size_t>(at / kSpan), i = static_cast<std::size_t>(at % kSpan);
    return {Lanes::Broadcast(anchorSines_[half]), Lanes::Broadcast(anchorCosines_[half]), &sines_[i], &cosines_[i]};
  }

 private:
  // Two anchors at once, since the second costs nothing.
  void MoveTo(std::int32_t anchor) noexcept {
    if (anchor == anchor_) return;
    anchor_ = anchor;
    const double at = anchor;
    const SineCosine<Pair> both = SineAndCosine(Pair::Of(at * step_, (at + kSpan) * step_));
    both.sine.Store(anchorSines_.data());
    both.cosine.Store(anchorCosines_.data());
  }

  double step_ = std::nan("");
  std::int32_t anchor_ = -1;
  std::array<double, 2> anchorSines_{}, anchorCosines_{};
  // Two more than a span, for lanes that reach past its end.
  std::array<double, kSpan + 2> sines_{}, cosines_{};
};

}  // namespace korva
