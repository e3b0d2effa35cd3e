// Exposures and gains of the presets, the generic acquisition, and the section text.
#include "lxaframegrabber.h"

#include "lxcframegrabberreqs.h"
#include "lxclxcvlibsettings.h"
#include "lxcpropertybag.h"
#include "orx/logging/logger.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <exception>
#include <string_view>
#include <utility>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxAFrameGrabber");
const Logging::CLogger s_DiagnosticsLogger(L"Diagnostics.Lumorad");

constexpr double c_dShutterPerDecibel = 1.12; ///< factor on an exposure that makes up for 1 dB of gain
constexpr double c_dDecibelPerDecade = 20.0;

constexpr auto c_fMinShutter = static_cast<float>(LxAFrameGrabber::sc_iMinShutterTimePat);
constexpr auto c_fMaxShutter = static_cast<float>(LxAFrameGrabber::sc_iMaxShutterTimePatFlash);

constexpr const char* c_sReqsSection = "::FrameGrabberReqs";

constexpr const char* c_sPresentComment =
    "Momentan verwendete Einstellungen für Belichtungszeit, Gain und LED Ströme.\n"
    "Hier können z.B. im Admin-Modus verschiedene Werte eingestellt und ausprobiert werden.\n"
    "Bei jedem Neustart eines Prüfschritts werden diese Werte wieder überschieben.\n";

constexpr const char* c_sNormComment =
    "Normwerte:\n"
    "Bei jedem Neustart eines Prüfschritts werden die oben eingestellten Werte wieder auf die folgenden "
    "Normwerte zurückgesetzt.\n"
    "Dabei werden auch abhängig von der LED-Sequenz die Ströme gesetzt und abhängig vom verwendeten Target "
    "die "
    "Belichtungszeiten mit einem Skalierfaktor versehen.\n"
    "\n"
    "Die Normwerte werden auf einem weißen Streutarget, das nominell in der schärfsten Ebene liegt, "
    "ermittelt.";

constexpr const char* c_sRGainComment = "Gain für den roten Sensor [dB]";
constexpr const char* c_sGGainComment = "Gain für den grünen Sensor [dB]";
constexpr const char* c_sBGainComment = "Gain für den blauen Sensor [dB]";

using NamedCode = std::pair<LxAFrameGrabber::EReturnCode, std::string_view>;
constexpr std::array<NamedCode, 12> c_NamedCodes{
    {{LxAFrameGrabber::eRC_GeneralError, "eRC_GeneralError"},
     {LxAFrameGrabber::eRC_CouldNotBeInitialized, "eRC_CouldNotBeInitialized"},
     {LxAFrameGrabber::eRC_ConfigFileNotFound, "eRC_ConfigFileNotFound"},
     {LxAFrameGrabber::eRC_ConfigFileErrononeus, "eRC_ConfigFileErrononeus"},
     {LxAFrameGrabber::eRC_CameraNotFound, "eRC_CameraNotFound"},
     {LxAFrameGrabber::eRC_BadFirmware, "eRC_BadFirmware"},
     {LxAFrameGrabber::eRC_TestAcquisitionFailed, "eRC_TestAcquisitionFailed"},
     {LxAFrameGrabber::eRC_NoDeviceManager, "eRC_NoDeviceManager"},
     {LxAFrameGrabber::eRC_NewerFirmwareAvailable, "eRC_NewerFirmwareAvailable"},
     {LxAFrameGrabber::eRC_NoIniFileOnDevice, "eRC_NoIniFileOnDevice"},
     {LxAFrameGrabber::eRC_NothingToDo, "eRC_NothingToDo"},
     {LxAFrameGrabber::eRC_EventualyBadFirmware, "eRC_EventualyBadFirmware"}}};

/// The LED sequence that delivers a kind of image, and the image type that such an image is given.
struct SAcquisition
{
    LxAFrameGrabber::ELedSequence sequence;
    CCTImage::EImageType imageType;
};

SAcquisition AcquisitionOf(LxAFrameGrabber::ELedType type)
{
    switch (type) {
    case LxAFrameGrabber::eLT_Ref:
        return {LxAFrameGrabber::eLS_Ref, LxAFrameGrabber::sc_eReferenceImage};
    case LxAFrameGrabber::eLT_Any:
        return {LxAFrameGrabber::eLS_Live, CCTImage::eIT_Default};
    default:
        return {LxAFrameGrabber::eLS_Pat, LxAFrameGrabber::sc_ePatternImage};
    }
}

