// Memory, copies and pixel texts of the image type.
#include "cctimage.h"

#include "floattointeger.h"
#include "imagekernels.h"
#include "orx/logging/logger.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <exception>
#include <functional>
#include <iomanip>
#include <limits>
#include <locale>
#include <optional>
#include <span>
#include <sstream>
#include <stdexcept>
#include <type_traits>
#include <utility>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.CCTImage");

constexpr float c_fQuotientCap = 255.0F; // full scale of a colour channel
constexpr const char* c_sOtherPixelSize = "new image type has different pixel size";
constexpr const char* c_sAllocationFailed = "image allocation failed";

struct SPixelFormat
{
    int bytes;
    int channels;
};

constexpr std::array<SPixelFormat, 13> c_aPixelFormats{{
    {0, 0},  // eIDT_Undefined
    {4, 4},  // eIDT_ARGB8
    {3, 3},  // eIDT_BGRU8
    {4, 1},  // eIDT_UINT32
    {4, 1},  // eIDT_INT32
    {2, 1},  // eIDT_UINT16
    {2, 1},  // eIDT_INT16
    {1, 1},  // eIDT_UINT8
    {1, 1},  // eIDT_INT8
    {4, 1},  // eIDT_FLOAT32
    {8, 1},  // eIDT_FLOAT64
    {12, 3}, // eIDT_FLOAT32_3
    {1, 1},  // eIDT_GRAY8
}};

SPixelFormat FormatOf(CCTImage::EImageDataType type)
{
    const auto index = static_cast<std::size_t>(type);
    return index < c_aPixelFormats.size() ? c_aPixelFormats[index] : SPixelFormat{0, 0};
}

/// Whether bytes, pixels and bytes of a row all fit an int; a size of zero does not excuse the other ones.
bool IsSizeRepresentable(int width, int height, int bytesPerPixel)
{
    const std::int64_t pixels = std::int64_t{std::max(width, 1)} * std::max(height, 1);
    const std::int64_t limit = std::numeric_limits<int>::max();
    return width >= 0 && height >= 0 && bytesPerPixel >= 0 && pixels <= limit / std::max(bytesPerPixel, 1);
}

template <typename T>
T Read(const void* address)
{
    T value;
    std::memcpy(&value, address, sizeof value);
    return value;
}

template <typename T>
int ReadAsInt(const void* address)
{
    if constexpr (std::is_floating_point_v<T>) {
        return TruncateTo<int>(Read<T>(address));
    } else {
        return static_cast<int>(Read<T>(address));
    }
}

int SumOfArgb(const void* pixel)
{
    const auto argb = Read<std::uint32_t>(pixel);
    return static_cast<int>((argb & 0xFFU) + (argb >> 8 & 0xFFU) + (argb >> 16 & 0xFFU));
}

int SumOfFloat3(const void* pixel)
{
    return TruncateTo<int>(Read<LxCFloat3>(pixel).getSum());
}

/// A pixel as an integer, colours as the sum of their channels; nothing for types that have none.
std::optional<int> PixelAsInt(CCTImage::EImageDataType type, const void* pixel)
{
    switch (type) {
    case CCTImage::eIDT_ARGB8:
        return SumOfArgb(pixel);
    case CCTImage::eIDT_UINT32:
        return ReadAsInt<std::uint32_t>(pixel);
    case CCTImage::eIDT_INT32:
        return ReadAsInt<std::int32_t>(pixel);
    case CCTImage::eIDT_UINT16:
        return ReadAsInt<std::uint16_t>(pixel);
    case CCTImage::eIDT_INT16:
        return ReadAsInt<std::int16_t>(pixel);
    case CCTImage::eIDT_UINT8:
    case CCTImage::eIDT_GRAY8:
        return ReadAsInt<std::uint8_t>(pixel);
    case CCTImage::eIDT_INT8:
        return ReadAsInt<std::int8_t>(pixel);
    case CCTImage::eIDT_FLOAT32:
        return ReadAsInt<float>(pixel);
    case CCTImage::eIDT_FLOAT64:
        return ReadAsInt<double>(pixel);
    case CCTImage::eIDT_FLOAT32_3:
        return SumOfFloat3(pixel);
    default:
        return std::nullopt;
    }
}

