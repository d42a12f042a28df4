#pragma once

#include <vector>

#include "audio/format_record.h"
#include "host/levels.h"
#include "host/outcome.h"
#include "host/sound_file.h"
#include "streaming/base_filter.h"
#include "streaming/base_pin.h"

namespace korva {

/// A filter that writes what comes to its one input pin into a sound file. It stops the stream when the file cannot
/// take more or the user interrupts.
class FileSink final : public CBaseFilter {
 public:
  /// `output` outlives the filter.
  FileSink(SampleOutput& output, const FormatRecord& format);
  KORVA_DELEGATE_UNKNOWN()

  int GetPinCount() override { return 1; }
  CBasePin* GetPin(int n) override { return n == 0 ? &pin_ : nullptr; }

  /// Writes what has come and not been written yet.
  MaybeExit Finish();
  /// Why the sink stopped the stream, if it did.
  const MaybeExit& failure() const noexcept { return failure_; }
  std::int64_t frames() const noexcept { return frames_; }
  const Levels& levels() const noexcept { return levels_; }

 private:
  class Pin final : public CBaseInputPin {
   public:
    explicit Pin(FileSink& sink) : CBaseInputPin(sink, KORVA_WTEXT("Input"), KORVA_WTEXT("In")), sink_(sink) {}
    HRESULT CheckMediaType(const AM_MEDIA_TYPE& type) override;
    HRESULT Receive(IMediaSample* sample) override;

   private:
    FileSink& sink_;
  };

  ~FileSink() override = default;
  HRESULT Take(const std::uint8_t* data, std::size_t bytes);

  SampleOutput& output_;
  const FormatRecord format_;
  const SampleFormat sampleFormat_;
  Pin pin_;
  std::vector<std::uint8_t> waiting_;  // of a fixed size, so that the file is written alike however the stream is cut
  std::size_t waitingBytes_ = 0;
  std::int64_t frames_ = 0;
  Levels levels_;
  MaybeExit failure_;
};

}  // namespace korva
