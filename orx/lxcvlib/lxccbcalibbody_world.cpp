// A checkerboard target in the world: its coordinates, its black areas, and what it exports.
#include "checkerboardorientation.h"
#include "floattointeger.h"
#include "lxccbcalibbody.h"
#include "lxcrectcornercalibmark.h"
#include "orx/logging/logger.h"
#include "saturate.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <istream>
#include <limits>
#include <span>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCCBCalibBody");

constexpr std::size_t c_Corners = 4;    // world coordinates of a square
constexpr float c_fAreaUnits = 1000.0F; // of a black area in a world unit
constexpr float c_fAreaMargin = 75.0F;  // in units of a black area

/// From a little before the smallest of some values to a little behind the largest one, in units of a black area.
/// Single precision, as the areas have always been told.
struct SAreaInterval
{
    int first;
    int end;

    int GetLength() const { return SaturateToInt(std::int64_t{end} - first); }

    template <typename Value>
    static SAreaInterval Around(std::span<const LxC3DCoordsCCT> points, const Value& value)
    {
        auto least = static_cast<float>(value(points.front()));
        float most = least;
        for (const LxC3DCoordsCCT& point : points) {
            least = std::min(least, static_cast<float>(value(point)));
            most = std::max(most, static_cast<float>(value(point)));
        }
        return {TruncateTo<int>(least * c_fAreaUnits - c_fAreaMargin),
                TruncateTo<int>(most * c_fAreaUnits + c_fAreaMargin)};
    }
};

} // namespace

const LxC3DCoordsCCT* LxCCBCalibBody::FindWorldCoords(int id) const
{
    if (id < 1 || static_cast<std::size_t>(id) > m_vWorldCoords.size()) {
        return nullptr;
    }
    const auto fromFirst = static_cast<std::size_t>(id - 1);
    const int corner = GetCornerOnTarget(m_eOrientation, static_cast<int>(fromFirst % c_Corners));
    const std::size_t index = fromFirst / c_Corners * c_Corners + static_cast<std::size_t>(corner - 1);
    // The last square may lack some of its coordinates.
    return index < m_vWorldCoords.size() ? &m_vWorldCoords[index] : nullptr;
}

LxC3DCoordsCCT LxCCBCalibBody::GetWorldCoords(const LxCCalibMark& mark) const
{
    const LxC3DCoordsCCT* const coords = FindWorldCoords(mark.GetId());
    return coords != nullptr ? *coords : LxC3DCoordsCCT();
}

ECalibError LxCCBCalibBody::ExportCalibrationDataUsingWCDataFile(std::vector<LxCCalibrationData*>& out)
{
    if (std::any_of(m_vMarks.begin(), m_vMarks.end(), [](const LxCCalibMark* mark) {
            return dynamic_cast<const LxCRectCornerCalibMark*>(mark) == nullptr;
        })) {
        return eCalibNotDone;
    }
    for (const LxCCalibMark* const mark : m_vMarks) {
        const LxC3DCoordsCCT* const coords = FindWorldCoords(mark->GetId());
        if (coords != nullptr && mark->UseForCalib()) {
            AppendRecord(out, *coords, *mark);
        }
    }
    Reset();
    return eCalibOk;
}

ECalibError LxCCBCalibBody::Read3DCoordsFromStream(std::istream& stream)
{
    s_Logger.Info(L"Read3DCoordsFromStream\n");
    ECalibError result = LxCCalibBody::Read3DCoordsFromStream(stream);
    if (result == eCalibOk) {
        result = NormalizeTargetCoordsToCenter();
    }
    return result == eCalibOk ? FillVectorBlackAreaOnTarget() : result;
}

ECalibError LxCCBCalibBody::FillVectorBlackAreaOnTarget()
{
    m_vBlackAreas.clear();
    const std::span<const LxC3DCoordsCCT> coords(m_vWorldCoords);
    for (std::size_t i = 0; i + c_Corners <= coords.size(); i += c_Corners) {
        const auto square = coords.subspan(i, c_Corners);
        const auto x = SAreaInterval::Around(square, [](const LxC3DCoordsCCT& point) { return point.x; });
        const auto y = SAreaInterval::Around(square, [](const LxC3DCoordsCCT& point) { return point.y; });
        m_vBlackAreas.emplace_back(x.first, y.first, x.GetLength(), y.GetLength());
    }
    return eCalibOk;
}

bool LxCCBCalibBody::IsInsideBlackAreaOnTarget(double x, double y) const
{
    return std::any_of(m_vBlackAreas.begin(), m_vBlackAreas.end(), [x, y](const LxCRoi& area) {
        return area.Contains(x * c_fAreaUnits, y * c_fAreaUnits);
    });
}

float LxCCBCalibBody::GetDistToBlackAreaOnTarget(double x, double y) const
{
    float least = std::numeric_limits<float>::max();
    for (const LxCRoi& area : m_vBlackAreas) {
        least = std::min(least, area.GetDist(x * c_fAreaUnits, y * c_fAreaUnits));
    }
    return least / c_fAreaUnits;
}

} // namespace LxCV
