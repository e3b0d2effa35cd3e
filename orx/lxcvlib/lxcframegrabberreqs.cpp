// Conversion of raw images, and the section text of the mounting constants.
#include "lxcframegrabberreqs.h"

#include "channelkernels.h"
#include "lxcpropertybag.h"
#include "orx/logging/logger.h"
#include "overlapkernels.h"
#include "pixelelements.h"
#include "scratchvector.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <stdexcept>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCFrameGrabberReqs");

int ToWholePixels(float shift)
{
    return ImageKernels::RoundTo<int>(static_cast<double>(shift));
}

bool IsByteColor(const CCTImage* image)
{
    return image != nullptr && image->GetDataType() == CCTImage::eIDT_BGRU8 &&
           CheckPixels(*image) == CCTImage::eRC_OK;
}

bool IsMirrorMode(int mode)
{
    return mode == CCTImage::eMM_None || mode == CCTImage::eMM_LeftRight || mode == CCTImage::eMM_UpDown;
}

/// What three calls of `CCTImage::MirrorChannel` do, in one pass.
void MirrorAtOnce(const CCTImage& in, CCTImage& out, const std::array<int, 3>& modes)
{
    using namespace ImageKernels;
    std::array<SChannelSource, 3> channels;
    std::ranges::transform(modes, channels.begin(), [](int mode) {
        return SChannelSource{0, 0, mode == CCTImage::eMM_LeftRight, mode == CCTImage::eMM_UpDown};
    });
    const SExtent extent{static_cast<std::size_t>(in.GetWidth()), static_cast<std::size_t>(in.GetHeight())};
    GatherColors(extent, ElementsOf<std::uint8_t>(in), 3, channels, ElementsOf<std::uint8_t>(out), 3);
}

bool IsFloatColor(const CCTImage* image)
{
    return image != nullptr && image->GetDataType() == CCTImage::eIDT_FLOAT32_3 &&
           CheckPixels(*image) == CCTImage::eRC_OK;
}

} // namespace

void LxCFrameGrabberReqs::Serialize(LxCCCTSerializer& serializer, const std::string& section)
{
    LxCPropertyBag bag;
    bag.addScalar(m_fRShiftCol, "RShiftCol");
    bag.addScalar(m_fRShiftRow, "RShiftRow");
    bag.addScalar(m_fRAngle, "RAngle");
    bag.addScalar(m_fRSizeFactor, "RSizeFactor");
    bag.addScalar(m_fGCenterCol, "GCenterCol");
    bag.addScalar(m_fGCenterRow, "GCenterRow");
    bag.addScalar(m_fBShiftCol, "BShiftCol");
    bag.addScalar(m_fBShiftRow, "BShiftRow");
    bag.addScalar(m_fBAngle, "BAngle");
    bag.addScalar(m_fBSizeFactor, "BSizeFactor");
    bag.addScalar(m_sSerialNumber, "SerialNumber");
    bag.serialize(serializer, section, true);
}

bool LxCFrameGrabberReqs::ComputePreliminaryLiveImages(CCTImage* in, CCTImage* out)
{
    if (in == nullptr || out == nullptr) {
        return false;
    }
    if (m_bCorrectChannelOverlap) {
        const bool isMirrored = m_iMirrorRChannel == CCTImage::eMM_LeftRight &&
                                m_iMirrorGChannel == CCTImage::eMM_UpDown &&
                                m_iMirrorBChannel == CCTImage::eMM_UpDown;
        const auto shift =
            isMirrored ? &CCTImage::ShiftAndMirrorImageChannels : &CCTImage::ShiftImageChannels;
        (in->*shift)(out, ToWholePixels(m_fRShiftCol), ToWholePixels(m_fRShiftRow),
                     ToWholePixels(m_fBShiftCol), ToWholePixels(m_fBShiftRow));
    } else if (in->ConvertToARGB8(out, false) == CCTImage::eRC_OK) {
        out->MakeOpaque(out);
    }
    if (!m_bCCTMirrorTubeOn) {
        for (int channel = 0; channel < out->GetNumChannels(); ++channel) {
            out->MirrorChannelInPlaceUInt8(channel, CCTImage::eMM_LeftRight);
        }
        out->SetType(in->GetType());
    }
    return true;
}

