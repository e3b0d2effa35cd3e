// Reads any bytes as a 3D file, works on what was read, and writes it: that file must read back as the same points.
#include "lxccoordsystrans.h"
#include "lxcorxipalgorithm.h"
#include "lxsscandata.h"
#include "orx/logging/logger.h"
#include "tests/support/temporaryfolder.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

using LxCV::CCTImage;
using LxCV::LxSScanData;

constexpr std::size_t c_uiHeaderBytes = 132;
constexpr std::size_t c_uiPointBytes = 12;
constexpr int c_iSide = 24; // pixels, of the record that reads

void Require(bool condition)
{
    if (!condition) {
        std::abort();
    }
}

/// The file that inputs are written to, over and over.
class CFile
{
public:
    std::string Write(const std::string& bytes) const
    {
        TestSupport::WriteFile(m_Folder / "scan", bytes);
        return m_Folder / "scan";
    }
    std::string GetOther() const { return m_Folder / "other"; }

private:
    TestSupport::CTemporaryFolder m_Folder;
};

std::size_t BytesOf(const CCTImage& image)
{
    return static_cast<std::size_t>(image.GetSizeInBytes());
}

bool IsCleared(const LxSScanData& scan)
{
    const auto* const bytes = static_cast<const char*>(scan.Get3DPoints()->GetBuffer());
    return std::string(bytes, BytesOf(*scan.Get3DPoints())).find_first_not_of('\0') == std::string::npos;
}

/// None of this may leave the images, whatever sizes and points they have.
void WorkOn(LxSScanData& scan)
{
    double depth = 0.0;
    Require(scan.ComputeMedianDepth(&depth) || depth == 0.0);
    const LxCV::LxCORXIPAlgorithm algorithm;
    Require(algorithm.ComputeNormals(&scan));
    LxCV::LxCCoordSysTrans pose;
    pose.ReadFromEulerAnglesAndVector(0.1, 0.2, 0.3, 1.0, 2.0, 3.0);
    Require(scan.TrafoScanData(&pose));
    Require(algorithm.ComputeNormals(&scan));
}

void WriteAndReadAgain(LxSScanData& scan, const std::string& path)
{
    CCTImage& points = *scan.Get3DPoints();
    CCTImage mask(points.GetWidth(), points.GetHeight(), CCTImage::eIDT_UINT8, 0.0F);
    if (mask.IsValid()) {
        std::memset(mask.GetBuffer(), 1, BytesOf(mask));
    }
    Require(LxSScanData::Write3DFile(&points, &mask, path));
    LxSScanData again;
    Require(again.Initialize(&points, false) && again.Read3DFile(path));
    Require(again.Get3DPoints()->DoDimMatchWith(points));
    Require(BytesOf(points) == 0 ||
            std::memcmp(again.Get3DPoints()->GetBuffer(), points.GetBuffer(), BytesOf(points)) == 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const CFile file;
    const Logging::CCapture quiet;
    const std::string path = file.Write(std::string(data, data + size));
    LxSScanData scan;
    Require(scan.Initialize(c_iSide, c_iSide, c_iSide, c_iSide, true));
    if (!scan.Read3DFile(path)) {
        Require(IsCleared(scan));
        WorkOn(scan);
        return 0;
    }
    Require(size >= c_uiHeaderBytes && BytesOf(*scan.Get3DPoints()) <= size - c_uiHeaderBytes);
    Require(BytesOf(*scan.Get3DPoints()) % c_uiPointBytes == 0);
    WorkOn(scan);
    // Also a record of the file's own size.
    Require(scan.Initialize(scan.Get3DPoints(), false) && scan.Read3DFile(path));
    Require(BytesOf(*scan.Get3DPoints()) == 0 ||
            std::memcmp(scan.Get3DPoints()->GetBuffer(), data + c_uiHeaderBytes,
                        BytesOf(*scan.Get3DPoints())) == 0);
    WriteAndReadAgain(scan, file.GetOther());
    WorkOn(scan);
    return 0;
}
