#include "scanner/device/virtualdevice.h"

#include "scanner/device/devicemodel.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace device {

namespace {

LensParameters DefaultCamera()
{
    LensParameters lens;
    lens.width = 658;
    lens.height = 494;
    lens.pitchX = 0.0074;
    lens.pitchY = 0.0074;
    lens.centreX = 331.4;
    lens.centreY = 244.7;
    lens.focalLength = 9.45;
    lens.k2 = -0.045;
    lens.k4 = 0.030;
    lens.tau1 = 0.0008;
    lens.tau2 = -0.0005;
    return lens;
}

LensParameters DefaultProjector()
{
    LensParameters lens;
    lens.width = 7000;
    lens.height = 7000;
    lens.pitchX = 0.001;
    lens.pitchY = 0.001;
    lens.centreX = 3492.0;
    lens.centreY = 3515.0;
    lens.focalLength = 13.0;
    lens.k2 = -0.012;
    return lens;
}

void Require(bool holds, const char* text)
{
    if (!holds) {
        throw std::invalid_argument(text);
    }
}

void CheckMarks(const SlideParameters& slide, int height)
{
    constexpr std::size_t c_mostRows = 100;
    const int stripes = (height + slide.stripeWidth - 1) / slide.stripeWidth;
    std::vector<int> numbers = slide.markStripes;
    std::sort(numbers.begin(), numbers.end());
    Require(numbers.empty() || (numbers.front() >= 1 && numbers.back() <= stripes),
            "marks must lie on stripes of the slide");
    Require(std::adjacent_find(numbers.begin(), numbers.end()) == numbers.end(),
            "a stripe cannot have its marks twice");
    Require(slide.markHalfLength > 0.0 && std::isfinite(slide.markHalfLength), "marks must have a length");
    Require(slide.markCentres.size() <= c_mostRows, "a slide has at most 100 rows of marks");
    std::vector<double> centres = slide.markCentres;
    Require(std::all_of(centres.begin(), centres.end(), [](double centre) { return std::isfinite(centre); }),
            "the centres of marks must be finite");
    std::sort(centres.begin(), centres.end());
    Require(std::adjacent_find(centres.begin(), centres.end(),
                               [&](double left, double right) {
                                   return right - left < 2.0 * slide.markHalfLength;
                               }) == centres.end(),
            "marks of one stripe must not overlap");
}

const DeviceParameters& Checked(const DeviceParameters& parameters)
{
    CheckLens(parameters.camera);
    CheckLens(parameters.projector);
    const SlideParameters& slide = parameters.slide;
    Require(slide.stripeWidth > 0 && slide.stripeWidth <= parameters.projector.height,
            "the stripe width must be positive and fit on the slide");
    Require(slide.blur >= 1.0 && slide.blur <= slide.stripeWidth,
            "the projector's blur must lie between one slide unit and one stripe");
    Require(!slide.digits.empty() && std::all_of(slide.digits.begin(), slide.digits.end(),
                                                 [](char digit) { return digit >= '0' && digit <= '7'; }),
            "the slide's digits must be 0 to 7");
    CheckMarks(slide, parameters.projector.height);
    Require(parameters.optics.cameraBlur >= 0.0 && parameters.optics.cameraBlur <= 10.0,
            "the camera's blur must lie between 0 and 10 pixels");
    Require(parameters.sensor.fullWell > 0.0 && parameters.sensor.readNoise >= 0.0,
            "the full well must be positive and the read noise not negative");
    Require(parameters.minDepth > 0.0 && parameters.maxDepth > parameters.minDepth,
            "the working range must be positive and not empty");
    Require(std::isfinite(parameters.maxDepth), "the working range must be finite");
    constexpr int c_mostPatches = 256;
    Require(parameters.patches >= 0 && parameters.patches <= c_mostPatches && parameters.depthPatches >= 0 &&
                parameters.depthPatches <= c_mostPatches,
            "a device has 0 to 256 patches either way");
    return parameters;
}

} // namespace

