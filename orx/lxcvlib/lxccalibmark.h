// A mark of a calibration target, found in an image.
#pragma once

#include "lxc3dcoordscct.h"
#include "lxcsensorcoordscct.h"
#include "orx/base/export.h"

#include <memory>
#include <string>

namespace LxCV {

/// Where a mark was seen (pixels, sub-pixel), which mark of the target it is (id, 0 while not identified), and
/// whether and how well it can be used. Stored: image position, world position (millimetres, target frame),
/// invalid flag, usable flag, id, quality (lower is better, never negative), quality limit.
///
/// The order of the virtual operations is fixed; classes of special marks append theirs.
class ORX_EXPORT LxCCalibMark
{
public:
    LxCCalibMark() = default;
    LxCCalibMark(const LxCCalibMark&) = default;
    LxCCalibMark& operator=(const LxCCalibMark&) = default;
    virtual ~LxCCalibMark() = default;

    virtual bool IsInvalid() const { return m_bInvalid; }
    virtual void ToggleValidity() { m_bInvalid = !m_bInvalid; }
    virtual void MakeInvalid() { m_bInvalid = true; }
    virtual void SetId(int id) { m_iId = id; }
    virtual int GetId() const { return m_iId; }
    virtual double GetXImg() const { return m_ImageCoords.x; }
    virtual double GetYImg() const { return m_ImageCoords.y; }
    virtual void SetXImg(double x) { m_ImageCoords.x = x; }
    virtual void SetYImg(double y) { m_ImageCoords.y = y; }

    /// Whether the mark is usable, not invalid, and its quality value lies below the limit.
    virtual bool UseForCalib() const;

    /// Takes the mark out of calibration, and back in, while it stays in its list.
    virtual void MarkAsUnusableForCalib() { m_bUsable = false; }
    virtual void MarkAsUsableForCalib() { m_bUsable = true; }

    /// Appends the id and, `withPosition`, ": " and the image position with stream precision 2.
    virtual void Sprint(std::string& out, bool withPosition) const;

    virtual LxC3DCoordsCCT& GetWorldCoords() { return m_WorldCoords; }
    virtual const LxC3DCoordsCCT& GetWorldCoords() const { return m_WorldCoords; }
    virtual const LxCSensorCoordsCCT& GetImageCoords() const { return m_ImageCoords; }

    virtual double GetQuality() const { return m_dQuality; }

    /// Stores the larger of `quality` and 0. A value that is not a number is kept, and keeps the mark from use.
    virtual void SetQuality(double quality);

    /// All fields as constructed, except for the quality limit, which stays.
    virtual void Reset();

    /// A copy of the same dynamic type: every class of marks overrides this. Pointers to what the mark does not own
    /// stay as they are.
    virtual std::unique_ptr<LxCCalibMark> Clone() const { return std::make_unique<LxCCalibMark>(*this); }

    double GetQualityLimit() const { return m_dQualityLimit; }
    void SetQualityLimit(double limit) { m_dQualityLimit = limit; }

private:
    LxCSensorCoordsCCT m_ImageCoords;
    LxC3DCoordsCCT m_WorldCoords;
    bool m_bInvalid = false;
    bool m_bUsable = true;
    int m_iId = 0;
    double m_dQuality = 1.0;
    double m_dQualityLimit = 10.0;
};

} // namespace LxCV
