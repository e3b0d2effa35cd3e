#include "lxcblobfinder.h"

#include "cctimage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace LxCV {
namespace {

/// Pixels by rows, apart from any image.
struct Grid
{
    Grid(int w, int h) : width(w), height(h), pixels(static_cast<std::size_t>(w) * h) {}
    explicit Grid(const std::vector<std::string>& rows)
        : Grid(static_cast<int>(rows.front().size()), static_cast<int>(rows.size()))
    {
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                At(x, y) = rows[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)] == '#' ? 1 : 0;
            }
        }
    }

    int& At(int x, int y) { return pixels[static_cast<std::size_t>(y) * width + x]; }
    int At(int x, int y) const { return pixels[static_cast<std::size_t>(y) * width + x]; }
    bool IsFrame(int x, int y) const { return x == 0 || y == 0 || x == width - 1 || y == height - 1; }

    CCTImage ToImage(CCTImage::EImageDataType type = CCTImage::eIDT_INT32) const
    {
        CCTImage image(width, height, type, true, nullptr);
        if (!pixels.empty()) {
            std::memcpy(image.GetBuffer(), pixels.data(), pixels.size() * sizeof(int));
        }
        return image;
    }

    int width;
    int height;
    std::vector<int> pixels;
};

Grid GridOf(const CCTImage& image)
{
    Grid grid(image.GetWidth(), image.GetHeight());
    std::memcpy(grid.pixels.data(), image.GetBuffer(), grid.pixels.size() * sizeof(int));
    return grid;
}

/// The 8-connected objects inside the frame, numbered by their first pixel in row order.
Grid FloodFill(const Grid& grid)
{
    Grid labels(grid.width, grid.height);
    int number = 0;
    std::vector<std::array<int, 2>> open;
    for (int y = 1; y < grid.height - 1; ++y) {
        for (int x = 1; x < grid.width - 1; ++x) {
            if (grid.At(x, y) == 0 || labels.At(x, y) != 0) {
                continue;
            }
            labels.At(x, y) = ++number;
            open.push_back({x, y});
            while (!open.empty()) {
                const auto [px, py] = open.back();
                open.pop_back();
                for (int ny = py - 1; ny <= py + 1; ++ny) {
                    for (int nx = px - 1; nx <= px + 1; ++nx) {
                        if (!grid.IsFrame(nx, ny) && grid.At(nx, ny) != 0 && labels.At(nx, ny) == 0) {
                            labels.At(nx, ny) = number;
                            open.push_back({nx, ny});
                        }
                    }
                }
            }
        }
    }
    return labels;
}

/// The labelling pixel by pixel, with all four neighbours looked at each time. Empty above `maxLabels`
/// labels.
std::vector<int> LabelByPixels(const Grid& grid, int maxLabels)
{
    Grid labels(grid.width, grid.height);
    std::vector<int> table(2);
    for (int y = 1; y < grid.height - 1; ++y) {
        for (int x = 1; x < grid.width - 1; ++x) {
            if (grid.At(x, y) == 0) {
                continue;
            }
            const std::array<int, 4> neighbours = {labels.At(x - 1, y), labels.At(x - 1, y - 1),
                                                   labels.At(x, y - 1), labels.At(x + 1, y - 1)};
            int smallest = 0;
            for (const int label : neighbours) {
                if (label != 0 && (smallest == 0 || label < smallest)) {
                    smallest = label;
                }
            }
            if (smallest == 0) {
                smallest = static_cast<int>(table.size());
                table.push_back(smallest);
            }
            for (const int label : neighbours) {
                if (label > smallest) {
                    table[static_cast<std::size_t>(label)] = smallest;
                }
            }
            labels.At(x, y) = smallest;
        }
    }
    if (static_cast<int>(table.size()) - 2 > maxLabels) {
        return {};
    }
    int blobs = 0;
    for (std::size_t label = 2; label < table.size(); ++label) {
        const int root = table[label];
        table[label] = root >= static_cast<int>(label) ? ++blobs : table[static_cast<std::size_t>(root)];
    }
    for (int& label : labels.pixels) {
        label = table[static_cast<std::size_t>(label)];
    }
    return labels.pixels;
}

