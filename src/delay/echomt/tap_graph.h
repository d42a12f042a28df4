#pragma once

#include "delay/echomt/echomt_property.h"

namespace korva {

/// The control of the Multi-Tap Delay's page that shows the taps and the echoes that the feedback makes of them. It is
/// a display: it takes no input, and is painted anew when it is invalidated.
///
/// It lives on a static control, whose painting it takes over, and finds its filter in the property "TapGraph" of that
/// window. Any number of them may be open at once; each belongs to the thread of its window.
class TapGraph {
 public:
  /// Takes the control over, and shows a filter, or with null an empty graph. The filter is not kept alive by it.
  static void Show(HWND control, IQvEchomtProp* filter) noexcept;
  /// Gives the control back.
  static void Detach(HWND control) noexcept;
};

}  // namespace korva
