// Tests of the contract of image sources: presets, acquisition, events and section text.
#include "lxaframegrabber.h"

#include "grabberprobe.h"
#include "imagetestsupport.h"
#include "lxcframegrabberreqs.h"
#include "lxclxcvlibsettings.h"
#include "orx/logging/logger.h"
#include "sectiontext.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace LxCV {
namespace {

using namespace TestSupport;
using Logging::ELevel;
using Grabber = LxAFrameGrabber;
using Settings = LxCLxCVLibSettings;

constexpr const wchar_t* kChannel = L"ORX.Lumorad.LxAFrameGrabber";
constexpr const wchar_t* kDiagnostics = L"Diagnostics.Lumorad";

/// Gives the factors of the presets values that no two of them share, and restores them.
class CFactors
{
public:
    CFactors()
    {
        Settings::SetFactorShutterRefIntraoral(1.25F);
        Settings::SetFactorShutterPatIntraoral(1.5F);
        Settings::SetFactorShutterRefPlaster(0.75F);
        Settings::SetFactorShutterPatPlaster(0.5F);
        Settings::SetShutterFactExitWindow(2.5F);
    }
    ~CFactors()
    {
        Settings::SetFactorShutterRefIntraoral(m_fRefIntraoral);
        Settings::SetFactorShutterPatIntraoral(m_fPatIntraoral);
        Settings::SetFactorShutterRefPlaster(m_fRefPlaster);
        Settings::SetFactorShutterPatPlaster(m_fPatPlaster);
        Settings::SetShutterFactExitWindow(m_fExitWindow);
    }
    CFactors(const CFactors&) = delete;
    CFactors& operator=(const CFactors&) = delete;

private:
    const float m_fRefIntraoral = Settings::GetFactorShutterRefIntraoral();
    const float m_fPatIntraoral = Settings::GetFactorShutterPatIntraoral();
    const float m_fRefPlaster = Settings::GetFactorShutterRefPlaster();
    const float m_fPatPlaster = Settings::GetFactorShutterPatPlaster();
    const float m_fExitWindow = Settings::GetShutterFactExitWindow();
};

/// A source with norm exposures 4300 and 6660, which the factors 2.15 and 3.33 divide to 2000 each.
CGrabberProbe NormedGrabber()
{
    CGrabberProbe grabber;
    Grabber::SNormSettings& norm = grabber.GetNormSettings();
    norm.NormShutterTimeRefFlash = 4300.0F;
    norm.NormShutterTimePatFlash = 6660.0F;
    norm.NormShutterTimeRefContinuous = 1.0F;
    norm.NormShutterTimePatContinuous = 2.0F;
    norm.NormRefContinuousCurrent = 3.0F;
    norm.NormPatContinuousCurrent = 4.0F;
    norm.NormRefFlashCurrent = 500.0F;
    norm.NormPatFlashCurrent = 600.0F;
    norm.NormRGain = 7.0F;
    norm.NormGGain = 5.0F;
    norm.NormBGain = 3.0F;
    grabber.m_fMaxGain = 20.0F;
    return grabber;
}

// A product of three floats has less than 4 roundings of 2^-24; in relative terms.
constexpr double kRelative = 4 * 0x1p-24;

void ExpectClose(float value, double expected)
{
    EXPECT_NEAR(value, expected, kRelative * std::abs(expected));
}

TEST(LxAFrameGrabber, StartsWithItsDefaults)
{
    const std::unique_ptr<Grabber> grabber = std::make_unique<CGrabberProbe>("driver", true);
    EXPECT_EQ(grabber->GetShutterTimePat(), 5000.0F);
    EXPECT_EQ(grabber->GetShutterTimeRef(), 5000.0F);
    EXPECT_EQ(grabber->GetCCTSequencePeriod(), 100000.0F);
    EXPECT_EQ(grabber->GetCCTCCTFrameDelay(), 250.0F);
    EXPECT_EQ(grabber->GetRGain(), 96.0F);
    EXPECT_EQ(grabber->GetGGain(), 96.0F);
    EXPECT_EQ(grabber->GetBGain(), 96.0F);
    EXPECT_EQ(grabber->GetPresetShutter(), 6);
    EXPECT_EQ(grabber->GetPresetGain(), 1);
    EXPECT_EQ(grabber->GetPresetLED(), 0);
    EXPECT_EQ(grabber->GetLEDCurrentRed(), 0.0F);
    EXPECT_EQ(grabber->GetLEDCurrentGreen(), 0.0F);
    EXPECT_EQ(grabber->GetLEDCurrentBlue(), 0.0F);
    EXPECT_EQ(grabber->GetLEDCurrentWhite(), 0.0F);
    EXPECT_EQ(grabber->GetLEDCurrentScaleFactor(), 100.0F);
    EXPECT_EQ(grabber->GetDriverName(), "driver");
    EXPECT_TRUE(grabber->IsSimulated());
    EXPECT_FALSE(CGrabberProbe("camera", false).IsSimulated());
}

TEST(LxAFrameGrabber, StartsWithTheNormSettings)
{
    const CGrabberProbe grabber;
    const Grabber::SNormSettings& norm = grabber.GetNormSettings();
    EXPECT_EQ(norm.NormShutterTimeRefFlash, 5000.0F);
    EXPECT_EQ(norm.NormShutterTimePatFlash, 5000.0F);
    EXPECT_EQ(norm.NormShutterTimeRefContinuous, 5000.0F);
    EXPECT_EQ(norm.NormShutterTimePatContinuous, 5000.0F);
    EXPECT_EQ(norm.NormRefContinuousCurrent, 100.0F);
    EXPECT_EQ(norm.NormPatContinuousCurrent, 100.0F);
    EXPECT_EQ(norm.NormRefFlashCurrent, 680.0F);
    EXPECT_EQ(norm.NormPatFlashCurrent, 680.0F);
    EXPECT_EQ(norm.NormRGain, 0.0F);
    EXPECT_EQ(norm.NormGGain, 0.0F);
    EXPECT_EQ(norm.NormBGain, 0.0F);
}

TEST(LxAFrameGrabber, TellsItsLimits)
{
    EXPECT_EQ(Grabber::sc_iMaxPatContinuousCurrent, 200);
    EXPECT_EQ(Grabber::sc_iMaxRefContinuousCurrent, 200);
    EXPECT_EQ(Grabber::sc_iMaxPatFlashCurrent, 1000);
    EXPECT_EQ(Grabber::sc_iMaxRefFlashCurrent, 1000);
    EXPECT_EQ(Grabber::sc_iMinShutterTimeRef, 10);
    EXPECT_EQ(Grabber::sc_iMinShutterTimePat, 10);
    EXPECT_EQ(Grabber::sc_iMaxShutterTimePatFlash, 25000);
    EXPECT_EQ(Grabber::sc_iMaxShutterTimeRefFlash, 25000);
    EXPECT_EQ(Grabber::sc_iMaxShutterTimePatContinuous, 75000);
    EXPECT_EQ(Grabber::sc_iMaxShutterTimeRefContinuous, 75000);
    EXPECT_EQ(Grabber::sc_iMinFrameDelay, 250);
    EXPECT_EQ(Grabber::sc_iMinMeasurementCycle, 50000);
    EXPECT_EQ(Grabber::sc_fShutterFactCCTToothToScatterTargetPat, 3.33F);
    EXPECT_EQ(Grabber::sc_fShutterFactCCTToothToScatterTargetRef, 2.15F);
    EXPECT_EQ(Grabber::sc_fShutterFactCaliTarget, 1.4F);
    EXPECT_EQ(Grabber::sc_dDummyTemperatur, 0.0);
    EXPECT_EQ(Grabber::sc_iQueueSize, 9);
    EXPECT_EQ(Grabber::GetMaxPatContinuousCurrent(), 200);
    EXPECT_EQ(Grabber::GetMaxRefContinuousCurrent(), 200);
    EXPECT_EQ(Grabber::GetMaxPatFlashCurrent(), 1000);
    EXPECT_EQ(Grabber::GetMaxRefFlashCurrent(), 1000);
}

TEST(LxAFrameGrabber, AnswersForADeviceThatHasNothing)
{
    CPlainGrabber grabber;
    EXPECT_EQ(grabber.Start(), 0);
    EXPECT_EQ(grabber.Pause(), 0);
    EXPECT_EQ(grabber.Release(), 0);
    grabber.Rewind(3);
    grabber.ExportColorData(true);
    EXPECT_EQ(grabber.GetSerialNumber(), "Unknown");
    EXPECT_EQ(grabber.GetNrOfImgs(), 0);
    EXPECT_EQ(grabber.ReadFPGATemperature(), 0.0);
    EXPECT_EQ(grabber.GetFirmwareVersion(), "");
    std::stringstream text;
    EXPECT_FALSE(grabber.WriteIniFileToDevice(text));
    EXPECT_FALSE(grabber.ReadIniFileFromDevice(text));
    EXPECT_FALSE(grabber.IsThereAnIniFileOnDevice());
    EXPECT_EQ(text.str(), "");
    int x = 1;
    int y = 2;
    int z = 3;
    EXPECT_FALSE(grabber.ReadAccelerometer(x, y, z));
    EXPECT_EQ(x, 0);
    EXPECT_EQ(y, 0);
    EXPECT_EQ(z, 0);
}

TEST(LxAFrameGrabber, KnowsNoRanges)
{
    CPlainGrabber grabber;
    for (const auto range : {&Grabber::GetMinMaxGain, &Grabber::GetMinMaxRGain, &Grabber::GetMinMaxGGain,
                             &Grabber::GetMinMaxBGain, &Grabber::GetMinMaxBrightness}) {
        float minimum = 1.0F;
        float maximum = 2.0F;
        (grabber.*range)(minimum, maximum);
        EXPECT_EQ(minimum, 0.0F);
        EXPECT_EQ(maximum, 0.0F);
    }
    float minimum = 1.0F;
    float maximum = 2.0F;
    grabber.GetMinMaxShutterTime(minimum, maximum);
    EXPECT_EQ(minimum, 0.0F);
    EXPECT_EQ(maximum, 0.0F);
}

TEST(LxAFrameGrabber, SetsExposuresAsTheUsersOwn)
{
    CGrabberProbe grabber = NormedGrabber();
    const auto preset = [&] { grabber.SetToNormSettings(Grabber::ePS_Plaster, Grabber::ePG_Norm); };
    preset();
    EXPECT_EQ(grabber.GetPresetShutter(), Grabber::ePS_Plaster);
    EXPECT_EQ(grabber.SetShutterTimePat(-1.0F), 0);
    EXPECT_EQ(grabber.GetShutterTimePat(), -1.0F);
    EXPECT_EQ(grabber.GetPresetShutter(), Grabber::ePS_User);
    preset();
    EXPECT_EQ(grabber.SetShutterTimeRef(1e9F), 0);
    EXPECT_EQ(grabber.GetShutterTimeRef(), 1e9F);
    EXPECT_EQ(grabber.GetPresetShutter(), Grabber::ePS_User);
    preset();
    EXPECT_EQ(grabber.SetShutterTime(3.0F, 4.0F), 0);
    EXPECT_EQ(grabber.GetShutterTimePat(), 3.0F);
    EXPECT_EQ(grabber.GetShutterTimeRef(), 4.0F);
    EXPECT_EQ(grabber.GetPresetShutter(), Grabber::ePS_User);
    EXPECT_EQ(grabber.GetPresetGain(), Grabber::ePG_Norm);
}

TEST(LxAFrameGrabber, SetsGainsAsTheUsersOwn)
{
    CGrabberProbe grabber;
    using Setter = void (Grabber::*)(float);
    using Getter = float (Grabber::*)() const;
    const std::array<std::pair<Setter, Getter>, 4> gains{{{&Grabber::SetGain, &Grabber::GetGain},
                                                          {&Grabber::SetRGain, &Grabber::GetRGain},
                                                          {&Grabber::SetGGain, &Grabber::GetGGain},
                                                          {&Grabber::SetBGain, &Grabber::GetBGain}}};
    float value = 10.0F;
    for (const auto& [set, get] : gains) {
        grabber.SetToNormSettings(Grabber::ePS_User, Grabber::ePG_Norm);
        EXPECT_EQ(grabber.GetPresetGain(), Grabber::ePG_Norm);
        value += 1.0F;
        (grabber.*set)(value);
        EXPECT_EQ((grabber.*get)(), value);
        EXPECT_EQ(grabber.GetPresetGain(), Grabber::ePG_User);
    }
}

TEST(LxAFrameGrabber, StoresPlainValues)
{
    CGrabberProbe grabber;
    grabber.SetLEDCurrentRed(1.0F);
    grabber.SetLEDCurrentGreen(2.0F);
    grabber.SetLEDCurrentBlue(3.0F);
    grabber.SetLEDCurrentWhite(4.0F);
    grabber.SetLEDCurrentScaleFactor(5.0F);
    EXPECT_EQ(grabber.GetLEDCurrentRed(), 1.0F);
    EXPECT_EQ(grabber.GetLEDCurrentGreen(), 2.0F);
    EXPECT_EQ(grabber.GetLEDCurrentBlue(), 3.0F);
    EXPECT_EQ(grabber.GetLEDCurrentWhite(), 4.0F);
    EXPECT_EQ(grabber.GetLEDCurrentScaleFactor(), 5.0F);
    grabber.SetDriverName("another");
    EXPECT_EQ(grabber.GetDriverName(), "another");
    grabber.SetCamNr(3);
    EXPECT_EQ(grabber.GetCamNr(), 3);
    grabber.SetLEDSequence(static_cast<Grabber::ELedSequence>(77));
    EXPECT_EQ(grabber.GetLEDSequence(), 77);
}

TEST(SetCCTSequencePeriod, IsNeverShorterThanOneSequence)
{
    CGrabberProbe grabber;
    grabber.SetCCTSequencePeriod(1.0F);
    EXPECT_EQ(grabber.GetCCTSequencePeriod(), 10250.0F);
    grabber.SetCCTSequencePeriod(10251.0F);
    EXPECT_EQ(grabber.GetCCTSequencePeriod(), 10251.0F);
    grabber.SetCCTCCTFrameDelay(300.0F);
    grabber.SetCCTSequencePeriod(NAN);
    EXPECT_EQ(grabber.GetCCTSequencePeriod(), 10300.0F);
}

TEST(LxAFrameGrabber, TakesGeometryFromItsRequirements)
{
    EXPECT_EQ(CPlainGrabber().GetWidthRaw(), 658);
    CGrabberProbe grabber;
    const auto reqs = std::make_shared<LxCFrameGrabberReqs>();
    reqs->setWidth(1);
    reqs->setHeight(2);
    reqs->setImgType(Image::eIDT_FLOAT32);
    reqs->setWidthRaw(3);
    reqs->setHeightRaw(4);
    reqs->setImgTypeRaw(Image::eIDT_UINT16);
    reqs->setBytesPerPixelRaw(5);
    grabber.SetReqs(reqs);
    EXPECT_EQ(grabber.GetReqs(), reqs);
    EXPECT_EQ(std::as_const(grabber).GetReqs(), reqs);
    EXPECT_EQ(grabber.GetWidth(), 1);
    EXPECT_EQ(grabber.GetHeight(), 2);
    EXPECT_EQ(grabber.GetImgType(), Image::eIDT_FLOAT32);
    EXPECT_EQ(grabber.GetWidthRaw(), 3);
    EXPECT_EQ(grabber.GetHeightRaw(), 4);
    EXPECT_EQ(grabber.GetImgTypeRaw(), Image::eIDT_UINT16);
    EXPECT_EQ(grabber.GetBytesPerPixelRaw(), 5);
    grabber.SetReqs(nullptr);
    EXPECT_EQ(grabber.GetReqs(), reqs);
}

TEST(LxAFrameGrabber, PutsTheDevicesSerialNumberIntoTheText)
{
    CGrabberProbe grabber;
    grabber.m_sSerialNumber = "SN-7";
    grabber.ReadSerialNumberFromCameraDriverAndWriteToIniFile();
    EXPECT_EQ(grabber.GetReqs()->GetSerialNumber(), "SN-7");
    EXPECT_NE(Store(grabber, "::Grabber").find("\nSerialNumber=SN-7\n"), std::string::npos);
}

// ---- events and copies

TEST(LxAFrameGrabberEvents, StartPaused)
{
    const CGrabberProbe grabber;
    EXPECT_FALSE(grabber.WaitForActive(0));
    EXPECT_TRUE(grabber.WaitForPause(0));
    // Manual reset: a wait changes nothing.
    EXPECT_TRUE(grabber.WaitForPause(0));
}

TEST(LxAFrameGrabberEvents, TellWhatADescendantSets)
{
    const CGrabberProbe grabber;
    grabber.GetActiveEvent().Set();
    grabber.GetPauseEvent().Reset();
    EXPECT_TRUE(grabber.WaitForActive(0));
    EXPECT_FALSE(grabber.WaitForPause(1));
}

TEST(LxAFrameGrabberCopy, SharesEventsAndRequirements)
{
    auto grabber = std::make_unique<CGrabberProbe>("driver", true);
    grabber->SetShutterTime(1.0F, 2.0F);
    grabber->GetNormSettings().NormBGain = 3.0F;
    const CGrabberProbe copy(*grabber);
    CGrabberProbe assigned("other", false);
    assigned = *grabber;
    for (const CGrabberProbe* other : std::array<const CGrabberProbe*, 2>{&copy, &assigned}) {
        EXPECT_EQ(other->GetShutterTimePat(), 1.0F);
        EXPECT_EQ(other->GetShutterTimeRef(), 2.0F);
        EXPECT_EQ(other->GetNormSettings().NormBGain, 3.0F);
        EXPECT_EQ(other->GetDriverName(), "driver");
        EXPECT_TRUE(other->IsSimulated());
        EXPECT_EQ(other->GetReqs(), grabber->GetReqs());
    }
    grabber->GetActiveEvent().Set();
    EXPECT_TRUE(copy.WaitForActive(0));
    EXPECT_TRUE(assigned.WaitForActive(0));
    // The events outlive the source that made them.
    grabber.reset();
    copy.GetActiveEvent().Reset();
    EXPECT_FALSE(assigned.WaitForActive(0));
}

// ---- LogResult

TEST(LogResult, SaysNothingOfSuccess)
{
    const Logging::CCapture log;
    Grabber::LogResult(Grabber::eRC_OK);
    EXPECT_TRUE(log.GetRecords().empty());
}

TEST(LogResult, NamesWhatItKnows)
{
    const std::array<std::pair<int, const wchar_t*>, 12> kNames{{{1, L"eRC_GeneralError"},
                                                                 {2, L"eRC_CouldNotBeInitialized"},
                                                                 {3, L"eRC_ConfigFileNotFound"},
                                                                 {4, L"eRC_ConfigFileErrononeus"},
                                                                 {7, L"eRC_CameraNotFound"},
                                                                 {11, L"eRC_BadFirmware"},
                                                                 {13, L"eRC_TestAcquisitionFailed"},
                                                                 {14, L"eRC_NoDeviceManager"},
                                                                 {15, L"eRC_NewerFirmwareAvailable"},
                                                                 {16, L"eRC_NoIniFileOnDevice"},
                                                                 {17, L"eRC_NothingToDo"},
                                                                 {18, L"eRC_EventualyBadFirmware"}}};
    for (const auto& [number, name] : kNames) {
        const Logging::CCapture log;
        Grabber::LogResult(static_cast<Grabber::EReturnCode>(number));
        const ELevel level = number == 17 ? ELevel::eInfo : ELevel::eWarning;
        EXPECT_EQ(
            log.Count(level, kDiagnostics, std::wstring(L"Could not initialize the frame grabber: ") + name),
            1)
            << number;
        EXPECT_EQ(log.GetRecords().size(), 1U);
    }
}

TEST(LogResult, TellsTheNumberOfWhatItDoesNotKnow)
{
    for (const int number : {5, 6, 8, 9, 10, 12, 19, -1, 100000}) {
        const Logging::CCapture log;
        Grabber::LogResult(static_cast<Grabber::EReturnCode>(number));
        EXPECT_EQ(log.Count(ELevel::eWarning, kDiagnostics,
                            L"Could not initialize the frame grabber. Reason: " + std::to_wstring(number)),
                  1);
        EXPECT_EQ(log.GetRecords().size(), 1U);
    }
}

// ---- presets

TEST(GetShutterForPreset, FollowsTheTable)
{
    const CFactors factors;
    CGrabberProbe grabber = NormedGrabber();
    grabber.SetShutterTime(11.0F, 12.0F);
    struct SRow
    {
        int preset;
        double ref;
        double pat;
    };
    // Norm 4300 and 6660; over 2.15 and 3.33 that is 2000 and 2000.
    const std::array<SRow, 7> kTable{{{0, 5375.0, 9990.0}, // 1.25 * 4300, 1.5 * 6660
                                      {1, 1500.0, 1000.0}, // 0.75 * 2000, 0.5 * 2000
                                      {2, 5375.0, 9990.0}, // as 0
                                      {3, 2800.0, 2800.0}, // 2000 * 1.4
                                      {4, 2000.0, 2000.0},
                                      {5, 5000.0, 5000.0}, // 2.5 * 2000
                                      {6, 12.0, 11.0}}};
    for (const SRow& row : kTable) {
        float pat = 0.0F;
        float ref = 0.0F;
        grabber.GetShutterForPreset(static_cast<Grabber::EPresetShutter>(row.preset), pat, ref);
        SCOPED_TRACE(row.preset);
        ExpectClose(ref, row.ref);
        ExpectClose(pat, row.pat);
    }
}

TEST(GetShutterForPreset, LeavesBothForAnUnknownPreset)
{
    for (const int preset : {7, 8, 1000, -1}) {
        float pat = 1.0F;
        float ref = 2.0F;
        NormedGrabber().GetShutterForPreset(static_cast<Grabber::EPresetShutter>(preset), pat, ref);
        EXPECT_EQ(pat, 1.0F);
        EXPECT_EQ(ref, 2.0F);
    }
}

TEST(SetToNormSettings, TakesExposuresAndGainsOfEachPreset)
{
    const CFactors factors;
    for (int preset = 0; preset <= 6; ++preset) {
        for (const auto gain : {Grabber::ePG_Norm, Grabber::ePG_User}) {
            if (preset == Grabber::ePS_CalibTarget || preset == Grabber::ePS_ScatterTarget) {
                continue;
            }
            SCOPED_TRACE(preset);
            CGrabberProbe grabber = NormedGrabber();
            grabber.SetShutterTime(11.0F, 12.0F);
            float pat = 0.0F;
            float ref = 0.0F;
            const auto shutter = static_cast<Grabber::EPresetShutter>(preset);
            grabber.GetShutterForPreset(shutter, pat, ref);
            const Logging::CCapture log;
            grabber.SetToNormSettings(shutter, gain);
            EXPECT_TRUE(log.GetRecords().empty());
            EXPECT_EQ(grabber.GetShutterTimePat(), pat);
            EXPECT_EQ(grabber.GetShutterTimeRef(), ref);
            EXPECT_EQ(grabber.GetPresetShutter(), preset);
            const bool norm = gain == Grabber::ePG_Norm;
            EXPECT_EQ(grabber.GetPresetGain(), gain);
            EXPECT_EQ(grabber.GetRGain(), norm ? 7.0F : 96.0F);
            EXPECT_EQ(grabber.GetGGain(), norm ? 5.0F : 96.0F);
            EXPECT_EQ(grabber.GetBGain(), norm ? 3.0F : 96.0F);
            EXPECT_EQ(grabber.GetLEDCurrentRed(), 600.0F);
            EXPECT_EQ(grabber.GetLEDCurrentGreen(), 600.0F);
            EXPECT_EQ(grabber.GetLEDCurrentBlue(), 600.0F);
            EXPECT_EQ(grabber.GetLEDCurrentWhite(), 500.0F);
            EXPECT_EQ(grabber.GetPresetLED(), Grabber::ePL_Norm);
        }
    }
}

TEST(SetToNormSettings, KeepsThePresetOfTheUser)
{
    CGrabberProbe grabber = NormedGrabber();
    grabber.SetToNormSettings(Grabber::ePS_Plaster, Grabber::ePG_User);
    grabber.SetToNormSettings(Grabber::ePS_User, Grabber::ePG_User);
    EXPECT_EQ(grabber.GetPresetShutter(), Grabber::ePS_Plaster);
    // An unknown preset changes no exposure, but is kept.
    grabber.SetShutterTime(11.0F, 12.0F);
    grabber.SetToNormSettings(static_cast<Grabber::EPresetShutter>(9), Grabber::ePG_User);
    EXPECT_EQ(grabber.GetShutterTimePat(), 11.0F);
    EXPECT_EQ(grabber.GetPresetShutter(), 9);
}

TEST(SetToNormSettings, TradesBlueGainForExposureOnTargets)
{
    // Gains 7, 5, 3 lose 3 each; 1.12^3 = 1.404928, so 2000 become 2809.856 and 2800 become 3933.7984.
    for (const auto gain : {Grabber::ePG_Norm, Grabber::ePG_User}) {
        CGrabberProbe grabber = NormedGrabber();
        const Logging::CCapture log;
        grabber.SetToNormSettings(Grabber::ePS_ScatterTarget, gain);
        EXPECT_EQ(grabber.GetRGain(), 4.0F);
        EXPECT_EQ(grabber.GetGGain(), 2.0F);
        EXPECT_EQ(grabber.GetBGain(), 0.0F);
        EXPECT_EQ(grabber.GetPresetGain(), Grabber::ePG_Norm);
        ExpectClose(grabber.GetShutterTimePat(), 2809.856);
        ExpectClose(grabber.GetShutterTimeRef(), 2809.856);
        EXPECT_EQ(
            log.Count(ELevel::eInfo, kChannel,
                      L"LxAFrameGrabber::SetToNormSettings Gain RGB 4.000, 2.000, 0.000 Shutter Pat/Ref "
                      L" 2810,  2810\n"),
            1);
        EXPECT_EQ(log.GetRecords().size(), 1U);
    }
    CGrabberProbe grabber = NormedGrabber();
    grabber.SetToNormSettings(Grabber::ePS_CalibTarget, Grabber::ePG_User);
    ExpectClose(grabber.GetShutterTimePat(), 3933.7984);
    ExpectClose(grabber.GetShutterTimeRef(), 3933.7984);
    EXPECT_EQ(grabber.GetPresetShutter(), Grabber::ePS_CalibTarget);
}

TEST(SetToNormSettings, LogsPatternBeforeReference)
{
    CGrabberProbe grabber = NormedGrabber();
    grabber.GetNormSettings().NormShutterTimePatFlash = 3330.0F;
    const Logging::CCapture log;
    grabber.SetToNormSettings(Grabber::ePS_ScatterTarget, Grabber::ePG_Norm);
    EXPECT_EQ(
        log.Count(ELevel::eInfo, kChannel,
                  L"LxAFrameGrabber::SetToNormSettings Gain RGB 4.000, 2.000, 0.000 Shutter Pat/Ref  1405, "
                  L" 2810\n"),
        1);
}

constexpr const wchar_t* kNotOptimized =
    L"LxAFrameGrabber::SetToNormSettings: Couild not optimize gain settings for calibration\n";

// The logarithm is rounded to a float of at most 32, and the sum once more.
constexpr double kGainError = 4e-6; // dB

TEST(SetToNormSettings, TakesTheLongestExposureWhereGainsLeaveTheRange)
{
    // Gains 4, 2, 0 after the exchange, of which the first exceeds 3, the largest allowed. The longer exposure, that of
    // the reference, 2809.856, becomes 25000; that of the pattern, 3330 / 3.33 * 1.404928 = 1404.928, becomes 12500.
    // x = 2809.856 / 25000 = 0.11239424; 20 log10(x) = -18.98517
    CGrabberProbe grabber = NormedGrabber();
    grabber.GetNormSettings().NormShutterTimePatFlash = 3330.0F;
    grabber.m_fMaxGain = 3.0F;
    const Logging::CCapture log;
    grabber.SetToNormSettings(Grabber::ePS_ScatterTarget, Grabber::ePG_Norm);
    EXPECT_EQ(log.Count(ELevel::eInfo, kChannel, kNotOptimized), 1);
    EXPECT_EQ(log.GetRecords().size(), 2U);
    const double gain = 20.0 * std::log10(2809.856 / 25000.0);
    EXPECT_NEAR(gain, -18.985, 1e-3);
    EXPECT_NEAR(grabber.GetRGain(), 4.0 + gain, kGainError);
    EXPECT_NEAR(grabber.GetGGain(), 2.0 + gain, kGainError);
    EXPECT_NEAR(grabber.GetBGain(), 0.0 + gain, kGainError);
    ExpectClose(grabber.GetShutterTimeRef(), 25000.0);
    ExpectClose(grabber.GetShutterTimePat(), 12500.0);
}

TEST(SetToNormSettings, ShortensExposuresBeyondTheLongestOne)
{
    // 107500 / 2.15 = 50000 for the reference, 6660 / 3.33 = 2000 for the pattern, and no blue gain: x = 2.
    CGrabberProbe grabber = NormedGrabber();
    grabber.GetNormSettings().NormShutterTimeRefFlash = 107500.0F;
    grabber.GetNormSettings().NormBGain = 0.0F;
    const Logging::CCapture log;
    grabber.SetToNormSettings(Grabber::ePS_ScatterTarget, Grabber::ePG_User);
    EXPECT_EQ(log.Count(ELevel::eInfo, kChannel, kNotOptimized), 1);
    EXPECT_EQ(log.GetRecords().size(), 1U);
    ExpectClose(grabber.GetShutterTimeRef(), 25000.0);
    ExpectClose(grabber.GetShutterTimePat(), 1000.0);
    EXPECT_NEAR(grabber.GetRGain(), 7.0 + 6.0205999, kGainError);
    EXPECT_NEAR(grabber.GetGGain(), 5.0 + 6.0205999, kGainError);
    EXPECT_NEAR(grabber.GetBGain(), 0.0 + 6.0205999, kGainError);
}

/// A norm exposure that a divisor brings to exactly `exposure`.
float NormFor(float exposure, float divisor)
{
    float norm = exposure * divisor;
    while (norm / divisor < exposure) {
        norm = std::nextafter(norm, INFINITY);
    }
    while (norm / divisor > exposure) {
        norm = std::nextafter(norm, 0.0F);
    }
    return norm;
}

TEST(SetToNormSettings, CountsTheEndsOfTheRangesAsWithin)
{
    const auto settings = [](float ref, float pat, float minGain, float maxGain) {
        CGrabberProbe grabber = NormedGrabber();
        grabber.GetNormSettings().NormShutterTimeRefFlash = NormFor(ref, 2.15F);
        grabber.GetNormSettings().NormShutterTimePatFlash = NormFor(pat, 3.33F);
        grabber.GetNormSettings().NormBGain = 0.0F;
        grabber.m_fMinGain = minGain;
        grabber.m_fMaxGain = maxGain;
        const Logging::CCapture log;
        grabber.SetToNormSettings(Grabber::ePS_ScatterTarget, Grabber::ePG_Norm);
        return log.GetRecords().empty();
    };
    // The gains are 7 and 5.
    EXPECT_TRUE(settings(25000.0F, 10.0F, 5.0F, 7.0F));
    EXPECT_TRUE(settings(10.0F, 25000.0F, 5.0F, 7.0F));
    EXPECT_FALSE(settings(25000.1F, 10.0F, 5.0F, 7.0F));
    EXPECT_FALSE(settings(25000.0F, 9.99F, 5.0F, 7.0F));
    EXPECT_FALSE(settings(9.99F, 25000.0F, 5.0F, 7.0F));
    EXPECT_FALSE(settings(10.0F, 25000.1F, 5.0F, 7.0F));
    EXPECT_FALSE(settings(25000.0F, 10.0F, 5.01F, 7.0F));
    EXPECT_FALSE(settings(25000.0F, 10.0F, 5.0F, 6.99F));
}

TEST(SetToNormSettings, AlwaysScalesWithoutAGainRange)
{
    // The range that nobody overrides is (0, 0).
    CPlainGrabber grabber;
    grabber.GetNormSettings().NormRGain = 1.0F;
    const Logging::CCapture log;
    grabber.SetToNormSettings(Grabber::ePS_ScatterTarget, Grabber::ePG_Norm);
    EXPECT_EQ(log.Count(ELevel::eInfo, kChannel, kNotOptimized), 1);
    ExpectClose(grabber.GetShutterTimeRef(), 25000.0);

    // Unless both gains are 0.
    CPlainGrabber balanced;
    const Logging::CCapture silence;
    balanced.SetToNormSettings(Grabber::ePS_ScatterTarget, Grabber::ePG_Norm);
    EXPECT_TRUE(silence.GetRecords().empty());
    ExpectClose(balanced.GetShutterTimeRef(), 5000.0 / 2.15);
    EXPECT_EQ(balanced.GetRGain(), 0.0F);
}

TEST(SetToNormSettings, LeavesGainsFiniteWithoutAnyExposure)
{
    CGrabberProbe grabber = NormedGrabber();
    grabber.GetNormSettings().NormShutterTimeRefFlash = 0.0F;
    grabber.GetNormSettings().NormShutterTimePatFlash = 0.0F;
    const Logging::CCapture log;
    grabber.SetToNormSettings(Grabber::ePS_ScatterTarget, Grabber::ePG_Norm);
    EXPECT_EQ(log.Count(ELevel::eInfo, kChannel, kNotOptimized), 1);
    EXPECT_EQ(grabber.GetShutterTimeRef(), 0.0F);
    EXPECT_EQ(grabber.GetRGain(), 4.0F);
}

// ---- acquisition

TEST(AcquireSingleImage, SetsSequenceStartsCopiesAndPauses)
{
    struct SCase
    {
        int type;
        int sequence;
        int imageType;
    };
    for (const SCase& one : {SCase{0, 2, 5}, SCase{1, 1, 4}, SCase{2, 5, 0}, SCase{9, 2, 5}}) {
        CGrabberProbe grabber;
        grabber.m_bEmpty = true;
        Image image;
        EXPECT_FALSE(grabber.AcquireSingleImage(static_cast<Grabber::ELedType>(one.type), image));
        EXPECT_EQ(grabber.GetLEDSequence(), one.sequence) << one.type;
        EXPECT_EQ(image.GetType(), one.imageType) << one.type;
        EXPECT_EQ(grabber.m_sCalls, "start acquire" + std::to_string(one.type) + " pause ");
        EXPECT_EQ(image.GetWidth(), CGrabberProbe::c_iWidth);
        EXPECT_EQ(image.GetHeight(), CGrabberProbe::c_iHeight);
        EXPECT_EQ(image.GetDataType(), Image::eIDT_BGRU8);
    }
}

TEST(AcquireSingleImage, CopiesTheRawImageAndGivesItBack)
{
    CGrabberProbe grabber;
    SetAttributes(grabber.m_Raw);
    Image image;
    EXPECT_TRUE(grabber.AcquireSingleImage(Grabber::eLT_Ref, image));
    EXPECT_EQ(BytesOf(image), BytesOf(grabber.m_Raw));
    EXPECT_NE(image.GetBuffer(), grabber.m_Raw.GetBuffer());
    // With the attributes of the raw image, its type also.
    EXPECT_EQ(image.GetType(), Image::eIT_Depthmap);
    EXPECT_EQ(image.GetTimestamp(), 4000000000U);
    EXPECT_EQ(grabber.m_sCalls, "start acquire1 back1 pause ");
    EXPECT_EQ(grabber.m_pGivenBack, &grabber.m_Raw);
}

TEST(AcquireSingleImage, ReusesAnImageOfTheRawSize)
{
    CGrabberProbe grabber;
    Image image;
    ASSERT_TRUE(grabber.AcquireSingleImage(Grabber::eLT_Any, image));
    const void* const buffer = image.GetBuffer();
    ASSERT_TRUE(grabber.AcquireSingleImage(Grabber::eLT_Any, image));
    EXPECT_EQ(image.GetBuffer(), buffer);
    // Same size, other type.
    Image gray = RandomImage(CGrabberProbe::c_iWidth, CGrabberProbe::c_iHeight, Image::eIDT_GRAY8, 1);
    ASSERT_TRUE(grabber.AcquireSingleImage(Grabber::eLT_Any, gray));
    EXPECT_EQ(BytesOf(gray), BytesOf(grabber.m_Raw));
    EXPECT_EQ(gray.GetDataType(), Image::eIDT_BGRU8);
}

TEST(AcquireSingleImage, PausesAfterAnException)
{
    CGrabberProbe grabber;
    grabber.m_bThrows = true;
    Image image;
    const Logging::CCapture log;
    EXPECT_FALSE(grabber.AcquireSingleImage(Grabber::eLT_Pat, image));
    EXPECT_EQ(grabber.m_sCalls, "start acquire0 pause ");
    EXPECT_EQ(
        log.Count(ELevel::eError, kChannel, L"LxAFrameGrabber::AcquireSingleImage: no buffers available\n"),
        1);
}

TEST(AcquireSingleImage, GivesARawImageBackThatCannotBeCopied)
{
    CGrabberProbe grabber;
    grabber.m_Raw = RandomImage(100, 100, Image::eIDT_BGRU8, 1);
    Image image;
    const Logging::CCapture log;
    EXPECT_FALSE(grabber.AcquireSingleImage(Grabber::eLT_Pat, image));
    EXPECT_EQ(grabber.m_sCalls, "start acquire0 back1 pause ");
    EXPECT_EQ(log.GetRecords().size(), 1U);
}

TEST(AcquireMultiImage, AppendsAsManyImages)
{
    CGrabberProbe grabber;
    std::vector<Image*> images;
    EXPECT_TRUE(grabber.AcquireMultiImage(Grabber::eLT_Pat, images, 3));
    ASSERT_EQ(images.size(), 3U);
    for (Image* image : images) {
        EXPECT_EQ(BytesOf(*image), BytesOf(grabber.m_Raw));
    }
    EXPECT_NE(images[0], images[1]);
    for (const Image* image : images) {
        delete image;
    }
}

TEST(AcquireMultiImage, AppendsNothingForNoCount)
{
    CGrabberProbe grabber;
    std::vector<Image*> images;
    EXPECT_TRUE(grabber.AcquireMultiImage(Grabber::eLT_Pat, images, 0));
    EXPECT_TRUE(grabber.AcquireMultiImage(Grabber::eLT_Pat, images, -5));
    EXPECT_TRUE(images.empty());
    EXPECT_EQ(grabber.m_sCalls, "");
}

TEST(AcquireMultiImage, LeavesOutWhatFailsAndGoesOn)
{
    CGrabberProbe grabber;
    grabber.m_iFailing = 1; // the second one
    std::vector<Image*> images;
    EXPECT_FALSE(grabber.AcquireMultiImage(Grabber::eLT_Pat, images, 3));
    EXPECT_EQ(images.size(), 2U);
    EXPECT_EQ(grabber.m_iAcquired, 3);
    for (const Image* image : images) {
        delete image;
    }
}

TEST(ReEnqueueRawBuffers, PassesOneImageOnAsAList)
{
    CGrabberProbe grabber;
    Grabber& base = grabber;
    Image image;
    base.ReEnqueueRawBuffers(&image);
    EXPECT_EQ(grabber.m_sCalls, "back1 ");
    EXPECT_EQ(grabber.m_pGivenBack, &image);
}

} // namespace
} // namespace LxCV
