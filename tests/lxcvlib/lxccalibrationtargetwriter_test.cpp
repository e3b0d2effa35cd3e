#include "lxccalibrationtargetwriter.h"

#include "lxccbcalibbody.h"
#include "lxccbcalibthres.h"
#include "orx/logging/logger.h"
#include "orx/platform/keyvaluestore.h"
#include "pathutils.h"
#include "tests/support/environment.h"
#include "tests/support/hexfilesfolder.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <limits>
#include <locale>
#include <random>
#include <sstream>
#include <streambuf>
#include <string>
#include <sys/stat.h>
#include <utility>
#include <vector>
#include <zlib.h>

namespace LxCV {
namespace {

using Writer = LxCCalibrationTargetWriter;
using TestSupport::CHexFilesFolder;
using TestSupport::ReadFile;
using TestSupport::WriteFile;

constexpr const wchar_t* c_sChannel = L"ORX.Lumorad.LxCCalibrationTargetWriter";

// The paper target's template, typed in full. Its first line has 34 dashes.
const std::string c_sPaperTemplate = "#----------------------------------\r\n"
                                     "::Thres\r\n"
                                     "\r\n"
                                     "TargetId=00000000\r\n"
                                     "LabelType=xxx\r\n"
                                     "\r\n"
                                     "\r\n"
                                     "#----------------------------------\r\n"
                                     "::Coords\r\n"
                                     "\r\n";

/// The eight digits of a number with the given first six: the check digits bring two weighted sums to multiples of 10.
std::string WithCheckDigits(const std::string& digits)
{
    constexpr std::array weights{2, 1, 2, 1, 2, 1};
    int first = 0;
    int second = 0;
    for (std::size_t i = 0; i < weights.size(); ++i) {
        first += weights[i] * (digits[i] - '0');
        second += (3 - weights[i]) * (digits[i] - '0');
    }
    std::string number = digits;
    for (const int sum : {first, second}) {
        int check = 0;
        while ((sum + check) % 10 != 0) {
            ++check;
        }
        number += std::to_string(check);
    }
    return number;
}

std::string LittleEndian(std::uint32_t value)
{
    return {static_cast<char>(value & 0xFF), static_cast<char>(value >> 8 & 0xFF),
            static_cast<char>(value >> 16 & 0xFF), static_cast<char>(value >> 24)};
}

std::string Deflated(const std::string& text)
{
    uLongf size = compressBound(text.size());
    std::string bytes(size, '\0');
    EXPECT_EQ(::compress(reinterpret_cast<Bytef*>(bytes.data()), &size,
                         reinterpret_cast<const Bytef*>(text.data()), text.size()),
              Z_OK);
    bytes.resize(size);
    return bytes;
}

std::string Archive(char version, std::uint32_t textLength, std::uint32_t length, const std::string& bytes)
{
    return std::string(1, version) + LittleEndian(textLength) + LittleEndian(length) + bytes;
}

/// A well-formed archive, made without the library.
std::string ArchiveOf(const std::string& text)
{
    const std::string bytes = Deflated(text);
    return Archive(1, static_cast<std::uint32_t>(text.size()), static_cast<std::uint32_t>(bytes.size()),
                   bytes);
}

class CLog : public Logging::CCapture
{
public:
    /// "level text" of all records in the writer's channel.
    std::wstring GetText() const
    {
        std::wstring text;
        for (const Logging::CRecord& record : GetRecords()) {
            EXPECT_EQ(record.channel, c_sChannel);
            text += record.level == Logging::ELevel::eError  ? L"error "
                    : record.level == Logging::ELevel::eInfo ? L"info "
                                                             : L"other ";
            text += record.text;
        }
        return text;
    }
};

class LxCCalibrationTargetWriterTest : public testing::Test
{
protected:
    /// The value in the registry as the reader of targets finds it.
    static std::string Stored()
    {
        constexpr std::size_t largest = 0x10000;
        std::vector<std::byte> value;
        if (platform::ReadStoreValue(platform::EStoreRoot::eCurrentUser,
                                     "SOFTWARE\\Kelvane Optic Systems\\CADCAM\\Device\\Acquisition\\Lumorad",
                                     "calibrationdata", largest, value)) {
            return "(none)";
        }
        return {reinterpret_cast<const char*>(value.data()), value.size()};
    }

    static Writer::ECalibDataReturnCode Write(const std::string& number, const std::string& archive)
    {
        std::istringstream stream(archive);
        return Writer::WriteCalibDataToRegistry(number, stream);
    }