CCTImage::EImageDataType UnsignedTypeOf(int bytesPerPixel)
{
    switch (bytesPerPixel) {
    case 1:
        return CCTImage::eIDT_UINT8;
    case 2:
        return CCTImage::eIDT_UINT16;
    case 4:
        return CCTImage::eIDT_UINT32;
    default:
        return CCTImage::eIDT_Undefined;
    }
}

template <typename T>
void PrintTriple(std::ostream& text, const T& first, const T& second, const T& third)
{
    text << std::setw(3) << first << ", " << std::setw(3) << second << ", " << std::setw(3) << third;
}

void PrintPixelOfType(std::ostream& text, CCTImage::EImageDataType type, const void* pixel)
{
    switch (type) {
    case CCTImage::eIDT_ARGB8: {
        const auto argb = Read<std::uint32_t>(pixel);
        PrintTriple(text, argb >> 16 & 0xFFU, argb >> 8 & 0xFFU, argb & 0xFFU);
        break;
    }
    case CCTImage::eIDT_FLOAT32_3: {
        const auto triple = Read<LxCFloat3>(pixel);
        PrintTriple(text, triple.get(2), triple.get(1), triple.get(0));
        break;
    }
    case CCTImage::eIDT_INT32:
        text << Read<std::int32_t>(pixel);
        break;
    case CCTImage::eIDT_UINT8:
    case CCTImage::eIDT_GRAY8:
        text << ReadAsInt<std::uint8_t>(pixel);
        break;
    case CCTImage::eIDT_FLOAT32:
        text << Read<float>(pixel);
        break;
    case CCTImage::eIDT_FLOAT64:
        text << Read<double>(pixel);
        break;
    default:
        text << "unsupported image type";
        break;
    }
}

std::span<const float> FloatsOf(std::span<const std::byte> bytes)
{
    return {reinterpret_cast<const float*>(bytes.data()), bytes.size() / sizeof(float)};
}

std::span<float> FloatsOf(std::span<std::byte> bytes)
{
    return {reinterpret_cast<float*>(bytes.data()), bytes.size() / sizeof(float)};
}

} // namespace

CCTImage::CCTImage(const CCTImage& source) : Base::IImageData2DSimple()
{
    if (allocate(source.GetWidth(), source.GetHeight(), source.m_iBytesPerPixel) != eRC_OK) {
        throw std::runtime_error("allocate failed");
    }
    if (CopyFrom(&source, false) != eRC_OK) {
        Clear();
    }
    StoreDataType(source.m_eDataType);
    m_eImageType = source.m_eImageType;
}

CCTImage::CCTImage(int width, int height, EImageDataType type, float value)
    : CCTImage(width, height, type, value, value, value)
{}

CCTImage::CCTImage(int width, int height, EImageDataType type, float first, float second, float third)
    : CCTImage(width, height, type, true, nullptr)
{
    Fill(LxCFloat3(first, second, third));
}

CCTImage::CCTImage(int width, int height, EImageDataType type, bool allocateMemory, void* data)
{
    const int usedWidth = std::max(width, 0);
    const int usedHeight = std::max(height, 0);
    const int bytesPerPixel = GetBytesPerPixel(type);
    if (allocateMemory) {
        if (allocate(usedWidth, usedHeight, bytesPerPixel) != eRC_OK) {
            throw std::runtime_error(c_sAllocationFailed);
        }
    } else {
        if (!IsSizeRepresentable(usedWidth, usedHeight, bytesPerPixel)) {
            throw std::runtime_error(c_sAllocationFailed);
        }
        m_iWidth = usedWidth;
        m_iHeight = usedHeight;
        m_iBytesPerPixel = bytesPerPixel;
        m_pBuffer = static_cast<std::byte*>(data);
    }
    StoreDataType(type);
}

CCTImage::~CCTImage() = default;

