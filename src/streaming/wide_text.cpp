#include "streaming/wide_text.h"

#include "platform/services.h"

namespace korva {

WCHAR* DuplicateText(const WCHAR* text) noexcept {
  const std::size_t length = TextLength(text);
  auto* const copy = static_cast<WCHAR*>(platform::AllocateTaskMemory((length + 1) * sizeof(WCHAR)));
  if (copy != nullptr) CopyText(copy, length + 1, text);
  return copy;
}

}  // namespace korva
