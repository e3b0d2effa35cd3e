// Life, lookup and statistics of a target's marks.
#include "lxccalibbody.h"

#include "floattointeger.h"
#include "orx/logging/logger.h"
#include "pathutils.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCCalibBody");

constexpr const char* c_sDataFolder = "\\Vekiob_ChDeviceFiles\\Vekiob Calibration Data\\";
constexpr double c_dPixelPitch = 0.01;   // mm per pixel
constexpr int c_iManualAssignReach = 10; // pixels

/// Whether a pixel is less than `tol` pixels off the truncated position of a mark, along either axis.
bool IsInBox(const LxCCalibMark& mark, int x, int y, int tol)
{
    // Compared in 64 bits, where differences of int cannot overflow. What is no number has no pixel.
    const auto isNear = [tol](std::int64_t center, double position) {
        return !std::isnan(position) && std::abs(center - TruncateTo<int>(position)) < tol;
    };
    return isNear(x, mark.GetXImg()) && isNear(y, mark.GetYImg());
}

/// The nearest mark to (x, y) of those that `isCandidate`; the first one on a tie.
template <typename Predicate>
LxCCalibMark* FindNearest(const std::vector<LxCCalibMark*>& marks, double x, double y, Predicate isCandidate)
{
    LxCCalibMark* nearest = nullptr;
    double leastSquare = std::numeric_limits<double>::infinity();
    for (LxCCalibMark* mark : marks) {
        if (isCandidate(*mark)) {
            const double square =
                (LxCSensorCoordsCCT(mark->GetXImg(), mark->GetYImg()) - LxCSensorCoordsCCT(x, y))
                    .GetLengthSq();
            // The square of a huge distance is infinite.
            if (nearest == nullptr || square < leastSquare) {
                leastSquare = square;
                nearest = mark;
            }
        }
    }
    return nearest;
}

} // namespace

LxCCalibBody::LxCCalibBody(bool createThres)
    : m_pThres(createThres ? std::make_unique<LxCCalibThres>() : nullptr),
      m_sPath(GetAppPathA() + c_sDataFolder), m_pIntrinsicParams(std::make_unique<LxCIntrinsicParams>())
{
    m_pIntrinsicParams->SetPixelPitch(c_dPixelPitch, c_dPixelPitch);
    m_pIntrinsicParams->SetUseTsai(true);
}

LxCCalibBody::LxCCalibBody(const LxCCalibBody& other)
    : m_pThres(other.m_pThres != nullptr ? other.m_pThres->Clone() : nullptr), m_sPath(other.m_sPath),
      m_sCoordFile(other.m_sCoordFile), m_bDataLoaded(other.m_bDataLoaded),
      m_sLoadedFile(other.m_sLoadedFile), m_bNormalized(other.m_bNormalized),
      m_vWorldCoords(other.m_vWorldCoords), m_eOrientation(other.m_eOrientation),
      m_pIntrinsicParams(other.m_pIntrinsicParams != nullptr
                             ? std::make_unique<LxCIntrinsicParams>(*other.m_pIntrinsicParams)
                             : nullptr),
      m_iNumMeasurements(other.m_iNumMeasurements),
      m_iMaxCalibrationIteration(other.m_iMaxCalibrationIteration)
{
    m_vMarks = CloneMarks(other.m_vMarks);
}

LxCCalibBody& LxCCalibBody::operator=(const LxCCalibBody& other)
{
    if (this == &other) {
        return *this;
    }
    // Everything that can fail comes first.
    auto thres = other.m_pThres != nullptr ? other.m_pThres->Clone() : nullptr;
    auto intrinsicParams = other.m_pIntrinsicParams != nullptr
                               ? std::make_unique<LxCIntrinsicParams>(*other.m_pIntrinsicParams)
                               : nullptr;
    std::string path = other.m_sPath;
    std::string coordFile = other.m_sCoordFile;
    std::string loadedFile = other.m_sLoadedFile;
    std::vector<LxC3DCoordsCCT> worldCoords = other.m_vWorldCoords;
    std::vector<LxCCalibMark*> marks = CloneMarks(other.m_vMarks);

    DeleteMarks(m_vMarks);
    m_pThres = std::move(thres);
    m_sPath = std::move(path);
    m_sCoordFile = std::move(coordFile);
    m_bDataLoaded = other.m_bDataLoaded;
    m_sLoadedFile = std::move(loadedFile);
    m_bNormalized = other.m_bNormalized;
    m_vWorldCoords = std::move(worldCoords);
    m_vMarks = std::move(marks);
    m_eOrientation = other.m_eOrientation;
    m_pIntrinsicParams = std::move(intrinsicParams);
    m_iNumMeasurements = other.m_iNumMeasurements;
    m_iMaxCalibrationIteration = other.m_iMaxCalibrationIteration;
    return *this;
}

LxCCalibBody::~LxCCalibBody()
{
    DeleteMarks(m_vMarks);
}

std::vector<LxCCalibMark*> LxCCalibBody::CloneMarks(const std::vector<LxCCalibMark*>& marks)
{
    std::vector<std::unique_ptr<LxCCalibMark>> clones;
    clones.reserve(marks.size());
    for (const LxCCalibMark* mark : marks) {
        clones.push_back(mark->Clone());
    }
    std::vector<LxCCalibMark*> released(clones.size());
    std::transform(clones.begin(), clones.end(), released.begin(),
                   [](auto& clone) { return clone.release(); });
    return released;
}

void LxCCalibBody::DeleteMarks(std::vector<LxCCalibMark*>& marks)
{
    for (const LxCCalibMark* mark : marks) {
        delete mark;
    }
    marks.clear();
}

