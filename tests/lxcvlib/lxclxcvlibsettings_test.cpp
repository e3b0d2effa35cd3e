#include "lxclxcvlibsettings.h"

#include "orx/logging/logger.h"
#include "orx/parameter/lxcparametermanagercore.h"
#include "orx/settingsvalue/defaultsettings.h"
#include "orx/settingsvalue/settingsstore.h"
#include "stringutils.h"
#include "tests/lxcvlib/sectiontext.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <limits>
#include <set>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

namespace LxCV {
namespace {

using Settings = LxCLxCVLibSettings;

constexpr std::wstring_view c_sChannel = L"ORX.Lumorad.LxCLxCVLibSettings";

std::string AsText(const std::wstring& value)
{
    return ws2s(value);
}

template <typename T>
std::string AsText(T value)
{
    return std::to_string(value);
}

/// Another value of the same type.
bool Other(bool value)
{
    return !value;
}

int Other(int value)
{
    return value + 1;
}

float Other(float value)
{
    return value + 0.5F;
}

std::wstring Other(const std::wstring& value)
{
    return value + L"\u00e4";
}

std::string AsLua(bool value)
{
    return value ? "true" : "false";
}

std::string AsLua(const std::wstring& value)
{
    return "'" + ws2s(value) + "'";
}

template <typename T>
std::string AsLua(T value)
{
    return std::to_string(value);
}

/// One setting with its accessors, or the text of a block comment in the section text.
struct Row
{
    std::string block;
    std::string key;
    std::string textKey;
    std::size_t alternative = 0;           ///< of LxCSettingsEntry
    std::function<std::string()> read;     ///< the getter's value
    std::function<std::string()> other;    ///< another value
    std::function<std::string()> otherLua; ///< the same in a settings file
    std::function<void()> change;          ///< gives the setter the other value; empty without a setter
};

template <typename T>
constexpr std::size_t c_alternative = 3; // a number with a fraction
template <>
constexpr std::size_t c_alternative<bool> = 1;
template <>
constexpr std::size_t c_alternative<int> = 2;
template <>
constexpr std::size_t c_alternative<std::wstring> = 4;

template <typename T, typename Result, typename Argument = T>
Row Setting(const char* key, const char* textKey, Result (*getter)(), void (*setter)(Argument) = nullptr)
{
    using Plain = std::remove_cvref_t<Result>;
    static_assert(std::is_same_v<Plain, T> || (std::is_enum_v<Plain> && std::is_same_v<T, int>));
    Row row{{}, key, textKey, c_alternative<T>, {}, {}, {}, {}};
    const auto get = [getter]() -> T { return static_cast<T>(getter()); };
    row.read = [get] { return AsText(get()); };
    row.other = [get] { return AsText(Other(get())); };
    row.otherLua = [get] { return AsLua(Other(get())); };
    if (setter != nullptr) {
        row.change = [get, setter] { setter(static_cast<std::remove_cvref_t<Argument>>(Other(get()))); };
    }
    return row;
}

Row Block(const char* text)
{
    return {text, {}, {}, 0, {}, {}, {}, {}};
}

/// All settings in the order of the section text; those without a place in it come last.
const std::vector<Row>& Rows()
{
    static const std::vector<Row> s_rows = {
        Setting<bool>("OrderingConstraint", "OrderingConstraint",
                      &Settings::IsMeasurementSettingOrderingConstraint),
        Setting<bool>("CheckOtherSymbols", "CheckOtherSymbols",
                      &Settings::IsMeasurementSettingCheckOtherSymbols),
        Setting<int>("MinNumSymbols", "MinNumSymbols", &Settings::GetMeasurementSettingMinNumSymbols),
        Setting<bool>("RepairEdges", "RepairEdges", &Settings::IsMeasurementSettingRepairEdgesEnable),
        Setting<bool>("RepairEdgesUndercutFree", "RepairEdgesUndercutFree",
                      &Settings::IsMeasurementSettingRepairEdgesUndercutFree),
        Setting<bool>("Clean3DData", "Clean3DData", &Settings::IsMeasurementSettingClean3DData),
        Setting<bool>("UseReferenceShift", "UseReferenceShift",
                      &Settings::IsMeasurementSettingUseReferenceShift),
        Setting<int>("BoundaryShiftedRefImg", "BoundaryShiftedRefImg",
                     &Settings::GetMeasurementSettingBoundaryShiftedRefImg),
        Setting<bool>("EnableDepthCulling", "EnableDepthCulling",
                      &Settings::IsMeasurementSettingEnableDepthCulling),
        Setting<bool>("EnableExitWindowCulling", "EnableExitWindowCulling",
                      &Settings::IsMeasurementSettingEnableExitWindowCulling),
        Block("LxCCCLAlgoConfig"),
        Setting<int>("ReduceData", "ReducedData", &Settings::GetReduceData, &Settings::SetReduceData),
        Setting<bool>("Dump3DData", "Dump3DData", &Settings::IsDump3DData, &Settings::SetDump3DData),
        Setting<std::wstring>("Dump3DDataPath", "Dump3DDataPath", &Settings::GetDump3DDataPath,
                              &Settings::SetDump3DDataPath),
        Setting<float>("Clean3DDataDotProductThresh", "Clean3DDataDotProductThresh",
                       &Settings::GetClean3DDataDotProductThresh, &Settings::SetClean3DDataDotProductThresh),
        Setting<float>("Clean3DDataZDistThresh", "Clean3DDataZDistThresh",
                       &Settings::GetClean3DDataZDistThresh, &Settings::SetClean3DDataZDistThresh),
        Setting<int>("RepairEdgesMaxNumGaps", "RepairEdgesMaxNumGaps", &Settings::GetRepairEdgesMaxNumGaps,
                     &Settings::SetRepairEdgesMaxNumGaps),
        Setting<bool>("ReplaceEdgePositionRaw", "ReplaceEdgePositionRaw",
                      &Settings::IsReplaceEdgePositionRaw),
        Setting<bool>("UseRegularGridPointCloud", "UseRegularGridPointCloud",
                      &Settings::IsUseRegularGridPointCloud, &Settings::SetUseRegularGridPointCloud),
        Block("LxCImgAcqThread"),
        Setting<bool>("SaveRawImages", "SaveRawImages", &Settings::IsSaveRawImages,
                      &Settings::SetSaveRawImages),
        Setting<bool>("SaveRawImageMetaData", "SaveRawImageMetaData", &Settings::IsSaveRawImageMetaData,
                      &Settings::SetSaveRawImageMetaData),
        Setting<int>("SimFGSequencePeriodRelease", "SimFGSequencePeriod", &Settings::GetSimFGSequencePeriod,
                     &Settings::SetSimFGSequencePeriod),
        Setting<bool>("UseSimFGSequencePeriod", "UseSimFGSequencePeriod", &Settings::IsUseSimFGSequencePeriod,
                      &Settings::SetUseSimFGSequencePeriod),
        Setting<bool>("EnableAccelerometer", "EnableAccelerometer", &Settings::GetEnableAccelerometer,
                      &Settings::SetEnableAccelerometer),
        Block("Gamma-Korrektur der aufgenommenen Farben im HSV-Raum"),
        Setting<float>("SGammaFor3DPreview", "SGammaFor3DPreview", &Settings::GetSGammaCorrectionFor3DPreview,
                       &Settings::SetSGammaCorrectionFor3DPreview),
        Setting<float>("VGammaFor3DPreview", "VGammaFor3DPreview", &Settings::GetVGammaCorrectionFor3DPreview,
                       &Settings::SetVGammaCorrectionFor3DPreview),
        Block("Kalibrierung"),
        Setting<float>("ShutterFactExitWindow", "ShutterFactExitWindow", &Settings::GetShutterFactExitWindow,
                       &Settings::SetShutterFactExitWindow),
        Setting<int>("NumCalibScrewPositions", "NumCalibScrewPositions", &Settings::GetNumCalibScrewPositions,
                     &Settings::SetNumCalibScrewPositions),
        Setting<int>("MinNumAcceptedCalibScrewPositions", "MinNumAcceptedCalibScrewPositions",
                     &Settings::GetMinNumAcceptedCalibScrewPositions,
                     &Settings::SetMinNumAcceptedCalibScrewPositions),
        Setting<int>("CalibrationVariant", "CalibrationVariant", &Settings::GetCalibrationVariant,
                     &Settings::SetCalibrationVariant),
        Setting<bool>("DrawMarkerPosForDebugging", "DrawMarkerPosForDebugging",
                      &Settings::IsDrawMarkerPosForDebugging, &Settings::SetDrawMarkerPosForDebugging),
        Setting<bool>("ReducedPolynomKoma", "ReducedPolynomKoma", &Settings::IsReducedPolynomKoma,
                      &Settings::SetReducedPolynomKoma),
        Setting<bool>("ExtendedTrace", "ExtendedTrace", &Settings::GetExtendedTrace,
                      &Settings::SetExtendedTrace),
        Block("CalibChecker"),
        Setting<float>("CalibCheckerMaxLengthDiff", "CalibCheckerMaxLengthDiff",
                       &Settings::GetCalibCheckerMaxLengthDiff, &Settings::SetCalibCheckerMaxLengthDiff),
        Setting<float>("CalibCheckerMaxLengthDiffIMT", "CalibCheckerMaxLengthDiffIMT",
                       &Settings::GetCalibCheckerMaxLengthDiffIMT,
                       &Settings::SetCalibCheckerMaxLengthDiffIMT),
        Setting<float>("MaxCalibErrCam", "MaxCalibErrCam", &Settings::GetMaxCalibErrCam,
                       &Settings::SetMaxCalibErrCam),
        Setting<float>("MaxCalibErrProj", "MaxCalibErrProj", &Settings::GetMaxCalibErrProj,
                       &Settings::SetMaxCalibErrProj),
        Setting<float>("MaxFlatnessDeviation", "MaxFlatnessDeviation", &Settings::GetMaxFlatnessDeviation,
                       &Settings::SetMaxFlatnessDeviation),
        Setting<float>("MinExitWindowDepth", "MinExitWindowDepth", &Settings::GetMinExitWindowDepth,
                       &Settings::SetMinExitWindowDepth),
        Setting<float>("MaxExitWindowDepth", "MaxExitWindowDepth", &Settings::GetMaxExitWindowDepth,
                       &Settings::SetMaxExitWindowDepth),
        Setting<float>("MinShutterRatio", "MinShutterRatio", &Settings::GetMinShutterRatio,
                       &Settings::SetMinShutterRatio),
        Setting<float>("MaxShutterRatio", "MaxShutterRatio", &Settings::GetMaxShutterRatio,
                       &Settings::SetMaxShutterRatio),
        Block("Sonstiges"),
        Setting<float>("FactorShutterPatIntraoral", "FactorShutterPatIntraoral",
                       &Settings::GetFactorShutterPatIntraoral, &Settings::SetFactorShutterPatIntraoral),
        Setting<float>("FactorShutterRefIntraoral", "FactorShutterRefIntraoral",
                       &Settings::GetFactorShutterRefIntraoral, &Settings::SetFactorShutterRefIntraoral),
        Setting<float>("FactorShutterPatPlaster", "FactorShutterPatPlaster",
                       &Settings::GetFactorShutterPatPlaster, &Settings::SetFactorShutterPatPlaster),
        Setting<float>("FactorShutterRefPlaster", "FactorShutterRefPlaster",
                       &Settings::GetFactorShutterRefPlaster, &Settings::SetFactorShutterRefPlaster),
        Setting<float>("TextureOffsetThreshold", "TextureOffsetThreshold",
                       &Settings::GetTextureOffsetThreshold, &Settings::SetTextureOffsetThreshold),
        Setting<float>("TextureRotationRadThreshold", "TextureRotationRadThreshold",
                       &Settings::GetTextureRotationRadThreshold, &Settings::SetTextureRotationRadThreshold),
        Setting<float>("TextureRMSEThreshold", "TextureRMSEThreshold", &Settings::GetTextureRMSEThreshold,
                       &Settings::SetTextureRMSEThreshold),
        Setting<bool>("UsePreliminaryImage", "UsePreliminaryImage", &Settings::GetUsePreliminaryImage,
                      &Settings::SetUsePreliminaryImage),
        Setting<bool>("ComputeLiveImgOnlyForRef", "ComputeLiveImgOnlyForRef",
                      &Settings::GetComputeLiveImgOnlyForRef, &Settings::SetComputeLiveImgOnlyForRef),
        Setting<int>("FrameGrabberAdditionalInfosPeriod", "FrameGrabberAdditionalInfosPeriod",
                     &Settings::GetFrameGrabberAdditionalInfosPeriod,
                     &Settings::SetFrameGrabberAdditionalInfosPeriod),
        Setting<float>("DefectivePixelThres", "DefectivePixelThres", &Settings::GetDefectivePixelThres,
                       &Settings::SetDefectivePixelThres),
        Setting<bool>("NeverWriteAUserCalib", "NeverWriteAUserCalib", &Settings::IsNeverWriteAUserCalib,
                      &Settings::SetNeverWriteAUserCalib),
        Setting<bool>("IncludeDistanceRatioInLog", "IncludeDistanceRatioInLog",
                      &Settings::IsIncludeDistanceRatioInLog, &Settings::SetIncludeDistanceRatioInLog),
        Block("Automatische Belichtungszeitanpassung"),
        Setting<float>("MinGainBlueAutoMode", "MinGainBlueAutoMode", &Settings::GetMinGainBlueAutoMode,
                       &Settings::SetMinGainBlueAutoMode),
        Setting<float>("MaxGainBlueAutoMode", "MaxGainBlueAutoMode", &Settings::GetMaxGainBlueAutoMode,
                       &Settings::SetMaxGainBlueAutoMode),
        Setting<float>("GainStepAutoMode", "GainStepAutoMode", &Settings::GetGainStepAutoMode,
                       &Settings::SetGainStepAutoMode),
        Setting<int>("LowerBarrierBinXTo32", "LowerBarrierBinXTo32", &Settings::GetLowerBarrierBinXTo32,
                     &Settings::SetLowerBarrierBinXTo32),
        Setting<int>("HigherBarrierBinXTo32", "HigherBarrierBinXTo32", &Settings::GetHigherBarrierBinXTo32,
                     &Settings::SetHigherBarrierBinXTo32),
        Setting<float>("LowerBarrierThresOK", "LowerBarrierThresOK", &Settings::GetLowerBarrierThresOK,
                       &Settings::SetLowerBarrierThresOK),
        Setting<float>("HigherBarrierThresOK", "HigherBarrierThresOK", &Settings::GetHigherBarrierThresOK,
                       &Settings::SetHigherBarrierThresOK),
        Setting<float>("LowerBarrierThresCritical", "LowerBarrierThresCritical",
                       &Settings::GetLowerBarrierThresCritical, &Settings::SetLowerBarrierThresCritical),
        Setting<float>("HigherBarrierThresCritical", "HigherBarrierThresCritical",
                       &Settings::GetHigherBarrierThresCritical, &Settings::SetHigherBarrierThresCritical),
        Setting<int>("AutoGainHalfRoiSize", "AutoGainHalfRoiSize", &Settings::GetAutoGainHalfRoiSize,
                     &Settings::SetAutoGainHalfRoiSize),
        Setting<float>("LowerBarrierBlueGain", "LowerBarrierBlueGain", &Settings::GetLowerBarrierBlueGain,
                       &Settings::SetLowerBarrierBlueGain),
        Setting<float>("HigherBarrierBlueGain", "HigherBarrierBlueGain", &Settings::GetHigherBarrierBlueGain,
                       &Settings::SetHigherBarrierBlueGain),
        Setting<int>("NumShutterSteps", "NumShutterSteps", &Settings::GetNumShutterSteps,
                     &Settings::SetNumShutterSteps),
        Setting<int>("IterationsWithoutReadjustment", "IterationsWithoutReadjustment",
                     &Settings::GetIterationsWithoutReadjustment,
                     &Settings::SetIterationsWithoutReadjustment),
        Setting<bool>("DumpAddInfos", "DumpAddInfos", &Settings::IsDumpAddInfos, &Settings::SetDumpAddInfos),
        Setting<std::wstring>("DumpAddInfosFilename", "DumpAddInfosFilename",
                              &Settings::GetDumpAddInfosFilename, &Settings::SetDumpAddInfosFilename),
        Setting<float>("NoLEDBlueGain", "NoLEDBlueGain", &Settings::GetNoLEDBlueGain,
                       &Settings::SetNoLEDBlueGain),
        Setting<bool>("SimFGReplaceComputed3DDataByBQNOFF", "SimFGReplaceComputed3DDataByBQNOFF",
                      &Settings::IsSimFGReplaceComputed3DDataByBQNOFF,
                      &Settings::SetSimFGReplaceComputed3DDataByBQNOFF),
        Setting<float>("NoLEDShutter", "NoLEDShutter", &Settings::GetNoLEDShutter,
                       &Settings::SetNoLEDShutter),
        Setting<bool>("ShowFileDialogAtEverySimFGStart", "ShowFileDialogAtEverySimFGStart",
                      &Settings::IsShowFileDialogAtEverySimFGStart,
                      &Settings::SetShowFileDialogAtEverySimFGStart),
        Setting<std::wstring>("FilenameLumoradFirmware", "FilenameLumoradFirmware",
                              &Settings::GetFilenameLumoradFirmware, &Settings::SetFilenameLumoradFirmware),
        Setting<bool>(
            "CalibrateColors", "", +[] { return Settings::m_bCalibrateColors.Get(); }),
        Setting<bool>("SmoothReducedData", "", &Settings::IsMeasurementSettingSmoothReducedData),
        Setting<int>("Boundary3DData", "", &Settings::GetMeasurementSettingBoundary3DData),
        Setting<int>("Boundary3DDataAllRound", "", &Settings::GetMeasurementSettingBoundary3DDataAllRound),
        Setting<float>("OffsetThreshold", "", &Settings::GetOffsetThreshold, &Settings::SetOffsetThreshold),
        Setting<float>("RotationRadThreshold", "", &Settings::GetRotationRadThreshold,
                       &Settings::SetRotationRadThreshold),
        Setting<float>("RMSEThreshold", "", &Settings::GetRMSEThreshold, &Settings::SetRMSEThreshold),
        Setting<float>("SGammaForLiveImage", "", &Settings::GetSGammaCorrectionForLiveImage,
                       &Settings::SetSGammaCorrectionForLiveImage),
        Setting<float>("VGammaForLiveImage", "", &Settings::GetVGammaCorrectionForLiveImage,
                       &Settings::SetVGammaCorrectionForLiveImage),
    };
    return s_rows;
}

std::vector<Row> SettingRows()
{
    std::vector<Row> rows;
    for (const Row& row : Rows()) {
        if (row.block.empty()) {
            rows.push_back(row);
        }
    }
    return rows;
}

std::vector<std::string> ReadAll(const std::vector<Row>& rows)
{
    std::vector<std::string> values;
    for (const Row& row : rows) {
        values.push_back(row.read());
    }
    return values;
}

std::string Store(bool withComments)
{
    TestSupport::CTextSerializer serializer;
    serializer.Init(true, withComments);
    Settings::SerializeNonIniFileParams(&serializer, ":Settings");
    return serializer.GetText();
}

void Load(const std::string& text)
{
    std::stringstream source(text);
    LxCCCTSerializer serializer;
    serializer.ReadFromStringStream(source);
    serializer.Init(false, false);
    Settings::SerializeNonIniFileParams(&serializer, ":Settings");
}

/// Each test begins and ends with the defaults.
class LxCLxCVLibSettingsTest : public testing::Test
{
protected:
    LxCLxCVLibSettingsTest() { Reset(); }
    ~LxCLxCVLibSettingsTest() override { Reset(); }

