#pragma once

#include <cstdint>
#include <type_traits>

#include "audio/narrow.h"
#include "platform/platform.h"

namespace korva {

// Rows below 0 are none of the description's.
inline constexpr int kNoRow = -1;
inline constexpr int kTempoRow = -2;       ///< 1 while the host gives a tempo, otherwise 0
inline constexpr int kChannelsRow = -3;    ///< of the stream's format; 0 while there is none
inline constexpr int kSampleRateRow = -4;  ///< of the input; 0 while there is none

/// The values behind a page, by row of the effect's description, in block units: what the rules of a page work on.
/// Without a filter every value is 0, and nothing is set.
class PageValues {
 public:
  virtual double Get(int row) const noexcept = 0;
  /// Whole-number parameters take the value cut to a whole one.
  virtual void Set(int row, double value) noexcept = 0;

 protected:
  ~PageValues() = default;
};

/// One parameter of a filter as its property interface offers it, the interface's type taken out. The pointer that the
/// operations take is that interface.
struct ParameterAccess {
  int row;  ///< of the effect's description, or one of the page's own above them
  double (*get)(void* filter);
  void (*set)(void* filter, double value);
  HRESULT (*beginEdit)(void* filter) = nullptr;  ///< null, with the two after it, where nothing is automated
  HRESULT (*endEdit)(void* filter) = nullptr;
  HRESULT (*isFree)(void* filter) = nullptr;
};

namespace access {

template <class T>
T Cut(double value) noexcept {
  if constexpr (std::is_integral_v<T>) {
    return Truncate<T>(value);
  } else {
    return value;
  }
}

template <auto operation>
struct Getter;
template <class Interface, class T, HRESULT (Interface::*operation)(T*)>
struct Getter<operation> {
  static double Run(void* filter) {
    T value{};
    (static_cast<Interface*>(filter)->*operation)(&value);
    return static_cast<double>(value);
  }
};

template <auto operation>
struct Setter;
template <class Interface, class T, HRESULT (Interface::*operation)(T)>
struct Setter<operation> {
  static void Run(void* filter, double value) { (static_cast<Interface*>(filter)->*operation)(Cut<T>(value)); }
};

template <auto operation>
struct Call;
template <class Interface, HRESULT (Interface::*operation)()>
struct Call<operation> {
  static HRESULT Run(void* filter) { return (static_cast<Interface*>(filter)->*operation)(); }
};

}  // namespace access

// One entry of an access table, in a scope where `Property` is the property interface: of a parameter that has
// automation, and of one that has none.
#define KORVA_GROUP_ACCESS(Name, row)                                              \
  ::korva::ParameterAccess{row,                                                    \
                           ::korva::access::Getter<&Property::Get##Name>::Run,     \
                           ::korva::access::Setter<&Property::Set##Name>::Run,     \
                           ::korva::access::Call<&Property::BeginEdit##Name>::Run, \
                           ::korva::access::Call<&Property::EndEdit##Name>::Run,   \
                           ::korva::access::Call<&Property::Is##Name##Free>::Run},
#define KORVA_PAIR_ACCESS(Name, row, set)                                           \
  ::korva::ParameterAccess{row, ::korva::access::Getter<&Property::Get##Name>::Run, \
                           ::korva::access::Setter<&Property::Set##Name>::Run},

}  // namespace korva
