// A mark of a calibration target, found in an image.
#include "lxccalibmark.h"

#include <algorithm>

namespace LxCV {

bool LxCCalibMark::UseForCalib() const
{
    return m_bUsable && !m_bInvalid && m_dQualityLimit > m_dQuality;
}

void LxCCalibMark::Sprint(std::string& out, bool withPosition) const
{
    out += std::to_string(m_iId);
    if (withPosition) {
        out += ": " + m_ImageCoords.ToString(2);
    }
}

void LxCCalibMark::SetQuality(double quality)
{
    m_dQuality = std::max(quality, 0.0);
}

void LxCCalibMark::Reset()
{
    m_ImageCoords = {};
    m_WorldCoords = {};
    m_bInvalid = false;
    m_bUsable = true;
    m_iId = 0;
    m_dQuality = 1.0;
}

} // namespace LxCV
