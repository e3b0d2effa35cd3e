// Images in archives.
#include "cctimage.h"
#include "imagekernels.h"
#include "orx/logging/logger.h"
#include "orx/platform/archive.h"

#include <algorithm>
#include <exception>
#include <limits>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.CCTImage");

constexpr std::uint32_t c_uiMark = 0x49544343; // the bytes "CCTI"
constexpr std::uint32_t c_uiVersion = 1;

CCTImage::EReturnCode Fail(const wchar_t* reason, CCTImage::EReturnCode result)
{
    s_Logger.Error(L"Serialize: %s\n", reason);
    return result;
}

bool IsDataType(std::int32_t type)
{
    return type >= CCTImage::eIDT_Undefined && type <= CCTImage::eIDT_GRAY8;
}

/// The bytes of an image's pixels; nothing for a size that no image has.
std::optional<std::size_t> PixelBytes(std::int32_t width, std::int32_t height, CCTImage::EImageDataType type)
{
    const std::int64_t bytesPerPixel = CCTImage::GetBytesPerPixel(type);
    const std::int64_t most = std::numeric_limits<int>::max() / std::max<std::int64_t>(bytesPerPixel, 1);
    const std::int64_t pixels = std::int64_t{width} * height;
    if (width < 0 || height < 0 || pixels > most) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(pixels * bytesPerPixel);
}

} // namespace

CCTImage::EReturnCode CCTImage::Serialize(platform::CArchive& archive)
{
    if (archive.IsStoring()) {
        return StoreTo(archive);
    }
    try {
        return LoadFrom(archive);
    } catch (const std::exception&) {
        return Fail(L"memory does not suffice", eRC_OutOfMemory);
    }
}

CCTImage::EReturnCode CCTImage::StoreTo(platform::CArchive& archive) const
{
    if (LacksMemory()) {
        return Fail(L"the image has no memory", eRC_NullPointer);
    }
    const std::span<const std::byte> pixels = Bytes();
    if (!IsDataType(m_eDataType) || pixels.size() != PixelBytes(m_iWidth, m_iHeight, m_eDataType)) {
        return Fail(L"Unsupported image type", eRC_UnsupportedType);
    }
    archive << c_uiMark << c_uiVersion << std::int32_t{m_eDataType} << std::int32_t{m_eImageType} << m_iWidth
            << m_iHeight << m_iId << m_uiTimestamp << m_sDescription << m_sPathname << m_sSourcePathname;
    archive.WriteBytes(pixels);
    return archive.IsOk() ? eRC_OK : Fail(L"the archive cannot be written", eRC_Failed);
}

CCTImage::EReturnCode CCTImage::LoadFrom(platform::CArchive& archive)
{
    std::uint32_t mark = 0;
    std::uint32_t version = 0;
    archive >> mark >> version;
    if (archive.IsOk() && (mark != c_uiMark || version != c_uiVersion)) {
        return Fail(L"the archive holds no image of a known version", eRC_UnsupportedType);
    }
    std::int32_t type = 0;
    std::int32_t imageType = 0;
    std::int32_t width = 0;
    std::int32_t height = 0;
    CCTImage loaded;
    archive >> type >> imageType >> width >> height >> loaded.m_iId >> loaded.m_uiTimestamp >>
        loaded.m_sDescription >> loaded.m_sPathname >> loaded.m_sSourcePathname;
    if (archive.IsOk() && !IsDataType(type)) {
        return Fail(L"Unsupported image type", eRC_UnsupportedType);
    }
    const auto dataType = static_cast<EImageDataType>(type);
    const std::optional<std::size_t> bytes = PixelBytes(width, height, dataType);
    const std::vector<std::byte> pixels = archive.ReadBlock(bytes.value_or(0));
    if (!archive.IsOk() || !bytes) {
        return Fail(L"the archive is damaged", eRC_Failed);
    }
    if (loaded.Resize(width, height, dataType) != eRC_OK) {
        return eRC_OutOfMemory;
    }
    ImageKernels::CopyBytes(pixels, loaded.Bytes());
    TakePixelsOf(loaded);
    m_eImageType = static_cast<EImageType>(imageType);
    m_iId = loaded.m_iId;
    m_uiTimestamp = loaded.m_uiTimestamp;
    m_sDescription = std::move(loaded.m_sDescription);
    m_sPathname = std::move(loaded.m_sPathname);
    m_sSourcePathname = std::move(loaded.m_sSourcePathname);
    return eRC_OK;
}

} // namespace LxCV
