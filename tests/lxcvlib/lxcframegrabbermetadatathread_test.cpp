#include "lxcframegrabbermetadatathread.h"

#include "lxclxcvlibsettings.h"
#include "orx/btservices/btexception.h"
#include "orx/logging/logger.h"
#include "orx/platform/clock.h"
#include "orx/platform/threads.h"
#include "tests/support/environment.h"
#include "tests/support/temporaryfolder.h"
#include "tests/support/watchdog.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace LxCV {
namespace {

using Logging::ELevel;
using std::chrono::milliseconds;
using TestSupport::ComesTrue;
using TestSupport::CTemporaryFolder;
using TestSupport::CWatchdog;
using TestSupport::ReadFile;
using TestSupport::WriteFile;
using Settings = LxCLxCVLibSettings;
using Reading = std::shared_ptr<const Base::IAccelerometerDataSimple>;

constexpr const wchar_t* c_sChannel = L"ORX.Lumorad.LxCFrameGrabberMetaDataThread";
constexpr const wchar_t* c_sWorkerChannel = L"ORX.Lumorad.LxCWThreadAlgo";
constexpr unsigned long c_ulLong = 10000;  // ms; longer than any wait that succeeds
constexpr int c_iLongPeriod = 100'000'000; // ms; a worker that sleeps so long stands still

/// Gives the settings back as they were.
class ScopedSettings
{
public:
    ScopedSettings()
        : m_enabled(Settings::GetEnableAccelerometer()),
          m_period(Settings::GetFrameGrabberAdditionalInfosPeriod())
    {}
    ~ScopedSettings() { Set(m_enabled, m_period); }
    ScopedSettings(const ScopedSettings&) = delete;
    ScopedSettings& operator=(const ScopedSettings&) = delete;

    static void Set(bool enableAccelerometer, int periodMs)
    {
        Settings::SetEnableAccelerometer(enableAccelerometer);
        Settings::SetFrameGrabberAdditionalInfosPeriod(periodMs);
    }

private:
    const bool m_enabled;
    const int m_period;
};

/// A camera of which only the sensors matter.
class SensorGrabber : public LxAFrameGrabber
{
public:
    SensorGrabber() : LxAFrameGrabber("sensors", true) {}

    EReturnCode Init(const std::vector<std::string>&) override { return eRC_OK; }
    CCTImage* AcquireImageRaw(ELedType) override { return nullptr; }
    void ReEnqueueRawBuffers(std::vector<CCTImage*>&) override {}
    using LxAFrameGrabber::ReEnqueueRawBuffers;
    EReturnCode ChangePresetShutterAsynchron(EPresetShutter) override { return eRC_OK; }

    double ReadFPGATemperature() const override
    {
        ++temperatures;
        return temperature();
    }
    bool ReadAccelerometer(int& x, int& y, int& z) override
    {
        ++accelerations;
        return acceleration(x, y, z);
    }

    std::function<double()> temperature = [] { return 36.5; };
    std::function<bool(int&, int&, int&)> acceleration = [](int& x, int& y, int& z) {
        x = 1;
        y = -2;
        z = 3;
        return true;
    };
    mutable std::atomic<int> temperatures{0}; ///< readings so far
    std::atomic<int> accelerations{0};        ///< readings so far, with that of the start
};

/// Time stands still unless a sensor moves it.
class LxCFrameGrabberMetaDataThreadTest : public testing::Test
{
protected:
    LxCFrameGrabberMetaDataThreadTest() { ScopedSettings::Set(true, 0); }

    /// Starts, and pauses after at least so many readings of the temperature.
    void Poll(int readings)
    {
        const int before = m_grabber.temperatures;
        ASSERT_EQ(m_worker.Start(), 0);
        EXPECT_TRUE(ComesTrue([&] { return m_grabber.temperatures >= before + readings; }));
        ASSERT_EQ(m_worker.Pause(true, c_ulLong), 0);
    }

    /// What a record is told.
    LxSFrameGrabberMetaData Latest() const
    {
        LxSFrameGrabberMetaData record;
        m_worker.Update(record);
        return record;
    }

    void ExpectReading(int x, int y, int z, long timestamp) const
    {
        const auto reading = Latest().GetAccelerometerData();
        ASSERT_NE(reading, nullptr);
        EXPECT_EQ(reading->GetX(), x);
        EXPECT_EQ(reading->GetY(), y);
        EXPECT_EQ(reading->GetZ(), z);
        EXPECT_EQ(reading->GetTimestamp(), timestamp);
    }

