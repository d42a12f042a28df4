#include "chorus/chorus_page.h"
#include "pages/preset_menu.h"
#include "qvkit/help.h"
#include "qvkit/string_ids.h"

namespace korva {
namespace {

// Ids of the controls that the rules name.
enum ChorusControl : int {
  kRateBar = 6032,
  kRateEdit = 6033,
  kHighCheck = 6036,
  kHighBar = 6037,
  kHighEdit = 6038,
  kRateLabel = 6047,
  kPeriodLabel = 6049,
  kSyncCheck = 8005,
  kMultiplierEdit = 8031,
  kMultiplierSpinner = 8032,
  kPeriodList = 8033,
};

constexpr LONG kSilence = -600;  // shown as such
constexpr LONG kNoteCount = 19;

// One trackbar covers 0.001 to 20 Hz: up to 10 Hz its positions are thousandths, above that hundredths.
constexpr LONG kFineRates = 10000;
constexpr LONG kCoarseStep = 10;
constexpr LONG kCoarseOffset = kFineRates - kFineRates / kCoarseStep;

LONG RateToPosition(LONG rate) noexcept {
  return rate < kFineRates ? rate : rate / kCoarseStep + kCoarseOffset;
}
LONG PositionToRate(LONG position) noexcept {
  return position < kFineRates ? position : (position - kCoarseOffset) * kCoarseStep;
}

ShortText ShowGain(LONG value) noexcept {
  return QvGetdBStringFixed(value, 1, kSilence, 1);
}
ShortText ShowWhole(LONG value) noexcept {
  return QvGetLabeledStringFixed(value, 0, nullptr, 0);
}
ShortText ShowPercent(LONG value) noexcept {
  return QvGetLabeledStringFixed(value, 0, L" %", 0);
}
ShortText ShowTenths(LONG value) noexcept {
  return QvGetLabeledStringFixed(value, 1, nullptr, 0);
}
ShortText ShowRate(LONG rate) noexcept {
  return rate < kFineRates ? QvGetLabeledStringFixed(rate, 3, nullptr, 0)
                           : QvGetLabeledStringFixed(rate / kCoarseStep, 2, nullptr, 0);
}
ShortText ShowHertz(LONG value) noexcept {
  ShortText text;
  QvLongToText(value, text.characters, 1);
  return text;
}
ShortText ShowMultiplier(LONG value) noexcept {
  ShortText text;
  QvDoubleToText(value / 1000.0, 3, text.characters);
  return text;
}

LONG ReadThousandths(const WCHAR* text) noexcept {
  return ReadScaled(text, 1000.0);
}
LONG ReadTenths(const WCHAR* text) noexcept {
  return ReadScaled(text, 10.0);
}
LONG ReadHertz(const WCHAR* text) noexcept {
  return QvTextToLongToken(text, nullptr);
}

#define CHORUS_GROUP(Name) KORVA_PARAMETER_GROUP(IQvChorusProp2, Name)

// The order is that in which the page follows automation.
constexpr PageControl kControls[] = {
    {.kind = ControlKind::kBypass, .id = kBypassButton, .group = CHORUS_GROUP(Bypass)},
    {.kind = ControlKind::kFader,
     .id = 6016,
     .group = CHORUS_GROUP(InputGain),
     .minimum = -600,
     .maximum = 0,
     .reset = 0,
     .readout = 6022,
     .show = ShowGain},
    {.kind = ControlKind::kFader,
     .id = 6020,
     .group = CHORUS_GROUP(DryOut),
     .minimum = -600,
     .maximum = 0,
     .reset = -60,
     .readout = 6023,
     .show = ShowGain},
    {.kind = ControlKind::kFader,
     .id = 6021,
     .group = CHORUS_GROUP(ChorusOut),
     .minimum = -600,
     .maximum = 0,
     .reset = -60,
     .readout = 6024,
     .show = ShowGain},
    {.kind = ControlKind::kTrackbar,
     .id = 6025,
     .group = CHORUS_GROUP(ChorusSize),
     .minimum = 1,
     .maximum = 3,
     .reset = 2,
     .readout = 6026,
     .show = ShowWhole},
    {.kind = ControlKind::kTrackbar,
     .id = 6027,
     .group = CHORUS_GROUP(Feedback),
     .minimum = 0,
     .maximum = 100,
     .reset = 50,
     .readout = 6028,
     .show = ShowPercent},
    {.kind = ControlKind::kCheck, .id = 6029, .group = CHORUS_GROUP(InvertChorus)},
    {.kind = ControlKind::kTrackbar,
     .id = 6031,
     .group = CHORUS_GROUP(Delay),
     .minimum = 1,
     .maximum = 1000,
     .reset = 500,
     .readout = 6039,
     .show = ShowTenths,
     .read = ReadTenths},
    {.kind = ControlKind::kTrackbar,
     .id = kRateBar,
     .group = CHORUS_GROUP(ModRate),
     .minimum = 1,
     .maximum = 11000,
     .reset = 5500,
     .toPosition = RateToPosition,
     .toValue = PositionToRate,
     .readout = kRateEdit,
     .show = ShowRate,
     .read = ReadThousandths},
    {.kind = ControlKind::kTrackbar,
     .id = 6034,
     .group = CHORUS_GROUP(ModDepth),
     .minimum = 1,
     .maximum = 100,
     .reset = 50,
     .readout = 6035,
     .show = ShowPercent},
    {.kind = ControlKind::kCheck, .id = kHighCheck, .group = CHORUS_GROUP(AttenuateHigh)},
    {.kind = ControlKind::kTrackbar,
     .id = kHighBar,
     .group = CHORUS_GROUP(AttenuationHz),
     .minimum = 100,
     .maximum = 10000,
     .reset = 1000,
     .page = 100,
     .readout = kHighEdit,
     .show = ShowHertz,
     .read = ReadHertz},
    {.kind = ControlKind::kCheck, .id = 6030, .group = CHORUS_GROUP(InvertFeedback)},
    {.kind = ControlKind::kCheck, .id = kSyncCheck, .group = CHORUS_GROUP(TempoSync)},
    {.kind = ControlKind::kList,
     .id = kPeriodList,
     .group = CHORUS_GROUP(ModPeriodNote),
     .firstString = kStringFirstNote,
     .stringCount = kNoteCount},
    {.kind = ControlKind::kSpinner,
     .id = kMultiplierSpinner,
     .group = CHORUS_GROUP(ModPeriodMultiplier),
     .minimum = 1,
     .maximum = 32000,
     .reset = 1000,
     .page = 1000,
     .readout = kMultiplierEdit,
     .show = ShowMultiplier,
     .read = ReadThousandths},
};

constexpr PageDescription kChorusPage = {.dialog = 6001,
                                         .title = kStringChorusTitle,
                                         .logoName = kStringChorusLogo,
                                         .helpContext = kHelpChorus,
                                         .propertyInterface = IID_IQvChorusProp2,
                                         .controls = kControls};

}  // namespace

CQvChorusPropPage::CQvChorusPropPage(IUnknown* outer) noexcept : CQvEffectPage(outer, kChorusPage) {}

HRESULT CQvChorusPropPage::SetNotifyWindow(HWND window, LONG id) {
  return chorus()->SetNotifyWindow(window, id);
}

void CQvChorusPropPage::InitOwnControls() {
  Enable(kSyncCheck, chorus()->IsTempoAvailable() != 0);
}

void CQvChorusPropPage::ShownValue(const PageControl& row, LONG value) {
  if (row.id == kHighCheck) Enable(kHighBar, value != 0);
  if (row.id == kSyncCheck) ShowTempoGroup(value != 0);
}

void CQvChorusPropPage::ShowTempoGroup(bool sync) {
  for (const int id : {kRateBar, kRateEdit, kRateLabel}) Enable(id, !sync);
  for (const int id : {kMultiplierEdit, kPeriodLabel, kMultiplierSpinner, kPeriodList}) Enable(id, sync);
}

std::optional<bool> CQvChorusPropPage::EditEnabled(const PageControl& row) {
  LONG high = 0, sync = 0;
  switch (row.readout) {
    case kHighEdit:
      chorus()->GetAttenuateHigh(&high);
      return high != 0;
    case kRateEdit:
    case kMultiplierEdit:
      chorus()->GetTempoSync(&sync);
      if ((row.readout == kMultiplierEdit) != (sync != 0)) return std::nullopt;
      return true;
    default:
      return true;
  }
}

void CQvChorusPropPage::EraseBackground() {
  chorus()->TakeAndLeaveLock();
  chorus()->SetReserved(0);
}

}  // namespace korva
