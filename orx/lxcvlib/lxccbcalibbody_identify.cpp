// Identification of the squares of a checkerboard target.
#include "lxccbcalibbody.h"
#include "lxccbrect.h"

#include <istream>

namespace LxCV {

// A target whose squares have no ids yet: no orientation, no seeds to spread ids from.

ECalibError LxCCBCalibBody::IdentifyCalibMarks()
{
    DetectAllRectsExtern();
    return eCalibWrongOrientation;
}

ECalibError LxCCBCalibBody::IdentifyCalibMarksWDefaultOrient3EmbSqs()
{
    DetectAllRectsExtern();
    return eCalibNoFourSquares;
}

ECalibError LxCCBCalibBody::ExportCalibrationDataUsingWCDataFile(std::vector<LxCCalibrationData*>& out)
{
    return LxCCalibBody::ExportCalibrationDataUsingWCDataFile(out);
}

LxC3DCoordsCCT LxCCBCalibBody::GetWorldCoords(const LxCCalibMark& mark) const
{
    return LxCCalibBody::GetWorldCoords(mark);
}

ECalibError LxCCBCalibBody::Read3DCoordsFromStream(std::istream& stream)
{
    return LxCCalibBody::Read3DCoordsFromStream(stream);
}

ECalibError LxCCBCalibBody::DoubleCheckIds(int columns, int rows)
{
    return LxCCalibBody::DoubleCheckIds(columns, rows);
}

void LxCCBCalibBody::FilterRectsForValidRectangle(double) {}

bool LxCCBCalibBody::DetectValidRectangleWithinCalibMarks(LxCCBRect**, double)
{
    return false;
}

ECalibError LxCCBCalibBody::SortRectsDiagonal(int, int, LxCCBRect**, LxCCBRect**, LxCCBRect**, LxCCBRect**)
{
    return eCalibNotDone;
}

int LxCCBCalibBody::DetectEmbeddedRects(std::vector<LxCCBRect*>& embedded, std::vector<LxCCBRect*>& enclosing)
{
    for (LxCCBRect* candidate : m_vSecondRects) {
        for (LxCCBRect* rect : m_vRects) {
            if (candidate->IsEnclosedBy(*rect)) {
                embedded.push_back(candidate);
                enclosing.push_back(rect);
                break;
            }
        }
    }
    return static_cast<int>(embedded.size());
}

bool LxCCBCalibBody::SortRects(const std::vector<LxCCBRect*>&, LxCCBRect**, LxCCBRect**, LxCCBRect**,
                               LxCCBRect**)
{
    return false;
}

ECalibError LxCCBCalibBody::PropagateRectIds(int, int)
{
    return eCalibOk;
}

} // namespace LxCV
