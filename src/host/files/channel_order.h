#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

// The order of a frame's channels. The stream has that of WAV and FLAC: front left and right, center, low frequencies,
// back or side. Vorbis and Opus put the center between left and right and the low frequencies last (Vorbis I,
// channel mapping; RFC 7845, 5.1.1.2), and the library hands their frames on as they are.
namespace korva {

/// Where each channel of the stream stands in a frame of the file; empty where the orders are the same.
std::span<const std::uint8_t> FileOrder(int sndfileFormat, std::uint32_t channels) noexcept;

/// Whether a container that tells no places of channels has these ones for so many channels, or none are told.
bool HasPlaces(int sndfileFormat, std::span<const int> places) noexcept;

/// Brings `frames` frames of samples of `sampleBytes` bytes from the file's order to the stream's, or with `toFile` the
/// other way, in place.
void Reorder(std::span<const std::uint8_t> order, bool toFile, void* data, std::size_t sampleBytes,
             std::size_t frames) noexcept;

}  // namespace korva
