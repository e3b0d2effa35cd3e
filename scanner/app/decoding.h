// The steps of the decoding stage in their order.
#pragma once

#include "scanner/acquisition/imagepair.h"
#include "scanner/decoder/decoder.h"

namespace app {

/// Takes a pair through a decoder, up to the record.
/// @param run called with the name of each step and the step, which it is to call
/// @throws what the decoder throws
template <typename Run>
void Decode(decoder::Decoder& decoder, const acquisition::ImagePair& images, Run&& run)
{
    run("remove texture", [&] { decoder.ComputeSignal(images.reference, images.pattern); });
    run("find edges", [&] { decoder.FindEdges(); });
    run("read code words", [&] { decoder.ReadCodeWords(); });
    run("trace edges", [&] { decoder.TraceEdges(); });
    run("triangulate", [&] { decoder.Triangulate(); });
    run("deliver", [&] { decoder.Deliver(images.reference); });
}

} // namespace app
