// Tests of the progress of a calibration and of the listeners' interfaces.
#include "lxapinholecalibrationlistener.h"

#include "cmv3dcamlistener.h"
#include "lxcpinholecamera.h"
#include "lxsscandata.h"
#include "tests/support/virtualslot.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace LxCV {
namespace {

class CListenerProbe : public LxAPinholeCalibrationListener
{
public:
    // The slots of functions that are protected can be told in here only.
    static std::ptrdiff_t ProgressSlot()
    {
        return ::TestSupport::SlotBehindDestructor(&CListenerProbe::OnProgressPinholeCalibration);
    }
    static std::ptrdiff_t SecondSlot()
    {
        return ::TestSupport::SlotBehindDestructor(&CListenerProbe::IsPinholeCalibrationCancelled);
    }

    std::vector<float> m_vfReports;
    int m_iQuestions = 0;

protected:
    void OnProgressPinholeCalibration(float progress) override { m_vfReports.push_back(progress); }
    bool IsPinholeCalibrationCancelled() override
    {
        ++m_iQuestions;
        return false;
    }
};

ECalibrationStep Step(std::int32_t number)
{
    return static_cast<ECalibrationStep>(number);
}

ECalibrationType Type(std::int32_t number)
{
    return static_cast<ECalibrationType>(number);
}

using CPlan = std::vector<std::pair<std::int32_t, float>>;

/// Steps in their order, each with the overall progress at its end; by type.
const std::map<std::int32_t, CPlan> c_Plans = {
    {0, {{5, 0.8F}, {6, 1.0F}}},
    {1, {{5, 0.4F}, {6, 0.5F}, {7, 0.7F}, {9, 1.0F}}},
    {2, {{7, 1.0F}}},
    {3,
     {{1, 0.1F},
      {2, 0.15F},
      {3, 0.18F},
      {4, 0.2F},
      {5, 0.3F},
      {6, 0.34F},
      {7, 0.55F},
      {9, 0.62F},
      {10, 0.7F},
      {11, 0.75F},
      {8, 1.0F}}},
    {4,
     {{1, 0.1F},
      {2, 0.15F},
      {3, 0.18F},
      {4, 0.2F},
      {5, 0.3F},
      {6, 0.34F},
      {7, 0.55F},
      {9, 0.62F},
      {10, 0.7F},
      {11, 0.75F},
      {8, 0.9F},
      {12, 1.0F}}},
};

/// Each step starts where the one before it in the plan ended; steps that are not in the plan are at 0.
void ExpectPlan(const LxAPinholeCalibrationListener& listener, const CPlan& plan)
{
    std::map<std::int32_t, std::pair<float, float>> expected;
    float progress = 0.0F;
    for (const auto& [step, end] : plan) {
        expected[step] = {progress, end};
        progress = end;
    }
    for (std::int32_t step = 0; step <= 12; ++step) {
        EXPECT_EQ(listener.GetProgressAtStartOfStep(Step(step)), expected[step].first) << step;
        EXPECT_EQ(listener.GetProgressAtEndOfStep(Step(step)), expected[step].second) << step;
    }
}

TEST(LxAPinholeCalibrationListener, PlanOfEachTypeIsThatOfTheTable)
{
    for (const auto& [type, plan] : c_Plans) {
        SCOPED_TRACE(type);
        CListenerProbe listener;
        listener.InitProgressPinholeCalibration(Type(type));
        EXPECT_EQ(listener.GetCalibrationType(), type);
        ExpectPlan(listener, plan);
    }
}

TEST(LxAPinholeCalibrationListener, ProjectorBetweenTheOtherStepsRunsFromHalfToSevenTenths)
{
    CListenerProbe listener;
    listener.InitProgressPinholeCalibration(eCalibTypeCameraAndProjector);
    EXPECT_EQ(listener.GetProgressAtStartOfStep(Step(7)), 0.5F);
    EXPECT_EQ(listener.GetProgressAtEndOfStep(Step(7)), 0.7F);
}

TEST(LxAPinholeCalibrationListener, EveryPlanReplacesTheOneBefore)
{
    for (const auto& [first, firstPlan] : c_Plans) {
        for (const auto& [second, plan] : c_Plans) {
            SCOPED_TRACE(std::to_string(first) + " then " + std::to_string(second));
            CListenerProbe listener;
            listener.InitProgressPinholeCalibration(Type(first));
            listener.InitProgressPinholeCalibration(Type(second));
            ExpectPlan(listener, plan);
        }
    }
}

TEST(LxAPinholeCalibrationListener, OtherTypesHaveNoSteps)
{
    for (const std::int32_t type :
         {-1, 5, 100, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()}) {
        SCOPED_TRACE(type);
        CListenerProbe listener;
        listener.InitProgressPinholeCalibration(eCalibTypeWholeAndCheck);
        listener.InitProgressPinholeCalibration(Type(type));
        EXPECT_EQ(listener.GetCalibrationType(), type);
        ExpectPlan(listener, {});
    }
}

TEST(LxAPinholeCalibrationListener, NewListenerHasTypeAndStepZeroAndNoPlan)
{
    const CListenerProbe listener;
    EXPECT_EQ(listener.GetCalibrationType(), 0);
    EXPECT_EQ(listener.GetCurrentCalibrationStep(), 0);
    ExpectPlan(listener, {});
}

TEST(LxAPinholeCalibrationListener, NumbersThatAreNoStepsAreAtZero)
{
    CListenerProbe listener;
    listener.InitProgressPinholeCalibration(eCalibTypeWholeAndCheck);
    for (const std::int32_t step : {-1, -13, 13, 14, 1000000, std::numeric_limits<std::int32_t>::min(),
                                    std::numeric_limits<std::int32_t>::max()}) {
        EXPECT_EQ(listener.GetProgressAtStartOfStep(Step(step)), 0.0F) << step;
        EXPECT_EQ(listener.GetProgressAtEndOfStep(Step(step)), 0.0F) << step;
        listener.SetProgressPinholeCalibrationStep(Step(step), 0.5F);
    }
    EXPECT_EQ(listener.m_vfReports, std::vector<float>(7, 0.0F));
}

TEST(LxAPinholeCalibrationListener, ShareOfAStepIsReportedBetweenItsEnds)
{
    for (const auto& [type, plan] : c_Plans) {
        float start = 0.0F;
        for (const auto& [step, end] : plan) {
            for (const float share : {0.0F, 0.25F, 0.5F, 1.0F}) {
                CListenerProbe listener;
                listener.InitProgressPinholeCalibration(Type(type));
                listener.SetProgressPinholeCalibrationStep(Step(step), share);
                const float difference = end - start;
                const float expected = start + difference * share;
                EXPECT_EQ(listener.m_vfReports, std::vector<float>{expected}) << type << ' ' << step;
            }
            start = end;
        }
    }
}

TEST(LxAPinholeCalibrationListener, StepThatIsNamedDoesNotBecomeTheCurrentOne)
{
    CListenerProbe listener;
    listener.InitProgressPinholeCalibration(eCalibTypeCameraAndProjector);
    listener.SetCurrentCalibrationStep(eCalibStepCamera1);
    listener.SetProgressPinholeCalibrationStep(eCalibStepProjector2, 1.0F);
    EXPECT_EQ(listener.GetCurrentCalibrationStep(), eCalibStepCamera1);
    listener.SetProgressPinholeCalibrationStep(0.5F);
    EXPECT_EQ(listener.m_vfReports, (std::vector<float>{1.0F, 0.2F}));
}

TEST(LxAPinholeCalibrationListener, NewPlanKeepsTheCurrentStep)
{
    CListenerProbe listener;
    listener.SetCurrentCalibrationStep(eCalibStepProjector1);
    listener.InitProgressPinholeCalibration(eCalibTypeProjector);
    listener.SetProgressPinholeCalibrationStep(0.75F);
    EXPECT_EQ(listener.GetCurrentCalibrationStep(), eCalibStepProjector1);
    EXPECT_EQ(listener.m_vfReports, std::vector<float>{0.75F});
}

TEST(LxAPinholeCalibrationListener, CurrentStepThatIsNoStepReportsZero)
{
    CListenerProbe listener;
    listener.InitProgressPinholeCalibration(eCalibTypeWhole);
    listener.SetCurrentCalibrationStep(Step(-7));
    EXPECT_EQ(listener.GetCurrentCalibrationStep(), -7);
    listener.SetProgressPinholeCalibrationStep(0.5F);
    EXPECT_EQ(listener.m_vfReports, std::vector<float>{0.0F});
}

TEST(LxAPinholeCalibrationListener, SharesOutsideOfTheStepAreTakenAsTheyAre)
{
    // Step 7 of the projector's plan runs from 0 to 1, so that the share is the progress.
    CListenerProbe listener;
    listener.InitProgressPinholeCalibration(eCalibTypeProjector);
    listener.SetProgressPinholeCalibrationStep(eCalibStepProjector1, -0.5F);
    listener.SetProgressPinholeCalibrationStep(eCalibStepProjector1, 1.5F);
    EXPECT_EQ(listener.m_vfReports, (std::vector<float>{-0.5F, 1.5F}));
    listener.SetProgressPinholeCalibrationStep(eCalibStepProjector1, std::numeric_limits<float>::infinity());
    EXPECT_EQ(listener.m_vfReports.back(), std::numeric_limits<float>::infinity());
    listener.SetProgressPinholeCalibrationStep(eCalibStepProjector1, std::numeric_limits<float>::quiet_NaN());
    EXPECT_TRUE(std::isnan(listener.m_vfReports.back()));
}

TEST(LxAPinholeCalibrationListener, OnlyProgressIsEverCalled)
{
    CListenerProbe listener;
    listener.InitProgressPinholeCalibration(eCalibTypeWhole);
    for (std::int32_t step = 0; step <= 12; ++step) {
        listener.SetCurrentCalibrationStep(Step(step));
        listener.SetProgressPinholeCalibrationStep(1.0F);
    }
    EXPECT_EQ(listener.m_vfReports.size(), 13U);
    EXPECT_EQ(listener.m_iQuestions, 0);
}

TEST(LxAPinholeCalibrationListener, ProgressStandsBeforeTheOtherVirtualFunction)
{
    EXPECT_EQ(CListenerProbe::ProgressSlot(), 0);
    EXPECT_EQ(CListenerProbe::SecondSlot(), 1);
    EXPECT_TRUE(std::is_abstract_v<LxAPinholeCalibrationListener>);
}

TEST(LxAPinholeCalibrationListener, CalibrationTakesAListenerAndTellsItNothing)
{
    CListenerProbe listener;
    LxCPinholeCamera camera;
    EXPECT_EQ(camera.PerformCalib(LxCPinholeCamera::eCalibMethodTsai, false, nullptr, 0, 0, 0.0, 0, false,
                                  0.0F, 0.0F, &listener),
              eCalibNotDone);
    EXPECT_TRUE(listener.m_vfReports.empty());
    EXPECT_EQ(listener.m_iQuestions, 0);
}

class CHost : public CMV3DCamListener
{
public:
    void OnAcquisitionStarted() override { m_sCalls += "started "; }
    void OnAcquisitionStopped() override { m_sCalls += "stopped "; }
    void OnImageAcquired(const CCTImage&) override { m_sCalls += "image "; }
    void OnScanDataAvailable(const LxSScanData&) override { m_sCalls += "scan "; }
    void OnCalibrationChanged(bool calibrated) override { m_sCalls += calibrated ? "ready " : "unready "; }
    void OnError(const std::string& message) override { m_sCalls += message; }

