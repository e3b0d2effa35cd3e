// The sections of a surface file, in their order.
#include "lxcqccserializer.h"

#include "filestreams.h"
#include "lxsscandataqcc.h"
#include "orx/logging/logger.h"
#include "orx/platform/paths.h"
#include "pixelelements.h"
#include "scankernels.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <initializer_list>
#include <span>
#include <type_traits>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCQCCSerializer");

/// What the flags stand for, by their index. Others are not known.
enum EFlag : std::size_t
{
    eQualityPlane = 2,
    ePlane3 = 3,
    eColor = 4,
    ePlane5 = 5,
    eFloatPlane = 6,
    eSensor7 = 7,
    eSensor8 = 8,
    eSensor9 = 9,
    eSensor10 = 10,
    eSensor11 = 11,
    eSensor12 = 12,
    eSensor13 = 13,
    eSensor14 = 14
};

constexpr float c_fLastVersionOfShortHeaders = 12.0F;
constexpr std::uint64_t c_uiMotorPositionBytes = 4;
constexpr std::uint64_t c_uiSensorRecordBytes = 20;
constexpr std::uint64_t c_uiColorBytes = 3;
constexpr std::uint8_t c_uiWhite = 255;

void Skip(std::istream& stream, std::uint64_t bytes)
{
    // No count of a surface file comes near the largest one, which would mean no limit.
    stream.ignore(static_cast<std::streamsize>(bytes));
}

/// Reads a number, or leaves it as it is where the stream does not hold all of it.
template <typename T>
void Read(std::istream& stream, T& value)
{
    static_assert(std::is_arithmetic_v<T>);
    T read;
    if (stream.read(reinterpret_cast<char*>(&read), sizeof read)) {
        value = read;
    }
}

void ReadFlags(std::istream& stream, std::span<std::uint8_t> flags)
{
    for (std::uint8_t& flag : flags) {
        Read(stream, flag);
    }
}

/// Reads `count` groups of `size` floats and calls `store(index, floats)` for each that the stream holds whole.
template <std::size_t size, typename Store>
void ReadGroups(std::istream& stream, std::size_t count, Store store)
{
    constexpr std::size_t c_uiBlock = 1024; // groups
    std::array<float, size * c_uiBlock> floats;
    for (std::size_t done = 0; done < count;) {
        const std::size_t wanted = std::min(c_uiBlock, count - done);
        stream.read(reinterpret_cast<char*>(floats.data()),
                    static_cast<std::streamsize>(wanted * size * sizeof(float)));
        const std::size_t got = static_cast<std::size_t>(stream.gcount()) / (size * sizeof(float));
        for (std::size_t i = 0; i < got; ++i) {
            store(done + i, &floats[i * size]);
        }
        if (got < wanted) {
            return;
        }
        done += got;
    }
}

bool HasTypeAndSize(const CCTImage* image, CCTImage::EImageDataType type, std::uint32_t width,
                    std::uint32_t height)
{
    return image != nullptr && image->GetDataType() == type && CheckPixels(*image) == CCTImage::eRC_OK &&
           static_cast<std::uint32_t>(image->GetWidth()) == width &&
           static_cast<std::uint32_t>(image->GetHeight()) == height;
}

} // namespace

bool LxCQCCSerializer::LoadSurfaceFile(const std::string& path, LxSScanDataQCC* scan)
{
    if (scan == nullptr) {
        return false;
    }
    LxSFrameGrabberMetaData& metaData = scan->GetMetaData();
    metaData.Update(metaData.GetPerformanceCounter(), platform::NativePath(path).stem().string(),
                    metaData.GetText(), metaData.GetLEDSequence(), metaData.GetShutterTimePat(),
                    metaData.GetShutterTimeRef());
    std::ifstream file = OpenFileForReading(path);
    ReadSurfaceHeader(file);
    ReadSurfaceMetaData(file);
    ReadMotorPositions(file);
    ReadSensorData(file);
    ReadPointCloud(file, scan);
    return true;
}

void LxCQCCSerializer::ReadSurfaceHeader(std::istream& stream)
{
    constexpr std::uint64_t c_uiUnknownBytes = 2;
    const std::span<std::uint8_t> flags(m_uivFlags);
    float version = 0.0F;
    Read(stream, version);
    s_Logger.Info(L"fVersion = %f", version);
    ReadFlags(stream, flags.first(eSensor7));
    Skip(stream, c_uiUnknownBytes);
    ReadFlags(stream, flags.subspan(eSensor7, 3));
    if (version > c_fLastVersionOfShortHeaders) {
        ReadFlags(stream, flags.subspan(eSensor10, 3));
    } else {
        std::ranges::fill(flags.subspan(eSensor10, 3), std::uint8_t{0});
    }
    ReadFlags(stream, flags.subspan(eSensor13, 2));
}

void LxCQCCSerializer::ReadSurfaceMetaData(std::istream& stream)
{
    Read(stream, m_uiNumRows);
    Read(stream, m_uiNumColumns);
    Read(stream, m_uiNumMotorPositions);
    Skip(stream, 2 * sizeof(std::uint32_t) + sizeof(std::uint32_t) + 2 * sizeof(std::uint32_t));
    Read(stream, m_iA);
    Read(stream, m_iB);
    Read(stream, m_uiByte);
    Skip(stream, sizeof(std::uint64_t));
    Read(stream, m_dC);
    Read(stream, m_dD);
    Skip(stream, 3 * sizeof(std::uint32_t));
}