SlideParameters SlideWithDarkMarks()
{
    SlideParameters slide;
    slide.markStripes = {10, 20, 28, 38, 50, 58, 74, 84, 92, 102, 114, 122, 138};
    return slide;
}

SlideParameters SlideWithBrightMarks()
{
    SlideParameters slide;
    slide.digits = "50305250125214121610343014341070";
    slide.markStripes = {8, 24, 32, 40, 56, 64, 72, 88, 96, 104, 120};
    slide.brightMarks = true;
    return slide;
}

DeviceParameters::DeviceParameters()
    : camera(DefaultCamera()), projector(DefaultProjector()),
      cameraFromWorld(PlacementAt({0.4, -0.3, -1.6}, 0.021, -0.016, 0.009)),
      projectorFromCamera(PlacementAt({0.06, -7.0, 0.35}, 0.2105, 0.002, -0.003))
{}

namespace {

/// Products only, which every machine rounds alike.
double Power(double base, int exponent)
{
    double power = 1.0;
    for (; exponent > 0; exponent /= 2, base *= base) {
        power *= exponent % 2 != 0 ? base : 1.0;
    }
    return power;
}

/// The share of the light that a surface mirrors into the camera, which is at the origin.
double Mirrored(const Gloss& gloss, const Hit& hit, const Vec3& toLight)
{
    if (!(gloss.strength > 0.0)) {
        return 0.0;
    }
    const Vec3 halfway = Normalized(Normalized(toLight) + Normalized(-1.0 * hit.point));
    return gloss.strength * Power(std::max(0.0, Dot(hit.normal, halfway)), gloss.exponent);
}

} // namespace

DeviceModel::DeviceModel(const DeviceParameters& parameters)
    : m_parameters(Checked(parameters)), m_camera(parameters.camera), m_projector(parameters.projector),
      m_cameraFromWorld(parameters.cameraFromWorld), m_projectorFromCamera(parameters.projectorFromCamera),
      m_projectorCentre(m_projectorFromCamera.Backward({0.0, 0.0, 0.0})),
      m_slide(parameters.slide, parameters.projector.height)
{}

Vec2 DeviceModel::ImageFromPoint(const Vec3& pointInCamera) const
{
    return m_camera.RasterFromDirection(
        {pointInCamera.x / pointInCamera.z, pointInCamera.y / pointInCamera.z});
}

Vec2 DeviceModel::SlideFromPoint(const Vec3& pointInCamera) const
{
    const Vec3 inProjector = m_projectorFromCamera.Forward(pointInCamera);
    return m_projector.RasterFromDirection({inProjector.x / inProjector.z, inProjector.y / inProjector.z});
}

Ray DeviceModel::RayFromImage(const Vec2& image) const
{
    const Vec2 direction = m_camera.DirectionFromRaster(image);
    return {{0.0, 0.0, 0.0}, {direction.x, direction.y, 1.0}};
}

Ray DeviceModel::RayFromSlide(const Vec2& slide) const
{
    const Vec2 direction = m_projector.DirectionFromRaster(slide);
    return {m_projectorCentre,
            m_projectorFromCamera.Backward({direction.x, direction.y, 1.0}) - m_projectorCentre};
}

double DeviceModel::EdgePosition(int edge) const
{
    return (static_cast<double>(edge) - 1.0) * m_parameters.slide.stripeWidth;
}

int DeviceModel::LastEdge() const
{
    const int stripeWidth = m_parameters.slide.stripeWidth;
    return (m_parameters.projector.height + stripeWidth - 1) / stripeWidth - 1;
}

double DeviceModel::SlideUnitsPerPixel() const
{
    const LensParameters& camera = m_parameters.camera;
    const LensParameters& projector = m_parameters.projector;
    return (projector.focalLength / projector.pitchY) / (camera.focalLength / camera.pitchY);
}

SurfaceSample DeviceModel::Sample(const Scene& scene, const Vec2& image) const
{
    SurfaceSample sample;
    const std::optional<Hit> hit = scene.Intersect(RayFromImage(image));
    if (!hit) {
        return sample;
    }
    sample.hit = true;
    sample.surface = hit->surface;
    sample.point = hit->point;
    sample.albedo = scene.Albedo(*hit);
    sample.slide = SlideFromPoint(hit->point);
    Illuminate(scene, *hit, sample);
    return sample;
}

