// A camera model whose derived tables can be looked at, loaded from plain numbers.
#pragma once

#include "lxcpinholeframework.h"
#include "tests/lxcvlib/cameramodel.h"
#include "tests/lxcvlib/sectiontext.h"

#include <string>
#include <vector>

namespace LxCV::TestSupport {

class CFrameworkProbe : public LxCPinholeFramework
{
public:
    using LxCPinholeFramework::AuxComputeDepth;
    using LxCPinholeFramework::AuxTrafoProjImgToCamCoords;
    using LxCPinholeFramework::InitIdUnwrapLUTCC;
    using LxCPinholeFramework::InitIdUnwrapLUTGeneric;
    using LxCPinholeFramework::PrepareLightPlanes;
    using LxCPinholeFramework::UnwrappingLutIndexFromPosition;

    CFrameworkProbe() = default;
    explicit CFrameworkProbe(const CCameraModel& model)
    {
        Load(*this, "::MV3DCam", ModelText(model, "::MV3DCam"));
    }
    explicit CFrameworkProbe(const std::string& text) { Load(*this, "::MV3DCam", text); }
};

struct CXYZ
{
    double x;
    double y;
    double z;
};

inline CXYZ EdgeXYZ(const LxCPinholeFramework& framework, double col, double row, int edge, bool camCoords,
                    bool skipNearMarks = false)
{
    CXYZ p{-1.0, -1.0, -1.0};
    framework.ComputeEdgeXYZ(col, row, edge, camCoords, &p.x, &p.y, &p.z, skipNearMarks);
    return p;
}

} // namespace LxCV::TestSupport
