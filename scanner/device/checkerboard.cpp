#include "scanner/device/checkerboard.h"

#include "scanner/device/blur.h"
#include "scanner/device/lensfield.h"
#include "scanner/device/noise.h"
#include "scanner/device/polygoncoverage.h"
#include "scanner/device/random.h"

#include <algorithm>
#include <limits>
#include <numbers>
#include <span>
#include <stdexcept>

namespace device {

namespace {

constexpr float c_fullScale = 255.0F;

void Require(bool holds, const char* text)
{
    if (!holds) {
        throw std::invalid_argument(text);
    }
}

void Check(const Checkerboard& board)
{
    constexpr int c_most = 1000;
    constexpr double c_longest = 1000.0; // mm
    Require(board.rows > 0 && board.columns > 0 && board.rows <= c_most && board.columns <= c_most,
            "a checkerboard has 1 to 1000 rows and columns");
    Require(board.pitch > 0.0 && board.pitch <= c_longest, "a checkerboard's pitch must be positive");
    Require(board.squareEnd > board.squareBegin && board.squareEnd - board.squareBegin < board.pitch &&
                std::abs(board.squareBegin) <= c_longest,
            "a checkerboard's squares must have a side and must not touch");
    Require(board.embeddedSide >= 0.0 && board.embeddedSide < board.squareEnd - board.squareBegin,
            "the bright squares must be smaller than the dark ones");
    Require(std::abs(static_cast<double>(board.idOfFirstMarkedSquare)) <= 1e7,
            "the id of a checkerboard's first marked square is out of range");
}

void Check(const Placement& placement)
{
    for (const double value :
         {placement.rx, placement.ry, placement.rz, placement.tx, placement.ty, placement.tz}) {
        Require(std::abs(value) <= 1e6, "the numbers of a placement must be finite and below a million");
    }
}

void Check(const TargetImaging& imaging)
{
    CheckLens(imaging.camera);
    Require(imaging.blur >= 0.0 && imaging.blur <= 10.0,
            "the camera's blur must lie between 0 and 10 pixels");
    Require(imaging.noise >= 0.0 && imaging.noise <= 1000.0,
            "the noise must lie between 0 and 1000 grey levels");
    for (const double value : {imaging.slopeX, imaging.slopeY, imaging.falloff}) {
        Require(std::isfinite(value), "the light's unevenness must be finite");
    }
    for (std::size_t channel = 0; channel < imaging.dark.size(); ++channel) {
        Require(std::isfinite(imaging.dark[channel]) && std::isfinite(imaging.bright[channel]),
                "the grey levels must be finite");
        for (const double value : imaging.crosstalk[channel]) {
            Require(std::isfinite(value), "the crosstalk must be finite");
        }
    }
}

/// A square of the board, its corners in the order of `ECorner`.
struct Square
{
    int id = 0;
    std::array<Vec3, 4> corners; ///< mm, target frame
};

Square MakeSquare(int id, double left, double top, double right, double bottom)
{
    return {id,
            {Vec3{left, top, 0.0}, Vec3{right, top, 0.0}, Vec3{left, bottom, 0.0}, Vec3{right, bottom, 0.0}}};
}

/// Where the cell of a square begins, mm, target frame.
Vec2 CellOf(const Checkerboard& board, int id)
{
    const int row = (id - 1) / board.columns, column = (id - 1) % board.columns;
    return {board.pitch * column, board.pitch * row};
}

Square DarkSquare(const Checkerboard& board, int id)
{
    const Vec2 cell = CellOf(board, id);
    return MakeSquare(id, cell.x + board.squareBegin, cell.y + board.squareBegin, cell.x + board.squareEnd,
                      cell.y + board.squareEnd);
}

std::vector<Square> DarkSquares(const Checkerboard& board)
{
    std::vector<Square> squares;
    for (int id = 1; id <= board.rows * board.columns; ++id) {
        squares.push_back(DarkSquare(board, id));
    }
    return squares;
}

/// The marked ids that are on the board, rising.
std::vector<int> MarkedIdsOnBoard(const Checkerboard& board)
{
    std::vector<int> ids;
    for (const int id : board.MarkedIds()) {
        if (id >= 1 && id <= board.rows * board.columns) {
            ids.push_back(id);
        }
    }
    std::sort(ids.begin(), ids.end());
    ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
    return ids;
}

std::vector<Square> EmbeddedSquares(const Checkerboard& board)
{
    std::vector<Square> squares;
    if (board.embeddedSide == 0.0) {
        return squares;
    }
    const double begin = 0.5 * (board.squareBegin + board.squareEnd - board.embeddedSide);
    for (const int id : MarkedIdsOnBoard(board)) {
        const Vec2 cell = CellOf(board, id);
        const double x = cell.x + begin, y = cell.y + begin;
        squares.push_back(MakeSquare(id, x, y, x + board.embeddedSide, y + board.embeddedSide));
    }
    return squares;
}

/// Carries points of the board into the camera frame.
class BoardPlace
{
public:
    BoardPlace(const Checkerboard& board, const Placement& cameraFromTarget)
        : m_motion(cameraFromTarget), m_mirrored(board.mirrored),
          m_width(board.pitch * (board.columns - 1) + board.squareBegin + board.squareEnd)
    {}