    int Logged(ELevel level, const std::wstring& text) const { return m_log.Count(level, c_sChannel, text); }
    int Failed(const std::wstring& text) const
    {
        return m_log.Count(ELevel::eError, c_sWorkerChannel, L"LxCWThreadAlgo::Control: " + text);
    }

    CWatchdog m_watchdog;
    Logging::CCapture m_log;
    ScopedSettings m_settings;
    CTemporaryFolder m_folder;
    platform::ManualClock m_clock;
    platform::ScopedClock m_scope{m_clock};
    SensorGrabber m_grabber;
    LxCFrameGrabberMetaDataThread m_worker{&m_grabber};
};

// --- Readings

TEST_F(LxCFrameGrabberMetaDataThreadTest, KnowsNothingBeforeItsFirstCycle)
{
    EXPECT_EQ(m_worker.GetControlThreadID(), 0U);
    EXPECT_FALSE(m_worker.IsRunning());
    EXPECT_FALSE(m_worker.IsDumpData());
    EXPECT_EQ(m_worker.GetDumpDataFile(), "");
    EXPECT_EQ(Latest().GetTemperatur(), 0.0);
    EXPECT_EQ(Latest().GetAccelerometerData(), nullptr);
    EXPECT_EQ(m_grabber.temperatures, 0);
}

TEST_F(LxCFrameGrabberMetaDataThreadTest, UpdateCopiesTemperatureAndAccelerationAlone)
{
    m_clock.Advance(milliseconds(1234567));
    Poll(1);
    ExpectReading(1, -2, 3, 1234567);
    LxSFrameGrabberMetaData record;
    record.Update(nullptr, "name", "text", LxAFrameGrabber::eLS_Ref, 1.0F, 2.0F);
    record.SetHostValue(7.0);
    m_worker.Update(record);
    EXPECT_EQ(record.GetTemperatur(), 36.5);
    EXPECT_EQ(record.GetFileName(), "name");
    EXPECT_EQ(record.GetText(), "text");
    EXPECT_EQ(record.GetLEDSequence(), 1);
    EXPECT_EQ(record.GetShutterTimePat(), 1.0F);
    EXPECT_EQ(record.GetHostValue(), 7.0);
}

TEST_F(LxCFrameGrabberMetaDataThreadTest, AReaderKeepsAnOldReading)
{
    Poll(1);
    const auto old = Latest().GetAccelerometerData();
    m_grabber.acceleration = [](int& x, int&, int&) {
        x = 99;
        return true;
    };
    Poll(1);
    EXPECT_NE(Latest().GetAccelerometerData(), old);
    ExpectReading(99, 0, 0, 0);
    EXPECT_EQ(old->GetX(), 1);
}

TEST_F(LxCFrameGrabberMetaDataThreadTest, LatestValuesOutliveAPauseAndTheEnd)
{
    Poll(3);
    EXPECT_EQ(Latest().GetTemperatur(), 36.5);
    m_worker.Exit();
    EXPECT_EQ(Latest().GetTemperatur(), 36.5);
    ExpectReading(1, -2, 3, 0);
}

TEST_F(LxCFrameGrabberMetaDataThreadTest, WithTheSettingOffOnlyTheTemperatureIsPolled)
{
    ScopedSettings::Set(false, 0);
    std::atomic<int> told{0};
    m_worker.SetAccelerometerCallback([&](const Reading&) { ++told; });
    m_clock.Advance(milliseconds(5));
    Poll(20);
    EXPECT_EQ(m_grabber.accelerations, 0);
    EXPECT_EQ(told, 0);
    EXPECT_EQ(Latest().GetTemperatur(), 36.5);
    ExpectReading(0, 0, 0, 0);
}

TEST_F(LxCFrameGrabberMetaDataThreadTest, WithoutAFirstReadingTheAccelerometerIsLeftAlone)
{
    m_grabber.acceleration = [](int& x, int&, int&) {
        x = 5;
        return false;
    };
    std::atomic<int> told{0};
    m_worker.SetAccelerometerCallback([&](const Reading&) { ++told; });
    Poll(20);
    EXPECT_EQ(m_grabber.accelerations, 1) << "that of the start";
    EXPECT_EQ(told, 0);
    ExpectReading(0, 0, 0, 0);
}

TEST_F(LxCFrameGrabberMetaDataThreadTest, EachStartAsksTheAccelerometerAnew)
{
    m_grabber.acceleration = [](int&, int&, int&) { return false; };
    Poll(2);
    m_grabber.acceleration = [](int& x, int&, int&) {
        x = 8;
        return true;
    };
    Poll(2);
    ExpectReading(8, 0, 0, 0);
}

TEST_F(LxCFrameGrabberMetaDataThreadTest, AFailedReadingIsKeptButNotTold)
{
    std::atomic<int> told{0};
    m_worker.SetAccelerometerCallback([&](const Reading&) { ++told; });
    m_grabber.acceleration = [this](int& x, int&, int&) {
        x = m_grabber.accelerations;
        return x == 1 || x == 3; // of the start, and of the second cycle
    };
    ScopedSettings::Set(true, c_iLongPeriod);
    m_clock.Advance(milliseconds(3));
    Poll(2); // the second cycle sleeps until the pause
    EXPECT_EQ(told, 1);
    ExpectReading(3, 0, 0, 3);
    m_grabber.acceleration = [this](int& x, int&, int&) {
        x = m_grabber.accelerations;
        return x == 4;
    };
    Poll(2);
    EXPECT_EQ(told, 1);
    ExpectReading(6, 0, 0, 3);
}

TEST_F(LxCFrameGrabberMetaDataThreadTest, NoGrabberIsOneWithoutSensors)
{
    LxCFrameGrabberMetaDataThread worker(nullptr);
    ASSERT_EQ(worker.Start(), 0);
    EXPECT_TRUE(worker.WaitForWorkCycles(3, nullptr, nullptr, -1.0, 0.0));
    LxSFrameGrabberMetaData record;
    record.SetTemperatur(5.0);
    worker.Update(record);
    EXPECT_EQ(record.GetTemperatur(), 0.0);
    ASSERT_NE(record.GetAccelerometerData(), nullptr);
    EXPECT_EQ(record.GetAccelerometerData()->GetX(), 0);
}

// --- The callback

TEST_F(LxCFrameGrabberMetaDataThreadTest, TheCallbackIsToldEachReadingOnTheWorkersThread)
{
    std::vector<Reading> told;
    std::uint32_t thread = 0;
    m_worker.SetAccelerometerCallback([&](const Reading& reading) {
        told.push_back(reading);
        thread = platform::GetCurrentThreadId();
    });
    Poll(10);
    EXPECT_EQ(told.size(), static_cast<std::size_t>(m_grabber.temperatures));
    EXPECT_EQ(told.back(), Latest().GetAccelerometerData()) << "the record's own handle";
    EXPECT_NE(thread, platform::GetCurrentThreadId());
    EXPECT_EQ(told.front()->GetZ(), 3);
    m_worker.SetAccelerometerCallback(nullptr);
    const std::size_t before = told.size();
    Poll(3);
    EXPECT_EQ(told.size(), before);
}

TEST_F(LxCFrameGrabberMetaDataThreadTest, UpdateWaitsForTheCallback)
{
    BtEvent inside;
    std::atomic<bool> updated{false};
    bool updatedInside = false;
    m_worker.SetAccelerometerCallback([&](const Reading&) {
        if (!inside.IsSet()) {
            inside.Set();
            std::this_thread::sleep_for(milliseconds(10));
            updatedInside = updated;
        }
    });
    ScopedSettings::Set(true, c_iLongPeriod);
    std::thread reader([&] {
        inside.Wait();
        Latest();
        updated = true;
    });
    m_worker.Start();
    reader.join();
    m_worker.Exit();
    EXPECT_FALSE(updatedInside);
}

TEST_F(LxCFrameGrabberMetaDataThreadTest, ACallbackMayReplaceItself)
{
    std::atomic<int> first{0};
    std::atomic<int> second{0};
    m_worker.SetAccelerometerCallback([&, large = std::string(1000, 'x')](const Reading&) {
        m_worker.SetAccelerometerCallback([&](const Reading&) { ++second; });
        first += large.back() == 'x' ? 1 : 0; // from this function's own memory
    });
    Poll(5);
    EXPECT_EQ(first, 1);
    EXPECT_GE(second, 4);
}

TEST_F(LxCFrameGrabberMetaDataThreadTest, ACallbackMayAskForThePause)
{
    m_worker.SetAccelerometerCallback([&](const Reading&) { m_worker.Pause(false, 0); });
    m_worker.Start();
    EXPECT_EQ(m_worker.WaitForThreadPaused(c_ulLong), 0);
    EXPECT_EQ(m_grabber.temperatures, 1);
}

// --- The schedule

TEST_F(LxCFrameGrabberMetaDataThreadTest, APeriodOfZeroOrLessNeverSleeps)
{
    for (const int period : {0, -1, INT_MIN}) {
        ScopedSettings::Set(true, period);
        Poll(500); // while time stands still
    }
}

TEST_F(LxCFrameGrabberMetaDataThreadTest, TheFirstCycleDoesNotSleepAndTheSecondOneDoes)
{
    ScopedSettings::Set(true, c_iLongPeriod);
    m_worker.Start();
    EXPECT_TRUE(ComesTrue([&] { return m_grabber.temperatures == 2; }));
    std::this_thread::sleep_for(milliseconds(5));
    EXPECT_EQ(m_grabber.temperatures, 2);
    EXPECT_EQ(m_worker.Pause(true, c_ulLong), 0) << "a pause ends the sleep";
    m_worker.Start();
    EXPECT_TRUE(ComesTrue([&] { return m_grabber.temperatures == 4; }))
        << "each start begins the schedule anew";
    EXPECT_TRUE(m_worker.Exit()) << "so does the end";
    EXPECT_EQ(m_grabber.temperatures, 4);
}

TEST_F(LxCFrameGrabberMetaDataThreadTest, AfterALongCycleItCatchesUpWithoutSleeping)
{
    ScopedSettings::Set(true, c_iLongPeriod);
    m_grabber.temperature = [this] {
        if (m_grabber.temperatures == 1) {
            m_clock.Advance(milliseconds(std::int64_t{5} * c_iLongPeriod));
        }
        return 1.0;
    };
    m_worker.Start();
    // Cycles 0 to 5 are due at the time of five periods; cycle 6, the seventh, sleeps after its reading.
    EXPECT_TRUE(ComesTrue([&] { return m_grabber.temperatures == 7; }));
    std::this_thread::sleep_for(milliseconds(5));
    m_worker.Exit();
    EXPECT_EQ(m_grabber.temperatures, 7);
}

TEST_F(LxCFrameGrabberMetaDataThreadTest, TheLongestPeriodDoesNotOverflow)
{
    ScopedSettings::Set(true, INT_MAX);
    m_worker.Start();
    EXPECT_TRUE(ComesTrue([&] { return m_grabber.temperatures == 2; }));
    m_worker.Exit();
    EXPECT_EQ(m_grabber.temperatures, 2);
}

TEST_F(LxCFrameGrabberMetaDataThreadTest, ClocksOfAnyKindAreBorne)
{
    for (const std::int64_t frequency : {std::int64_t{0}, std::int64_t{1}, INT64_MAX}) {
        for (const std::int64_t ticks : {INT64_MIN, std::int64_t{-1}, INT64_MAX}) {
            m_clock.SetFrequency(frequency);
            m_clock.SetTicks(ticks);
            Poll(3);
        }
    }
    m_clock.SetTicksAvailable(false);
    Poll(3);
}

TEST(LxCFrameGrabberMetaDataThreadRealTime, CyclesKeepTheirDistance)
{
    const CWatchdog watchdog;
    const ScopedSettings settings;
    ScopedSettings::Set(true, 10);
    SensorGrabber grabber;
    LxCFrameGrabberMetaDataThread worker(&grabber);
    const auto start = std::chrono::steady_clock::now();
    worker.Start();
    EXPECT_TRUE(ComesTrue([&] { return grabber.temperatures >= 5; }));
    // The fifth reading comes when the fourth cycle, number 3, has slept until the time of three periods. Times are
    // whole ms, so the start may seem up to 1 ms earlier than it was.
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(3 * 10 - 1));
}

