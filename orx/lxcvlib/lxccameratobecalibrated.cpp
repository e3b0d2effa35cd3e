// The calibration marks that a camera collects, view by view.
#include "lxccameratobecalibrated.h"

#include "orx/logging/logger.h"
#include "orx/platform/paths.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <locale>
#include <sstream>
#include <unordered_set>
#include <utility>

namespace LxCV {
namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCCameraToBeCalibrated");

/// <baseName>_viewNN.txt with at least two digits.
std::string ViewFileName(const std::string& baseName, int view)
{
    std::string number = std::to_string(view);
    if (number.size() < 2) {
        number.insert(number.begin(), '0');
    }
    return baseName + "_view" + number + ".txt";
}

bool WriteView(const std::string& fileName, const std::vector<LxCCalibrationData*>& marks)
{
    std::ofstream file(platform::NativePath(fileName));
    file.imbue(std::locale::classic());
    for (const LxCCalibrationData* mark : marks) {
        file << mark->m_dXi << '\t' << mark->m_dYi << '\t' << mark->m_dXw << '\t' << mark->m_dYw << '\t'
             << mark->m_dZw << '\n';
    }
    file.close();
    return !file.fail();
}

/// Five numbers of one line; from the first one that cannot be read, or does not fit a double, all stay 0.
void ReadRecord(std::istringstream& line, LxCCalibrationData& record)
{
    for (double* const value : {&record.m_dXi, &record.m_dYi, &record.m_dXw, &record.m_dYw, &record.m_dZw}) {
        // A failed extraction overwrites its target, so it goes to a local first.
        double number = 0.0;
        if (!(line >> number)) {
            return;
        }
        *value = number;
    }
}

bool ReadView(const std::string& fileName, std::vector<std::unique_ptr<LxCCalibrationData>>& records)
{
    const std::filesystem::path path = platform::NativePath(fileName);
    std::error_code error;
    // Devices and pipes have no end that a reader could count on.
    if (!std::filesystem::is_regular_file(path, error)) {
        return false;
    }
    std::ifstream file(path);
    if (!file) {
        return false;
    }
    std::string text;
    std::istringstream line;
    line.imbue(std::locale::classic());
    while (std::getline(file, text)) {
        line.clear();
        line.str(text);
        records.push_back(std::make_unique<LxCCalibrationData>());
        ReadRecord(line, *records.back());
    }
    return true;
}

} // namespace

ECalibError LxCCameraToBeCalibrated::AddCalibData(std::vector<LxCCalibrationData*>* data, bool newView)
{
    std::vector<LxCCalibrationData*> fresh;
    if (data) {
        std::unordered_set<const LxCCalibrationData*> held;
        for (const auto& mark : m_vMarks) {
            held.insert(mark.get());
        }
        for (LxCCalibrationData* const mark : *data) {
            if (!mark) {
                continue;
            }
            if (!held.insert(mark).second) {
                s_Logger.Warning(L"AddCalibData: record is held already and is left out\n");
                continue;
            }
            fresh.push_back(mark);
        }
    }
    // All memory comes first: while it can run out, the caller still owns the records.
    Records records(fresh.size());
    MakeRoomForView(fresh.size());
    std::transform(fresh.begin(), fresh.end(), records.begin(),
                   [](LxCCalibrationData* mark) { return std::unique_ptr<LxCCalibrationData>(mark); });
    AppendRecords(std::move(records), newView);
    return eCalibOk;
}

void LxCCameraToBeCalibrated::MakeRoomForView(std::size_t records)
{
    // By factors, so that many small views are not moved each time.
    if (m_vMarks.capacity() - m_vMarks.size() < records) {
        m_vMarks.reserve(m_vMarks.size() + std::max(m_vMarks.size(), records));
    }
    if (m_vViewStarts.capacity() == m_vViewStarts.size()) {
        m_vViewStarts.reserve(2 * m_vViewStarts.size() + 1);
    }
}

void LxCCameraToBeCalibrated::AppendRecords(Records records, bool newView)
{
    if (newView && !m_vMarks.empty()) {
        m_vViewStarts.push_back(GetNrOfMarks());
    }
    std::move(records.begin(), records.end(), std::back_inserter(m_vMarks));
}

