// Builds a target's data file from any archive, or from an archive of any text: it fits its buffer, and what is
// refused has a reason. The first byte tells which: 't' for a text, else the rest is an archive.
#include "lxccalibrationtargetwriter.h"
#include "orx/logging/logger.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

namespace {

using LxCV::LxCCalibrationTargetWriter;

void Require(bool condition)
{
    if (!condition) {
        std::abort();
    }
}

/// Opens what builds the data file, so that nothing is written to the registry.
class CWriter : public LxCCalibrationTargetWriter
{
public:
    static void Build(const std::string& archive, const std::string& number, bool isArchive)
    {
        Buffer buffer{};
        unsigned int length = 0;
        std::istringstream stream(archive);
        const ECalibDataReturnCode code = writePaperTarget(buffer, number, length, stream);
        Require(code == eCDRC_Success || code == (isArchive ? eCDRC_NoData : eCDRC_ArchiveNotReadable));
        if (code == eCDRC_Success) {
            const std::string text(buffer.data(), length);
            Require(length < buffer.size() && text.find("TargetId=" + number) != std::string::npos);
            Require(std::all_of(buffer.begin() + length, buffer.end(), [](char byte) { return byte == 0; }));
            Require(text.find('\t') == std::string::npos);
        }
    }
};

std::string Compress(const std::string& text)
{
    std::istringstream in(text);
    std::ostringstream out;
    Require(LxCCalibrationTargetWriter::compress(in, out));
    return out.str();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const Logging::CCapture capture;
    if (size == 0) {
        return 0;
    }
    const std::string content(reinterpret_cast<const char*>(data) + 1, size - 1);
    const bool isText = data[0] == 't';
    const std::string archive = isText ? Compress(content) : content;
    std::istringstream stream(archive);
    std::ostringstream text;
    const bool isArchive = LxCCalibrationTargetWriter::decompress(text, stream);
    Require(isText ? isArchive && text.view() == content : isArchive || text.view().empty());
    for (const char* number : {"12345607", "00000000"}) {
        CWriter::Build(archive, number, isArchive);
    }
    std::string number = content;
    if (LxCCalibrationTargetWriter::GetTargetType(number) != LxCCalibrationTargetWriter::eTT_Invalid) {
        Require(LxCCalibrationTargetWriter::isValidChecksum(number));
    }
    return 0;
}
