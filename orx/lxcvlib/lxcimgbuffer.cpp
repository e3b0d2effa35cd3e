// Allocation of the images, and the ways through the ring.
#include "lxcimgbuffer.h"

#include "orx/logging/logger.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <utility>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCImgBuffer");

/// A black image; null if it cannot be made.
std::unique_ptr<CCTImage> CreateBlackImage(int width, int height, CCTImage::EImageDataType type)
{
    CCTImage* image = nullptr;
    if (CreateImage(&image, width, height, type, true, nullptr) != CCTImage::eRC_OK) {
        return nullptr;
    }
    image->Clear();
    return std::unique_ptr<CCTImage>(image);
}

/// Makes room for the handles of images. @return false if there is no memory
bool Reserve(std::vector<std::unique_ptr<CCTImage>>& images, int count)
{
    try {
        images.reserve(static_cast<std::size_t>(count));
    } catch (const std::exception&) {
        return false;
    }
    return true;
}

} // namespace

LxCImgBuffer::LxCImgBuffer(int ipBufferSize, int vidBufferSize)
    : m_iIPBufferSize(ipBufferSize), m_iVidBufferSize(vidBufferSize)
{}

LxCImgBuffer::~LxCImgBuffer() = default;

bool LxCImgBuffer::Allocate(int width, int height, CCTImage::EImageDataType type)
{
    if (width < 1 || height < 1 || m_iIPBufferSize < 1 || m_iVidBufferSize < 1) {
        return false;
    }
    Deallocate();
    CreateProcImages(width, height);
    if (!CreateVidImages(width, height, type)) {
        Deallocate();
        return false;
    }
    m_bAllocated = true;
    m_iWidth = width;
    m_iHeight = height;
    m_iBytesPerPixel = CCTImage::GetBytesPerPixel(type);
    return true;
}

void LxCImgBuffer::CreateProcImages(int width, int height)
{
    bool complete = Reserve(m_vProcImages, m_iIPBufferSize);
    for (int i = 0; complete && i < m_iIPBufferSize; ++i) {
        std::unique_ptr<CCTImage> image = CreateBlackImage(width, height, CCTImage::eIDT_ARGB8);
        complete = image != nullptr;
        if (complete) {
            m_vProcImages.push_back(std::move(image));
        }
    }
    if (!complete) {
        s_Logger.Error(L"Image creation failed in LxCImgBuffer::Allocate.");
    }
}

bool LxCImgBuffer::CreateVidImages(int width, int height, CCTImage::EImageDataType type)
{
    if (!Reserve(m_vVidImages, m_iVidBufferSize)) {
        s_Logger.Error(L"Video buffer allocation failed in LxCImgBuffer::Allocate");
        return false;
    }
    for (int i = 0; i < m_iVidBufferSize; ++i) {
        std::unique_ptr<CCTImage> image = CreateBlackImage(width, height, type);
        if (image == nullptr) {
            break;
        }
        m_vVidImages.push_back(std::move(image));
    }
    if (m_vVidImages.empty()) {
        s_Logger.Error(L"Video buffer creation failed in LxCImgBuffer::Allocate.");
        return false;
    }
    m_iVidBufferSize = static_cast<int>(m_vVidImages.size());
    return true;
}

bool LxCImgBuffer::Deallocate()
{
    // Room for handles that were never used is given back as well.
    m_vProcImages = Images();
    m_vVidImages = Images();
    m_iCurVidBufferSize = 0;
    m_iCurVidImg = 0;
    m_bAllocated = false;
    m_iWidth = 0;
    m_iHeight = 0;
    m_iBytesPerPixel = 0;
    return true;
}

void LxCImgBuffer::Flush()
{
    if (m_bAllocated) {
        m_vVidImages.front()->Clear();
        m_iCurVidBufferSize = 0;
    }
}

unsigned long LxCImgBuffer::WaitForAccess(unsigned long /*timeoutMs*/)
{
    return 0;
}

bool LxCImgBuffer::ReleaseAccess()
{
    return m_AccessMutex.Release();
}

CCTImage* LxCImgBuffer::VidImg(int index) const
{
    return m_vVidImages[static_cast<std::size_t>(index)].get();
}

CCTImage* LxCImgBuffer::GetNextWriteImg()
{
    if (!m_bAllocated) {
        return nullptr;
    }
    if (m_iCurVidBufferSize < m_iVidBufferSize) {
        m_iCurVidImg = m_iCurVidBufferSize++;
    } else {
        m_iCurVidImg = (m_iCurVidImg + 1) % m_iVidBufferSize;
    }
    return VidImg(m_iCurVidImg);
}

CCTImage* LxCImgBuffer::GetCurVidImg()
{
    return m_bAllocated ? VidImg(m_iCurVidImg) : nullptr;
}

/// @param step  -1 or 1
CCTImage* LxCImgBuffer::StepThroughRing(int step)
{
    if (!m_bAllocated) {
        return nullptr;
    }
    if (m_iCurVidBufferSize == 0) {
        return VidImg(0);
    }
    m_iCurVidImg = (m_iCurVidImg + step + m_iCurVidBufferSize) % m_iCurVidBufferSize;
    return VidImg(m_iCurVidImg);
}

CCTImage* LxCImgBuffer::GetPrevVidImg()
{
    return StepThroughRing(-1);
}

CCTImage* LxCImgBuffer::GetNextVidImg()
{
    return StepThroughRing(1);
}

CCTImage* LxCImgBuffer::GetOldVidImg(int age)
{
    if (!m_bAllocated) {
        return nullptr;
    }
    if (m_iCurVidBufferSize == 0) {
        return VidImg(0);
    }
    if (age > m_iCurVidBufferSize) {
        return nullptr;
    }
    // Not negative, as age is at most the number of images.
    const std::int64_t place = std::int64_t{m_iCurVidImg} - age + m_iCurVidBufferSize;
    return VidImg(static_cast<int>(place % m_iCurVidBufferSize));
}

CCTImage* LxCImgBuffer::GetProcImg(int index) const
{
    if (index < 0 || static_cast<std::size_t>(index) >= m_vProcImages.size()) {
        return nullptr;
    }
    return m_vProcImages[static_cast<std::size_t>(index)].get();
}

CCTImage* LxCImgBuffer::Get(int index)
{
    return GetProcImg(index);
}

} // namespace LxCV
