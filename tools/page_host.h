// A host of property pages, for programs that have the module's classes linked in: filters, their pages, and the
// system's own frame around them.
#pragma once

#include <ocidl.h>

#include <cstdint>
#include <span>

#include "pages/page_control.h"
#include "streaming/com_ptr.h"

namespace korva {

struct QvLanguage;

/// An effect with a page.
struct PageCase {
  const PageDescription& page;
  IID property;

  const char* name() const { return page.effect.name; }
  ComPtr<IUnknown> Filter() const;
  ComPtr<IPropertyPage> Page() const;
};

/// Every effect with a page.
std::span<const PageCase> Pages();
const PageCase& PageOf(const char* effect);

/// The components and the control classes of a program, as a module's start makes them.
class Components {
 public:
  Components();
  Components(const Components&) = delete;
  Components& operator=(const Components&) = delete;
  ~Components();
  void Speak(std::uint32_t locale);

 private:
  QvLanguage* language_ = nullptr;
};

/// Opens the system's own frame on a filter and its page, modal, until it is closed.
HRESULT OpenFrame(const PageCase& page, const WCHAR* caption);

}  // namespace korva
