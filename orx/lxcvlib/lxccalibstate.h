// Whether, when and how something was calibrated.
#pragma once

#include "orx/base/export.h"

#include <string>

namespace LxCV {

class LxCCCTSerializer;

/// The calibration record of a device or a parameter block: a flag, the local time, the revision of the
/// software as text, and free information.
class ORX_EXPORT LxCCalibState
{
public:
    static constexpr int sc_iRevisionNumber = 200000;

    LxCCalibState() = default;
    LxCCalibState(const LxCCalibState&) = default;
    LxCCalibState& operator=(const LxCCalibState&) = default;
    virtual ~LxCCalibState() = default;

    /// Sets the flag, stamps the local time ("dd.mm.yyyy hh:mm") and this software's revision.
    void FinishedCalibrationSuccessful(const std::wstring& info);

    /// Returns all four fields to their initial values.
    void ResetCalibState();

    bool IsCalibrated() const { return m_bCalibrated; }
    const std::wstring& GetCalibTime() const { return m_sCalibTime; }
    const std::wstring& GetCalibInfos() const { return m_sCalibInfos; }

    /// The revision text as a decimal, octal or hexadecimal number, as scanf's "%i" reads it; 0 for no number.
    int GetRevisionNumber() const;

    /// Keys: Calibrated, CalibTime, CalibRevNumber, CalibInfos. Writes no section header: the owner of the
    /// section writes it.
    virtual void Serialize(LxCCCTSerializer& serializer, const std::string& section);

private:
    bool m_bCalibrated = false;
    std::wstring m_sCalibTime;
    std::wstring m_sCalibRevNumber;
    std::wstring m_sCalibInfos;
};

} // namespace LxCV
