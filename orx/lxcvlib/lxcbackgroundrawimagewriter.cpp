// The run of the writer: one pair after the other, whatever goes wrong with one.
#include "lxcbackgroundrawimagewriter.h"

#include "orx/logging/logger.h"
#include "orx/platform/paths.h"

#include <algorithm>
#include <exception>
#include <fstream>
#include <locale>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCBackgroundRawImageWriter");

/// Does one step of the batch; what it throws is logged and ends that step alone.
template <typename Step>
void Guarded(Step step)
{
    try {
        step();
    } catch (const std::exception& exception) {
        s_Logger.Error(L"LxCBackgroundRawImageWriter::WriteRawImages: exception: %s\n", exception.what());
    } catch (...) {
        s_Logger.Error(L"LxCBackgroundRawImageWriter::WriteRawImages: unknown exception\n");
    }
}

} // namespace

LxCBackgroundRawImageWriter::LxCBackgroundRawImageWriter(const std::string& folder, Batch& batch)
    : BtThread("LxCBackgroundRawImageWriter", this, &LxCBackgroundRawImageWriter::WriteRawImages,
               GetProcessAffinityMask()),
      m_sFolder(folder), m_vBatch(TakeOver(batch))
{
    AddFlags(eAutoDelete);
}

LxCBackgroundRawImageWriter::~LxCBackgroundRawImageWriter()
{
    EndBeforeDestruction(); // while the members that the run uses are still there
}

/// Throws nothing once the first image is taken over.
std::vector<LxCBackgroundRawImageWriter::SItem> LxCBackgroundRawImageWriter::TakeOver(const Batch& batch)
{
    std::vector<SItem> items;
    items.reserve(batch.size());
    for (const auto& [image, metaData] : batch) {
        const auto isThisImage = [wanted = image](const SItem& item) { return item.pImage.get() == wanted; };
        const bool taken = std::any_of(items.begin(), items.end(), isThisImage);
        items.push_back({std::unique_ptr<CCTImage>(taken ? nullptr : image), metaData});
    }
    return items;
}

bool LxCBackgroundRawImageWriter::WriteRawImages()
{
    for (SItem& item : m_vBatch) {
        if (!WaitWhileSuspended()) {
            return false;
        }
        if (item.pImage != nullptr) {
            Guarded([&] { item.pImage->SaveBmp(m_sFolder + item.pImage->GetPathname()); });
            item.pImage.reset();
        }
        if (item.pMetaData != nullptr) {
            Guarded([&] { WriteMetaData(*item.pMetaData); });
        }
    }
    m_vBatch.clear();
    return true;
}

void LxCBackgroundRawImageWriter::WriteMetaData(const LxSFrameGrabberMetaData& data) const
{
    const std::string path = m_sFolder + data.GetFileName();
    std::ofstream stream(platform::NativePath(path), std::ios::binary | std::ios::trunc);
    stream.imbue(std::locale::classic());
    if (stream.is_open()) {
        data.writeToXML(stream);
        stream.close();
    }
    if (!stream) {
        s_Logger.Error(L"the file %s could not be written!\n", path);
    }
}

} // namespace LxCV
