// An image source that replays image files.
#pragma once

#include "crawimagequeue.h"
#include "lxaframegrabber.h"
#include "orx/base/export.h"
#include "orx/btservices/btcriticalsection.h"

#include <functional>
#include <string>
#include <vector>

namespace LxCV {

/// Replays recorded images through the contract of all image sources, so that the whole measuring chain runs without
/// a camera. It has no thread: an image is loaded as it is asked for.
///
/// Names tell what an image is: a pattern image has "Pat" or "pat" in its file name, a reference image "Ref" or
/// "ref". "_v2" and "_v3" name the generation of the camera that took it, which mirrors channels in its own way.
///
/// The file list may be changed by another thread than the one that acquires; the queue of raw images belongs to the
/// acquiring one. Raw images belong to the grabber and live as long as it does.
class ORX_EXPORT LxCSimFrameGrabber : public LxAFrameGrabber
{
public:
    /// What a dialog for the selection of files shows.
    struct SFileDialog
    {
        std::string title;
        std::string filter; ///< descriptions and patterns in turn, each ended by '|', the last by two
    };

    /// Asks for files. @return false where the user cancels, which leaves the list as it was
    using CFileSelector = std::function<bool(const SFileDialog& dialog, std::vector<std::string>& files)>;

    LxCSimFrameGrabber();
    LxCSimFrameGrabber(const LxCSimFrameGrabber&) = delete;
    LxCSimFrameGrabber& operator=(const LxCSimFrameGrabber&) = delete;
    ~LxCSimFrameGrabber() override;

    /// True: files need no camera.
    static bool IsThereAConnectedCamera() { return true; }

    /// Takes those of the paths whose names are names of images, sorted, loads the first one as a test, and makes the
    /// raw images. @return `eRC_ConfigFileNotFound` where there are none, `eRC_ConfigFileErrononeus` where the first
    /// one cannot be loaded, `eRC_CouldNotBeInitialized` where memory does not suffice
    EReturnCode Init(const std::vector<std::string>& files) override;

    /// With the setting `ShowFileDialogAtEverySimFGStart` asks for files and calls `Init` with them, sorted.
    /// Images count as flowing from then on, provided that `Init` has succeeded; `AcquireImageRaw` does not ask.
    /// @return as `Init`; `eRC_GeneralError` where nobody selects any. Without that setting 0
    EReturnCode Start() override;
    EReturnCode Pause() override;

    /// Frees the raw images in the queue. Those that a caller holds stay as they are, and it may still give them back.
    EReturnCode Release() override;

    /// Loads the next file. Null where it cannot be loaded or is of another kind than asked for; the next call sees
    /// the file behind it. `eLT_Any` takes all.
    /// Throws std::exception "no buffers available" where callers hold all raw images.
    CCTImage* AcquireImageRaw(ELedType type) override;

    using LxAFrameGrabber::ReEnqueueRawBuffers;

    /// Takes back raw images that `AcquireImageRaw` gave, and empties the vector. Others are ignored, with a line in
    /// the log: they stay their owner's.
    void ReEnqueueRawBuffers(std::vector<CCTImage*>& images) override;

    /// Goes back by so many images; nothing without files.
    void Rewind(int count) override;

    std::string GetSerialNumber() const override;
    int GetNrOfImgs() const override;
    EReturnCode ChangePresetShutterAsynchron(EPresetShutter) override { return eRC_OK; }

    /// Counts the hues of all images and writes them beside the last one: "All_hue.xyz" has a line "bin percent 0" for
    /// each bin of `CHueHistogram`, percent of the largest; "Otsu.xyz" draws the threshold between two classes as
    /// three vertical lines. They are height profiles for a 3D viewer.
    /// @param labelled counts only pixels that a label image calls tooth (white) or tissue (red). Label images lie in
    /// the folder "labels" beside the images, with the same names as PNG; images without one are skipped, as are files
    /// that are not of the raw type. Nothing is written unless there are pixels of both. The replay moves on by one
    /// image for each one that is not skipped
    void ExportColorData(bool labelled) override;

    /// Replaces the files while images flow. The next image is the next one of the new list, as if it had always been
    /// the list.
    void ChangeFilenameAsynchron(std::string& file);
    void ChangeFilenameAsynchron(std::vector<std::string>& files);

    /// Who is asked for files by `Start`. Without one, the environment variable LXCV_SIM_FILES names them, with ':'
    /// between two paths; where it is empty too, that counts as cancelled.
    void SetFileSelector(CFileSelector selector) { m_FileSelector = std::move(selector); }

protected:
    /// Loads the next file of the raw type into `image`, which takes its path and file name, and sets the mirroring of
    /// channels that the name asks for. Files of other types are skipped. @return whether there was one
    bool LoadImageW(CCTImage* image);

    /// The file of metadata that belongs to an image: its path up to "_ref", or else "_pat", in any case, with
    /// "_metaData.xml" behind it. @return false for a name without either; `metaData` is unchanged then
    bool GetCorrespondingMetaDataFileName(const std::string& image, std::string& metaData) const;

private:
    class CColorData;

    EReturnCode InitBySelection();
    std::vector<std::string> CopyFiles() const;

    /// Loads a file of the raw type, wherever the replay is, which moves on by one image.
    bool LoadOutOfTurn(const std::string& path, CCTImage& image);

    /// What goes with the pixels of a file: path and file name, and the mirroring of channels.
    void Describe(CCTImage& image, const std::string& path);
    void SetMirroringFor(std::string_view fileName);

    std::string m_sPath;
    std::vector<std::string> m_vImages; ///< paths
    int m_iNrOfImgs = 0;
    bool m_bInitialised = false;
    int m_iCurImg = -1; ///< index of the image loaded last; -1 before the first one
    CRawImageQueue m_Queue;
    mutable BtCriticalSection m_Lock; ///< of the list and the index
    CFileSelector m_FileSelector;
};

} // namespace LxCV
