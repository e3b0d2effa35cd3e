// Any text as a target's data file: world coordinates and thresholds are read, with memory in proportion to it, or
// refused; what was read is written, and read again as the same; what goes by the thresholds comes to an end.
//
// Input: the text.
#include "lxccalibbody.h"

#include "lxccalibrationdata.h"
#include "lxccbcalibbody.h"
#include "lxccbcalibthres.h"
#include "lxccctserializer.h"
#include "lxccprojslidecalibthres.h"
#include "orx/logging/logger.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace LxCV;

void Require(bool condition)
{
    if (!condition) {
        std::abort();
    }
}

/// Opens what the target holds.
class CPlainTarget : public LxCCalibBody
{
public:
    explicit CPlainTarget(std::unique_ptr<LxCCalibThres> thres) : LxCCalibBody(false)
    {
        m_pThres = std::move(thres);
    }

    ECalibError LocateCalibMarks(LxCCalibData&, bool) override { return eCalibNotDone; }
    ECalibError IdentifyCalibMarks() override { return eCalibNotDone; }

    const std::vector<LxC3DCoordsCCT>& GetCoords() const { return m_vWorldCoords; }
};

class CTextSerializer : public LxCCCTSerializer
{
public:
    explicit CTextSerializer(const std::string& text)
    {
        std::stringstream source(text);
        ReadFromStringStream(source);
        Init(false, false);
    }
};

void AddMarks(LxCCalibBody& target)
{
    constexpr std::array c_aiIds{1, 2, 3, 0, 0, -1, std::numeric_limits<int>::max()};
    for (std::size_t i = 0; i < c_aiIds.size(); ++i) {
        auto mark = std::make_unique<LxCCalibMark>();
        mark->SetXImg(100.0 + 20.0 * static_cast<double>(i));
        mark->SetYImg(100.0);
        mark->SetId(c_aiIds[i]);
        target.GetCalibMarks().push_back(mark.release());
    }
}

void Use(LxCCalibBody& target, int columns, int rows)
{
    AddMarks(target);
    target.FilterOutMarksInImgMargin(658, 494);
    target.PropagateIdsOverGrid(columns, rows, 5.0, target.GetThres()->m_iMaxIterationsPropIDs);
    std::array<double, 4> box{};
    Require(target.GetPositionInWC(&box[0], &box[1], &box[2], &box[3]) == eCalibOk);
    for (const LxCCalibMark* mark : target.GetCalibMarks()) {
        target.GetWorldCoords(*mark);
    }
    std::vector<LxCCalibrationData*> records;
    target.ExportCalibrationData(records);
    for (const LxCCalibrationData* record : records) {
        delete record;
    }
}

/// Reads coordinates and thresholds; false where the coordinates are refused.
bool Read(LxCCalibBody& target, const std::string& text)
{
    std::istringstream stream(text);
    const ECalibError result = target.Read3DCoordsFromStream(stream);
    Require(result == eCalibOk || result == eCalibWorldFileBad);
    CTextSerializer serializer(text);
    target.GetThres()->Serialize(serializer, "::Thres");
    return result == eCalibOk;
}

bool AreSame(double a, double b)
{
    return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b) || (a != a && b != b);
}

void CheckRoundTrip(const std::vector<LxC3DCoordsCCT>& points)
{
    std::ostringstream text;
    text.precision(9); // digits that tell a float
    text << "::Coords\n";
    for (const LxC3DCoordsCCT& point : points) {
        text << point.x << '\t' << point.y << '\t' << point.z << '\n';
    }
    CPlainTarget again(std::make_unique<LxCCalibThres>());
    Require(Read(again, text.str()));
    Require(again.GetCoords().size() == points.size());
    for (std::size_t i = 0; i < points.size(); ++i) {
        for (int axis = 0; axis < 3; ++axis) {
            Require(AreSame(again.GetCoords()[i][axis], points[i][axis]));
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const Logging::CCapture quiet;
    const std::string text(data, data + size);

    CPlainTarget slide(std::make_unique<LxCCProjSlideCalibThres>());
    const bool read = Read(slide, text);
    Require(slide.GetCoords().size() <= size / 3); // "1 1" is the shortest line
    Require(!read || !slide.GetCoords().empty());
    if (read) {
        CheckRoundTrip(slide.GetCoords());
    }
    const auto& slideThres = dynamic_cast<const LxCCProjSlideCalibThres&>(*slide.GetThres());
    Use(slide, slideThres.m_iNrOfCols, slideThres.m_iNrOfRows);

    LxCCBCalibBody board(true);
    Require(Read(board, text) == read);
    const auto& boardThres = dynamic_cast<const LxCCBCalibThres&>(*board.GetThres());
    Require(boardThres.m_iMinEdgeLen >= 1 && boardThres.m_iMaxEdgeLen >= boardThres.m_iMinEdgeLen);
    Use(board, boardThres.m_iNrOfCols, boardThres.m_iNrOfRows);
    board.IsInsideBlackAreaOnTarget(1.0, 1.0);
    board.GetDistToBlackAreaOnTarget(1.0, 1.0);
    return 0;
}
