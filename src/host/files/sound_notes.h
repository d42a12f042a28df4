#pragma once

#include <sndfile.h>

#include <map>
#include <string>
#include <vector>

namespace korva {

/// What a sound file tells beside its samples.
struct SoundNotes {
  std::map<int, std::string> texts;           ///< by the library's number: title, artist ...
  std::vector<char> broadcast, cart;          ///< records of radio stations, as the library keeps them
  std::vector<char> cues, instrument;         ///< marks, and loops with the key of a sampled note
  std::map<std::string, std::string> chunks;  ///< by their identifier: what goes from file to file as it is
  std::vector<std::string> beyond;            ///< what is there and cannot be taken along, in words

  bool isEmpty() const noexcept;
};

/// How an output's times stand to those of its input.
struct NoteTimes {
  bool hold = true;          ///< the sound starts where it did and is as long, apart from what rings on
  double skippedFrames = 0;  ///< of the input, in front of the first that is used
  double rateRatio = 1;      ///< the output's rate over the input's
};

/// `descriptor`: the file that `file` reads.
SoundNotes ReadNotes(SNDFILE* file, int descriptor);

/// Gives an output what of `notes` is still true of it, before its first sample. Marks and loops stay only where
/// times hold.
void WriteNotes(SNDFILE* file, int sndfileFormat, const SoundNotes& notes, const NoteTimes& times);

/// What was in `notes` and is not in `kept`, those of the file that was made, in words.
std::vector<std::string> NotKept(const SoundNotes& notes, const SoundNotes& kept);

}  // namespace korva
