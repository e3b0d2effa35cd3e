// The raw images of an image source.
#pragma once

#include "cctimage.h"
#include "orx/base/export.h"

#include <deque>
#include <map>
#include <memory>

namespace LxCV {

/// The raw images of a source: those that are free, first in first out, and those that are lent to callers.
///
/// It owns both kinds, so that an image in a caller's hands lives as long as the queue, whatever happens to the
/// source. The thread that acquires images has it alone.
class ORX_EXPORT CRawImageQueue
{
public:
    CRawImageQueue() = default;
    CRawImageQueue(const CRawImageQueue&) = delete;
    CRawImageQueue& operator=(const CRawImageQueue&) = delete;
    ~CRawImageQueue() = default;

    /// Replaces the free images by `count` new ones with pixels of any value.
    /// Throws std::exception "image allocation failed", which leaves the queue as it was.
    void Fill(int count, int width, int height, CCTImage::EImageDataType type);

    /// Frees the free images. Those that are lent stay with their holders, who may still give them back.
    void Clear() { m_Free.clear(); }

    /// The free image that has waited longest, which the caller holds until `GiveBack`; null where none is free.
    CCTImage* Lend();

    /// Puts a lent image behind the free ones. @return false, with nothing changed, for one that is not lent
    bool GiveBack(const CCTImage* image);

private:
    std::deque<std::unique_ptr<CCTImage>> m_Free;
    std::map<const CCTImage*, std::unique_ptr<CCTImage>> m_Lent;
};

} // namespace LxCV
