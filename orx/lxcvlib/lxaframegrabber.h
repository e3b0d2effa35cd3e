// The contract of every image source, and what all sources share.
#pragma once

#include "cctimage.h"
#include "orx/base/export.h"
#include "orx/btservices/btevent.h"

#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace LxCV {

class LxCCCTSerializer;
class LxCFrameGrabberReqs;
class LxCPropertyBag;

/// A source of images: a camera that alternates a reference exposure (white LED, no pattern) and a pattern exposure
/// (stripe slide), or a simulation of one.
///
/// A caller reads the settings by `Serialize`, calls `Init`, `SetToNormSettings`, `SetLEDSequence` and `Start`, and
/// loops on `AcquireImageRaw` and `ReEnqueueRawBuffers`, or uses `AcquireSingleImage` or `AcquireMultiImage` instead
/// of `Start` and the loop. `Pause` and `Start` may alternate; after `Release` only `Init` is allowed. Raw images
/// belong to the source: each is given back, none is deleted.
///
/// Exposures and periods are in microseconds, gains in dB, LED currents in mA. Setters check no ranges: the `sc_`
/// limits are for callers and descendants.
///
/// Two events tell the state to other threads: active while images flow, pause while they do not. Descendants set and
/// reset them. All else is plain data that one thread at a time may write. A copy is for reading values: it shares the
/// requirements and the two events with its source.
class ORX_EXPORT LxAFrameGrabber
{
public:
    /// Result of driver operations; callers compare the numbers and pass them on. There may be others.
    enum EReturnCode : int
    {
        eRC_OK = 0,
        eRC_GeneralError = 1,
        eRC_CouldNotBeInitialized = 2,
        eRC_ConfigFileNotFound = 3,
        eRC_ConfigFileErrononeus = 4,
        eRC_CameraNotFound = 7,
        eRC_BadFirmware = 11,
        eRC_TestAcquisitionFailed = 13,
        eRC_NoDeviceManager = 14,
        eRC_NewerFirmwareAvailable = 15,
        eRC_NoIniFileOnDevice = 16,
        eRC_NothingToDo = 17,
        eRC_EventualyBadFirmware = 18
    };

    /// The kind of image that is asked for.
    enum ELedType : int
    {
        eLT_Pat = 0, ///< the stripe image
        eLT_Ref = 1, ///< the reference image
        eLT_Any = 2
    };

    /// The images that a source takes in turn. Other values belong to descendants.
    enum ELedSequence : int
    {
        eLS_Ref = 1, ///< reference images only
        eLS_Pat = 2, ///< pattern images only
        eLS_Live = 5 ///< free running
    };

    /// What the exposures are scaled for.
    enum EPresetShutter : int
    {
        ePS_Intraoral = 0,
        ePS_Plaster = 1,
        ePS_IntraoralAlt = 2, ///< the same numbers as `ePS_Intraoral`
        ePS_CalibTarget = 3,
        ePS_ScatterTarget = 4,
        ePS_ExitWindow = 5,
        ePS_User = 6 ///< exposures as they are set
    };

    enum EPresetGain : int
    {
        ePG_Norm = 0,
        ePG_User = 1
    };

    enum EPresetLED : int
    {
        ePL_Norm = 0
    };

    /// Values found on a white scatter target in the plane of best focus, from which the settings for all targets are
    /// derived.
    struct SNormSettings
    {
        float NormShutterTimeRefFlash = 5000.0F;      ///< us
        float NormShutterTimePatFlash = 5000.0F;      ///< us
        float NormShutterTimeRefContinuous = 5000.0F; ///< us
        float NormShutterTimePatContinuous = 5000.0F; ///< us
        float NormRefContinuousCurrent = 100.0F;      ///< mA
        float NormPatContinuousCurrent = 100.0F;      ///< mA
        float NormRefFlashCurrent = 680.0F;           ///< mA
        float NormPatFlashCurrent = 680.0F;           ///< mA
        float NormRGain = 0.0F;                       ///< dB
        float NormGGain = 0.0F;                       ///< dB
        float NormBGain = 0.0F;                       ///< dB
    };

