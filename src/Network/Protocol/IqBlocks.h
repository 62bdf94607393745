#pragma once

/// The IQ stream: SampleBlocks without a number, so that a lost one is a gap that nothing tells.
///
///   0    2    4    6         510
///   | Q  | I  | Q  | I  ...  | I  |      128 complex samples, 16-bit each part, 32768 for full scale
/// Thread: any.
namespace IqBlocks
{

constexpr int kSamples = 128;          ///< Of a block as a server sends it.
constexpr int kValues = 2 * kSamples;  ///< Of that block.
constexpr double kFullScale = 32768.0; ///< Of a value; a sample of 1.0 and beyond wraps around.

} // namespace IqBlocks
