// Correspondences of a target for the camera model, and means of measured ones.
#include "lxccalibbody.h"

#include "filestreams.h"
#include "floatscanner.h"
#include "lxccalibrationdata.h"
#include "lxccbrect.h"
#include "lxcrectcornercalibmark.h"
#include "orx/logging/logger.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <new>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCCalibBody");

constexpr const char* c_sMeasurementFile = "../Results/calib_marker_";
constexpr const char* c_sMeanFile = "../Results/calib_marker_mean.txt";
constexpr std::size_t c_uiCorners = 4;      // of a rectangle
constexpr int c_iMostMeasurements = 10'000; // that are averaged; nobody measures a target more often

/// Hands a new record over to the owner of the list; not even a list without memory loses it.
void Append(std::vector<LxCCalibrationData*>& out, std::unique_ptr<LxCCalibrationData> record)
{
    out.push_back(record.get());
    (void)record.release();
}

/// A line without the carriage return of a file with such line ends.
bool GetTextLine(std::istream& file, std::string& line)
{
    if (!std::getline(file, line)) {
        return false;
    }
    if (!file.eof() && !line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    return true;
}

/// Whether every line that counts is a record, and there is one.
bool ReadRecords(std::istream& file, std::vector<LxCCalibrationData*>& out)
{
    bool isRecord = false; // the last line that counted
    std::string line;
    while (GetTextLine(file, line)) {
        if (line.empty() || line.front() == '!') {
            continue;
        }
        std::array<float, 5> v{};
        isRecord = ScanFloats(line, v) == v.size();
        if (!isRecord) {
            break;
        }
        Append(out, std::make_unique<LxCCalibrationData>(v[0], v[1], v[2], v[3], v[4], 1.0));
    }
    return isRecord;
}

/// Sum of the positions that stand in one line of several files.
struct SSummedPosition
{
    LxC3DCoordsCCT sum;
    int count = 0;
};

/// Adds the lines of a file, up to the first that is no position, and makes room for them as far as `largest`
/// positions.
void AddPositions(std::istream& file, std::size_t largest, std::vector<SSummedPosition>& positions)
{
    std::string line;
    std::array<float, 3> v{};
    for (std::size_t i = 0; i < largest && GetTextLine(file, line) && ScanFloats(line, v) == v.size(); ++i) {
        if (i == positions.size()) {
            positions.emplace_back();
        }
        positions[i].sum += LxC3DCoordsCCT(v[0], v[1], v[2]);
        ++positions[i].count;
    }
}

} // namespace

void LxCCalibBody::AppendRecord(std::vector<LxCCalibrationData*>& out, const LxC3DCoordsCCT& world,
                                const LxCCalibMark& mark)
{
    Append(out,
           std::make_unique<LxCCalibrationData>(&world, mark.GetXImg(), mark.GetYImg(), mark.GetQuality()));
}

ECalibError LxCCalibBody::ExportCalibrationData(std::vector<LxCCalibrationData*>& out)
{
    return ExportCalibrationDataUsingWCDataFile(out);
}

ECalibError LxCCalibBody::ExportCalibrationDataDirect(std::vector<LxCCalibrationData*>& out)
{
    for (LxCCalibMark* mark : m_vMarks) {
        if (mark->GetId() != 0 && mark->UseForCalib()) {
            IdToWCDirect(mark->GetId(), mark->GetWorldCoords()); // a refusal leaves what stands in the mark
            AppendRecord(out, mark->GetWorldCoords(), *mark);
        }
    }
    return eCalibOk;
}

ECalibError LxCCalibBody::ExportCalibrationDataUsingWCDataFile(std::vector<LxCCalibrationData*>& out)
{
    for (const LxCCalibMark* mark : m_vMarks) {
        // Deliberately without the first and the last of the coordinates, as stored calibrations were made.
        const int id = mark->GetId();
        if (id >= 2 && static_cast<std::size_t>(id) < m_vWorldCoords.size() && mark->UseForCalib()) {
            AppendRecord(out, m_vWorldCoords[static_cast<std::size_t>(id) - 1], *mark);
        }
    }
    Reset();
    return eCalibOk;
}

ECalibError LxCCalibBody::ExportCalibrationDataUsingWCandICDataFile(std::vector<LxCCalibrationData*>& out,
                                                                    const std::string& fileName)
{
    out.clear();
    std::ifstream file = OpenFileForReading(fileName);
    if (!file.is_open()) {
        s_Logger.Error(L"Error: LxCCalibBody::ExportCalibrationDataUsingWCandICDataFile: File couldn't be "
                       L"opened: <%s>\n",
                       fileName);
        return eCalibWorldFileNotFound;
    }
    try {
        if (!ReadRecords(file, out)) {
            s_Logger.Error(
                L"Error: LxCCalibBody::ExportCalibrationDataUsingWCandICDataFile: read process got stuck "
                L"and did not finish properly.\nExpecting Xw Yw Zw Xi Yi per line separated by whitespace "
                L"only.\n");
            return eCalibWorldFileBad;
        }
    } catch (const std::bad_alloc&) {
        return eCalibNoMemory;
    }
    Reset();
    return eCalibOk;
}

void LxCCalibBody::CalculateMeanPositionOutOfMultiMeasurement(int numMeasurements, int numRects)
{
    s_Logger.Info(L"[INFO]: Call --> CalculateMeanPositionOutOfMultiMeasurement()\n");
    m_iNumMeasurements = numMeasurements;
    const std::size_t largest = static_cast<std::size_t>(std::max(numRects, 0)) * c_uiCorners;
    std::vector<SSummedPosition> positions;
    for (int i = 0; i < std::min(numMeasurements, c_iMostMeasurements); ++i) {
        const std::string path = c_sMeasurementFile + std::to_string(i) + ".txt";
        s_Logger.Info(L"----->> Now reading file: %s\n", path);
        std::ifstream file = OpenFileForReading(path);
        if (file.is_open()) {
            AddPositions(file, largest, positions);
        } else {
            s_Logger.Error(L"!!! [ERROR]: Could not open file: %s\n", path);
        }
    }

    std::ofstream out = OpenFileForWriting(c_sMeanFile);
    if (!out.is_open()) {
        s_Logger.Error(L"!!! Error !!! Opening outstream for writing mean calibration positions\n");
        return;
    }
    out.imbue(std::locale::classic());
    out.setf(std::ios_base::fixed);
    for (const SSummedPosition& position : positions) {
        const LxC3DCoordsCCT mean = position.sum * (1.0 / position.count);
        out << mean.x << ' ' << mean.y << ' ' << mean.z << '\n';
    }
}

void LxCCalibBody::CalculateMeanPositionOutOfMultiMeasurement(const std::vector<LxCCBRect*>& rects) const
{
    if (m_iNumMeasurements < 1) {
        return;
    }
    double sum = 0.0;
    const auto stride = static_cast<std::size_t>(m_iNumMeasurements);
    for (std::size_t i = 0; i < rects.size(); i += stride) {
        if (rects[i] != nullptr && rects[i]->GetULCorner() != nullptr) {
            sum += rects[i]->GetULCorner()->GetXImg();
        }
    }
    s_Logger.Debug(L"Mean x of the upper left corners of every rectangle number %i: %f\n", m_iNumMeasurements,
                   sum / m_iNumMeasurements);
}

} // namespace LxCV