    static constexpr int sc_iMaxPatContinuousCurrent = 200;       ///< mA
    static constexpr int sc_iMaxRefContinuousCurrent = 200;       ///< mA
    static constexpr int sc_iMaxPatFlashCurrent = 1000;           ///< mA
    static constexpr int sc_iMaxRefFlashCurrent = 1000;           ///< mA
    static constexpr int sc_iMinShutterTimeRef = 10;              ///< us
    static constexpr int sc_iMinShutterTimePat = 10;              ///< us
    static constexpr int sc_iMaxShutterTimePatFlash = 25000;      ///< us
    static constexpr int sc_iMaxShutterTimeRefFlash = 25000;      ///< us
    static constexpr int sc_iMaxShutterTimePatContinuous = 75000; ///< us
    static constexpr int sc_iMaxShutterTimeRefContinuous = 75000; ///< us
    static constexpr int sc_iMinFrameDelay = 250;                 ///< us
    static constexpr int sc_iMinMeasurementCycle = 50000;         ///< us
    static constexpr float sc_fShutterFactCCTToothToScatterTargetPat =
        3.33F; ///< tooth to white scatter target
    static constexpr float sc_fShutterFactCCTToothToScatterTargetRef = 2.15F;
    static constexpr float sc_fShutterFactCaliTarget = 1.4F; ///< scatter target to calibration target
    static constexpr double sc_dDummyTemperatur = 0.0;       ///< degrees, told where there is no sensor
    static constexpr int sc_iQueueSize = 9;                  ///< raw images of a source

    /// The types of images that are asked for as reference and as pattern; of others it is `CCTImage::eIT_Default`.
    static constexpr auto sc_eReferenceImage = static_cast<CCTImage::EImageType>(4);
    static constexpr auto sc_ePatternImage = static_cast<CCTImage::EImageType>(5);

    /// @param simulated whether images come from elsewhere than a camera
    LxAFrameGrabber(const std::string& driverName, bool simulated);
    LxAFrameGrabber(const LxAFrameGrabber&);
    LxAFrameGrabber& operator=(const LxAFrameGrabber&);

    // The virtual functions stand in the order of their slots, which modules built earlier rely on.

    virtual ~LxAFrameGrabber();

    /// Opens the source. What the arguments are is up to the descendant.
    virtual EReturnCode Init(const std::vector<std::string>& arguments) = 0;

    virtual EReturnCode Start() { return eRC_OK; }
    virtual EReturnCode Pause() { return eRC_OK; }
    virtual EReturnCode Release() { return eRC_OK; }

    /// The next raw image, to be given back by `ReEnqueueRawBuffers`; null where none came. May throw.
    virtual CCTImage* AcquireImageRaw(ELedType type) = 0;

    /// Sets the LED sequence that suits `type`, starts, copies one raw image into `image`, and pauses. `image` is
    /// resized where it has not the raw size and type; it takes the attributes of the raw image.
    /// @return false where no image came or could be copied; exceptions of the acquisition are logged
    virtual bool AcquireSingleImage(ELedType type, CCTImage& image);

    /// Appends `count` new images, which the caller owns, each taken by `AcquireSingleImage`. One that fails is not
    /// appended. @return whether none failed
    virtual bool AcquireMultiImage(ELedType type, std::vector<CCTImage*>& images, int count);

    /// Gives raw images back to the source.
    virtual void ReEnqueueRawBuffers(CCTImage* image);
    virtual void ReEnqueueRawBuffers(std::vector<CCTImage*>& images) = 0;

    /// Goes back by a number of images, where a source can.
    virtual void Rewind(int) {}

    /// Writes or reads exposures, gains, LED currents and norm settings under `sectionName`, and the requirements
    /// under "::FrameGrabberReqs". Of what a loaded text lacks, norm exposures and gains take the exposures and gains
    /// from before the call; all else stays. The older keys ShutterTime (pattern) and ShutterTime2 (reference) are read
    /// also, and win.
    virtual void Serialize(LxCCCTSerializer& serializer, const std::string& sectionName);

    /// These three set the preset to `ePS_User`.
    virtual EReturnCode SetShutterTimePat(float time);
    virtual EReturnCode SetShutterTimeRef(float time);
    virtual EReturnCode SetShutterTime(float pat, float ref);
    virtual float GetShutterTimePat() const { return m_fShutterTimePat; }
    virtual float GetShutterTimeRef() const { return m_fShutterTimeRef; }

    /// The range that a camera allows; here, as in the ranges below, nothing is known and both are 0.
    virtual void GetMinMaxShutterTime(float& minimum, float& maximum) const;