    static void Reset()
    {
        unsetenv("LXCV_SETTINGS");
        LxCSettingsStore::Instance().Reset();
        Settings::Invalidate();
        BtSingleton<LxCParameterManagerCore>::Instance().RemoveParameter("ShadeDetectionEnabled");
    }

    static void SetHost(const std::string& entries)
    {
        ASSERT_TRUE(LxCSettingsStore::Instance().SetHostText("LxCVLib = {" + entries + "}"));
        Settings::Invalidate();
    }

    int Errors(std::wstring_view text) const
    {
        return m_log.Count(Logging::ELevel::eError, c_sChannel, text);
    }

    Logging::CCapture m_log;
};

TEST_F(LxCLxCVLibSettingsTest, ConstantsAreThoseOfTheDevice)
{
    EXPECT_EQ(Settings::GetBoundaryFitPlane(), 40);
    EXPECT_EQ(Settings::GetNumStepsCamCalib(), 50);
    EXPECT_EQ(Settings::GetNumStepsProjCalib(), 50);
    EXPECT_EQ(Settings::GetFilterOutWorstPointCamCalib(), 5);
    EXPECT_EQ(Settings::GetFilterOutWorstPointProjCalib(), 8);
    EXPECT_EQ(Settings::GetMinNum3DPointsToFitPlane(), 8000);
    EXPECT_EQ(Settings::GetCalibErrForStop(), 0.0);
    EXPECT_EQ(Settings::GetMaxNumTriesRecordingData(), 15);
    EXPECT_EQ(Settings::GetMaxSensorColDevProjMark(), 8);
    EXPECT_EQ(Settings::GetNumPatchesRow(), 6);
    EXPECT_EQ(Settings::GetNumPatchesCol(), 8);
    EXPECT_EQ(Settings::GetPatchSize(), 83);
    EXPECT_EQ(Settings::GetMaxPtsRobustMean(), 2000);
    EXPECT_EQ(Settings::GetRawDataWidth(), 658);
    EXPECT_EQ(Settings::GetRawDataHeight(), 494);
    EXPECT_EQ(Settings::GetRawDataOffsetCol(), 3);
    EXPECT_EQ(Settings::GetRawDataOffsetRow(), 2);
    EXPECT_EQ(Settings::GetApertureXRef(), 5.278);
    EXPECT_EQ(Settings::GetApertureYRef(), 4.028);
    EXPECT_EQ(Settings::GetApertureXPat(), 5.2);
    EXPECT_EQ(Settings::GetApertureYPat(), 4.0);
    EXPECT_EQ(Settings::GetApertureXCam(), 5.2);
    EXPECT_EQ(Settings::GetApertureYCam(), 4.0);
    EXPECT_EQ(Settings::GetAnisotropy(), 6.6F);
}

TEST_F(LxCLxCVLibSettingsTest, DefaultsDefineEveryKeyWithItsTypeAndNoOther)
{
    std::string error;
    const auto table = ParseSettings(GetDefaultSettings(), error);
    ASSERT_TRUE(table.has_value()) << error;
    ASSERT_EQ(table->size(), 1U);
    const LxCSettingsGroup& group = table->at("LxCVLib");
    std::set<std::string> keys;
    for (const Row& row : SettingRows()) {
        keys.insert(row.key);
        const auto entry = group.find(row.key);
        ASSERT_NE(entry, group.end()) << row.key;
        EXPECT_EQ(entry->second.index(), row.alternative) << row.key;
    }
    EXPECT_EQ(keys.size(), group.size());
    EXPECT_EQ(keys.size(), 84U);
}

TEST_F(LxCLxCVLibSettingsTest, ReadingAllDefaultsLogsNothing)
{
    ReadAll(SettingRows());
    EXPECT_TRUE(m_log.GetRecords().empty());
}

TEST_F(LxCLxCVLibSettingsTest, EachGetterReadsItsOwnKey)
{
    const std::vector<Row> rows = SettingRows();
    const std::vector<std::string> defaults = ReadAll(rows);
    for (std::size_t changed = 0; changed < rows.size(); ++changed) {
        std::vector<std::string> expected = defaults;
        expected[changed] = rows[changed].other();
        SetHost(rows[changed].key + " = " + rows[changed].otherLua());
        EXPECT_EQ(ReadAll(rows), expected) << rows[changed].key;
        Reset();
    }
    EXPECT_TRUE(m_log.GetRecords().empty());
}

TEST_F(LxCLxCVLibSettingsTest, EachSetterSetsItsOwnValue)
{
    const std::vector<Row> rows = SettingRows();
    const std::vector<std::string> defaults = ReadAll(rows);
    int setters = 0;
    for (std::size_t changed = 0; changed < rows.size(); ++changed) {
        if (!rows[changed].change) {
            continue;
        }
        std::vector<std::string> expected = defaults;
        expected[changed] = rows[changed].other();
        rows[changed].change();
        EXPECT_EQ(ReadAll(rows), expected) << rows[changed].key;
        Settings::Invalidate();
        ++setters;
    }
    EXPECT_EQ(setters, 69);
}

TEST_F(LxCLxCVLibSettingsTest, SettersMarkADifferentValueAsChanged)
{
    Settings::SetDump3DDataPath(std::wstring(Settings::GetDump3DDataPath()));
    EXPECT_FALSE(Settings::m_sDump3DDataPath.IsChanged());
    Settings::SetDump3DDataPath(L"elsewhere");
    EXPECT_TRUE(Settings::m_sDump3DDataPath.IsChanged());
    Settings::SetReduceData(Settings::eRD_None);
    EXPECT_FALSE(Settings::m_iReduceData.IsChanged());
    Settings::SetReduceData(Settings::eRD_Reduction2);
    EXPECT_TRUE(Settings::m_iReduceData.IsChanged());
    Settings::SetCalibrationVariant(Settings::eCV_Variant1);
    EXPECT_FALSE(Settings::m_iCalibrationVariant.IsChanged());
    Settings::SetCalibrationVariant(Settings::eCV_Variant0);
    EXPECT_TRUE(Settings::m_iCalibrationVariant.IsChanged());
}

TEST_F(LxCLxCVLibSettingsTest, CalibrationVariantOutsideItsRangeIsOneWithAnErrorAtEachCall)
{
    for (const int variant : {0, 1, 2}) {
        SetHost("CalibrationVariant = " + std::to_string(variant));
        EXPECT_EQ(Settings::GetCalibrationVariant(), variant);
    }
    EXPECT_EQ(Errors(L"invalid value for CalibrationVariant in lua settings"), 0);
    int calls = 0;
    for (const int variant : {3, -1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        SetHost("CalibrationVariant = " + std::to_string(variant));
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(Settings::GetCalibrationVariant(), 1) << variant;
            ++calls;
        }
    }
    EXPECT_EQ(Errors(L"invalid value for CalibrationVariant in lua settings"), calls);
}

TEST_F(LxCLxCVLibSettingsTest, ReduceDataPassesUntestedWhileCalibrationVariantIsValid)
{
    SetHost("ReduceData = 7");
    EXPECT_EQ(static_cast<int>(Settings::GetReduceData()), 7);
    EXPECT_TRUE(m_log.GetRecords().empty());
    EXPECT_FALSE(Settings::IsReduced(Settings::GetReduceData()));
    EXPECT_EQ(Errors(L"invalid enum"), 1);
}

TEST_F(LxCLxCVLibSettingsTest, ReduceDataIsNoneWhileCalibrationVariantIsInvalid)
{
    SetHost("ReduceData = 2, CalibrationVariant = 3");
    EXPECT_EQ(Settings::GetReduceData(), Settings::eRD_None);
    EXPECT_EQ(Errors(L"invalid value for ReduceData in lua settings"), 1);
    EXPECT_EQ(m_log.GetRecords().size(), 1U);
}

TEST_F(LxCLxCVLibSettingsTest, OneAndTwoAreReductions)
{
    EXPECT_FALSE(Settings::IsReduced(Settings::eRD_None));
    EXPECT_TRUE(Settings::IsReduced(Settings::eRD_Reduction1));
    EXPECT_TRUE(Settings::IsReduced(Settings::eRD_Reduction2));
    EXPECT_TRUE(m_log.GetRecords().empty());
    EXPECT_FALSE(Settings::IsReduced(static_cast<Settings::EReduceData>(-1)));
    EXPECT_EQ(Errors(L"invalid enum"), 1);
}

TEST_F(LxCLxCVLibSettingsTest, CalibrateColorsAsksTheParameterManager)
{
    LxCParameterManagerCore& manager = BtSingleton<LxCParameterManagerCore>::Instance();
    Settings::m_bCalibrateColors.Set(true);
    EXPECT_FALSE(Settings::IsCalibrateColors()) << "no parameter";
    manager.SetParameterValue("ShadeDetectionEnabled", BtVariant(true));
    Settings::m_bCalibrateColors.Set(false);
    EXPECT_TRUE(Settings::IsCalibrateColors());
    manager.SetParameterValue("ShadeDetectionEnabled", BtVariant(false));
    EXPECT_FALSE(Settings::IsCalibrateColors());
    manager.SetParameterValue("ShadeDetectionEnabled", BtVariant(2));
    EXPECT_TRUE(Settings::IsCalibrateColors());
    manager.SetParameterValue("ShadeDetectionEnabled", BtVariant(L"true"));
    EXPECT_TRUE(Settings::IsCalibrateColors());
    manager.SetParameterValue("ShadeDetectionEnabled", BtVariant("perhaps"));
    EXPECT_FALSE(Settings::IsCalibrateColors());
    manager.SetParameterValue("ShadeDetectionEnabled", BtVariant());
    EXPECT_FALSE(Settings::IsCalibrateColors());
    BtVariant value;
    manager.SetParameterValue("ShadeDetectionEnabled", BtVariant(2));
    Settings::IsCalibrateColors();
    manager.GetParameterValue("ShadeDetectionEnabled", value);
    EXPECT_EQ(value, BtVariant(2)) << "a copy is converted";
}

TEST_F(LxCLxCVLibSettingsTest, SectionTextHasItsKeysAndCommentsInOrder)
{
    const std::string separator = "#----------------------------------";
    std::vector<std::string> expected = {"", "", separator, ":Settings", ""};
    for (const Row& row : Rows()) {
        if (!row.block.empty()) {
            expected.insert(expected.end(), {separator, "# ", "# ", "# " + row.block, separator});
        } else if (!row.textKey.empty()) {
            expected.push_back(row.textKey);
        }
    }
    std::istringstream text(Store(true));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line.substr(0, line.find('=')));
    }
    EXPECT_EQ(lines, expected);
}

