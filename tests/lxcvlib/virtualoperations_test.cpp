// The order of virtual operations in the classes that other modules derive from or call through a base.
#include "lxaframegrabber.h"
#include "lxcframegrabberreqs.h"
#include "lxcprojslidecalibbody.h"
#include "lxcpropertybag.h"
#include "lxcrectcornercalibmark.h"
#include "lxcroi.h"
#include "lxcstripepattern.h"
#include "lxcworkingspace.h"
#include "lxiperformancecounter.h"
#include "tests/support/virtualslot.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <initializer_list>
#include <type_traits>
#include <vector>

namespace LxCV {
namespace {

using ::TestSupport::SlotBehindDestructor;
using ::TestSupport::SlotOf;

constexpr std::ptrdiff_t c_iOfTargets = 37; ///< places of a target behind its destructor

/// Picks one of several functions of a name by its type, such as `bool(int)` or `int() const`.
template <typename Signature, typename Class>
Signature Class::*Pick(Signature Class::*function)
{
    return function;
}

/// The places are `first` and those behind it, one after the other.
void ExpectInARow(std::ptrdiff_t first, std::initializer_list<std::ptrdiff_t> places)
{
    std::ptrdiff_t expected = first;
    for (const std::ptrdiff_t place : places) {
        EXPECT_EQ(place, expected);
        ++expected;
    }
}

TEST(VirtualOperations, RegionsHaveNineAndNoDestructor)
{
    ExpectInARow(0, {SlotOf(&LxCRoi::Reset), SlotOf(&LxCRoi::Shift), SlotOf(&LxCRoi::Set),
                     SlotOf(&LxCRoi::operator*), SlotOf(&LxCRoi::operator/), SlotOf(&LxCRoi::operator+),
                     SlotOf(Pick<bool(int, int)>(&LxCRoi::Shrink)), SlotOf(Pick<bool(int)>(&LxCRoi::Shrink)),
                     SlotOf(Pick<bool(int, int, int&, int&, int&, int&) const>(&LxCRoi::Intersect))});
}

TEST(VirtualOperations, RequirementsHaveThreeBeforeTheirDestructor)
{
    using Reqs = LxCFrameGrabberReqs;
    ExpectInARow(0, {SlotOf(&Reqs::Serialize), SlotOf(&Reqs::ComputePreliminaryLiveImages),
                     SlotOf(&Reqs::ConvertImage)});
}

TEST(VirtualOperations, AWorkingSpaceHasOne)
{
    EXPECT_EQ(SlotOf(&LxCWorkingSpace::Serialize), 0);
    EXPECT_FALSE(std::has_virtual_destructor_v<LxCWorkingSpace>);
}

TEST(VirtualOperations, SmallInterfacesKeepTheirOrder)
{
    ExpectInARow(
        0, {SlotOf(&LxIPerformanceCounter::AddTimestamp), SlotOf(&LxIPerformanceCounter::GetTimestamp)});
    ExpectInARow(0, {SlotBehindDestructor(&LxISerializedProperty::read),
                     SlotBehindDestructor(&LxISerializedProperty::write)});
    ExpectInARow(
        0, {SlotBehindDestructor(&LxCCCTSerializer::Init), SlotBehindDestructor(&LxCCCTSerializer::Exit)});
    EXPECT_EQ(SlotBehindDestructor(&LxCCalibState::Serialize), 0);
}

TEST(VirtualOperations, APatternAddsTwoToThoseOfItsBase)
{
    struct Pattern : LxCStripePattern
    {
        using LxCStripePattern::Reset;
    };
    using Base = LxAProjectionPatternBase;
    ExpectInARow(0,
                 {SlotBehindDestructor(&Base::Serialize), SlotBehindDestructor(&Base::GetWidth),
                  SlotBehindDestructor(&Base::GetHeight), SlotBehindDestructor(&Base::IsValid),
                  SlotBehindDestructor(&Base::FillEdgePositionArray), SlotBehindDestructor(&Pattern::Reset),
                  SlotBehindDestructor(&LxCStripePattern::SerializeCalibPosLUT)});
}

TEST(VirtualOperations, AFrameGrabberHasFortyEightBehindItsDestructor)
{
    using Grabber = LxAFrameGrabber;
    const auto at = [](auto function) { return SlotBehindDestructor(function); };
    ExpectInARow(0, {at(&Grabber::Init),
                     at(&Grabber::Start),
                     at(&Grabber::Pause),
                     at(&Grabber::Release),
                     at(&Grabber::AcquireImageRaw),
                     at(&Grabber::AcquireSingleImage),
                     at(&Grabber::AcquireMultiImage),
                     at(Pick<void(CCTImage*)>(&Grabber::ReEnqueueRawBuffers)),
                     at(Pick<void(std::vector<CCTImage*>&)>(&Grabber::ReEnqueueRawBuffers)),
                     at(&Grabber::Rewind),
                     at(&Grabber::Serialize),
                     at(&Grabber::SetShutterTimePat),
                     at(&Grabber::SetShutterTimeRef),
                     at(&Grabber::SetShutterTime),
                     at(&Grabber::GetShutterTimePat),
                     at(&Grabber::GetShutterTimeRef),
                     at(&Grabber::GetMinMaxShutterTime),
                     at(&Grabber::GetCCTSequencePeriod),
                     at(&Grabber::GetCCTCCTFrameDelay),
                     at(&Grabber::SetGain),
                     at(&Grabber::SetRGain),
                     at(&Grabber::SetGGain),
                     at(&Grabber::SetBGain),
                     at(&Grabber::GetGain),
                     at(&Grabber::GetRGain),
                     at(&Grabber::GetGGain),
                     at(&Grabber::GetBGain),
                     at(&Grabber::GetMinMaxGain),
                     at(&Grabber::GetMinMaxRGain),
                     at(&Grabber::GetMinMaxGGain),
                     at(&Grabber::GetMinMaxBGain),
                     at(&Grabber::GetMinMaxBrightness),
                     at(&Grabber::GetSerialNumber),
                     at(&Grabber::GetDriverName),
                     at(&Grabber::SetDriverName),
                     at(&Grabber::GetCamNr),
                     at(&Grabber::GetNrOfImgs),
                     at(&Grabber::IsSimulated),
                     at(&Grabber::GetLEDSequence),
                     at(&Grabber::SetLEDSequence),
                     at(&Grabber::ReadFPGATemperature),
                     at(&Grabber::WriteIniFileToDevice),
                     at(&Grabber::ReadIniFileFromDevice),
                     at(&Grabber::IsThereAnIniFileOnDevice),
                     at(&Grabber::ReadAccelerometer),
                     at(&Grabber::GetFirmwareVersion),
                     at(&Grabber::ChangePresetShutterAsynchron),
                     at(&Grabber::ExportColorData)});
}

TEST(VirtualOperations, AMarkHasNineteenBehindItsDestructorAndACornerAddsFour)
{
    using Mark = LxCCalibMark;
    using Corner = LxCRectCornerCalibMark;
    const auto at = [](auto function) { return SlotBehindDestructor(function); };
    ExpectInARow(0, {at(&Mark::IsInvalid),
                     at(&Mark::ToggleValidity),
                     at(&Mark::MakeInvalid),
                     at(&Mark::SetId),
                     at(&Mark::GetId),
                     at(&Mark::GetXImg),
                     at(&Mark::GetYImg),
                     at(&Mark::SetXImg),
                     at(&Mark::SetYImg),
                     at(&Mark::UseForCalib),
                     at(&Mark::MarkAsUnusableForCalib),
                     at(&Mark::MarkAsUsableForCalib),
                     at(&Mark::Sprint),
                     at(Pick<LxC3DCoordsCCT&()>(&Mark::GetWorldCoords)),
                     at(Pick<const LxC3DCoordsCCT&() const>(&Mark::GetWorldCoords)),
                     at(&Mark::GetImageCoords),
                     at(&Mark::GetQuality),
                     at(&Mark::SetQuality),
                     at(&Mark::Reset),
                     at(&Mark::Clone), // how a list of marks of any class is copied
                     at(&Corner::IsVirtual),
                     at(&Corner::IsRectIdManAssigned),
                     at(&Corner::AssignIdMan),
                     at(&Corner::GetRectId)});
}

TEST(VirtualOperations, ATargetHasThirtySevenBehindItsDestructor)
{
    using Body = LxCCalibBody;
    using Marks = std::vector<LxCCalibMark*>;
    const auto at = [](auto function) { return SlotBehindDestructor(function); };
    ExpectInARow(0, {at(&Body::LocateCalibMarks),
                     at(&Body::AssessMarkQual),
                     at(&Body::DrawCalibMarks),
                     at(&Body::PrintCalibMarks),
                     at(&Body::IdentifyCalibMarks),
                     at(&Body::GetNrOfGoodMarks),
                     at(Pick<Marks&()>(&Body::GetCalibMarks)),
                     at(Pick<const Marks&() const>(&Body::GetCalibMarks)),
                     at(&Body::ExportCalibrationData),
                     at(&Body::ExportCalibrationDataDirect),
                     at(&Body::ExportCalibrationDataUsingWCDataFile),
                     at(&Body::ExportCalibrationDataUsingWCandICDataFile),
                     at(&Body::GetWorldCoords),
                     at(Pick<LxCCalibMark*(int) const>(&Body::FindCalibMark)),
                     at(Pick<LxCCalibMark*(double, double, double, double) const>(&Body::FindCalibMark)),
                     at(Pick<LxCCalibMark*(double, double, double) const>(&Body::FindCalibMark)),
                     at(Pick<LxCCalibMark*(int, int, int) const>(&Body::FindCalibMark)),
                     at(&Body::ToggleCalibMark),
                     at(&Body::ManAssignId),
                     at(&Body::IdToWCDirect),
                     at(&Body::Reset),
                     at(&Body::DrawMask),
                     at(&Body::ApplyMask),
                     at(&Body::FilterOutMarksInImgMargin),
                     at(&Body::LoadDataFile),
                     at(&Body::Read3DCoordsFromDataFile),
                     at(&Body::Read3DCoordsFromStream),
                     at(&Body::NormalizeTargetCoordsToCenter),
                     at(&Body::FilterOutCalibMarks),
                     at(&Body::AnalyzeBrightnessDist),
                     at(&Body::GetMeanPos),
                     at(&Body::GetPositionInWC),
                     at(&Body::EstimateNewPosition),
                     at(&Body::PropagateIdsOverGrid),
                     at(&Body::PropagateIdsFromSeeds),
                     at(&Body::FindCalibMarkIndex),
                     at(&Body::DoubleCheckIds)});
}

TEST(VirtualOperations, ABoardAddsThirteenAndASlideSeven)
{
    using Board = LxCCBCalibBody;
    using Slide = LxCProjSlideCalibBody;
    const auto at = [](auto function) { return SlotBehindDestructor(function); };
    ExpectInARow(
        c_iOfTargets,
        {at(Pick<void(CCTImage*)>(&Board::DrawCalibMarks)),
         at(&Board::DetectAllRectsExtern),
         at(&Board::FilterRectsForValidRectangle),
         at(&Board::DetectValidRectangleWithinCalibMarks),
         at(&Board::SortRectsDiagonal),
         at(&Board::IdentifyCalibMarksWDefaultOrient3EmbSqs),
         at(&Board::RemoveRects),
         at(&Board::DetectAllRects),
         at(&Board::DetectEmbeddedRects),
         at(&Board::ComputeCornerAngle),
         at(&Board::SortRects),
         at(&Board::PropagateRectIds),
         at(&Board::CreateEdgeImgs),
         at(&Board::RemoveRectEdges),
         at(&Slide::LocateCalibMarks2),
         at(Pick<ECalibError(CCTImage*, LxCCalibData&, LxCPinholeFramework*)>(&Slide::IdentifyCalibMarks)),
         at(&Slide::DetPatternColumn),
         at(&Slide::DetPatternRow),
         at(&Slide::EnforceVerEdgeConsistency),
         at(&Slide::ImprovePositionEstimate),
         at(Pick<void(LxCCCLAlgoData&, LxCCalibData&, int, bool)>(&Slide::CreateEdgeImgs))});
}

} // namespace
} // namespace LxCV
