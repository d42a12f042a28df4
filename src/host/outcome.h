#pragma once

#include <optional>
#include <string>
#include <utility>
#include <variant>

namespace korva {

inline constexpr int kDone = 0;    ///< exit code: done
inline constexpr int kFailed = 1;  ///< exit code: the work failed
inline constexpr int kWrong = 2;   ///< exit code: the call was wrong

/// Why a run ends early: its exit code and what to tell the user. With `kDone` the text was asked for, as help is.
struct Ending {
  int exitCode;
  std::string text;
};

inline Ending Failed(std::string text) {
  return {kFailed, std::move(text)};
}
inline Ending Wrong(std::string text) {
  return {kWrong, std::move(text)};
}

/// Nothing, or the ending that something led to.
using Check = std::optional<Ending>;

/// A value, or the ending that came instead of it.
template <class T>
class [[nodiscard]] Outcome {
 public:
  Outcome(T value) : content_(std::move(value)) {}
  Outcome(Ending ending) : content_(std::move(ending)) {}

  explicit operator bool() const noexcept { return content_.index() == 0; }
  T& operator*() noexcept { return *std::get_if<0>(&content_); }
  const T& operator*() const noexcept { return *std::get_if<0>(&content_); }
  T* operator->() noexcept { return std::get_if<0>(&content_); }
  const T* operator->() const noexcept { return std::get_if<0>(&content_); }
  const Ending& ending() const noexcept { return *std::get_if<1>(&content_); }

 private:
  std::variant<T, Ending> content_;
};

}  // namespace korva
