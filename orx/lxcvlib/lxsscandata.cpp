// The images of a measurement, their 3D file and a sample of their depths.
#include "lxsscandata.h"

#include "filestreams.h"
#include "lxccoordsystrans.h"
#include "numericroutines.h"
#include "orx/logging/logger.h"
#include "orx/platform/paths.h"
#include "pixelelements.h"
#include "scankernels.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <new>
#include <optional>
#include <random>
#include <system_error>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxSScanData");

constexpr int c_iPointChannels = 3;
constexpr std::size_t c_uiPointBytes = c_iPointChannels * sizeof(float);
constexpr std::uint64_t c_uiMaxPixels = std::numeric_limits<int>::max() / c_uiPointBytes; ///< of a 3D image

/// The 3D file before its points: a rotation by rows and a further six numbers, which no reader uses, and the size.
class C3DFileHeader
{
public:
    static constexpr std::size_t c_uiPoseBytes = 15 * sizeof(double);
    static constexpr std::size_t c_uiBytes = c_uiPoseBytes + 3 * sizeof(std::int32_t);

    struct SSize
    {
        std::int32_t width;  ///< pixels
        std::int32_t height; ///< pixels
        std::int32_t channels;
    };

    /// The identity and zeros.
    explicit C3DFileHeader(const SSize& size)
    {
        constexpr std::array<double, 15> pose = {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0};
        static_assert(sizeof pose == c_uiPoseBytes && sizeof size == c_uiBytes - c_uiPoseBytes);
        std::memcpy(m_Bytes.data(), pose.data(), sizeof pose);
        std::memcpy(m_Bytes.data() + c_uiPoseBytes, &size, sizeof size);
    }

    static std::optional<SSize> Read(std::istream& stream)
    {
        std::array<char, c_uiBytes> bytes;
        if (!stream.read(bytes.data(), bytes.size())) {
            return std::nullopt;
        }
        SSize size;
        std::memcpy(&size, bytes.data() + c_uiPoseBytes, sizeof size);
        return size;
    }

    void Write(std::ostream& stream) const { stream.write(m_Bytes.data(), m_Bytes.size()); }

private:
    std::array<char, c_uiBytes> m_Bytes;
};

/// Whether the input holds all pixels of that size.
bool Holds(std::uintmax_t bytes, const C3DFileHeader::SSize& size)
{
    if (size.width < 0 || size.height < 0) {
        return false;
    }
    const std::int64_t pixels = std::int64_t{size.width} * size.height;
    return static_cast<std::uintmax_t>(pixels) <= bytes / c_uiPointBytes;
}

bool HasType(const CCTImage* image, CCTImage::EImageDataType type)
{
    return image != nullptr && image->GetDataType() == type && CheckPixels(*image) == CCTImage::eRC_OK;
}

/// The points of an image; none for an image that is no image of points.
std::span<LxCFloat3> PointsOf(CCTImage* image)
{
    return HasType(image, CCTImage::eIDT_FLOAT32_3) ? ElementsOf<LxCFloat3>(*image) : std::span<LxCFloat3>();
}

/// Gives an image of zeros the size of a file's points and reads as many bytes as it had before. Where that fails, the
/// image has its former size and is zero again.
bool ReadPoints(std::istream& stream, const C3DFileHeader::SSize& size, CCTImage& points)
{
    constexpr CCTImage::EImageDataType c_eType = CCTImage::eIDT_FLOAT32_3;
    const CCTImage::EImageDataType typeBefore = points.GetDataType();
    const int widthBefore = points.GetWidth();
    const int heightBefore = points.GetHeight();
    const int bytesBefore = points.GetSizeInBytes();
    const bool hasSize =
        HasType(&points, c_eType) && widthBefore == size.width && heightBefore == size.height;
    if (hasSize || points.Resize(size.width, size.height, c_eType) == CCTImage::eRC_OK) {
        const int bytes = std::min(bytesBefore, points.GetSizeInBytes());
        if (stream.read(static_cast<char*>(points.GetBuffer()), bytes)) {
            return true;
        }
    }
    points.Resize(widthBefore, heightBefore, typeBefore);
    return false;
}

