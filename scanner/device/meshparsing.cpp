#include "scanner/device/meshparsing.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace device {

namespace {

bool IsLineEnd(char letter)
{
    return letter == '\n' || letter == '\r';
}

bool IsBlank(char letter)
{
    return letter == ' ' || letter == '\t' || letter == '\v' || letter == '\f';
}

bool IsFinite(const Vec3& a)
{
    return std::isfinite(a.x) && std::isfinite(a.y) && std::isfinite(a.z);
}

std::string TextOf(double number)
{
    std::array<char, 32> text{};
    const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), number);
    return {text.data(), end};
}

} // namespace

void FailMesh(const std::string& what)
{
    throw std::runtime_error(what);
}

std::string Quoted(std::string_view word)
{
    constexpr std::size_t c_longest = 40;
    std::string text(word.substr(0, c_longest));
    std::replace_if(
        text.begin(), text.end(), [](char letter) { return letter < ' ' || letter > '~'; }, '?');
    return "'" + text + (word.size() > c_longest ? "...'" : "'");
}

void MeshBuilder::ReserveVertices(std::uint64_t count)
{
    if (count > m_limits.vertices) {
        FailMesh("it tells " + std::to_string(count) + " vertices, more than the " +
                 std::to_string(m_limits.vertices) + " that are read; reduce the mesh");
    }
    m_mesh.vertices.reserve(count);
}

void MeshBuilder::ReserveTriangles(std::uint64_t count)
{
    if (count > m_limits.triangles) {
        FailMesh("it tells " + std::to_string(count) + " triangles, more than the " +
                 std::to_string(m_limits.triangles) + " that are read; reduce the mesh");
    }
    m_mesh.triangles.reserve(count);
}

void MeshBuilder::AddVertex(const Vec3& position)
{
    if (m_mesh.vertices.size() >= m_limits.vertices) {
        FailMesh("it has more than the " + std::to_string(m_limits.vertices) +
                 " vertices that are read; reduce the mesh");
    }
    const std::string number = std::to_string(m_mesh.vertices.size() + 1);
    if (!IsFinite(position)) {
        FailMesh("vertex " + number + " has a coordinate that is not finite; export the mesh anew");
    }
    const double largest = std::max({std::abs(position.x), std::abs(position.y), std::abs(position.z)});
    if (largest > m_limits.coordinate) {
        FailMesh("vertex " + number + " has a coordinate of magnitude " + TextOf(largest) + ", beyond " +
                 TextOf(m_limits.coordinate) + "; move the mesh to its origin");
    }
    m_mesh.vertices.push_back(position);
}

void MeshBuilder::AddColour(const Colour& colour)
{
    m_mesh.colours.resize(m_mesh.vertices.size(), c_plaster);
    Colour& kept = m_mesh.colours.back();
    for (std::size_t channel = 0; channel < kept.size(); ++channel) {
        kept[channel] = colour[channel] > 0.0 ? std::min(colour[channel], 1.0) : 0.0; // black for NaN, too
    }
}

void MeshBuilder::AddNormal(const Vec3& normal)
{
    if (m_mesh.normals.size() >= 3 * m_limits.triangles) {
        FailMesh("it has more normals than corners can be read; reduce the mesh");
    }
    const double length = Length(normal);
    const bool isTold = std::isfinite(length) && length > 0.0;
    m_mesh.normals.push_back(isTold ? Normalized(normal) : Vec3{});
}

void MeshBuilder::CheckCorners(std::span<const Corner> corners) const
{
    if (corners.size() < 3) {
        FailMesh("a face has fewer than 3 corners; export the mesh anew");
    }
    for (const Corner& corner : corners) {
        if (corner.vertex >= m_mesh.vertices.size()) {
            FailMesh("a face asks for vertex " + std::to_string(corner.vertex + 1) + " of " +
                     std::to_string(m_mesh.vertices.size()) + "; the file is damaged, export the mesh anew");
        }
        if (corner.normal != c_noNormal && corner.normal >= m_mesh.normals.size()) {
            FailMesh("a face asks for normal " + std::to_string(corner.normal + 1) + " of " +
                     std::to_string(m_mesh.normals.size()) + "; the file is damaged, export the mesh anew");
        }
    }
}

