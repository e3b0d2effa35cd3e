// Labelling of connected regions in place.
#include "lxcblobfinder.h"

#include "cctimage.h"
#include "saturate.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace LxCV {

namespace {

constexpr int c_iFirstLabel = 2;
constexpr int c_iTableSize = 20000;

/// For each provisional label a smaller one of the same object, or itself; after `Resolve` the number of the
/// blob.
class LabelTable
{
public:
    bool IsFull() const { return m_iNext == c_iTableSize; }

    /// A label of its own; only while the table is not full.
    int Add()
    {
        Entry(m_iNext) = m_iNext;
        return m_iNext++;
    }

    /// The smallest of the labels that are not 0, to which all higher ones then lead.
    int Join(const std::array<int, 4>& labels)
    {
        int smallest = c_iTableSize;
        for (const int label : labels) {
            smallest = label != 0 ? std::min(smallest, label) : smallest;
        }
        for (const int label : labels) {
            if (label > smallest) {
                Entry(label) = smallest;
            }
        }
        return smallest;
    }

    /// Turns labels into numbers of blobs, from 1. @return how many blobs there are
    int Resolve()
    {
        int blobs = 0;
        for (int label = c_iFirstLabel; label < m_iNext; ++label) {
            Entry(label) = Entry(label) >= label ? ++blobs : Entry(Entry(label));
        }
        return blobs;
    }

    int operator[](int label) const { return m_Labels[static_cast<std::size_t>(label)]; }

private:
    int& Entry(int label) { return m_Labels[static_cast<std::size_t>(label)]; }

    std::array<int, c_iTableSize> m_Labels; ///< set up to m_iNext
    int m_iNext = c_iFirstLabel;
};

/// The next pixel from `x` that is not 0, or `end`. Most of a label image is 0, so eight pixels go at a time.
int SkipZeros(const int* row, int x, int end)
{
    std::array<std::uint64_t, 4> eight;
    constexpr int c_iPixels = sizeof eight / sizeof(int);
    for (; end - x >= c_iPixels; x += c_iPixels) {
        std::memcpy(eight.data(), row + x, sizeof eight);
        if ((eight[0] | eight[1] | eight[2] | eight[3]) != 0) {
            break;
        }
    }
    while (x < end && row[x] == 0) {
        ++x;
    }
    return x;
}

void ClearFrame(CCTImage& image)
{
    const int width = image.GetWidth();
    const int height = image.GetHeight();
    std::fill_n(&image.GetInt32PixelFast(0, 0), width, 0);
    for (int y = 1; y < height; ++y) {
        image.SetInt32PixelFast(0, y, 0);
        image.SetInt32PixelFast(width - 1, y, 0);
    }
    std::fill_n(&image.GetInt32PixelFast(0, height - 1), width, 0);
}

/// Labels the run of pixels that starts at `x`, whose left neighbour is 0.
/// @return the end of the run; -1 if the table is full
int LabelRun(int* row, const int* above, int x, LabelTable& table)
{
    int label = 0;
    if (above[x - 1] != 0 || above[x] != 0 || above[x + 1] != 0) {
        label = table.Join({0, above[x - 1], above[x], above[x + 1]});
    } else if (!table.IsFull()) {
        label = table.Add();
    } else {
        return -1;
    }
    row[x] = label;
    // From here on the two neighbours above have met the left one's label when that was found, and lead to
    // it. Only the one to the right brings news.
    for (++x; row[x] != 0; ++x) {
        const int northEast = above[x + 1];
        if (northEast != 0 && northEast != label) {
            label = table.Join({label, above[x - 1], above[x], northEast});
        }
        row[x] = label;
    }
    return x;
}

/// @return whether the table was large enough
bool LabelObjects(CCTImage& image, LabelTable& table)
{
    const int end = image.GetWidth() - 1;
    for (int y = 1; y < image.GetHeight() - 1; ++y) {
        int* const row = &image.GetInt32PixelFast(0, y);
        const int* const above = &image.GetInt32PixelFast(0, y - 1);
        for (int x = SkipZeros(row, 1, end); x < end; x = SkipZeros(row, x, end)) {
            x = LabelRun(row, above, x, table);
            if (x < 0) {
                return false;
            }
        }
    }
    return true;
}

/// Sums that a blob's own fields may be too narrow for.
struct Sums
{
    std::int64_t x = 0;
    std::int64_t y = 0;
};

/// Counts in the pixels `begin` to `end` - 1 of row `y`.
void AddSegment(LxCBlob& blob, Sums& sums, int begin, int end, int y)
{
    const int length = end - begin;
    blob.m_iPixelCount += length;
    blob.m_iLeft = std::min(blob.m_iLeft, begin);
    blob.m_iRight = std::max(blob.m_iRight, end - 1);
    blob.m_iTop = std::min(blob.m_iTop, y);
    blob.m_iBottom = std::max(blob.m_iBottom, y);
    sums.x += (std::int64_t{begin} + end - 1) * length / 2;
    sums.y += std::int64_t{y} * length;
}

/// Replaces labels by numbers of blobs, and counts each stretch of pixels of one label.
void NumberObjects(CCTImage& image, const LabelTable& table, std::vector<LxCBlob>& blobs,
                   std::vector<Sums>& sums)
{
    const int width = image.GetWidth();
    for (int y = 1; y < image.GetHeight() - 1; ++y) {
        int* const row = &image.GetInt32PixelFast(0, y);
        for (int x = SkipZeros(row, 1, width); x < width; x = SkipZeros(row, x, width)) {
            const int begin = x;
            const int label = row[begin];
            const int number = table[label];
            // The row ends with a 0.
            for (; row[x] == label; ++x) {
                row[x] = number;
            }
            const auto index = static_cast<std::size_t>(number) - 1;
            AddSegment(blobs[index], sums[index], begin, x, y);
        }
    }
}

} // namespace