bool IsWithin(float value, float minimum, float maximum)
{
    return minimum <= value && value <= maximum;
}

void SetUnknownRange(float& minimum, float& maximum)
{
    minimum = 0.0F;
    maximum = 0.0F;
}

} // namespace

LxAFrameGrabber::LxAFrameGrabber(const std::string& driverName, bool simulated)
    : m_sDriverName(driverName), m_pReqs(std::make_shared<LxCFrameGrabberReqs>()), m_bSimulated(simulated),
      m_pActiveEvent(std::make_shared<BtEvent>(true, false)),
      m_pPauseEvent(std::make_shared<BtEvent>(true, true))
{}

LxAFrameGrabber::LxAFrameGrabber(const LxAFrameGrabber&) = default;
LxAFrameGrabber& LxAFrameGrabber::operator=(const LxAFrameGrabber&) = default;
LxAFrameGrabber::~LxAFrameGrabber() = default;

bool LxAFrameGrabber::AcquireSingleImage(ELedType type, CCTImage& image)
{
    if (image.GetWidth() != GetWidthRaw() || image.GetHeight() != GetHeightRaw() ||
        image.GetDataType() != GetImgTypeRaw()) {
        image.Resize(GetWidthRaw(), GetHeightRaw(), GetImgTypeRaw());
    }
    const SAcquisition acquisition = AcquisitionOf(type);
    SetLEDSequence(acquisition.sequence);
    image.SetType(acquisition.imageType);

    Start();
    bool acquired = false;
    try {
        acquired = CopyNextImage(type, image);
    } catch (const std::exception& exception) {
        s_Logger.Error(L"LxAFrameGrabber::AcquireSingleImage: %s\n", exception.what());
    } catch (...) {
        s_Logger.Error(L"LxAFrameGrabber::AcquireSingleImage: unknown exception\n");
    }
    Pause();
    return acquired;
}

bool LxAFrameGrabber::CopyNextImage(ELedType type, CCTImage& image)
{
    CCTImage* const raw = AcquireImageRaw(type);
    if (raw == nullptr) {
        return false;
    }
    bool copied = false;
    try {
        copied = image.CopyFrom(raw, false) == CCTImage::eRC_OK;
    } catch (...) {
        // The source has few buffers, so this one goes back also where the copy fails.
        ReEnqueueRawBuffers(raw);
        throw;
    }
    ReEnqueueRawBuffers(raw);
    return copied;
}

bool LxAFrameGrabber::AcquireMultiImage(ELedType type, std::vector<CCTImage*>& images, int count)
{
    bool succeeded = true;
    for (int i = 0; i < count; ++i) {
        auto image = std::make_unique<CCTImage>();
        if (!AcquireSingleImage(type, *image)) {
            succeeded = false;
            continue;
        }
        images.push_back(image.get());
        static_cast<void>(image.release());
    }
    return succeeded;
}

void LxAFrameGrabber::ReEnqueueRawBuffers(CCTImage* image)
{
    std::vector<CCTImage*> images{image};
    ReEnqueueRawBuffers(images);
}

void LxAFrameGrabber::Serialize(LxCCCTSerializer& serializer, const std::string& sectionName)
{
    const bool isLoading = !serializer.IsStoring();
    LxCPropertyBag bag;
    bag.add(new LxCBlockComment(c_sPresentComment));
    AddPresentKeys(bag);
    bag.add(new LxCBlockComment(c_sNormComment));
    if (isLoading) {
        m_NormSettings.NormShutterTimeRefFlash = m_fShutterTimeRef;
        m_NormSettings.NormShutterTimePatFlash = m_fShutterTimePat;
        m_NormSettings.NormShutterTimeRefContinuous = m_fShutterTimeRef;
        m_NormSettings.NormShutterTimePatContinuous = m_fShutterTimePat;
        m_NormSettings.NormRGain = m_fRGain;
        m_NormSettings.NormGGain = m_fGGain;
        m_NormSettings.NormBGain = m_fBGain;
    }
    AddNormKeys(bag);
    bag.serialize(serializer, sectionName, true);
    if (isLoading) {
        // Keys of an older format.
        serializer.FindExtractSection(sectionName);
        const LxCCCTSerializer::SectionData& section = serializer.GetSectionData();
        const float pat = m_fShutterTimePat;
        const float ref = m_fShutterTimeRef;
        serializer.Read<float>(section, "ShutterTime", m_fShutterTimePat, pat);
        serializer.Read<float>(section, "ShutterTime2", m_fShutterTimeRef, ref);
    }
    m_pReqs->Serialize(serializer, c_sReqsSection);
}

