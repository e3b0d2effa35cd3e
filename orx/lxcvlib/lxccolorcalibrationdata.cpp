// Values, age and files of a colour calibration.
#include "lxccolorcalibrationdata.h"

#include "cctimage.h"
#include "orx/btservices/ymstreamreadbinaryfile.h"
#include "orx/btservices/ymstreamwritebinaryfile.h"
#include "orx/platform/paths.h"

#include <cmath>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace LxCV {

namespace {

constexpr float c_fAverageOfStoredImage = 200.0F; ///< grey level that calibrations expose white to
constexpr LxCColorCalibrationData::Matrix c_Identity = {1.0F, 0.0F, 0.0F, 0.0F, 0.0F, 1.0F,
                                                        0.0F, 0.0F, 0.0F, 0.0F, 1.0F, 0.0F};

/// Whether the camera's files lie in the folder. A NUL would end their path early, and make it the same for both.
bool IsPlace(std::wstring_view folder, std::wstring_view camera)
{
    return folder.find(L'\0') == std::wstring_view::npos &&
           camera.find_first_of(std::wstring_view(L"/\\\0", 3)) == std::wstring_view::npos;
}

std::wstring DataPath(const std::wstring& folder, const std::wstring& camera)
{
    return folder + L"ColorCalibrationData" + L"_" + camera + L".dat";
}

std::wstring ImagePath(const std::wstring& folder, const std::wstring& camera)
{
    return folder + L"WhiteBalanceImage" + L"_" + camera + L".tif";
}

/// The folder of a file is there afterwards; where that fails, so does writing the file.
void MakeFolderOf(const std::wstring& path)
{
    const std::filesystem::path folder = platform::NativePath(path).parent_path();
    std::error_code failure;
    if (!folder.empty()) {
        std::filesystem::create_directories(folder, failure);
    }
}

/// Three floats a pixel; null where the image has no such form.
std::unique_ptr<CCTImage> ToColourFloat(const CCTImage& image)
{
    auto floats = std::make_unique<CCTImage>();
    if (image.GetSizeInPixels() <= 0 ||
        image.GetSizeInPixels() > LxCColorCalibrationData::sc_iLargestWhiteBalanceImg ||
        image.ConvertToFloat(floats.get(), true) != CCTImage::eRC_OK) {
        return nullptr;
    }
    if (floats->GetDataType() == CCTImage::eIDT_FLOAT32_3) {
        return floats;
    }
    auto colour = std::make_unique<CCTImage>();
    const bool converted =
        colour->Resize(image.GetWidth(), image.GetHeight(), CCTImage::eIDT_FLOAT32_3) == CCTImage::eRC_OK &&
        floats->CreateRGBFromSingleChannel(colour.get(), LxCColorValueFloat::eRed) == CCTImage::eRC_OK;
    return converted ? std::move(colour) : nullptr;
}

} // namespace

/// What a data file holds behind its version.
struct LxCColorCalibrationData::SFields
{
    /// Writes or reads everything. @return whether that worked and all values are in order
    bool Serialize(YmStream& stream)
    {
        bool good = true;
        for (float& element : matrix) {
            good = SerializeFinite(stream, element) && good;
        }
        for (float* value : {&shutterCorrectionFactor, &shutterTime, &referenceDepth}) {
            good = SerializeFinite(stream, *value) && good;
        }
        return date.Serialize(stream) && good;
    }

    static bool SerializeFinite(YmStream& stream, float& value)
    {
        return stream.Serialize(value) && std::isfinite(value);
    }

    Matrix matrix{};
    float shutterCorrectionFactor = 0.0F;
    float shutterTime = 0.0F;
    float referenceDepth = 0.0F;
    BtDateTime date;
};

LxCColorCalibrationData::LxCColorCalibrationData() : m_fMatrix(c_Identity) {}

LxCColorCalibrationData::~LxCColorCalibrationData() = default;

bool LxCColorCalibrationData::SetColorCalibrationMatrix(const Matrix& matrix)
{
    m_fMatrix = matrix;
    m_bMatrixSet = true;
    m_CalibrationDate = BtDateTime::Now();
    return true;
}

