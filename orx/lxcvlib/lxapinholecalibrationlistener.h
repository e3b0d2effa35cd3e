// Overall progress of a calibration from the progress of its steps.
#pragma once

#include "ecalibrationstep.h"
#include "ecalibrationtype.h"
#include "orx/base/export.h"

#include <array>
#include <cstdint>

namespace LxCV {

/// Receives the progress of a calibration as one number from 0 to 1.
///
/// A plan divides a run into steps. It stores the overall progress at the milestones, the first of which is the
/// start, and for each step the index of the milestone that ends it; the milestone before that starts it. With s and
/// e the progress at start and end of a step, a share p of the step is the overall progress s + (e - s) p.
///
/// Steps that the plan does not name, and numbers that are no steps, start and end at 0.
///
/// Calls come from the thread that calibrates; there are no locks.
class ORX_EXPORT LxAPinholeCalibrationListener
{
public:
    /// Type 0, no current step, and a plan without steps.
    LxAPinholeCalibrationListener() = default;
    virtual ~LxAPinholeCalibrationListener() = default;

    /// Replaces the plan by that of a type; any number that is no type gives one without steps. The current step
    /// stays.
    void InitProgressPinholeCalibration(ECalibrationType type);
    ECalibrationType GetCalibrationType() const { return m_eCalibrationType; }

    void SetCurrentCalibrationStep(ECalibrationStep step) { m_eCurrentStep = step; }
    ECalibrationStep GetCurrentCalibrationStep() const { return m_eCurrentStep; }

    /// Overall progress, 0 to 1, where a step begins and where it ends. Step 0 begins at the start of the run.
    float GetProgressAtStartOfStep(ECalibrationStep step) const;
    float GetProgressAtEndOfStep(ECalibrationStep step) const;

    /// Reports that a share of the current step is done. A share outside of 0 to 1 is taken as it is, and one that is
    /// not a number is reported as such.
    void SetProgressPinholeCalibrationStep(float share);

    /// The same for a step that does not become the current one.
    void SetProgressPinholeCalibrationStep(ECalibrationStep step, float share);

protected:
    // The pure virtual functions stand in the order of their slots.

    /// @param progress overall progress, 0 to 1 for shares from 0 to 1
    virtual void OnProgressPinholeCalibration(float progress) = 0;

    /// Whether the user wants the run to end early. For estimators outside of this library, which does not ask.
    virtual bool IsPinholeCalibrationCancelled() = 0;

private:
    static constexpr std::size_t c_uiSteps = 13;

    /// Index of the milestone that ends a step; 0 for one that the plan does not name.
    std::size_t GetMilestoneIndex(ECalibrationStep step) const;

    ECalibrationType m_eCalibrationType = eCalibTypeCamera;
    ECalibrationStep m_eCurrentStep = eCalibStepNone;
    std::array<float, c_uiSteps> m_vfMilestones{};   ///< overall progress, 0 to 1
    std::array<std::int32_t, c_uiSteps> m_viSteps{}; ///< [step]: index of the milestone that ends it
};

} // namespace LxCV
