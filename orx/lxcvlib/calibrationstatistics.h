// Mean, deviation, maximum and root mean square of calibration errors.
#pragma once

#include <cstddef>

namespace LxCV {

/// Collects errors e, one per mark, in their unit: pixels, mm, or none. With n of them:
/// mean = sum e / n, stddev = sqrt((sum e^2 - (sum e)^2 / n) / (n - 1)), or 0 for n = 1, rms = sqrt(sum e^2 / n).
/// An error that is not a number shows in all four figures.
class CCalibrationStatistics
{
public:
    void Add(double error);

    bool IsEmpty() const { return m_uiCount == 0; }

    /// 0 where nothing was added. A variance that rounding made negative counts as 0.
    double GetMean() const;
    double GetStdDev() const;
    double GetMax() const { return m_dMax; }
    double GetRms() const;

private:
    std::size_t m_uiCount = 0;
    double m_dSum = 0.0;
    double m_dSumSq = 0.0;
    double m_dMax = 0.0;
};

} // namespace LxCV
