#include "scanner/acquisition/virtualframegrabber.h"

#include "lxccctencryptionutils.h"
#include "orx/logging/logger.h"
#include "orx/platform/paths.h"
#include "scanner/acquisition/numbertext.h"
#include "scanner/acquisition/posetext.h"
#include "scanner/acquisition/rawimages.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <exception>
#include <new>
#include <span>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace acquisition {

using LxCV::CCTImage;

namespace {

const Logging::CLogger s_logger(L"ORX.Lumorad.VirtualFrameGrabber");

constexpr const char* kDriverName = "VirtualFrameGrabber";
constexpr float kWhite = 255.0F;

void CopyPixels(std::span<const float> from, CCTImage& image)
{
    if (image.GetDataType() == CCTImage::eIDT_FLOAT32_3) {
        std::ranges::copy(from, static_cast<float*>(image.GetBuffer()));
        return;
    }
    // Grey levels are whole numbers here; what is no number, from a device without sense, becomes black.
    std::ranges::transform(from, static_cast<std::uint8_t*>(image.GetBuffer()), [](float grey) {
        return grey > 0.0F ? static_cast<std::uint8_t>(std::min(grey, kWhite)) : std::uint8_t{0};
    });
}

} // namespace

/// The arguments of `Init`.
struct VirtualFrameGrabber::Arguments
{
    /// @return false for an argument that makes no sense
    bool Read(const std::string& argument)
    {
        const std::size_t separator = argument.find('=');
        if (separator == std::string::npos) {
            return false;
        }
        const std::string_view key = std::string_view(argument).substr(0, separator);
        const std::string value = argument.substr(separator + 1);
        if (key == "scene") {
            options.scene = value;
            const std::vector<std::string> names = device::SceneNames();
            return std::ranges::find(names, value) != names.end();
        }
        if (key == "seed") {
            return ReadNumber(value, options.seed);
        }
        if (key == "noise") {
            return ReadNumber(value, options.noise) && options.noise >= 0.0 && options.noise <= kLargestNoise;
        }
        if (key == "mesh") {
            Mesh().file = value;
            return !value.empty();
        }
        if (key == "pose") {
            return ReadPose(value, Mesh().pose);
        }
        if (key == "scale") {
            return ReadNumber(value, Mesh().pose.scale) && Mesh().pose.scale > 0.0 &&
                   std::isfinite(Mesh().pose.scale);
        }
        if (key == "memory") {
            memory = value;
            return !value.empty();
        }
        return false;
    }

    device::MeshSource& Mesh() { return options.mesh ? *options.mesh : options.mesh.emplace(); }

    /// Whether the arguments go together.
    bool AreWhole() const { return !options.mesh || !options.mesh->file.empty(); }

    PairOptions options;
    std::string memory; ///< path text; empty for none
};

VirtualFrameGrabber::VirtualFrameGrabber(const device::DeviceParameters& parameters)
    : LxAFrameGrabber(kDriverName, true), m_device(std::make_shared<const device::VirtualDevice>(parameters))
{}

LxCV::LxAFrameGrabber::EReturnCode VirtualFrameGrabber::Init(const std::vector<std::string>& arguments)
{
    Release();
    m_fault.clear();
    Arguments read;
    for (const std::string& argument : arguments) {
        if (!read.Read(argument)) {
            m_fault = "the argument " + argument + " makes no sense";
            s_logger.Error(L"VirtualFrameGrabber: %s\n", m_fault);
            return eRC_ConfigFileErrononeus;
        }
    }
    if (!read.AreWhole()) {
        m_fault = "pose and scale want a mesh";
        s_logger.Error(L"VirtualFrameGrabber: %s\n", m_fault);
        return eRC_ConfigFileErrononeus;
    }
    m_memory.Close();
    if (!read.memory.empty() && !m_memory.Open(platform::NativePath(read.memory))) {
        m_fault = read.memory + " is no memory of a device";
        s_logger.Error(L"VirtualFrameGrabber: %s\n", m_fault);
        return eRC_ConfigFileErrononeus;
    }
    try {
        Open(read.options);
    } catch (const std::exception& error) {
        m_fault = error.what();
        s_logger.Error(L"VirtualFrameGrabber: %s\n", m_fault);
        Release();
        return eRC_CouldNotBeInitialized;
    }
    return eRC_OK;
}

void VirtualFrameGrabber::Open(const PairOptions& options)
{
    const device::LensParameters& camera = m_device->Parameters().camera;
    DescribeRawImages(camera.width, camera.height, options.noise, *GetReqs());
    m_queue.Fill(sc_iQueueSize, GetWidthRaw(), GetHeightRaw(), GetImgTypeRaw());
    m_lastKind = eLT_Pat;
    m_frames = 0;
    SetRendering(std::make_shared<const Rendering>(Render(m_device, options)));
}

void VirtualFrameGrabber::SetRendering(std::shared_ptr<const Rendering> rendering)
{
    m_delivered = {};
    const std::lock_guard lock(m_lock);
    m_rendering.swap(rendering);
}

std::shared_ptr<const Rendering> VirtualFrameGrabber::GetRendering() const
{
    const std::lock_guard lock(m_lock);
    return m_rendering;
}

LxCV::LxAFrameGrabber::EReturnCode VirtualFrameGrabber::Start()
{
    if (GetRendering() == nullptr) {
        return eRC_CouldNotBeInitialized;
    }
    GetPauseEvent().Reset();
    GetActiveEvent().Set();
    return eRC_OK;
}

LxCV::LxAFrameGrabber::EReturnCode VirtualFrameGrabber::Pause()
{
    GetActiveEvent().Reset();
    GetPauseEvent().Set();
    return eRC_OK;
}