// --- The dump

TEST_F(LxCFrameGrabberMetaDataThreadTest, TheDumpHasALineACycle)
{
    m_worker.SetDumpDataFile(m_folder / "dump.txt");
    m_worker.SetDumpData(true);
    EXPECT_TRUE(m_worker.IsDumpData());
    EXPECT_EQ(m_worker.GetDumpDataFile(), m_folder / "dump.txt");
    m_grabber.temperature = [this] {
        m_clock.Advance(milliseconds(7));
        return m_grabber.temperatures == 1 ? 36.53125 : -1234567.0;
    };
    ScopedSettings::Set(true, c_iLongPeriod);
    const TestSupport::CCommaDecimalLocale comma;
    m_clock.Advance(milliseconds(1000));
    Poll(2);
    EXPECT_EQ(ReadFile(m_folder / "dump.txt"), "7, 36.5312, 1, -2, 3\n14, -1.23457e+06, 1, -2, 3\n");
}

TEST_F(LxCFrameGrabberMetaDataThreadTest, TheDumpCanBeReadWhileItGrows)
{
    m_worker.SetDumpDataFile(m_folder / "dump.txt");
    m_worker.SetDumpData(true);
    ScopedSettings::Set(true, c_iLongPeriod);
    m_worker.Start();
    EXPECT_TRUE(ComesTrue(
        [&] { return ReadFile(m_folder / "dump.txt") == "0, 36.5, 1, -2, 3\n0, 36.5, 1, -2, 3\n"; }));
}

