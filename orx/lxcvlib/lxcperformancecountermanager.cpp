// Ownership of the counters, and statistics over them.
#include "lxcperformancecountermanager.h"

#include "orx/btservices/btsingletoninstance.h"
#include "orx/platform/paths.h"
#include "orx/platform/unicode.h"
#include "timetext.h"

#include <array>
#include <cmath>
#include <filesystem>
#include <optional>
#include <ostream>
#include <system_error>

template class BtSingleton<LxCV::LxCPerformanceCounterManager>;

namespace LxCV {

namespace {

/// Two stamps of the pipeline; without a start, the stage starts with the counter.
struct Stage
{
    const wchar_t* name;
    const wchar_t* start;
    const wchar_t* end;
};

constexpr std::array c_stages{
    Stage{L"RGB-image acquired", nullptr, L"Start of performance counter: RGB-image acquired"},
    Stage{L"Acquire image: White", L"Acquire image: start: White", L"Acquire image:   end: White"},
    Stage{L"Compute live images", L"Compute live images: start", L"Compute live images: end"},
    Stage{L"Provide raw images", L"Provide raw images: start", L"Provide raw images: end"},
    Stage{L"ConvertRawImages", L"ConvertRawImages: Start", L"ConvertRawImages: End"},
    Stage{L"DoPreprocessing", L"DoPreprocessing: Start", L"DoPreprocessing: End"},
    Stage{L"DoMainprocessing", L"DoMainprocessing: Start", L"DoMainprocessing: End"},
    Stage{L"DoPostprocessing", L"DoPostprocessing: Start", L"DoPostprocessing: End"},
    Stage{L"computeFromScanData", L"computeFromScanData: Start", L"computeFromScanData: End"},
    Stage{L"Depth image fetched", L"Depth image fetched: Start", L"Depth image fetched: End"},
    Stage{L"ComputeRegistration", L"ComputeRegistration: Start", L"ComputeRegistration: End"},
    Stage{L"Add Registered Model", L"Add Registered Model: Start", L"Add Registered Model: End"},
};

/// Seconds in each stage of one measurement, where it has the stage.
using StageTimes = std::array<std::optional<double>, c_stages.size()>;

struct Statistics
{
    int count = 0;
    double mean = 0;   ///< seconds
    double spread = 0; ///< seconds
};

using StageStatistics = std::array<Statistics, c_stages.size()>;

/// Reads the stages of one measurement. Returns nothing for one that was broken off.
std::optional<StageTimes> ReadStages(const CPerformanceCounter& counter)
{
    StageTimes times;
    bool any = false;
    for (std::size_t i = 0; i < c_stages.size(); ++i) {
        const Stage& stage = c_stages[i];
        const bool ended = counter.hasTimeStamp(stage.end);
        const bool started = stage.start == nullptr ? ended : counter.hasTimeStamp(stage.start);
        if (started != ended) {
            return std::nullopt;
        }
        if (!started) {
            continue;
        }
        const double begin = stage.start == nullptr ? 0.0 : counter.getTimeStamp(stage.start);
        times[i] = counter.getTimeStamp(stage.end) - begin;
        if (*times[i] < 0) {
            return std::nullopt;
        }
        any = true;
    }
    return any ? std::optional(times) : std::nullopt;
}

Statistics ComputeStage(const std::vector<StageTimes>& measurements, std::size_t stage)
{
    Statistics statistics;
    double sum = 0;
    for (const StageTimes& times : measurements) {
        sum += times[stage].value_or(0.0);
        statistics.count += times[stage] ? 1 : 0;
    }
    if (statistics.count == 0) {
        return statistics;
    }
    statistics.mean = sum * 1.0 / statistics.count;
    double squares = 0;
    for (const StageTimes& times : measurements) {
        const double deviation = times[stage].value_or(statistics.mean) - statistics.mean;
        squares += deviation * deviation;
    }
    statistics.spread = std::sqrt(squares / statistics.count);
    return statistics;
}

StageStatistics ComputeStages(const std::vector<StageTimes>& measurements)
{
    StageStatistics statistics;
    for (std::size_t i = 0; i < statistics.size(); ++i) {
        statistics[i] = ComputeStage(measurements, i);
    }
    return statistics;
}

bool IsOutside(const StageTimes& times, const StageStatistics& statistics)
{
    constexpr double c_dSpreads = 3;
    constexpr double c_dResolution =
        1e-9; // seconds; equal times are no outliers through rounding of their mean
    for (std::size_t i = 0; i < times.size(); ++i) {
        const double deviation = times[i] ? std::abs(*times[i] - statistics[i].mean) : 0.0;
        if (deviation > c_dSpreads * statistics[i].spread + c_dResolution) {
            return true;
        }
    }
    return false;
}

void WriteRows(std::wostream& stream, const StageStatistics& statistics)
{
    stream << L"Stage\tValues\tMean [ms]\tSpread [ms]\n";
    for (std::size_t i = 0; i < statistics.size(); ++i) {
        const Statistics& row = statistics[i];
        const bool any = row.count > 0;
        stream << c_stages[i].name << L'\t' << std::to_wstring(row.count) << L'\t'
               << (any ? FormatMilliseconds(row.mean) : L"-") << L'\t'
               << (any ? FormatMilliseconds(row.spread) : L"-") << L'\n';
    }
}

} // namespace

CPerformanceCounter* LxCPerformanceCounterManager::GetNewPerformanceCounter()
{
    if (!m_bEnabled) {
        return nullptr;
    }
    const std::lock_guard lock(m_CriticalSection);
    m_vCounters.push_back(std::make_unique<CPerformanceCounter>());
    return m_vCounters.back().get();
}

void LxCPerformanceCounterManager::Clear()
{
    const std::lock_guard lock(m_CriticalSection);
    m_vCounters.clear();
}

bool LxCPerformanceCounterManager::Trace()
{
    if (!m_bEnabled) {
        return true;
    }
    const std::wstring name = GetTraceFileName(platform::WidenUtf8(platform::GetExecutablePath()));
    if (name.empty()) {
        return false;
    }
    const std::filesystem::path path = platform::NativePath(name);
    std::error_code ignored; // the file will not open
    std::filesystem::create_directories(path.parent_path(), ignored);
    std::wofstream stream(path);
    if (!stream) {
        return false;
    }
    CalculateAndTraceStatistics(stream);
    stream.close();
    return stream.good();
}

bool LxCPerformanceCounterManager::Trace(std::wofstream& stream)
{
    const std::lock_guard lock(m_CriticalSection);
    if (!stream.is_open()) {
        return false;
    }
    for (const auto& counter : m_vCounters) {
        counter->Trace(stream);
    }
    return true;
}

void LxCPerformanceCounterManager::CalculateAndTraceStatistics(std::wostream& stream)
{
    std::vector<StageTimes> complete;
    std::size_t discarded = 0;
    {
        const std::lock_guard lock(m_CriticalSection);
        for (const auto& counter : m_vCounters) {
            if (const std::optional<StageTimes> times = ReadStages(*counter)) {
                complete.push_back(*times);
            } else {
                ++discarded;
            }
        }
    }
    const StageStatistics ofAll = ComputeStages(complete);
    const std::size_t outside =
        std::erase_if(complete, [&ofAll](const StageTimes& times) { return IsOutside(times, ofAll); });
    stream << L"Verwendet:\t" << std::to_wstring(complete.size()) << L'\n' << L"Verworfen:\t"
           << std::to_wstring(discarded) << L'\n' << L"Ausserhalb:\t" << std::to_wstring(outside) << L'\n'
           << L'\n';
    WriteRows(stream, ComputeStages(complete));
}

std::wstring LxCPerformanceCounterManager::GetTraceFileName(const std::wstring& programPath)
{
    constexpr std::size_t c_longestPath = 260;
    if (programPath.empty() || programPath.size() >= c_longestPath) {
        return {};
    }
    return std::wstring(platform::FolderOf(programPath)) + L"\\Trace" + L"\\PerformanceCounter.txt";
}

} // namespace LxCV
