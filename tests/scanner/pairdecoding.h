// From rendered pairs to points and their accuracy, for tests of the decoding stage.
#pragma once

#include "scanner/acceptance/accuracy.h"
#include "scanner/decoder/decoder.h"
#include "tests/scanner/testmodel.h"

namespace scannertest {

/// An image's pixels as the library's image.
inline LxCV::CCTImage Wrap(device::ImageF& image)
{
    return {image.width, image.height, LxCV::CCTImage::eIDT_FLOAT32_3, false, image.data.data()};
}

/// Takes a pair through all steps up to the points.
inline void DecodePair(decoder::Decoder& decoder, const LxCV::CCTImage& reference,
                       const LxCV::CCTImage& pattern)
{
    decoder.ComputeSignal(reference, pattern);
    decoder.FindEdges();
    decoder.ReadCodeWords();
    decoder.TraceEdges();
    decoder.Triangulate();
}

/// How well a device's pair is measured.
/// @param reference instead of that of the pair
inline acceptance::Accuracy MeasurePair(const device::VirtualDevice& camera, const device::Scene& scene,
                                        device::RenderedPair& pair, device::ImageF& reference,
                                        const decoder::DecoderConfig& config)
{
    const auto model = LoadModel(camera);
    decoder::Decoder decoder(*model, config);
    DecodePair(decoder, Wrap(reference), Wrap(pair.pattern));
    return acceptance::CompareWithTruth(camera, scene, pair.truth, decoder.GetRegion(), decoder.GetPoints());
}

} // namespace scannertest
