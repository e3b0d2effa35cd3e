// How a pair of images was taken.
#pragma once

#include "lxaframegrabber.h"
#include "orx/base/export.h"
#include "orx/base/iaccelerometerdatasimple.h"
#include "orx/base/iframegrabbermetadatasimple.h"

#include <iosfwd>
#include <memory>
#include <string>

namespace pugi {
class xml_node;
}

namespace LxCV {

class CPerformanceCounter;

/// The record that the host keeps with each pair of images. A copy shares the acceleration reading and refers to the
/// same performance counter.
class ORX_EXPORT LxSFrameGrabberMetaData : public Base::IFrameGrabberMetaDataSimple
{
public:
    static constexpr double sc_dUnset = -1.0; ///< a host value that was not set

    /// As after `Reset`, without an acceleration reading.
    LxSFrameGrabberMetaData() = default;
    LxSFrameGrabberMetaData(const LxSFrameGrabberMetaData&) = default;
    LxSFrameGrabberMetaData(LxSFrameGrabberMetaData&&) = default;
    LxSFrameGrabberMetaData& operator=(const LxSFrameGrabberMetaData&) = default;
    LxSFrameGrabberMetaData& operator=(LxSFrameGrabberMetaData&&) = default;
    ~LxSFrameGrabberMetaData() override = default;

    /// Gives every value but the acceleration reading its initial value.
    void Reset();

    /// Stores what is known when the images have been taken.
    /// @param counter    stamps of the measurement; not owned, may be null
    /// @param fileName   under which the record is stored, relative to the folder of the images
    /// @param text       free for the host
    /// @param pat, ref   us, exposures of pattern and reference image
    void Update(CPerformanceCounter* counter, std::string fileName, std::string text,
                LxAFrameGrabber::ELedSequence sequence, float pat, float ref);

    /// Writes nothing: which values belong into a file, and under which names, is up to the host, which overrides
    /// these for the records that it wants stored.
    virtual void writeToXML(std::ostream& stream) const;
    virtual void writeToXML(pugi::xml_node& node) const;

    CPerformanceCounter* GetPerformanceCounter() const { return m_pPerformanceCounter; }
    const std::string& GetFileName() const { return m_sFileName; }
    const std::string& GetText() const { return m_sText; }
    double GetTemperatur() const override { return m_dTemperatur; }
    void SetTemperatur(double degrees) { m_dTemperatur = degrees; }
    LxAFrameGrabber::ELedSequence GetLEDSequence() const { return m_eLEDSequence; }
    std::shared_ptr<Base::IAccelerometerDataSimple> GetAccelerometerData() const override
    {
        return m_pAccelerometerData;
    }
    void SetAccelerometerData(std::shared_ptr<Base::IAccelerometerDataSimple> data);
    float GetShutterTimePat() const override { return m_fShutterTimePat; }
    float GetShutterTimeRef() const override { return m_fShutterTimeRef; }

    /// A number that is free for the host.
    double GetHostValue() const { return m_dHostValue; }
    void SetHostValue(double value) { m_dHostValue = value; }

private:
    CPerformanceCounter* m_pPerformanceCounter = nullptr; ///< not owned
    std::string m_sFileName;
    std::string m_sText;
    double m_dTemperatur = 0.0; ///< degrees Celsius
    LxAFrameGrabber::ELedSequence m_eLEDSequence = LxAFrameGrabber::eLS_Live;
    std::shared_ptr<Base::IAccelerometerDataSimple> m_pAccelerometerData;
    float m_fShutterTimePat = 0.0F; ///< us
    float m_fShutterTimeRef = 0.0F; ///< us
    double m_dHostValue = sc_dUnset;
};

} // namespace LxCV
