// What a file is and holds, told by its content.
#pragma once

#include <nlohmann/json.hpp>

#include <array>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace app {

/// The longest file that is looked into.
inline constexpr std::size_t kLongestFile = std::size_t{512} << 20;

struct FileFacts
{
    std::string kind;
    nlohmann::ordered_json facts =
        nlohmann::ordered_json::object(); ///< texts, numbers, bools and lists of these
    std::size_t bytes = 0;                ///< of the file; 0 for a content that comes from none
};

/// A file that was read.
struct FileView
{
    std::filesystem::path name; ///< plays a part only where the content leaves a doubt; need not exist
    std::string_view content;   ///< not empty

    /// Whether the name ends so, in upper or lower case.
    bool HasSuffix(std::string_view suffix) const;
};

/// Tells what a file is. The content is hostile: counts are held against what it can hold before memory is taken.
/// @throws std::runtime_error telling what is wrong with it, without the file's name
FileFacts TellContent(const FileView& file);

/// The same of a file on the disk.
/// @param limit bytes; a longer file is refused, and no more of it is read
/// @throws std::runtime_error naming the file and what is wrong with it
FileFacts TellFile(const std::filesystem::path& file, std::size_t limit = kLongestFile);

// What follows tells files of its kinds, and gives nothing for others. All throw std::runtime_error for a file that is
// of the kind but damaged.

/// TIFF, PNG, JPEG, BMP, PGM, PFM, images as text, images in an archive.
std::optional<FileFacts> TellImage(const FileView& file);

/// STL, PLY, OBJ.
std::optional<FileFacts> TellMesh(const FileView& file);

/// 3D files, surface files, records of colour calibrations.
std::optional<FileFacts> TellRecord(const FileView& file);

/// Encrypted containers, memories of devices, archives of targets.
std::optional<FileFacts> TellContainer(const FileView& file);

/// The text of an archive of targets.
std::optional<FileFacts> TellTargetsText(std::string_view text);

/// Section texts: models, data files of targets, shading and others, and texts of archives of targets.
std::optional<FileFacts> TellSections(const FileView& file);

/// Marks of calibrations and other texts of numbers, JSON, HTML, XML, settings.
std::optional<FileFacts> TellText(const FileView& file);

/// Points as facts: their least and greatest coordinates, and how many are nowhere.
class Extent
{
public:
    void Add(const std::array<double, 3>& point);

    /// Points whose coordinates are all finite.
    std::size_t GetPoints() const { return m_points; }

    /// Adds `least_mm` and `greatest_mm` of the points that are finite, where there are any, and `not_finite`, the count
    /// of the others, where there are any.
    void AddTo(nlohmann::ordered_json& facts) const;

private:
    std::size_t m_points = 0;
    std::size_t m_notFinite = 0;
    std::array<double, 3> m_least{};
    std::array<double, 3> m_greatest{};
};

} // namespace app
