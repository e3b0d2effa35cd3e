// Storage and coding of the shading image.
#include "lxcshadingcorrection.h"

#include "cctimage.h"
#include "floattointeger.h"
#include "lxccctserializer.h"
#include "orx/logging/logger.h"
#include "saturate.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <span>
#include <stdexcept>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCShadingCorrection");

constexpr int c_iNeutralGrey = 128;
constexpr int c_iMaxChannelValue = 255;
constexpr int c_iChannels = 3;
constexpr int c_iWriterBlockSize = 1;

/// Bytes of an image that any text may ask for; well beyond every camera of this kind.
constexpr std::uint64_t c_uiFreeImageBytes = 16U << 20;

// Beyond all channel values.
constexpr int c_iMinValStart = 1000;
constexpr int c_iMaxValStart = -1000;

/// Byte of a channel in a pixel.
enum EChannel : std::size_t
{
    eBlue = 0,
    eGreen = 1,
    eRed = 2
};

std::string RowKey(int row)
{
    return "im[" + std::to_string(row) + "]";
}

/// Blocks that cover `size` pixels; not above 0 for a size that is not.
int CountBlocks(int size, int blockSize)
{
    return size / blockSize + (size % blockSize > 0 ? 1 : 0);
}

/// Values by key, the first of equal keys. Reading each row by a search of its own would take the square of the
/// text's length.
using RowTexts = std::unordered_map<std::string_view, const std::string*>;

RowTexts IndexRows(const LxCCCTSerializer::SectionData& section)
{
    RowTexts rows;
    for (std::size_t i = 1; i + 1 < section.size(); i += 2) {
        rows.try_emplace(section[i], &section[i + 1]);
    }
    return rows;
}

std::uint64_t BytesOf(const LxCCCTSerializer::SectionData& section)
{
    std::uint64_t bytes = 0;
    for (const std::string& text : section) {
        bytes += text.size();
    }
    return bytes;
}

/// The code of a character, 0 to 255.
int CodeAt(const std::string& text, std::size_t index)
{
    if (index >= text.size()) {
        throw std::out_of_range("invalid string position");
    }
    return static_cast<unsigned char>(text[index]);
}

} // namespace

/// Pixels of a block within the image: columns left to right - 1, rows top to bottom - 1; at least one of each.
struct LxCShadingCorrection::SBlock
{
    int left;
    int top;
    int right;
    int bottom;
};

LxCShadingCorrection::LxCShadingCorrection() = default;
LxCShadingCorrection::LxCShadingCorrection(LxCShadingCorrection&&) noexcept = default;
LxCShadingCorrection& LxCShadingCorrection::operator=(LxCShadingCorrection&&) noexcept = default;
LxCShadingCorrection::~LxCShadingCorrection() = default;

LxCShadingCorrection::LxCShadingCorrection(const LxCShadingCorrection& other)
    : m_bApplyShadingCorrection(other.m_bApplyShadingCorrection),
      m_pImage(other.m_pImage != nullptr ? std::make_unique<CCTImage>(*other.m_pImage) : nullptr),
      m_fRangeScaleFactor(other.m_fRangeScaleFactor)
{}

LxCShadingCorrection& LxCShadingCorrection::operator=(const LxCShadingCorrection& other)
{
    return *this = LxCShadingCorrection(other);
}

void LxCShadingCorrection::Init(int width, int height)
{
    Release();
    auto image = std::make_unique<CCTImage>(width, height, CCTImage::eIDT_BGRU8, true, nullptr);
    if (image->IsValid()) {
        std::memset(image->GetBuffer(), c_iNeutralGrey, static_cast<std::size_t>(image->GetSizeInBytes()));
    }
    m_pImage = std::move(image);
}

void LxCShadingCorrection::Release()
{
    m_pImage.reset();
}

/// Whether there is an image, and callers have left it the type and memory that it was made with.
bool LxCShadingCorrection::HasColorImage() const
{
    return m_pImage != nullptr && m_pImage->GetDataType() == CCTImage::eIDT_BGRU8 &&
           (m_pImage->IsValid() || m_pImage->GetSizeInPixels() == 0);
}

void LxCShadingCorrection::SetShadingCorrectionImage(CCTImage* image)
{
    if (image == nullptr) {
        s_Logger.Error(L"no shading image to set");
        return;
    }
    if (!HasColorImage() || !m_pImage->DoDimMatchWith(*image)) {
        Init(image->GetWidth(), image->GetHeight());
    }
    const CCTImage::EReturnCode result = image->ConvertToBGRU8(m_pImage.get(), false);
    if (result != CCTImage::eRC_OK) {
        s_Logger.Error(L"shading image cannot be converted, code %i", static_cast<int>(result));
    }
    ComputeRangeScaleFactor();
}

