#pragma once

#include "audio/format_record.h"
#include "platform/media.h"

namespace korva {

/// The input type rule of every effect: uncompressed audio of an accepted format. Every refusal is `E_INVALIDARG`.
inline HRESULT CheckAudioType(const AM_MEDIA_TYPE& type) {
  if (type.majortype != MEDIATYPE_Audio || type.bTemporalCompression != 0) return E_INVALIDARG;
  return IsAcceptedFormat(type.pbFormat, type.cbFormat) ? S_OK : E_INVALIDARG;
}

/// The plain record of an accepted type, its derived fields worked out anew whatever they claimed.
inline FormatRecord PlainFormatOf(const AM_MEDIA_TYPE& type) {
  FormatRecord record;
  QvAudio_CopyWfExtToWfx(type.pbFormat, type.cbFormat, record);
  NormaliseFormat(record);
  return record;
}

}  // namespace korva
