// Looking up what a record tells of each of its points.
#include "scanner/app/recordpoints.h"

#include "lxcfloat3.h"
#include "lxsscandatacct.h"
#include "pixelelements.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>

namespace app {

namespace {

using LxCV::CCTImage;
using LxCV::ElementsOf;
using LxCV::LxCFloat3;

constexpr std::uint8_t kValid = 1;

/// The images of a record, by image column and stripe edge.
class RecordView
{
public:
    explicit RecordView(const LxCV::LxSScanDataCCT& record)
        : m_width(static_cast<std::size_t>(record.GetFull3DPoints()->GetWidth())),
          m_reducedWidth(static_cast<std::size_t>(record.Get3DPoints()->GetWidth())),
          m_positions(ElementsOf<LxCFloat3>(*record.GetFull3DPoints())),
          m_valid(ElementsOf<std::uint8_t>(*record.GetFullValidMask())),
          m_colours(ElementsOf<std::array<std::uint8_t, 3>>(*record.GetFullColor())),
          m_normals(ElementsOf<LxCFloat3>(*record.GetNormals())),
          m_hasNormal(ElementsOf<std::uint8_t>(*record.GetNormalMask()))
    {}

    /// Where a point of the record stands; nothing for one that another has replaced.
    std::optional<std::size_t> PlaceOf(const decoder::MeasuredPoint& point) const
    {
        const auto column = static_cast<std::size_t>(point.edge.column);
        const std::size_t place = static_cast<std::size_t>(point.edge.stripeEdge) * m_width + column;
        if (point.edge.column < 0 || column >= m_width || point.edge.stripeEdge < 0 ||
            place >= m_positions.size() || m_valid[place] != kValid) {
            return std::nullopt;
        }
        const LxCFloat3& position = m_positions[place];
        const bool isThis = position.get(0) == static_cast<float>(point.position.x) &&
                            position.get(1) == static_cast<float>(point.position.y) &&
                            position.get(2) == static_cast<float>(point.position.z);
        return isThis ? std::optional(place) : std::nullopt;
    }

    Rgb ColourAt(std::size_t place) const
    {
        const auto& [blue, green, red] = m_colours[place];
        return {red, green, blue};
    }

    /// A reduced record has one normal for several columns; their points take the same.
    PointNormal NormalAt(std::size_t place) const
    {
        const std::size_t column = place % m_width;
        const std::size_t reduced =
            m_reducedWidth == m_width ? column : std::min(column / decoder::kReduction, m_reducedWidth - 1);
        const std::size_t normal = place / m_width * m_reducedWidth + reduced;
        if (m_reducedWidth == 0 || normal >= m_normals.size() || m_hasNormal[normal] == 0) {
            return {};
        }
        return {m_normals[normal].get(0), m_normals[normal].get(1), m_normals[normal].get(2)};
    }

private:
    std::size_t m_width;
    std::size_t m_reducedWidth;
    std::span<const LxCFloat3> m_positions;
    std::span<const std::uint8_t> m_valid;
    std::span<const std::array<std::uint8_t, 3>> m_colours;
    std::span<const LxCFloat3> m_normals;
    std::span<const std::uint8_t> m_hasNormal;
};

} // namespace

RecordCloud CloudOf(std::span<const decoder::MeasuredPoint> points, const LxCV::LxSScanDataCCT& record)
{
    const RecordView view(record);
    RecordCloud cloud;
    for (const decoder::MeasuredPoint& point : points) {
        if (const std::optional<std::size_t> place = view.PlaceOf(point)) {
            const auto& [x, y, z] = point.position;
            cloud.points.push_back({{x, y, z}, point.edge.column, point.edge.row, view.ColourAt(*place)});
            cloud.normals.push_back(view.NormalAt(*place));
        }
    }
    return cloud;
}

std::size_t CountPoints(const LxCV::LxSScanDataCCT& record)
{
    const std::span<const std::uint8_t> valid = ElementsOf<std::uint8_t>(*record.GetFullValidMask());
    return static_cast<std::size_t>(std::ranges::count(valid, kValid));
}

} // namespace app
