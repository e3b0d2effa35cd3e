// A checkerboard target that a test sees into, and views of drawn boards.
#pragma once

#include "lxccalibdata.h"
#include "lxccbcalibbody.h"
#include "lxccbcalibthres.h"
#include "lxccbrect.h"
#include "lxccbrectedge.h"
#include "lxcrectcornercalibmark.h"
#include "squareboard.h"

#include <memory>
#include <utility>
#include <vector>

namespace LxCV::TestSupport {

class CCheckerboardProbe : public LxCCBCalibBody
{
public:
    explicit CCheckerboardProbe(bool createThres = true) : LxCCBCalibBody(createThres) {}

    using LxCCBCalibBody::m_pIntrinsicParams;
    using LxCCBCalibBody::m_pThres;
    using LxCCBCalibBody::m_vMarks;
    using LxCCBCalibBody::m_vRects;
    using LxCCBCalibBody::m_vSecondMarks;
    using LxCCBCalibBody::m_vSecondRects;
    using LxCCBCalibBody::m_vWorldCoords;

    LxCCBCalibThres& Thres() { return *GetCBThres(); }

    /// A corner without edges, which the target owns.
    LxCRectCornerCalibMark& AddCorner(double x, double y, LxCRectCornerCalibMark::EType type)
    {
        auto corner = std::make_unique<LxCRectCornerCalibMark>(false);
        corner->SetXImg(x);
        corner->SetYImg(y);
        corner->SetType(type);
        m_vMarks.push_back(corner.get());
        return *corner.release();
    }

    /// A square of four corners without edges, which the target owns. Upper left, upper right, lower left, lower right.
    LxCCBRect& AddRect(const std::array<SPoint, 4>& corners, int id)
    {
        auto rect = std::make_unique<LxCCBRect>();
        rect->SetId(id);
        const auto add = [&](std::size_t i) {
            auto& corner =
                AddCorner(corners[i].x, corners[i].y, static_cast<LxCRectCornerCalibMark::EType>(i + 1));
            corner.SetRect(rect.get());
            return &corner;
        };
        rect->SetULCorner(add(0));
        rect->SetURCorner(add(1));
        rect->SetLLCorner(add(2));
        rect->SetLRCorner(add(3));
        m_vRects.push_back(rect.get());
        return *rect.release();
    }
};

/// The images of a view of a picture.
inline LxCCalibData ViewOf(const CCTImage& picture)
{
    LxCCalibData data;
    data.Init(picture.GetWidth(), picture.GetHeight());
    data.GetImage(LxCCalibData::eCamImage).CopyFrom(&picture, false);
    return data;
}

/// The mark nearest to a point; null without marks.
inline LxCRectCornerCalibMark* Nearest(const std::vector<LxCCalibMark*>& marks, const SPoint& point)
{
    LxCRectCornerCalibMark* nearest = nullptr;
    double least = 1e300;
    for (LxCCalibMark* mark : marks) {
        const double distance = std::hypot(mark->GetXImg() - point.x, mark->GetYImg() - point.y);
        if (distance < least) {
            least = distance;
            nearest = dynamic_cast<LxCRectCornerCalibMark*>(mark);
        }
    }
    return nearest;
}

} // namespace LxCV::TestSupport
