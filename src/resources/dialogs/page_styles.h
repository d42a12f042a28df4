// Names for what the layouts repeat. Read by the resource compiler only.
#include <winresrc.h>
#include <commctrl.h>

#define FADER_STYLE (TBS_VERT | TBS_BOTH | TBS_NOTICKS | TBS_FIXEDLENGTH | TBS_REVERSED | WS_TABSTOP)
#define TRACKBAR_STYLE (TBS_HORZ | TBS_NOTICKS | TBS_FIXEDLENGTH | TBS_DOWNISLEFT | WS_TABSTOP)
#define SPINNER_STYLE (UDS_ALIGNRIGHT)
#define EDIT_STYLE (ES_LEFT | ES_AUTOHSCROLL | WS_BORDER | WS_TABSTOP)
#define CHECK_STYLE (BS_AUTOCHECKBOX | BS_MULTILINE | WS_TABSTOP)
#define LIST_STYLE (CBS_DROPDOWNLIST | WS_VSCROLL | WS_TABSTOP)
// Sorted by the numbers that their entries begin with.
#define SORTED_LIST_STYLE (LIST_STYLE | CBS_SORT)
#define RADIO_STYLE (BS_AUTORADIOBUTTON)
#define FIRST_RADIO_STYLE (RADIO_STYLE | WS_GROUP | WS_TABSTOP)
#define HEADING_STYLE (SS_CENTER)
#define LABEL_STYLE (SS_LEFT | SS_CENTERIMAGE)
#define WRAPPED_STYLE (SS_LEFT)
#define SCALE_STYLE (SS_RIGHT | SS_NOPREFIX)
// A control takes its spoken name from the text right before it. Where that isn't the one that is seen, a hidden one is.
#define NAME_STYLE NOT WS_VISIBLE
#define VALUE_STYLE (SS_LEFT | SS_CENTERIMAGE | SS_NOPREFIX)
#define FADER_VALUE_STYLE (SS_CENTER | SS_CENTERIMAGE | SS_NOPREFIX)

#define QV_FADER_CLASS "qvppack1Bld0FaderClass"
#define QV_TRACKBAR_CLASS "qvppack1Bld0TrackbarClass"
#define QV_SPINNER_CLASS "qvppack1Bld0SpinnerClass"
#define QV_STATIC_CLASS "qvppack1Bld0StaticClass"
#define QV_LOGO_CLASS "qvppack1Bld0LogoClass"
