// The image sources that the program measures with.
#pragma once

#include "lxcsimframegrabber.h"
#include "scanner/acquisition/rendering.h"
#include "scanner/acquisition/virtualframegrabber.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace app {

/// The names of the sources: the virtual device itself, and the replay of its images from files.
inline constexpr const char* kVirtualSource = "virtual";
inline constexpr const char* kSimulatedSource = "simulated";

/// @throws std::runtime_error if the device does not start
std::unique_ptr<acquisition::VirtualFrameGrabber> OpenVirtual(const acquisition::PairOptions& options);

/// Raw images of a replay.
struct RawFormat
{
    int width;    ///< pixels
    int height;   ///< pixels
    bool isFloat; ///< colours of floats, not of bytes
};

/// The source that replays image files of one size and type over and over.
/// @param files whose names tell reference and pattern images
/// @throws std::runtime_error naming the first file if they cannot be replayed
std::unique_ptr<LxCV::LxCSimFrameGrabber> OpenReplay(const RawFormat& format,
                                                     const std::vector<std::filesystem::path>& files);

/// The source that replays files of one pair.
/// @param files as `WriteReplayFiles` gives them
/// @throws std::runtime_error naming the first file if they cannot be replayed
std::unique_ptr<LxCV::LxCSimFrameGrabber> OpenReplay(const acquisition::Rendering& rendering,
                                                     const std::vector<std::filesystem::path>& files);

/// The files in the folder `out` that hold a pair exactly. With noise these are the pictures that `WriteRendering` has
/// written; without it reference.tif and pattern.tif, since grey levels are not whole numbers then, which are written
/// here.
/// @throws std::runtime_error naming the file that cannot be written
std::vector<std::filesystem::path> WriteReplayFiles(const acquisition::Rendering& rendering,
                                                    const std::filesystem::path& out);

} // namespace app
