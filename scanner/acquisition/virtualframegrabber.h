// An image source that renders what it delivers.
#pragma once

#include "crawimagequeue.h"
#include "lxaframegrabber.h"
#include "scanner/acquisition/devicememory.h"
#include "scanner/acquisition/rendering.h"
#include "scanner/device/virtualdevice.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

namespace acquisition {

/// The virtual device behind the contract of all image sources.
///
/// Reference and pattern images come in pairs. A pair is rendered when it is needed first: the first one by `Init`,
/// the next one, with a seed that is larger by one, as soon as a kind is asked for that the present pair has delivered
/// already. Exposures, gains and LED currents are kept, but images do not depend on them.
///
/// With noise, raw images are of type BGRU8, as an 8-bit sensor delivers them; without noise grey levels are not
/// rounded and raw images are of type FLOAT32_3.
///
/// One thread at a time drives it. Others may call `ReadFPGATemperature`, `ReadAccelerometer`, `GetRendering` and the
/// two waits meanwhile.
class VirtualFrameGrabber : public LxCV::LxAFrameGrabber
{
public:
    /// @throws std::invalid_argument for parameters that describe no device
    explicit VirtualFrameGrabber(const device::DeviceParameters& parameters = device::DeviceParameters());
    VirtualFrameGrabber(const VirtualFrameGrabber&) = delete;
    VirtualFrameGrabber& operator=(const VirtualFrameGrabber&) = delete;

    /// Releases the source, renders the first pair and makes the raw images.
    /// @param arguments texts "scene=NAME", "seed=N" and "noise=X" as in `PairOptions`; instead of a scene "mesh=PATH",
    ///        with "pose=RX,RY,RZ,TX,TY,TZ" and "scale=X" as in `device::MeshPose`; and "memory=PATH", the file
    ///        that keeps the memory of the device beyond the end of the program; without the latter the memory keeps
    ///        its content as long as this object lives. Of several for one key the last one counts
    /// @return `eRC_ConfigFileErrononeus` for other arguments or a file that is none of a memory,
    ///         `eRC_CouldNotBeInitialized` where the pair cannot be rendered; each with a line in the log
    EReturnCode Init(const std::vector<std::string>& arguments) override;

    /// Why the last `Init` did not succeed, as in the log; empty where it did.
    const std::string& GetFault() const { return m_fault; }

    /// @return `eRC_CouldNotBeInitialized` without `Init`
    EReturnCode Start() override;
    EReturnCode Pause() override;

    /// Stops, and frees the pair and the raw images that no caller holds.
    EReturnCode Release() override;

    /// The next image. `eLT_Any`, and what is no kind of image, goes by the LED sequence: reference images, pattern
    /// images, else both in turn. The image type is `sc_eReferenceImage` or `sc_ePatternImage`, the timestamp the
    /// number of the image since `Init`, and the description tells scene, seed and kind.
    /// @return null unless started, and where the next pair cannot be rendered
    /// @throws std::exception "no buffers available" where callers hold all raw images
    LxCV::CCTImage* AcquireImageRaw(ELedType type) override;

    using LxAFrameGrabber::ReEnqueueRawBuffers;

    /// Takes back raw images that `AcquireImageRaw` gave, and empties the vector. Others are ignored, with a line in
    /// the log: they stay their owner's.
    void ReEnqueueRawBuffers(std::vector<LxCV::CCTImage*>& images) override;

    /// 10 to 25000 us, the range of all cameras.
    void GetMinMaxShutterTime(float& minimum, float& maximum) const override;

    std::string GetSerialNumber() const override { return "VIRTUAL1"; }
    std::string GetFirmwareVersion() override { return "1.0"; }

    /// Takes exposures and currents of the preset; the gain preset stays.
    EReturnCode ChangePresetShutterAsynchron(EPresetShutter preset) override;

    /// The electronics warm up from 25 by at most 20 degrees Celsius, by n / (n + 500) of that after n images since
    /// `Init`; `sc_dDummyTemperatur` where not initialised.
    double ReadFPGATemperature() const override;

    /// The device's memory holds one file, as a container of `LxCCCTEncryptionUtils`. All three are false where not
    /// initialised.
    /// @return false for a text that does not fit or a file of the memory that cannot be written; the content then
    ///         stays as it was
    bool WriteIniFileToDevice(std::stringstream& text) override;

    /// @return false without a file, or where it is damaged; `text` then stays as it was
    bool ReadIniFileFromDevice(std::stringstream& text) override;

    /// Whether anything stands in the memory; reading it may fail yet.
    bool IsThereAnIniFileOnDevice() override;

    /// Gravity in camera coordinates, thousandths of g: the device is at rest, and the world's z axis points down.
    /// @return false, and zeros, where not initialised
    bool ReadAccelerometer(int& x, int& y, int& z) override;

    /// The pair that the image delivered last is one of, after `Init` the first one; null where not initialised.
    std::shared_ptr<const Rendering> GetRendering() const;

private:
    struct Arguments;

    void Open(const PairOptions& options);
    void SetRendering(std::shared_ptr<const Rendering> rendering);
    ELedType KindOf(ELedType type);
    void Deliver(ELedType kind, LxCV::CCTImage& image);

    std::shared_ptr<const device::VirtualDevice> m_device;
    mutable std::mutex m_lock;
    std::shared_ptr<const Rendering> m_rendering; ///< guarded by the lock; null where not initialised
    std::array<bool, 2> m_delivered{};            ///< by kind, of the present pair
    ELedType m_lastKind = eLT_Pat;
    std::atomic<std::uint64_t> m_frames{0}; ///< images since `Init`
    LxCV::CRawImageQueue m_queue;
    DeviceMemory m_memory;
    std::string m_fault;
};

} // namespace acquisition
