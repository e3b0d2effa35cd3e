// STL: corners of triangles as text or as binary floats.
#include "scanner/device/meshparsing.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace device {

namespace {

constexpr std::size_t c_headerBytes = 84;   // 80 of any text, then the number of triangles
constexpr std::size_t c_triangleBytes = 50; // normal, three corners, two bytes that mean nothing

static_assert(std::endian::native == std::endian::little, "binary STL is read as it stands in memory");

bool IsWord(std::string_view word, std::string_view lowerCase)
{
    return std::ranges::equal(word, lowerCase, [](char a, char b) {
        return (a >= 'A' && a <= 'Z' ? static_cast<char>(a - 'A' + 'a') : a) == b;
    });
}

std::uint32_t CountOf(std::string_view content)
{
    std::uint32_t count = 0;
    std::memcpy(&count, content.data() + c_headerBytes - sizeof count, sizeof count);
    return count;
}

void AddTriangle(MeshBuilder& builder)
{
    const std::uint64_t next = builder.CountVertices();
    builder.AddPolygon(std::array<MeshBuilder::Corner, 3>{{{next - 3}, {next - 2}, {next - 1}}});
}

Mesh ParseBinary(std::string_view content, const ParsingLimits& limits)
{
    if (content.size() < c_headerBytes) {
        FailMesh("it is neither a text that begins with 'solid' nor a binary file with its header of 84 "
                 "bytes; export the mesh anew");
    }
    const std::uint64_t count = CountOf(content);
    const std::uint64_t held = (content.size() - c_headerBytes) / c_triangleBytes;
    if (count > held) {
        FailMesh("it tells " + std::to_string(count) + " triangles and holds " + std::to_string(held) +
                 "; it is cut off or no STL file, copy or export it anew");
    }
    MeshBuilder builder(limits);
    builder.ReserveTriangles(count);
    builder.ReserveVertices(3 * count);
    for (std::uint64_t i = 0; i < count; ++i) {
        std::array<float, 12>
            numbers{}; // the first three are the facet's normal, which its corners tell, too
        std::memcpy(numbers.data(), content.data() + c_headerBytes + i * c_triangleBytes, sizeof numbers);
        for (std::size_t corner = 3; corner < numbers.size(); corner += 3) {
            builder.AddVertex({numbers[corner], numbers[corner + 1], numbers[corner + 2]});
        }
        AddTriangle(builder);
    }
    return builder.Take();
}

void Expect(MeshText& text, std::string_view word)
{
    const std::string_view found = text.Next();
    if (!IsWord(found, word)) {
        text.Fail("'" + std::string(word) + "' is wanted and " +
                  (found.empty() ? "the file ends" : Quoted(found) + " stands") +
                  " there; it is cut off or damaged, copy or export it anew");
    }
}

void ParseFacet(MeshText& text, MeshBuilder& builder)
{
    Expect(text, "normal");
    for (int i = 0; i < 3; ++i) {
        text.Next(); // some programs write no number for a triangle without an area
    }
    Expect(text, "outer");
    Expect(text, "loop");
    for (int corner = 0; corner < 3; ++corner) {
        Expect(text, "vertex");
        const double x = text.NextNumber();
        const double y = text.NextNumber();
        builder.AddVertex({x, y, text.NextNumber()});
    }
    Expect(text, "endloop");
    Expect(text, "endfacet");
    AddTriangle(builder);
}

Mesh ParseText(std::string_view content, const ParsingLimits& limits)
{
    MeshText text(content);
    MeshBuilder builder(limits);
    bool isInside = false;
    for (std::string_view word = text.Next(); !word.empty(); word = text.Next()) {
        if (!isInside && IsWord(word, "solid")) {
            text.EndLine(); // behind the name
            isInside = true;
        } else if (isInside && IsWord(word, "facet")) {
            ParseFacet(text, builder);
        } else if (isInside && IsWord(word, "endsolid")) {
            text.EndLine();
            isInside = false;
        } else {
            text.Fail(Quoted(word) + " stands where a facet or a solid begins or ends; the file is damaged, "
                                     "export the mesh anew");
        }
    }
    if (isInside) {
        text.Fail("the file ends before 'endsolid'; it is cut off, copy or export it anew");
    }
    return builder.Take();
}

} // namespace

/// Binary files may begin with "solid", too: what has the very size that its count tells is binary.
Mesh ParseStl(std::string_view content, const ParsingLimits& limits)
{
    const bool hasBinarySize =
        content.size() >= c_headerBytes &&
        content.size() == c_headerBytes + std::uint64_t{CountOf(content)} * c_triangleBytes;
    MeshText start(content.substr(0, c_headerBytes));
    const bool isText = !hasBinarySize && IsWord(start.Next(), "solid");
    return isText ? ParseText(content, limits) : ParseBinary(content, limits);
}

} // namespace device
