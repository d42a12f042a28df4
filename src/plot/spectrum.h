#pragma once

#include <kiss_fftr.h>

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace korva {

/// The power spectrum of windows of one size.
class PowerSpectrum {
 public:
  /// `size` frames at a time, a power of two.
  explicit PowerSpectrum(std::size_t size);

  std::size_t size() const noexcept { return input_.size(); }
  /// Adds size / 2 + 1 powers to `power`: the squares of the transform of `frames`, which are no more than `size`,
  /// after `window` where there is one.
  void Transform(std::span<const float> frames, std::span<const float> window, std::span<double> power);

 private:
  struct Free {
    void operator()(kiss_fftr_cfg plan) const noexcept { kiss_fftr_free(plan); }
  };
  std::unique_ptr<kiss_fftr_state, Free> plan_;
  std::vector<float> input_;
  std::vector<kiss_fft_cpx> output_;
};

/// A raised cosine.
std::vector<float> HannWindow(std::size_t size);

}  // namespace korva