/// Blobs counted pixel by pixel from labels.
std::map<int, LxCBlob> CountBlobs(const Grid& labels)
{
    std::map<int, LxCBlob> blobs;
    for (int y = 0; y < labels.height; ++y) {
        for (int x = 0; x < labels.width; ++x) {
            const int label = labels.At(x, y);
            if (label == 0) {
                continue;
            }
            const bool isNew = blobs.find(label) == blobs.end();
            LxCBlob& blob = blobs[label];
            blob.m_iId = label;
            blob.m_iLeft = isNew ? x : std::min(blob.m_iLeft, x);
            blob.m_iTop = isNew ? y : std::min(blob.m_iTop, y);
            blob.m_iRight = std::max(blob.m_iRight, x);
            blob.m_iBottom = std::max(blob.m_iBottom, y);
            blob.m_iPixelCount += 1;
            blob.m_iSumX += x;
            blob.m_iSumY += y;
        }
    }
    return blobs;
}

void ExpectBlobs(const LxCBlobFinder& finder, const Grid& labels)
{
    const std::map<int, LxCBlob> expected = CountBlobs(labels);
    ASSERT_EQ(finder.GetNrOfBlobs(), static_cast<int>(expected.size()));
    for (int i = 0; i < finder.GetNrOfBlobs(); ++i) {
        const LxCBlob& blob = finder[i];
        const LxCBlob& other = expected.at(i + 1);
        EXPECT_EQ(blob.m_iId, i + 1);
        EXPECT_EQ(blob.m_iPixelCount, other.m_iPixelCount);
        EXPECT_EQ(blob.m_iLeft, other.m_iLeft);
        EXPECT_EQ(blob.m_iRight, other.m_iRight);
        EXPECT_EQ(blob.m_iTop, other.m_iTop);
        EXPECT_EQ(blob.m_iBottom, other.m_iBottom);
        EXPECT_EQ(blob.m_iSumX, other.m_iSumX);
        EXPECT_EQ(blob.m_iSumY, other.m_iSumY);
        EXPECT_EQ(blob.m_dCenterX, static_cast<double>(other.m_iSumX) / other.m_iPixelCount);
        EXPECT_EQ(blob.m_dCenterY, static_cast<double>(other.m_iSumY) / other.m_iPixelCount);
        EXPECT_TRUE(blob.IsValid());
    }
}

Grid Noise(int width, int height, double density, std::mt19937& random)
{
    // Values that look like labels, negative ones and bit patterns of floats: none of them is a label yet.
    const int values[] = {1, 2, 3, 255, 19999, 20000, -1, static_cast<int>(0x80000000U), 0x3F800000};
    std::bernoulli_distribution isObject(density);
    Grid grid(width, height);
    for (int& pixel : grid.pixels) {
        pixel = isObject(random) ? values[random() % std::size(values)] : 0;
    }
    return grid;
}

TEST(LxCBlobFinder, LabelsNoiseAsThePixelByPixelRulesDo)
{
    std::mt19937 random(1);
    for (int trial = 0; trial < 4000; ++trial) {
        const double density = 0.05 + 0.9 * (trial % 10) / 10.0;
        const Grid grid =
            Noise(1 + static_cast<int>(random() % 40), 1 + static_cast<int>(random() % 30), density, random);
        CCTImage image = grid.ToImage();
        LxCBlobFinder finder;
        ASSERT_TRUE(finder.FindBlobs(&image));
        const Grid labels = GridOf(image);
        ASSERT_EQ(labels.pixels, LabelByPixels(grid, 19998)) << "trial " << trial;
        ExpectBlobs(finder, labels);
    }
}