bool LxCShadingCorrection::Serialize(LxCCCTSerializer& serializer, const std::string& sectionName)
{
    try {
        return serializer.IsStoring() ? SerializeConfig(serializer, sectionName)
                                      : DeserializeConfig(serializer, sectionName);
    } catch (const std::exception& error) {
        s_Logger.Error(L"section %s: %s", sectionName, error.what());
    } catch (...) {
        s_Logger.Error(L"section %s failed", sectionName);
    }
    return false;
}

bool LxCShadingCorrection::SerializeConfig(LxCCCTSerializer& serializer, const std::string& sectionName)
{
    if (!HasColorImage()) {
        return false;
    }
    if (!m_bApplyShadingCorrection) {
        return true;
    }
    const int columns = CountBlocks(m_pImage->GetWidth(), c_iWriterBlockSize);
    const int rows = CountBlocks(m_pImage->GetHeight(), c_iWriterBlockSize);
    int minVal = c_iMinValStart;
    int maxVal = c_iMaxValStart;
    FindValueRange(columns, rows, minVal, maxVal);
    serializer.WriteSection(sectionName);
    const auto write = [&serializer](const std::string& key, const auto& value) {
        serializer.Write(key, value, {}, c_iFormatDecimal);
    };
    write("UseShadingCorrection", m_bApplyShadingCorrection);
    write("Width", m_pImage->GetWidth());
    write("Height", m_pImage->GetHeight());
    write("BlockSize", c_iWriterBlockSize);
    write("MinVal", minVal);
    write("MaxVal", maxVal);
    for (int by = 0; by < rows; ++by) {
        write(RowKey(by), CodeRow(by, columns, minVal, maxVal));
    }
    return true;
}

/// Widens the range so that it holds the values of all blocks.
void LxCShadingCorrection::FindValueRange(int columns, int rows, int& minVal, int& maxVal) const
{
    int red = 0;
    int green = 0;
    int blue = 0;
    for (int by = 0; by < rows; ++by) {
        for (int bx = 0; bx < columns; ++bx) {
            GetBlock(c_iWriterBlockSize, bx, by, red, green, blue);
            minVal = std::min({minVal, red, green, blue});
            maxVal = std::max({maxVal, red, green, blue});
        }
    }
}

std::string LxCShadingCorrection::CodeRow(int by, int columns, int minVal, int maxVal) const
{
    const auto code = [minVal, maxVal](int value) {
        return static_cast<char>(MapTo(value, minVal, maxVal, c_iMinAsciiCode, c_iMaxAsciiCode));
    };
    const auto count = static_cast<std::size_t>(columns);
    std::string text(c_iChannels * count, '\0');
    int red = 0;
    int green = 0;
    int blue = 0;
    for (std::size_t bx = 0; bx < count; ++bx) {
        GetBlock(c_iWriterBlockSize, static_cast<int>(bx), by, red, green, blue);
        text[bx] = code(red);
        text[bx + count] = code(green);
        text[bx + 2 * count] = code(blue);
    }
    return text;
}

bool LxCShadingCorrection::DeserializeConfig(LxCCCTSerializer& serializer, const std::string& sectionName)
{
    serializer.FindExtractSection(sectionName);
    const LxCCCTSerializer::SectionData& section = serializer.GetSectionData();
    const auto read = [&](const char* key, int defaultValue) {
        int value = defaultValue;
        serializer.Read(section, key, value, defaultValue);
        return value;
    };
    serializer.Read(section, "UseShadingCorrection", m_bApplyShadingCorrection, false);
    const int width = read("Width", 0);
    const int height = read("Height", 0);
    const int blockSize = read("BlockSize", c_iWriterBlockSize);
    const int minVal = read("MinVal", 0);
    const int maxVal = read("MaxVal", 0);
    InitForText(width, height, serializer);
    if (blockSize < 1) {
        throw std::invalid_argument("block size " + std::to_string(blockSize) + " is below 1");
    }
    const int columns = CountBlocks(width, blockSize);
    if (columns > 0) { // rows without blocks have no text to look at
        const RowTexts texts = IndexRows(section);
        const std::string missing;
        for (int by = 0; by < CountBlocks(height, blockSize); ++by) {
            const auto text = texts.find(RowKey(by));
            DecodeRow(text != texts.end() ? *text->second : missing, blockSize, by, columns, minVal, maxVal);
        }
    }
    ComputeRangeScaleFactor();
    return true;
}

/// Makes the image that a text asks for. An image without pixels whose other side is more than an image can tell
/// becomes one of 0 by 0 pixels.
void LxCShadingCorrection::InitForText(int width, int height, const LxCCCTSerializer& serializer)
{
    constexpr int c_iLongestSide = std::numeric_limits<int>::max() / c_iChannels;
    if (width <= 0 || height <= 0) {
        const bool tellable = std::max(width, height) <= c_iLongestSide;
        Init(tellable ? width : 0, tellable ? height : 0);
        return;
    }
    // A row of single pixels has as many characters as the image has bytes there.
    const std::uint64_t limit = std::max(c_uiFreeImageBytes, BytesOf(serializer.GetSectionData()));
    const std::uint64_t pixels = static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height);
    if (pixels > limit / c_iChannels) {
        Release();
        throw std::length_error("image of " + std::to_string(width) + " by " + std::to_string(height) +
                                " pixels is too large for its text");
    }
    Init(width, height);
}