    /// From the begin of one sequence of images to that of the next, us.
    virtual float GetCCTSequencePeriod() const { return m_fCCTSequencePeriod; }

    /// From the first to the second image of a sequence, us.
    virtual float GetCCTCCTFrameDelay() const { return m_fCCTCCTFrameDelay; }

    /// The gain of a camera with one sensor, and those of three sensors. Setting one sets the preset to `ePG_User`.
    virtual void SetGain(float gain);
    virtual void SetRGain(float gain);
    virtual void SetGGain(float gain);
    virtual void SetBGain(float gain);
    virtual float GetGain() const { return m_fGain; }
    virtual float GetRGain() const { return m_fRGain; }
    virtual float GetGGain() const { return m_fGGain; }
    virtual float GetBGain() const { return m_fBGain; }

    virtual void GetMinMaxGain(float& minimum, float& maximum);
    virtual void GetMinMaxRGain(float& minimum, float& maximum);
    virtual void GetMinMaxGGain(float& minimum, float& maximum);
    virtual void GetMinMaxBGain(float& minimum, float& maximum);
    virtual void GetMinMaxBrightness(float& minimum, float& maximum);

    virtual std::string GetSerialNumber() const { return "Unknown"; }
    virtual std::string GetDriverName() const { return m_sDriverName; }
    virtual void SetDriverName(std::string name);
    virtual int GetCamNr() const { return m_iCamNr; }
    virtual int GetNrOfImgs() const { return 0; }
    virtual bool IsSimulated() const { return m_bSimulated; }
    virtual ELedSequence GetLEDSequence() { return m_eLEDSequence; }
    virtual void SetLEDSequence(ELedSequence sequence) { m_eLEDSequence = sequence; }
    virtual double ReadFPGATemperature() const { return sc_dDummyTemperatur; }

    /// The settings file on the device. @return whether the device could answer
    virtual bool WriteIniFileToDevice(std::stringstream&) { return false; }
    virtual bool ReadIniFileFromDevice(std::stringstream&) { return false; }
    virtual bool IsThereAnIniFileOnDevice() { return false; }

    /// @return whether the device could answer; here all three become 0
    virtual bool ReadAccelerometer(int& x, int& y, int& z);
    virtual std::string GetFirmwareVersion() { return {}; }

    /// Takes another preset while images flow.
    virtual EReturnCode ChangePresetShutterAsynchron(EPresetShutter preset) = 0;
    virtual void ExportColorData(bool) {}

    /// Wait until images flow, respectively until they do not. @param timeoutMs `BtEvent::c_ulInfinite` for no limit
    /// @return false where that did not come within the time limit
    bool WaitForActive(unsigned long timeoutMs) const { return m_pActiveEvent->Wait(timeoutMs); }
    bool WaitForPause(unsigned long timeoutMs) const { return m_pPauseEvent->Wait(timeoutMs); }

    /// The exposures of a preset, us; unknown presets leave both as they are.
    void GetShutterForPreset(EPresetShutter preset, float& pat, float& ref) const;

    /// Takes the exposures of a preset, the norm gains where `gain` is `ePG_Norm`, and the LED currents for flashes.
    /// For the two targets, which are bright, the gains are the norm gains in any case, lowered by that of blue, with
    /// exposures that make up for it; where that leaves the camera's ranges, the longer exposure becomes the longest
    /// one allowed, and the gains make up for that.
    void SetToNormSettings(EPresetShutter shutter, EPresetGain gain);

    /// Stores a period, but none shorter than both exposures and the frame delay take, us.
    void SetCCTSequencePeriod(float period);

    float GetLEDCurrentRed() const { return m_fLEDCurrentRed; }
    void SetLEDCurrentRed(float current) { m_fLEDCurrentRed = current; }
    float GetLEDCurrentGreen() const { return m_fLEDCurrentGreen; }
    void SetLEDCurrentGreen(float current) { m_fLEDCurrentGreen = current; }
    float GetLEDCurrentBlue() const { return m_fLEDCurrentBlue; }
    void SetLEDCurrentBlue(float current) { m_fLEDCurrentBlue = current; }
    float GetLEDCurrentWhite() const { return m_fLEDCurrentWhite; }
    void SetLEDCurrentWhite(float current) { m_fLEDCurrentWhite = current; }