    Vec3 InCamera(const Vec3& point) const
    {
        return m_motion.Forward(m_mirrored ? Vec3{m_width - point.x, point.y, point.z} : point);
    }

private:
    RigidMotion m_motion;
    bool m_mirrored;
    double m_width; ///< a point at x has its mirror image at m_width - x, mm
};

std::vector<TargetCorner> FindCorners(const std::vector<Square>& squares, const BoardPlace& place,
                                      const LensField& field)
{
    std::vector<TargetCorner> corners;
    corners.reserve(4 * squares.size());
    for (const Square& square : squares) {
        for (const ECorner which : {eUpperLeft, eUpperRight, eLowerLeft, eLowerRight}) {
            TargetCorner corner;
            corner.square = square.id;
            corner.corner = which;
            corner.pointOnTarget = square.corners[which];
            const Vec3 point = place.InCamera(corner.pointOnTarget);
            corner.inFront = point.z > 0.0;
            if (corner.inFront) {
                const Vec2 direction{point.x / point.z, point.y / point.z};
                corner.image = field.GetLens().RasterFromDirection(direction);
                corner.inImage = field.Holds(direction) && field.InRaster(corner.image);
            }
            corners.push_back(corner);
        }
    }
    return corners;
}

/// The share of dark in every pixel of the image and of the blur's margin around it.
PolygonCoverage DarkShares(const Checkerboard& board, const BoardPlace& place, const LensField& field,
                           int margin)
{
    const LensParameters& camera = field.GetLens().Parameters();
    PolygonCoverage dark(camera.width + 2 * margin, camera.height + 2 * margin);
    const auto add = [&](const std::vector<Square>& squares, double weight) {
        for (const Square& square : squares) {
            std::vector<Vec3> outline;
            for (const ECorner corner : {eUpperLeft, eUpperRight, eLowerRight, eLowerLeft}) {
                outline.push_back(place.InCamera(square.corners[corner]));
            }
            std::vector<Vec2> polygon = field.Outline(outline);
            for (Vec2& vertex : polygon) {
                vertex = {vertex.x + margin, vertex.y + margin};
            }
            dark.Add(polygon, weight);
        }
    };
    add(DarkSquares(board), 1.0);
    add(EmbeddedSquares(board), -1.0);
    return dark;
}

/// Turns shares of dark into grey levels.
class Exposure
{
public:
    explicit Exposure(const TargetImaging& imaging) : m_imaging(imaging), m_random(imaging.seed)
    {
        for (std::size_t channel = 0; channel < m_bright.size(); ++channel) {
            for (std::size_t from = 0; from < m_bright.size(); ++from) {
                const double takes = imaging.crosstalk[channel][from];
                m_bright[channel] += takes * imaging.bright[from];
                m_change[channel] += takes * (imaging.dark[from] - imaging.bright[from]);
            }
        }
    }

