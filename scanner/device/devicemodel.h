// The equations of the virtual device, ready to be evaluated.
#pragma once

#include "scanner/device/lens.h"
#include "scanner/device/scene.h"
#include "scanner/device/stripeslide.h"
#include "scanner/device/virtualdevice.h"

namespace device {

/// What the camera sees at one image position.
struct SurfaceSample
{
    bool hit = false;
    bool lit = false;        ///< by the projector
    int surface = 0;         ///< the smooth piece of the scene
    Vec3 point;              ///< mm, camera frame
    Vec2 slide;              ///< slide units
    double irradiance = 0.0; ///< of the projector's white light, 1 at nominal strength; 0 where not lit
    double mirrored = 0.0;   ///< of the projector's white light, into the camera; 0 where not lit
    Colour albedo{};
};

/// Camera, projector and slide of one device. Immutable.
class DeviceModel
{
public:
    explicit DeviceModel(const DeviceParameters& parameters);

    const DeviceParameters& Parameters() const { return m_parameters; }
    const StripeSlide& Slide() const { return m_slide; }

    Vec2 ImageFromPoint(const Vec3& pointInCamera) const;
    Vec2 SlideFromPoint(const Vec3& pointInCamera) const;
    Ray RayFromImage(const Vec2& image) const;
    Ray RayFromSlide(const Vec2& slide) const;
    const Vec3& ProjectorCentre() const { return m_projectorCentre; }
    Vec3 WorldFromCamera(const Vec3& point) const { return m_cameraFromWorld.Backward(point); }
    Vec3 CameraFromWorld(const Vec3& point) const { return m_cameraFromWorld.Forward(point); }
    double EdgePosition(int edge) const;
    int LastEdge() const;

    /// Geometry and light at an image position.
    SurfaceSample Sample(const Scene& scene, const Vec2& image) const;

    /// The slide's v there, or NaN where the ray meets nothing.
    double SlideV(const Scene& scene, const Vec2& image) const;

    PixelTruth TruthOf(const SurfaceSample& sample) const;

    /// Slide units per image pixel at the reference distance, about.
    double SlideUnitsPerPixel() const;

private:
    /// Fills lit, irradiance and mirrored from point and slide.
    void Illuminate(const Scene& scene, const Hit& hit, SurfaceSample& sample) const;

    DeviceParameters m_parameters;
    Lens m_camera;
    Lens m_projector;
    RigidMotion m_cameraFromWorld;
    RigidMotion m_projectorFromCamera;
    Vec3 m_projectorCentre; ///< camera frame
    StripeSlide m_slide;
};

/// The first edge that lies between two stripes: edge 1 is the rim of the slide.
inline constexpr int c_firstEdge = 2;

/// All crossings of stripe edges with one image column, by rising row. `samples`: the samples at the column's pixel
/// centres from row 0 on.
std::vector<EdgeCrossing> FindCrossings(const DeviceModel& model, const Scene& scene, double col,
                                        const std::vector<SurfaceSample>& samples);

/// See VirtualDevice::CrossingNear.
std::optional<EdgeCrossing> FindCrossingNear(const DeviceModel& model, const Scene& scene, const Vec2& image,
                                             int edge, double reach);

/// See VirtualDevice::RenderEach.
void RenderEachExposure(const DeviceModel& model, const Scene& scene, std::span<const Exposure> exposures,
                        const RenderOptions& options, const std::function<void(RenderedPair&)>& take);

/// See VirtualDevice::FindTruth.
GroundTruth FindTruth(const DeviceModel& model, const Scene& scene, int threads);

/// See VirtualDevice::ParameterText.
std::string WriteParameterText(const DeviceParameters& parameters, const std::string& root);

} // namespace device
