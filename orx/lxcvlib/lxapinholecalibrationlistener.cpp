// Overall progress of a calibration from the progress of its steps.
#include "lxapinholecalibrationlistener.h"

#include <cstddef>
#include <span>

namespace LxCV {

namespace {

struct CPlannedStep
{
    ECalibrationStep step;
    float end; ///< overall progress
};

constexpr CPlannedStep c_vCameraPlan[] = {{eCalibStepCamera1, 0.8F}, {eCalibStepCamera2, 1.0F}};

constexpr CPlannedStep c_vCameraAndProjectorPlan[] = {{eCalibStepCamera1, 0.4F},
                                                      {eCalibStepCamera2, 0.5F},
                                                      {eCalibStepProjector1, 0.7F},
                                                      {eCalibStepProjector2, 1.0F}};

constexpr CPlannedStep c_vProjectorPlan[] = {{eCalibStepProjector1, 1.0F}};

constexpr CPlannedStep c_vWholePlan[] = {
    {eCalibStepMarks1, 0.1F},      {eCalibStepMarks2, 0.15F},     {eCalibStepMarks3, 0.18F},
    {eCalibStepMarks4, 0.2F},      {eCalibStepCamera1, 0.3F},     {eCalibStepCamera2, 0.34F},
    {eCalibStepProjector1, 0.55F}, {eCalibStepProjector2, 0.62F}, {eCalibStepProjector3, 0.7F},
    {eCalibStepProjector4, 0.75F}, {eCalibStepFinal, 1.0F}};

constexpr CPlannedStep c_vWholeAndCheckPlan[] = {
    {eCalibStepMarks1, 0.1F},      {eCalibStepMarks2, 0.15F},     {eCalibStepMarks3, 0.18F},
    {eCalibStepMarks4, 0.2F},      {eCalibStepCamera1, 0.3F},     {eCalibStepCamera2, 0.34F},
    {eCalibStepProjector1, 0.55F}, {eCalibStepProjector2, 0.62F}, {eCalibStepProjector3, 0.7F},
    {eCalibStepProjector4, 0.75F}, {eCalibStepFinal, 0.9F},       {eCalibStepCheck, 1.0F}};

std::span<const CPlannedStep> PlanOf(ECalibrationType type)
{
    switch (type) {
    case eCalibTypeCamera:
        return c_vCameraPlan;
    case eCalibTypeCameraAndProjector:
        return c_vCameraAndProjectorPlan;
    case eCalibTypeProjector:
        return c_vProjectorPlan;
    case eCalibTypeWhole:
        return c_vWholePlan;
    case eCalibTypeWholeAndCheck:
        return c_vWholeAndCheckPlan;
    }
    return {};
}

} // namespace

void LxAPinholeCalibrationListener::InitProgressPinholeCalibration(ECalibrationType type)
{
    m_eCalibrationType = type;
    m_vfMilestones.fill(0.0F);
    m_viSteps.fill(0);
    std::int32_t milestone = 0;
    for (const CPlannedStep& planned : PlanOf(type)) {
        ++milestone;
        m_vfMilestones[static_cast<std::size_t>(milestone)] = planned.end;
        m_viSteps[static_cast<std::size_t>(planned.step)] = milestone;
    }
}

std::size_t LxAPinholeCalibrationListener::GetMilestoneIndex(ECalibrationStep step) const
{
    // A negative number is too great a one, too.
    const auto index = static_cast<std::size_t>(step);
    return index < m_viSteps.size() ? static_cast<std::size_t>(m_viSteps[index]) : 0;
}

float LxAPinholeCalibrationListener::GetProgressAtStartOfStep(ECalibrationStep step) const
{
    const std::size_t end = GetMilestoneIndex(step);
    return m_vfMilestones[end > 0 ? end - 1 : 0];
}

float LxAPinholeCalibrationListener::GetProgressAtEndOfStep(ECalibrationStep step) const
{
    return m_vfMilestones[GetMilestoneIndex(step)];
}

void LxAPinholeCalibrationListener::SetProgressPinholeCalibrationStep(float share)
{
    SetProgressPinholeCalibrationStep(m_eCurrentStep, share);
}

void LxAPinholeCalibrationListener::SetProgressPinholeCalibrationStep(ECalibrationStep step, float share)
{
    const float start = GetProgressAtStartOfStep(step);
    const float end = GetProgressAtEndOfStep(step);
    OnProgressPinholeCalibration(start + (end - start) * share);
}

} // namespace LxCV