const LxCCalibThres& LxCCalibBody::GetThresOrDefaults() const
{
    static const LxCCalibThres c_defaults;
    return m_pThres != nullptr ? *m_pThres : c_defaults;
}

ECalibError LxCCalibBody::AssessMarkQual(const CCTImage*)
{
    return eCalibOk;
}

void LxCCalibBody::PrintCalibMarks(std::string& out) const
{
    out += "Newly Located Calibration Marks:\n";
    for (const LxCCalibMark* mark : m_vMarks) {
        mark->Sprint(out, true);
        out += '\n';
    }
}

int LxCCalibBody::GetNrOfGoodMarks() const
{
    return static_cast<int>(std::count_if(m_vMarks.begin(), m_vMarks.end(), [](const LxCCalibMark* mark) {
        return mark->GetId() != 0 && mark->UseForCalib();
    }));
}

LxC3DCoordsCCT LxCCalibBody::GetWorldCoords(const LxCCalibMark& mark) const
{
    const int id = mark.GetId();
    if (id < 2 || static_cast<std::size_t>(id) > m_vWorldCoords.size()) {
        return {};
    }
    return m_vWorldCoords[static_cast<std::size_t>(id) - 1];
}

LxCCalibMark* LxCCalibBody::FindCalibMark(int id) const
{
    const int index = FindCalibMarkIndex(id);
    return index < 0 ? nullptr : m_vMarks[static_cast<std::size_t>(index)];
}

LxCCalibMark* LxCCalibBody::FindCalibMark(double x, double y, double tolX, double tolY) const
{
    return FindNearest(m_vMarks, x, y, [=](const LxCCalibMark& mark) {
        return std::abs(x - mark.GetXImg()) < tolX && std::abs(y - mark.GetYImg()) < tolY;
    });
}

LxCCalibMark* LxCCalibBody::FindCalibMark(double x, double y, double tol) const
{
    return FindCalibMark(x, y, tol, tol);
}

LxCCalibMark* LxCCalibBody::FindCalibMark(int x, int y, int tol) const
{
    return FindNearest(m_vMarks, x, y, [=](const LxCCalibMark& mark) { return IsInBox(mark, x, y, tol); });
}

ECalibError LxCCalibBody::ToggleCalibMark(int x, int y, int tol)
{
    ECalibError result = eCalibNotDone;
    for (LxCCalibMark* mark : m_vMarks) {
        if (IsInBox(*mark, x, y, tol)) {
            mark->ToggleValidity();
            result = eCalibOk;
        }
    }
    return result;
}

ECalibError LxCCalibBody::ManAssignId(int x, int y, int id)
{
    LxCCalibMark* const mark = FindCalibMark(x, y, c_iManualAssignReach);
    if (mark == nullptr) {
        return eCalibNotDone;
    }
    mark->SetId(id);
    return eCalibOk;
}

ECalibError LxCCalibBody::IdToWCDirect(int, LxC3DCoordsCCT&) const
{
    return eCalibIdNotConvertible;
}

void LxCCalibBody::Reset()
{
    DeleteMarks(m_vMarks);
}

ECalibError LxCCalibBody::NormalizeTargetCoordsToCenter()
{
    if (m_bNormalized) {
        return eCalibOk;
    }
    LxC3DCoordsCCT sum;
    for (const LxC3DCoordsCCT& point : m_vWorldCoords) {
        sum += point;
    }
    const auto count = static_cast<double>(m_vWorldCoords.size());
    const LxC3DCoordsCCT mean(sum.x / count, sum.y / count, sum.z / count);
    for (LxC3DCoordsCCT& point : m_vWorldCoords) {
        point -= mean;
    }
    m_bNormalized = true;
    return eCalibOk;
}

ECalibError LxCCalibBody::FilterOutCalibMarks(CCTImage*, double)
{
    s_Logger.Info(L"Error: FilterOutCalibMarks ist für diesen CalibBody nicht implementiert.\n");
    return eCalibNotDone;
}

ECalibError LxCCalibBody::GetMeanPos(double* x, double* y, bool onlyIdentified) const
{
    if (x == nullptr || y == nullptr) {
        return eCalibNotDone;
    }
    LxCSensorCoordsCCT sum;
    int count = 0;
    for (const LxCCalibMark* mark : m_vMarks) {
        if (IsSeen(*mark, onlyIdentified)) {
            sum += LxCSensorCoordsCCT(mark->GetXImg(), mark->GetYImg());
            ++count;
        }
    }
    *x = count == 0 ? 0.0 : sum.x / count;
    *y = count == 0 ? 0.0 : sum.y / count;
    return count == 0 ? eCalibNotDone : eCalibOk;
}

bool LxCCalibBody::IsSeen(const LxCCalibMark& mark, bool onlyIdentified)
{
    return !mark.IsInvalid() && (!onlyIdentified || mark.GetId() != 0);
}

ECalibError LxCCalibBody::GetPositionInWC(double* minX, double* minY, double* maxX, double* maxY) const
{
    if (minX == nullptr || minY == nullptr || maxX == nullptr || maxY == nullptr) {
        return eCalibNotDone;
    }
    *minX = *minY = std::numeric_limits<double>::lowest();
    *maxX = *maxY = std::numeric_limits<double>::max();
    return eCalibOk;
}

int LxCCalibBody::FindCalibMarkIndex(int id) const
{
    if (id == 0) {
        return -1;
    }
    const auto found = std::find_if(m_vMarks.begin(), m_vMarks.end(),
                                    [id](const LxCCalibMark* mark) { return mark->GetId() == id; });
    return found == m_vMarks.end() ? -1 : static_cast<int>(found - m_vMarks.begin());
}

ECalibError LxCCalibBody::DoubleCheckIds(int, int)
{
    return eCalibOk;
}

} // namespace LxCV
