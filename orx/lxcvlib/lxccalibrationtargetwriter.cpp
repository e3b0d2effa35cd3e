// Data files of calibration targets: check digits, the archive's frame and records, templates, the registry.
#include "lxccalibrationtargetwriter.h"

#include "filestreams.h"
#include "orx/logging/logger.h"
#include "orx/platform/archive.h"
#include "orx/platform/keyvaluestore.h"
#include "orx/platform/paths.h"
#include "orx/platform/replacefile.h"
#include "orx/ymalgo/ymzip.h"
#include "pathutils.h"
#include "stringutils.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <optional>
#include <span>
#include <sstream>
#include <string_view>
#include <vector>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCCalibrationTargetWriter");

using Writer = LxCCalibrationTargetWriter;

constexpr const char* c_sFolder = "/HEXFILES/";
constexpr const char* c_sArchiveName = "LumoradCalibrationData.dat";
constexpr const char* c_sTextName = "LumoradCalibrationDataOrig.dat";
constexpr const char* c_sReconstructedTextName = "LumoradCalibrationDataOrigReconstruct.dat";

constexpr std::uint8_t c_iVersion = 1;
constexpr std::size_t c_uiNumberDigits = 8;
constexpr std::size_t c_uiRecordDigits = 6; // digits of a number that its record has
constexpr const char* c_sKeyMark = "::";
constexpr std::size_t c_uiReadStep = 64 * 1024;
constexpr std::streamsize c_iLongestSkip = 8192; // characters of a line that is passed over

constexpr std::string_view c_sHead = "#----------------------------------\r\n"
                                     "::Thres\r\n"
                                     "\r\n"
                                     "TargetId=00000000\r\n";
constexpr std::size_t c_uiNumberOffset = 57; // in the head; those who patch a data file count on it
static_assert(c_sHead.substr(c_uiNumberOffset) == "00000000\r\n");
constexpr std::string_view c_sCoordsHead = "\r\n"
                                           "\r\n"
                                           "#----------------------------------\r\n"
                                           "::Coords\r\n"
                                           "\r\n";

// The squares of an IMT target, which are a little larger than the 1 mm that they are named for. In micrometres.
constexpr int c_iRows = 7;
constexpr int c_iColumns = 8;
constexpr int c_iPitch = 3000;
constexpr int c_iSide = 1000;
constexpr int c_iMargin = 3;

bool IsDigit(char character)
{
    return character >= '0' && character <= '9';
}

/// 1234 becomes "1.234" on every machine and in every locale.
std::string Millimetres(int micrometres)
{
    const std::string digits = std::to_string(1000 + std::abs(micrometres) % 1000);
    return (micrometres < 0 ? "-" : "") + std::to_string(std::abs(micrometres) / 1000) + "." +
           digits.substr(1);
}

std::string MakeTemplate(std::string_view labelType)
{
    return std::string(c_sHead) + "LabelType=" + std::string(labelType) + "\r\n" + std::string(c_sCoordsHead);
}

/// Head and corners of all squares, row by row; without a line end behind the last one.
std::string MakeIMTTemplate()
{
    std::string text = MakeTemplate("IMT");
    std::string_view separator;
    for (int row = 0; row < c_iRows; ++row) {
        for (int column = 0; column < c_iColumns; ++column) {
            for (const int y : {-c_iMargin, c_iSide + c_iMargin}) {
                for (const int x : {-c_iMargin, c_iSide + c_iMargin}) {
                    text += separator;
                    text +=
                        Millimetres(column * c_iPitch + x) + " " + Millimetres(row * c_iPitch + y) + " 0.000";
                    separator = "\r\n";
                }
            }
        }
    }
    return text;
}

const std::string& GetPaperTemplate()
{
    static const std::string s_sTemplate = MakeTemplate("xxx");
    return s_sTemplate;
}

const std::string& GetIMTTemplate()
{
    static const std::string s_sTemplate = MakeIMTTemplate();
    return s_sTemplate;
}