TEST_F(LxCFrameGrabberMetaDataThreadTest, EachStartReplacesTheDump)
{
    m_worker.SetDumpDataFile(m_folder / "dump.txt");
    m_worker.SetDumpData(true);
    ScopedSettings::Set(true, c_iLongPeriod);
    const std::string lines = "0, 36.5, 1, -2, 3\n0, 36.5, 1, -2, 3\n";
    for (int i = 0; i < 3; ++i) {
        WriteFile(m_folder / "dump.txt", "older and longer " + lines);
        Poll(2);
        EXPECT_EQ(ReadFile(m_folder / "dump.txt"), lines);
    }
    m_worker.Start(); // the end closes the file as well
    m_worker.Exit();
    m_worker.Init();
    m_worker.SetDumpDataFile(m_folder / "second.txt");
    Poll(2);
    EXPECT_EQ(ReadFile(m_folder / "second.txt"), lines);
    EXPECT_EQ(Logged(ELevel::eInfo, L"LxCFrameGrabberAdditionalInformationThread::OnStartPre: can't open "
                                    L"DumpDataStream for writing\n"),
              0);
}

TEST_F(LxCFrameGrabberMetaDataThreadTest, WithoutTheFlagNothingIsDumped)
{
    m_worker.SetDumpDataFile(m_folder / "dump.txt");
    Poll(3);
    EXPECT_FALSE(std::filesystem::exists(m_folder / "dump.txt"));
    const int before = m_grabber.temperatures;
    m_worker.Start();
    m_worker.SetDumpData(true);
    EXPECT_TRUE(ComesTrue([&] { return m_grabber.temperatures > before + 10; }));
    EXPECT_FALSE(std::filesystem::exists(m_folder / "dump.txt")) << "it is opened at a start";
}

