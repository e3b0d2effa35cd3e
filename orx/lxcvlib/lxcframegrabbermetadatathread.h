// A worker that polls the slow sensors of a camera.
#pragma once

#include "lxcwthreadalgo.h"
#include "lxsframegrabbermetadata.h"
#include "orx/base/export.h"
#include "orx/btservices/btcriticalsection.h"

#include <cstdint>
#include <fstream>
#include <functional>
#include <memory>
#include <string>

namespace LxCV {

/// While it is started, reads temperature and accelerometer of a grabber at a fixed period (setting
/// FrameGrabberAdditionalInfosPeriod, ms) and keeps the latest values for the thread that acquires images.
///
/// The schedule is fixed from the start on: after a long cycle the next ones follow without a gap until they have
/// caught up. The accelerometer is read only where the setting EnableAccelerometer is true and a first reading at the
/// start succeeds.
///
/// All functions but those that control the worker may be called from any thread. What the grabber throws is logged,
/// and the polling goes on.
class ORX_EXPORT LxCFrameGrabberMetaDataThread : public LxCWThreadAlgo
{
public:
    using AccelerometerCallback =
        std::function<void(const std::shared_ptr<const Base::IAccelerometerDataSimple>&)>;

    /// @param grabber not owned; must outlive the worker's thread, that is `Exit`. Null counts as a grabber without
    ///                sensors
    explicit LxCFrameGrabberMetaDataThread(LxAFrameGrabber* grabber);

    /// Ends the thread, where `Exit` has not.
    ~LxCFrameGrabberMetaDataThread() override;

    /// Copies the latest acceleration reading and temperature into a record. A reading lives as long as somebody
    /// holds it; a new one takes its place without changing it.
    void Update(LxSFrameGrabberMetaData& record) const;

    /// What is told each successful reading of the accelerometer, on the worker's thread. It is to be short, since
    /// `Update` waits for it, and must not call `Update`. Empty for none.
    void SetAccelerometerCallback(AccelerometerCallback callback);

    /// Whether each cycle writes a line "ms since the start, temperature, x, y, z" to the dump file. The file is
    /// opened, and an older one replaced, at a start with this set, and closed at the pause.
    bool IsDumpData() const;
    void SetDumpData(bool dump);
    std::string GetDumpDataFile() const;
    void SetDumpDataFile(const std::string& path);

protected:
    EReturnCode DoWork() override;
    EReturnCode OnStartPre() override;
    EReturnCode OnStartPost() override;
    EReturnCode OnPausePost() override;
    EReturnCode OnExit() override;

private:
    struct SReading
    {
        int x = 0;
        int y = 0;
        int z = 0;
        bool bSucceeded = false;
    };

    SReading ReadAccelerometer() const;
    bool HasAccelerometer() const;
    void Poll();
    void TellReading(const SReading& reading);
    void Dump(double temperature, const SReading& reading);
    void SleepUntilNextCycle();
    std::int64_t GetTimeSinceStart() const;
    void OpenDump();
    void CloseDump();

    LxAFrameGrabber* const m_pGrabber;
    LxSFrameGrabberMetaData m_Latest; ///< of which acceleration and temperature are live
    mutable BtCriticalSection m_Lock; ///< guards the latest values, the callback and the settings of the dump
    AccelerometerCallback m_AccelerometerCallback;
    bool m_bAccelerometerActive = false;
    bool m_bDumpData = false;
    std::string m_sDumpDataFile;
    std::ofstream m_DumpStream; ///< used by the worker's thread alone
    // Moments are ms of the running clock.
    std::int64_t m_iStartTime = 0;
    std::int64_t m_iReadingTime = 0; ///< of the latest reading
    std::int64_t m_iCycles = 0;      ///< since the start
};

} // namespace LxCV