    const Logging::CCapture m_Quiet;
    TestSupport::CTemporaryFolder m_Folder;
    TestSupport::CEnvironmentVariable m_Store{"LXCV_STORE", m_Folder / "store"};
};

using TargetNumber = LxCCalibrationTargetWriterTest;
using TargetData = LxCCalibrationTargetWriterTest;
using TargetArchive = LxCCalibrationTargetWriterTest;

Writer::ETargetType TypeOf(std::string number)
{
    return Writer::GetTargetType(number);
}

TEST_F(TargetNumber, IsValidWithFittingCheckDigitsAlone)
{
    // 123456: 2 (1 + 3 + 5) + 2 + 4 + 6 = 30, so 0; 2 (2 + 4 + 6) + 1 + 3 + 5 = 33, so 7.
    EXPECT_TRUE(Writer::isValidChecksum("12345607"));
    for (int check = 0; check < 100; ++check) {
        const std::string number = "123456" + std::to_string(100 + check).substr(1);
        EXPECT_EQ(Writer::isValidChecksum(number), check == 7) << number;
    }
}

TEST_F(TargetNumber, OfAllZerosIsValid)
{
    EXPECT_TRUE(Writer::isValidChecksum("00000000"));
    EXPECT_EQ(TypeOf("00000000"), Writer::eTT_Paper);
}

TEST_F(TargetNumber, ChecksumOfATextThatIsTooShortOrNoNumberIsInvalid)
{
    for (const char* text : {"", "0", "0000000", "0000000x", "x0000000", " 00000000"}) {
        EXPECT_FALSE(Writer::isValidChecksum(text)) << text;
    }
}

TEST_F(TargetNumber, ChecksumFindsEveryWrongDigitAndEverySwapOfNeighbours)
{
    std::mt19937 random(7);
    for (int trial = 0; trial < 2000; ++trial) {
        const std::string number = WithCheckDigits(std::to_string(1000000 + random() % 1000000).substr(1));
        ASSERT_TRUE(Writer::isValidChecksum(number)) << number;
        std::string wrong = number;
        char& digit = wrong[random() % 8];
        digit = static_cast<char>('0' + (digit - '0' + 1 + static_cast<int>(random() % 9)) % 10);
        ASSERT_FALSE(Writer::isValidChecksum(wrong)) << number << " " << wrong;
        std::string swapped = number;
        const std::size_t place = random() % 5;
        std::swap(swapped[place], swapped[place + 1]);
        ASSERT_EQ(Writer::isValidChecksum(swapped), swapped == number) << number << " " << swapped;
    }
}

TEST_F(TargetNumber, TellsTheKindByItsFirstDigits)
{
    for (int first = 0; first < 100; ++first) {
        const std::string number = WithCheckDigits(std::to_string(100 + first).substr(1) + "9081");
        const Writer::ETargetType expected = first < 25   ? Writer::eTT_Paper
                                             : first < 40 ? Writer::eTT_IMT
                                                          : Writer::eTT_WithoutData;
        EXPECT_EQ(TypeOf(number), expected) << number;
        EXPECT_EQ(Writer::GetTargetType(std::wstring(number.begin(), number.end())), expected) << number;
    }
}

TEST_F(TargetNumber, IsCleanedOfWhatIsNoDigit)
{
    std::string number = " No. 12-34\t56/07\n\xC3\xA4";
    EXPECT_EQ(Writer::GetTargetType(number), Writer::eTT_Paper);
    EXPECT_EQ(number, "12345607");
    EXPECT_EQ(Writer::GetTargetType(L"\u20AC12 345-607"), Writer::eTT_Paper);
    std::string none = "no digits";
    Writer::removeNonDigit(none);
    EXPECT_EQ(none, "");
    // Digits of other scripts are no digits.
    EXPECT_EQ(Writer::GetTargetType(L"\u0660\u0660\u0660\u0660\u0660\u0660\u0660\u0660"),
              Writer::eTT_Invalid);
}

TEST_F(TargetNumber, WithSevenDigitsIsInvalid)
{
    EXPECT_EQ(TypeOf("0000000"), Writer::eTT_Invalid);
    EXPECT_EQ(Writer::WriteCalibDataToRegistry("0000000"), Writer::eCDRC_InvalidNumber);
    EXPECT_EQ(Writer::WriteCalibDataToRegistry(L"0000000"), Writer::eCDRC_InvalidNumber);
    EXPECT_EQ(TypeOf(""), Writer::eTT_Invalid);
    EXPECT_EQ(Stored(), "(none)");
}

TEST_F(TargetNumber, CountsItsFirstEightDigitsAlone)
{
    EXPECT_EQ(TypeOf("1234560799"), Writer::eTT_Paper);
    EXPECT_EQ(Write("1234560799", ArchiveOf("::123456\n1 2 3\n")), Writer::eCDRC_Success);
    EXPECT_EQ(Stored().substr(48, 19), "TargetId=12345607\r\n");
}

TEST_F(TargetNumber, CodesHaveTheValuesThatCallersShow)
{
    EXPECT_EQ(Writer::eTT_Paper, 0);
    EXPECT_EQ(Writer::eTT_IMT, 1);
    EXPECT_EQ(Writer::eTT_WithoutData, 2);
    EXPECT_EQ(Writer::eTT_Invalid, 3);
    EXPECT_EQ(Writer::eCDRC_Success, 0);
    EXPECT_EQ(Writer::eCDRC_InvalidNumber, 1);
    EXPECT_EQ(Writer::eCDRC_NoData, 2);
    EXPECT_EQ(Writer::eCDRC_ArchiveNotReadable, 3);
    EXPECT_EQ(Writer::eCDRC_RegistryWriteFailed, 4);
    EXPECT_EQ(Writer::sc_iMaxDataSize, 8192);
}

TEST_F(TargetData, OfAPaperTargetAreTheTemplateWithItsNumberAndCoordinates)
{
    EXPECT_EQ(Write("12345607",
                    ArchiveOf("::000001\n9 9 9\n::123456\n0 0 0\t1.5 0 0\t\t-1 2 0\n::000002\n8 8 8\n")),
              Writer::eCDRC_Success);
    const std::string stored = Stored();
    EXPECT_EQ(stored.substr(57, 8), "12345607");
    EXPECT_EQ(c_sPaperTemplate.substr(57, 8), "00000000");
    std::string expected = c_sPaperTemplate + "0 0 0\r\n1.5 0 0\r\n\r\n-1 2 0";
    expected.replace(57, 8, "12345607");
    EXPECT_EQ(stored, expected);
}

TEST_F(TargetData, OfAnIMTTargetAreItsSquares)
{
    const std::string number = WithCheckDigits("251234");
    EXPECT_EQ(Writer::WriteCalibDataToRegistry(number), Writer::eCDRC_Success) << "without any archive";
    std::string head = c_sPaperTemplate;
    head.replace(57, 8, number);
    head.replace(head.find("xxx"), 3, "IMT");
    const std::string stored = Stored();
    ASSERT_EQ(stored.substr(0, head.size()), head);
    EXPECT_EQ(stored.substr(57, 8), number);

    std::istringstream lines(stored.substr(head.size()));
    std::string line;
    for (int index = 0; index < 224; ++index) {
        const int row = index / 4 / 8;
        const int column = index / 4 % 8;
        std::ostringstream expected;
        expected.imbue(std::locale::classic());
        expected << std::fixed << std::setprecision(3) << 3.0 * column + (index % 2 == 0 ? -0.003 : 1.003)
                 << ' ' << 3.0 * row + (index % 4 < 2 ? -0.003 : 1.003) << ' ' << 0.0;
        if (index < 223) {
            expected << '\r';
        }
        ASSERT_TRUE(std::getline(lines, line)) << index;
        EXPECT_EQ(line, expected.str()) << index;
    }
    EXPECT_FALSE(std::getline(lines, line));
    EXPECT_TRUE(stored.ends_with("22.003 19.003 0.000"));
    EXPECT_TRUE(stored.substr(head.size())
                    .starts_with("-0.003 -0.003 0.000\r\n1.003 -0.003 0.000\r\n"
                                 "-0.003 1.003 0.000\r\n1.003 1.003 0.000\r\n2.997 -0.003 "));
}

TEST_F(TargetData, OfTheThirdKindDoNotExist)
{
    EXPECT_EQ(Writer::WriteCalibDataToRegistry(WithCheckDigits("400000")), Writer::eCDRC_NoData);
    EXPECT_EQ(Writer::WriteCalibDataToRegistry(L"99999999"),
              Writer::eCDRC_NoData); // 2 27 + 27 = 81
    EXPECT_EQ(Stored(), "(none)");
}

TEST_F(TargetData, OfANumberThatTheArchiveLacksDoNotExist)
{
    for (const char* text : {"", "\n", "::123457\n1 2 3\n", "::12345\n1 2 3\n", "123456\n1 2 3\n",
                             "::123456 \n1 2 3\n", "::123456\r\n1 2 3\n", "::1234560\n1 2 3\n"}) {
        EXPECT_EQ(Write("12345607", ArchiveOf(text)), Writer::eCDRC_NoData) << text;
    }
    EXPECT_EQ(Stored(), "(none)");
}

TEST_F(TargetData, StandUnderAKeyAndNotUnderACoordinateLineThatLooksLikeOne)
{
    EXPECT_EQ(Write("12345607", ArchiveOf("::000000\n::123456\n1 2 3\n9 9 9\n::123456\n4 5 6\n")),
              Writer::eCDRC_Success);
    EXPECT_EQ(Stored().substr(c_sPaperTemplate.size()), "4 5 6");
}

TEST_F(TargetData, OfANumberThatComesTwiceAreThoseOfTheFirst)
{
    EXPECT_EQ(Write("12345607", ArchiveOf("::123456\n1 2 3\n::123456\n4 5 6\n")), Writer::eCDRC_Success);
    EXPECT_EQ(Stored().substr(c_sPaperTemplate.size()), "1 2 3");
}

TEST_F(TargetData, MayBeTheLastLineWithoutALineEnd)
{
    EXPECT_EQ(Write("12345607", ArchiveOf("::123456\n1 2 3")), Writer::eCDRC_Success);
    EXPECT_EQ(Stored().substr(c_sPaperTemplate.size()), "1 2 3");
}

TEST_F(TargetData, AreMissingWhereTheTextEndsBehindTheKey)
{
    EXPECT_EQ(Write("12345607", ArchiveOf("::123456")), Writer::eCDRC_NoData);
    EXPECT_EQ(Write("12345607", ArchiveOf("::123456\n")), Writer::eCDRC_NoData);
    EXPECT_EQ(Stored(), "(none)");
    // An empty line, by contrast, is a record without a point.
    EXPECT_EQ(Write("12345607", ArchiveOf("::123456\n\n")), Writer::eCDRC_Success);
    EXPECT_EQ(Stored().size(), c_sPaperTemplate.size());
}

TEST_F(TargetData, FillTheBufferUpToOneByte)
{
    const std::size_t largest = 8192 - 1 - c_sPaperTemplate.size();
    EXPECT_EQ(Writer::GetMaxCoordinatesSize(), largest);
    const std::string fitting(largest, '1');
    EXPECT_EQ(Write("12345607", ArchiveOf("::123456\n" + fitting + "\n")), Writer::eCDRC_Success);
    EXPECT_EQ(Stored().size(), 8191U);
    EXPECT_TRUE(Stored().ends_with(fitting));

    const CLog log;
    EXPECT_EQ(Write("12345607", ArchiveOf("::123456\n1" + fitting + "\n")), Writer::eCDRC_NoData);
    EXPECT_EQ(log.GetText(),
              L"error LxCCalibrationTargetWriter::writePaperTarget: the " + std::to_wstring(largest + 1) +
                  L" bytes of target 123456 are more than the " + std::to_wstring(largest) + L" that fit.\n");
    EXPECT_TRUE(Stored().ends_with(fitting)) << "the store is as it was";
}

TEST_F(TargetData, CountTwoBytesForEachTab)
{
    const std::size_t largest = Writer::GetMaxCoordinatesSize();
    const std::string tabs(largest / 2, '\t');
    EXPECT_EQ(Write("12345607", ArchiveOf("::123456\n" + tabs + std::string(largest % 2, '1'))),
              Writer::eCDRC_Success);
    EXPECT_EQ(Stored().size(), 8191U);
    EXPECT_EQ(Write("12345607", ArchiveOf("::123456\n" + tabs + "12")), Writer::eCDRC_NoData);
    EXPECT_EQ(Write("12345607", ArchiveOf("::123456\n" + std::string(1 << 20, '\t'))), Writer::eCDRC_NoData);
}

TEST_F(TargetData, BehindALineOf8192CharactersAreFoundAndTheRestOfALongerOneCountsAsLines)
{
    // 8191 characters and their line feed are skipped whole.
    const std::string line(8191, '7');
    EXPECT_EQ(Write("12345607", ArchiveOf("::000000\n" + line + "\n::123456\n1 2 3\n")),
              Writer::eCDRC_Success);
    // Of 8192 characters the line feed is left, which reads as an empty line, and the key behind it is skipped.
    EXPECT_EQ(Write("12345607", ArchiveOf("::000000\n7" + line + "\n::123456\n1 2 3\n")),
              Writer::eCDRC_NoData);
    EXPECT_EQ(Write("12345607", ArchiveOf("::000000\n7" + line + "\n\n::123456\n1 2 3\n")),
              Writer::eCDRC_Success);
}

TEST_F(TargetData, AreTheSameInACommaDecimalLocale)
{
    const std::string number = WithCheckDigits("300000");
    EXPECT_EQ(Writer::WriteCalibDataToRegistry(number), Writer::eCDRC_Success);
    const std::string before = Stored();
    const TestSupport::CCommaDecimalLocale locale;
    EXPECT_EQ(Writer::WriteCalibDataToRegistry(number), Writer::eCDRC_Success);
    EXPECT_EQ(Stored(), before);
}

TEST_F(TargetData, ReplaceThoseOfTheTargetBefore)
{
    EXPECT_EQ(Writer::WriteCalibDataToRegistry(WithCheckDigits("300000")), Writer::eCDRC_Success);
    EXPECT_EQ(Write("12345607", ArchiveOf("::123456\n1 2 3\n")), Writer::eCDRC_Success);
    EXPECT_EQ(Stored().size(), c_sPaperTemplate.size() + 5);
}

TEST_F(TargetData, ThatTheRegistryRefusesAreAFailure)
{
    WriteFile(m_Folder / "file", "");
    m_Store.Set(m_Folder / "file");
    const CLog log;
    EXPECT_EQ(Writer::WriteCalibDataToRegistry(WithCheckDigits("300000")), Writer::eCDRC_RegistryWriteFailed);
    EXPECT_EQ(log.GetText(), L"error LxCCalibrationTargetWriter::writeToRegistry: Not a directory.\n");
}

TEST_F(TargetArchive, IsItsVersionTheTwoLengthsAndTheDeflatedText)
{
    const std::string text = "::123456\n1 2 3\n";
    std::istringstream in(text);
    std::ostringstream out;
    EXPECT_TRUE(Writer::compress(in, out));
    const std::string archive = out.str();
    EXPECT_EQ(archive.substr(0, 5), std::string("\1\17\0\0\0", 5));
    EXPECT_EQ(archive.substr(5, 4), LittleEndian(static_cast<std::uint32_t>(archive.size() - 9)));
    std::string inflated(text.size(), '\0');
    uLongf size = inflated.size();
    EXPECT_EQ(uncompress(reinterpret_cast<Bytef*>(inflated.data()), &size,
                         reinterpret_cast<const Bytef*>(archive.data() + 9), archive.size() - 9),
              Z_OK);
    EXPECT_EQ(inflated, text);
}

TEST_F(TargetArchive, GivesBackAnyText)
{
    std::mt19937 random(3);
    for (const std::size_t size : {0U, 1U, 2U, 1000U, 65536U, 65537U, 300000U}) {
        std::string text(size, '\0');
        for (char& character : text) {
            character = static_cast<char>(random() % 5 == 0 ? random() : '0' + random() % 10);
        }
        std::istringstream in(text);
        std::stringstream archive;
        ASSERT_TRUE(Writer::compress(in, archive)) << size;
        std::stringstream again;
        EXPECT_TRUE(Writer::decompress(again, archive)) << size;
        EXPECT_EQ(again.str(), text) << size;
    }
}

TEST_F(TargetArchive, OfAnotherVersionIsRefused)
{
    for (const int version : {0, 2, 255}) {
        std::string archive = ArchiveOf("::123456\n1 2 3\n");
        archive[0] = static_cast<char>(version);
        const CLog log;
        std::istringstream in(archive);
        std::ostringstream text;
        EXPECT_FALSE(Writer::decompress(text, in));
        EXPECT_EQ(text.str(), "");
        EXPECT_EQ(log.GetText(),
                  L"error LxCCalibrationTargetWriter::decryptAndDecompress: invalid version number " +
                      std::to_wstring(version) + L".\n");
        EXPECT_EQ(Write("12345607", archive), Writer::eCDRC_ArchiveNotReadable);
    }
    EXPECT_EQ(Stored(), "(none)");
}

TEST_F(TargetArchive, ThatIsCutAnywhereIsRefused)
{
    const std::string archive = ArchiveOf("::123456\n1 2 3\n");
    for (std::size_t size = 0; size < archive.size(); ++size) {
        const CLog log;
        EXPECT_EQ(Write("12345607", archive.substr(0, size)), Writer::eCDRC_ArchiveNotReadable) << size;
        EXPECT_EQ(log.GetText(), L"error LxCCalibrationTargetWriter::decompress: the archive ends early.\n")
            << size;
    }
    EXPECT_EQ(Write("12345607", archive + "more"), Writer::eCDRC_Success) << "bytes behind it do not count";
}

TEST_F(TargetArchive, ThatLiesAboutItsLengthsIsRefusedAtOnce)
{
    const std::string text = "::123456\n1 2 3\n";
    const std::string bytes = Deflated(text);
    const auto textLength = static_cast<std::uint32_t>(text.size());
    const auto length = static_cast<std::uint32_t>(bytes.size());
    constexpr std::uint32_t huge = std::numeric_limits<std::uint32_t>::max();
    struct
    {
        std::uint32_t textLength, length;
        std::wstring message;
    } const cases[] = {
        {huge, length, L"a text of 4294967295 bytes is too long."},
        {Writer::sc_uiMaxArchiveText + 1, length, L"a text of 134217729 bytes is too long."},
        {textLength, huge, L"the archive ends early."},
        {textLength, length + 1, L"the archive ends early."},
        {Writer::sc_uiMaxArchiveText, length, L"23 bytes are not the deflated form of 134217728 bytes."},
        {textLength + 1, length, L"23 bytes are not the deflated form of 16 bytes."},
        {textLength - 1, length, L"23 bytes are not the deflated form of 14 bytes."},
        {textLength, length - 1, L"22 bytes are not the deflated form of 15 bytes."},
        {textLength, 0, L"0 bytes are not the deflated form of 15 bytes."},
        {0, length, L"23 bytes are not the deflated form of 0 bytes."},
        {0, 0, L"0 bytes are not the deflated form of 0 bytes."},
    };
    ASSERT_EQ(length, 23U); // the header, a stored or fixed block, the check sum
    for (const auto& [claimedText, claimed, message] : cases) {
        const CLog log;
        EXPECT_EQ(Write("12345607", Archive(1, claimedText, claimed, bytes)),
                  Writer::eCDRC_ArchiveNotReadable);
        EXPECT_EQ(log.GetText(), L"error LxCCalibrationTargetWriter::decompress: " + message + L"\n");
    }
    EXPECT_EQ(Stored(), "(none)");
}

TEST_F(TargetArchive, WithAnyBitChangedIsRefusedOrHoldsTheSameText)
{
    const std::string text = "::123456\n1 2 3\t4 5 6\n::000000\n1 2 3\n";
    const std::string archive = ArchiveOf(text);
    for (std::size_t bit = 0; bit < 8 * archive.size(); ++bit) {
        std::string changed = archive;
        changed[bit / 8] = static_cast<char>(changed[bit / 8] ^ (1 << bit % 8));
        std::istringstream in(changed);
        std::ostringstream out;
        const bool done = Writer::decompress(out, in);
        EXPECT_EQ(out.str(), done ? text : "") << bit;
    }
}

TEST_F(TargetArchive, IsNotWrittenForATextThatCannotBeReadOrIsTooLong)
{
    const std::wstring message =
        L"error LxCCalibrationTargetWriter::compress: the text cannot be read or is longer than "
        L"134217728 bytes.\n";
    std::istringstream broken;
    broken.setstate(std::ios_base::failbit);
    std::ostringstream out;
    const CLog log;
    EXPECT_FALSE(Writer::compress(broken, out));
    EXPECT_EQ(log.GetText(), message);

    class CEndless : public std::streambuf
    {
        int_type underflow() override
        {
            setg(m_zeros.data(), m_zeros.data(), m_zeros.data() + m_zeros.size());
            return 0;
        }
        std::string m_zeros = std::string(1 << 20, '\0');
    };
    CEndless endless;
    std::istream stream(&endless);
    const CLog second;
    EXPECT_FALSE(Writer::compress(stream, out));
    EXPECT_EQ(second.GetText(), message);
    EXPECT_EQ(out.str(), "");
}

TEST_F(TargetArchive, TellsADiskThatIsFull)
{
    std::istringstream text("::123456\n1 2 3\n");
    std::ofstream full("/dev/full", std::ios::binary);
    const CLog log;
    EXPECT_FALSE(Writer::compress(text, full));
    EXPECT_EQ(log.GetText(), L"error LxCCalibrationTargetWriter::compress: the archive cannot be written.\n");

    std::istringstream archive(ArchiveOf("::123456\n1 2 3\n"));
    std::ostringstream failed;
    failed.setstate(std::ios_base::failbit);
    const CLog second;
    EXPECT_FALSE(Writer::decompress(failed, archive));
    EXPECT_EQ(second.GetText(),
              L"error LxCCalibrationTargetWriter::decompress: the text cannot be written.\n");
}

TEST_F(TargetArchive, LiesInAFolderBesideTheProgram)
{
    const CHexFilesFolder folder;
    EXPECT_EQ(Writer::GetArchivePath(), GetAppPathA() + "/HEXFILES/LumoradCalibrationData.dat");
    WriteFile(folder / "LumoradCalibrationData.dat", ArchiveOf("::123456\n1 2 3\n"));
    EXPECT_EQ(Writer::WriteCalibDataToRegistry(std::string("1234 5607")), Writer::eCDRC_Success);
    EXPECT_TRUE(Stored().ends_with("\r\n1 2 3"));
    EXPECT_EQ(Writer::WriteCalibDataToRegistry(L"00000000"), Writer::eCDRC_NoData);
    WriteFile(folder / "LumoradCalibrationData.dat", ArchiveOf("::123456\n4 5 6\n"));
    EXPECT_EQ(Writer::WriteCalibDataToRegistry(L"1234 5607"), Writer::eCDRC_Success);
    EXPECT_TRUE(Stored().ends_with("\r\n4 5 6"));
}

TEST_F(TargetArchive, ThatDoesNotOpenIsTold)
{
    const CHexFilesFolder folder;
    const std::string path = folder / "LumoradCalibrationData.dat";
    const auto expectFailure = [] {
        const CLog log;
        EXPECT_EQ(Writer::WriteCalibDataToRegistry("12345607"), Writer::eCDRC_ArchiveNotReadable);
        EXPECT_EQ(
            log.GetText(),
            L"info LxCCalibrationTargetWriter::WriteCalibDataToRegistry: Error: Archive with data for all "
            L"calibration sets not found on hard disk or could not be opened.");
    };
    expectFailure();
    std::filesystem::create_directory(path);
    expectFailure();
    std::filesystem::remove(path);
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    expectFailure();
    EXPECT_EQ(Stored(), "(none)");
}

TEST_F(TargetArchive, IsMadeOfItsTextAndGivesItBack)
{
    const CHexFilesFolder folder;
    const std::string text = "::123456\n1 2 3\n";
    WriteFile(folder / "LumoradCalibrationDataOrig.dat", text);
    EXPECT_TRUE(Writer::DebugReadOrigAndWriteCrypted());
    EXPECT_EQ(ReadFile(folder / "LumoradCalibrationData.dat"), ArchiveOf(text));
    EXPECT_TRUE(Writer::DebugReadCryptedAndWriteOrig());
    EXPECT_EQ(ReadFile(folder / "LumoradCalibrationDataOrigReconstruct.dat"), text);
}

TEST_F(TargetArchive, StaysWhereItsTextCannotBeRead)
{
    const CHexFilesFolder folder;
    WriteFile(folder / "LumoradCalibrationData.dat", "damaged");
    WriteFile(folder / "LumoradCalibrationDataOrigReconstruct.dat", "old");
    const CLog log;
    EXPECT_FALSE(Writer::DebugReadOrigAndWriteCrypted());
    EXPECT_FALSE(Writer::DebugReadCryptedAndWriteOrig());
    EXPECT_EQ(
        log.GetText(),
        L"error LxCCalibrationTargetWriter: 'LumoradCalibrationDataOrig.dat' cannot be opened.\n"
        L"error LxCCalibrationTargetWriter::decryptAndDecompress: invalid version number 100.\n"); // 'd'
    EXPECT_EQ(ReadFile(folder / "LumoradCalibrationData.dat"), "damaged");
    EXPECT_EQ(ReadFile(folder / "LumoradCalibrationDataOrigReconstruct.dat"), "old");
}

TEST_F(TargetArchive, ThatCannotBeWrittenIsTold)
{
    const CHexFilesFolder folder;
    WriteFile(folder / "LumoradCalibrationDataOrig.dat", "");
    std::filesystem::create_directory(folder / "LumoradCalibrationData.dat");
    const CLog log;
    EXPECT_FALSE(Writer::DebugReadOrigAndWriteCrypted());
    EXPECT_EQ(log.GetText(), L"error LxCCalibrationTargetWriter: 'LumoradCalibrationData.dat' cannot be "
                             L"written: Invalid argument.\n");
}

/// Opens what builds the data file.
class OpenWriter : public Writer
{
public:
    using Writer::Buffer;
    using Writer::writeIMTTarget;
    using Writer::writePaperTarget;
    using Writer::writeToRegistry;
};

TEST_F(TargetData, AreBuiltInAZeroedBuffer)
{
    OpenWriter::Buffer buffer{};
    unsigned int length = 0;
    EXPECT_EQ(OpenWriter::writeIMTTarget(buffer, "25123400", length), Writer::eCDRC_Success);
    ASSERT_LT(length, buffer.size());
    EXPECT_EQ(buffer[length - 1], '0');
    EXPECT_TRUE(std::all_of(buffer.begin() + length, buffer.end(), [](char byte) { return byte == 0; }));

    std::istringstream archive(ArchiveOf("::123456\n1 2 3\n"));
    buffer.fill(0);
    EXPECT_EQ(OpenWriter::writePaperTarget(buffer, "12345607", length, archive), Writer::eCDRC_Success);
    EXPECT_EQ(length, c_sPaperTemplate.size() + 5);
    EXPECT_EQ(buffer[length], '\0');
}

TEST_F(TargetData, WithoutAWholeNumberOrOfALengthBeyondTheBufferTouchNoOtherMemory)
{
    OpenWriter::Buffer buffer{};
    unsigned int length = 0;
    EXPECT_EQ(OpenWriter::writeIMTTarget(buffer, "", length), Writer::eCDRC_Success);
    EXPECT_EQ(std::string(buffer.data() + 48, 19), "TargetId=00000000\r\n");
    std::istringstream archive(ArchiveOf("::123\n1 2 3\n"));
    EXPECT_EQ(OpenWriter::writePaperTarget(buffer, "123", length, archive), Writer::eCDRC_Success);
    EXPECT_EQ(OpenWriter::writeToRegistry(buffer, 1 << 30), Writer::eCDRC_Success);
    EXPECT_EQ(Stored().size(), buffer.size());
}

/// Opens what a target has loaded, and leaves it where the file has it.
class CLoadedTarget : public LxCCBCalibBody
{
public:
    CLoadedTarget() : LxCCBCalibBody(true)
    {
        SetCoordFile(sc_FilenameReadFromRegistry);
        EXPECT_EQ(LoadDataFile(), 0);
    }
    ECalibError NormalizeTargetCoordsToCenter() override { return eCalibOk; }
    unsigned int GetTargetId() const { return dynamic_cast<const LxCCBCalibThres&>(*m_pThres).m_uiTargetId; }