void LxAFrameGrabber::AddPresentKeys(LxCPropertyBag& bag)
{
    bag.addScalar(m_fGain, "Gain",
                  "Gain für einen Sensor [dB] (Bei einer Kamera mit drei Sensoren hat dieser Wert keine "
                  "Bedeutung)");
    bag.addScalar(m_fRGain, "RGain", c_sRGainComment);
    bag.addScalar(m_fGGain, "GGain", c_sGGainComment);
    bag.addScalar(m_fBGain, "BGain", c_sBGainComment);
    bag.addScalar(m_fShutterTimeRef, "ShutterTimeRef", "Belichtungszeit für das Referenzbild [us]");
    bag.addScalar(m_fShutterTimePat, "ShutterTimePat", "Belichtungszeit für das Streifenbild [us]");
    bag.addScalar(m_fCCTSequencePeriod, "CCTSequencePeriod",
                  "Dauer in us bis die nächste Messsequenz gestartet wird (eine Messsequenz kann aus einem "
                  "oder zwei Bildern bestehen)");
    bag.addScalar(m_fLEDCurrentRed, "LEDCurrentRed",
                  "FuMu: LED-Strom für die rote LED; ab ZMA: LED-Strom für Streifen-LED [mA]");
    bag.addScalar(m_fLEDCurrentGreen, "LEDCurrentGreen", "LED-Strom für die grüne LED [mA]");
    bag.addScalar(m_fLEDCurrentBlue, "LEDCurrentBlue", "LED-Strom für die blaue LED [mA]");
    bag.addScalar(m_fLEDCurrentWhite, "LEDCurrentWhite", "LED-Strom für die Referenz LED [mA]");
}

void LxAFrameGrabber::AddNormKeys(LxCPropertyBag& bag)
{
    SNormSettings& norm = m_NormSettings;
    bag.addScalar(norm.NormShutterTimeRefFlash, "NormShutterTimeRefFlash",
                  "Normierte Belichtungszeit für das Referenzbild im Blitzbetrieb [µs]");
    bag.addScalar(norm.NormShutterTimePatFlash, "NormShutterTimePatFlash",
                  "Normierte Belichtungszeit für das Streifenbild im Blitzbetrieb [µs]");
    bag.addScalar(norm.NormShutterTimeRefContinuous, "NormShutterTimeRefContinuous",
                  "Normierte Belichtungszeit für das Referenzbild im Dauerbetrieb [µs]");
    bag.addScalar(norm.NormShutterTimePatContinuous, "NormShutterTimePatContinuous",
                  "Normierte Belichtungszeit für das Streifenbild im Dauerbetrieb [µs]");
    bag.addScalar(norm.NormRefContinuousCurrent, "NormRefContinuousCurrent",
                  "LED-Strom für das Referenzbild im Dauerbetrieb einer LED [mA]");
    bag.addScalar(norm.NormPatContinuousCurrent, "NormPatContinuousCurrent",
                  "LED-Strom für das Streifenbild im Dauerbetrieb einer LED [mA]");
    bag.addScalar(norm.NormRefFlashCurrent, "NormRefFlashCurrent",
                  "LED-Strom für das Referenzbild im Blitzbetrieb einer LED [mA]");
    bag.addScalar(norm.NormPatFlashCurrent, "NormPatFlashCurrent",
                  "LED-Strom für das Streifenbild im Blitzbetrieb einer LED [mA]");
    bag.addScalar(norm.NormRGain, "NormRGain", c_sRGainComment);
    bag.addScalar(norm.NormGGain, "NormGGain", c_sGGainComment);
    bag.addScalar(norm.NormBGain, "NormBGain", c_sBGainComment);
}

LxAFrameGrabber::EReturnCode LxAFrameGrabber::SetShutterTimePat(float time)
{
    m_fShutterTimePat = time;
    m_ePresetShutter = ePS_User;
    return eRC_OK;
}

LxAFrameGrabber::EReturnCode LxAFrameGrabber::SetShutterTimeRef(float time)
{
    m_fShutterTimeRef = time;
    m_ePresetShutter = ePS_User;
    return eRC_OK;
}

