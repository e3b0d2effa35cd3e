// Keeps and changes the current colour calibration.
#include "lxccolorcalibrationaccesssingleton.h"

#include "lxccolorcalibrationdata.h"
#include "orx/btservices/btsingletoninstance.h"
#include "orx/platform/paths.h"
#include "orx/platform/unicode.h"

template class BtSingleton<LxCV::LxCColorCalibrationAccessSingleton>;

namespace LxCV {

std::shared_ptr<LxCColorCalibrationData>
LxCColorCalibrationAccessSingleton::GetColorCalibData(const std::wstring& camera)
{
    if (camera != m_sCamera) {
        Load(camera);
    }
    return m_pCurrent;
}

bool LxCColorCalibrationAccessSingleton::SetColorCalibData(
    const std::wstring& camera, const std::shared_ptr<LxCColorCalibrationData>& data)
{
    m_sCamera = camera;
    m_pCurrent = data;
    const std::wstring folder = makeColorCalibrationPath();
    return data != nullptr && !folder.empty() && data->SerializeToFile(folder, camera);
}

bool LxCColorCalibrationAccessSingleton::SetNewCamera(const wchar_t* camera)
{
    return camera == nullptr || Load(camera);
}

bool LxCColorCalibrationAccessSingleton::IsCurrentValid() const
{
    return m_pCurrent != nullptr && m_pCurrent->IsColorCalibrationDataValid();
}

bool LxCColorCalibrationAccessSingleton::IsCurrentExpired() const
{
    return m_pCurrent == nullptr || m_pCurrent->IsColorCalibrationDataExpired();
}

std::wstring LxCColorCalibrationAccessSingleton::makeColorCalibrationPath()
{
    const std::string shared = platform::GetProgramDataDir();
    return shared.empty() ? std::wstring()
                          : platform::WidenUtf8(shared) + L"\\" + colorCalibRelPathExt + L"\\";
}

bool LxCColorCalibrationAccessSingleton::Load(const std::wstring& camera)
{
    m_sCamera = camera;
    m_pCurrent.reset();
    const std::wstring folder = makeColorCalibrationPath();
    auto data = std::make_shared<LxCColorCalibrationData>();
    if (folder.empty() || !data->SerializeFromFile(folder, camera)) {
        return false;
    }
    m_pCurrent = std::move(data);
    return true;
}

} // namespace LxCV
