// Image sources whose work the tests look at.
#pragma once

#include "imagetestsupport.h"
#include "lxaframegrabber.h"
#include "lxcframegrabberreqs.h"

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace LxCV::TestSupport {

/// Overrides no more than it must.
class CPlainGrabber : public LxAFrameGrabber
{
public:
    explicit CPlainGrabber(const std::string& driverName = "driver", bool simulated = false)
        : LxAFrameGrabber(driverName, simulated)
    {}

    using LxAFrameGrabber::ReEnqueueRawBuffers;

    EReturnCode Init(const std::vector<std::string>&) override { return eRC_OK; }
    CCTImage* AcquireImageRaw(ELedType) override { return nullptr; }
    void ReEnqueueRawBuffers(std::vector<CCTImage*>& images) override { images.clear(); }
    EReturnCode ChangePresetShutterAsynchron(EPresetShutter) override { return eRC_OK; }
};

/// Delivers one small image again and again, and writes down what is called.
class CGrabberProbe : public CPlainGrabber
{
public:
    static constexpr int c_iWidth = 6;
    static constexpr int c_iHeight = 4;

    explicit CGrabberProbe(const std::string& driverName = "driver", bool simulated = false)
        : CPlainGrabber(driverName, simulated),
          m_Raw(RandomImage(c_iWidth, c_iHeight, CCTImage::eIDT_BGRU8, 5))
    {
        GetReqs()->setWidthRaw(c_iWidth);
        GetReqs()->setHeightRaw(c_iHeight);
    }

    using LxAFrameGrabber::GetActiveEvent;
    using LxAFrameGrabber::GetPauseEvent;
    using LxAFrameGrabber::ReEnqueueRawBuffers;
    using LxAFrameGrabber::SetCamNr;
    using LxAFrameGrabber::SetCCTCCTFrameDelay;
    using LxAFrameGrabber::SetReqs;

    EReturnCode Start() override
    {
        m_sCalls += "start ";
        return eRC_OK;
    }
    EReturnCode Pause() override
    {
        m_sCalls += "pause ";
        return eRC_OK;
    }
    CCTImage* AcquireImageRaw(ELedType type) override
    {
        m_sCalls += "acquire" + std::to_string(static_cast<int>(type)) + " ";
        if (m_bThrows) {
            throw std::runtime_error("no buffers available");
        }
        const bool fails = m_bEmpty || m_iAcquired == m_iFailing;
        ++m_iAcquired;
        return fails ? nullptr : &m_Raw;
    }
    void ReEnqueueRawBuffers(std::vector<CCTImage*>& images) override
    {
        m_sCalls += "back" + std::to_string(images.size()) + " ";
        m_pGivenBack = images.empty() ? nullptr : images.front();
        images.clear();
    }
    std::string GetSerialNumber() const override { return m_sSerialNumber; }
    void GetMinMaxBGain(float& minimum, float& maximum) override
    {
        minimum = m_fMinGain;
        maximum = m_fMaxGain;
    }

    CCTImage m_Raw;
    std::string m_sCalls;
    CCTImage* m_pGivenBack = nullptr;
    bool m_bThrows = false;
    bool m_bEmpty = false;
    int m_iFailing = -1; ///< the acquisition, counted from 0, that gives no image
    int m_iAcquired = 0;
    std::string m_sSerialNumber = "Unknown";
    float m_fMinGain = 0.0F;
    float m_fMaxGain = 0.0F;
};

} // namespace LxCV::TestSupport
