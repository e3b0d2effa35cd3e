// Pair after pair from an image source through one decoder.
#pragma once

#include "scanner/acquisition/imagepair.h"
#include "scanner/decoder/decoder.h"

#include <cstddef>
#include <functional>

namespace LxCV {
class LxAFrameGrabber;
}

namespace app {

/// What came of one pair.
struct LiveFrame
{
    std::size_t number = 0; ///< from 1, lost ones included
    bool isLost = false;    ///< the source did not deliver it; there is nothing else to tell then
    std::size_t points = 0;
    double decodeMs = 0.0; ///< from the raw images to the finished record
};

/// What came of all of them.
struct LiveTotals
{
    std::size_t frames = 0; ///< decoded
    std::size_t lost = 0;
    double decodeMs = 0.0;
    double wholeMs = 0.0; ///< from the source's start to its pause, lost frames included

    /// Decoded frames in each second of decoding; 0 without any.
    double DecodedPerSecond() const { return PerSecond(decodeMs); }

    /// Decoded frames in each second of the whole; 0 without any.
    double FramesPerSecond() const { return PerSecond(wholeMs); }

private:
    double PerSecond(double milliseconds) const
    {
        constexpr double second = 1000.0; // ms
        return milliseconds > 0.0 ? second * static_cast<double>(frames) / milliseconds : 0.0;
    }
};

/// Starts a source, decodes so many pairs one after the other, and pauses it. A pair that the source does not deliver
/// counts as lost. What it takes of memory does not depend on the number of frames.
/// @param grabber initialised
/// @param decoder initialised for the size of the source's images; has the last frame afterwards
/// @param images  the last pair afterwards
/// @param tell    called after each frame, outside the time of decoding
/// @throws std::runtime_error where the source does not start; what the decoder throws
LiveTotals RunLive(LxCV::LxAFrameGrabber& grabber, decoder::Decoder& decoder, std::size_t frames,
                   acquisition::ImagePair& images, const std::function<void(const LiveFrame&)>& tell);

} // namespace app