/// Puts a template, which is shorter than the buffer, with the digits of a number at its beginning.
void PutTemplate(std::span<char, Writer::sc_iMaxDataSize> buffer, const std::string& text,
                 const std::string& number)
{
    std::ranges::copy(text, buffer.begin());
    std::ranges::copy(number.substr(0, c_uiNumberDigits), buffer.begin() + c_uiNumberOffset);
}

/// The coordinates under a key, with tabs; none where the text has no such record.
std::optional<std::string> FindCoordinates(std::istream& text, const std::string& key)
{
    std::string line;
    while (std::getline(text, line)) {
        if (line == key) {
            return std::getline(text, line) ? std::optional(line) : std::nullopt;
        }
        // The rest of a longer line deliberately counts as lines of its own: what is that long fits no data file.
        text.ignore(c_iLongestSkip, '\n');
    }
    return std::nullopt;
}

/// The path text of a file in the folder of the archive.
std::string PathInFolder(const char* fileName)
{
    return GetAppPathA() + c_sFolder + fileName;
}

/// The deflated text of an archive, with its length before; nothing, with a log line, where the frame is damaged.
std::optional<std::vector<std::byte>> ReadFrame(std::istream& input, std::uint32_t& textLength)
{
    platform::CArchive archive(input);
    std::uint8_t version = 0;
    archive >> version;
    if (archive.IsOk() && version != c_iVersion) {
        s_Logger.Error(L"LxCCalibrationTargetWriter::decryptAndDecompress: invalid version number %i.\n",
                       version);
        return std::nullopt;
    }
    std::uint32_t length = 0;
    archive >> textLength >> length;
    if (archive.IsOk() && textLength > Writer::sc_uiMaxArchiveText) {
        s_Logger.Error(L"LxCCalibrationTargetWriter::decompress: a text of %u bytes is too long.\n",
                       textLength);
        return std::nullopt;
    }
    std::vector<std::byte> deflated = archive.ReadBlock(length);
    if (!archive.IsOk()) {
        s_Logger.Error(L"LxCCalibrationTargetWriter::decompress: the archive ends early.\n");
        return std::nullopt;
    }
    return deflated;
}

/// Reads one file, converts it in memory and then writes the other.
bool ConvertFile(const char* from, const char* to, bool (*convert)(std::istream& in, std::ostream& out))
{
    try {
        std::ifstream in = OpenFileForReading(PathInFolder(from));
        std::stringstream content;
        if (!in.is_open()) {
            s_Logger.Error(L"LxCCalibrationTargetWriter: '%s' cannot be opened.\n", from);
            return false;
        }
        if (!convert(in, content)) {
            return false;
        }
        const std::error_code error = platform::ReplaceFile(platform::NativePath(PathInFolder(to)),
                                                            std::as_bytes(std::span(content.view())));
        if (error) {
            s_Logger.Error(L"LxCCalibrationTargetWriter: '%s' cannot be written: %s.\n", to, error.message());
        }
        return !error;
    } catch (const std::exception& error) {
        s_Logger.Error(L"LxCCalibrationTargetWriter: %s\n", error.what());
        return false;
    }
}

} // namespace

LxCCalibrationTargetWriter::ETargetType LxCCalibrationTargetWriter::GetTargetType(std::string& number)
{
    removeNonDigit(number);
    if (!isValidChecksum(number)) {
        return eTT_Invalid;
    }
    if (number < "25") {
        return eTT_Paper;
    }
    return number < "4" ? eTT_IMT : eTT_WithoutData;
}

LxCCalibrationTargetWriter::ETargetType LxCCalibrationTargetWriter::GetTargetType(const std::wstring& number)
{
    std::string narrow = ws2s(number);
    return GetTargetType(narrow);
}

LxCCalibrationTargetWriter::ECalibDataReturnCode
LxCCalibrationTargetWriter::WriteCalibDataToRegistry(const std::string& number)
{
    return buildAndWrite(number, nullptr);
}

LxCCalibrationTargetWriter::ECalibDataReturnCode
LxCCalibrationTargetWriter::WriteCalibDataToRegistry(const std::wstring& number)
{
    return buildAndWrite(ws2s(number), nullptr);
}

