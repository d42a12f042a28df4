#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/command_line.h"
#include "host/song.h"

namespace korva {

/// An effect of the chain, set up.
struct PreparedEffect {
  const EffectRequest* request;
  EffectInstance instance;
  std::vector<std::uint8_t> record;  ///< as the effect was when the run began
  double framesIn = 0;               ///< what it gets; 0 when that is not known
  double framesOut = 0;              ///< what that becomes, with nothing ringing on
  bool isHeld = false;               ///< a length was asked for, and is to be kept to the frame
  double ringSeconds = 0;            ///< how long it rings on at the most, if nothing moves it then
  bool movesWhileRinging = false;    ///< its automation goes on after all that comes in
};

/// Each effect set up in turn: the material gets longer or shorter on the way. `song` is null with no tempo. `remarks`
/// gets what was understood otherwise than it was typed. `kBadCall` too for automation that begins when nothing is
/// heard any more.
Outcome<std::vector<PreparedEffect>> PrepareEffects(const RenderRequest& request, MaterialLength material,
                                                    const SongMap* song, std::istream& in,
                                                    std::vector<std::string>& remarks);

/// The song of the call, if it tells one.
Outcome<std::optional<SongMap>> ReadSong(const RenderRequest& request);
/// Lets the effects hear the song, and remarks where none of them will listen.
void ConnectSongs(const SongMap& song, std::vector<PreparedEffect>& effects, std::vector<std::string>& remarks);

}  // namespace korva
