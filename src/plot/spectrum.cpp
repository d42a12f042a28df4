#include "plot/spectrum.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <numbers>

namespace korva {

PowerSpectrum::PowerSpectrum(std::size_t size)
    : plan_(kiss_fftr_alloc(static_cast<int>(size), 0, nullptr, nullptr)), input_(size), output_(size / 2 + 1) {
  if (!plan_) throw std::bad_alloc();
}

void PowerSpectrum::Transform(std::span<const float> frames, std::span<const float> window, std::span<double> power) {
  std::fill(std::copy(frames.begin(), frames.end(), input_.begin()), input_.end(), 0.0F);
  for (std::size_t i = 0; i < window.size(); ++i) input_[i] *= window[i];
  kiss_fftr(plan_.get(), input_.data(), output_.data());
  for (std::size_t i = 0; i < output_.size(); ++i) {
    const double real = static_cast<double>(output_[i].r), imaginary = static_cast<double>(output_[i].i);
    power[i] += real * real + imaginary * imaginary;
  }
}

std::vector<float> HannWindow(std::size_t size) {
  std::vector<float> window(size);
  for (std::size_t i = 0; i < size; ++i) {
    const double phase = 2 * std::numbers::pi * static_cast<double>(i) / static_cast<double>(size);
    window[i] = static_cast<float>(0.5 - 0.5 * std::cos(phase));
  }
  return window;
}

}  // namespace korva