LxCCalibrationTargetWriter::ECalibDataReturnCode
LxCCalibrationTargetWriter::WriteCalibDataToRegistry(const std::string& number, std::istream& archive)
{
    return buildAndWrite(number, &archive);
}

LxCCalibrationTargetWriter::ECalibDataReturnCode
LxCCalibrationTargetWriter::buildAndWrite(std::string number, std::istream* archive)
{
    Buffer buffer{};
    unsigned int length = 0;
    ECalibDataReturnCode code = eCDRC_InvalidNumber;
    switch (GetTargetType(number)) {
    case eTT_Paper:
        code = archive != nullptr ? writePaperTarget(buffer, number, length, *archive)
                                  : writePaperTarget(buffer, number, length);
        break;
    case eTT_IMT:
        code = writeIMTTarget(buffer, number, length);
        break;
    case eTT_WithoutData:
        return eCDRC_NoData;
    case eTT_Invalid:
        return eCDRC_InvalidNumber;
    }
    return code == eCDRC_Success ? writeToRegistry(buffer, length) : code;
}

std::string LxCCalibrationTargetWriter::GetArchivePath()
{
    return PathInFolder(c_sArchiveName);
}

unsigned int LxCCalibrationTargetWriter::GetMaxCoordinatesSize()
{
    return static_cast<unsigned int>(sc_iMaxDataSize - 1 - GetPaperTemplate().size());
}

bool LxCCalibrationTargetWriter::compress(std::istream& text, std::ostream& output)
{
    constexpr std::size_t tooLong = sc_uiMaxArchiveText + 1;
    std::vector<char> bytes;
    while (text.good() && bytes.size() < tooLong) {
        const std::size_t begin = bytes.size();
        bytes.resize(std::min(tooLong, begin + std::max(begin, c_uiReadStep)));
        text.read(bytes.data() + begin, static_cast<std::streamsize>(bytes.size() - begin));
        bytes.resize(begin + static_cast<std::size_t>(text.gcount()));
    }
    if (!text.eof() || text.bad() || bytes.size() == tooLong) {
        s_Logger.Error(
            L"LxCCalibrationTargetWriter::compress: the text cannot be read or is longer than %u bytes.\n",
            sc_uiMaxArchiveText);
        return false;
    }
    YmCompressZIP zip;
    bool done = zip.Compress(bytes.data(), bytes.size());
    if (done) {
        platform::CArchive archive(output);
        archive << c_iVersion << static_cast<std::uint32_t>(bytes.size())
                << static_cast<std::uint32_t>(zip.GetOutputSize());
        archive.WriteBytes(std::as_bytes(std::span(zip.GetOutputBuffer(), zip.GetOutputSize())));
        done = archive.IsOk() && output.flush().good(); // a full disk may show only here
    }
    if (!done) {
        s_Logger.Error(L"LxCCalibrationTargetWriter::compress: the archive cannot be written.\n");
    }
    return done;
}

bool LxCCalibrationTargetWriter::decompress(std::ostream& text, std::istream& input)
{
    std::uint32_t textLength = 0;
    const std::optional<std::vector<std::byte>> deflated = ReadFrame(input, textLength);
    if (!deflated) {
        return false;
    }
    YmDecompressZIP zip;
    if (!zip.Decompress(deflated->data(), deflated->size(), textLength)) {
        s_Logger.Error(
            L"LxCCalibrationTargetWriter::decompress: %u bytes are not the deflated form of %u bytes.\n",
            deflated->size(), textLength);
        return false;
    }
    text.write(reinterpret_cast<const char*>(zip.GetOutputBuffer()),
               static_cast<std::streamsize>(zip.GetOutputSize()));
    if (!text.good()) {
        s_Logger.Error(L"LxCCalibrationTargetWriter::decompress: the text cannot be written.\n");
    }
    return text.good();
}

