#include "delay/echomt/echomt_engine.h"

#include "audio/sine.h"
#include "delay/delay_rig.h"
#include "delay/echomt/echomt_params.h"

namespace korva {
namespace {

struct Stream : ParamSource<EchomtParams> {
  Stream(SampleFormat format, std::uint16_t channels, std::uint32_t rate, const EchomtParams& start)
      : record(MakeFormat(format, channels, rate)), params(start) {
    engine.SetFormat(record);
  }
  bool FetchParams(EchomtParams& block) noexcept override {
    block = params;
    return std::exchange(changed, false);
  }
  void Change(const EchomtParams& next, bool lines) {
    params = next;
    changed = true;
    if (lines) engine.MarkLinesStale();
  }
  std::pair<std::int32_t, std::uint32_t> Run(ProcessMode mode, std::vector<double>& values) {
    Bytes samples = Encode(record, values);
    auto count = static_cast<std::uint32_t>(samples.size() / record.blockAlign);
    const std::int32_t result = engine.Process(mode, samples.data(), count, false);
    values = Decode(record, samples);
    return {result, count};
  }

  FormatRecord record;
  EchomtParams params;
  bool changed = true;
  EchomtEngine engine{*this};
};

// Taps of full gain in the middle, nothing modulated or softened, everything at full level.
EchomtParams Taps(std::vector<std::int32_t> delays, std::int32_t feedback = 0) {
  EchomtParams params{};
  for (std::size_t i = 0; i < kEchomtTaps; ++i) {
    params.tapDelayMs[i] = i < delays.size() ? delays[i] : 1;
    params.tapGain[i] = 100;
  }
  params.tapCount = static_cast<std::int32_t>(delays.size());
  params.feedback = feedback;
  params.lowPassHz = 5000;
  params.modRate = 15;
  return params;
}

TEST(MultiTapDelay, LinesAndTailsAreAsLongAsTold) {
  struct Case {
    const char* name;
    std::uint32_t rate;
    std::int32_t delay, depth, feedback;
    std::int32_t line;
    std::uint32_t tail;
  };
  const Case cases[] = {
      {"largest at 48 kHz", 48000, 2500, 100, 0, 126598, 126598},
      {"44 frames to the millisecond", 44100, 1000, 0, 50, 46216, 5 * 46216},
      {"almost endless", 44100, 1000, 0, 99, 46216, 299 * 46216},
      {"endless", 44100, 1000, 0, 100, 46216, 882000},
      {"growing", 44100, 1000, 0, 150, 46216, 882000},
      {"shortest", 1, 2500, 100, 50, 2, 10},
      {"no rate", 0, 2500, 100, 0, 2, 2},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EchomtParams params = Taps({c.delay, c.delay, c.delay, c.delay, c.delay, c.delay, c.delay, c.delay}, c.feedback);
    if (c.rate == 44100) params.tapCount = 2;  // the second tap stands 16 frames late
    params.modDepth = c.depth;
    Stream stream(SampleFormat::kFloat32, 2, c.rate, params);
    ASSERT_EQ(stream.engine.RestartEngine(), 0);
    EXPECT_EQ(stream.engine.lineLength(), c.line);
    EXPECT_EQ(stream.engine.tailLeft(), c.tail);
  }
}

TEST(MultiTapDelay, AnImpulseComesBackWhereAndAsLoudAsTold) {
  struct Case {
    std::int32_t pan, gain;
    double left, right;
  };
  const Case cases[] = {{0, 100, 1, 1},      {-100, 100, 1, 0},  {100, 100, 0, 1},
                        {-40, 50, 0.5, 0.3}, {40, 50, 0.3, 0.5}, {25, -80, -0.6, -0.8}};
  constexpr std::size_t kDelay = 16 * 20 + 1;  // the first tap stands 1.968 frames late
  for (const Case& c : cases) {
    for (const std::uint16_t channels : Channels{1, 2}) {
      SCOPED_TRACE(testing::Message() << "pan " << c.pan << " channels " << channels);
      EchomtParams params = Taps({20}, 80);
      params.tapPan[0] = c.pan;
      params.tapGain[0] = c.gain;
      params.dryOut = -200;
      Stream stream(SampleFormat::kFloat64, channels, 16000, params);
      ASSERT_EQ(stream.engine.RestartEngine(), 0);
      auto output = Impulse(3 * kDelay, channels);
      stream.Run(ModeContinue, output);
      // Two channels, of 0.5 and 0.75, meet in one line at half level.
      const bool stereo = channels == 2;
      const double gains[] = {stereo ? c.left : c.gain / 100.0, c.right};
      const double held = stereo ? 0.625 : 0.5;
      const double sum = stereo ? c.left + c.right : gains[0];
      const double again = sum * 0.8 / std::max(1.0, sum) * (stereo ? 0.5 : 1.0);
      for (std::size_t i = 0; i < output.size(); ++i) {
        const std::size_t side = i % channels;
        const double echo = i / channels == kDelay ? held : i / channels == 2 * kDelay ? held * again : 0.0;
        ASSERT_NEAR(output[i], i < channels ? (side == 0 ? 0.05 : 0.075) : gains[side] * echo, 1e-9) << i;
      }
    }
  }
}

// The effect as it is told, a frame and a tap at a time.
class PlainMultiTap {
 public:
  PlainMultiTap(const FormatRecord& format, const EchomtParams& params)
      : rate_(format.samplesPerSecond), sides_(format.channels == 2 ? 2 : 1), lines_(format.channels / sides_) {
    Set(params);
  }

