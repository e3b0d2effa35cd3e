// The process's current colour calibration.
#pragma once

#include "orx/base/export.h"
#include "orx/btservices/btsingleton.h"

#include <memory>
#include <string>

namespace LxCV {

class LxCColorCalibrationData;

/// The colour calibration of the camera that is in use, found on the disk by the camera's name. The one object is
/// `BtSingleton<LxCColorCalibrationAccessSingleton>::Instance()`.
///
/// Records are handed out by shared handle, so that one keeps its record while the process goes on to another camera.
///
/// There is no lock: all calls come from one thread.
class ORX_EXPORT LxCColorCalibrationAccessSingleton
{
public:
    /// The folder of the files, below the one for programs' shared data.
    static constexpr const wchar_t* colorCalibRelPathExt = L"Lumorad";

    LxCColorCalibrationAccessSingleton(const LxCColorCalibrationAccessSingleton&) = delete;
    LxCColorCalibrationAccessSingleton& operator=(const LxCColorCalibrationAccessSingleton&) = delete;

    /// The record of a camera: of the current one what there is, without a look at the disk; any other becomes the
    /// current one and its record is read. At first the current camera's name is empty.
    /// @return null where nothing could be read, see `LxCColorCalibrationData::SerializeFromFile`
    std::shared_ptr<LxCColorCalibrationData> GetColorCalibData(const std::wstring& camera);

    /// The current record, or null.
    std::shared_ptr<LxCColorCalibrationData> GetCurrentColorCalibData() const { return m_pCurrent; }

    /// Makes camera and record the current ones, and stores the record on the disk.
    /// @param data null leaves no record
    /// @return whether the record is stored, see `LxCColorCalibrationData::SerializeToFile`; false for null
    bool SetColorCalibData(const std::wstring& camera, const std::shared_ptr<LxCColorCalibrationData>& data);

    /// Makes a camera the current one and reads its record from the disk, also where it is the current one already.
    /// @param camera null changes nothing
    /// @return whether a record could be read, otherwise there is none; true for null
    bool SetNewCamera(const wchar_t* camera);

    /// Whether there is a record, with a matrix and an image.
    bool IsCurrentValid() const;

    /// Whether the record has expired, or there is none.
    bool IsCurrentExpired() const;

    /// The folder of the files, as path text with a separator at its end: PROGRAMDATA, see
    /// `platform::GetProgramDataDir`, which also tells what stands in for it, and `colorCalibRelPathExt`.
    static std::wstring makeColorCalibrationPath();

private:
    friend class BtSingleton<LxCColorCalibrationAccessSingleton>;
    LxCColorCalibrationAccessSingleton() = default;

    bool Load(const std::wstring& camera);

    std::shared_ptr<LxCColorCalibrationData> m_pCurrent; ///< may be null
    std::wstring m_sCamera;                              ///< of the current record
};

} // namespace LxCV

extern template class BtSingleton<LxCV::LxCColorCalibrationAccessSingleton>;