int LxCCameraToBeCalibrated::GetNrOfViews() const
{
    return m_vMarks.empty() ? 0 : static_cast<int>(m_vViewStarts.size()) + 1;
}

/// The index of the first mark of a view; of the view behind the last one, the number of marks.
std::size_t LxCCameraToBeCalibrated::GetViewStart(int view) const
{
    const std::size_t index = static_cast<std::size_t>(view);
    if (index == 0) {
        return 0;
    }
    return index > m_vViewStarts.size() ? m_vMarks.size()
                                        : static_cast<std::size_t>(m_vViewStarts[index - 1]);
}

ECalibError LxCCameraToBeCalibrated::GetCalibDataForView(std::vector<LxCCalibrationData*>* out,
                                                         int view) const
{
    if (!out || view < 0 || static_cast<std::size_t>(view) > m_vViewStarts.size()) {
        return eCalibNotDone;
    }
    const std::size_t start = GetViewStart(view);
    const std::size_t end = GetViewStart(view + 1);
    out->clear();
    out->reserve(end - start);
    for (std::size_t i = start; i < end; ++i) {
        out->push_back(m_vMarks[i].get());
    }
    return eCalibOk;
}

ECalibError LxCCameraToBeCalibrated::RemoveAllCalibData(bool deleteRecords)
{
    if (!deleteRecords) {
        for (auto& mark : m_vMarks) {
            static_cast<void>(mark.release());
        }
    }
    m_vMarks.clear();
    m_vViewStarts.clear();
    return eCalibOk;
}

ECalibError LxCCameraToBeCalibrated::RemoveCalibPoint(LxCCalibrationData* mark)
{
    LxCCameraToBeCalibrated remaining;
    const int viewCount = GetNrOfViews();
    for (int view = 0; view < viewCount; ++view) {
        Records records;
        for (std::size_t i = GetViewStart(view); i < GetViewStart(view + 1); ++i) {
            if (m_vMarks[i].get() != mark) {
                records.push_back(std::move(m_vMarks[i]));
            }
        }
        remaining.AppendRecords(std::move(records), true);
    }
    m_vMarks = std::move(remaining.m_vMarks);
    m_vViewStarts = std::move(remaining.m_vViewStarts);
    return eCalibOk;
}

void LxCCameraToBeCalibrated::PrintStatus(std::string& out) const
{
    out = std::to_string(GetNrOfMarks()) + " calibration marks from " + std::to_string(GetNrOfViews()) +
          " points of view";
}

bool LxCCameraToBeCalibrated::ExportCalibData(const std::string& baseName) const
{
    const int viewCount = std::max(GetNrOfViews(), 1);
    for (int view = 0; view < viewCount; ++view) {
        std::vector<LxCCalibrationData*> marks;
        GetCalibDataForView(&marks, view);
        const std::string fileName = ViewFileName(baseName, view);
        if (!WriteView(fileName, marks)) {
            s_Logger.Error(L"ExportCalibData: cannot write to %s\n", fileName);
            return false;
        }
    }
    return true;
}

bool LxCCameraToBeCalibrated::ImportCalibData(const std::vector<std::string>& fileNames)
{
    for (const std::string& fileName : fileNames) {
        Records records;
        if (!ReadView(fileName, records)) {
            s_Logger.Error(L"ImportCalibData: cannot read from %s\n", fileName);
            return false;
        }
        AppendRecords(std::move(records), true);
    }
    return true;
}

void LxCCameraToBeCalibrated::MakeTargetOrientations(std::size_t count)
{
    m_pTargetOrientations = std::make_unique<LxCCoordSysTrans[]>(count);
    m_uiTargetOrientations = count;
}

void LxCCameraToBeCalibrated::CopyTargetOrientations(const LxCCameraToBeCalibrated& other)
{
    if (!other.m_pTargetOrientations || other.GetNrOfViews() < 1) {
        m_pTargetOrientations.reset();
        m_uiTargetOrientations = 0;
        return;
    }
    // The source may have gained views since its orientations were made.
    MakeTargetOrientations(
        std::min(other.m_uiTargetOrientations, static_cast<std::size_t>(other.GetNrOfViews())));
    std::copy_n(other.m_pTargetOrientations.get(), m_uiTargetOrientations, m_pTargetOrientations.get());
}

} // namespace LxCV
