// The order in which kinds of files are told.
#include "scanner/app/filefacts.h"

#include "scanner/app/filecontent.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <new>
#include <stdexcept>

namespace app {

bool FileView::HasSuffix(std::string_view suffix) const
{
    std::string extension = name.extension().string();
    std::ranges::transform(extension, extension.begin(),
                           [](unsigned char letter) { return std::tolower(letter); });
    return extension == suffix;
}

FileFacts TellContent(const FileView& file)
{
    // What has a mark of its own comes first, what could be many things last.
    for (const auto tell : {TellImage, TellContainer, TellSections, TellMesh, TellRecord, TellText}) {
        if (std::optional<FileFacts> facts = tell(file)) {
            return *std::move(facts);
        }
    }
    throw std::runtime_error("it is of no kind that is known here; docs/formats.md lists the kinds");
}

FileFacts TellFile(const std::filesystem::path& file)
{
    const std::string content = ReadContent(file, kLongestFile, "'lumorad info'");
    try {
        if (content.empty()) {
            throw std::runtime_error("it is empty");
        }
        return TellContent({file, content});
    } catch (const std::bad_alloc&) {
        throw std::runtime_error("'" + file.string() + "': there is not enough memory for it");
    } catch (const std::exception& error) {
        throw std::runtime_error("'" + file.string() + "': " + error.what());
    }
}

void Extent::Add(const std::array<double, 3>& point)
{
    if (!std::ranges::all_of(point, [](double value) { return std::isfinite(value); })) {
        return;
    }
    for (std::size_t axis = 0; axis < point.size(); ++axis) {
        m_least[axis] = m_isEmpty ? point[axis] : std::min(m_least[axis], point[axis]);
        m_greatest[axis] = m_isEmpty ? point[axis] : std::max(m_greatest[axis], point[axis]);
    }
    m_isEmpty = false;
}

void Extent::AddTo(nlohmann::ordered_json& facts) const
{
    if (!m_isEmpty) {
        facts["least_mm"] = m_least;
        facts["greatest_mm"] = m_greatest;
    }
}

} // namespace app
