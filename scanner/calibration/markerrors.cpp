#include "scanner/calibration/markerrors.h"

#include "lxcpinholecamera.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace calibration {

namespace {

using LxCV::LxCCalibrationData;
using LxCV::LxCPinholeCamera;

using Statistics = bool (LxCPinholeCamera::*)(double&, double&, double&, double&) const;

ErrorFigures LibraryFigures(const LxCPinholeCamera& camera, Statistics statistics, std::size_t marks)
{
    ErrorFigures figures;
    if ((camera.*statistics)(figures.mean, figures.deviation, figures.largest, figures.rms)) {
        figures.marks = marks;
    }
    return figures;
}

/// The larger one; not a number if either is none.
double Larger(double a, double b)
{
    return std::isnan(a) || a > b ? a : b;
}

/// Where the ray of a pixel meets the target's plane z = 0, mm, camera frame.
device::Vec3 PointOnTarget(const TargetView& view, const device::Vec2& image)
{
    const device::Ray ray = view.device.RayFromImage(image);
    const device::Vec3 from = view.cameraFromTarget.Backward(ray.origin);
    const device::Vec3 towards = view.cameraFromTarget.Backward(ray.origin + ray.direction);
    return ray.origin + from.z / (from.z - towards.z) * ray.direction;
}

} // namespace

ErrorFigures FiguresOf(std::span<const double> errors)
{
    ErrorFigures figures;
    figures.marks = errors.size();
    if (errors.empty()) {
        return figures;
    }
    const auto count = static_cast<double>(errors.size());
    double sum = 0.0, squares = 0.0;
    for (const double error : errors) {
        sum += error;
        squares += error * error;
        figures.largest = Larger(figures.largest, error);
    }
    figures.mean = sum / count;
    figures.rms = std::sqrt(squares / count);
    double deviations = 0.0;
    for (const double error : errors) {
        deviations += (error - figures.mean) * (error - figures.mean);
    }
    figures.deviation = errors.size() > 1 ? std::sqrt(deviations / (count - 1.0)) : 0.0;
    return figures;
}

ErrorFigures LibraryFiguresOfLastView(const LxCPinholeCamera& camera, std::size_t marks)
{
    return LibraryFigures(camera, &LxCPinholeCamera::DistortedImagePlaneErrorStats, marks);
}

ErrorFigures LibraryFiguresOfAllViews(const LxCPinholeCamera& camera, std::size_t marks)
{
    return LibraryFigures(camera, &LxCPinholeCamera::DistortedImagePlaneErrorStatsMI, marks);
}

double DifferenceOf(const ErrorFigures& a, const ErrorFigures& b)
{
    if (a.marks != b.marks) {
        return std::numeric_limits<double>::infinity();
    }
    double largest = 0.0;
    for (const double difference :
         {a.mean - b.mean, a.deviation - b.deviation, a.rms - b.rms, a.largest - b.largest}) {
        largest = Larger(largest, std::abs(difference));
    }
    return largest;
}

std::vector<double> CameraErrors(const TargetView& view, std::span<const LxCCalibrationData> records)
{
    std::vector<double> errors;
    errors.reserve(records.size());
    for (const LxCCalibrationData& record : records) {
        const device::Vec3 point = view.cameraFromTarget.Forward({record.m_dXw, record.m_dYw, record.m_dZw});
        const device::Vec2 image = view.device.ImageFromPoint(point);
        errors.push_back(std::hypot(image.x - record.m_dXi, image.y - record.m_dYi));
    }
    return errors;
}

std::vector<double> ProjectorErrors(const TargetView& view, const TargetBox& box,
                                    std::span<const LxCCalibrationData> records)
{
    std::vector<double> errors;
    for (const LxCCalibrationData& record : records) {
        const device::Vec3 point = PointOnTarget(view, {record.m_dXi, record.m_dYi});
        const device::Vec3 onTarget = view.cameraFromTarget.Backward(point);
        if (onTarget.x < box.minX || onTarget.x > box.maxX || onTarget.y < box.minY ||
            onTarget.y > box.maxY) {
            continue;
        }
        const device::Vec2 slide = view.device.SlideFromPoint(point);
        errors.push_back(std::hypot(slide.x - record.m_dXw, slide.y - record.m_dYw));
    }
    return errors;
}

} // namespace calibration
