// The calibration marks that a camera collects, view by view.
#pragma once

#include "ecaliberror.h"
#include "lxccalibrationdata.h"
#include "lxcobjectinspace.h"
#include "orx/base/export.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace LxCV {

/// A placed device together with what it saw: which world point at which pixel, grouped in views, and the pose
/// of the calibration target in each view.
///
/// Stored: the marks of all views one after the other; for every view but the first the index of its first
/// mark; the target orientations (target frame to camera frame), or none. View starts never decrease and never
/// exceed the number of marks; two equal ones make an empty view.
///
/// Ownership: the object owns its records and deletes them. Records come in as raw pointers by `AddCalibData`
/// and can leave by `RemoveAllCalibData(false)`. There is no copy: two copies would delete the same records.
/// Descendants that copy copy everything but the marks.
///
/// No locks: one calibration thread changes the marks, statistics read them afterwards.
class ORX_EXPORT LxCCameraToBeCalibrated : public LxCObjectInSpace
{
public:
    LxCCameraToBeCalibrated() = default;
    LxCCameraToBeCalibrated(const LxCCameraToBeCalibrated&) = delete;
    LxCCameraToBeCalibrated& operator=(const LxCCameraToBeCalibrated&) = delete;
    ~LxCCameraToBeCalibrated() override = default;

    /// Appends the records in order; the object owns them from now on. `newView` begins a view, also for no
    /// records, but for the first view, which begins with the first record. `data` itself stays as it is; null
    /// counts as empty. Null pointers are left out, and with a warning those that are held already.
    /// Where memory runs out, nothing is taken.
    /// @return `eCalibOk`
    ECalibError AddCalibData(std::vector<LxCCalibrationData*>* data, bool newView);

    /// All records, those that are zero too.
    int GetNrOfMarks() const { return static_cast<int>(m_vMarks.size()); }

    /// 0 without marks.
    int GetNrOfViews() const;

    /// Replaces `out` by the records of a view, which stay owned here. View 0 of no marks is empty.
    /// @return `eCalibOk`; `eCalibNotDone`, with `out` left alone, for a view that is not there or a null `out`
    ECalibError GetCalibDataForView(std::vector<LxCCalibrationData*>* out, int view) const;

    /// Forgets all records and views. The target orientations stay.
    /// @param deleteRecords false hands the records over: whoever holds their pointers owns them then
    /// @return `eCalibOk`
    ECalibError RemoveAllCalibData(bool deleteRecords);

    /// Deletes one record. Leading views that are left without marks vanish and the later views move up; other
    /// views stay, empty if need be. A pointer that is not held is not touched.
    /// @return `eCalibOk`
    ECalibError RemoveCalibPoint(LxCCalibrationData* mark);

    /// Replaces `out` by the counts of marks and views in words.
    void PrintStatus(std::string& out) const;

    /// Writes one text file a view, <baseName>_view00.txt and so on, of lines "u v x y z" with tabs between:
    /// pixels and mm, six significant digits. Without marks an empty file of view 0 is written.
    /// @return false, with an error logged, at the first file that cannot be written; earlier ones stay
    bool ExportCalibData(const std::string& baseName) const;

    /// Reads such files, one view each, behind what is there. Every line makes a record, and what cannot be
    /// read of it is 0. Memory is in proportion to the files.
    /// @return false, with an error logged, at the first file that cannot be read or is no regular file; the
    ///         views of earlier ones stay
    bool ImportCalibData(const std::vector<std::string>& fileNames);

    /// The array of target orientations (owned here, one per view at the time it was made), or null. Forward
    /// leads from the target's frame into the camera's.
    LxCCoordSysTrans* GetTargetOrientation() { return m_pTargetOrientations.get(); }
    const LxCCoordSysTrans* GetTargetOrientation() const { return m_pTargetOrientations.get(); }

    /// Elements in the array of target orientations.
    std::size_t GetNrOfTargetOrientations() const { return m_uiTargetOrientations; }

protected:
    /// A new array of `count` identity transforms in place of the old one.
    void MakeTargetOrientations(std::size_t count);

    /// Copies the orientations of the views that `other` has; no array for no views or no array there.
    void CopyTargetOrientations(const LxCCameraToBeCalibrated& other);

private:
    using Records = std::vector<std::unique_ptr<LxCCalibrationData>>;

    std::size_t GetViewStart(int view) const;

    /// Memory for one more view, which then can be appended without failing.
    void MakeRoomForView(std::size_t records);
    void AppendRecords(Records records, bool newView);

    Records m_vMarks;
    std::vector<std::int32_t> m_vViewStarts; ///< of the second view on
    std::unique_ptr<LxCCoordSysTrans[]> m_pTargetOrientations;
    std::size_t m_uiTargetOrientations = 0;
};

} // namespace LxCV
