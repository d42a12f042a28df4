#include "pitchtime/search_loops.h"

namespace korva {
namespace {

struct Wide {};
constexpr SearchLoops<float> kFloats = SearchLoopsOf<Wide, float>();
constexpr SearchLoops<double> kDoubles = SearchLoopsOf<Wide, double>();

}  // namespace

const SearchLoops<float>& WideSearchLoops(float /*type*/) noexcept {
  return kFloats;
}
const SearchLoops<double>& WideSearchLoops(double /*type*/) noexcept {
  return kDoubles;
}

}  // namespace korva