/// Removes a file that could not be written whole, but nothing that is no file.
void RemoveFile(const std::string& pathText)
{
    const std::filesystem::path path = platform::NativePath(pathText);
    std::error_code failure;
    if (std::filesystem::is_regular_file(path, failure)) {
        std::filesystem::remove(path, failure);
    }
}

/// A sample of bounded size in which later values replace drawn ones.
class CReservoir
{
public:
    static constexpr std::size_t c_uiSize = 200;

    void Add(double value) { m_dvValues[m_uiCount < c_uiSize ? m_uiCount++ : DrawIndex()] = value; }
    bool IsFull() const { return m_uiCount == c_uiSize; }

    /// The lower median; reorders the values.
    double ExtractMedian() { return QuickSelectMedian(m_dvValues.data(), static_cast<int>(c_uiSize), false); }

private:
    /// From 0 to `c_uiSize` - 1, all equally likely.
    std::size_t DrawIndex()
    {
        constexpr std::uint64_t range = std::minstd_rand::max() - std::minstd_rand::min() + 1ULL;
        return static_cast<std::size_t>((m_Random() - std::minstd_rand::min()) * c_uiSize / range);
    }

    std::minstd_rand m_Random; // the standard fixes its sequence, so that it is the same on every machine
    std::array<double, c_uiSize> m_dvValues{};
    std::size_t m_uiCount = 0;
};

} // namespace

LxSScanData::LxSScanData() = default;

LxSScanData::~LxSScanData() = default;

bool LxSScanData::Initialize(int width, int height, int /*width2*/, int /*height2*/, bool withQualities)
{
    m_pQualities.reset();
    m_uiNumQualities = 0;
    const bool haveQualities = !withQualities || CreateQualities(width, height);
    const bool haveImages = CreateImages({{m_p3DPoints, width, height, CCTImage::eIDT_FLOAT32_3},
                                          {m_pValidMask, width, height, CCTImage::eIDT_UINT8},
                                          {m_pNormalMask, width, height, CCTImage::eIDT_UINT8},
                                          {m_pColor, width, height, CCTImage::eIDT_BGRU8},
                                          {m_pNormals, width, height, CCTImage::eIDT_FLOAT32_3},
                                          {m_pFloatPlane, width, height, CCTImage::eIDT_FLOAT32},
                                          {m_pUInt16Plane, width, height, CCTImage::eIDT_UINT16}});
    m_iHostValue = 0;
    m_iNumValidPoints = 0;
    return haveQualities && haveImages;
}

bool LxSScanData::Initialize(CCTImage* image, bool withQualities)
{
    if (image == nullptr) {
        return false;
    }
    // Of an image of this record, the size is read before the image is gone.
    const int width = image->GetWidth();
    const int height = image->GetHeight();
    return Initialize(width, height, width, height, withQualities);
}

bool LxSScanData::Clear()
{
    const std::array<CCTImage*, 7> images = {m_p3DPoints.get(), m_pValidMask.get(),  m_pNormalMask.get(),
                                             m_pNormals.get(),  m_pFloatPlane.get(), m_pUInt16Plane.get(),
                                             m_pColor.get()};
    return ClearImages(images);
}

bool LxSScanData::ClearQualityData()
{
    std::ranges::fill(GetQualities(), MultipleQualities());
    return m_pQualities != nullptr;
}

bool LxSScanData::ComputeMedianDepth(double* out) const
{
    constexpr int c_iStep = 10;       // pixels, and rows
    constexpr int c_iMarginPart = 20; // of width and height
    if (out == nullptr) {
        return false;
    }
    *out = 0.0;
    const std::span<const LxCFloat3> points = PointsOf(m_p3DPoints.get());
    if (points.empty()) {
        return false;
    }
    const int width = m_p3DPoints->GetWidth();
    const int height = m_p3DPoints->GetHeight();
    const int marginX = width / c_iMarginPart;
    const int marginY = height / c_iMarginPart;
    CReservoir depths;
    for (int y = marginY; y < height - marginY; y += c_iStep) {
        for (int x = marginX; x < width - marginX; x += c_iStep) {
            const double depth = m_p3DPoints->GetFloat3Fast(x, y).get(2);
            if (depth != 0.0) {
                depths.Add(depth);
            }
        }
    }
    if (!depths.IsFull()) {
        return false;
    }
    *out = depths.ExtractMedian();
    return true;
}

