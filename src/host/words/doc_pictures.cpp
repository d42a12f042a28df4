#include "host/words/doc_pictures.h"

namespace korva {
namespace {

constexpr DocPicture kPictures[] = {
    {"chorus", "chorus-hard-flange", "chorus --preset 'Hard flange' --response",
     "Hard flange: few sharp peaks that move with the swing"},
    {"chorus", "chorus-slow-flange", "chorus --preset 'Slow flange 1' --response",
     "Slow flange 1: shallow notches that hardly move"},
    {"chorus", "chorus-5", "chorus --preset 'Chorus 5'", "Chorus 5: copies that come back through the feedback"},
    {"chorus", "chorus-echo-vibrato", "chorus --preset 'Echo-vibrato 1'", "Echo-vibrato 1: single echoes"},
    {"chorus", "chorus-automation", "--automation chorus --automate mod-rate:1:3:1:8:square",
     "A parameter that automation moves: the curve that is told, and the steps that the effect takes"},
    {"reverb", "reverb-halls", "--compare 'Small hall' 'Very long hall' reverb",
     "A small hall is loud and soon gone; a very long one is soft and stays"},
    {"reverb", "reverb-medium-room", "reverb --preset 'Medium room'", "Medium room: single reflections"},
    {"reverb", "reverb-plate", "reverb --preset Plate", "Plate: dense from the start"},
    {"reverb", "reverb-cathedral", "reverb --preset Cathedral", "Cathedral: late and long"},
    {"simple-delay", "simple-delay-echo-chamber", "simple-delay --preset 'Echo chamber'",
     "Echo chamber: echoes that die down evenly"},
    {"simple-delay", "simple-delay-slap-back", "simple-delay --preset 'Slap-back echo'",
     "Slap-back echo: one, and no more"},
    {"multi-tap-delay", "multi-tap-delay-tapped", "multi-tap-delay --preset 'Tapped delay 1'",
     "Tapped delay 1: eight taps, some of them inverted"},
    {"multi-tap-delay", "multi-tap-delay-pan", "multi-tap-delay --preset 'Tapped delay, stereo pan'",
     "Tapped delay, stereo pan: taps that wander from side to side"},
    {"multi-tap-delay", "multi-tap-delay-cathedral", "multi-tap-delay --preset 'Cathedral 1'",
     "Cathedral 1: taps, and what the feedback makes of them"},
    {"pitch-shift", "pitch-shift-fifth-up", "--spectrogram pitch-shift --preset 'Fifth up' --set preserve-duration=on",
     "A sweep before and after, a fifth up at the same length"},
    {"pitch-shift", "pitch-shift-fifth-down", "--spectrogram pitch-shift --preset 'Fifth down'",
     "A fifth down with the length left free: as a tape that runs slower"},
    {"time-stretch", "time-stretch-compress", "--spectrogram time-stretch --set percent=50",
     "A sweep before and after, in half the time: as high, and twice as fast"},
};

}  // namespace

std::span<const DocPicture> DocPictures() noexcept {
  return kPictures;
}

}  // namespace korva
