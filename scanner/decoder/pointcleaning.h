// Which points of a measurement count, by the points around them.
#pragma once

#include "scanner/decoder/scanrecord.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace LxCV {
class LxCCCLAlgoConfig;
}

namespace decoder {

/// Removes points whose position mixes two surfaces or is poorly determined, where the active preset wants clean data:
///
/// - Beside a jump: within 3 columns and 3 rows of its pixel, that of its whole row, lies a point that is nearer to the
///   camera by more than `Clean3DDataZDistThresh`. Blur and smoothing carry the light of the near surface that far over
///   its border, where it shifts the edges of the far one or hides them. Points on the near side of a jump stay.
/// - Seen too flat: the cosine between the normal and the viewing ray is below `Clean3DDataDotProductThresh`. The
///   normal is at right angles to the difference of the points in the columns before and behind on the same stripe
///   edge, and to that of the stripe edges before and behind in the same column. Where one of a pair is missing, the
///   point itself stands for it.
/// - Isolated: one of the pairs is missing as a whole, so that there is no normal.
///
/// All points are judged before any is removed. Positions count as floats.
class PointCleaning
{
public:
    /// Takes the limits from the settings.
    explicit PointCleaning(const LxCV::LxCCCLAlgoConfig& config);

    /// Whether the active preset wants it.
    bool IsWanted() const { return m_isWanted; }

    /// Makes the working buffers. `Clean` does so for sizes that are not theirs.
    /// @param width, height pixels of the image, not negative
    /// @param edges         numbers of stripe edges, from 0; not negative. More than 256 count as so many
    void Init(int width, int height, int edges);

    /// @param points finite positions before the camera, by ascending whole row; their order stays. Those outside of
    ///        the image, or of a stripe edge that there is not, are removed. Of two points of one column and stripe
    ///        edge the later one stands for both in all normals
    void Clean(int width, int height, int edges, std::vector<MeasuredPoint>& points);

private:
    /// A point of the grid. mm, camera frame.
    struct GridPoint
    {
        float x;
        float y;
        float z;
        float isThere; ///< 1 where there is a point, else 0
    };

    bool Has(const EdgePixel& edge) const;
    std::size_t PlaceOf(const EdgePixel& edge) const;
    void Place(const MeasuredPoint& point);
    void JudgeNormals();
    void RemoveUnclear(std::vector<MeasuredPoint>& points);
    bool IsClear(const MeasuredPoint& point) const;
    std::span<float> Line(int row);
    void FindLeastOfColumns();

    bool m_isWanted;
    float m_minCosine;
    float m_maxStep; ///< mm
    int m_width = 0;
    int m_height = 0;
    int m_edges = 0;
    std::vector<GridPoint> m_grid;       ///< by stripe edge and column, with a margin of one on every side
    std::vector<std::int32_t> m_isClear; ///< by place in the grid: whether the surface there is seen well
    std::vector<float> m_lines; ///< mm; depths of a window's rows, the largest float where there are none
    std::vector<float> m_least; ///< mm; the least depth of each column of them
};

} // namespace decoder