TEST_F(LxCFrameGrabberMetaDataThreadTest, ClearingTheFlagEndsTheLinesAtOnce)
{
    m_worker.SetDumpDataFile(m_folder / "dump.txt");
    m_worker.SetDumpData(true);
    m_grabber.temperature = [this] {
        if (m_grabber.temperatures == 2) {
            m_worker.SetDumpData(false);
        }
        return 20.0;
    };
    Poll(10);
    EXPECT_EQ(ReadFile(m_folder / "dump.txt"), "0, 20, 1, -2, 3\n");
}

TEST_F(LxCFrameGrabberMetaDataThreadTest, ADumpThatCannotBeOpenedIsLoggedOnceAndThePollingGoesOn)
{
    WriteFile(m_folder / "file", "");
    const std::wstring text =
        L"LxCFrameGrabberAdditionalInformationThread::OnStartPre: can't open DumpDataStream for writing\n";
    int starts = 0;
    for (const std::string& path : {m_folder / "file/dump.txt", std::string(), m_folder.GetPath().string()}) {
        m_worker.SetDumpDataFile(path);
        m_worker.SetDumpData(true);
        Poll(20);
        EXPECT_EQ(Logged(ELevel::eInfo, text), ++starts);
    }
    EXPECT_EQ(ReadFile(m_folder / "file"), "");
    EXPECT_EQ(Latest().GetTemperatur(), 36.5);
}

