// The library's tuning: constants of the optics and algorithms, and the settings of the host.
#pragma once

#include "orx/base/export.h"
#include "orx/settingsvalue/lxcsettingsvalue.h"

#include <string>
#include <type_traits>

namespace LxCV {

class LxCCCTSerializer;

/// Two kinds of values. Constants are fixed when the library is built. Settings values belong to the host, group
/// "LxCVLib" of its settings file; each is fetched at its first use, and stays until it is set or invalidated.
/// lxclxcvlibsettingstable.inc lists them with their accessors, data/settings.lua tells units, readers and defaults.
///
/// Any number of threads may read. The host sets values while nobody measures; a setter marks its value as
/// changed if it differs from the present one.
class ORX_EXPORT LxCLxCVLibSettings
{
public:
    /// The course of the calibration.
    enum ECalibrationVariant : int
    {
        eCV_Variant0 = 0,
        eCV_Variant1 = 1,
        eCV_Variant2 = 2
    };

    /// How the point cloud is reduced. 1 and 2 reduce its width to a third.
    enum EReduceData : int
    {
        eRD_None = 0,
        eRD_Reduction1 = 1,
        eRD_Reduction2 = 2
    };

    LxCLxCVLibSettings() = delete;

    static constexpr int sc_iBoundaryFitPlane = 40;            ///< pixels; border left out of a plane fit
    static constexpr int sc_iNumStepsCamCalib = 50;            ///< iterations of the camera calibration
    static constexpr int sc_iNumStepsProjCalib = 50;           ///< iterations of the projector calibration
    static constexpr int sc_iFilterOutWorstPointCamCalib = 5;  ///< worst points dropped for the camera
    static constexpr int sc_iFilterOutWorstPointProjCalib = 8; ///< worst points dropped for the projector
    static constexpr int sc_iMinNum3DPointsToFitPlane = 8000;  ///< points that a plane fit needs
    static constexpr double sc_dCalibErrForStop = 0.0;      ///< pixels; residual at which a calibration stops
    static constexpr int sc_iMaxNumTriesRecordingData = 15; ///< tries of recording data
    static constexpr int sc_iMaxSensorColDevProjMark = 8;   ///< pixels; column deviation of a projector mark
    static constexpr int sc_iNumPatchesRow = 6;             ///< rows of the grid of patches
    static constexpr int sc_iNumPatchesCol = 8;             ///< columns of the grid of patches
    static constexpr int sc_iPatchSize = 83;                ///< pixels; side of a patch
    static constexpr int sc_iMaxPtsRobustMean = 2000;       ///< sample size of a robust mean
    static constexpr int c_iWidth = 658;                    ///< pixels; width of a raw image
    static constexpr int c_iHeight = 494;                   ///< pixels; height of a raw image
    static constexpr int c_iOffsetCol = 3;                  ///< pixels; first column of the raw data
    static constexpr int c_iOffsetRow = 2;                  ///< pixels; first row of the raw data
    static constexpr double c_dApertureXRef = 5.278; ///< mm; width of the sensor, reference camera model
    static constexpr double c_dApertureYRef = 4.028; ///< mm; height of the sensor, reference camera model
    static constexpr double c_dApertureXPat = 5.2;   ///< mm; width of the pattern
    static constexpr double c_dApertureYPat = 4.0;   ///< mm; height of the pattern
    static constexpr double c_dApertureXCam = 5.2;   ///< mm; width of the camera's sensor
    static constexpr double c_dApertureYCam = 4.0;   ///< mm; height of the camera's sensor
    static constexpr float c_fAnisotropy = 6.6F;     ///< no unit; anisotropy of the pattern