LxAFrameGrabber::EReturnCode LxAFrameGrabber::SetShutterTime(float pat, float ref)
{
    m_fShutterTimePat = pat;
    m_fShutterTimeRef = ref;
    m_ePresetShutter = ePS_User;
    return eRC_OK;
}

void LxAFrameGrabber::GetMinMaxShutterTime(float& minimum, float& maximum) const
{
    SetUnknownRange(minimum, maximum);
}

void LxAFrameGrabber::SetGain(float gain)
{
    m_fGain = gain;
    m_ePresetGain = ePG_User;
}

void LxAFrameGrabber::SetRGain(float gain)
{
    m_fRGain = gain;
    m_ePresetGain = ePG_User;
}

void LxAFrameGrabber::SetGGain(float gain)
{
    m_fGGain = gain;
    m_ePresetGain = ePG_User;
}

void LxAFrameGrabber::SetBGain(float gain)
{
    m_fBGain = gain;
    m_ePresetGain = ePG_User;
}

void LxAFrameGrabber::GetMinMaxGain(float& minimum, float& maximum)
{
    SetUnknownRange(minimum, maximum);
}

void LxAFrameGrabber::GetMinMaxRGain(float& minimum, float& maximum)
{
    SetUnknownRange(minimum, maximum);
}

void LxAFrameGrabber::GetMinMaxGGain(float& minimum, float& maximum)
{
    SetUnknownRange(minimum, maximum);
}

void LxAFrameGrabber::GetMinMaxBGain(float& minimum, float& maximum)
{
    SetUnknownRange(minimum, maximum);
}

void LxAFrameGrabber::GetMinMaxBrightness(float& minimum, float& maximum)
{
    SetUnknownRange(minimum, maximum);
}

void LxAFrameGrabber::SetDriverName(std::string name)
{
    m_sDriverName = std::move(name);
}

bool LxAFrameGrabber::ReadAccelerometer(int& x, int& y, int& z)
{
    x = 0;
    y = 0;
    z = 0;
    return false;
}

void LxAFrameGrabber::GetShutterForPreset(EPresetShutter preset, float& pat, float& ref) const
{
    using Settings = LxCLxCVLibSettings;
    const float normRef = m_NormSettings.NormShutterTimeRefFlash;
    const float normPat = m_NormSettings.NormShutterTimePatFlash;
    const float scatterRef = normRef / sc_fShutterFactCCTToothToScatterTargetRef;
    const float scatterPat = normPat / sc_fShutterFactCCTToothToScatterTargetPat;
    switch (preset) {
    case ePS_Intraoral:
    case ePS_IntraoralAlt:
        // Deliberately without the division: these factors are tuned to the norm exposures as they are.
        ref = Settings::GetFactorShutterRefIntraoral() * normRef;
        pat = Settings::GetFactorShutterPatIntraoral() * normPat;
        break;
    case ePS_Plaster:
        ref = Settings::GetFactorShutterRefPlaster() * scatterRef;
        pat = Settings::GetFactorShutterPatPlaster() * scatterPat;
        break;
    case ePS_CalibTarget:
        ref = scatterRef * sc_fShutterFactCaliTarget;
        pat = scatterPat * sc_fShutterFactCaliTarget;
        break;
    case ePS_ScatterTarget:
        ref = scatterRef;
        pat = scatterPat;
        break;
    case ePS_ExitWindow:
        ref = Settings::GetShutterFactExitWindow() * scatterRef;
        pat = Settings::GetShutterFactExitWindow() * scatterPat;
        break;
    case ePS_User:
        ref = m_fShutterTimeRef;
        pat = m_fShutterTimePat;
        break;
    }
}

void LxAFrameGrabber::SetToNormSettings(EPresetShutter shutter, EPresetGain gain)
{
    GetShutterForPreset(shutter, m_fShutterTimePat, m_fShutterTimeRef);
    if (shutter != ePS_User) {
        m_ePresetShutter = shutter;
    }
    if (gain == ePG_Norm) {
        m_fRGain = m_NormSettings.NormRGain;
        m_fGGain = m_NormSettings.NormGGain;
        m_fBGain = m_NormSettings.NormBGain;
        m_ePresetGain = ePG_Norm;
    }
    if (shutter == ePS_CalibTarget || shutter == ePS_ScatterTarget) {
        SetToTargetSettings();
    }
    m_fLEDCurrentRed = m_NormSettings.NormPatFlashCurrent;
    m_fLEDCurrentGreen = m_NormSettings.NormPatFlashCurrent;
    m_fLEDCurrentBlue = m_NormSettings.NormPatFlashCurrent;
    m_fLEDCurrentWhite = m_NormSettings.NormRefFlashCurrent;
    m_ePresetLED = ePL_Norm;
}