void LxCQCCSerializer::ReadMotorPositions(std::istream& stream) const
{
    Skip(stream, m_uiNumMotorPositions * c_uiMotorPositionBytes);
}

void LxCQCCSerializer::ReadSensorData(std::istream& stream) const
{
    struct SBlocks
    {
        EFlag flag;
        int blocks;
    };
    constexpr std::array<SBlocks, 8> c_aOrder = {{{eSensor7, 1},
                                                  {eSensor13, 1},
                                                  {eSensor14, 1},
                                                  {eSensor10, 1},
                                                  {eSensor11, 1},
                                                  {eSensor12, 1},
                                                  {eSensor8, 4},
                                                  {eSensor9, 2}}};
    for (const SBlocks& entry : c_aOrder) {
        for (int i = 0; i < entry.blocks && m_uivFlags[entry.flag] != 0; ++i) {
            ReadSingleSensorData(stream);
        }
    }
}

void LxCQCCSerializer::ReadSingleSensorData(std::istream& stream) const
{
    std::uint32_t count = 0;
    Read(stream, count);
    Skip(stream, count * c_uiSensorRecordBytes);
}

void LxCQCCSerializer::ReadPointCloud(std::istream& stream, LxSScanDataQCC* scan) const
{
    if (scan == nullptr) {
        return;
    }
    *scan->GetScanInfo() = {m_iA, m_iB, m_uiByte, m_dC, m_dD};
    if (GetNumPixels() > 0 && !Fits(*scan)) {
        s_Logger.Error(L"LxCQCCSerializer::ReadPointCloud: the scan has not %u by %u pixels.\n",
                       m_uiNumColumns, m_uiNumRows);
        return;
    }
    const std::uint64_t planeBytes = GetNumPixels() * sizeof(float);
    scan->SetNumValidPoints(static_cast<int>(ReadPoints(stream, *scan)));
    ReadQualities(stream, *scan);
    for (const EFlag plane : {ePlane3, ePlane5}) {
        if (m_uivFlags[plane] != 0) {
            Skip(stream, planeBytes);
        }
    }
    ReadFloatPlane(stream, *scan);
    if (m_uivFlags[eColor] != 0) {
        Skip(stream, GetNumPixels() * c_uiColorBytes);
    }
}

bool LxCQCCSerializer::Fits(const LxSScanDataQCC& scan) const
{
    const auto fits = [this](const CCTImage* image, CCTImage::EImageDataType type) {
        return HasTypeAndSize(image, type, m_uiNumColumns, m_uiNumRows);
    };
    return fits(scan.Get3DPoints(), CCTImage::eIDT_FLOAT32_3) &&
           fits(scan.GetValidMask(), CCTImage::eIDT_UINT8) && fits(scan.GetColor(), CCTImage::eIDT_BGRU8) &&
           fits(scan.GetFloatPlane(), CCTImage::eIDT_FLOAT32);
}

std::size_t LxCQCCSerializer::ReadPoints(std::istream& stream, LxSScanDataQCC& scan) const
{
    if (GetNumPixels() == 0) {
        return 0;
    }
    const auto points = ElementsOf<LxCFloat3>(*scan.Get3DPoints());
    const auto mask = ElementsOf<std::uint8_t>(*scan.GetValidMask());
    const auto color = ElementsOf<std::uint8_t>(*scan.GetColor());
    std::size_t valid = 0;
    ReadGroups<3>(stream, points.size(), [&](std::size_t i, const float* source) {
        const bool isNumber = !std::isnan(source[0]) && !std::isnan(source[1]) && !std::isnan(source[2]);
        points[i].set(source[1], source[0], -source[2]);
        mask[i] = isNumber ? ScanKernels::c_uiValid : 0;
        valid += isNumber ? 1 : 0;
        std::ranges::fill(color.subspan(i * c_uiColorBytes, c_uiColorBytes), c_uiWhite);
    });
    return valid;
}

void LxCQCCSerializer::ReadQualities(std::istream& stream, LxSScanDataQCC& scan) const
{
    if (m_uivFlags[eQualityPlane] == 0) {
        return;
    }
    const std::span<MultipleQualities> qualities = scan.GetQualities();
    if (qualities.size() != GetNumPixels()) {
        Skip(stream, GetNumPixels() * sizeof(float));
        return;
    }
    ReadGroups<1>(stream, qualities.size(),
                  [&](std::size_t i, const float* quality) { qualities[i] = MultipleQualities(*quality); });
}

void LxCQCCSerializer::ReadFloatPlane(std::istream& stream, LxSScanDataQCC& scan) const
{
    if (m_uivFlags[eFloatPlane] == 0 || GetNumPixels() == 0) {
        return;
    }
    const auto plane = ElementsOf<float>(*scan.GetFloatPlane());
    const bool hasImage =
        HasTypeAndSize(scan.GetFloatImage(), CCTImage::eIDT_FLOAT32, m_uiNumColumns, m_uiNumRows);
    const auto image = hasImage ? ElementsOf<float>(*scan.GetFloatImage()) : std::span<float>();
    ReadGroups<1>(stream, plane.size(), [&](std::size_t i, const float* value) {
        plane[i] = *value;
        if (!image.empty()) {
            image[i] = *value;
        }
    });
}

} // namespace LxCV
