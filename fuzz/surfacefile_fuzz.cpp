// Reads any bytes as a surface file, into a scan of the size that they tell and into others.
#include "lxcorxipalgorithm.h"
#include "lxcqccserializer.h"
#include "lxsscandataqcc.h"
#include "orx/logging/logger.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

namespace {

using LxCV::LxCQCCSerializer;
using LxCV::LxSScanDataQCC;

constexpr std::uint64_t c_uiMaxPixels = 1 << 16; // of a scan that is made for the input

void Require(bool condition)
{
    if (!condition) {
        std::abort();
    }
}

/// Reads all sections; the reader may be one that has read another stream.
void ReadAll(LxCQCCSerializer& serializer, const std::string& bytes, LxSScanDataQCC& scan)
{
    std::istringstream stream(bytes);
    serializer.ReadSurfaceHeader(stream);
    serializer.ReadSurfaceMetaData(stream);
    serializer.ReadMotorPositions(stream);
    serializer.ReadSensorData(stream);
    serializer.ReadPointCloud(stream, &scan);
}

/// The valid pixels of a scan that was cleared before are those without a NaN that were counted.
void CheckMask(const LxSScanDataQCC& scan)
{
    int valid = 0;
    for (int y = 0; y < scan.GetValidMask()->GetHeight(); ++y) {
        for (int x = 0; x < scan.GetValidMask()->GetWidth(); ++x) {
            if (scan.GetValidMask()->GetBytePixelFast(x, y) == 1) {
                ++valid;
                const LxCV::LxCFloat3& point = scan.Get3DPoints()->GetFloat3Fast(x, y);
                Require(!std::isnan(point.get(0)) && !std::isnan(point.get(1)) && !std::isnan(point.get(2)));
            }
        }
    }
    Require(valid == scan.GetNumValidPoints());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const Logging::CCapture quiet;
    const std::string bytes(data, data + size);
    LxCQCCSerializer serializer;
    LxSScanDataQCC never;
    ReadAll(serializer, bytes, never);
    if (serializer.GetNumRows() > c_uiMaxPixels || serializer.GetNumColumns() > c_uiMaxPixels ||
        serializer.GetNumPixels() > c_uiMaxPixels) {
        return 0;
    }
    const auto width = static_cast<int>(serializer.GetNumColumns());
    const auto height = static_cast<int>(serializer.GetNumRows());
    LxSScanDataQCC scan;
    Require(scan.Initialize(width, height, width, height, true));
    ReadAll(serializer, bytes, scan);
    CheckMask(scan);
    Require(LxCV::LxCORXIPAlgorithm().ComputeNormals(&scan));

    LxSScanDataQCC other;
    Require(other.Initialize(height + 1, width, 1, 1, false));
    ReadAll(serializer, bytes, other);
    Require(other.GetNumValidPoints() == 0);
    return 0;
}
