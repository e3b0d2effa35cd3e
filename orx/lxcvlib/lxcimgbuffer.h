// A ring of video images with processing images beside it.
#pragma once

#include "cctimage.h"
#include "orx/base/export.h"
#include "orx/btservices/btmutex.h"

#include <memory>
#include <vector>

namespace LxCV {

/// The last images of a camera, for a live display that shows them while a measurement works on images of its
/// own, the processing images.
///
/// The video images form a ring: `GetNextWriteImg` goes round it and takes the oldest image when it is full. The
/// present index is that of the image which was written last, until `GetNextVidImg` and `GetPrevVidImg` step
/// through the ring of a paused display. In a full ring the next write goes on from where they have left it; a ring
/// with room takes the next image that was not yet written.
///
/// The buffer owns all its images; they live until the next `Allocate`, `Deallocate` or its end. Before a
/// successful `Allocate` it has none, sizes are 0 and every image asked for is null.
///
/// It does not lock: one producer writes, and a reader relies on the depth of the ring.
class ORX_EXPORT LxCImgBuffer
{
public:
    /// @param ipBufferSize   number of processing images
    /// @param vidBufferSize  number of video images
    explicit LxCImgBuffer(int ipBufferSize = 5, int vidBufferSize = 6);
    LxCImgBuffer(const LxCImgBuffer&) = delete;
    LxCImgBuffer& operator=(const LxCImgBuffer&) = delete;

    // The virtual functions stand in the order of their slots, which modules built earlier rely on.

    virtual ~LxCImgBuffer();

    /// Replaces all images by black ones: processing images of type `eIDT_ARGB8`, video images of type `type`. The
    /// ring is empty then. Processing images that cannot be made are left out. If not all video images can be made,
    /// the ring has as many as could be, now and for calls to come.
    /// @param width, height  pixels
    /// @return false, with nothing changed, for a width, height or number of images below 1; false, without any
    ///         image, if no video image could be made
    virtual bool Allocate(int width, int height, CCTImage::EImageDataType type);

    /// Destroys all images. Returns true.
    virtual bool Deallocate();

    /// Does nothing and returns 0, as descendants do when they have taken the mutex.
    virtual unsigned long WaitForAccess(unsigned long timeoutMs);

    /// Releases the mutex. @return whether the calling thread held it
    virtual bool ReleaseAccess();

    /// The image to write next, which counts as the present one from now on.
    virtual CCTImage* GetNextWriteImg();

    /// The image at the present index.
    virtual CCTImage* GetCurVidImg();

    /// Steps one image back, or forth, among the images in the ring. @return the image there; of an empty ring the
    /// first image, without a step
    virtual CCTImage* GetPrevVidImg();

    /// An image by its age: 0 for the present one, 1 for the one before. An age of as many as there are images
    /// comes round to the present one; a negative age counts forwards from it, round the ring.
    /// @return null for a larger age; of an empty ring the first image
    virtual CCTImage* GetOldVidImg(int age);

    /// See `GetPrevVidImg`.
    virtual CCTImage* GetNextVidImg();

    /// A processing image; null for an index outside the range and for an image that could not be made.
    virtual CCTImage* GetProcImg(int index) const;

    /// The same.
    virtual CCTImage* Get(int index);

    /// Clears the first video image and empties the ring.
    void Flush();

    int GetIPBufferSize() const { return m_iIPBufferSize; }         ///< number of processing images
    int GetVidBufferSize() const { return m_iVidBufferSize; }       ///< number of video images
    int GetCurVidBufferSize() const { return m_iCurVidBufferSize; } ///< images in the ring so far
    int GetWidth() const { return m_iWidth; }                       ///< pixels
    int GetHeight() const { return m_iHeight; }                     ///< pixels
    int GetBytesPerPixel() const { return m_iBytesPerPixel; }       ///< of a video image

protected:
    /// What descendants take in `WaitForAccess`.
    BtMutex& GetAccessMutex() { return m_AccessMutex; }

private:
    using Images = std::vector<std::unique_ptr<CCTImage>>;

    bool CreateVidImages(int width, int height, CCTImage::EImageDataType type);
    void CreateProcImages(int width, int height);
    CCTImage* StepThroughRing(int step);
    CCTImage* VidImg(int index) const;

    Images m_vProcImages; ///< those that could be made
    Images m_vVidImages;
    BtMutex m_AccessMutex;
    int m_iIPBufferSize;
    int m_iVidBufferSize;
    int m_iCurVidBufferSize = 0; ///< images in the ring so far
    int m_iCurVidImg = 0;        ///< present index; below `m_iCurVidBufferSize` unless the ring is empty
    bool m_bAllocated = false;
    int m_iWidth = 0;         ///< pixels
    int m_iHeight = 0;        ///< pixels
    int m_iBytesPerPixel = 0; ///< of a video image
};

} // namespace LxCV