void LxAFrameGrabber::SetToTargetSettings()
{
    m_ePresetGain = ePG_Norm;
    float r = m_NormSettings.NormRGain;
    float g = m_NormSettings.NormGGain;
    float b = m_NormSettings.NormBGain;
    float pat = m_fShutterTimePat;
    float ref = m_fShutterTimeRef;
    if (b > 0.0F) {
        const auto factor = static_cast<float>(std::pow(c_dShutterPerDecibel, static_cast<double>(b)));
        r -= b;
        g -= b;
        ref *= factor;
        pat *= factor;
        b = 0.0F;
        s_Logger.Info(
            L"LxAFrameGrabber::SetToNormSettings Gain RGB %2.3f, %2.3f, %2.3f Shutter Pat/Ref %5.0f, "
            L"%5.0f\n",
            r, g, b, pat, ref);
    }
    float minimum = 0.0F;
    float maximum = 0.0F;
    GetMinMaxBGain(minimum, maximum);
    const bool fits = IsWithin(g, minimum, maximum) && IsWithin(r, minimum, maximum) &&
                      IsWithin(pat, c_fMinShutter, c_fMaxShutter) &&
                      IsWithin(ref, c_fMinShutter, c_fMaxShutter);
    if (!fits) {
        const float excess = std::max(pat / c_fMaxShutter, ref / c_fMaxShutter);
        // Without any exposure there is nothing to scale.
        if (excess > 0.0F) {
            pat /= excess;
            ref /= excess;
            const auto gain =
                static_cast<float>(c_dDecibelPerDecade * std::log10(static_cast<double>(excess)));
            r += gain;
            g += gain;
            b += gain;
        }
        s_Logger.Info(
            L"LxAFrameGrabber::SetToNormSettings: Couild not optimize gain settings for calibration\n");
    }
    m_fRGain = r;
    m_fGGain = g;
    m_fBGain = b;
    m_fShutterTimePat = pat;
    m_fShutterTimeRef = ref;
}

void LxAFrameGrabber::SetCCTSequencePeriod(float period)
{
    const float shortest = m_fShutterTimeRef + m_fShutterTimePat + m_fCCTCCTFrameDelay;
    m_fCCTSequencePeriod = period > shortest ? period : shortest;
}

int LxAFrameGrabber::GetWidth() const
{
    return m_pReqs->GetWidth();
}

int LxAFrameGrabber::GetHeight() const
{
    return m_pReqs->GetHeight();
}

CCTImage::EImageDataType LxAFrameGrabber::GetImgType() const
{
    return m_pReqs->GetImgType();
}

int LxAFrameGrabber::GetWidthRaw() const
{
    return m_pReqs->GetWidthRaw();
}

int LxAFrameGrabber::GetHeightRaw() const
{
    return m_pReqs->GetHeightRaw();
}

int LxAFrameGrabber::GetBytesPerPixelRaw() const
{
    return m_pReqs->GetBytesPerPixelRaw();
}

CCTImage::EImageDataType LxAFrameGrabber::GetImgTypeRaw() const
{
    return m_pReqs->GetImgTypeRaw();
}

void LxAFrameGrabber::ReadSerialNumberFromCameraDriverAndWriteToIniFile()
{
    m_pReqs->SetSerialNumber(GetSerialNumber());
}

void LxAFrameGrabber::LogResult(EReturnCode code)
{
    if (code == eRC_OK) {
        return;
    }
    const auto named = std::ranges::find(c_NamedCodes, code, &NamedCode::first);
    if (named == c_NamedCodes.end()) {
        s_DiagnosticsLogger.Warning(L"Could not initialize the frame grabber. Reason: %i", code);
    } else if (code == eRC_NothingToDo) {
        s_DiagnosticsLogger.Info(L"Could not initialize the frame grabber: %s", named->second);
    } else {
        s_DiagnosticsLogger.Warning(L"Could not initialize the frame grabber: %s", named->second);
    }
}

void LxAFrameGrabber::SetReqs(std::shared_ptr<LxCFrameGrabberReqs> reqs)
{
    if (reqs != nullptr) {
        m_pReqs = std::move(reqs);
    }
}

} // namespace LxCV