void DeviceModel::Illuminate(const Scene& scene, const Hit& hit, SurfaceSample& sample) const
{
    const Vec3 inProjector = m_projectorFromCamera.Forward(sample.point);
    const bool within = inProjector.z > 0.0 && sample.slide.x >= 0.0 &&
                        sample.slide.x <= m_parameters.projector.width && sample.slide.y >= 0.0 &&
                        sample.slide.y <= m_parameters.projector.height;
    const Vec3 toProjector = m_projectorCentre - sample.point;
    const double distance = Length(toProjector);
    const double cosine = Dot(hit.normal, toProjector) / distance;
    if (!within || !(cosine > 0.0) || scene.Hides(m_projectorCentre, sample.point)) {
        return;
    }
    const OpticsParameters& optics = m_parameters.optics;
    const double x = inProjector.x / inProjector.z, y = inProjector.y / inProjector.z;
    const double nearness = optics.referenceDistance / distance;
    sample.lit = true;
    const double vignette = std::max(0.0, 1.0 - optics.vignetting * (x * x + y * y));
    sample.irradiance = cosine * nearness * nearness * vignette;
    sample.mirrored = nearness * nearness * vignette * Mirrored(scene.GlossOf(hit), hit, toProjector);
}

double DeviceModel::SlideV(const Scene& scene, const Vec2& image) const
{
    const std::optional<Hit> hit = scene.Intersect(RayFromImage(image));
    return hit ? SlideFromPoint(hit->point).y : std::numeric_limits<double>::quiet_NaN();
}

PixelTruth DeviceModel::TruthOf(const SurfaceSample& sample) const
{
    PixelTruth truth;
    if (!sample.hit) {
        return truth;
    }
    truth.hit = true;
    truth.seenByProjector = sample.lit;
    truth.pointInCamera = sample.point;
    truth.pointInWorld = WorldFromCamera(sample.point);
    truth.slide = sample.slide;
    const double stripes = std::round(sample.slide.y / m_parameters.slide.stripeWidth);
    truth.nearestEdge =
        1 + static_cast<int>(std::clamp(stripes, c_firstEdge - 1.0, static_cast<double>(LastEdge() - 1)));
    truth.edgeDistance = sample.slide.y - EdgePosition(truth.nearestEdge);
    return truth;
}

std::size_t GroundTruth::CountSeenCrossings() const
{
    std::size_t count = 0;
    for (const std::vector<EdgeCrossing>& column : crossings) {
        count += static_cast<std::size_t>(
            std::count_if(column.begin(), column.end(),
                          [](const EdgeCrossing& crossing) { return crossing.seenByProjector; }));
    }
    return count;
}

VirtualDevice::VirtualDevice(const DeviceParameters& parameters)
    : m_model(std::make_unique<const DeviceModel>(parameters))
{}

VirtualDevice::~VirtualDevice() = default;
VirtualDevice::VirtualDevice(VirtualDevice&&) noexcept = default;
VirtualDevice& VirtualDevice::operator=(VirtualDevice&&) noexcept = default;

const DeviceParameters& VirtualDevice::Parameters() const
{
    return m_model->Parameters();
}

Vec2 VirtualDevice::ImageFromPoint(const Vec3& pointInCamera) const
{
    return m_model->ImageFromPoint(pointInCamera);
}

Vec2 VirtualDevice::SlideFromPoint(const Vec3& pointInCamera) const
{
    return m_model->SlideFromPoint(pointInCamera);
}

Ray VirtualDevice::RayFromImage(const Vec2& image) const
{
    return m_model->RayFromImage(image);
}

Ray VirtualDevice::RayFromSlide(const Vec2& slide) const
{
    return m_model->RayFromSlide(slide);
}

Vec3 VirtualDevice::ProjectorCentre() const
{
    return m_model->ProjectorCentre();
}

Vec3 VirtualDevice::WorldFromCamera(const Vec3& pointInCamera) const
{
    return m_model->WorldFromCamera(pointInCamera);
}

