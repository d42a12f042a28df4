#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

namespace korva {

/// The seed of a random test: a new one at each run, or that of KORVA_SEED. A failure while it lives prints it.
class Seed {
 public:
  Seed() : value_(Choose()), trace_(__FILE__, __LINE__, testing::Message() << "KORVA_SEED=" << value_) {}
  operator unsigned() const noexcept { return value_; }

 private:
  static unsigned Choose() {
    const char* const asked = std::getenv("KORVA_SEED");
    return asked != nullptr ? static_cast<unsigned>(std::strtoul(asked, nullptr, 10)) : std::random_device{}();
  }

  const unsigned value_;
  const testing::ScopedTrace trace_;
};

}  // namespace korva