TEST(LxCBlobFinder, BlobsOfNoiseCoverAllObjectsAndNeverJoinTwo)
{
    std::mt19937 random(2);
    int whole = 0;
    for (int trial = 0; trial < 2000; ++trial) {
        const Grid grid = Noise(24, 18, 0.1 + 0.08 * (trial % 10), random);
        const Grid objects = FloodFill(grid);
        CCTImage image = grid.ToImage();
        const LxCBlobFinder finder(&image);
        const Grid labels = GridOf(image);
        std::map<int, int> objectOf;
        for (std::size_t i = 0; i < labels.pixels.size(); ++i) {
            ASSERT_EQ(labels.pixels[i] == 0, objects.pixels[i] == 0) << "trial " << trial;
            const auto [entry, isNew] = objectOf.emplace(labels.pixels[i], objects.pixels[i]);
            ASSERT_EQ(entry->second, objects.pixels[i]) << "trial " << trial;
        }
        whole += labels.pixels == objects.pixels ? 1 : 0;
    }
    EXPECT_GT(whole, 500) << "most sparse and most dense images have no object in parts";
}

bool IsInEllipse(double x, double y, double a, double b, double alpha)
{
    const double u = std::cos(alpha) * x + std::sin(alpha) * y;
    const double v = std::cos(alpha) * y - std::sin(alpha) * x;
    return (u / a) * (u / a) + (v / b) * (v / b) <= 1.0;
}

TEST(LxCBlobFinder, TurnedEllipsesAndRectanglesAgreeWithAFloodFill)
{
    std::mt19937 random(3);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    for (int trial = 0; trial < 800; ++trial) {
        Grid grid(80, 60);
        // Each object in a cell of its own, at any place in it, cut by nothing but the frame.
        for (int cell = 0; cell < 12; ++cell) {
            const double cx = cell % 4 * 20 + 5.0 + 10.0 * unit(random);
            const double cy = cell / 4 * 20 + 5.0 + 10.0 * unit(random);
            const double a = 1.0 + 5.0 * unit(random);
            const double b = 1.0 + 5.0 * unit(random);
            const double alpha = 3.2 * unit(random);
            for (int y = cell / 4 * 20; y < cell / 4 * 20 + 20; ++y) {
                for (int x = cell % 4 * 20; x < cell % 4 * 20 + 20; ++x) {
                    const bool inside = cell % 2 == 0 ? IsInEllipse(x - cx, y - cy, a, b, alpha)
                                                      : std::abs(x - cx) <= a && std::abs(y - cy) <= b;
                    grid.At(x, y) = inside ? 65535 : grid.At(x, y);
                }
            }
        }
        CCTImage image = grid.ToImage(trial % 2 == 0 ? CCTImage::eIDT_UINT32 : CCTImage::eIDT_ARGB8);
        const LxCBlobFinder finder(&image);
        ASSERT_EQ(GridOf(image).pixels, FloodFill(grid).pixels) << "trial " << trial;
        ExpectBlobs(finder, FloodFill(grid));
    }
}

TEST(LxCBlobFinder, JoinsTheArmsOfAUAndDiagonalNeighbours)
{
    const Grid grid({".............", //
                     ".#...#.......", //
                     ".#...#...#...", //
                     ".#####..#....", //
                     ".......#.....", //
                     "............."});
    CCTImage image = grid.ToImage();
    const LxCBlobFinder finder(&image);
    ASSERT_EQ(finder.GetNrOfBlobs(), 2);
    EXPECT_EQ(finder[0].m_iPixelCount, 9);
    EXPECT_EQ(finder[0].m_iSumX, 1 + 5 + 1 + 5 + 1 + 2 + 3 + 4 + 5);
    EXPECT_EQ(finder[1].m_iPixelCount, 3);
    EXPECT_EQ(finder[1].m_dCenterX, 8.0);
    EXPECT_EQ(finder[1].m_dCenterY, 3.0);
    EXPECT_EQ(finder[1].GetWidth(), 3);
    EXPECT_EQ(finder[1].GetHeight(), 3);
}

