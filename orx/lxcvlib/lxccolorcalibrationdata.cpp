// Values, age and files of a colour calibration.
#include "lxccolorcalibrationdata.h"

#include "cctimage.h"
#include "orx/btservices/ymstreamreadbinaryfile.h"
#include "orx/btservices/ymstreamwritebinaryfile.h"
#include "orx/platform/paths.h"
#include "orx/platform/replacefile.h"
#include "pixelelements.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <span>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

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

/// A data file without content while the image beside it is replaced. So data never stand beside the image of another
/// calibration, whatever fails and whenever the process ends: without content a file is none of `SerializeFromFile`.
///
/// Emptying the file also tells, before anything is lost, whether it can be written.
class CSuspendedFile
{
public:
    /// Makes the folder where it is absent.
    explicit CSuspendedFile(const std::wstring& path) : m_Path(platform::NativePath(path))
    {
        std::error_code failure;
        if (m_Path.has_parent_path()) {
            std::filesystem::create_directories(m_Path.parent_path(), failure);
        }
        m_bIsNew = !std::filesystem::exists(m_Path, failure);
        m_bIsSuspended = (m_bIsNew || Keep()) && !platform::ReplaceFile(m_Path, {});
    }

    /// False leaves the file as it was.
    bool IsSuspended() const { return m_bIsSuspended; }

    /// Puts the content back, or takes a new file away.
    void Restore() const
    {
        std::error_code failure;
        if (m_bIsNew) {
            std::filesystem::remove(m_Path, failure);
        } else {
            failure = platform::ReplaceFile(m_Path, m_vContent);
        }
    }

private:
    /// Reads the content. What is too long for a data file of any version is not replaced by one.
    bool Keep()
    {
        constexpr std::uintmax_t c_iLongest = 1U << 20U; // bytes
        std::error_code failure;
        const std::uintmax_t size = std::filesystem::is_regular_file(m_Path, failure)
                                        ? std::filesystem::file_size(m_Path, failure)
                                        : c_iLongest + 1;
        if (failure || size > c_iLongest) {
            return false;
        }
        m_vContent.resize(size);
        std::ifstream file(m_Path, std::ios_base::binary);
        file.read(reinterpret_cast<char*>(m_vContent.data()), static_cast<std::streamsize>(size));
        return !file.fail();
    }

    std::filesystem::path m_Path;
    bool m_bIsNew = false;
    bool m_bIsSuspended = false;
    std::vector<std::byte> m_vContent; ///< of a file that was there
};

/// @param image `eIDT_FLOAT32_3`
bool IsFinite(const CCTImage& image)
{
    const std::span<const float> levels = ElementsOf<float>(image);
    return std::all_of(levels.begin(), levels.end(), [](float level) { return std::isfinite(level); });
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

std::wstring LxCColorCalibrationData::GetDataFilePath(const std::wstring& folder, const std::wstring& camera)
{
    return folder + L"ColorCalibrationData" + L"_" + camera + L".dat";
}

std::wstring LxCColorCalibrationData::GetImageFilePath(const std::wstring& folder, const std::wstring& camera)
{
    return folder + L"WhiteBalanceImage" + L"_" + camera + L".tif";
}

bool LxCColorCalibrationData::SerializeToFile(const std::wstring& folder, const std::wstring& camera)
{
    if (!IsReadyToStore() || !IsFinite(*m_pWhiteBalanceImg) || !IsPlace(folder, camera)) {
        return false;
    }
    const std::wstring path = GetDataFilePath(folder, camera);
    YmStreamWriteBinaryFile stream(path);
    std::int32_t version = sc_iVersion;
    SFields fields{m_fMatrix, m_fShutterCorrectionFactor, m_fShutterTime, m_fReferenceDepth,
                   m_CalibrationDate};
    if (!stream.Serialize(version) || !fields.Serialize(stream)) {
        return false;
    }
    const CSuspendedFile old(path);
    if (!old.IsSuspended()) {
        return false;
    }
    if (!doAdditionalCalculationAfterSerialization(true, GetImageFilePath(folder, camera))) {
        old.Restore();
        return false;
    }
    return stream.Close();
}

bool LxCColorCalibrationData::SerializeFromFile(const std::wstring& folder, const std::wstring& camera)
{
    if (!IsPlace(folder, camera)) {
        return false;
    }
    YmStreamReadBinaryFile stream(GetDataFilePath(folder, camera));
    std::int32_t version = 0;
    SFields fields;
    if (!stream.Serialize(version) || version < sc_iVersion || !fields.Serialize(stream) ||
        !doAdditionalCalculationAfterSerialization(false, GetImageFilePath(folder, camera))) {
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
        if (floats == nullptr || !IsFinite(*floats)) {
            return false;
        }
        m_pWhiteBalanceImg = std::move(floats);
    }
    m_fAverageRGBinROI = c_fAverageOfStoredImage;
    return true;
}

} // namespace LxCV
