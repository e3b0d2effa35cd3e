// The virtual 3D camera: a camera and a stripe projector that render image pairs whose truth is known.
#pragma once

#include "scanner/device/geometry.h"
#include "scanner/device/image.h"
#include "scanner/device/lens.h"
#include "scanner/device/scene.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace device {

class DeviceModel;

/// The slide: stripes of equal width that follow each other along v and reach over its whole width in u.
///
/// Edge e lies at v = (e - 1) stripeWidth; the stripe between edges e and e + 1 has the digit with index
/// (e - 1) modulo the number of digits. In a digit bit 0 is blue, bit 1 green, bit 2 red.
///
/// Marks are rectangles of another transmission, by which the slide serves as a calibration target. The stripe with the
/// number s, which lies between the edges s and s + 1, may carry one at each of the mark centres: it is as wide as its
/// stripe in v, and in u it reaches from centre - markHalfLength to centre + markHalfLength.
struct SlideParameters
{
    std::string digits = "2163050307412525052743436347214303614703416165612707056507256365";
    int codeWordLength = 4;  ///< digits that name an edge
    int stripeWidth = 50;    ///< slide units
    double darkLevel = 0.03; ///< what a channel that is off still lets through, relative to one that is on
    double blur = 6.0; ///< sigma of the projector's blur, slide units, at least 1; 6 are about 0.6 pixels
    int calibratedEdgeMin = 25; ///< the edges that a calibration of this device would cover
    int calibratedEdgeMax = 122;
    std::vector<int> markStripes; ///< numbers of the stripes with marks, from 1; none: a slide without marks
    std::vector<double> markCentres{5250.0, 3500.0, 1750.0}; ///< u, one for each row of marks
    double markHalfLength = 50.0;                            ///< slide units
    bool brightMarks = false; ///< whether marks let all light through, or as little as a channel that is off
};

/// The slide with black marks on white stripes: 13 stripes by 3 rows.
SlideParameters SlideWithDarkMarks();

/// The slide with white marks in black stripes: 11 stripes by 3 rows. Its digits repeat after 32 stripes.
SlideParameters SlideWithBrightMarks();

/// Light and camera optics. Light of 1 on a white surface at the reference distance gives the full grey scale.
struct OpticsParameters
{
    Colour light{0.98, 1.0, 0.96};       ///< strength of the projector's light, blue, green, red
    Colour ambient{0.020, 0.020, 0.024}; ///< light from elsewhere, the same on every surface
    double referenceDistance = 33.7;     ///< mm from the projector, where the light has its nominal strength
    double vignetting = 0.8; ///< light falls by this times the squared tangent off the projector's axis
    double cameraBlur = 0.7; ///< sigma of the camera's blur, pixels
    double exposure = 1.0;
    /// Row: what the sensor's blue, green, red pixels take from the blue, green, red light.
    std::array<Colour, 3> crosstalk{Colour{0.91, 0.07, 0.02}, Colour{0.06, 0.87, 0.07},
                                    Colour{0.02, 0.08, 0.90}};
};

struct SensorParameters
{
    double fullWell = 20000.0; ///< electrons at grey level 255
    double readNoise = 0.01;   ///< sigma, share of the full grey scale
};

/// All that makes one device. The defaults are a plausible intraoral one: 658 by 494 pixels on 17 by 13 mm at 33 mm,
/// the projector 7 mm beside the camera along -y, 12 degrees between the axes.
struct DeviceParameters
{
    DeviceParameters();

    LensParameters camera;
    LensParameters projector;
    Placement cameraFromWorld;     ///< carries world coordinates into the camera frame
    Placement projectorFromCamera; ///< carries camera coordinates into the projector frame
    SlideParameters slide;
    OpticsParameters optics;
    SensorParameters sensor;
    double minDepth = 25.0; ///< working range, mm, camera frame
    double maxDepth = 41.0;
    std::string calibrationTime = "01.03.2024 09:00"; ///< dd.mm.yyyy hh:mm
    int calibrationRevision = 200000;
    int patches = 4;      ///< parts of the slide's height with an edge position table each; 0 for no tables
    int depthPatches = 4; ///< parts of the projector's depth range with an edge position table each
};

struct RenderOptions
{
    std::uint64_t seed = 1; ///< of the noise; its highest bit does not count
    double noise = 1.0;     ///< factor on all noise; 0 gives grey levels that are not rounded
    int supersamples = 4;   ///< per pixel and axis, 1 to 16
    int threads = 0;        ///< 0: as many as the machine runs at once. Has no effect on the result
    bool truth = true;      ///< whether to fill the truth
};

/// What tells the pairs of one scene apart; both as in RenderOptions.
struct Exposure
{
    double noise = 1.0;
    std::uint64_t seed = 1;
};

/// What is true at the centre of one pixel.
struct PixelTruth
{
    bool hit = false;
    bool seenByProjector = false; ///< lit: within the slide, not hidden by the scene, not turned away
    Vec3 pointInCamera;           ///< mm
    Vec3 pointInWorld;            ///< mm
    Vec2 slide;                   ///< u along the stripes, v across, slide units
    int nearestEdge = 0;
    double edgeDistance = 0.0; ///< v minus the nearest edge's v, slide units
};

