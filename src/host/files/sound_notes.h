#pragma once

#include <sndfile.h>

#include <map>
#include <string>
#include <vector>

namespace korva {

/// What a sound file tells beside its samples, as far as the library reads it.
struct SoundNotes {
  std::map<int, std::string> texts;    ///< by the library's number: title, artist ...
  std::vector<char> broadcast, cart;   ///< records of radio stations, as the library keeps them
  std::vector<char> cues, instrument;  ///< marks, and loops with the key of a sampled note
  std::vector<std::string> beyond;     ///< what is there and not read: "a picture"
};

SoundNotes ReadNotes(SNDFILE* file, int descriptor);

/// Gives an output what `notes` hold, before its first sample. `timesHold`: the sound starts where it did and is as
/// long, apart from what rings on; marks and loops stay only then. Answers what could not be kept, in words.
std::vector<std::string> WriteNotes(SNDFILE* file, int sndfileFormat, const SoundNotes& notes, bool timesHold);

}  // namespace korva