  void Set(const EchomtParams& p) {
    constexpr double kSwing[] = {0.7, 0.9, 0.4, 0.6, 0.8, 0.9, 0.1, 0.9};
    constexpr double kOffsetMs[] = {0.123, 0.377, -0.411, 0.095, -0.301, -0.253, 0.457, 0.179};
    p_ = p;
    back_ = p.lowPassEnabled != 0 && p.lowPassHz <= static_cast<std::int32_t>(rate_ / 2)
                ? std::exp(-6.28318530718 * p.lowPassHz / rate_)
                : 0.0;
    const double base = p.modDepth * 3e-5 * rate_;
    double sum = 0;
    int longest = 0;
    for (std::size_t i = 0; i < Taps(); ++i) {
      const double gain = p.tapGain[i] / 100.0;
      const int pan = sides_ == 2 ? p.tapPan[i] : 0;
      gain_[0][i] = pan > 0 ? (100 - pan) / 100.0 * gain : gain;
      gain_[1][i] = pan > 0 ? gain : (pan + 100) / 100.0 * gain;
      for (std::size_t side = 0; side < sides_; ++side) sum += gain_[side][i];
      depth_[i] = base * kSwing[i];
      position_[i] = static_cast<int>(rate_ / 1000) * p.tapDelayMs[i] + static_cast<int>(rate_ * kOffsetMs[i] / 1000);
      longest = std::max(longest, position_[i]);
    }
    feedback_ = p.feedback / (std::max(1.0, sum) * 100);
    const int length = std::max(2, static_cast<int>(longest * 1.05 + base * 4.0));
    for (std::size_t i = 0; i < Taps(); ++i) position_[i] %= length;
    if (length == length_) return;
    length_ = length;
    for (auto& line : lines_) line.assign(static_cast<std::size_t>(length), 0.0);
    write_ = 0;
    phase_ = 0;
    for (auto& memory : memory_) memory.fill(0.0);
  }

