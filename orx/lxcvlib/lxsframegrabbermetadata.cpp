// What changes a record of how images were taken.
#include "lxsframegrabbermetadata.h"

#include <utility>

namespace LxCV {

void LxSFrameGrabberMetaData::Reset()
{
    Update(nullptr, {}, {}, LxAFrameGrabber::eLS_Live, 0.0F, 0.0F);
    m_dTemperatur = 0.0;
    m_dHostValue = sc_dUnset;
}

void LxSFrameGrabberMetaData::Update(CPerformanceCounter* counter, std::string fileName, std::string text,
                                     LxAFrameGrabber::ELedSequence sequence, float pat, float ref)
{
    m_pPerformanceCounter = counter;
    m_sFileName = std::move(fileName);
    m_sText = std::move(text);
    m_eLEDSequence = sequence;
    m_fShutterTimePat = pat;
    m_fShutterTimeRef = ref;
}

void LxSFrameGrabberMetaData::writeToXML(std::ostream& /*stream*/) const {}

void LxSFrameGrabberMetaData::writeToXML(pugi::xml_node& /*node*/) const {}

void LxSFrameGrabberMetaData::SetAccelerometerData(std::shared_ptr<Base::IAccelerometerDataSimple> data)
{
    m_pAccelerometerData = std::move(data);
}

} // namespace LxCV
