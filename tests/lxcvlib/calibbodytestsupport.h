// A target that does no more than its base, for the tests of what all targets share.
#pragma once

#include "lxccalibbody.h"
#include "lxccalibrationdata.h"

#include <memory>
#include <vector>

namespace LxCV::TestSupport {

/// Opens what descendants may use, and fills the two empty places.
class CPlainTarget : public LxCCalibBody
{
public:
    explicit CPlainTarget(bool createThres = true) : LxCCalibBody(createThres) {}

    ECalibError LocateCalibMarks(LxCCalibData&, bool) override { return eCalibNotDone; }
    ECalibError IdentifyCalibMarks() override { return eCalibNotDone; }

    LxCCalibMark* AddMark(double x, double y, int id = 0)
    {
        auto mark = std::make_unique<LxCCalibMark>();
        mark->SetXImg(x);
        mark->SetYImg(y);
        mark->SetId(id);
        m_vMarks.push_back(mark.get());
        return mark.release();
    }

    using LxCCalibBody::m_bDataLoaded;
    using LxCCalibBody::m_bNormalized;
    using LxCCalibBody::m_iNumMeasurements;
    using LxCCalibBody::m_pIntrinsicParams;
    using LxCCalibBody::m_pThres;
    using LxCCalibBody::m_sLoadedFile;
    using LxCCalibBody::m_sPath;
    using LxCCalibBody::m_vMarks;
    using LxCCalibBody::m_vWorldCoords;
};

/// Records that an export has made, owned.
class CRecords
{
public:
    CRecords() = default;
    ~CRecords() { Clear(); }
    CRecords(const CRecords&) = delete;
    CRecords& operator=(const CRecords&) = delete;

    void Clear()
    {
        for (const LxCCalibrationData* record : list) {
            delete record;
        }
        list.clear();
    }

    std::vector<LxCCalibrationData*> list;
};

} // namespace LxCV::TestSupport