TEST_F(LxCLxCVLibSettingsTest, SectionTextWithoutCommentsHasNoBlockComments)
{
    const std::string text = Store(false);
    EXPECT_TRUE(text.starts_with(":Settings\nOrderingConstraint=1\n"));
    EXPECT_EQ(text.find('#'), std::string::npos);
    EXPECT_NE(text.find("\nReducedData=0\n"), std::string::npos);
    EXPECT_NE(text.find("\nSimFGSequencePeriod=60\n"), std::string::npos);
}

TEST_F(LxCLxCVLibSettingsTest, SectionTextRestoresEveryValueThatHasAPlaceInIt)
{
    const std::vector<Row> rows = SettingRows();
    std::string entries;
    for (const Row& row : rows) {
        entries += row.key + " = " + row.otherLua() + ",";
    }
    const std::vector<std::string> defaults = ReadAll(rows);
    SetHost(entries);
    const std::vector<std::string> others = ReadAll(rows);
    const std::string text = Store(true);
    Reset();
    Load(text);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_NE(others[i], defaults[i]) << rows[i].key;
        EXPECT_EQ(rows[i].read(), rows[i].textKey.empty() ? defaults[i] : others[i]) << rows[i].key;
    }
}

TEST_F(LxCLxCVLibSettingsTest, LoadingWithoutAKeyKeepsItsValueUnchanged)
{
    SetHost("MinNumSymbols = 5");
    Load(":Settings\nDump3DData=1\nRepairEdgesMaxNumGaps=2\n");
    EXPECT_EQ(Settings::GetMeasurementSettingMinNumSymbols(), 5);
    EXPECT_FALSE(Settings::m_iMinNumSymbols.IsChanged());
    EXPECT_TRUE(Settings::IsDump3DData());
    EXPECT_TRUE(Settings::m_bDump3DData.IsChanged());
    EXPECT_EQ(Settings::GetRepairEdgesMaxNumGaps(), 2);
    EXPECT_FALSE(Settings::m_iRepairEdgesMaxNumGaps.IsChanged()) << "the same value is no change";
}

