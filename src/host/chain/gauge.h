#pragma once

#include <cstdint>

#include "audio/format_record.h"
#include "streaming/trans_in_place.h"

namespace korva {

/// A filter between two links of the chain that looks at the stream and can hold it to a length. The samples of a
/// stream that keeps to it pass as they are.
class Gauge final : public CTransInPlaceFilter {
 public:
  /// `countsLoud`: samples are looked at.
  Gauge(const FormatRecord& format, bool countsLoud);
  KORVA_DELEGATE_UNKNOWN()

  HRESULT CheckInputType(const AM_MEDIA_TYPE&) override { return S_OK; }
  HRESULT CheckTransform(const AM_MEDIA_TYPE&, const AM_MEDIA_TYPE&) override { return S_OK; }
  HRESULT GetMediaType(int, CMediaType&) override { return E_UNEXPECTED; }
  HRESULT Receive(IMediaSample* sample) override;
  HRESULT EndOfStream() override;

  /// From now on the stream is cut to `frames`, and silence fills what is missing at its end.
  void HoldTo(std::int64_t frames) noexcept { held_ = frames; }

  /// Frames that came, whatever became of them.
  std::int64_t frames() const noexcept { return frames_; }
  /// Samples of whole numbers that lie at full scale, or of floats that lie beyond it.
  std::int64_t loud() const noexcept { return loud_; }

 private:
  const FormatRecord format_;
  const bool countsLoud_;
  std::int64_t held_ = -1, frames_ = 0, loud_ = 0;
};

}  // namespace korva
