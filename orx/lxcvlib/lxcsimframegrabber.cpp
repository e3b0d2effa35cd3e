// Replay of image files, and the histogram of their hues.
#include "lxcsimframegrabber.h"

#include "huehistogram.h"
#include "lxcframegrabberreqs.h"
#include "lxclxcvlibsettings.h"
#include "orx/logging/logger.h"
#include "orx/platform/paths.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCSimFrameGrabber");

constexpr const char* c_sDriverName = "CSimFrameGrabber";
constexpr const char* c_sFilesVariable = "LXCV_SIM_FILES";

bool Holds(std::string_view text, std::string_view part)
{
    return text.find(part) != std::string_view::npos;
}

/// Whether an image of this file name serves where `type` is asked for.
bool Suits(std::string_view fileName, LxAFrameGrabber::ELedType type)
{
    const bool hasPat = Holds(fileName, "Pat") || Holds(fileName, "pat");
    const bool hasRef = Holds(fileName, "Ref") || Holds(fileName, "ref");
    switch (type) {
    case LxAFrameGrabber::eLT_Any:
        return true;
    case LxAFrameGrabber::eLT_Pat:
        return hasPat && !hasRef;
    case LxAFrameGrabber::eLT_Ref:
        return hasRef && !hasPat;
    }
    return hasPat != hasRef;
}

/// The paths in the environment variable; false where it is empty.
bool SelectByEnvironment(std::vector<std::string>& files)
{
    const std::string text = platform::GetEnvironmentText(c_sFilesVariable);
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find(':', begin), text.size());
        if (end > begin) {
            files.push_back(text.substr(begin, end - begin));
        }
        begin = end + 1;
    }
    return !files.empty();
}

bool WriteText(const std::string& path, const std::string& text)
{
    std::ofstream file(platform::NativePath(path), std::ios::binary);
    file << text;
    file.close();
    if (!file) {
        s_Logger.Error(L"CSimFramegrabber: failed to write %s!\n", path);
    }
    return !file.fail();
}

/// Switches the overlap correction on and sets the mirror modes, unless they are so: images of one camera may then be
/// converted by other threads meanwhile, which only read.
void CorrectOverlap(LxCFrameGrabberReqs& reqs, int red, int green, int blue)
{
    const bool isSet = reqs.GetCorrectChannelOverlap() && reqs.GetMirrorRChannel() == red &&
                       reqs.GetMirrorGChannel() == green && reqs.GetMirrorBChannel() == blue;
    if (!isSet) {
        reqs.SetMirrorChannelsSettings(true, red, green, blue);
    }
}

/// The path up to and including its last separator.
std::string FolderWithSeparator(const std::string& path)
{
    return path.substr(0, path.size() - platform::FileNameOf(path).size());
}

} // namespace

/// What `ExportColorData` gathers.
class LxCSimFrameGrabber::CColorData
{
public:
    explicit CColorData(bool labelled) : m_bLabelled(labelled) {}

    /// The label image of an image; nothing where there is none.
    std::optional<CCTImage> LoadLabels(const std::string& image)
    {
        const std::string folder = FolderWithSeparator(image);
        if (folder != m_sFolder || !m_bHasFolder.has_value()) {
            std::error_code error;
            m_bHasFolder = std::filesystem::is_directory(platform::NativePath(folder + "labels\\"), error);
            m_sFolder = folder;
            m_bAnyFolder = m_bAnyFolder || *m_bHasFolder;
        }
        if (!*m_bHasFolder) {
            return std::nullopt;
        }
        const std::string name(platform::FileNameOf(image));
        const std::string path = folder + "labels\\" + name.substr(0, name.rfind('.') + 1) + "png";
        std::error_code error;
        CCTImage labels;
        if (!std::filesystem::is_regular_file(platform::NativePath(path), error) ||
            labels.LoadARGB(path) != CCTImage::eRC_OK) {
            return std::nullopt;
        }
        return labels;
    }