TEST(LxCBlobFinder, ALaterMeetingReplacesTheTableEntryOfALabel)
{
    // Labels: A = 2, B = 3, C = 4. C first meets B, which its entry tells; then A, and the way to B is lost.
    const Grid grid({"...........", //
                     "..#.....#..", //
                     "..#..###...", //
                     "..###......", //
                     "..........."});
    CCTImage image = grid.ToImage();
    const LxCBlobFinder finder(&image);
    EXPECT_EQ(FloodFill(grid).At(8, 1), 1) << "one object";
    ASSERT_EQ(finder.GetNrOfBlobs(), 2);
    const Grid labels = GridOf(image);
    EXPECT_EQ(labels.At(2, 1), 1);
    EXPECT_EQ(labels.At(5, 2), 1);
    EXPECT_EQ(labels.At(8, 1), 2);
}

TEST(LxCBlobFinder, DropsAnythingOnTheFrame)
{
    const Grid grid({"#######", //
                     "#.....#", //
                     "#..#..#", //
                     "#..#..#", //
                     "###.###"});
    CCTImage image = grid.ToImage();
    const LxCBlobFinder finder(&image);
    ASSERT_EQ(finder.GetNrOfBlobs(), 1);
    EXPECT_EQ(finder[0].m_iPixelCount, 2);
    const Grid labels = GridOf(image);
    EXPECT_EQ(std::count(labels.pixels.begin(), labels.pixels.end(), 0), 33);
}

TEST(LxCBlobFinder, AFullImageIsOneBlobOfItsInside)
{
    Grid grid(658, 494);
    std::fill(grid.pixels.begin(), grid.pixels.end(), -1);
    CCTImage image = grid.ToImage();
    const LxCBlobFinder finder(&image);
    ASSERT_EQ(finder.GetNrOfBlobs(), 1);
    EXPECT_EQ(finder[0].m_iPixelCount, 656 * 492);
    EXPECT_EQ(finder[0].m_iRight, 656);
    EXPECT_EQ(finder[0].m_iBottom, 492);
    EXPECT_EQ(finder[0].m_dCenterX, 328.5);
    EXPECT_EQ(finder[0].m_dCenterY, 246.5);
}

