#include "audio/quad.h"
#include "delay/echomt/echomt_loops.h"

namespace korva {
namespace {

constexpr EchomtLoops kLoops = EchomtLoopsOf<Quad>();

}  // namespace

const EchomtLoops& WideEchomtLoops() noexcept {
  return kLoops;
}

}  // namespace korva
