// The polling of the sensors, its schedule and its dump.
#include "lxcframegrabbermetadatathread.h"

#include "lxclxcvlibsettings.h"
#include "lxsaccelerometerdata.h"
#include "orx/logging/logger.h"
#include "orx/platform/paths.h"
#include "runningclock.h"

#include <algorithm>
#include <exception>
#include <locale>
#include <mutex>
#include <utility>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCFrameGrabberMetaDataThread");

constexpr double c_dLongestSleepMs = 1e9; // 11 days; the schedule goes on after it

} // namespace

LxCFrameGrabberMetaDataThread::LxCFrameGrabberMetaDataThread(LxAFrameGrabber* grabber)
    : LxCWThreadAlgo(0, 0), m_pGrabber(grabber)
{}

LxCFrameGrabberMetaDataThread::~LxCFrameGrabberMetaDataThread()
{
    Exit();
    s_Logger.Debug(L"LxCFrameGrabberAdditionalInformationThread destructor\n");
}

void LxCFrameGrabberMetaDataThread::Update(LxSFrameGrabberMetaData& record) const
{
    const std::lock_guard lock(m_Lock);
    record.SetAccelerometerData(m_Latest.GetAccelerometerData());
    record.SetTemperatur(m_Latest.GetTemperatur());
}

LxCWThreadAlgo::EReturnCode LxCFrameGrabberMetaDataThread::OnStartPre()
{
    m_bAccelerometerActive = LxCLxCVLibSettings::GetEnableAccelerometer() && HasAccelerometer();
    if (IsDumpData()) {
        OpenDump();
    }
    return eRC_OK;
}

LxCWThreadAlgo::EReturnCode LxCFrameGrabberMetaDataThread::OnStartPost()
{
    const EReturnCode result = LxCWThreadAlgo::OnStartPost();
    m_iCycles = 0;
    m_iStartTime = SRunningMoment::Now().GetMs();
    return result;
}

LxCWThreadAlgo::EReturnCode LxCFrameGrabberMetaDataThread::OnPausePost()
{
    CloseDump();
    return eRC_OK;
}

LxCWThreadAlgo::EReturnCode LxCFrameGrabberMetaDataThread::OnExit()
{
    CloseDump();
    return eRC_OK;
}

LxCWThreadAlgo::EReturnCode LxCFrameGrabberMetaDataThread::DoWork()
{
    try {
        Poll();
    } catch (...) {
        SleepUntilNextCycle(); // a sensor that always throws is not to be asked without a gap
        throw;
    }
    SleepUntilNextCycle();
    return eRC_OK;
}

LxCFrameGrabberMetaDataThread::SReading LxCFrameGrabberMetaDataThread::ReadAccelerometer() const
{
    SReading reading;
    reading.bSucceeded =
        m_pGrabber != nullptr && m_pGrabber->ReadAccelerometer(reading.x, reading.y, reading.z);
    return reading;
}

/// Whether a first reading succeeds. Nothing would catch its exceptions.
bool LxCFrameGrabberMetaDataThread::HasAccelerometer() const
{
    try {
        return ReadAccelerometer().bSucceeded;
    } catch (const std::exception& exception) {
        s_Logger.Error(L"LxCFrameGrabberMetaDataThread::OnStartPre: exception in ReadAccelerometer: %s\n",
                       exception.what());
    } catch (...) {
        s_Logger.Error(
            L"LxCFrameGrabberMetaDataThread::OnStartPre: unknown exception in ReadAccelerometer\n");
    }
    return false;
}

void LxCFrameGrabberMetaDataThread::Poll()
{
    const double temperature =
        m_pGrabber != nullptr ? m_pGrabber->ReadFPGATemperature() : LxAFrameGrabber::sc_dDummyTemperatur;
    {
        const std::lock_guard lock(m_Lock);
        m_Latest.SetTemperatur(temperature);
    }
    SReading reading;
    if (m_bAccelerometerActive) {
        reading = ReadAccelerometer();
        m_iReadingTime = SRunningMoment::Now().GetMs();
    }
    TellReading(reading);
    Dump(temperature, reading);
}

void LxCFrameGrabberMetaDataThread::TellReading(const SReading& reading)
{
    const auto data = std::make_shared<LxSAccelerometerData>(reading.x, reading.y, reading.z,
                                                             static_cast<long>(m_iReadingTime));
    const std::lock_guard lock(m_Lock);
    m_Latest.SetAccelerometerData(data);
    if (reading.bSucceeded && m_AccelerometerCallback) {
        const AccelerometerCallback callback = m_AccelerometerCallback; // which may set another one
        callback(data);
    }
}

std::int64_t LxCFrameGrabberMetaDataThread::GetTimeSinceStart() const
{
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(SRunningMoment::Now().GetMs()) -
                                     static_cast<std::uint64_t>(m_iStartTime));
}

void LxCFrameGrabberMetaDataThread::SleepUntilNextCycle()
{
    const double period = LxCLxCVLibSettings::GetFrameGrabberAdditionalInfosPeriod();
    const double left = static_cast<double>(m_iCycles) * period - static_cast<double>(GetTimeSinceStart());
    ++m_iCycles;
    if (left > 0.0) {
        SleepUnlessAsked(static_cast<unsigned long>(std::min(left, c_dLongestSleepMs)));
    }
}

void LxCFrameGrabberMetaDataThread::OpenDump()
{
    const std::string path = GetDumpDataFile();
    m_DumpStream = std::ofstream(platform::NativePath(path));
    if (!m_DumpStream.is_open()) {
        s_Logger.Info(L"LxCFrameGrabberAdditionalInformationThread::OnStartPre: can't open DumpDataStream "
                      L"for writing\n");
    }
    m_DumpStream.imbue(std::locale::classic());
}

void LxCFrameGrabberMetaDataThread::Dump(double temperature, const SReading& reading)
{
    if (!m_DumpStream.is_open() || !IsDumpData()) {
        return;
    }
    // Flushed, so that the lines can be followed while they come, and a full disk is seen at once.
    m_DumpStream << GetTimeSinceStart() << ", " << temperature << ", " << reading.x << ", " << reading.y
                 << ", " << reading.z << '\n'
                 << std::flush;
    if (!m_DumpStream) {
        s_Logger.Error(L"the file %s could not be written!\n", GetDumpDataFile());
        CloseDump();
    }
}

void LxCFrameGrabberMetaDataThread::CloseDump()
{
    m_DumpStream = std::ofstream();
}

void LxCFrameGrabberMetaDataThread::SetAccelerometerCallback(AccelerometerCallback callback)
{
    const std::lock_guard lock(m_Lock);
    m_AccelerometerCallback = std::move(callback);
}

bool LxCFrameGrabberMetaDataThread::IsDumpData() const
{
    const std::lock_guard lock(m_Lock);
    return m_bDumpData;
}

void LxCFrameGrabberMetaDataThread::SetDumpData(bool dump)
{
    const std::lock_guard lock(m_Lock);
    m_bDumpData = dump;
}

std::string LxCFrameGrabberMetaDataThread::GetDumpDataFile() const
{
    const std::lock_guard lock(m_Lock);
    return m_sDumpDataFile;
}

void LxCFrameGrabberMetaDataThread::SetDumpDataFile(const std::string& path)
{
    const std::lock_guard lock(m_Lock);
    m_sDumpDataFile = path;
}

} // namespace LxCV
