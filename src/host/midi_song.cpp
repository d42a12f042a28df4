#include <fcntl.h>
#include <glib.h>  // before smf.h, which would take it for C
#include <smf.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>

#include "host/output_file.h"
#include "host/song.h"

namespace korva {
namespace {

constexpr std::size_t kLargestMidiFile = 64U << 20U;

/// What the child tells: the division, then the changes. Empty when it found no song.
using SongChanges = std::vector<SongChange>;

bool WriteChange(int descriptor, const SongChange& change) {
  return ::write(descriptor, &change, sizeof change) == static_cast<ssize_t>(sizeof change);
}

/// The child's whole life.
[[noreturn]] void TellSong(int descriptor, const std::vector<char>& bytes) {
  constexpr unsigned kMostSeconds = 20;
  ::alarm(kMostSeconds);
  // The library speaks its mind on standard error, and dies with a core file.
  if (const int nowhere = ::open("/dev/null", O_WRONLY); nowhere >= 0) ::dup2(nowhere, STDERR_FILENO);
  const rlimit none{};
  ::setrlimit(RLIMIT_CORE, &none);
  for (const int number : {SIGABRT, SIGSEGV, SIGBUS, SIGFPE}) std::signal(number, SIG_DFL);
  const smf_t* const song = smf_load_from_memory(bytes.data(), static_cast<int>(bytes.size()));
  if (song == nullptr) ::_exit(1);
  bool written = WriteChange(descriptor, {song->ppqn, 0, 0, 0});
  for (int i = 0; written; ++i) {
    const smf_tempo_t* const change = smf_get_tempo_by_number(song, i);
    if (change == nullptr) ::_exit(0);
    written = WriteChange(descriptor, {change->time_pulses, change->microseconds_per_quarter_note, change->numerator,
                                       change->denominator});
  }
  ::_exit(1);
}

/// Reads the song in a process of its own: on some broken files the library ends the process that it runs in.
Outcome<SongChanges> LoadApart(const std::vector<char>& bytes) {
  std::array<int, 2> ends{};
  if (::pipe(ends.data()) != 0) return Failed(WithSystemReason("cannot read a MIDI file"));
  const pid_t child = ::fork();
  if (child == 0) {
    ::close(ends[0]);
    TellSong(ends[1], bytes);
  }
  ::close(ends[1]);
  SongChanges changes;
  SongChange change{};
  while (child > 0) {
    const ssize_t got = ::read(ends[0], &change, sizeof change);
    if (got < 0 && errno == EINTR) continue;
    if (got != static_cast<ssize_t>(sizeof change)) break;
    changes.push_back(change);
  }
  ::close(ends[0]);
  if (child < 0) return Failed(WithSystemReason("cannot read a MIDI file"));
  int status = 0;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) changes.clear();
  return changes;
}

void TakeChange(const SongChange& change, SongMap& map) {
  const std::int32_t tick = std::max(change.tick, 0);
  constexpr double kMicrosecondsPerMinute = 6e7;
  if (change.microsecondsPerQuarter > 0) {
    const double bpm = kMicrosecondsPerMinute / change.microsecondsPerQuarter;
    if (map.tempos.back().tick == tick) {
      map.tempos.back().bpm = bpm;
    } else if (map.tempos.back().bpm != bpm) {
      map.tempos.push_back({tick, bpm});
    }
  }
  int power = 0;
  while (power < 6 && 1 << power < change.denominator) ++power;
  if (change.numerator < 1 || 1 << power != change.denominator) return;
  SongMap::Meter& last = map.meters.back();
  if (last.tick == tick) {
    last = {tick, change.numerator, power};
  } else if (last.top != change.numerator || last.bottomPower != power) {
    map.meters.push_back({tick, change.numerator, power});
  }
}

}  // namespace

Outcome<SongMap> ReadMidiSong(const std::string& path) {
  const Outcome<std::vector<char>> bytes = ReadFile(path, kLargestMidiFile + 1);
  if (!bytes) return bytes.earlyExit();
  if (bytes->size() > kLargestMidiFile) return Failed(path + " is too large for a MIDI file");
  const Outcome<SongChanges> changes = LoadApart(*bytes);
  if (!changes) return changes.earlyExit();
  if (changes->empty()) return Failed(path + " is no MIDI file, or a broken one");
  return SongOfChanges(path, changes->front().tick, std::span(*changes).subspan(1));
}

Outcome<SongMap> SongOfChanges(const std::string& path, std::int32_t ticksPerQuarter,
                               std::span<const SongChange> changes) {
  if (ticksPerQuarter <= 0) return Failed(path + " counts in film frames and not in quarter notes");
  SongMap map;
  map.ticksPerQuarter = ticksPerQuarter;
  for (const SongChange& change : changes) {
    // Changes come in order; a file whose times run over would break that, and the maps rely on it.
    if (change.tick < map.tempos.back().tick || change.tick < map.meters.back().tick) {
      return Failed(path + " is a broken MIDI file: its times run backwards");
    }
    TakeChange(change, map);
  }
  return map;
}

}  // namespace korva
