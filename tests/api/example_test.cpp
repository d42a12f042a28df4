// The two halves of a test in the shell: the input of the examples, and what they made of it.
#include "host/rig.h"

namespace korva {
namespace {

constexpr int kSamples = 60000;

using Example = HostTest;

std::vector<float> Raw(const char* path) {
  std::ifstream file(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  std::vector<float> samples(bytes.size() / sizeof(float));
  std::copy_n(bytes.data(), samples.size() * sizeof(float), reinterpret_cast<char*>(samples.data()));
  return samples;
}

bool InTheShellsFolder() {
  return std::filesystem::exists("declared");
}

TEST_F(Example, PutsRawNoise) {
  if (!InTheShellsFolder()) GTEST_SKIP() << "a part of installed_tree";
  PutSound("noise.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 1, kSamples);
  const std::vector<double> noise = Read("noise.wav").samples;
  const std::vector<float> samples(noise.begin(), noise.end());
  std::ofstream("noise.f32", std::ios::binary)
      .write(reinterpret_cast<const char*>(samples.data()), kSamples * static_cast<std::streamsize>(sizeof(float)));
}

TEST_F(Example, GaveTheCommandsSamples) {
  if (!InTheShellsFolder()) GTEST_SKIP() << "a part of installed_tree";
  const struct {
    const char *file, *options;
    int channels;
  } cases[] = {{"chorus.f32", "chorus --preset 14 --set dry-out=-9", 2},
               {"slower.f32", "time-stretch --set percent=150", 1},
               {"echo.f32", "simple-delay --set delay=250 --no-tail", 1}};
  for (const auto& one : cases) {
    if (!std::filesystem::exists(one.file)) continue;
    SF_INFO info{};
    info.channels = one.channels;
    info.samplerate = 48000;
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    SNDFILE* const file = sf_open(Path("in.wav").c_str(), SFM_WRITE, &info);
    const std::vector<float> noise = Raw("noise.f32");
    sf_write_float(file, noise.data(), kSamples);
    sf_close(file);
    ASSERT_EQ(KorvaLine(std::string("render @in.wav @out.wav --overwrite --quiet ") + one.options).exitCode, 0);
    const std::vector<double> wanted = Read("out.wav").samples;
    const std::vector<float> given = Raw(one.file);
    EXPECT_TRUE(std::equal(wanted.begin(), wanted.end(), given.begin(), given.end()))
        << one.file << ": " << wanted.size() << " samples and " << given.size();
  }
}

}  // namespace
}  // namespace korva
