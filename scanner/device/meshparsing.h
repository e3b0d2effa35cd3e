// What the readers of the mesh formats share.
#pragma once

#include "scanner/device/meshfile.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace device {

/// What is refused.
struct ParsingLimits : MeshLimits
{
    bool mayLackTriangles = false; ///< whether a cloud of points, or nothing at all, is a mesh, too
};

/// Collects a mesh and refuses what is none.
class MeshBuilder
{
public:
    /// A corner of a polygon: indices of its vertex and its normal, from 0.
    struct Corner
    {
        std::uint64_t vertex = 0;
        std::uint64_t normal = c_noNormal;
    };

    explicit MeshBuilder(const ParsingLimits& limits) : m_limits(limits) {}

    /// Takes memory for entries that are known to stand in the content.
    void ReserveVertices(std::uint64_t count);
    void ReserveTriangles(std::uint64_t count);

    void AddVertex(const Vec3& position);

    /// A colour for the vertex that was added last. Those without one get that of plaster.
    void AddColour(const Colour& colour);

    /// A normal of any length; one of length 0 counts as not told.
    void AddNormal(const Vec3& normal);

    /// Adds a polygon as a fan of triangles around its first corner. Triangles without an area are dropped.
    /// @throws std::runtime_error where it is not convex or an index leads nowhere
    void AddPolygon(std::span<const Corner> corners);

    std::size_t CountVertices() const { return m_mesh.vertices.size(); }
    std::size_t CountNormals() const { return m_mesh.normals.size(); }

    /// The mesh, which is empty here then.
    /// @throws std::runtime_error where it has no triangle and wants one
    Mesh Take();

private:
    void CheckCorners(std::span<const Corner> corners) const;
    void AddTriangle(const Corner& a, const Corner& b, const Corner& c);

    ParsingLimits m_limits;
    Mesh m_mesh;
    bool m_hasNormals = false; ///< whether a triangle has any
};

/// Words of a text with the numbers of their lines. A carriage return, alone or before a line feed, ends a line, too.
class MeshText
{
public:
    explicit MeshText(std::string_view text) : m_text(text) {}

    /// The next word, on whatever line; empty at the end.
    std::string_view Next();

    /// The next word of this line; empty at its end. A backslash at the end of a line joins the next one to it.
    std::string_view NextInLine();

    /// Skips the rest of this line with its end.
    void EndLine();

    bool IsAtEnd() const { return m_position >= m_text.size(); }

    /// How many bytes are left.
    std::size_t CountLeft() const { return m_text.size() - m_position; }

    /// The rest of the text.
    std::string_view Rest() const { return m_text.substr(m_position); }

    /// The word as a number of the classic locale.
    double ToNumber(std::string_view word) const;

    /// The next word as a number.
    double NextNumber() { return ToNumber(Next()); }

    /// @throws std::runtime_error with the line's number before the text
    [[noreturn]] void Fail(const std::string& what) const;

private:
    bool SkipLineEnd();

    std::string_view m_text;
    std::size_t m_position = 0;
    std::size_t m_line = 1;
};

/// The word as a message shows it: short, in quotes, without control characters.
std::string Quoted(std::string_view word);

[[noreturn]] void FailMesh(const std::string& what);

Mesh ParseStl(std::string_view content, const ParsingLimits& limits);
Mesh ParsePly(std::string_view content, const ParsingLimits& limits);
Mesh ParseObj(std::string_view content, const ParsingLimits& limits);

} // namespace device
