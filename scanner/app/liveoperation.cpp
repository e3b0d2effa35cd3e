// The loop of live operation.
#include "scanner/app/liveoperation.h"

#include "lxaframegrabber.h"
#include "scanner/app/decoding.h"
#include "scanner/app/recordpoints.h"

#include <chrono>
#include <optional>
#include <stdexcept>

namespace app {

namespace {

using Clock = std::chrono::steady_clock;
using LxCV::LxAFrameGrabber;

double MillisecondsSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

/// A source that runs as long as this lives.
class Running
{
public:
    explicit Running(LxAFrameGrabber& grabber) : m_grabber(grabber)
    {
        if (grabber.Start() != LxAFrameGrabber::eRC_OK) {
            throw std::runtime_error(grabber.GetDriverName() + " does not start");
        }
    }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;
    ~Running() { m_grabber.Pause(); }

private:
    LxAFrameGrabber& m_grabber;
};

} // namespace

LiveTotals RunLive(LxAFrameGrabber& grabber, decoder::Decoder& decoder, std::size_t frames,
                   acquisition::ImagePair& images, const std::function<void(const LiveFrame&)>& tell)
{
    LiveTotals totals;
    const Running running(grabber);
    const Clock::time_point begin = Clock::now();
    for (std::size_t number = 1; number <= frames; ++number) {
        const std::optional<double> conversionMs = acquisition::TakePair(grabber, images);
        LiveFrame frame{number, !conversionMs, 0, 0.0};
        if (frame.isLost) {
            ++totals.lost;
        } else {
            const Clock::time_point start = Clock::now();
            Decode(decoder, images, [](const char*, auto step) { step(); });
            frame.decodeMs = *conversionMs + MillisecondsSince(start);
            frame.points = CountPoints(decoder.GetRecord());
            ++totals.frames;
            totals.decodeMs += frame.decodeMs;
        }
        tell(frame);
    }
    totals.wholeMs = MillisecondsSince(begin);
    return totals;
}

} // namespace app