    using LxCCBCalibBody::m_vWorldCoords;
};

TEST_F(TargetData, AreWhatATargetLoads)
{
    EXPECT_EQ(Writer::WriteCalibDataToRegistry(WithCheckDigits("300000")), Writer::eCDRC_Success);
    const CLoadedTarget known;
    EXPECT_EQ(known.GetTargetId(), 30000047U);
    ASSERT_EQ(known.m_vWorldCoords.size(), 224U);
    EXPECT_EQ(known.m_vWorldCoords[0].x, static_cast<double>(-0.003F));
    EXPECT_EQ(known.m_vWorldCoords[223].x, static_cast<double>(22.003F)); // 7 3 + 1.003
    EXPECT_EQ(known.m_vWorldCoords[223].y, static_cast<double>(19.003F)); // 6 3 + 1.003

    EXPECT_EQ(Write("12345607", ArchiveOf("::123456\n1.5 2 3\t\t-4 5 6\n")), Writer::eCDRC_Success);
    const CLoadedTarget measured;
    EXPECT_EQ(measured.GetTargetId(), 12345607U);
    ASSERT_EQ(measured.m_vWorldCoords.size(), 2U);
    EXPECT_EQ(measured.m_vWorldCoords[0].x, 1.5);
    EXPECT_EQ(measured.m_vWorldCoords[1].z, 6.0);
}

} // namespace
} // namespace LxCV