void LxCShadingCorrection::DecodeRow(const std::string& text, int blockSize, int by, int columns, int minVal,
                                     int maxVal)
{
    const auto count = static_cast<std::size_t>(columns);
    const auto value = [&](std::size_t index) {
        return MapTo(CodeAt(text, index), c_iMinAsciiCode, c_iMaxAsciiCode, minVal, maxVal);
    };
    for (std::size_t bx = 0; bx < count; ++bx) {
        const int red = value(bx);
        const int green = value(bx + count);
        const int blue = value(bx + 2 * count);
        SetBlock(blockSize, static_cast<int>(bx), by, red, green, blue);
    }
}

LxCShadingCorrection::SBlock LxCShadingCorrection::PixelsOfBlock(int blockSize, int bx, int by) const
{
    const int width = HasColorImage() ? m_pImage->GetWidth() : 0;
    const int height = HasColorImage() ? m_pImage->GetHeight() : 0;
    const std::int64_t left = std::int64_t{bx} * blockSize;
    const std::int64_t top = std::int64_t{by} * blockSize;
    if (blockSize < 1 || left < 0 || left >= width || top < 0 || top >= height) {
        throw std::out_of_range("pixel index (" + std::to_string(SaturateToInt(left)) + ", " +
                                std::to_string(SaturateToInt(top)) + ") outside (" + std::to_string(width) +
                                ", " + std::to_string(height) + ")");
    }
    return {static_cast<int>(left), static_cast<int>(top),
            static_cast<int>(std::min<std::int64_t>(left + blockSize, width)),
            static_cast<int>(std::min<std::int64_t>(top + blockSize, height))};
}

void LxCShadingCorrection::GetBlock(int blockSize, int bx, int by, int& red, int& green, int& blue) const
{
    const SBlock block = PixelsOfBlock(blockSize, bx, by);
    const auto* const bytes = static_cast<const std::uint8_t*>(m_pImage->GetBuffer());
    std::int64_t sums[c_iChannels] = {};
    for (int y = block.top; y < block.bottom; ++y) {
        const std::uint8_t* pixel =
            bytes + std::ptrdiff_t{m_pImage->BytesPerLine()} * y + std::ptrdiff_t{c_iChannels} * block.left;
        for (int x = block.left; x < block.right; ++x, pixel += c_iChannels) {
            for (std::size_t channel = 0; channel < c_iChannels; ++channel) {
                sums[channel] += pixel[channel];
            }
        }
    }
    const double count =
        static_cast<double>(block.right - block.left) * static_cast<double>(block.bottom - block.top);
    const auto mean = [&](EChannel channel) {
        return static_cast<int>((static_cast<double>(sums[channel]) + 0.5) / count);
    };
    red = mean(eRed);
    green = mean(eGreen);
    blue = mean(eBlue);
}

void LxCShadingCorrection::SetBlock(int blockSize, int bx, int by, int red, int green, int blue)
{
    const SBlock block = PixelsOfBlock(blockSize, bx, by);
    const auto byte = [](int value) {
        return static_cast<std::uint8_t>(std::clamp(value, 0, c_iMaxChannelValue));
    };
    auto* const bytes = static_cast<std::uint8_t*>(m_pImage->GetBuffer());
    for (int y = block.top; y < block.bottom; ++y) {
        std::uint8_t* pixel =
            bytes + std::ptrdiff_t{m_pImage->BytesPerLine()} * y + std::ptrdiff_t{c_iChannels} * block.left;
        for (int x = block.left; x < block.right; ++x, pixel += c_iChannels) {
            pixel[eBlue] = byte(blue);
            pixel[eGreen] = byte(green);
            pixel[eRed] = byte(red);
        }
    }
}

int LxCShadingCorrection::MapTo(int value, int inMin, int inMax, int outMin, int outMax)
{
    const double steps = static_cast<double>(value) - inMin;
    const double part = inMin == inMax ? steps : steps / (static_cast<double>(inMax) - inMin);
    return TruncateTo<int>((static_cast<double>(outMax) - outMin) * part + outMin + 0.5);
}

void LxCShadingCorrection::ComputeRangeScaleFactor()
{
    std::uint8_t largest = 0;
    if (HasColorImage()) {
        const std::span bytes(static_cast<const std::uint8_t*>(m_pImage->GetBuffer()),
                              static_cast<std::size_t>(m_pImage->GetSizeInBytes()));
        for (const std::uint8_t value : bytes) {
            largest = std::max(largest, value);
        }
    }
    m_fRangeScaleFactor = largest;
}

} // namespace LxCV