Vec3 VirtualDevice::CameraFromWorld(const Vec3& pointInWorld) const
{
    return m_model->CameraFromWorld(pointInWorld);
}

double VirtualDevice::EdgePosition(int edge) const
{
    return m_model->EdgePosition(edge);
}

int VirtualDevice::FirstEdge() const
{
    return c_firstEdge;
}

int VirtualDevice::LastEdge() const
{
    return m_model->LastEdge();
}

std::optional<Vec3> VirtualDevice::TruePointAt(const Scene& scene, const Vec2& image) const
{
    const std::optional<Hit> hit = scene.Intersect(RayFromImage(image));
    return hit ? std::optional<Vec3>(hit->point) : std::nullopt;
}

PixelTruth VirtualDevice::TruthAt(const Scene& scene, const Vec2& image) const
{
    return m_model->TruthOf(m_model->Sample(scene, image));
}

std::optional<Vec3> VirtualDevice::PointOnEdge(const Vec2& image, int edge) const
{
    constexpr double c_near = 1.0, c_far = 1000.0; // mm
    constexpr int c_maxSteps = 200;
    const Vec3 direction = RayFromImage(image).direction;
    const double target = EdgePosition(edge);
    // Along a ray the inverse depth is nearly linear in v, so halving and secants in it close in fast.
    const auto miss = [&](double inverse) { return SlideFromPoint((1.0 / inverse) * direction).y - target; };
    double low = 1.0 / c_far, high = 1.0 / c_near;
    double missLow = miss(low), missHigh = miss(high);
    if (!(missLow * missHigh <= 0.0)) {
        return std::nullopt;
    }
    for (int step = 0; step < c_maxSteps && high - low > 1e-17; ++step) {
        const double secant = low - missLow * (high - low) / (missHigh - missLow);
        const bool useSecant = step % 3 != 2 && secant > low && secant < high;
        const double middle = useSecant ? secant : 0.5 * (low + high);
        const double missMiddle = miss(middle);
        if ((missMiddle < 0.0) == (missLow < 0.0)) {
            low = middle;
            missLow = missMiddle;
        } else {
            high = middle;
            missHigh = missMiddle;
        }
    }
    return (2.0 / (low + high)) * direction;
}

std::optional<EdgeCrossing> VirtualDevice::CrossingNear(const Scene& scene, const Vec2& image, int edge,
                                                        double reach) const
{
    return FindCrossingNear(*m_model, scene, image, edge, reach);
}

GroundTruth VirtualDevice::FindTruth(const Scene& scene, int threads) const
{
    return device::FindTruth(*m_model, scene, threads);
}

RenderedPair VirtualDevice::RenderPair(const Scene& scene, const RenderOptions& options) const
{
    RenderedPair rendered;
    const std::array<Exposure, 1> exposures{{{options.noise, options.seed}}};
    RenderEach(scene, exposures, options, [&](RenderedPair& pair) { rendered = std::move(pair); });
    return rendered;
}

RenderedPair VirtualDevice::RenderMotion(const Scene& atReference, const Scene& atPattern,
                                         const RenderOptions& options) const
{
    RenderedPair pair = RenderPair(atPattern, options);
    RenderOptions withoutTruth = options;
    withoutTruth.truth = false;
    pair.reference = RenderPair(atReference, withoutTruth).reference;
    return pair;
}

void VirtualDevice::RenderEach(const Scene& scene, std::span<const Exposure> exposures,
                               const RenderOptions& options,
                               const std::function<void(RenderedPair&)>& take) const
{
    for (const Exposure& exposure : exposures) {
        Require(exposure.noise >= 0.0 && exposure.noise <= 1000.0,
                "the noise factor must lie between 0 and 1000");
    }
    Require(options.supersamples >= 1 && options.supersamples <= 16,
            "the supersamples must lie between 1 and 16");
    RenderEachExposure(*m_model, scene, exposures, options, take);
}

std::string VirtualDevice::ParameterText(const std::string& root) const
{
    return WriteParameterText(m_model->Parameters(), root);
}

} // namespace device
