// A checkerboard in front of the virtual camera: its image, and where its corners are.
#pragma once

#include "scanner/device/geometry.h"
#include "scanner/device/image.h"
#include "scanner/device/lens.h"
#include "scanner/device/scene.h"

#include <array>
#include <cstdint>
#include <vector>

namespace device {

/// Separate dark squares on an endless bright ground, in the plane z = 0 of the target frame: mm, x along the rows,
/// y from row to row.
///
/// The square in row r and column c, both from 0, has the id r columns + c + 1 and reaches over
/// pitch c + squareBegin .. pitch c + squareEnd in x, likewise with r in y. Four squares, told by `MarkedIds`, hold a
/// bright square each in their middle.
struct Checkerboard
{
    int rows = 7;
    int columns = 8;
    double pitch = 3.0;
    double squareBegin = -0.003;
    double squareEnd = 1.003;
    double embeddedSide = 0.5; ///< of the bright squares; 0 for none
    int idOfFirstMarkedSquare = 27;
    bool mirrored =
        false; ///< the camera sees the board's mirror image: x runs from the last column to the first

    /// With F = idOfFirstMarkedSquare: F, F + 2, F + 3, F + 2 + columns.
    std::array<int, 4> MarkedIds() const;
};

/// A square's corners as they stand in the target frame, y down.
enum ECorner : std::uint8_t
{
    eUpperLeft,
    eUpperRight,
    eLowerLeft,
    eLowerRight
};

/// A corner of a square and where the camera sees it.
struct TargetCorner
{
    int square = 0; ///< id
    ECorner corner = eUpperLeft;
    Vec3 pointOnTarget;   ///< mm, target frame
    Vec2 image;           ///< pixels, distorted image, integers being pixel centres; exact to rounding
    bool inFront = false; ///< of the camera, so that `image` has a meaning
    bool inImage = false; ///< within the raster, which implies `inFront`
};

/// How the camera takes a target's image.
struct TargetImaging
{
    LensParameters camera;         ///< the raster's size is the image's
    Colour dark{36.0, 40.0, 38.0}; ///< grey levels of the squares in the image's middle, blue, green, red
    Colour bright{190.0, 205.0, 198.0}; ///< and of the ground
    /// Row: what the sensor's blue, green, red pixels take from the blue, green, red levels above.
    std::array<Colour, 3> crosstalk{Colour{1.0, 0.0, 0.0}, Colour{0.0, 1.0, 0.0}, Colour{0.0, 0.0, 1.0}};
    /// Unevenness of the light. With s = 2 (col - middle) / width, t = 2 (row - middle) / height all levels are
    /// multiplied by 1 + slopeX s + slopeY t - falloff (s^2 + t^2) / 2.
    double slopeX = 0.0;
    double slopeY = 0.0;
    double falloff = 0.0;
    double blur = 0.7;      ///< sigma, pixels, 0 to 10
    double noise = 0.0;     ///< sigma, grey levels; 0 gives grey levels that are not rounded
    bool greyNoise = false; ///< the same noise in all channels, in a third of the time
    std::uint64_t seed = 1; ///< of the noise
};

/// Grey levels 0..255 in the channel order blue, green, red, with the true corners.
struct RenderedBoard
{
    ImageF image;
    std::vector<TargetCorner> corners;  ///< four a square, by rising id, in the order of `ECorner`
    std::vector<TargetCorner> embedded; ///< of the bright squares, likewise
};

/// Where the camera sees the corners, without an image: `image` of the result stays empty.
/// @param cameraFromTarget carries target coordinates into the camera frame
/// @throws std::invalid_argument for numbers that describe no board or no camera
RenderedBoard FindBoardCorners(const Checkerboard& board, const Placement& cameraFromTarget,
                               const LensParameters& camera);

/// The board's image and its corners.
///
/// The share of each pixel that is dark is exact: the squares' sides, curved by the lens, are replaced by chords that
/// leave them by less than 1e-5 pixels. The shares are blurred by `BlurKernel`; the light is uneven as told above.
/// One thread; the same arguments give the same image.
/// @throws std::invalid_argument as FindBoardCorners does, and for an imaging out of range
RenderedBoard RenderBoard(const Checkerboard& board, const Placement& cameraFromTarget,
                          const TargetImaging& imaging);

/// From where `DrawBoardPlacement` looks at a board.
struct BoardPoses
{
    double nearest = 28.0;     ///< mm, depth of the middle of the marked squares
    double farthest = 38.0;    ///< mm
    double steepestTilt = 0.5; ///< radians, between the board's normal and the optical axis
    double margin = 12.0;      ///< pixels between the marked squares and the image's border
};

/// A random placement (target into camera coordinates) in which the image holds all four marked squares: any rotation
/// about the optical axis, depth, tilt and its direction evenly distributed. The same seed gives the same placement.
/// @throws std::invalid_argument for poses in which the marked squares never fit into the image
Placement DrawBoardPlacement(const Checkerboard& board, const LensParameters& camera, const BoardPoses& poses,
                             std::uint64_t seed);

} // namespace device
