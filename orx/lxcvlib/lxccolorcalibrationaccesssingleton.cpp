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
    return data != nullptr && data->SerializeToFile(makeColorCalibrationPath(), camera);
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
    return platform::WidenUtf8(platform::GetProgramDataDir()) + L"\\" + colorCalibRelPathExt + L"\\";
}

bool LxCColorCalibrationAccessSingleton::Load(const std::wstring& camera)
{
    m_sCamera = camera;
    m_pCurrent.reset();
    auto data = std::make_shared<LxCColorCalibrationData>();
    if (!data->SerializeFromFile(makeColorCalibrationPath(), camera)) {
        return false;
    }
    m_pCurrent = std::move(data);
    return true;
}

} // namespace LxCV