    /// Counts a float colour image, by labels where there are some. Labels of another size count nothing.
    void Add(const CCTImage& colors, const CCTImage* labels)
    {
        if (labels != nullptr &&
            (labels->GetWidth() != colors.GetWidth() || labels->GetHeight() != colors.GetHeight())) {
            return;
        }
        for (int row = 0; row < colors.GetHeight(); ++row) {
            for (int col = 0; col < colors.GetWidth(); ++col) {
                LxCFloat3 color;
                colors.GetPixelFast(col, row, &color);
                AddPixel(color, labels == nullptr
                                    ? c_uiToothLabel
                                    : static_cast<std::uint32_t>(labels->GetInt32PixelFast(col, row)));
            }
        }
    }

    void Write(const std::string& folder) const
    {
        if (m_bLabelled) {
            s_Logger.Debug(L"CSimFramegrabber: Tooth %s, Tissue %s pixels\n", std::to_string(m_aPixels[0]),
                           std::to_string(m_aPixels[1]));
        } else {
            s_Logger.Debug(L"CSimFramegrabber: All %s pixels\n", std::to_string(m_aPixels[0]));
        }
        const bool isWhole =
            m_bLabelled ? m_bAnyFolder && m_aPixels[0] > 0 && m_aPixels[1] > 0 : m_aPixels[0] > 0;
        if (isWhole && WriteText(folder + "All_hue.xyz", HueText())) {
            WriteText(folder + "Otsu.xyz", OtsuText());
        }
    }

private:
    static constexpr std::uint32_t c_uiColors = 0x00FFFFFF;
    static constexpr std::uint32_t c_uiTissueLabel = 0x00FF0000;
    static constexpr std::uint32_t c_uiToothLabel = 0x00FFFFFF;

    void AddPixel(const LxCFloat3& color, std::uint32_t label)
    {
        const std::uint32_t which = label & c_uiColors;
        if (which == c_uiToothLabel || which == c_uiTissueLabel) {
            m_Histogram.Add(color);
            ++m_aPixels[which == c_uiToothLabel ? 0 : 1];
        }
    }

    std::string HueText() const
    {
        const auto peak = static_cast<double>(std::max<std::int64_t>(m_Histogram.GetLargestCount(), 1));
        std::string text;
        for (int bin = 0; bin < CHueHistogram::c_iBins; ++bin) {
            const double percent = static_cast<double>(m_Histogram.GetCount(bin)) * 100.0 / peak;
            text += std::to_string(bin) + " " + std::to_string(static_cast<int>(percent)) + " 0\n";
        }
        return text;
    }

    std::string OtsuText() const
    {
        constexpr int height = 100;
        constexpr int distance = 10;
        const int threshold = m_Histogram.GetOtsuThreshold();
        std::string text;
        for (int y = 0; y < height; ++y) {
            for (const int x : {threshold - distance, threshold, threshold + distance}) {
                text += std::to_string(x) + " " + std::to_string(y) + " 0\n";
            }
        }
        return text;
    }

    bool m_bLabelled;
    std::string m_sFolder;            ///< that was looked at last
    std::optional<bool> m_bHasFolder; ///< whether it has a folder of labels
    bool m_bAnyFolder = false;
    std::array<std::int64_t, 2> m_aPixels{}; ///< of tooth, or of all; of tissue
    CHueHistogram m_Histogram;
};

LxCSimFrameGrabber::LxCSimFrameGrabber() : LxAFrameGrabber(c_sDriverName, true)
{
    auto reqs = std::make_shared<LxCFrameGrabberReqs>();
    reqs->SetMirrorChannelsSettings(false, CCTImage::eMM_None, CCTImage::eMM_None, CCTImage::eMM_None);
    SetReqs(std::move(reqs));
}

LxCSimFrameGrabber::~LxCSimFrameGrabber() = default;