LxCBlobFinder::LxCBlobFinder(CCTImage* image) : m_pImage(image)
{
    if (image != nullptr) {
        FindBlobs(image);
    }
}

void LxCBlobFinder::Reset(int count)
{
    m_vBlobs.assign(static_cast<std::size_t>(std::max(count, 0)), LxCBlob());
}

LxCBlob& LxCBlobFinder::operator[](int index)
{
    return m_vBlobs.at(static_cast<std::size_t>(index));
}

const LxCBlob& LxCBlobFinder::operator[](int index) const
{
    return m_vBlobs.at(static_cast<std::size_t>(index));
}

bool LxCBlobFinder::FindBlobs(CCTImage* image)
{
    if (image == nullptr || image->GetBytesPerPixel() != static_cast<int>(sizeof(int))) {
        return false;
    }
    const bool isEmpty = image->GetSizeInPixels() == 0;
    if (!isEmpty && image->GetBuffer() == nullptr) {
        return false;
    }
    Reset();
    if (isEmpty) {
        return true;
    }
    ClearFrame(*image);
    LabelTable table;
    if (!LabelObjects(*image, table)) {
        return false;
    }
    Reset(table.Resolve());
    for (LxCBlob& blob : m_vBlobs) {
        blob.m_iLeft = image->GetWidth();
        blob.m_iTop = image->GetHeight();
    }
    std::vector<Sums> sums(m_vBlobs.size());
    NumberObjects(*image, table, m_vBlobs, sums);
    for (std::size_t i = 0; i < m_vBlobs.size(); ++i) {
        LxCBlob& blob = m_vBlobs[i];
        blob.m_iId = static_cast<int>(i) + 1;
        blob.m_iSumX = SaturateToInt(sums[i].x);
        blob.m_iSumY = SaturateToInt(sums[i].y);
        blob.m_dCenterX = static_cast<double>(sums[i].x) / blob.m_iPixelCount;
        blob.m_dCenterY = static_cast<double>(sums[i].y) / blob.m_iPixelCount;
    }
    return true;
}

void LxCBlobFinder::GetBlobs(LxCBlob** blobs, int* count)
{
    if (blobs != nullptr) {
        *blobs = m_vBlobs.empty() ? nullptr : m_vBlobs.data();
    }
    if (count != nullptr) {
        *count = GetNrOfBlobs();
    }
}

} // namespace LxCV
