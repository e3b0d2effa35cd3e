// A thread that saves a batch of raw images.
#pragma once

#include "cctimage.h"
#include "lxsframegrabbermetadata.h"
#include "orx/base/export.h"
#include "orx/btservices/btthread.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace LxCV {

/// Saves raw images with the records of how they were taken, so that the acquisition does not wait for the disk. It is
/// made with `new` and destroys itself at the end of its thread:
///
///     auto* const writer = new LxCBackgroundRawImageWriter(folder, batch);
///     if (!writer->Start()) {
///         delete writer; // there is no thread, so the writer is still the caller's
///     }
///
/// The writer owns the images of its batch and destroys each when it is written, and what is left of them with itself.
///
/// What cannot be written is logged; the rest of the batch is written all the same. `Suspend` and `Terminate` take
/// effect between two pairs; after `Terminate` the object is not destroyed by its thread.
class ORX_EXPORT LxCBackgroundRawImageWriter : public BtThread<LxCBackgroundRawImageWriter, BtThreadPolicyMFC>
{
public:
    using Batch = std::vector<std::pair<CCTImage*, std::shared_ptr<LxSFrameGrabberMetaData>>>;

    /// @param folder put in front of each file name as it stands, so it ends with a separator
    /// @param batch  images made with `new`, which the caller gives up unless this throws, and the record of each. An
    ///               image's pathname is the name of its file, relative to the folder. Either of a pair may be null.
    ///               An image that stands in several pairs is written with the first.
    LxCBackgroundRawImageWriter(const std::string& folder, Batch& batch);

    ~LxCBackgroundRawImageWriter() override;

    /// The run: saves each image as BMP and destroys it, then lets its record write itself by `writeToXML` to a file of
    /// the record's own name. @return true; false where `Terminate` ended it
    bool WriteRawImages();

private:
    struct SItem
    {
        std::unique_ptr<CCTImage> pImage;
        std::shared_ptr<LxSFrameGrabberMetaData> pMetaData;
    };

    static std::vector<SItem> TakeOver(const Batch& batch);
    void WriteMetaData(const LxSFrameGrabberMetaData& data) const;

    std::string m_sFolder;
    std::vector<SItem> m_vBatch;
};

} // namespace LxCV