  void Frame(double* io) {
    const auto level = [](std::int32_t tenths) { return tenths > -800 ? std::pow(10.0, tenths / 200.0) : 0.0; };
    const double swing = SineAndCosine(Single{phase_}).sine.value + 1.0;
    phase_ += 6.28318530718 / ((10.0 / p_.modRate) * rate_);
    for (std::size_t l = 0; l < lines_.size(); ++l) {
      double in[2] = {}, held[2] = {}, sum[2] = {};
      for (std::size_t side = 0; side < sides_; ++side) {
        in[side] = io[l + side] * level(p_.inputGain);
        held[side] = Soften(in[side], memory_[0][l + side]);
      }
      for (std::size_t i = 0; i < Taps(); ++i) {
        const double value = Read(lines_[l], position_[i] - swing * depth_[i]);
        for (std::size_t side = 0; side < sides_; ++side) sum[side] += value * gain_[side][i];
      }
      for (std::size_t side = 0; side < sides_; ++side) {
        sum[side] = Soften(sum[side], memory_[1][l + side]);
        io[l + side] = Flush(level(p_.dryOut) * in[side] + level(p_.wetOut) * sum[side]);
      }
      const double feed =
          sides_ == 2 ? ((sum[0] + sum[1]) * feedback_ + (held[0] + held[1])) * 0.5 : sum[0] * feedback_ + held[0];
      lines_[l][static_cast<std::size_t>(write_)] = std::clamp(feed, -16777216.0, 16777216.0);
    }
    write_ = (write_ + length_ - 1) % length_;
    for (std::size_t i = 0; i < Taps(); ++i) position_[i] = (position_[i] + length_ - 1) % length_;
  }

 private:
  std::size_t Taps() const { return static_cast<std::size_t>(p_.tapCount); }
  static double Flush(double x) { return std::fabs(x) < std::ldexp(1.0, -32) ? 0.0 : x; }
  double Soften(double x, double& memory) const { return memory = Flush((1 - back_) * x + back_ * memory); }
  double Read(const std::vector<double>& line, double position) const {
    if (position < 0) position += length_ - 1;
    const auto index = static_cast<int>(std::nearbyint(position - 0.499999985));
    const int next = index + 1 < length_ - 1 ? index + 1 : index + 1 - (length_ - 1);
    const auto at = [&](int i) { return line[static_cast<std::size_t>((i + length_) % length_)]; };
    return at(index) + (at(next) - at(index)) * (position - index);
  }