    /// Percent.
    float GetLEDCurrentScaleFactor() const { return m_fLEDCurrentScaleFactor; }
    void SetLEDCurrentScaleFactor(float percent) { m_fLEDCurrentScaleFactor = percent; }

    static int GetMaxPatContinuousCurrent() { return sc_iMaxPatContinuousCurrent; }
    static int GetMaxRefContinuousCurrent() { return sc_iMaxRefContinuousCurrent; }
    static int GetMaxPatFlashCurrent() { return sc_iMaxPatFlashCurrent; }
    static int GetMaxRefFlashCurrent() { return sc_iMaxRefFlashCurrent; }

    EPresetShutter GetPresetShutter() const { return m_ePresetShutter; }
    EPresetGain GetPresetGain() const { return m_ePresetGain; }
    EPresetLED GetPresetLED() const { return m_ePresetLED; }
    SNormSettings& GetNormSettings() { return m_NormSettings; }
    const SNormSettings& GetNormSettings() const { return m_NormSettings; }

    /// The image after conversion, from the requirements; pixels.
    int GetWidth() const;
    int GetHeight() const;
    CCTImage::EImageDataType GetImgType() const;

    /// The image as the driver delivers it, from the requirements; pixels and bytes.
    int GetWidthRaw() const;
    int GetHeightRaw() const;
    int GetBytesPerPixelRaw() const;
    CCTImage::EImageDataType GetImgTypeRaw() const;

    /// Never null.
    std::shared_ptr<LxCFrameGrabberReqs> GetReqs() { return m_pReqs; }
    std::shared_ptr<const LxCFrameGrabberReqs> GetReqs() const { return m_pReqs; }

    /// Stores the device's serial number in the requirements, with which `Serialize` writes it.
    void ReadSerialNumberFromCameraDriverAndWriteToIniFile();

    /// Logs the outcome of an initialisation on the channel "Diagnostics.Lumorad"; nothing for `eRC_OK`.
    static void LogResult(EReturnCode code);

protected:
    /// Replaces the requirements; null is ignored.
    void SetReqs(std::shared_ptr<LxCFrameGrabberReqs> reqs);

    void SetCamNr(int number) { m_iCamNr = number; }
    void SetCCTCCTFrameDelay(float delay) { m_fCCTCCTFrameDelay = delay; }

    /// Set while images flow, manual reset.
    BtEvent& GetActiveEvent() const { return *m_pActiveEvent; }

    /// Set while no images flow, manual reset.
    BtEvent& GetPauseEvent() const { return *m_pPauseEvent; }

private:
    bool CopyNextImage(ELedType type, CCTImage& image);
    void SetToTargetSettings();
    void AddPresentKeys(LxCPropertyBag& bag);
    void AddNormKeys(LxCPropertyBag& bag);

    float m_fShutterTimePat = 5000.0F;      ///< us
    float m_fShutterTimeRef = 5000.0F;      ///< us
    float m_fCCTSequencePeriod = 100000.0F; ///< us
    float m_fCCTCCTFrameDelay = 250.0F;     ///< us
    float m_fGain = 0.0F;                   ///< dB
    float m_fRGain = 96.0F;                 ///< dB
    float m_fGGain = 96.0F;                 ///< dB
    float m_fBGain = 96.0F;                 ///< dB
    EPresetShutter m_ePresetShutter = ePS_User;
    EPresetGain m_ePresetGain = ePG_User;
    EPresetLED m_ePresetLED = ePL_Norm;
    float m_fLEDCurrentRed = 0.0F;           ///< mA
    float m_fLEDCurrentGreen = 0.0F;         ///< mA
    float m_fLEDCurrentBlue = 0.0F;          ///< mA
    float m_fLEDCurrentWhite = 0.0F;         ///< mA
    float m_fLEDCurrentScaleFactor = 100.0F; ///< percent
    std::string m_sDriverName;
    int m_iCamNr = 0;
    std::shared_ptr<LxCFrameGrabberReqs> m_pReqs; ///< not null
    bool m_bSimulated = false;
    ELedSequence m_eLEDSequence = eLS_Live;
    SNormSettings m_NormSettings;
    std::shared_ptr<BtEvent> m_pActiveEvent; ///< not null
    std::shared_ptr<BtEvent> m_pPauseEvent;  ///< not null
};

} // namespace LxCV