TEST(LxCBlobFinder, SumsBeyond32BitsSaturateAndTheCentreStaysExact)
{
    Grid grid(6000, 200);
    std::fill(grid.pixels.begin(), grid.pixels.end(), 1);
    CCTImage image = grid.ToImage();
    const LxCBlobFinder finder(&image);
    ASSERT_EQ(finder.GetNrOfBlobs(), 1);
    // 5998 · 198 pixels with a mean of 2999.5: 3.56e9
    EXPECT_EQ(finder[0].m_iSumX, std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(finder[0].m_iSumY, 5998 * 198 / 2 * 199);
    EXPECT_EQ(finder[0].m_dCenterX, 2999.5);
    EXPECT_EQ(finder[0].m_dCenterY, 99.5);
}

/// Single pixels two apart, each with a label of its own.
Grid Dots(int count)
{
    const int perRow = 200;
    Grid grid(2 * perRow + 1, 2 * (count / perRow + 1) + 1);
    for (int i = 0; i < count; ++i) {
        grid.At(1 + i % perRow * 2, 1 + i / perRow * 2) = 7;
    }
    return grid;
}

TEST(LxCBlobFinder, TakesAllLabelsOfItsTableAndRefusesOneMore)
{
    CCTImage image = Dots(19998).ToImage();
    LxCBlobFinder finder;
    ASSERT_TRUE(finder.FindBlobs(&image));
    EXPECT_EQ(finder.GetNrOfBlobs(), 19998);
    EXPECT_EQ(finder[19997].m_iId, 19998);
    CCTImage more = Dots(19999).ToImage();
    EXPECT_FALSE(finder.FindBlobs(&more));
    EXPECT_EQ(finder.GetNrOfBlobs(), 0);
}

TEST(LxCBlobFinder, RefusesWhatIsNoImageOfFourBytesAPixelAndKeepsItsBlobs)
{
    Grid grid(5, 5);
    grid.At(2, 2) = 1;
    CCTImage image = grid.ToImage();
    LxCBlobFinder finder(&image);
    const auto keepsItsBlob = [&finder] { return finder.GetNrOfBlobs() == 1 && finder[0].m_iLeft == 2; };
    ASSERT_TRUE(keepsItsBlob());
    for (const auto type : {CCTImage::eIDT_UINT8, CCTImage::eIDT_UINT16, CCTImage::eIDT_BGRU8,
                            CCTImage::eIDT_FLOAT64, CCTImage::eIDT_FLOAT32_3}) {
        CCTImage other(5, 5, type, 1.0F);
        EXPECT_FALSE(finder.FindBlobs(&other)) << type;
        EXPECT_TRUE(keepsItsBlob()) << type;
    }
    EXPECT_FALSE(finder.FindBlobs(nullptr));
    CCTImage empty;
    EXPECT_FALSE(finder.FindBlobs(&empty));
    CCTImage wrapped(5, 5, CCTImage::eIDT_INT32, false, nullptr);
    EXPECT_FALSE(finder.FindBlobs(&wrapped));
    EXPECT_TRUE(keepsItsBlob());
    CCTImage nothing(0, 5, CCTImage::eIDT_INT32, true, nullptr);
    EXPECT_TRUE(finder.FindBlobs(&nothing));
    EXPECT_EQ(finder.GetNrOfBlobs(), 0) << "an image without pixels is no refusal";
}

TEST(LxCBlobFinder, ImagesTooSmallForAnInsideHaveNoBlobs)
{
    for (const auto& size :
         {std::array{0, 0}, {0, 5}, {5, 0}, {1, 1}, {1, 9}, {9, 1}, {2, 9}, {9, 2}, {2, 2}}) {
        Grid grid(size[0], size[1]);
        std::fill(grid.pixels.begin(), grid.pixels.end(), 3);
        CCTImage image = grid.ToImage();
        LxCBlobFinder finder;
        EXPECT_TRUE(finder.FindBlobs(&image)) << size[0] << " by " << size[1];
        EXPECT_EQ(finder.GetNrOfBlobs(), 0);
    }
}

TEST(LxCBlobFinder, HandsOutItsArrayAndCopies)
{
    Grid grid(7, 7);
    grid.At(2, 2) = 1;
    grid.At(4, 4) = 1;
    CCTImage image = grid.ToImage();
    LxCBlobFinder finder(&image);
    EXPECT_EQ(finder.GetImage(), &image);
    LxCBlob* blobs = nullptr;
    int count = 0;
    finder.GetBlobs(&blobs, &count);
    ASSERT_EQ(count, 2);
    ASSERT_EQ(blobs, &finder[0]);
    const std::vector<LxCBlob> copies = finder.GetBlobs();
    ASSERT_EQ(copies.size(), 2U);
    blobs[1].SetValid(false);
    EXPECT_FALSE(finder[1].IsValid());
    EXPECT_TRUE(copies[1].IsValid());
    finder.GetBlobs(nullptr, nullptr);
    finder.Reset();
    finder.GetBlobs(&blobs, &count);
    EXPECT_EQ(blobs, nullptr);
    EXPECT_EQ(count, 0);
    EXPECT_TRUE(finder.GetBlobs().empty());
}

TEST(LxCBlobFinder, ResetMakesDefaultBlobs)
{
    LxCBlobFinder finder(nullptr);
    EXPECT_EQ(finder.GetImage(), nullptr);
    EXPECT_EQ(finder.GetNrOfBlobs(), 0);
    finder.Reset(3);
    ASSERT_EQ(finder.GetNrOfBlobs(), 3);
    EXPECT_EQ(finder[2].m_iLeft, -1);
    finder.Reset(-1);
    EXPECT_EQ(finder.GetNrOfBlobs(), 0);
}

TEST(LxCBlobFinder, AnIndexOutsideThrows)
{
    LxCBlobFinder finder;
    finder.Reset(2);
    const LxCBlobFinder& constant = finder;
    for (const int index : {-1, 2, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        EXPECT_THROW(finder[index], std::out_of_range) << index;
        EXPECT_THROW(constant[index], std::out_of_range) << index;
    }
}

} // namespace
} // namespace LxCV