CCTImage& CCTImage::operator=(const CCTImage& source)
{
    if (&source == this) {
        return *this;
    }
    if (source.OwnsBuffer()) {
        if (!DoBPPAndDimMatchWith(source) || LacksMemory()) {
            Resize(source.m_iWidth, source.m_iHeight, source.m_eDataType);
        }
        // After a failed resize the sizes are 0, and nothing is copied.
        ImageKernels::CopyBytes(source.Bytes(), Bytes());
    } else {
        WrapBufferOf(source);
    }
    StoreDataType(source.m_eDataType);
    m_iId = source.m_iId;
    TakeAttributesOf(source);
    return *this;
}

CCTImage CCTImage::operator/(const CCTImage& divisor) const
{
    CCTImage quotient(m_iWidth, m_iHeight, m_eDataType, true, nullptr);
    const auto holdsTriples = [&quotient](const CCTImage& image) {
        return image.m_eDataType == eIDT_FLOAT32_3 && image.IsValid() && image.DoBPPAndDimMatchWith(quotient);
    };
    if (holdsTriples(*this) && holdsTriples(divisor)) {
        ImageKernels::DivideWithCap(FloatsOf(Bytes()), FloatsOf(divisor.Bytes()), c_fQuotientCap,
                                    FloatsOf(quotient.Bytes()));
    } else {
        quotient.Clear();
    }
    return quotient;
}

CCTImage::EReturnCode CCTImage::CreateCopy(CCTImage** copy, bool sizeOnly) const
{
    if (copy == nullptr) {
        return eRC_Failed;
    }
    *copy = nullptr;
    try {
        auto created = std::make_unique<CCTImage>(m_iWidth, m_iHeight, m_eDataType, true, nullptr);
        const EReturnCode result = sizeOnly ? eRC_OK : created->CopyFrom(this, false);
        if (result == eRC_OK) {
            *copy = created.release();
        }
        return result;
    } catch (const std::exception& exception) {
        s_Logger.Error(L"CCTImage::CreateCopy: %s\n", exception.what());
        return eRC_OutOfMemory;
    }
}

int CCTImage::GetBytesPerPixel(EImageDataType type)
{
    return FormatOf(type).bytes;
}

void CCTImage::SetDataType(EImageDataType type)
{
    if (type == m_eDataType) {
        return;
    }
    if (GetBytesPerPixel(type) != m_iBytesPerPixel) {
        throw std::invalid_argument(c_sOtherPixelSize);
    }
    StoreDataType(type);
}

bool CCTImage::IsColor() const
{
    if (m_eDataType <= eIDT_Undefined || m_eDataType > eIDT_GRAY8) {
        throw std::logic_error("logic error");
    }
    return m_eDataType == eIDT_ARGB8 || m_eDataType == eIDT_BGRU8 || m_eDataType == eIDT_FLOAT32_3;
}

bool CCTImage::IsBW() const
{
    return m_eDataType == eIDT_Undefined || (m_eDataType >= eIDT_UINT32 && m_eDataType != eIDT_FLOAT32_3);
}

bool CCTImage::IsDepthmap() const
{
    return (m_eImageType == eIT_Depthmap || m_eImageType == eIT_DepthmapSecondary) &&
           m_eDataType == eIDT_INT32;
}

bool CCTImage::DoDimMatchWith(const CCTImage& other) const
{
    return m_iWidth == other.m_iWidth && m_iHeight == other.m_iHeight;
}

bool CCTImage::DoBPPAndDimMatchWith(const CCTImage& other) const
{
    return DoDimMatchWith(other) && m_iBytesPerPixel == other.m_iBytesPerPixel;
}

bool CCTImage::DoTypeAndDimMatchWith(const CCTImage& other) const
{
    return DoDimMatchWith(other) && m_eDataType == other.m_eDataType;
}

CCTImage::EReturnCode CCTImage::GetPixel(int x, int y, void* out) const
{
    if (out == nullptr) {
        return eRC_NullPointer;
    }
    if (!HasPixel(x, y)) {
        std::memset(out, 0, static_cast<std::size_t>(m_iBytesPerPixel));
        return eRC_OutOfImage;
    }
    return GetPixelFast(x, y, out);
}

