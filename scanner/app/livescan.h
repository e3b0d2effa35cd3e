// `lumorad scan` in live operation.
#pragma once

#include "scanner/acquisition/rendering.h"
#include "scanner/app/scanoptions.h"

#include <cstddef>
#include <iosfwd>
#include <string>

namespace app {

struct LiveOptions : ScanOptions
{
    std::string grabber; ///< `kVirtualSource`, `kSimulatedSource`, or empty for files that are measured once
    std::size_t frames = 10;
    acquisition::PairOptions pair; ///< what the virtual source sees
};

/// Decodes pairs of an image source and tells of each, of all, and of the files that the last one is written to.
/// @throws std::runtime_error where the source delivers nothing, or a file cannot be read or written, and why
void RunLiveScan(const LiveOptions& options, std::ostream& out);

} // namespace app
