// The order in which kinds of files are told.
#include "scanner/app/filefacts.h"

#include "scanner/app/filecontent.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <stdexcept>

namespace app {

namespace {

/// @throws std::runtime_error naming the file, std::bad_alloc
FileFacts TellRead(const std::filesystem::path& file, const std::string& content)
{
    try {
        if (content.empty()) {
            throw std::runtime_error("it is empty");
        }
        FileFacts told = TellContent({file, content});
        told.bytes = content.size();
        return told;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        throw std::runtime_error("'" + file.string() + "': " + error.what());
    }
}

} // namespace

bool FileView::HasSuffix(std::string_view suffix) const
{
    return LowerSuffix(name) == suffix;
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

FileFacts TellFile(const std::filesystem::path& file, std::size_t limit)
{
    try {
        return TellRead(file, ReadContent(file, limit, "'lumorad info'"));
    } catch (const std::bad_alloc&) {
        throw std::runtime_error("'" + file.string() + "': there is not enough memory for it");
    }
}

void Extent::Add(const std::array<double, 3>& point)
{
    if (!std::ranges::all_of(point, [](double value) { return std::isfinite(value); })) {
        ++m_notFinite;
        return;
    }
    for (std::size_t axis = 0; axis < point.size(); ++axis) {
        m_least[axis] = m_points == 0 ? point[axis] : std::min(m_least[axis], point[axis]);
        m_greatest[axis] = m_points == 0 ? point[axis] : std::max(m_greatest[axis], point[axis]);
    }
    ++m_points;
}

void Extent::AddTo(nlohmann::ordered_json& facts) const
{
    if (m_points > 0) {
        facts["least_mm"] = m_least;
        facts["greatest_mm"] = m_greatest;
    }
    if (m_notFinite > 0) {
        facts["not_finite"] = m_notFinite;
    }
}

} // namespace app