void LxCFrameGrabberReqs::ConvertImage(const CCTImage* in, CCTImage* out) const
{
    if (in == nullptr || out == nullptr) {
        throw std::invalid_argument("invalid input");
    }
    ConvertAligned(*in, *out);
    if (!m_bCCTMirrorTubeOn) {
        for (int channel = 0; channel < out->GetNumChannels(); ++channel) {
            out->MirrorChannelInPlaceFloat(channel, CCTImage::eMM_LeftRight);
        }
    }
    out->SetType(in->GetType());
    out->SetTimestamp(in->GetTimestamp());
    out->SetDescription(in->GetDescription());
    out->SetPathname(in->GetPathname());
}

void LxCFrameGrabberReqs::ConvertAligned(const CCTImage& in, CCTImage& out) const
{
    const bool isGray = in.GetDataType() == CCTImage::eIDT_GRAY8;
    if (!isGray && !HasMirroredChannel()) {
        ConvertUnmirrored(in, out);
        return;
    }
    // As many bytes as the type wants, all 0.
    const auto pixelSize = static_cast<std::size_t>(CCTImage::GetBytesPerPixel(in.GetDataType()));
    ScratchVector<std::byte> pixels(in.IsValid() ? static_cast<std::size_t>(in.GetSizeInPixels()) * pixelSize
                                                 : 0);
    CCTImage mirrored(in.GetWidth(), in.GetHeight(), in.GetDataType(), false, pixels.data());
    MirrorRGBChannels(&in, &mirrored, m_iMirrorRChannel, m_iMirrorGChannel, m_iMirrorBChannel);
    ConvertUnmirrored(mirrored, out);
}

void LxCFrameGrabberReqs::ConvertUnmirrored(const CCTImage& in, CCTImage& out) const
{
    if (m_bCorrectChannelOverlap && in.GetDataType() != CCTImage::eIDT_GRAY8) {
        CorrectChannelOverlap(&in, &out);
    } else {
        in.Convert(&out, false);
    }
}

bool LxCFrameGrabberReqs::HasMirroredChannel() const
{
    return m_iMirrorRChannel != CCTImage::eMM_None || m_iMirrorGChannel != CCTImage::eMM_None ||
           m_iMirrorBChannel != CCTImage::eMM_None;
}

void LxCFrameGrabberReqs::MirrorRGBChannels(const CCTImage* in, CCTImage* out, int red, int green,
                                            int blue) const
{
    if (in == nullptr || in->GetDataType() != CCTImage::eIDT_BGRU8) {
        s_Logger.Error(L"MirrorRGBChannels: wrong image date type!");
        return;
    }
    if (in != out && IsByteColor(in) && IsByteColor(out) && in->DoDimMatchWith(*out) && IsMirrorMode(red) &&
        IsMirrorMode(green) && IsMirrorMode(blue)) {
        MirrorAtOnce(*in, *out, {blue, green, red});
        return;
    }
    in->MirrorChannel(out, LxCColorValueFloat::eBlue, blue);
    in->MirrorChannel(out, LxCColorValueFloat::eGreen, green);
    in->MirrorChannel(out, LxCColorValueFloat::eRed, red);
}

void LxCFrameGrabberReqs::CorrectChannelOverlap(const CCTImage* in, CCTImage* out) const
{
    if (!IsByteColor(in) || !IsFloatColor(out) || !in->DoDimMatchWith(*out)) {
        s_Logger.Error(L"CorrectChannelOverlap: invalid parameters\n");
        return;
    }
    using namespace ImageKernels;
    const SChannelPlacement blue =
        PlaceChannel(m_fBAngle, m_fBSizeFactor, m_fGCenterCol, m_fGCenterRow, m_fBShiftCol, m_fBShiftRow);
    const SChannelPlacement red =
        PlaceChannel(m_fRAngle, m_fRSizeFactor, m_fGCenterCol, m_fGCenterRow, m_fRShiftCol, m_fRShiftRow);
    const SExtent extent{static_cast<std::size_t>(in->GetWidth()), static_cast<std::size_t>(in->GetHeight())};
    AlignChannels(extent, ElementsOf<std::uint8_t>(*in), blue, red, ElementsOf<float>(*out));
    out->SetType(in->GetType());
}

void LxCFrameGrabberReqs::SetMirrorChannelsSettings(bool correctOverlap, int red, int green, int blue)
{
    m_bCorrectChannelOverlap = correctOverlap;
    m_iMirrorRChannel = red;
    m_iMirrorGChannel = green;
    m_iMirrorBChannel = blue;
}

} // namespace LxCV
