// OBJ: vertices, normals and faces by lines.
#include "scanner/device/meshparsing.h"

#include <charconv>
#include <system_error>

namespace device {

namespace {

class ObjReader
{
public:
    ObjReader(std::string_view content, const ParsingLimits& limits) : m_text(content), m_builder(limits) {}

    Mesh Read()
    {
        while (!m_text.IsAtEnd()) {
            const std::string_view kind = m_text.NextInLine();
            try {
                if (kind == "v") {
                    ReadVertex();
                } else if (kind == "vn") {
                    ReadNormal();
                } else if (kind == "f") {
                    ReadFace();
                }
            } catch (const LineError& error) {
                m_text.Fail(error.what);
            }
            m_text.EndLine();
        }
        return m_builder.Take();
    }

private:
    struct LineError
    {
        std::string what;
    };

    /// The numbers of this line.
    std::span<const double> ReadNumbers(std::size_t least)
    {
        m_numbers.clear();
        constexpr std::size_t c_most = 7; // position, weight, colour
        for (std::string_view word = m_text.NextInLine(); !word.empty() && m_numbers.size() < c_most;
             word = m_text.NextInLine()) {
            m_numbers.push_back(m_text.ToNumber(word));
        }
        if (m_numbers.size() < least) {
            throw LineError{std::to_string(least) + " numbers are wanted and " +
                            std::to_string(m_numbers.size()) +
                            " stand there; the file is damaged, export the mesh anew"};
        }
        return m_numbers;
    }

    void ReadVertex()
    {
        const std::span<const double> numbers = ReadNumbers(3);
        m_builder.AddVertex({numbers[0], numbers[1], numbers[2]});
        constexpr std::size_t c_withColour = 6;
        if (numbers.size() >= c_withColour) {
            const std::span<const double> rgb = numbers.last(3);
            m_builder.AddColour({rgb[2], rgb[1], rgb[0]});
        }
    }

    void ReadNormal()
    {
        const std::span<const double> numbers = ReadNumbers(3);
        m_builder.AddNormal({numbers[0], numbers[1], numbers[2]});
    }

    void ReadFace()
    {
        m_corners.clear();
        for (std::string_view word = m_text.NextInLine(); !word.empty(); word = m_text.NextInLine()) {
            m_corners.push_back(CornerOf(word));
        }
        m_builder.AddPolygon(m_corners);
    }

    /// v, v/vt, v//vn or v/vt/vn
    MeshBuilder::Corner CornerOf(std::string_view word) const
    {
        const std::size_t first = word.find('/');
        MeshBuilder::Corner corner;
        corner.vertex = IndexOf(word.substr(0, first), m_builder.CountVertices());
        const std::size_t second = first == std::string_view::npos ? first : word.find('/', first + 1);
        if (second != std::string_view::npos && second + 1 < word.size()) {
            corner.normal = IndexOf(word.substr(second + 1), m_builder.CountNormals());
        }
        return corner;
    }

    /// Indices count from 1, negative ones back from the last entry.
    std::uint64_t IndexOf(std::string_view word, std::size_t entries) const
    {
        std::int64_t number = 0;
        const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
        const auto count = static_cast<std::int64_t>(entries);
        const bool isIndex = error == std::errc() && end == word.data() + word.size();
        if (!isIndex || number == 0 || number > count || number < -count) {
            throw LineError{Quoted(word) + " is no index from 1 to " + std::to_string(entries) +
                            "; the file is damaged, export the mesh anew"};
        }
        return static_cast<std::uint64_t>(number > 0 ? number - 1 : count + number);
    }

    MeshText m_text;
    MeshBuilder m_builder;
    std::vector<double> m_numbers;
    std::vector<MeshBuilder::Corner> m_corners;
};

} // namespace

Mesh ParseObj(std::string_view content, const ParsingLimits& limits)
{
    return ObjReader(content, limits).Read();
}

} // namespace device