bool LxCCalibrationTargetWriter::isValidChecksum(const std::string& number)
{
    if (number.size() < c_uiNumberDigits ||
        !std::all_of(number.begin(), number.begin() + c_uiNumberDigits, IsDigit)) {
        return false;
    }
    const auto digit = [&number](std::size_t index) { return number[index] - '0'; };
    const int even = digit(0) + digit(2) + digit(4);
    const int odd = digit(1) + digit(3) + digit(5);
    const auto check = [](int sum) { return (10 - sum % 10) % 10; };
    return digit(6) == check(2 * even + odd) && digit(7) == check(2 * odd + even);
}

void LxCCalibrationTargetWriter::removeNonDigit(std::string& text)
{
    std::erase_if(text, [](char character) { return !IsDigit(character); });
}

bool LxCCalibrationTargetWriter::DebugReadOrigAndWriteCrypted()
{
    return ConvertFile(c_sTextName, c_sArchiveName, compress);
}

bool LxCCalibrationTargetWriter::DebugReadCryptedAndWriteOrig()
{
    return ConvertFile(c_sArchiveName, c_sReconstructedTextName,
                       [](std::istream& archive, std::ostream& text) { return decompress(text, archive); });
}

LxCCalibrationTargetWriter::ECalibDataReturnCode
LxCCalibrationTargetWriter::writePaperTarget(Buffer& buffer, const std::string& number, unsigned int& length)
{
    std::ifstream archive;
    try {
        archive = OpenFileForReading(GetArchivePath());
    } catch (const std::runtime_error&) {
        // Without the program's folder there is no archive.
    }
    if (!archive.is_open()) {
        s_Logger.Info(
            L"LxCCalibrationTargetWriter::WriteCalibDataToRegistry: Error: Archive with data for all "
            L"calibration sets not found on hard disk or could not be opened.");
        return eCDRC_ArchiveNotReadable;
    }
    return writePaperTarget(buffer, number, length, archive);
}

LxCCalibrationTargetWriter::ECalibDataReturnCode
LxCCalibrationTargetWriter::writePaperTarget(Buffer& buffer, const std::string& number, unsigned int& length,
                                             std::istream& archive)
{
    const std::string& head = GetPaperTemplate();
    PutTemplate(buffer, head, number);
    std::stringstream text;
    if (!decompress(text, archive)) {
        return eCDRC_ArchiveNotReadable;
    }
    const std::string name = number.substr(0, c_uiRecordDigits);
    const std::optional<std::string> coordinates = FindCoordinates(text, c_sKeyMark + name);
    if (!coordinates) {
        return eCDRC_NoData;
    }
    const std::size_t size =
        coordinates->size() + static_cast<std::size_t>(std::ranges::count(*coordinates, '\t'));
    if (size > GetMaxCoordinatesSize()) {
        s_Logger.Error(
            L"LxCCalibrationTargetWriter::writePaperTarget: the %u bytes of target %s are more than "
            L"the %u that fit.\n",
            size, name, GetMaxCoordinatesSize());
        return eCDRC_NoData;
    }
    std::ranges::copy(ReplaceAll(*coordinates, "\t", "\r\n"), buffer.begin() + head.size());
    length = static_cast<unsigned int>(head.size() + size);
    return eCDRC_Success;
}

LxCCalibrationTargetWriter::ECalibDataReturnCode
LxCCalibrationTargetWriter::writeIMTTarget(Buffer& buffer, const std::string& number, unsigned int& length)
{
    const std::string& text = GetIMTTemplate();
    PutTemplate(buffer, text, number);
    length = static_cast<unsigned int>(text.size());
    return eCDRC_Success;
}

LxCCalibrationTargetWriter::ECalibDataReturnCode
LxCCalibrationTargetWriter::writeToRegistry(const Buffer& buffer, unsigned int length)
{
    const auto value = std::as_bytes(std::span(buffer)).first(std::min<std::size_t>(length, buffer.size()));
    const std::error_code error = platform::WriteStoreValue(platform::EStoreRoot::eCurrentUser,
                                                            sc_sRegistryKey, sc_sRegistryValue, value);
    if (error) {
        s_Logger.Error(L"LxCCalibrationTargetWriter::writeToRegistry: %s.\n", error.message());
        return eCDRC_RegistryWriteFailed;
    }
    return eCDRC_Success;
}

} // namespace LxCV