void MeshBuilder::AddPolygon(std::span<const Corner> corners)
{
    CheckCorners(corners);
    const auto across = [&](std::size_t i) {
        const Vec3& first = m_mesh.vertices[corners[0].vertex];
        return Cross(m_mesh.vertices[corners[i].vertex] - first,
                     m_mesh.vertices[corners[i + 1].vertex] - first);
    };
    Vec3 whole;
    for (std::size_t i = 1; i + 1 < corners.size(); ++i) {
        whole = whole + across(i);
    }
    for (std::size_t i = 1; corners.size() > 3 && i + 1 < corners.size(); ++i) {
        const Vec3 part = across(i);
        if (!(Dot(part, whole) > 0.0) && Length(part) > 0.0) {
            FailMesh("a face with " + std::to_string(corners.size()) +
                     " corners is not convex; triangulate the mesh in the program that made it");
        }
    }
    for (std::size_t i = 1; i + 1 < corners.size(); ++i) {
        const double area = Length(across(i));
        if (area > 0.0) {
            AddTriangle(corners[0], corners[i], corners[i + 1]);
        } else {
            ++m_mesh.droppedTriangles;
        }
    }
}

void MeshBuilder::AddTriangle(const Corner& a, const Corner& b, const Corner& c)
{
    if (m_mesh.triangles.size() >= m_limits.triangles) {
        FailMesh("it has more than the " + std::to_string(m_limits.triangles) +
                 " triangles that are read; reduce the mesh");
    }
    const auto normalOf = [this](const Corner& corner) {
        const bool isTold = corner.normal != c_noNormal && Length(m_mesh.normals[corner.normal]) > 0.0;
        m_hasNormals = m_hasNormals || isTold;
        return isTold ? static_cast<std::uint32_t>(corner.normal) : c_noNormal;
    };
    m_mesh.triangles.push_back({static_cast<std::uint32_t>(a.vertex), static_cast<std::uint32_t>(b.vertex),
                                static_cast<std::uint32_t>(c.vertex)});
    if (!m_mesh.normals.empty()) {
        m_mesh.normalsOf.resize(m_mesh.triangles.size() - 1, Corners{c_noNormal, c_noNormal, c_noNormal});
        m_mesh.normalsOf.push_back({normalOf(a), normalOf(b), normalOf(c)});
    }
}

Mesh MeshBuilder::Take()
{
    if (m_mesh.triangles.empty() && !m_limits.mayLackTriangles) {
        FailMesh(m_mesh.droppedTriangles > 0
                     ? "none of its triangles has an area; export the mesh anew"
                     : "it holds no triangles; a cloud of points or lines must be meshed first");
    }
    if (!m_mesh.colours.empty()) {
        m_mesh.colours.resize(m_mesh.vertices.size(), c_plaster);
    }
    if (m_hasNormals) {
        m_mesh.normalsOf.resize(m_mesh.triangles.size(), Corners{c_noNormal, c_noNormal, c_noNormal});
    } else if (!m_mesh.triangles.empty()) {
        m_mesh.normals.clear();
        m_mesh.normalsOf.clear();
    }
    return std::exchange(m_mesh, Mesh());
}

bool MeshText::SkipLineEnd()
{
    if (IsAtEnd() || !IsLineEnd(m_text[m_position])) {
        return false;
    }
    const bool isPair = m_text.substr(m_position, 2) == "\r\n";
    m_position += isPair ? 2 : 1;
    ++m_line;
    return true;
}

std::string_view MeshText::NextInLine()
{
    while (!IsAtEnd()) {
        const bool joins =
            m_text[m_position] == '\\' && m_position + 1 < m_text.size() && IsLineEnd(m_text[m_position + 1]);
        if (!joins && !IsBlank(m_text[m_position])) {
            break;
        }
        ++m_position;
        if (joins) {
            SkipLineEnd();
        }
    }
    const std::size_t begin = m_position;
    while (!IsAtEnd() && !IsBlank(m_text[m_position]) && !IsLineEnd(m_text[m_position])) {
        const bool joins =
            m_text[m_position] == '\\' && m_position + 1 < m_text.size() && IsLineEnd(m_text[m_position + 1]);
        if (joins) {
            break;
        }
        ++m_position;
    }
    return m_text.substr(begin, m_position - begin);
}

std::string_view MeshText::Next()
{
    std::string_view word = NextInLine();
    while (word.empty() && SkipLineEnd()) {
        word = NextInLine();
    }
    return word;
}

void MeshText::EndLine()
{
    while (!NextInLine().empty()) {
    }
    SkipLineEnd();
}

double MeshText::ToNumber(std::string_view word) const
{
    const std::string_view digits = word.starts_with('+') ? word.substr(1) : word;
    double number = 0.0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (word.empty()) {
        Fail("the file ends where a number is wanted; it is cut off, copy or export it anew");
    }
    if (error != std::errc() || end != digits.data() + digits.size()) {
        Fail(Quoted(word) + " is no number; the file is damaged, export the mesh anew");
    }
    return number;
}

void MeshText::Fail(const std::string& what) const
{
    FailMesh("line " + std::to_string(m_line) + ": " + what);
}

} // namespace device