TEST_F(LxCLxCVLibSettingsTest, LoadingWithoutTheSectionChangesNothing)
{
    const std::vector<Row> rows = SettingRows();
    const std::vector<std::string> defaults = ReadAll(rows);
    Load(":Other\nDump3DData=1\n");
    EXPECT_EQ(ReadAll(rows), defaults);
    EXPECT_EQ(Settings::GetChangedSettings(), "LxCVLib = {\n}\n");
}

TEST_F(LxCLxCVLibSettingsTest, SerializingWithoutASerializerDoesNothing)
{
    Settings::SerializeNonIniFileParams(nullptr, ":Settings");
}

TEST_F(LxCLxCVLibSettingsTest, HostsFileThatLacksAKeyLeavesTheDefault)
{
    SetHost("Dump3DData = true");
    EXPECT_TRUE(Settings::IsDump3DData());
    EXPECT_EQ(Settings::GetNumShutterSteps(), 8);
}

TEST_F(LxCLxCVLibSettingsTest, ChangedSettingsAreATextThatGivesThemBack)
{
    const std::vector<Row> rows = SettingRows();
    Settings::SetNumShutterSteps(-3);
    Settings::SetMaxCalibErrCam(0.1F);
    Settings::SetDumpAddInfos(true);
    Settings::SetDump3DDataPath(L"C:\\\"\u00e4\n");
    const std::string text = Settings::GetChangedSettings();
    EXPECT_EQ(text, "LxCVLib = {\n"
                    "    Dump3DDataPath = \"C:\\\\\\\"\u00e4\\010\",\n"
                    "    DumpAddInfos = true,\n"
                    "    MaxCalibErrCam = 0.1,\n"
                    "    NumShutterSteps = -3,\n"
                    "}\n");
    const std::vector<std::string> values = ReadAll(rows);
    Reset();
    ASSERT_TRUE(LxCSettingsStore::Instance().SetHostText(text));
    EXPECT_EQ(ReadAll(rows), values);
}

} // namespace
} // namespace LxCV