  double rate_;
  std::size_t sides_;
  std::vector<std::vector<double>> lines_;
  EchomtParams p_{};
  double back_ = 0, feedback_ = 0, phase_ = 0, gain_[2][8] = {}, depth_[8] = {};
  int length_ = 0, write_ = 0, position_[8] = {};
  std::array<std::array<double, 8>, 2> memory_{};
};

TEST(MultiTapDelay, BlocksEqualThePlainEffect) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 random(seed);
  const auto pick = [&](std::int32_t low, std::int32_t high) {
    return std::uniform_int_distribution<std::int32_t>(low, high)(random);
  };
  for (int round = 0; round < 200; ++round) {
    EchomtParams params{};
    std::memcpy(&params, kEchomtEffect.presets.Block(pick(0, 25)), sizeof params);
    const std::int32_t longest = 1 << pick(0, 7);
    for (std::int32_t& delay : params.tapDelayMs) delay = pick(0, 3) != 0 ? pick(1, longest) : delay;
    params.tapCount = pick(1, 8);
    if (pick(0, 1) != 0) params.modDepth = pick(0, 1) != 0 ? pick(1, 100) : 0;
    params.modRate = pick(1, 100);
    params.feedback = pick(0, 150);
    params.lowPassEnabled = pick(0, 1);
    const std::uint16_t channels = Channels{1, 2, 3, 6}.begin()[pick(0, 3)];
    const std::uint32_t rate = std::initializer_list<std::uint32_t>{1, 1000, 3000, 8000, 44100}.begin()[pick(0, 4)];
    const auto size = static_cast<std::uint32_t>(pick(1, 800));
    SCOPED_TRACE(testing::Message() << "round " << round << " size " << size << " channels " << channels << " rate "
                                    << rate << " longest " << longest << " depth " << params.modDepth);
    Stream stream(SampleFormat::kFloat64, channels, rate, params);
    ASSERT_EQ(stream.engine.RestartEngine(), 0);
    PlainMultiTap plain(stream.record, params);
    for (const bool edited : {false, true}) {
      if (edited) {
        // A live edit leaves the taps anywhere along the line.
        params.tapGain[0] = -params.tapGain[0];
        stream.Change(params, true);
        plain.Set(params);
      }
      auto expected = GridNoise(std::size_t{1500} * channels, 0.5, static_cast<unsigned>(round) + 1);
      Bytes samples = Encode(stream.record, expected);
      RunCut(stream.engine, stream.record, samples, size);
      for (std::size_t i = 0; i < expected.size(); i += channels) plain.Frame(&expected[i]);
      ASSERT_EQ(LargestDifference(Decode(stream.record, samples), expected), 0.0);
    }
  }
}

TEST(MultiTapDelay, RebuildsOnlyWhenToldAndTriesAgainAfterAFailure) {
  using Answer = std::pair<std::int32_t, std::uint32_t>;
  Stream stream(SampleFormat::kFloat32, 2, 8000, Taps({100}));
  std::vector<double> values(2 * 100);
  EXPECT_EQ(stream.engine.Reset(false), 0);
  EXPECT_EQ(stream.engine.Reset(false), kFinished);
  ASSERT_EQ(stream.engine.RestartEngine(), 0);
  FailAllocationsAfter(0);
  // The first discontinuity after a start finds the lines as the start left them.
  EXPECT_EQ(stream.Run(ModeRestart, values), Answer(kGoOn, 100));
  EXPECT_EQ(stream.Run(ModeRestart, values), Answer(kEngineOutOfMemory, 0));
  for (const int granted : {0, 1}) {
    FailAllocationsAfter(granted);
    EXPECT_EQ(stream.Run(ModeContinue, values), Answer(kEngineOutOfMemory, 0));
    EXPECT_FALSE(stream.engine.engineReady());
  }
  EXPECT_LT(stream.Run(ModeFlush, values).first, 0);
  FailAllocationsAfter(-1);
  EXPECT_EQ(stream.Run(ModeContinue, values), Answer(kGoOn, 100));
  stream.engine.FreeLines();
  EXPECT_LT(stream.Run(ModeFlush, values).first, 0);
  EXPECT_EQ(stream.engine.RestartEngine(), 0);
}

TEST(MultiTapDelay, LoudestSettingStaysBoundedAndSilenceBecomesExact) {
  EchomtParams params = Taps({1, 2, 3}, 150);
  for (std::int32_t& gain : params.tapGain) gain = -100;
  Stream growing(SampleFormat::kFloat64, 2, 8000, params);
  ASSERT_EQ(growing.engine.RestartEngine(), 0);
  auto values = GridNoise(2 * 8000);
  growing.Run(ModeContinue, values);
  const double peak = std::abs(
      *std::max_element(values.begin(), values.end(), [](double a, double b) { return std::abs(a) < std::abs(b); }));
  EXPECT_GT(peak, 16777216.0);
  EXPECT_LE(peak, 3 * 16777216.0 + 1);

  params.feedback = 90;
  for (std::int32_t& gain : params.tapGain) gain = 30;
  Stream fading(SampleFormat::kFloat64, 2, 8000, params);
  ASSERT_EQ(fading.engine.RestartEngine(), 0);
  values = GridNoise(2 * 8000);
  fading.Run(ModeContinue, values);
  values.assign(2 * 8000, 0.0);
  fading.Run(ModeContinue, values);
  EXPECT_EQ(values.back(), 0.0);
  EXPECT_EQ(values[2 * 7900], 0.0);
}

}  // namespace
}  // namespace korva