TEST_F(LxCFrameGrabberMetaDataThreadTest, AFullDiskIsLoggedOnceAndThePollingGoesOn)
{
    if (!std::filesystem::exists("/dev/full")) { // takes no byte
        GTEST_SKIP() << "the system has no device that is always full";
    }
    m_worker.SetDumpDataFile("/dev/full");
    m_worker.SetDumpData(true);
    Poll(20);
    EXPECT_EQ(Logged(ELevel::eError, L"the file /dev/full could not be written!\n"), 1);
    EXPECT_EQ(Latest().GetTemperatur(), 36.5);
}

// --- Exceptions

struct SThrow
{
    std::function<void()> what;
    std::wstring text; ///< as the log tells it; empty where it has none
};

std::vector<SThrow> ThrowsOfEveryKind()
{
    return {{[] { throw std::runtime_error("no %s answer"); }, L"no %s answer"},
            {[] { throw BtException(L"f\u00FCnf"); }, L"f\u00FCnf"},
            {[] { throw 5; }, L""}};
}

std::wstring ExceptionInDoWork(const std::wstring& text)
{
    return text.empty() ? L"unknown exception in DoWork\n" : L"exception in DoWork: " + text;
}

TEST_F(LxCFrameGrabberMetaDataThreadTest, AnExceptionOfTheFirstReadingLeavesTheAccelerometerAlone)
{
    for (const SThrow& row : ThrowsOfEveryKind()) {
        m_grabber.accelerations = 0;
        m_grabber.acceleration = [&](int&, int&, int&) -> bool {
            row.what();
            return true;
        };
        Poll(3);
        EXPECT_EQ(m_grabber.accelerations, 1);
        EXPECT_EQ(
            Logged(ELevel::eError, row.text.empty()
                                       ? L"LxCFrameGrabberMetaDataThread::OnStartPre: unknown exception in "
                                         L"ReadAccelerometer\n"
                                       : L"LxCFrameGrabberMetaDataThread::OnStartPre: exception in "
                                         L"ReadAccelerometer: " +
                                             row.text + L"\n"),
            1);
        ExpectReading(0, 0, 0, 0);
    }
}

TEST_F(LxCFrameGrabberMetaDataThreadTest, ExceptionsOfASensorAreLoggedAndKeepTheSchedule)
{
    ScopedSettings::Set(true, c_iLongPeriod);
    for (const SThrow& row : ThrowsOfEveryKind()) {
        const int before = m_grabber.temperatures;
        m_grabber.temperature = [&] {
            row.what();
            return 0.0;
        };
        Poll(2);
        EXPECT_EQ(m_grabber.temperatures, before + 2) << "the second cycle slept";
        EXPECT_EQ(Failed(ExceptionInDoWork(row.text)), 2);
    }
    m_grabber.temperature = [] { return 12.0; };
    Poll(1);
    EXPECT_EQ(Latest().GetTemperatur(), 12.0) << "it can answer again";
}

TEST_F(LxCFrameGrabberMetaDataThreadTest, AnExceptionOfTheAccelerometerDoesNotHideTheTemperature)
{
    ScopedSettings::Set(true, c_iLongPeriod);
    for (const SThrow& row : ThrowsOfEveryKind()) {
        m_log.Clear();
        m_grabber.accelerations = 0;
        m_grabber.temperature = [this] { return 10.0 + m_grabber.temperatures; };
        m_grabber.acceleration = [&](int&, int&, int&) {
            if (m_grabber.accelerations > 1) {
                row.what();
            }
            return true;
        };
        Poll(2);
        EXPECT_EQ(Failed(ExceptionInDoWork(row.text)), 2);
        EXPECT_EQ(Latest().GetTemperatur(), 10.0 + m_grabber.temperatures);
        EXPECT_EQ(Latest().GetAccelerometerData(), nullptr);
    }
}

TEST_F(LxCFrameGrabberMetaDataThreadTest, ExceptionsOfTheCallbackAreLoggedAndReleaseTheLock)
{
    ScopedSettings::Set(true, c_iLongPeriod);
    for (const SThrow& row : ThrowsOfEveryKind()) {
        m_log.Clear();
        m_worker.SetAccelerometerCallback([&](const Reading&) { row.what(); });
        Poll(2);
        EXPECT_EQ(Failed(ExceptionInDoWork(row.text)), 2);
        ExpectReading(1, -2, 3, 0);
    }
}