bool LxCColorCalibrationData::SetColorCalibrationShutterTime(float shutterTime)
{
    m_fShutterTime = shutterTime;
    m_bShutterTimeSet = true;
    return true;
}

bool LxCColorCalibrationData::SetReferenceDepth(float depth)
{
    m_fReferenceDepth = depth;
    m_bReferenceDepthSet = true;
    return true;
}

bool LxCColorCalibrationData::SetShutterTimeCorrectionFactor(float factor)
{
    m_fShutterCorrectionFactor = factor;
    m_bShutterCorrectionSet = true;
    return true;
}

void LxCColorCalibrationData::SetWhiteBalanceImg(const CCTImage* image)
{
    // The image may be the stored one, which therefore goes last.
    m_pWhiteBalanceImg = image != nullptr ? ToColourFloat(*image) : nullptr;
}

bool LxCColorCalibrationData::IsColorCalibrationDataValid() const
{
    return m_bMatrixSet && m_pWhiteBalanceImg != nullptr;
}

bool LxCColorCalibrationData::IsColorCalibrationDataExpired() const
{
    return BtDateTime::Now() > m_CalibrationDate + BtTimeInterval(0, sc_iMonthsOfValidity);
}

bool LxCColorCalibrationData::IsReadyToStore() const
{
    return m_bMatrixSet && m_bShutterCorrectionSet && m_bShutterTimeSet && m_bReferenceDepthSet &&
           m_pWhiteBalanceImg != nullptr && !IsColorCalibrationDataExpired();
}

bool LxCColorCalibrationData::SerializeToFile(const std::wstring& folder, const std::wstring& camera)
{
    if (!IsReadyToStore() || !IsPlace(folder, camera)) {
        return false;
    }
    const std::wstring path = DataPath(folder, camera);
    YmStreamWriteBinaryFile stream(path);
    std::int32_t version = sc_iVersion;
    SFields fields{m_fMatrix, m_fShutterCorrectionFactor, m_fShutterTime, m_fReferenceDepth,
                   m_CalibrationDate};
    if (!stream.Serialize(version) || !fields.Serialize(stream)) {
        return false;
    }
    MakeFolderOf(path);
    return stream.Close() && doAdditionalCalculationAfterSerialization(true, ImagePath(folder, camera));
}

bool LxCColorCalibrationData::SerializeFromFile(const std::wstring& folder, const std::wstring& camera)
{
    if (!IsPlace(folder, camera)) {
        return false;
    }
    YmStreamReadBinaryFile stream(DataPath(folder, camera));
    std::int32_t version = 0;
    SFields fields;
    if (!stream.Serialize(version) || version < sc_iVersion || !fields.Serialize(stream) ||
        !doAdditionalCalculationAfterSerialization(false, ImagePath(folder, camera))) {
        return false;
    }
    m_fMatrix = fields.matrix;
    m_fShutterCorrectionFactor = fields.shutterCorrectionFactor;
    m_fShutterTime = fields.shutterTime;
    m_fReferenceDepth = fields.referenceDepth;
    m_CalibrationDate = fields.date;
    m_bMatrixSet = m_bShutterCorrectionSet = m_bReferenceDepthSet = m_bShutterTimeSet = true;
    return true;
}

bool LxCColorCalibrationData::doAdditionalCalculationAfterSerialization(bool saving, const std::wstring& path)
{
    CCTImage image;
    if (saving) {
        if (m_pWhiteBalanceImg == nullptr ||
            m_pWhiteBalanceImg->ConvertToBGRU8(&image, true) != CCTImage::eRC_OK ||
            image.SaveTif(path) != CCTImage::eRC_OK) {
            return false;
        }
    } else {
        if (image.Load(path) != CCTImage::eRC_OK) {
            return false;
        }
        std::unique_ptr<CCTImage> floats = ToColourFloat(image);
        if (floats == nullptr) {
            return false;
        }
        m_pWhiteBalanceImg = std::move(floats);
    }
    m_fAverageRGBinROI = c_fAverageOfStoredImage;
    return true;
}

} // namespace LxCV