    static constexpr int GetBoundaryFitPlane() { return sc_iBoundaryFitPlane; }
    static constexpr int GetNumStepsCamCalib() { return sc_iNumStepsCamCalib; }
    static constexpr int GetNumStepsProjCalib() { return sc_iNumStepsProjCalib; }
    static constexpr int GetFilterOutWorstPointCamCalib() { return sc_iFilterOutWorstPointCamCalib; }
    static constexpr int GetFilterOutWorstPointProjCalib() { return sc_iFilterOutWorstPointProjCalib; }
    static constexpr int GetMinNum3DPointsToFitPlane() { return sc_iMinNum3DPointsToFitPlane; }
    static constexpr double GetCalibErrForStop() { return sc_dCalibErrForStop; }
    static constexpr int GetMaxNumTriesRecordingData() { return sc_iMaxNumTriesRecordingData; }
    static constexpr int GetMaxSensorColDevProjMark() { return sc_iMaxSensorColDevProjMark; }
    static constexpr int GetNumPatchesRow() { return sc_iNumPatchesRow; }
    static constexpr int GetNumPatchesCol() { return sc_iNumPatchesCol; }
    static constexpr int GetPatchSize() { return sc_iPatchSize; }
    static constexpr int GetMaxPtsRobustMean() { return sc_iMaxPtsRobustMean; }
    static constexpr int GetRawDataWidth() { return c_iWidth; }
    static constexpr int GetRawDataHeight() { return c_iHeight; }
    static constexpr int GetRawDataOffsetCol() { return c_iOffsetCol; }
    static constexpr int GetRawDataOffsetRow() { return c_iOffsetRow; }
    static constexpr double GetApertureXRef() { return c_dApertureXRef; }
    static constexpr double GetApertureYRef() { return c_dApertureYRef; }
    static constexpr double GetApertureXPat() { return c_dApertureXPat; }
    static constexpr double GetApertureYPat() { return c_dApertureYPat; }
    static constexpr double GetApertureXCam() { return c_dApertureXCam; }
    static constexpr double GetApertureYCam() { return c_dApertureYCam; }
    static constexpr float GetAnisotropy() { return c_fAnisotropy; }

    /// Numbers and flags by value; texts by reference, which a getter's caller may use until the value is set or
    /// invalidated.
    template <typename T>
    using Result = std::conditional_t<std::is_class_v<T>, const T&, T>;

    // The getters and setters of the table, such as
    //     static bool IsDump3DData();
    //     static void SetDump3DData(const bool& value);
#define LXC_GETTER(type, letter, key, getter)                                                                \
    static Result<type> getter()                                                                             \
    {                                                                                                        \
        return m_##letter##key.Get();                                                                        \
    }
#define LXC_SETTER(type, letter, key, setter)                                                                \
    static void setter(Result<type> value)                                                                   \
    {                                                                                                        \
        m_##letter##key.Set(value);                                                                          \
    }
#include "lxclxcvlibsettingstable.inc"

    /// The setting in the range 0 to 2; 1, with an error logged at each call, for any other.
    static ECalibrationVariant GetCalibrationVariant();
    static void SetCalibrationVariant(ECalibrationVariant value);

    /// The setting as it is, if that of CalibrationVariant lies in 0 to 2; else 0, with an error logged.
    /// Callers rely on it that the range of CalibrationVariant is what is tested here.
    static EReduceData GetReduceData();
    static void SetReduceData(EReduceData value);

    /// Whether `value` is one of the two reductions. A value outside the enumeration logs an error and is none.
    static bool IsReduced(EReduceData value);

    /// Whether colours are calibrated: the host's parameter "ShadeDetectionEnabled" as bool; false if there is
    /// none. The setting CalibrateColors has no say.
    static bool IsCalibrateColors();

    /// Stores the settings to, or loads them from, a section of a section text, in the order of the table.
    /// Loading a key that is missing keeps the present value and its flags.
    static void SerializeNonIniFileParams(LxCCCTSerializer* serializer, const std::string& sectionName);

    /// The changed values as the text of a settings file, for a host that keeps what its tools have set.
    static std::string GetChangedSettings();

    /// Drops the loaded and changed flags of all settings values, so that each is fetched anew at its next use.
    static void Invalidate();

    // The values themselves, such as `m_bDump3DData`, for tools that look at their flags.
#define LXC_VALUE(type, letter, key) static LxCSettingsValue<type> m_##letter##key;
#include "lxclxcvlibsettingstable.inc"
};

} // namespace LxCV
