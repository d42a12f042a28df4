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
  /// Lets a static control show a filter, which it does not keep alive; null gives the control back.
  static void Show(HWND control, IQvEchomtProp* filter) noexcept;
};

}  // namespace korva
