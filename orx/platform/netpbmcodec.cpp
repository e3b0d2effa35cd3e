// PGM, grey as text or binary, and PFM, floating-point grey or colour.
#include "orx/platform/imagereaders.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string>
#include <string_view>

namespace platform {

namespace {

using namespace ImageFiles;

/// The words of a header: separated by white space, a comment runs from '#' to the end of its line.
class CWords
{
public:
    CWords(std::span<const std::byte> file, const char* kind)
        : m_sFile(reinterpret_cast<const char*>(file.data()), file.size()), m_sKind(kind)
    {}

    std::string_view Next()
    {
        Skip();
        const std::size_t start = m_iPosition;
        while (m_iPosition < m_sFile.size() && !IsSpace() && m_sFile[m_iPosition] != '#') {
            ++m_iPosition;
        }
        if (m_iPosition == start) {
            RefuseBroken(std::string(m_sKind) + " cut short");
        }
        return m_sFile.substr(start, m_iPosition - start);
    }

    /// A whole number in decimal digits.
    std::uint32_t NextNumber()
    {
        const std::string_view word = Next();
        std::uint32_t number = 0;
        const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
        if (error != std::errc() || end != word.data() + word.size()) {
            constexpr std::size_t shown = 20;
            RefuseBroken(std::string(m_sKind) + " with \"" + std::string(word.substr(0, shown)) +
                         "\" for a number");
        }
        return number;
    }

    /// Where the binary pixels begin: one white space behind the last word.
    std::size_t PixelsAt() const
    {
        RequireBytes(m_sKind, m_sFile.size(), m_iPosition + 1);
        if (!IsSpace()) {
            RefuseBroken(std::string(m_sKind) + " whose header does not end in white space");
        }
        return m_iPosition + 1;
    }

    std::size_t BytesLeft() const { return m_sFile.size() - m_iPosition; }

private:
    bool IsSpace() const { return std::isspace(static_cast<unsigned char>(m_sFile[m_iPosition])) != 0; }

    void Skip()
    {
        while (m_iPosition < m_sFile.size()) {
            if (m_sFile[m_iPosition] == '#') {
                m_iPosition = std::min(m_sFile.find('\n', m_iPosition), m_sFile.size());
            } else if (IsSpace()) {
                ++m_iPosition;
            } else {
                return;
            }
        }
    }

    std::string_view m_sFile;
    const char* m_sKind;
    std::size_t m_iPosition = 0;
};

/// Takes the samples of a PGM into an image.
class CSamples
{
public:
    CSamples(CPixels& image, std::uint32_t maxval) : m_Image(image), m_iMaxval(maxval) {}

    void Put(std::uint32_t value)
    {
        if (value > m_iMaxval) {
            RefuseBroken("PGM with a sample of " + std::to_string(value) + " above its maxval of " +
                         std::to_string(m_iMaxval));
        }
        if (m_Image.format == EPixelFormat::eGray8) {
            m_Image.bytes[m_iNext++] = static_cast<std::byte>((value * 255 + m_iMaxval / 2) / m_iMaxval);
        } else {
            m_Image.bytes[m_iNext++] = static_cast<std::byte>(value & 0xFF);
            m_Image.bytes[m_iNext++] = static_cast<std::byte>(value >> 8);
        }
    }

private:
    CPixels& m_Image;
    std::uint32_t m_iMaxval;
    std::size_t m_iNext = 0;
};

void ReadBinary(std::span<const std::byte> samples, std::size_t bytesPerSample, CSamples target)
{
    if (bytesPerSample == 1) {
        for (const std::byte sample : samples) {
            target.Put(std::to_integer<std::uint32_t>(sample));
        }
        return;
    }
    for (std::size_t i = 0; i + 1 < samples.size(); i += 2) { // the high byte first
        target.Put((std::to_integer<std::uint32_t>(samples[i]) << 8) |
                   std::to_integer<std::uint32_t>(samples[i + 1]));
    }
}

} // namespace

std::string ImageFiles::ReadPgm(std::span<const std::byte> file, CPixels& image)
{
    constexpr const char* kind = "PGM";
    CWords words(file, kind);
    const bool text = words.Next() == "P2";
    const std::uint32_t width = words.NextNumber();
    const std::uint32_t height = words.NextNumber();
    const std::uint32_t maxval = words.NextNumber();
    if (maxval == 0 || maxval > 65535) {
        RefuseBroken("PGM with a maxval of " + std::to_string(maxval));
    }
    const auto format = maxval < 256 ? EPixelFormat::eGray8 : EPixelFormat::eGray16;
    const std::uint64_t bytesPerSample = BytesPerPixel(format);
    RequireSize(kind, width, height, bytesPerSample);
    const std::uint64_t count = std::uint64_t{width} * height;
    if (text) {
        RequireBytes(kind, words.BytesLeft(), 2 * count); // a digit and what separates it
        Allocate(image, kind, width, height, format);
        CSamples target(image, maxval);
        for (std::uint64_t i = 0; i < count; ++i) {
            target.Put(words.NextNumber());
        }
    } else {
        const std::size_t at = words.PixelsAt();
        RequireBytes(kind, file.size(), at + count * bytesPerSample);
        Allocate(image, kind, width, height, format);
        ReadBinary(file.subspan(at, count * bytesPerSample), bytesPerSample, CSamples(image, maxval));
    }
    return std::to_string(8 * bytesPerSample) + "-bit grey " + (text ? "text PGM" : "PGM") +
           " with a maxval of " + std::to_string(maxval);
}

std::string ImageFiles::ReadPfm(std::span<const std::byte> file, CPixels& image)
{
    constexpr const char* kind = "PFM";
    CWords words(file, kind);
    const bool colour = words.Next() == "PF";
    const std::uint32_t width = words.NextNumber();
    const std::uint32_t height = words.NextNumber();
    const std::string_view scaleText = words.Next();
    double scale = 0.0;
    const auto [end, error] = std::from_chars(scaleText.data(), scaleText.data() + scaleText.size(), scale);
    if (error != std::errc() || end != scaleText.data() + scaleText.size() || scale == 0.0 ||
        !std::isfinite(scale)) {
        RefuseBroken("PFM without a scale, whose sign tells the order of its bytes");
    }
    const auto format = colour ? EPixelFormat::eBgrFloat : EPixelFormat::eGrayFloat;
    RequireSize(kind, width, height, BytesPerPixel(format));
    const std::size_t at = words.PixelsAt();
    const std::uint64_t rowBytes = width * BytesPerPixel(format);
    RequireBytes(kind, file.size(), at + rowBytes * height);
    Allocate(image, kind, width, height, format);

    using CSample = std::array<std::byte, sizeof(float)>;
    const std::size_t channels = colour ? 3 : 1;
    for (std::size_t y = 0; y < height; ++y) {
        const auto source = file.subspan(at + (height - 1 - y) * rowBytes, rowBytes); // the bottom row first
        const std::span<std::byte> row = RowOf(image, y);
        for (std::size_t i = 0; i < width * channels; ++i) {
            CSample sample;
            std::memcpy(sample.data(), &source[i * sizeof(CSample)], sizeof(CSample));
            if (scale > 0.0) {
                std::ranges::reverse(sample);
            }
            const std::size_t channel = i % channels;
            const std::size_t target = i - channel + (channels - 1 - channel); // red first becomes blue first
            std::memcpy(&row[target * sizeof(CSample)], sample.data(), sizeof(CSample));
        }
    }
    return std::string("32-bit float ") + (colour ? "RGB PFM" : "grey PFM");
}

} // namespace platform
