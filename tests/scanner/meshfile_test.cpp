#include "scanner/device/meshfile.h"

#include "scanner/device/meshorpoints.h"
#include "scanner/device/random.h"
#include "tests/scanner/meshsupport.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <limits>
#include <stdexcept>

namespace device {
namespace {

using TestSupport::WriteFile;

constexpr double c_exact = 0.0;
constexpr double c_float = 1e-6; // of coordinates below 8, rounded to float

/// All corners of the triangles in turn.
std::vector<Vec3> CornersOf(const Mesh& mesh)
{
    std::vector<Vec3> corners;
    for (const Corners& triangle : mesh.triangles) {
        for (const std::uint32_t corner : triangle) {
            corners.push_back(mesh.vertices.at(corner));
        }
    }
    return corners;
}

void ExpectSameTriangles(const Mesh& mesh, const Mesh& expected, double tolerance)
{
    ASSERT_EQ(mesh.triangles.size(), expected.triangles.size());
    const std::vector<Vec3> found = CornersOf(mesh), wanted = CornersOf(expected);
    for (std::size_t i = 0; i < found.size(); ++i) {
        ASSERT_LE(Length(found[i] - wanted[i]), tolerance) << i;
    }
}

std::string ErrorOf(const std::string& content, EMeshFormat format, const MeshLimits& limits = MeshLimits())
{
    try {
        ParseMesh(content, format, limits);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "none";
}

Mesh ColouredBall()
{
    Mesh mesh = BallMesh(7.5, 1, true);
    for (std::size_t i = 0; i < mesh.vertices.size(); ++i) {
        mesh.colours.push_back({static_cast<double>(i) / 255.0, 1.0, 0.0});
    }
    return mesh;
}

void ExpectSameLooks(const Mesh& mesh, const Mesh& expected, double tolerance)
{
    ASSERT_EQ(mesh.normalsOf, expected.normalsOf);
    for (std::size_t i = 0; i < mesh.vertices.size(); ++i) {
        ASSERT_LE(Length(mesh.normals.at(i) - expected.normals[i]), tolerance);
        for (std::size_t channel = 0; channel < 3; ++channel) {
            ASSERT_NEAR(mesh.colours.at(i)[channel], expected.colours[i][channel], 1e-15);
        }
    }
}

TEST(MeshFile, StlIsReadAsTextAndBinary)
{
    const Mesh ball = BallMesh(7.5, 2);
    ExpectSameTriangles(ParseMesh(TextStl(ball), EMeshFormat::eStl), ball, c_exact);
    ExpectSameTriangles(ParseMesh(BinaryStl(ball), EMeshFormat::eStl), ball, c_float);
    ExpectSameTriangles(ParseMesh(BinaryStl(ball, "solid but binary"), EMeshFormat::eStl), ball, c_float);
    ExpectSameTriangles(ParseMesh(BinaryStl(ball) + "a tail", EMeshFormat::eStl), ball, c_float);
}

TEST(MeshFile, TextStlMayHaveSeveralSolidsAnyCaseAndAnyLineEnds)
{
    const std::string facet =
        "FACET NORMAL nan - 0\rOuter Loop\rvertex 0 0 0\rvertex +1e0 0 0\rvertex 0 .5 0\rendloop\rEndFacet\r";
    const Mesh mesh = ParseMesh("\n\nSOLID a facet named solid\r" + facet + "endsolid x y\r\nsolid\r\n" +
                                    facet + facet + "endsolid",
                                EMeshFormat::eStl);
    EXPECT_EQ(mesh.triangles.size(), 3U);
    EXPECT_EQ(mesh.vertices[2].y, 0.5);
}

TEST(MeshFile, PlyIsReadAsTextAndInBothByteOrders)
{
    const Mesh ball = ColouredBall();
    for (const std::string& content : {TextPly(ball), BinaryPly(ball, false), BinaryPly(ball, true)}) {
        const Mesh mesh = ParseMesh(content, EMeshFormat::ePly);
        ExpectSameTriangles(mesh, ball, c_exact);
        ExpectSameLooks(mesh, ball, c_float);
    }
}

TEST(MeshFile, PlyMayHoldOtherElementsListsAndTypes)
{
    const std::string header =
        "ply\r\nformat binary_big_endian 1.0\r\nobj_info x\r\nelement camera 2\r\n"
        "property list ushort short p\r\nproperty char q\r\nelement vertex 3\r\n"
        "property int8 z\r\nproperty list uint8 float t\r\nproperty int16 x\r\n"
        "property uint32 y\r\nproperty ushort blue\r\nproperty ushort green\r\n"
        "property ushort red\r\nelement face 1\r\nproperty float32 quality\r\n"
        "property list int32 uint16 vertex_index\r\nelement empty 99999999999\r\nend_header\r\n";
    std::string data;
    for (const std::uint16_t entries : {2, 0}) {
        data += BytesOf(entries, true) + std::string(2U * entries, 'x') + "y";
    }
    const auto vertex = [&](std::int8_t z, std::int16_t x, std::uint32_t y) {
        data += BytesOf(z) + "\1" + BytesOf(0.5F, true) + BytesOf(x, true) + BytesOf(y, true) +
                BytesOf(std::uint16_t{65535}, true) + BytesOf(std::uint16_t{13107}, true) +
                BytesOf(std::uint16_t{0}, true);
    };
    vertex(-5, -300, 0);
    vertex(-128, 32767, 1);
    vertex(127, -32768, 400000);
    data += BytesOf(1.0F, true) + BytesOf(std::int32_t{3}, true);
    for (const std::uint16_t index : {2, 0, 1}) {
        data += BytesOf(index, true);
    }
    const Mesh mesh = ParseMesh(header + data, EMeshFormat::ePly);
    ASSERT_EQ(mesh.vertices.size(), 3U);
    EXPECT_EQ(mesh.vertices[0].x, -300.0);
    EXPECT_EQ(mesh.vertices[0].z, -5.0);
    EXPECT_EQ(mesh.vertices[1].x, 32767.0);
    EXPECT_EQ(mesh.vertices[1].z, -128.0);
    EXPECT_EQ(mesh.vertices[2].x, -32768.0);
    EXPECT_EQ(mesh.vertices[2].y, 400000.0);
    EXPECT_EQ(mesh.triangles, (std::vector<Corners>{{2, 0, 1}}));
    EXPECT_EQ(mesh.colours[0], (Colour{1.0, 0.2, 0.0}));
    EXPECT_TRUE(mesh.normals.empty());
}

TEST(MeshFile, ObjIsReadWithNormalsAndColours)
{
    const Mesh ball = ColouredBall();
    const Mesh mesh = ParseMesh(ObjText(ball), EMeshFormat::eObj);
    ExpectSameTriangles(mesh, ball, c_exact);
    ExpectSameLooks(mesh, ball, 1e-15);
}

TEST(MeshFile, ObjTakesAllFormsOfFaces)
{
    const Mesh mesh =
        ParseMesh("mtllib none.mtl\nv 0 0 0 1\nv 2 0 0 1\nv 2 2 0\nv 0 2 0\nvt 0 0\nvn 0 0 2\nvn 0 0 0\n"
                  "usemtl x\nf 1 2 3 4\nf -4/1/1 -3/1/1 \\\n-2/1/1\nf 1/1 2/1 3/1\nf 1//2 2//2 3//2\n"
                  "vn 1 0 0\nf 1//-1 2//-3 3//-1\nf 1/ 2/ 3//\nl 1 2\n",
                  EMeshFormat::eObj);
    constexpr std::uint32_t c_none = c_noNormal;
    EXPECT_EQ(
        mesh.triangles,
        (std::vector<Corners>{{0, 1, 2}, {0, 2, 3}, {0, 1, 2}, {0, 1, 2}, {0, 1, 2}, {0, 1, 2}, {0, 1, 2}}));
    EXPECT_EQ(mesh.normalsOf, (std::vector<Corners>{{c_none, c_none, c_none},
                                                    {c_none, c_none, c_none},
                                                    {0, 0, 0},
                                                    {c_none, c_none, c_none},
                                                    {c_none, c_none, c_none},
                                                    {2, 0, 2},
                                                    {c_none, c_none, c_none}}))
        << "normals of length 0 count as not told";
    EXPECT_EQ(Length(mesh.normals[0]), 1.0);
    EXPECT_TRUE(mesh.colours.empty());
}

TEST(MeshFile, VerticesWithoutAColourAreOfPlaster)
{
    const Mesh mesh = ParseMesh("v 0 0 0\nv 1 0 0 0.1 2 -3\nv 0 1 0\nf 1 2 3\n", EMeshFormat::eObj);
    EXPECT_EQ(mesh.colours, (std::vector<Colour>{c_plaster, {0.0, 1.0, 0.1}, c_plaster}));
}

TEST(MeshFile, TrianglesWithoutAnAreaAreDroppedAndCounted)
{
    const Mesh mesh = ParseMesh("v 0 0 0\nv 1 0 0\nv 2 0 0\nv 0 1 0\nf 1 2 3\nf 1 1 4\nf 1 2 4\nf 4 4 4\n",
                                EMeshFormat::eObj);
    EXPECT_EQ(mesh.triangles, (std::vector<Corners>{{0, 1, 3}}));
    EXPECT_EQ(mesh.droppedTriangles, 3U);
    EXPECT_EQ(ErrorOf("v 0 0 0\nv 1 0 0\nv 2 0 0\nf 1 2 3\n", EMeshFormat::eObj),
              "none of its triangles has an area; export the mesh anew");
}

TEST(MeshFile, PolygonsMustBeConvex)
{
    const std::string corners = "v 0 0 0\nv 4 0 0\nv 1 1 0\nv 0 4 0\nv 4 4 0\n";
    EXPECT_EQ(ParseMesh(corners + "f 1 2 5 4\n", EMeshFormat::eObj).triangles.size(), 2U);
    EXPECT_EQ(ErrorOf(corners + "f 2 3 4 1\n", EMeshFormat::eObj),
              "a face with 4 corners is not convex; triangulate the mesh in the program that made it");
    EXPECT_EQ(ErrorOf(corners + "f 1 2 4 5\n", EMeshFormat::eObj),
              "a face with 4 corners is not convex; triangulate the mesh in the program that made it");
}

TEST(MeshFile, RefusesCoordinatesThatAreNotFiniteOrTooLarge)
{
    const std::string end = "; export the mesh anew";
    EXPECT_EQ(ErrorOf("v 0 0 0\nv 1 nan 0\n", EMeshFormat::eObj),
              "vertex 2 has a coordinate that is not finite" + end);
    EXPECT_EQ(ErrorOf("v 0 0 -inf\n", EMeshFormat::eObj),
              "vertex 1 has a coordinate that is not finite" + end);
    EXPECT_EQ(ErrorOf("v 0 0 2e6\n", EMeshFormat::eObj),
              "vertex 1 has a coordinate of magnitude 2e+06, beyond 1e+06; move the mesh to its origin");
    Mesh ball = BallMesh(1.0, 0);
    ball.vertices[3].z = std::numeric_limits<double>::quiet_NaN();
    for (const bool order : {false, true}) {
        EXPECT_EQ(ErrorOf(BinaryPly(ball, order), EMeshFormat::ePly),
                  "vertex 4 has a coordinate that is not finite" + end);
    }
    EXPECT_EQ(ErrorOf(TextPly(ball), EMeshFormat::ePly),
              "vertex 4 has a coordinate that is not finite" + end);
    EXPECT_NE(ErrorOf(BinaryStl(ball), EMeshFormat::eStl).find("is not finite"), std::string::npos);
    EXPECT_NE(ErrorOf(TextStl(ball), EMeshFormat::eStl).find("is not finite"), std::string::npos);
}

TEST(MeshFile, CountsAreCheckedBeforeMemoryIsTaken)
{
    std::string stl = BinaryStl(BallMesh(1.0, 0));
    stl.replace(80, 4, "\xff\xff\xff\xff");
    EXPECT_EQ(ErrorOf(stl, EMeshFormat::eStl),
              "it tells 4294967295 triangles and holds 20; it is cut off or no STL "
              "file, copy or export it anew");
    const std::string vertices =
        "ply\nformat binary_little_endian 1.0\nelement vertex 18446744073709551615\n"
        "property float x\nproperty float y\nproperty float z\nend_header\n123456789012";
    EXPECT_EQ(ErrorOf(vertices, EMeshFormat::ePly), "it tells 18446744073709551615 of element 'vertex' and "
                                                    "holds at most 1; it is cut off, copy or export it anew");
    EXPECT_EQ(
        ErrorOf("ply\nformat ascii 1.0\nelement x 5000000000\nproperty float x\nend_header\n1 2\n",
                EMeshFormat::ePly),
        "it tells 5000000000 of element 'x' and holds at most 2; it is cut off, copy or export it anew");
    const std::string list =
        "ply\nformat binary_little_endian 1.0\nelement vertex 1\nproperty list uint double l\n"
        "property float x\nproperty float y\nproperty float z\nend_header\n\xff\xff\xff\xff "
        "12345678901234567890";
    EXPECT_EQ(ErrorOf(list, EMeshFormat::ePly),
              "a list tells more entries than the file holds, or no whole number of "
              "them; it is damaged, export the mesh anew");
}

TEST(MeshFile, LimitsHold)
{
    const Mesh ball = BallMesh(1.0, 1); // 80 triangles, 42 vertices
    MeshLimits limits;
    limits.triangles = 79;
    for (const auto& [content, format] : {std::pair{BinaryStl(ball), EMeshFormat::eStl},
                                          {TextStl(ball), EMeshFormat::eStl},
                                          {TextPly(ball), EMeshFormat::ePly},
                                          {ObjText(ball), EMeshFormat::eObj}}) {
        EXPECT_NE(ErrorOf(content, format, limits).find("the 79 "), std::string::npos)
            << ErrorOf(content, format, limits);
    }
    limits = MeshLimits();
    limits.vertices = 41;
    for (const auto& [content, format] : {std::pair{BinaryStl(ball), EMeshFormat::eStl},
                                          {TextStl(ball), EMeshFormat::eStl},
                                          {TextPly(ball), EMeshFormat::ePly},
                                          {ObjText(ball), EMeshFormat::eObj}}) {
        EXPECT_NE(ErrorOf(content, format, limits).find("the 41 "), std::string::npos)
            << ErrorOf(content, format, limits);
    }
}

TEST(MeshFile, TellsTheLineOfAMistake)
{
    EXPECT_EQ(ErrorOf("# x\nv 0 0 0\nv 1 x 0\n", EMeshFormat::eObj),
              "line 3: 'x' is no number; the file is damaged, export the mesh anew");
    EXPECT_EQ(ErrorOf("v 0 0\n", EMeshFormat::eObj),
              "line 1: 3 numbers are wanted and 2 stand there; the file is damaged, export the mesh anew");
    EXPECT_EQ(ErrorOf("v 0 0 0\nf 1 2 1\n", EMeshFormat::eObj),
              "line 2: '2' is no index from 1 to 1; the file is damaged, export the mesh anew");
    EXPECT_EQ(ErrorOf("v 0 0 0\nf 1 0 1\n", EMeshFormat::eObj),
              "line 2: '0' is no index from 1 to 1; the file is damaged, export the mesh anew");
    EXPECT_EQ(
        ErrorOf("v 0 0 0\r\nf -9223372036854775808 1 1\n", EMeshFormat::eObj),
        "line 2: '-9223372036854775808' is no index from 1 to 1; the file is damaged, export the mesh anew");
    EXPECT_EQ(ErrorOf("solid\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertx", EMeshFormat::eStl),
              "line 5: 'vertex' is wanted and 'vertx' stands there; it is cut off or damaged, copy or export "
              "it anew");
    EXPECT_EQ(ErrorOf("solid x\nfacet", EMeshFormat::eStl),
              "line 2: 'normal' is wanted and the file ends there; it is cut off or damaged, copy or export "
              "it anew");
    EXPECT_EQ(ErrorOf("ply\nformat ascii 2.0\n", EMeshFormat::ePly),
              "line 2: version '2.0' of the format is not known; 1.0 is read");
    EXPECT_EQ(ErrorOf("ply\nformat ascii 1.0\nelement vertex -1\n", EMeshFormat::ePly),
              "line 3: '-1' is no number of elements; the file is damaged, export the mesh anew");
}

TEST(MeshFile, WhatIsNoMeshIsRefusedWithARemedy)
{
    for (const EMeshFormat format : {EMeshFormat::eStl, EMeshFormat::ePly, EMeshFormat::eObj}) {
        EXPECT_EQ(ErrorOf("", format), "it is empty; export the mesh anew");
        EXPECT_NE(ErrorOf(std::string(1000, '\0'), format), "none");
        EXPECT_NE(ErrorOf("\x89PNG\r\n\x1a\n and so on", format), "none");
    }
    EXPECT_EQ(ErrorOf("v 0 0 0\n", EMeshFormat::eObj),
              "it holds no triangles; a cloud of points or lines must be meshed first");
    EXPECT_EQ(
        ErrorOf("ply\nformat ascii 1.0\nelement vertex 1\nproperty float x\nproperty float y\nproperty float "
                "z\nend_header\n1 2 3\n",
                EMeshFormat::ePly),
        "it holds no triangles; a cloud of points or lines must be meshed first");
    EXPECT_EQ(ErrorOf("ply\nformat ascii 1.0\nelement vertex 1\nproperty float x\nend_header\n1\n",
                      EMeshFormat::ePly),
              "its vertices have no x, y and z; export the mesh anew");
}

TEST(MeshFile, CutAndChangedFilesGiveAMeshOrAnError)
{
    const Mesh ball = ColouredBall();
    const CounterRandom random(21);
    std::uint64_t draw = 0;
    const auto below = [&](std::size_t limit) {
        return static_cast<std::size_t>(random.Uniform(draw++) * static_cast<double>(limit));
    };
    int read = 0, refused = 0;
    for (const auto& [content, format] : {std::pair{BinaryStl(ball), EMeshFormat::eStl},
                                          {TextStl(BallMesh(1.0, 0)), EMeshFormat::eStl},
                                          {TextPly(ball), EMeshFormat::ePly},
                                          {BinaryPly(ball, true), EMeshFormat::ePly},
                                          {ObjText(ball), EMeshFormat::eObj}}) {
        for (int trial = 0; trial < 400; ++trial) {
            std::string bytes = content.substr(0, trial % 2 == 0 ? below(content.size()) : content.size());
            for (std::size_t changes = below(4); changes > 0 && !bytes.empty(); --changes) {
                bytes[below(trial % 4 == 1 ? std::min<std::size_t>(400, bytes.size()) : bytes.size())] =
                    static_cast<char>(below(256));
            }
            try {
                const Mesh mesh = ParseMesh(bytes, format);
                ++read;
                ASSERT_FALSE(mesh.triangles.empty());
                for (const Vec3& corner : CornersOf(mesh)) {
                    ASSERT_TRUE(std::isfinite(Length(corner)));
                }
            } catch (const std::runtime_error& error) {
                ++refused;
                ASSERT_NE(std::string(error.what()), "");
            }
        }
    }
    EXPECT_GT(read, 100);
    EXPECT_GT(refused, 500);
}

TEST(MeshFile, PointsAloneAreAMeshOnlyWhereThatIsWanted)
{
    const std::string points = "ply\nformat ascii 1.0\nelement vertex 2\nproperty float x\nproperty float y\n"
                               "property float z\nproperty float nx\nproperty float ny\nproperty float nz\n"
                               "end_header\n1 2 3 0 0 1\n4 5 6 0 1 0\n";
    EXPECT_NE(ErrorOf(points, EMeshFormat::ePly).find("it holds no triangles"), std::string::npos);
    const Mesh mesh = ParseMeshOrPoints(points, EMeshFormat::ePly);
    EXPECT_TRUE(mesh.triangles.empty());
    ASSERT_EQ(mesh.vertices.size(), 2U);
    EXPECT_EQ(mesh.vertices[1].z, 6.0);
    EXPECT_EQ(mesh.normals.size(), 2U);
}

class MeshPath : public ::testing::Test
{
protected:
    std::string ErrorOfFile(const std::string& name, const MeshLimits& limits = MeshLimits()) const
    {
        try {
            ReadMesh(m_folder / name, limits);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "none";
    }

    TestSupport::CTemporaryFolder m_folder;
};

TEST_F(MeshPath, TheEndOfTheNameTellsTheFormatInAnyCase)
{
    const Mesh ball = BallMesh(1.0, 0);
    WriteFile(m_folder / "a.STL", BinaryStl(ball));
    WriteFile(m_folder / "a.Ply", TextPly(ball));
    WriteFile(m_folder / "b.c.obj", ObjText(ball));
    for (const char* name : {"a.STL", "a.Ply", "b.c.obj"}) {
        EXPECT_EQ(ReadMesh(m_folder / name).triangles.size(), 20U);
    }
    EXPECT_EQ(ErrorOfFile("a.step"),
              "cannot read the mesh " + m_folder / "a.step" +
                  ": its name ends in none of .stl, .ply and .obj; convert it to one of these");
}

TEST_F(MeshPath, ErrorsNameTheFile)
{
    const std::string start = "cannot read the mesh ";
    EXPECT_EQ(ErrorOfFile("none.stl"),
              start + (m_folder / "none.stl") + ": it cannot be opened; check path and permissions");
    std::filesystem::create_directory(m_folder / "folder.ply");
    EXPECT_EQ(ErrorOfFile("folder.ply"),
              start + (m_folder / "folder.ply") + ": it cannot be opened; check path and permissions");
    WriteFile(m_folder / "empty.obj", "");
    EXPECT_EQ(ErrorOfFile("empty.obj"),
              start + (m_folder / "empty.obj") + ": it is empty; export the mesh anew");
    WriteFile(m_folder / "bad.obj", "v 0 0 nothing\n");
    EXPECT_EQ(ErrorOfFile("bad.obj"),
              start + (m_folder / "bad.obj") +
                  ": line 1: 'nothing' is no number; the file is damaged, export the mesh anew");
}

TEST_F(MeshPath, OfALongFileNoMoreThanTheLimitIsRead)
{
    const std::string content = ObjText(BallMesh(1.0, 0));
    WriteFile(m_folder / "a.obj", content);
    MeshLimits limits;
    limits.bytes = content.size();
    EXPECT_EQ(ErrorOfFile("a.obj", limits), "none");
    --limits.bytes;
    EXPECT_EQ(ErrorOfFile("a.obj", limits), "cannot read the mesh " + (m_folder / "a.obj") +
                                                ": it is longer than the " + std::to_string(limits.bytes) +
                                                " bytes that are read; reduce the mesh");
    std::filesystem::create_symlink("/dev/zero", m_folder / "endless.stl");
    EXPECT_NE(ErrorOfFile("endless.stl", limits).find("is longer than"), std::string::npos);
}

} // namespace
} // namespace device
