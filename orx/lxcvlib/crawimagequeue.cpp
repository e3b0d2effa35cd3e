// Lending and taking back of raw images.
#include "crawimagequeue.h"

#include <utility>

namespace LxCV {

void CRawImageQueue::Fill(int count, int width, int height, CCTImage::EImageDataType type)
{
    std::deque<std::unique_ptr<CCTImage>> images;
    for (int i = 0; i < count; ++i) {
        images.push_back(std::make_unique<CCTImage>(width, height, type, true, nullptr));
    }
    m_Free.swap(images);
}

CCTImage* CRawImageQueue::Lend()
{
    if (m_Free.empty()) {
        return nullptr;
    }
    CCTImage* const image = m_Free.front().get();
    // The key first, so that an image is never without an owner.
    std::unique_ptr<CCTImage>& lent = m_Lent[image];
    lent = std::move(m_Free.front());
    m_Free.pop_front();
    return image;
}

bool CRawImageQueue::GiveBack(const CCTImage* image)
{
    const auto lent = m_Lent.find(image);
    if (lent == m_Lent.end()) {
        return false;
    }
    m_Free.push_back(std::move(lent->second));
    m_Lent.erase(lent);
    return true;
}

} // namespace LxCV
