// Whether a new calibration changes the measuring volume by much.
#pragma once

#include "orx/base/export.h"
#include "orx/base/ireferencecounted.h"

#include <cstdint>
#include <vector>

namespace LxCV {

class LxCPinholeFramework;

/// Distances between the points of each pair, as one calibration sees them.
struct LxSComparativeValues
{
    std::vector<double> m_vdDistances; ///< mm, in the order of the pairs
    bool m_bComputed = false;
};

/// Compares the lengths that two calibrations of one device measure.
///
/// A pair is two pixels, each with the number of the stripe that falls on it at some depth. Pixels and stripes are
/// fixed with the old calibration; each calibration makes two 3D points of them, whose distance is a length in the
/// measuring volume. With a the distance after and b the distance before, the result is
///
///     1 + trimmed mean of |a/b - 1|   over all pairs, without the 3 smallest and the 3 largest values,
///
/// 1 for no change at all. The pixels are the corners of the image, 25 or 50 pixels inside; their stripes are taken at
/// the reference depth - 2.5 mm, + 2.5 mm or + 4 mm, see `GetStripeNumberForSensorPointAndDepth`.
///
/// Use: construct while the old calibration is loaded; `ComputeComparativeValuesBeforeCalibration`; calibrate the same
/// framework; `ComputeComparativeValuesAfterCalibration`; `GetDistanceRatio`. The caller compares the ratio with
/// `GetCalibCheckerMaxLengthDiff` or, for a calibration on the small target, `GetCalibCheckerMaxLengthDiffIMT` of the
/// settings.
///
/// The framework is not owned and must outlive this object and its copies. With a null framework nothing is computed.
/// A framework without valid models gives distances that mean nothing. One thread at a time.
class ORX_EXPORT LxCCalibCheckerCCT : public Base::IReferenceCounted
{
public:
    /// @param framework not owned
    /// @param depth middle of the working range, mm, z in camera coordinates
    LxCCalibCheckerCCT(LxCPinholeFramework* framework, float depth);

    /// All but the number of owners; both share the framework.
    LxCCalibCheckerCCT(const LxCCalibCheckerCCT& other) = default;
    LxCCalibCheckerCCT& operator=(const LxCCalibCheckerCCT& other) = default;
    ~LxCCalibCheckerCCT() override;

    /// Makes the list of pairs anew and computes their distances with the framework as it is. A further call starts
    /// anew: distances after a calibration that are there from an earlier use belong to other pairs and are forgotten.
    void ComputeComparativeValuesBeforeCalibration();

    /// Computes the distances of the same pairs with the framework as it is now. Makes no pairs.
    void ComputeComparativeValuesAfterCalibration();

    /// Whether the distances before and after are there.
    bool IsComparativeValuesComputed() const;

    /// The ratio that the class comment defines; 1 while `IsComparativeValuesComputed` is false.
    ///
    /// A pair with the same distance before and after counts as unchanged, whatever the distance. One whose change is
    /// no number, or that has no length before, counts as changed without limit: up to three such are dropped as any
    /// others, more make the result infinite, so that no limit takes it for a good one.
    double GetDistanceRatio() const;

    /// Appends a pair, whose stripes `GetStripeNumberForSensorPointAndDepth` tells. Distances that are there already
    /// do not know it; `GetDistanceRatio` takes the pairs that both sets have.
    /// @param x1, y1, x2, y2 pixels of the distorted camera image
    /// @param depth1, depth2 mm, z in camera coordinates
    void AddPairDefinition(int x1, int y1, double depth1, int x2, int y2, double depth2);

    /// `CalibCheckerMaxLengthDiff` as it was at construction; no unit.
    double GetMaxLengthDiff() const { return m_dMaxLengthDiff; }

protected:
    /// Two pixels of the distorted camera image, each with a stripe number.
    struct SPairDefinition
    {
        std::int32_t m_iColumn1;
        std::int32_t m_iRow1;
        std::int32_t m_iStripe1;
        std::int32_t m_iColumn2;
        std::int32_t m_iRow2;
        std::int32_t m_iStripe2;
    };

    /// The slide column onto which the projector images the point of a pixel at a depth, in stripe widths, truncated.
    /// Deliberately the column, although stripes follow each other along the rows: so points of pairs can lie far outside
    /// the working range, even behind the camera. Both sets take the same numbers. A column that fits no int gives the
    /// nearest one; what is no number gives 0.
    /// @param x, y pixel of the distorted camera image
    /// @param depth mm, z in camera coordinates
    int GetStripeNumberForSensorPointAndDepth(int x, int y, double depth) const;

    /// Fills `values` with the distance of each pair, mm, and sets its flag.
    void ComputeDistInMeasureVol(LxSComparativeValues& values) const;

    /// The ratio of two sets of distances, of which the shorter one tells the number of pairs. Below 7 pairs as many
    /// are dropped at each end as leave one or two in the middle; without any pair the result is 1.
    static double ComputeDistanceRatio(const std::vector<double>& before, const std::vector<double>& after);

    const std::vector<SPairDefinition>& GetPairs() const { return m_vPairs; }
    const LxSComparativeValues& GetValuesBefore() const { return m_ValuesBefore; }
    const LxSComparativeValues& GetValuesAfter() const { return m_ValuesAfter; }

private:
    void DefinePairs();

    LxCPinholeFramework* m_pFramework; ///< not owned
    LxSComparativeValues m_ValuesBefore;
    LxSComparativeValues m_ValuesAfter;
    std::vector<SPairDefinition> m_vPairs;
    double m_dMaxLengthDiff;
    float m_fReferenceDepth; ///< mm, z in camera coordinates
};

} // namespace LxCV
