#include "audio/zeroed_buffer.h"
#include "delay/echomt/echo_response.h"
#include "delay/echomt/tap_graph.h"
#include "qvkit/ui_color.h"

namespace korva {
namespace {

constexpr WCHAR kProperty[] = L"TapGraph";

/// The procedure that the control had: all of its class have the same.
WNDPROC ClassProcedure(HWND control) noexcept {
  return reinterpret_cast<WNDPROC>(::GetClassLongPtrW(control, GCLP_WNDPROC));
}

void FillBox(HDC context, const GraphBox& box, COLORREF color) noexcept {
  const RECT place = {box.left, box.top, box.right, box.bottom};
  ::SetBkColor(context, color);
  ::ExtTextOutW(context, 0, 0, ETO_OPAQUE, &place, L"", 0, nullptr);
}

/// The order decides which bar stays on top: echoes, taps, the tap that is edited.
void DrawBars(HDC context, const GraphBox& graph, const EchomtParams& params) noexcept {
  const std::int32_t span = GraphSpan(params.graphResolution);
  ZeroedBuffer<std::int32_t> response;
  if (response.Allocate(static_cast<std::size_t>(span) + 1)) {
    ComputeEchoResponse(params, {response.data(), response.size()});
    const COLORREF color = QvGetUIColor(kColorEcho);
    for (std::int32_t time = 1; time <= span; ++time) {
      const std::int32_t level = response[static_cast<std::size_t>(time)];
      if (level != 0) FillBox(context, BarOf(graph, span, time, level), color);
    }
  }
  const auto drawTap = [&](int tap, COLORREF color) {
    FillBox(context, BarOf(graph, span, params.tapDelayMs[tap], params.tapGain[tap] * (kEchoUnity / 100)), color);
  };
  const COLORREF color = QvGetUIColor(kColorTap);
  for (int tap = 0; tap < params.tapCount; ++tap) {
    if (tap != params.currentTap) drawTap(tap, color);
  }
  if (params.currentTap < params.tapCount) drawTap(params.currentTap, QvGetUIColor(kColorCurrentTap));
}

void Draw(HWND control, HDC context, const RECT& client) noexcept {
  const LRESULT ground = ::SendMessageW(::GetParent(control), WM_CTLCOLORSTATIC, reinterpret_cast<WPARAM>(context),
                                        reinterpret_cast<LPARAM>(control));
  ::FillRect(context, &client, reinterpret_cast<HBRUSH>(ground));
  GraphBox graph = {client.left, client.top, client.right, client.bottom};
  const COLORREF axis = QvGetUIColor(kColorAxis);
  FillBox(context, {graph.left, graph.top, graph.left + 1, graph.bottom}, axis);
  FillBox(context, {graph.left, ZeroLine(graph), graph.right, ZeroLine(graph) + 1}, axis);
  auto* const filter = static_cast<IQvEchomtProp*>(::GetPropW(control, kProperty));
  EchomtParams params = {};
  if (filter == nullptr || FAILED(filter->GetParams(&params))) return;
  ++graph.left;
  --graph.right;
  DrawBars(context, graph, params);
}

/// In memory first, so that nothing flickers; straight onto the screen where there is no memory.
void Paint(HWND control, HDC screen) noexcept {
  RECT client = {};
  ::GetClientRect(control, &client);
  const HDC memory = ::CreateCompatibleDC(screen);
  const HBITMAP picture = memory != nullptr ? ::CreateCompatibleBitmap(screen, client.right, client.bottom) : nullptr;
  if (picture != nullptr) {
    const HGDIOBJ before = ::SelectObject(memory, picture);
    Draw(control, memory, client);
    ::BitBlt(screen, 0, 0, client.right, client.bottom, memory, 0, 0, SRCCOPY);
    ::SelectObject(memory, before);
    ::DeleteObject(picture);
  } else {
    Draw(control, screen, client);
  }
  if (memory != nullptr) ::DeleteDC(memory);
}

LRESULT CALLBACK GraphProc(HWND control, UINT message, WPARAM wparam, LPARAM lparam) {
  if (message != WM_PAINT) return ::CallWindowProcW(ClassProcedure(control), control, message, wparam, lparam);
  PAINTSTRUCT paint;
  if (const HDC screen = ::BeginPaint(control, &paint); screen != nullptr) Paint(control, screen);
  ::EndPaint(control, &paint);
  return 0;
}

}  // namespace

void TapGraph::Show(HWND control, IQvEchomtProp* filter) noexcept {
  if (control == nullptr) return;
  ::RemovePropW(control, kProperty);
  const bool shown = filter != nullptr && ::SetPropW(control, kProperty, filter);
  const WNDPROC procedure = shown ? &GraphProc : ClassProcedure(control);
  ::SetWindowLongPtrW(control, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(procedure));
  ::InvalidateRect(control, nullptr, FALSE);
}

}  // namespace korva
