#pragma once

#include <optional>
#include <string>
#include <utility>
#include <variant>

namespace korva {

inline constexpr int kDone = 0;     ///< exit code: done
inline constexpr int kFailed = 1;   ///< exit code: the work failed
inline constexpr int kBadCall = 2;  ///< exit code: the call was wrong

/// Why a run ends early: its exit code and what to tell the user. With `kDone` the text was asked for, as help is.
struct EarlyExit {
  int exitCode;
  std::string text;
};

inline EarlyExit Failed(std::string text) {
  return {kFailed, std::move(text)};
}
inline EarlyExit BadCall(std::string text) {
  return {kBadCall, std::move(text)};
}

/// Nothing, or why the run ends.
using MaybeExit = std::optional<EarlyExit>;

/// A value, or why the run ends instead.
template <class T>
class [[nodiscard]] Outcome {
 public:
  Outcome(T value) : content_(std::move(value)) {}
  Outcome(EarlyExit exit) : content_(std::move(exit)) {}

  explicit operator bool() const noexcept { return content_.index() == 0; }
  T& operator*() noexcept { return *std::get_if<0>(&content_); }
  const T& operator*() const noexcept { return *std::get_if<0>(&content_); }
  T* operator->() noexcept { return std::get_if<0>(&content_); }
  const T* operator->() const noexcept { return std::get_if<0>(&content_); }
  const EarlyExit& earlyExit() const noexcept { return *std::get_if<1>(&content_); }

 private:
  std::variant<T, EarlyExit> content_;
};

}  // namespace korva
