// Derivation of one distance pair from the other.
#include "lxcworkingspace.h"

#include "lxcpinholecamera.h"
#include "lxcpropertybag.h"

#include <algorithm>

namespace LxCV {

namespace {

constexpr double c_dNotSet = std::numeric_limits<double>::quiet_NaN();

struct CPixel
{
    double u;
    double v;
};

/// The middle of the image: half of width and height, not the principal point.
CPixel MiddleOfImage(const LxCPinholeCamera& camera)
{
    const LxCIntrinsicParams* intrinsics = camera.GetIntrinsicParams();
    return {intrinsics->GetExactImageWidth() / 2.0, intrinsics->GetExactImageHeight() / 2.0};
}

/// World z of the point on the middle ray at a depth in the camera frame.
double WorldFromCameraDistance(const LxCPinholeCamera& camera, double zCamera)
{
    const CPixel middle = MiddleOfImage(camera);
    double x = 0.0;
    double y = 0.0;
    camera.DisImageToCameraCoords(middle.u, middle.v, zCamera, &x, &y);
    double zWorld = c_dNotSet;
    camera.LocalToWorldCoords(x, y, zCamera, &x, &y, &zWorld);
    return zWorld;
}

/// Camera z of the point on the middle ray at a height in the world.
double CameraFromWorldDistance(const LxCPinholeCamera& camera, double zWorld)
{
    const CPixel middle = MiddleOfImage(camera);
    double x = 0.0;
    double y = 0.0;
    camera.DisImageToWorldCoords(middle.u, middle.v, zWorld, &x, &y);
    double zCamera = c_dNotSet;
    camera.WorldToLocalCoords(x, y, zWorld, &x, &y, &zCamera);
    return zCamera;
}

} // namespace

void LxCWorkingSpace::SetUsingCamCoords(double min, double max, const LxCPinholeCamera* camera)
{
    m_dMinDistCamCoords = min;
    m_dMaxDistCamCoords = max;
    m_bSetInCamCoords = true;
    const double first = camera != nullptr ? WorldFromCameraDistance(*camera, min) : c_dNotSet;
    const double second = camera != nullptr ? WorldFromCameraDistance(*camera, max) : c_dNotSet;
    m_dMinDistWorldCoords = std::min(first, second);
    m_dMaxDistWorldCoords = std::max(first, second);
}

void LxCWorkingSpace::SetUsingWorldCoords(double min, double max, const LxCPinholeCamera* camera)
{
    m_dMinDistWorldCoords = min;
    m_dMaxDistWorldCoords = max;
    m_bSetInCamCoords = false;
    const double first = camera != nullptr ? CameraFromWorldDistance(*camera, min) : c_dNotSet;
    const double second = camera != nullptr ? CameraFromWorldDistance(*camera, max) : c_dNotSet;
    m_dMinDistCamCoords = std::min(first, second);
    m_dMaxDistCamCoords = std::max(first, second);
}

void LxCWorkingSpace::Update(const LxCPinholeCamera* camera)
{
    if (m_bSetInCamCoords) {
        SetUsingCamCoords(m_dMinDistCamCoords, m_dMaxDistCamCoords, camera);
    } else {
        SetUsingWorldCoords(m_dMinDistWorldCoords, m_dMaxDistWorldCoords, camera);
    }
}

void LxCWorkingSpace::Serialize(LxCCCTSerializer& serializer, const std::string& section)
{
    LxCPropertyBag bag;
    bag.addScalar(m_dMinDistCamCoords, "MinDistCamCoords");
    bag.addScalar(m_dMaxDistCamCoords, "MaxDistCamCoords");
    bag.serialize(serializer, section, true);
}

} // namespace LxCV