LxCV::LxAFrameGrabber::EReturnCode VirtualFrameGrabber::Release()
{
    Pause();
    m_queue.Clear();
    SetRendering(nullptr);
    return eRC_OK;
}

LxCV::LxAFrameGrabber::ELedType VirtualFrameGrabber::KindOf(ELedType type)
{
    if (type == eLT_Pat || type == eLT_Ref) {
        return type;
    }
    switch (GetLEDSequence()) {
    case eLS_Ref:
        return eLT_Ref;
    case eLS_Pat:
        return eLT_Pat;
    default:
        return m_lastKind == eLT_Ref ? eLT_Pat : eLT_Ref;
    }
}

CCTImage* VirtualFrameGrabber::AcquireImageRaw(ELedType type)
{
    if (!GetActiveEvent().IsSet()) {
        return nullptr;
    }
    CCTImage* const image = m_queue.Lend();
    if (image == nullptr) {
        s_logger.Error(L"VirtualFrameGrabber: callers hold all raw images\n");
        throw std::runtime_error("no buffers available");
    }
    try {
        Deliver(KindOf(type), *image);
        return image;
    } catch (const std::exception& error) {
        s_logger.Error(L"VirtualFrameGrabber: %s\n", error.what());
    }
    m_queue.GiveBack(image);
    return nullptr;
}

void VirtualFrameGrabber::Deliver(ELedType kind, CCTImage& image)
{
    bool& delivered = m_delivered[kind == eLT_Ref ? 1 : 0];
    if (delivered) {
        const std::shared_ptr<const Rendering> last = GetRendering();
        SetRendering(std::make_shared<const Rendering>(RenderAgain(*last, last->options.seed + 1)));
    }
    const std::shared_ptr<const Rendering> rendering = GetRendering();
    const device::ImageF& source = kind == eLT_Ref ? rendering->pair.reference : rendering->pair.pattern;
    // An image that came back after `Release` may be of another size.
    if (image.GetWidth() != source.width || image.GetHeight() != source.height ||
        image.GetDataType() != GetImgTypeRaw()) {
        if (image.Resize(source.width, source.height, GetImgTypeRaw()) != CCTImage::eRC_OK) {
            throw std::bad_alloc();
        }
    }
    CopyPixels(source.data, image);
    delivered = true;
    m_lastKind = kind;
    image.SetType(kind == eLT_Ref ? sc_eReferenceImage : sc_ePatternImage);
    image.SetTimestamp(static_cast<std::uint32_t>(++m_frames));
    const PairOptions& options = rendering->options;
    image.SetDescription(options.scene + "_" + std::to_string(options.seed) +
                         (kind == eLT_Ref ? "_Ref" : "_Pat"));
}

void VirtualFrameGrabber::ReEnqueueRawBuffers(std::vector<CCTImage*>& images)
{
    for (const CCTImage* const image : images) {
        if (!m_queue.GiveBack(image)) {
            s_logger.Error(L"VirtualFrameGrabber: an image that is not lent cannot be given back\n");
        }
    }
    images.clear();
}

void VirtualFrameGrabber::GetMinMaxShutterTime(float& minimum, float& maximum) const
{
    minimum = sc_iMinShutterTimeRef;
    maximum = sc_iMaxShutterTimeRefFlash;
}

LxCV::LxAFrameGrabber::EReturnCode VirtualFrameGrabber::ChangePresetShutterAsynchron(EPresetShutter preset)
{
    SetToNormSettings(preset, GetPresetGain());
    return eRC_OK;
}

double VirtualFrameGrabber::ReadFPGATemperature() const
{
    constexpr double kAmbient = 25.0;       // degrees Celsius
    constexpr double kWarming = 20.0;       // degrees Celsius
    constexpr double kFramesToHalf = 500.0; // images until half of the warming
    if (GetRendering() == nullptr) {
        return sc_dDummyTemperatur;
    }
    const auto frames = static_cast<double>(m_frames.load());
    return kAmbient + kWarming * (frames / (frames + kFramesToHalf));
}

bool VirtualFrameGrabber::WriteIniFileToDevice(std::stringstream& text)
{
    std::ostringstream container;
    if (GetRendering() == nullptr || !LxCV::LxCCCTEncryptionUtils::EncryptAndCompress(text, container)) {
        return false;
    }
    // The text was too big where nothing was written.
    if (container.view().empty() || !m_memory.Write(container.view())) {
        s_logger.Error(L"VirtualFrameGrabber: the settings file could not be stored\n");
        return false;
    }
    return true;
}

bool VirtualFrameGrabber::ReadIniFileFromDevice(std::stringstream& text)
{
    if (!IsThereAnIniFileOnDevice()) {
        return false;
    }
    std::istringstream container{std::string(m_memory.GetContent())};
    return LxCV::LxCCCTEncryptionUtils::DecryptAndDecompress(text, container);
}

bool VirtualFrameGrabber::IsThereAnIniFileOnDevice()
{
    return GetRendering() != nullptr && m_memory.GetContent().front() != DeviceMemory::kErased;
}

bool VirtualFrameGrabber::ReadAccelerometer(int& x, int& y, int& z)
{
    x = 0;
    y = 0;
    z = 0;
    if (GetRendering() == nullptr) {
        return false;
    }
    constexpr double kThousandthsOfG = 1000.0;
    const device::Mat3 cameraFromWorld = device::RotationOf(m_device->Parameters().cameraFromWorld);
    const device::Vec3 gravity = cameraFromWorld * device::Vec3{0.0, 0.0, kThousandthsOfG};
    x = static_cast<int>(std::lround(gravity.x));
    y = static_cast<int>(std::lround(gravity.y));
    z = static_cast<int>(std::lround(gravity.z));
    return true;
}

} // namespace acquisition
