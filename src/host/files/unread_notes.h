#pragma once

#include <string_view>

#include "host/files/sound_notes.h"

namespace korva {

/// A chunk that is taken from one file to another as it is.
struct CarriedChunk {
  std::string_view id;
  const char* words;
  bool speaksOfTimes;  ///< true only of a sound with the same times
};
inline constexpr CarriedChunk kCarriedChunks[] = {{"id3 ", "ID3 tags", false},
                                                  {"iXML", "the iXML record", true},
                                                  {"acid", "the tempo of a loop", true},
                                                  {"inst", "the keys of a sample", true}};

/// Looks through a file for what the library passes over: adds to `notes.chunks` and `notes.beyond`.
void ReadUnreadNotes(int descriptor, SoundNotes& notes);

}  // namespace korva