    /// One row of the image.
    void Expose(const float* shares, int row, float* grey) const
    {
        const LensParameters& camera = m_imaging.camera;
        const double stepX = 2.0 / camera.width;
        const double t = 2.0 * (row - 0.5 * (camera.height - 1)) / camera.height;
        const double ofRow = 1.0 + m_imaging.slopeY * t - 0.5 * m_imaging.falloff * t * t;
        for (int col = 0; col < camera.width; ++col) {
            const double s = stepX * (col - 0.5 * (camera.width - 1));
            const double light = ofRow + m_imaging.slopeX * s - 0.5 * m_imaging.falloff * s * s;
            for (std::size_t channel = 0; channel < m_bright.size(); ++channel) {
                const double level = light * (m_bright[channel] + shares[col] * m_change[channel]);
                grey[ImageF::channels * static_cast<std::size_t>(col) + channel] = static_cast<float>(level);
            }
        }
        const std::span<float> levels(grey, ImageF::channels * static_cast<std::size_t>(camera.width));
        if (m_imaging.noise > 0.0) {
            AddNoise(levels, m_random, static_cast<std::uint64_t>(row) * levels.size(), m_imaging.noise,
                     m_imaging.greyNoise ? ImageF::channels : 1);
            return;
        }
        for (float& level : levels) {
            level = std::clamp(level, 0.0F, c_fullScale);
        }
    }

private:
    const TargetImaging& m_imaging;
    CounterRandom m_random;
    Colour m_bright{}; ///< grey levels of the ground after crosstalk
    Colour m_change{}; ///< from the ground to the squares
};

/// Whether the image holds all corners of the marked squares, `margin` pixels from its border.
bool HoldsMarkedSquares(const Checkerboard& board, const Placement& placement, const LensField& field,
                        double margin)
{
    std::vector<Square> squares;
    for (const int id : MarkedIdsOnBoard(board)) {
        squares.push_back(DarkSquare(board, id));
    }
    const std::vector<TargetCorner> corners = FindCorners(squares, BoardPlace(board, placement), field);
    const LensParameters& camera = field.GetLens().Parameters();
    return std::all_of(corners.begin(), corners.end(), [&](const TargetCorner& corner) {
        return corner.inImage && corner.image.x >= margin && corner.image.x <= camera.width - 1 - margin &&
               corner.image.y >= margin && corner.image.y <= camera.height - 1 - margin;
    });
}

/// The middle of the box around the marked squares, mm, target frame.
Vec3 MiddleOfMarkedSquares(const Checkerboard& board)
{
    const double none = std::numeric_limits<double>::infinity();
    Vec2 least{none, none}, greatest{-none, -none};
    for (const int id : MarkedIdsOnBoard(board)) {
        for (const Vec3& corner : DarkSquare(board, id).corners) {
            least = {std::min(least.x, corner.x), std::min(least.y, corner.y)};
            greatest = {std::max(greatest.x, corner.x), std::max(greatest.y, corner.y)};
        }
    }
    return {0.5 * (least.x + greatest.x), 0.5 * (least.y + greatest.y), 0.0};
}

} // namespace

std::array<int, 4> Checkerboard::MarkedIds() const
{
    const int first = idOfFirstMarkedSquare;
    return {first, first + 2, first + 3, first + 2 + columns};
}

RenderedBoard FindBoardCorners(const Checkerboard& board, const Placement& cameraFromTarget,
                               const LensParameters& camera)
{
    Check(board);
    Check(cameraFromTarget);
    CheckLens(camera);
    const LensField field(camera, 0);
    const BoardPlace place(board, cameraFromTarget);
    return {
        {}, FindCorners(DarkSquares(board), place, field), FindCorners(EmbeddedSquares(board), place, field)};
}

RenderedBoard RenderBoard(const Checkerboard& board, const Placement& cameraFromTarget,
                          const TargetImaging& imaging)
{
    Check(imaging);
    const LensParameters& camera = imaging.camera;
    RenderedBoard rendered = FindBoardCorners(board, cameraFromTarget, camera);
    const std::vector<double> kernel = BlurKernel(imaging.blur);
    const int margin = static_cast<int>(kernel.size() / 2);
    const PolygonCoverage dark =
        DarkShares(board, BoardPlace(board, cameraFromTarget), LensField(camera, margin), margin);
    const std::vector<float> shares = BlurPlane(dark.Shares(), camera.width, camera.height, kernel);
    rendered.image = ImageF(camera.width, camera.height);
    const Exposure exposure(imaging);
    for (int row = 0; row < camera.height; ++row) {
        const std::size_t pixel = static_cast<std::size_t>(row) * static_cast<std::size_t>(camera.width);
        exposure.Expose(shares.data() + pixel, row, rendered.image.data.data() + ImageF::channels * pixel);
    }
    return rendered;
}

Placement DrawBoardPlacement(const Checkerboard& board, const LensParameters& camera, const BoardPoses& poses,
                             std::uint64_t seed)
{
    Check(board);
    CheckLens(camera);
    Require(poses.nearest > 0.0 && poses.farthest >= poses.nearest && std::isfinite(poses.farthest) &&
                poses.steepestTilt >= 0.0 && poses.steepestTilt < 0.5 * std::numbers::pi &&
                std::isfinite(poses.margin),
            "the range of a board's poses is empty");
    Require(!MarkedIdsOnBoard(board).empty(), "the board has no marked squares");
    constexpr std::uint64_t c_poses = 200, c_places = 50; // tries; half of them fit for the default camera
    const LensField field(camera, 0);
    const BoardPlace flat(board, {});
    const Vec3 middle = flat.InCamera(MiddleOfMarkedSquares(board));
    const CounterRandom random(seed);
    std::uint64_t next = 0;
    const auto draw = [&](double from, double to) { return from + (to - from) * random.Uniform(next++); };
    for (std::uint64_t pose = 0; pose < c_poses; ++pose) {
        const double depth = draw(poses.nearest, poses.farthest);
        const double turn = draw(-std::numbers::pi, std::numbers::pi);
        const double tilt = draw(0.0, poses.steepestTilt),
                     towards = draw(-std::numbers::pi, std::numbers::pi);
        // The board's normal is (sin ry, -sin rx cos ry, cos rx cos ry).
        const double ry = std::asin(std::sin(tilt) * std::cos(towards));
        const double rx = std::atan2(std::sin(tilt) * std::sin(towards), std::cos(tilt));
        Placement placement{rx, ry, turn, 0.0, 0.0, 0.0};
        const Vec3 turned = RotationOf(placement) * middle;
        for (std::uint64_t place = 0; place < c_places; ++place) {
            const Vec2 image{draw(0.0, camera.width - 1.0), draw(0.0, camera.height - 1.0)};
            const Vec2 direction = field.GetLens().DirectionFromRaster(image);
            placement.tx = depth * direction.x - turned.x;
            placement.ty = depth * direction.y - turned.y;
            placement.tz = depth - turned.z;
            if (HoldsMarkedSquares(board, placement, field, poses.margin)) {
                return placement;
            }
        }
    }
    throw std::invalid_argument("the marked squares do not fit into the image");
}

} // namespace device
