// Formats of scans by suffix.
#include "scanner/app/scanfiles.h"

#include "lxsscandatacct.h"
#include "scanner/app/filecontent.h"
#include "scanner/app/recordsurface.h"

#include <algorithm>
#include <array>
#include <limits>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include <stdlib.h> // NOLINT(modernize-deprecated-headers): mkdtemp

namespace app {

namespace {

struct ScanFormat
{
    std::string_view suffix;
    void (*write)(const std::filesystem::path& file, const ScanContent& scan);
};

constexpr std::array<ScanFormat, 4> kFormats{{
    {".ply", [](const std::filesystem::path& file,
                const ScanContent& scan) { WritePly(file, scan.cloud.points, scan.cloud.normals); }},
    {".3d",
     [](const std::filesystem::path& file, const ScanContent& scan) { Write3DFile(scan.record, file); }},
    {".stl", [](const std::filesystem::path& file,
                const ScanContent& scan) { WriteStl(file, SurfaceOf(scan.record)); }},
    {".xyz",
     [](const std::filesystem::path& file, const ScanContent& scan) { WriteXyz(file, scan.cloud.points); }},
}};

const ScanFormat* FormatOf(const std::filesystem::path& file)
{
    const auto* const format = std::ranges::find(kFormats, LowerSuffix(file), &ScanFormat::suffix);
    return format == kFormats.end() ? nullptr : format;
}

/// A new folder for files that are on their way.
class WorkFolder
{
public:
    WorkFolder()
    {
        std::error_code none; // where TMPDIR leads to no folder; the path is empty then
        std::string name = (std::filesystem::temp_directory_path(none) / "lumorad.XXXXXX").string();
        if (none || mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("cannot make a folder for files on their way; let TMPDIR name a folder "
                                     "that can be written to");
        }
        m_path = name;
    }
    WorkFolder(const WorkFolder&) = delete;
    WorkFolder& operator=(const WorkFolder&) = delete;
    ~WorkFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }

    const std::filesystem::path& GetPath() const { return m_path; }

private:
    std::filesystem::path m_path;
};

} // namespace

std::string SuffixProblem(const std::filesystem::path& file)
{
    if (FormatOf(file) != nullptr) {
        return {};
    }
    std::string known;
    for (const ScanFormat& format : kFormats) {
        known += (known.empty() ? "" : ", ") + std::string(format.suffix);
    }
    return "'" + file.string() + "' has none of the suffixes that tell the format of a scan: " + known;
}

void WriteScanFile(const std::filesystem::path& file, const ScanContent& scan)
{
    const ScanFormat* const format = FormatOf(file);
    if (format == nullptr) {
        throw std::runtime_error(SuffixProblem(file));
    }
    format->write(file, scan);
}

/// The library writes to the path that it is given bit by bit, and takes a backslash in it for a separator. So it
/// writes elsewhere.
void Write3DFile(const LxCV::LxSScanDataCCT& record, const std::filesystem::path& file)
{
    const WorkFolder folder;
    const std::filesystem::path written = folder.GetPath() / "scan.3d";
    if (!record.Write3DFile(written.string(), false)) {
        throw std::runtime_error("cannot write '" + written.string() + "' on the way to '" + file.string() +
                                 "'");
    }
    WriteContent(file, ReadContent(written, std::numeric_limits<std::ptrdiff_t>::max(), "a 3D file"));
}

} // namespace app