    std::string m_sCalls;
};

TEST(CMV3DCamListener, HasNoDataAndIsCopied)
{
    EXPECT_EQ(sizeof(CMV3DCamListener), sizeof(void*)) << "a table of virtual functions and nothing else";
    EXPECT_TRUE(std::is_abstract_v<CMV3DCamListener>);
    EXPECT_TRUE(std::has_virtual_destructor_v<CMV3DCamListener>);
    EXPECT_TRUE(std::is_copy_constructible_v<CHost>);
    EXPECT_TRUE(std::is_copy_assignable_v<CMV3DCamListener>);
}

TEST(CMV3DCamListener, EveryOperationReachesTheHost)
{
    CHost host;
    CMV3DCamListener& listener = host;
    listener.OnAcquisitionStarted();
    listener.OnImageAcquired(CCTImage());
    listener.OnScanDataAvailable(LxSScanData());
    listener.OnAcquisitionStopped();
    listener.OnCalibrationChanged(true);
    listener.OnCalibrationChanged(false);
    listener.OnError("lamp");
    EXPECT_EQ(host.m_sCalls, "started image scan stopped ready unready lamp");
    CHost other;
    other = host;
    EXPECT_EQ(other.m_sCalls, host.m_sCalls);
}

TEST(CMV3DCamListener, HasSixOperationsInTheirOrder)
{
    using ::TestSupport::SlotBehindDestructor;
    EXPECT_EQ(SlotBehindDestructor(&CMV3DCamListener::OnAcquisitionStarted), 0);
    EXPECT_EQ(SlotBehindDestructor(&CMV3DCamListener::OnAcquisitionStopped), 1);
    EXPECT_EQ(SlotBehindDestructor(&CMV3DCamListener::OnImageAcquired), 2);
    EXPECT_EQ(SlotBehindDestructor(&CMV3DCamListener::OnScanDataAvailable), 3);
    EXPECT_EQ(SlotBehindDestructor(&CMV3DCamListener::OnCalibrationChanged), 4);
    EXPECT_EQ(SlotBehindDestructor(&CMV3DCamListener::OnError), 5);
}

} // namespace
} // namespace LxCV