CCTImage::EReturnCode CCTImage::SetPixel(int x, int y, const void* in)
{
    if (in == nullptr) {
        return eRC_NullPointer;
    }
    if (!HasPixel(x, y)) {
        return eRC_OutOfImage;
    }
    SetPixelFast(x, y, in);
    return eRC_OK;
}

CCTImage::EReturnCode CCTImage::SetPixel(int x, int y, unsigned long value)
{
    if (!HasPixel(x, y)) {
        return eRC_OutOfImage;
    }
    const auto bytes = static_cast<std::size_t>(m_iBytesPerPixel);
    std::memset(PixelAddress(x, y), 0, bytes);
    std::memcpy(PixelAddress(x, y), &value, std::min(bytes, sizeof value));
    return eRC_OK;
}

int CCTImage::ConvertPixToInt(const void* pixel, bool* converted) const
{
    std::optional<int> value;
    if (pixel != nullptr) {
        value = PixelAsInt(m_eDataType, pixel);
        if (!value) {
            value = PixelAsInt(UnsignedTypeOf(m_iBytesPerPixel), pixel);
        }
    }
    if (converted != nullptr) {
        *converted = value.has_value();
    }
    return value.value_or(pixel == nullptr ? 1 : 0);
}

CCTImage::EReturnCode CCTImage::PrintPixel(int x, int y, std::string& out) const
{
    if (!HasPixel(x, y)) {
        out = "invalid coords";
        return eRC_InvalidArgument;
    }
    // A copy as large as the largest type: a descendant may have allocated fewer bytes than the type needs.
    std::array<std::byte, sizeof(LxCFloat3)> pixel{};
    ImageKernels::CopyBytes({PixelAddress(x, y), static_cast<std::size_t>(m_iBytesPerPixel)}, pixel);
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << std::fixed << std::setprecision(2);
    PrintPixelOfType(text, m_eDataType, pixel.data());
    out = text.str();
    return eRC_OK;
}

void CCTImage::Clear()
{
    const std::span<std::byte> pixels = Bytes();
    if (!pixels.empty()) {
        std::memset(pixels.data(), 0, pixels.size());
    }
}

CCTImage::EReturnCode CCTImage::Resize(int width, int height, EImageDataType type)
{
    if (!OwnsBuffer() && IsValid()) {
        s_Logger.Info(L"Warning: resizing a non-internally managed image!\n");
    }
    const EImageDataType newType = type == eIDT_Undefined ? m_eDataType : type;
    // A failed allocation has left a type without pixel size.
    const bool keepsPixelSize = type == eIDT_Undefined && m_iBytesPerPixel > 0;
    const int bytesPerPixel = keepsPixelSize ? m_iBytesPerPixel : GetBytesPerPixel(newType);
    if (allocate(std::max(width, 0), std::max(height, 0), bytesPerPixel) != eRC_OK) {
        s_Logger.Info(L"Warning CCTImage::Allocate failed.");
        return eRC_OutOfMemory;
    }
    StoreDataType(newType);
    Clear();
    return eRC_OK;
}

CCTImage::EReturnCode CCTImage::CopyFrom(const CCTImage* source, bool replicateBorder)
{
    if (source == nullptr) {
        return eRC_Failed;
    }
    const bool sameSize = DoBPPAndDimMatchWith(*source);
    if (!sameSize) {
        ThrowUnlessCenterFits(*source);
    }
    if (LacksMemory() || source->LacksMemory()) {
        return eRC_NullPointer;
    }
    if (sameSize) {
        ImageKernels::CopyBytes(source->Bytes(), Bytes());
        SetDataType(source->m_eDataType);
    } else {
        CopyToCenter(*source, replicateBorder);
        if (GetBytesPerPixel(source->m_eDataType) != m_iBytesPerPixel) {
            throw std::invalid_argument(c_sOtherPixelSize);
        }
        StoreDataType(source->m_eDataType);
    }
    TakeAttributesOf(*source);
    return eRC_OK;
}

