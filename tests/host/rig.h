#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sndfile.hh>
#include <sstream>
#include <string>
#include <vector>

#include "host/korva.h"
#include "support/signals.h"

namespace korva {

/// The names of presets and choices follow the environment's language.
inline const int kPlainLanguage = ::setenv("LC_ALL", "C", 1);

/// A MIDI file of one track with 96 ticks to the quarter, and its events, each so many ticks after the one before.
inline std::string MidiText(std::initializer_list<int> bytes) {
  std::string text;
  for (const int byte : bytes) text.push_back(static_cast<char>(byte));
  return text;
}
inline std::string MidiFile(const std::string& events) {
  const auto size = static_cast<int>(events.size()) + 4;
  return "MThd" + MidiText({0, 0, 0, 6, 0, 0, 0, 1, 0, 96}) + "MTrk" + MidiText({0, 0, size >> 8, size & 255}) +
         events + MidiText({0, 0xFF, 0x2F, 0});
}
inline std::string MidiTempo(int delta, int microseconds) {
  return MidiText({delta, 0xFF, 0x51, 3, microseconds >> 16, microseconds >> 8 & 255, microseconds & 255});
}
inline std::string MidiMeter(int delta, int top, int power) {
  return MidiText({delta, 0xFF, 0x58, 4, top, power, 24, 8});
}

/// A folder that goes with the test, and is where its files are.
class HostTest : public ::testing::Test {
 protected:
  HostTest() {
    std::string name = (std::filesystem::temp_directory_path() / "korva-test-XXXXXX").string();
    folder_ = ::mkdtemp(name.data());
  }
  ~HostTest() override { std::filesystem::remove_all(folder_); }

  std::string Path(const std::string& name) const { return (folder_ / name).string(); }
  bool Exists(const std::string& name) const { return std::filesystem::exists(Path(name)); }
  std::ptrdiff_t FileCount() const {
    return std::distance(std::filesystem::directory_iterator(folder_), std::filesystem::directory_iterator());
  }
  std::string Bytes(const std::string& name) const {
    std::ifstream file(Path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  void Put(const std::string& name, const std::string& bytes) const {
    std::ofstream(Path(name), std::ios::binary) << bytes;
  }

  struct Sound {
    int channels, rate;
    sf_count_t frames;
    std::vector<double> samples;
  };
  Sound Read(const std::string& name) const {
    SndfileHandle file(Path(name));
    EXPECT_EQ(file.error(), SF_ERR_NO_ERROR) << name << ": " << file.strError();
    Sound sound{file.channels(), file.samplerate(), 0, {}};
    // Not every file says how long it is.
    constexpr sf_count_t kPart = 4096;
    std::vector<double> part(static_cast<std::size_t>(kPart) * static_cast<std::size_t>(sound.channels));
    for (sf_count_t read = kPart; read == kPart; sound.frames += read) {
      read = file.readf(part.data(), kPart);
      sound.samples.insert(sound.samples.end(), part.begin(), part.begin() + read * sound.channels);
    }
    return sound;
  }
  /// A file of these samples, channel after channel in each frame.
  void PutSamples(const std::string& name, int format, const std::vector<double>& samples, int channels = 1,
                  int rate = 48000) const {
    SndfileHandle file(Path(name), SFM_WRITE, format, channels, rate);
    const auto size = static_cast<sf_count_t>(samples.size());
    ASSERT_EQ(file.write(samples.data(), size), size) << file.strError();
  }
  /// A sound of `frames` frames that is nowhere periodic, in any format of the library.
  void PutSound(const std::string& name, int format, int channels, int frames, int rate = 48000) const {
    PutSamples(name, format,
               GridNoise(static_cast<std::size_t>(frames) * static_cast<std::size_t>(channels), 0.25, 7, 0x1p31),
               channels, rate);
  }

  /// What one run said, and how it ended.
  struct Run {
    int exitCode;
    std::string out, err;
  };
  /// Runs the command in this process. A word that starts with '@' is a file of the folder.
  Run Korva(const std::vector<std::string>& words, const std::string& input = "") const {
    std::vector<std::string> arguments;
    for (const std::string& word : words) {
      arguments.push_back(word.size() > 1 && word[0] == '@' ? Path(word.substr(1)) : word);
    }
    std::istringstream in(input);
    std::ostringstream out, err;
    Streams streams{in, out, err};
    const int exitCode = RunKorva(arguments, streams);
    return {exitCode, out.str(), err.str()};
  }
  /// The same from one line, cut at its spaces.
  Run KorvaLine(const std::string& line, const std::string& input = "") const {
    std::istringstream words(line);
    return Korva({std::istream_iterator<std::string>(words), {}}, input);
  }
  /// `render`, over what there is already; it has to go well.
  Run Render(const std::string& line) const {
    Run run = KorvaLine("render " + line + " --overwrite");
    EXPECT_EQ(run.exitCode, 0) << line << "\n" << run.err;
    return run;
  }
  /// The same with an effect that does nothing.
  Run Bypassed(const std::string& line) const { return Render(line + " chorus --set bypass=on"); }

  /// Refused with a code, a text that holds `part`, nothing on standard output, and no file left over.
  void ExpectRefused(const std::string& line, int exitCode, const std::string& part, const std::string& input = "") {
    const std::ptrdiff_t files = FileCount();
    const Run run = KorvaLine(line, input);
    EXPECT_EQ(run.exitCode, exitCode) << line << "\n" << run.err;
    EXPECT_NE(run.err.find(part), std::string::npos) << line << "\n" << run.err;
    EXPECT_EQ(run.err.find("korva: "), run.err.empty() ? std::string::npos : 0U) << run.err;
    EXPECT_EQ(run.out, "") << line;
    EXPECT_EQ(FileCount(), files) << line;
  }

 private:
  std::filesystem::path folder_;
};

}  // namespace korva