// --- States

TEST_F(LxCFrameGrabberMetaDataThreadTest, WrongOrdersOfCallsAreBorne)
{
    EXPECT_EQ(m_worker.Pause(true, c_ulLong), 0) << "never started";
    EXPECT_EQ(m_worker.Init(), 0) << "there is a thread";
    EXPECT_EQ(m_worker.Start(), 0);
    EXPECT_EQ(m_worker.Start(), 0) << "runs already";
    EXPECT_TRUE(m_worker.Exit());
    EXPECT_TRUE(m_worker.Exit()) << "gone already";
    EXPECT_EQ(m_worker.Start(), 4);
    EXPECT_EQ(m_worker.Pause(true, c_ulLong), 0);
    const int before = m_grabber.temperatures;
    EXPECT_EQ(m_worker.Init(), 0);
    Poll(3);
    EXPECT_GE(m_grabber.temperatures, before + 3);
}

TEST_F(LxCFrameGrabberMetaDataThreadTest, StartsAreCountedAsForAnyWorker)
{
    class CCountingWorker : public LxCFrameGrabberMetaDataThread
    {
    public:
        using LxCFrameGrabberMetaDataThread::GetNumberOfStarts;
        using LxCFrameGrabberMetaDataThread::LxCFrameGrabberMetaDataThread;
        ~CCountingWorker() override { Exit(); }
    };
    CCountingWorker worker(&m_grabber);
    for (int starts = 1; starts <= 3; ++starts) {
        ASSERT_EQ(worker.Start(), 0);
        ASSERT_EQ(worker.Pause(true, c_ulLong), 0);
        EXPECT_EQ(worker.GetNumberOfStarts(), starts);
    }
}

TEST_F(LxCFrameGrabberMetaDataThreadTest, DestructionEndsTheThreadInAnyState)
{
    const auto told = [this] {
        return Logged(ELevel::eDebug, L"LxCFrameGrabberAdditionalInformationThread destructor\n");
    };
    for (int state = 0; state < 4; ++state) {
        auto worker = std::make_unique<LxCFrameGrabberMetaDataThread>(&m_grabber);
        if (state > 0) {
            worker->Start();
        }
        if (state == 2) {
            worker->Pause(true, c_ulLong);
        } else if (state == 3) {
            worker->Exit();
        }
        EXPECT_EQ(told(), state);
        worker.reset();
        EXPECT_EQ(told(), state + 1);
    }
    ScopedSettings::Set(true, c_iLongPeriod);
    {
        LxCFrameGrabberMetaDataThread asleep(&m_grabber);
        const int before = m_grabber.temperatures;
        asleep.Start();
        EXPECT_TRUE(ComesTrue([&] { return m_grabber.temperatures == before + 2; }));
    }
    EXPECT_EQ(told(), 5);
}

TEST_F(LxCFrameGrabberMetaDataThreadTest, ManyThreadsMayReadAndSetWhileItPolls)
{
    m_worker.SetDumpDataFile(m_folder / "dump.txt");
    m_worker.SetDumpData(true);
    std::atomic<bool> stop{false};
    std::atomic<int> told{0};
    std::atomic<int> torn{0};
    m_grabber.acceleration = [this](int& x, int& y, int& z) {
        x = m_grabber.accelerations;
        y = x;
        z = x;
        return true;
    };
    m_worker.Start();
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&] {
            while (!stop) {
                const auto reading = Latest().GetAccelerometerData();
                torn += reading != nullptr &&
                                (reading->GetX() != reading->GetY() || reading->GetX() != reading->GetZ())
                            ? 1
                            : 0;
                m_worker.SetAccelerometerCallback([&](const Reading&) { ++told; });
                m_worker.SetDumpData(m_worker.IsDumpData());
                m_worker.SetDumpDataFile(m_worker.GetDumpDataFile());
            }
        });
    }
    EXPECT_TRUE(ComesTrue([&] { return told > 50; }));
    EXPECT_EQ(m_worker.Pause(true, c_ulLong), 0);
    stop = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(torn, 0);
    m_worker.SetAccelerometerCallback(nullptr);
}

} // namespace
} // namespace LxCV
