// Acceptance test of the scanner after the manner of VDI/VDE 2634 part 2: flats, balls, bars and a step are measured, and
// shapes of least squares fitted to the points.
#pragma once

#include "scanner/acceptance/artefacts.h"
#include "scanner/acceptance/fits.h"
#include "scanner/acceptance/instrument.h"
#include "scanner/acceptance/statistics.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace acceptance {

/// How often and with how much noise everything is measured.
struct Repetitions
{
    std::size_t seeds = 5;
    std::uint64_t firstSeed = 1;
    double noise = 1.0; ///< factor on all noise of the device
};

/// The figures of one artefact without noise, and with it for each seed.
template <typename Figures>
struct Runs
{
    std::string name;
    Figures noiseFree;
    std::vector<Figures> noisy;

    Summary Of(double Figures::*figure) const
    {
        std::vector<double> values;
        for (const Figures& figures : noisy) {
            values.push_back(figures.*figure);
        }
        return Summarise(values);
    }
};

/// Flatness measurement error: distances from the plane of least squares.
struct FlatnessFigures
{
    double points = 0.0;
    double rms = 0.0;   ///< mm, like all below
    double range = 0.0; ///< F
    double centralPoints = 0.0;
    double centralRms = 0.0; ///< of the points in the middle half of width and height, around their own plane
    double centralRange = 0.0;
    double rmsOfAll = 0.0; ///< with the points that are rejected elsewhere
};

/// Probing error: distances from the sphere of least squares.
struct BallFigures
{
    double points = 0.0;
    double form = 0.0;    ///< PF: range of the distances; mm, like all below
    double formRms = 0.0; ///< their RMS
    double size = 0.0;    ///< PS: diameter less the true one
};

/// Sphere-spacing error: distance of the centres of two balls less the true one, mm.
struct SpacingFigures
{
    double spacing = 0.0;     ///< SD, by spheres whose radius is fitted
    double knownRadius = 0.0; ///< SD, by spheres with the true radius
    double form = 0.0;        ///< PF, the larger one of both balls
    double size = 0.0;        ///< PS of the ball with the larger one
};

/// Distance of the planes of least squares, parallel to each other, through the two sides of a step.
struct StepFigures
{
    double height = 0.0; ///< less the true one, mm
    double rms = 0.0;    ///< mm, of the distances from both planes
};

/// Points with a wrong edge number, and edge crossings that were delivered, see `Accuracy`.
struct CodeFigures
{
    double points = 0.0;
    double wrong = 0.0; ///< points
    double wrongFraction = 0.0;
    double coverage = 0.0;
};

/// Distance of one point from the plane of its pose.
struct MapPoint
{
    device::Vec2 image;    ///< pixels
    double distance = 0.0; ///< mm
};

struct FlatnessRuns : Runs<FlatnessFigures>
{
    std::vector<MapPoint> map; ///< of the first seed, rejected points included
};

/// Conditions under which codes are counted.
struct CodeCondition
{
    std::string name;
    double texture = 0.0; ///< share by which the albedo varies, each channel on its own
    double crosstalk =
        0.0; ///< share of its light that a channel takes from the two others; 0 for the device's own
    double noise = 1.0; ///< factor on that of the repetitions
};

/// The default; strong texture; 30 percent crosstalk; three times the noise.
std::vector<CodeCondition> CodeConditions();

// All of these take the images of the device through the decoder into scan records. They throw std::runtime_error
// naming artefact and image where there are too few points for a fit.

FlatnessRuns MeasureFlatness(Instrument& instrument, const FlatPose& pose, const Repetitions& repetitions);
Runs<BallFigures> MeasureProbing(Instrument& instrument, const Repetitions& repetitions);
Runs<SpacingFigures> MeasureSpacing(Instrument& instrument, const BarPlacement& placement,
                                    const Repetitions& repetitions);
Runs<StepFigures> MeasureStep(Instrument& instrument, const Repetitions& repetitions);

/// Without a run that is free of noise.
/// @param scene one of `device::SceneNames`
/// @param instrument of `DeviceUnder(condition)`
Runs<CodeFigures> CountCodes(Instrument& instrument, const std::string& scene, const CodeCondition& condition,
                             const Repetitions& repetitions);

/// A device with the crosstalk of a condition.
device::DeviceParameters DeviceUnder(const CodeCondition& condition, device::DeviceParameters parameters);

} // namespace acceptance