LxAFrameGrabber::EReturnCode LxCSimFrameGrabber::Init(const std::vector<std::string>& files)
{
    const std::lock_guard lock(m_Lock);
    Release();
    m_sPath.clear();
    m_vImages.clear();
    m_iCurImg = -1;
    std::ranges::copy_if(files, std::back_inserter(m_vImages),
                         [](const std::string& file) { return CCTImage::IsValidFilename(file); });
    m_iNrOfImgs = static_cast<int>(m_vImages.size());
    if (m_vImages.empty()) {
        s_Logger.Error(L"CSimFramegrabber: no valid images found!\n");
        return eRC_ConfigFileNotFound;
    }
    std::ranges::sort(m_vImages);
    try {
        const CCTImage test(m_vImages.front());
    } catch (const std::exception&) {
        s_Logger.Error(L"CSimFramegrabber: failed to load image %s!\n", m_vImages.front());
        return eRC_ConfigFileErrononeus;
    }
    s_Logger.Debug(L"CSimFramegrabber: Path is %s, found %d images\n", m_vImages.front(), m_iNrOfImgs);
    try {
        m_Queue.Fill(sc_iQueueSize, GetWidthRaw(), GetHeightRaw(), GetImgTypeRaw());
    } catch (const std::exception& error) {
        s_Logger.Error(L"CSimFramegrabber: %s\n", error.what());
        Release();
        return eRC_CouldNotBeInitialized;
    }
    m_bInitialised = true;
    return eRC_OK;
}

LxAFrameGrabber::EReturnCode LxCSimFrameGrabber::Start()
{
    const EReturnCode result =
        LxCLxCVLibSettings::IsShowFileDialogAtEverySimFGStart() ? InitBySelection() : eRC_OK;
    if (result == eRC_OK && m_bInitialised) {
        GetPauseEvent().Reset();
        GetActiveEvent().Set();
    }
    return result;
}

LxAFrameGrabber::EReturnCode LxCSimFrameGrabber::InitBySelection()
{
    const SFileDialog dialog{"Select files for the framegrabber (" + GetDriverName() + ")",
                             "All files|*.*|Ref and Pat images|*_Pat*;*_Ref*|Only Ref images|*_Ref*||"};
    std::vector<std::string> files;
    if (!(m_FileSelector ? m_FileSelector(dialog, files) : SelectByEnvironment(files))) {
        return eRC_GeneralError;
    }
    std::ranges::sort(files);
    return Init(files);
}

LxAFrameGrabber::EReturnCode LxCSimFrameGrabber::Pause()
{
    GetActiveEvent().Reset();
    GetPauseEvent().Set();
    return eRC_OK;
}

LxAFrameGrabber::EReturnCode LxCSimFrameGrabber::Release()
{
    Pause();
    m_bInitialised = false;
    m_Queue.Clear();
    return eRC_OK;
}

CCTImage* LxCSimFrameGrabber::AcquireImageRaw(ELedType type)
{
    CCTImage* const image = m_Queue.Lend();
    if (image == nullptr) {
        throw std::runtime_error("no buffers available");
    }
    try {
        if (LoadImageW(image) && Suits(image->GetDescription(), type)) {
            return image;
        }
    } catch (const std::exception& error) {
        s_Logger.Error(L"CSimFramegrabber: %s\n", error.what());
    }
    m_Queue.GiveBack(image);
    return nullptr;
}

void LxCSimFrameGrabber::ReEnqueueRawBuffers(std::vector<CCTImage*>& images)
{
    for (const CCTImage* const image : images) {
        if (!m_Queue.GiveBack(image)) {
            s_Logger.Error(L"CSimFramegrabber: an image that is not lent cannot be given back!\n");
        }
    }
    images.clear();
}

bool LxCSimFrameGrabber::LoadImageW(CCTImage* image)
{
    const std::lock_guard lock(m_Lock);
    if (m_vImages.empty() || image == nullptr) {
        return false;
    }
    for (int tries = 1;; ++tries) {
        m_iCurImg = (m_iCurImg + 1) % m_iNrOfImgs;
        if (image->Load(m_vImages[static_cast<std::size_t>(m_iCurImg)]) != CCTImage::eRC_OK ||
            tries > m_iNrOfImgs) {
            return false;
        }
        if (image->GetDataType() == GetImgTypeRaw()) {
            break;
        }
    }
    Describe(*image, m_vImages[static_cast<std::size_t>(m_iCurImg)]);
    return true;
}

