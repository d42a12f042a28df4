#pragma once

#include <cstddef>

#include "platform/platform.h"

namespace korva {

inline bool SameText(const WCHAR* left, const WCHAR* right) noexcept {
  while (*left != 0 && *left == *right) {
    ++left;
    ++right;
  }
  return *left == *right;
}

/// Without the terminator.
inline std::size_t TextLength(const WCHAR* text) noexcept {
  std::size_t length = 0;
  while (text[length] != 0) ++length;
  return length;
}

/// Copies `text` into a fixed field, cut where the field ends, always terminated.
inline void CopyText(WCHAR* field, std::size_t capacity, const WCHAR* text) noexcept {
  std::size_t i = 0;
  for (; i + 1 < capacity && text[i] != 0; ++i) field[i] = text[i];
  field[i] = 0;
}
template <class Field>
void CopyText(Field& field, const WCHAR* text) noexcept {
  CopyText(&field[0], sizeof(field) / sizeof(WCHAR), text);
}

/// A copy in task memory; null if there is none.
WCHAR* DuplicateText(const WCHAR* text) noexcept;

}  // namespace korva
