// Connected regions of an image.
#pragma once

#include "lxcblob.h"
#include "orx/base/export.h"

#include <vector>

namespace LxCV {

class CCTImage;

/// Labels the 8-connected objects of an image in place, and keeps number, size, box and centre of each.
///
/// Provisional labels are joined by a table of fixed size that holds one smaller label for each. An entry may
/// be overwritten by a later meeting, deliberately without following it to its root: of a ragged object, such
/// as a comb, in which three or more provisional labels meet, parts may stay blobs of their own. Convex
/// objects are whole, and blobs never join what is apart.
///
/// Serves one thread at a time.
class ORX_EXPORT LxCBlobFinder
{
public:
    /// Runs `FindBlobs` on the image unless it is null.
    /// @param image stays the caller's
    explicit LxCBlobFinder(CCTImage* image = nullptr);

    /// Replaces the blobs by `count` default ones; a negative count gives none.
    void Reset(int count = 0);

    /// Blob number index + 1. Throws std::out_of_range.
    LxCBlob& operator[](int index);
    const LxCBlob& operator[](int index) const;

    /// Finds the objects of non-zero pixels. The outermost pixels of the image are cleared first, and belong
    /// to none; all others are overwritten by the number of their blob, or 0. Blobs are numbered from 1 by
    /// their first pixel in row order.
    ///
    /// @param image of any type of 4 bytes a pixel
    /// @return false, with the blobs of the last call kept, for a null image, for another pixel size and for an
    ///         image without memory; false, without blobs and with the image partly labelled, if it needs more
    ///         than 19998 provisional labels
    bool FindBlobs(CCTImage* image);

    /// The blobs themselves, which stay the finder's and are valid until the next `FindBlobs` or `Reset`;
    /// null for none. A null argument is not written.
    void GetBlobs(LxCBlob** blobs, int* count);

    /// Copies of the blobs.
    std::vector<LxCBlob> GetBlobs() const { return m_vBlobs; }

    int GetNrOfBlobs() const { return static_cast<int>(m_vBlobs.size()); }

    /// The image given at construction, null without one; the finder neither owns it nor looks at it again.
    CCTImage* GetImage() const { return m_pImage; }

private:
    std::vector<LxCBlob> m_vBlobs;
    CCTImage* m_pImage = nullptr;
};

} // namespace LxCV