void LxCSimFrameGrabber::Describe(CCTImage& image, const std::string& path)
{
    image.SetPathname(path);
    image.SetDescription(std::string(platform::FileNameOf(path)));
    SetMirroringFor(image.GetDescription());
}

bool LxCSimFrameGrabber::LoadOutOfTurn(const std::string& path, CCTImage& image)
{
    const std::lock_guard lock(m_Lock);
    if (LoadImageW(&image) && image.GetPathname() == path) {
        return true;
    }
    if (image.Load(path) != CCTImage::eRC_OK || image.GetDataType() != GetImgTypeRaw()) {
        return false;
    }
    Describe(image, path);
    return true;
}

/// The second generation of cameras has its channels apart, the third one mirrors them as well.
void LxCSimFrameGrabber::SetMirroringFor(std::string_view fileName)
{
    if (Holds(fileName, "_v2")) {
        CorrectOverlap(*GetReqs(), CCTImage::eMM_None, CCTImage::eMM_None, CCTImage::eMM_None);
    } else if (Holds(fileName, "_v3")) {
        CorrectOverlap(*GetReqs(), CCTImage::eMM_LeftRight, CCTImage::eMM_UpDown, CCTImage::eMM_UpDown);
    }
}

void LxCSimFrameGrabber::Rewind(int count)
{
    const std::lock_guard lock(m_Lock);
    if (m_iNrOfImgs > 0) {
        const std::int64_t images = m_iNrOfImgs;
        m_iCurImg = static_cast<int>((images - count % images + m_iCurImg) % images);
    }
}

std::string LxCSimFrameGrabber::GetSerialNumber() const
{
    return GetReqs()->GetSerialNumber();
}

int LxCSimFrameGrabber::GetNrOfImgs() const
{
    const std::lock_guard lock(m_Lock);
    return m_iNrOfImgs;
}

void LxCSimFrameGrabber::ChangeFilenameAsynchron(std::string& file)
{
    const std::lock_guard lock(m_Lock);
    m_vImages.assign(1, file);
    m_iNrOfImgs = 1;
}

void LxCSimFrameGrabber::ChangeFilenameAsynchron(std::vector<std::string>& files)
{
    const std::lock_guard lock(m_Lock);
    m_vImages = files;
    m_iNrOfImgs = static_cast<int>(m_vImages.size());
}

std::vector<std::string> LxCSimFrameGrabber::CopyFiles() const
{
    const std::lock_guard lock(m_Lock);
    return m_vImages;
}

bool LxCSimFrameGrabber::GetCorrespondingMetaDataFileName(const std::string& image,
                                                          std::string& metaData) const
{
    std::string lower = image;
    std::ranges::transform(lower, lower.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    std::size_t place = lower.find("_ref");
    if (place == std::string::npos) {
        place = lower.find("_pat");
    }
    if (place == std::string::npos) {
        return false;
    }
    metaData = image.substr(0, place) + "_metaData.xml";
    return true;
}

void LxCSimFrameGrabber::ExportColorData(bool labelled)
{
    CColorData data(labelled);
    const std::vector<std::string> files = CopyFiles();
    for (const std::string& file : files) {
        std::optional<CCTImage> labels;
        if (labelled) {
            labels = data.LoadLabels(file);
            if (!labels.has_value()) {
                continue;
            }
        }
        CCTImage image;
        if (!LoadOutOfTurn(file, image)) {
            continue;
        }
        CCTImage colors(GetWidth(), GetHeight(), CCTImage::eIDT_FLOAT32_3, 0.0F);
        GetReqs()->ConvertImage(&image, &colors);
        data.Add(colors, labels.has_value() ? &*labels : nullptr);
    }
    if (!files.empty()) {
        data.Write(FolderWithSeparator(files.back()));
    }
}

} // namespace LxCV