CCTImage::EReturnCode CCTImage::CopyDataFrom(const void* data, int width, int height, int bytesPerPixel)
{
    if (width != m_iWidth || height != m_iHeight || bytesPerPixel != m_iBytesPerPixel) {
        // The name in the text is the one that readers of the log look for.
        s_Logger.Warning(L"Warning CCTImage::CopyFrom: Trying to copy from differently sized image.\n");
        return eRC_SizeMismatch;
    }
    if (data == nullptr || LacksMemory()) {
        return eRC_NullPointer;
    }
    const std::span<std::byte> pixels = Bytes();
    ImageKernels::CopyBytes({static_cast<const std::byte*>(data), pixels.size()}, pixels);
    return eRC_OK;
}

void CCTImage::initializeToDefaults()
{
    *this = CCTImage();
}

CCTImage::Allocation CCTImage::AllocateAligned(std::size_t bytes)
{
    return Allocation(
        static_cast<std::byte*>(::operator new (bytes, std::align_val_t{sc_iAlignment}, std::nothrow)));
}

CCTImage::EReturnCode CCTImage::allocate(int width, int height, int bytesPerPixel)
{
    const bool representable = IsSizeRepresentable(width, height, bytesPerPixel);
    const bool keepsBuffer =
        representable && OwnsBuffer() && width * height * bytesPerPixel == GetSizeInBytes();
    if (!keepsBuffer) {
        m_pAllocation.reset();
        if (representable) {
            m_iAllocatedBytes = static_cast<std::size_t>(width) * static_cast<std::size_t>(height) *
                                static_cast<std::size_t>(bytesPerPixel);
            m_pAllocation = AllocateAligned(m_iAllocatedBytes);
        }
        m_pBuffer = m_pAllocation.get();
        if (m_pBuffer == nullptr) {
            s_Logger.Error(L"Warning CCTImage::Allocate failed.");
            deallocate();
            return eRC_OutOfMemory;
        }
    }
    m_iWidth = width;
    m_iHeight = height;
    m_iBytesPerPixel = bytesPerPixel;
    return eRC_OK;
}

CCTImage::EReturnCode CCTImage::deallocate()
{
    if (OwnsBuffer()) {
        m_pAllocation.reset();
        m_pBuffer = nullptr;
    }
    m_iWidth = 0;
    m_iHeight = 0;
    m_iBytesPerPixel = 0;
    return eRC_OK;
}

CCTImage::EReturnCode CCTImage::rearrangeFromBGR8ToARGB()
{
    if (m_eDataType == eIDT_ARGB8) {
        return eRC_OK;
    }
    if (m_eDataType != eIDT_BGRU8) {
        return eRC_WrongFormat;
    }
    if (!OwnsBuffer()) {
        return eRC_Failed;
    }
    constexpr int c_iArgbBytes = sizeof(std::uint32_t);
    if (!IsSizeRepresentable(m_iWidth, m_iHeight, c_iArgbBytes)) {
        return eRC_OutOfMemory;
    }
    const auto pixels = static_cast<std::size_t>(GetSizeInPixels());
    Allocation packed = AllocateAligned(pixels * c_iArgbBytes);
    if (packed == nullptr) {
        return eRC_OutOfMemory;
    }
    const std::span<const std::byte> bgr = Bytes();
    ImageKernels::PackBgrToArgb({reinterpret_cast<const std::uint8_t*>(bgr.data()), bgr.size()},
                                {reinterpret_cast<std::uint32_t*>(packed.get()), pixels});
    m_pAllocation = std::move(packed);
    m_iAllocatedBytes = pixels * c_iArgbBytes;
    m_pBuffer = m_pAllocation.get();
    m_iBytesPerPixel = c_iArgbBytes;
    StoreDataType(eIDT_ARGB8);
    return eRC_OK;
}

void CCTImage::StoreDataType(EImageDataType type)
{
    m_eDataType = type;
    m_iNumChannels = FormatOf(type).channels;
}

void CCTImage::Fill(const LxCFloat3& value)
{
    const auto pixel = std::as_bytes(std::span(&value, 1));
    ImageKernels::FillPixels(pixel.first(static_cast<std::size_t>(m_iBytesPerPixel)), Bytes());
}

