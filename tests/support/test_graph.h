#pragma once

#include <cstring>
#include <span>

#include "streaming/transform_filter.h"
#include "support/test_pins.h"
#include "support/test_sample.h"

namespace korva {

struct GraphOptions {
  std::size_t bufferFrames = 4096;
  bool downstreamFirst = false;    ///< the filter's output is connected before its input
  bool readOnly = false;           ///< upstream's buffers may not be rewritten
  bool upstreamOwns = false;       ///< upstream brings buffers of its own
  bool downstreamInsists = false;  ///< downstream takes no buffers but its own
  bool takesOffered = false;       ///< upstream's read-only buffers are the one that the filter offers, if it may
};

/// What a test says of one buffer. A negative time means none.
struct Stamp {
  REFERENCE_TIME time = -1;
  bool discontinuity = false;
  bool tailOnly = false;
};

/// A source, the filter under test and a sink, connected: `TestGraph graph(*filter, format); graph.Run(bytes, 512)`.
/// One thread drives it all. Stops and takes itself apart at the end.
class TestGraph {
 public:
  TestGraph(CTransformFilter& filter, const FormatRecord& format, GraphOptions options = {})
      : filter_(filter), format_(format) {
    source->pin.formats = {format};
    source->pin.wanted.cbBuffer = static_cast<LONG>(options.bufferFrames * format.blockAlign);
    source->pin.readOnly = options.readOnly;
    source->pin.ownAllocator = options.upstreamOwns;
    source->pin.takesOffered = options.takesOffered;
    if (options.takesOffered) source->pin.wanted.cBuffers = 1;
    sink->pin.insistsOnOwn = options.downstreamInsists;
    CMediaType type;
    type.SetWave(format);
    const auto up = [&] { return source->pin.Connect(filter.GetPin(0), &type.get()); };
    const auto down = [&] { return filter.GetPin(1)->Connect(&sink->pin, &type.get()); };
    connected = options.downstreamFirst ? down() : up();
    if (connected == S_OK) connected = options.downstreamFirst ? up() : down();
  }
  ~TestGraph() {
    Stop();
    for (IPin* pin : {static_cast<IPin*>(&source->pin), static_cast<IPin*>(filter_.GetPin(0)),
                      static_cast<IPin*>(filter_.GetPin(1)), static_cast<IPin*>(&sink->pin)}) {
      pin->Disconnect();
    }
  }
  TestGraph(const TestGraph&) = delete;
  TestGraph& operator=(const TestGraph&) = delete;

  /// Downstream starts first and stops first, as graphs do.
  HRESULT Start() {
    sink->Run(0);
    if (const HRESULT result = filter_.Run(0); FAILED(result)) return result;
    return source->Run(0);
  }
  void Stop() {
    sink->Stop();
    filter_.Stop();
    source->Stop();
  }

  IMemInputPin& input() { return *filter_.inputPin(); }

  /// Sends one buffer that is made as the pins agreed, or the test's own sample if it is tail-only.
  HRESULT Send(std::span<const std::uint8_t> bytes, Stamp stamp = {}) {
    if (stamp.tailOnly) {
      TestSample sample(Bytes(bytes.begin(), bytes.end()));
      sample.tailOnly = 1;
      if (stamp.time >= 0) sample.SetTime(&stamp.time, &stamp.time);
      return input().Receive(&sample);
    }
    ComPtr<IMediaSample> sample;
    if (const HRESULT result = source->pin.GetDeliveryBuffer(sample.Put(), nullptr, nullptr, 0); FAILED(result)) {
      return result;
    }
    BYTE* buffer = nullptr;
    sample->GetPointer(&buffer);
    if (!bytes.empty()) std::memcpy(buffer, bytes.data(), bytes.size());
    sample->SetActualDataLength(static_cast<LONG>(bytes.size()));
    sample->SetDiscontinuity(stamp.discontinuity ? TRUE : FALSE);
    if (stamp.time >= 0) {
      REFERENCE_TIME end = stamp.time + TimeOf(bytes.size() / format_.blockAlign);
      sample->SetTime(&stamp.time, &end);
    }
    return source->pin.Deliver(sample.Get());
  }

  /// Sends `bytes` cut into buffers of `framesPerBuffer`, stamped from the frame count, the first a discontinuity.
  /// Returns the first result that is not `S_OK`.
  HRESULT SendAll(std::span<const std::uint8_t> bytes, std::size_t framesPerBuffer) {
    const std::size_t step = framesPerBuffer * format_.blockAlign;
    for (std::size_t at = 0; at < bytes.size(); at += step) {
      const auto part = bytes.subspan(at, std::min(step, bytes.size() - at));
      const HRESULT result = Send(part, {TimeOf(at / format_.blockAlign), at == 0, false});
      if (result != S_OK) return result;
    }
    return S_OK;
  }

  /// A whole stream: start, `SendAll`, end of stream, stop. Returns what came out.
  Bytes Run(std::span<const std::uint8_t> bytes, std::size_t framesPerBuffer) {
    sink->pin.received.clear();
    sink->pin.arrivals.clear();
    outcome = Start();
    if (SUCCEEDED(outcome)) outcome = SendAll(bytes, framesPerBuffer);
    if (SUCCEEDED(outcome)) outcome = source->pin.DeliverEndOfStream();
    Stop();
    return sink->pin.received;
  }

  REFERENCE_TIME TimeOf(std::size_t frames) const {
    return static_cast<REFERENCE_TIME>(static_cast<double>(frames) * 1e7 / format_.samplesPerSecond);
  }

  Owned<SourceFilter> source;
  Owned<SinkFilter> sink;
  HRESULT connected = E_FAIL;  ///< of making both connections
  HRESULT outcome = S_OK;      ///< of the last `Run`

 private:
  CTransformFilter& filter_;
  FormatRecord format_;
};

}  // namespace korva