/// Where a stripe edge crosses an image column.
struct EdgeCrossing
{
    int edge = 0;
    double row = 0.0;   ///< pixels, exact to about 1e-8
    Vec3 pointInCamera; ///< mm
    Vec3 pointInWorld;  ///< mm
    double slideU = 0.0;
    bool seenByProjector = false;
};

struct GroundTruth
{
    int width = 0;
    int height = 0;
    std::vector<PixelTruth> pixels;                   ///< row by row
    std::vector<std::vector<EdgeCrossing>> crossings; ///< per integer column, by rising row

    const PixelTruth& At(int col, int row) const
    {
        return pixels[static_cast<std::size_t>(row) * static_cast<std::size_t>(width) +
                      static_cast<std::size_t>(col)];
    }

    /// How many edge crossings the camera and the projector both see.
    std::size_t CountSeenCrossings() const;
};

/// Grey levels 0..255 in the channel order blue, green, red. With noise they are whole numbers as an 8-bit sensor
/// delivers them; without noise they are neither rounded nor noisy, only clipped.
struct RenderedPair
{
    ImageF reference; ///< under white light
    ImageF pattern;   ///< under the stripes
    GroundTruth truth;
};

/// A camera and a projector with known equations.
///
/// All points are mm in camera coordinates unless the name says otherwise; image positions are (column, row) in
/// pixels of the distorted image, integers being pixel centres. Const operations may run on many threads at once.
class VirtualDevice
{
public:
    /// @throws std::invalid_argument for parameters that describe no device
    explicit VirtualDevice(const DeviceParameters& parameters = DeviceParameters());
    ~VirtualDevice();
    VirtualDevice(VirtualDevice&&) noexcept;
    VirtualDevice& operator=(VirtualDevice&&) noexcept;

    const DeviceParameters& Parameters() const;

    /// Where the camera images a point in front of it.
    Vec2 ImageFromPoint(const Vec3& pointInCamera) const;

    /// Where the projector's slide images a point in front of it, slide units.
    Vec2 SlideFromPoint(const Vec3& pointInCamera) const;

    /// The ray of an image position, from the camera's centre, with direction.z = 1.
    Ray RayFromImage(const Vec2& image) const;

    /// The ray of a slide position, from the projector's centre.
    Ray RayFromSlide(const Vec2& slide) const;

    Vec3 ProjectorCentre() const;
    Vec3 WorldFromCamera(const Vec3& pointInCamera) const;
    Vec3 CameraFromWorld(const Vec3& pointInWorld) const;

    /// The slide's v of a stripe edge, slide units.
    double EdgePosition(int edge) const;

    /// The first and last edge that lie between two stripes and have a position.
    int FirstEdge() const;
    int LastEdge() const;

    /// Where the camera ray through a real-valued image position meets the scene: what a measurement at that
    /// position should have given.
    std::optional<Vec3> TruePointAt(const Scene& scene, const Vec2& image) const;

    /// The truth at a real-valued image position.
    PixelTruth TruthAt(const Scene& scene, const Vec2& image) const;

    /// The point on the ray of an image position that lies on a stripe edge's light sheet: the exact triangulation,
    /// without any scene. Empty where ray and sheet do not meet between 1 and 1000 mm.
    std::optional<Vec3> PointOnEdge(const Vec2& image, int edge) const;

    /// The crossing of `edge` along the column image.x that is nearest to row image.y, no farther than `reach`
    /// pixels; seen by the projector or not.
    std::optional<EdgeCrossing> CrossingNear(const Scene& scene, const Vec2& image, int edge,
                                             double reach = 3.0) const;

    /// The truth of every pixel and column alone, without an image. `threads` as in RenderOptions.
    GroundTruth FindTruth(const Scene& scene, int threads = 0) const;

    /// A reference and a pattern image with their truth. The same scene, options and parameters give the same pair.
    /// @throws std::invalid_argument for options out of range
    RenderedPair RenderPair(const Scene& scene, const RenderOptions& options = RenderOptions()) const;

    /// A pair during which the scene changes: the reference image sees one scene, the pattern image another. The truth is
    /// that of the pattern image, which carries the measurement. Without a change it is what `RenderPair` gives.
    /// @throws std::invalid_argument for options out of range
    RenderedPair RenderMotion(const Scene& atReference, const Scene& atPattern,
                              const RenderOptions& options = RenderOptions()) const;

    /// Renders a pair for each exposure, one after the other, and calls `take` with it, which may change it. The pairs are
    /// those of `RenderPair` with the exposure's noise and seed; but the scene is sampled only once.
    /// @throws std::invalid_argument for options out of range, before the first pair
    void RenderEach(const Scene& scene, std::span<const Exposure> exposures, const RenderOptions& options,
                    const std::function<void(RenderedPair&)>& take) const;

    /// The device as section text below the section `root`, such as "::MV3DCam". The bytes of its tables may be no
    /// UTF-8.
    std::string ParameterText(const std::string& root) const;

private:
    std::unique_ptr<const DeviceModel> m_model;
};

} // namespace device