void CCTImage::WrapBufferOf(const CCTImage& source)
{
    if (OwnsBuffer()) {
        const std::byte* const begin = m_pAllocation.get();
        const bool isOwnMemory = std::less_equal<>()(begin, source.m_pBuffer) &&
                                 std::less<>()(source.m_pBuffer, begin + m_iAllocatedBytes);
        if (!isOwnMemory) {
            m_pAllocation.reset();
        }
    }
    m_iWidth = source.m_iWidth;
    m_iHeight = source.m_iHeight;
    m_iBytesPerPixel = source.m_iBytesPerPixel;
    m_pBuffer = source.m_pBuffer;
}

/// Takes size, type and buffer of an image that owns one, and leaves that without pixels.
void CCTImage::TakePixelsOf(CCTImage& owner)
{
    m_iWidth = owner.m_iWidth;
    m_iHeight = owner.m_iHeight;
    m_iBytesPerPixel = owner.m_iBytesPerPixel;
    StoreDataType(owner.m_eDataType);
    m_iAllocatedBytes = owner.m_iAllocatedBytes;
    m_pAllocation = std::move(owner.m_pAllocation);
    m_pBuffer = std::exchange(owner.m_pBuffer, nullptr);
    owner.deallocate();
}

void CCTImage::ThrowUnlessCenterFits(const CCTImage& source) const
{
    if (m_iWidth < source.m_iWidth || m_iHeight < source.m_iHeight ||
        m_iBytesPerPixel != source.m_iBytesPerPixel) {
        std::array<char, 128> text{};
        std::snprintf(text.data(), text.size(),
                      "CCTImage::CopyFrom - Size mismatch: (%ix%ix%i) vs. (%ix%ix%i); ImageType: %i vs. %i",
                      m_iWidth, m_iHeight, m_iBytesPerPixel, source.m_iWidth, source.m_iHeight,
                      source.m_iBytesPerPixel, static_cast<int>(m_eImageType),
                      static_cast<int>(source.m_eImageType));
        throw std::invalid_argument(text.data());
    }
    if ((m_iWidth - source.m_iWidth) % 2 != 0 || (m_iHeight - source.m_iHeight) % 2 != 0) {
        throw std::invalid_argument("CCTImage::CopyFrom - Size of destination image not allowed!");
    }
}

void CCTImage::CopyToCenter(const CCTImage& source, bool replicateBorder)
{
    const ImageKernels::SCenteredBlock geometry{
        static_cast<std::size_t>(m_iWidth), static_cast<std::size_t>(m_iHeight),
        static_cast<std::size_t>(source.m_iWidth), static_cast<std::size_t>(source.m_iHeight),
        static_cast<std::size_t>(m_iBytesPerPixel)};
    ImageKernels::CopyToCenter(geometry, source.Bytes(), Bytes());
    if (replicateBorder) {
        ImageKernels::ReplicateBorder(geometry, Bytes());
    } else {
        ImageKernels::ClearBorder(geometry, Bytes());
    }
}

void CCTImage::TakeAttributesOf(const CCTImage& source)
{
    m_eImageType = source.m_eImageType;
    m_uiTimestamp = source.m_uiTimestamp;
    if (&source != this) {
        m_sDescription = source.m_sDescription;
        m_sPathname = source.m_sPathname;
        m_sSourcePathname = source.m_sSourcePathname;
    }
}

CCTImage::EReturnCode CreateImage(CCTImage** image, int width, int height, CCTImage::EImageDataType type,
                                  bool allocateMemory, void* data)
{
    if (image == nullptr) {
        return CCTImage::eRC_Failed;
    }
    if (width < 0 || height < 0) {
        return CCTImage::eRC_InvalidArgument;
    }
    try {
        *image = new CCTImage(width, height, type, allocateMemory, data);
    } catch (const std::exception& exception) {
        s_Logger.Error(L"CreateImage: %s (%i x %i, type %i)\n", exception.what(), width, height, type);
        return CCTImage::eRC_OutOfMemory;
    }
    return CCTImage::eRC_OK;
}

} // namespace LxCV