bool LxSScanData::TrafoScanData(const LxCCoordSysTrans* t)
{
    if (t == nullptr) {
        return false;
    }
    ScanKernels::TransformPoints(std::span<const double, 12>(t->GetForward(), 12),
                                 PointsOf(m_p3DPoints.get()));
    return true;
}

bool LxSScanData::Write3DFile(const std::string& fileName) const
{
    return Write3DFile(m_p3DPoints.get(), m_pValidMask.get(), fileName);
}

bool LxSScanData::Write3DFile(CCTImage* points, CCTImage* mask, const std::string& fileName)
{
    if (!HasType(points, CCTImage::eIDT_FLOAT32_3) || mask == nullptr || mask->GetBytesPerPixel() != 1 ||
        CheckPixels(*mask) != CCTImage::eRC_OK || !points->DoDimMatchWith(*mask)) {
        s_Logger.Error(L"LxSScanData::Write3DFile: no points with a mask of their size.\n");
        return false;
    }
    const std::size_t valid =
        ScanKernels::ZeroInvalidPoints(ElementsOf<std::uint8_t>(*mask), ElementsOf<LxCFloat3>(*points));
    s_Logger.Info(L"LxSScanData::Write3DFile iNum3DPts = %i\n", static_cast<int>(valid));

    std::ofstream file = OpenFileForWriting(fileName);
    if (!file.is_open()) {
        return false;
    }
    C3DFileHeader({points->GetWidth(), points->GetHeight(), points->GetNumChannels()}).Write(file);
    file.write(static_cast<const char*>(points->GetBuffer()), points->GetSizeInBytes());
    file.close();
    if (file.fail()) {
        s_Logger.Error(L"LxSScanData::Write3DFile: '%s' cannot be written whole.\n", fileName);
        RemoveFile(fileName);
        return false;
    }
    return true;
}

bool LxSScanData::Read3DFile(const std::string& fileName)
{
    Clear();
    ClearQualityData();
    if (m_p3DPoints == nullptr) {
        return false;
    }
    std::ifstream file = OpenFileForReading(fileName);
    const std::optional<C3DFileHeader::SSize> size = C3DFileHeader::Read(file);
    if (!size || size->channels != c_iPointChannels) {
        return false;
    }
    if (!Holds(GetRemainingBytes(file), *size)) {
        s_Logger.Error(L"LxSScanData::Read3DFile: '%s' is shorter than %i by %i points.\n", fileName,
                       size->width, size->height);
        return false;
    }
    return ReadPoints(file, *size, *m_p3DPoints);
}

bool LxSScanData::CreateAndClear(CCTImage** slot, int width, int height, CCTImage::EImageDataType type)
{
    if (slot == nullptr) {
        return false;
    }
    delete *slot;
    *slot = nullptr;
    if (CreateImage(slot, width, height, type, true, nullptr) != CCTImage::eRC_OK) {
        return false;
    }
    (*slot)->Clear();
    return true;
}

bool LxSScanData::CreateImages(std::initializer_list<SSlot> slots)
{
    bool done = true;
    for (const SSlot& slot : slots) {
        slot.image.reset();
        if (done) {
            CCTImage* image = nullptr;
            done = CreateAndClear(&image, slot.width, slot.height, slot.type);
            slot.image.reset(image);
        }
    }
    return done;
}

bool LxSScanData::ClearImages(std::span<CCTImage* const> images)
{
    if (std::ranges::find(images, nullptr) != images.end()) {
        return false;
    }
    for (CCTImage* const image : images) {
        image->Clear();
    }
    return true;
}

bool LxSScanData::CreateQualities(int width, int height)
{
    if (width < 0 || height < 0) {
        return false;
    }
    const auto pixels = static_cast<std::uint64_t>(std::int64_t{width} * height);
    if (pixels > c_uiMaxPixels) {
        return false;
    }
    m_pQualities.reset(new (std::nothrow) MultipleQualities[pixels]);
    m_uiNumQualities = m_pQualities != nullptr ? static_cast<std::size_t>(pixels) : 0;
    return m_pQualities != nullptr;
}

} // namespace LxCV
