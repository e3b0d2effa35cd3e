// Opens, reads and writes the file of a serializer.
#include "lxccctserializerfile.h"

#include "filestreams.h"
#include "orx/logging/logger.h"
#include "orx/platform/paths.h"
#include "stringutils.h"

#include <filesystem>

namespace LxCV {

namespace {

// The channel of the base class, which readers of the log know for all serializers.
const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCCCTSerializer");

/// Whether loading may open the file: a pipe or a device could keep it waiting, or never end.
bool IsRegularFile(const std::filesystem::path& path)
{
    std::error_code failure;
    return std::filesystem::is_regular_file(path, failure);
}

} // namespace

LxCCCTSerializerFile::LxCCCTSerializerFile() = default;
LxCCCTSerializerFile::~LxCCCTSerializerFile() = default;
LxCCCTSerializerFile::LxCCCTSerializerFile(LxCCCTSerializerFile&&) noexcept = default;
LxCCCTSerializerFile& LxCCCTSerializerFile::operator=(LxCCCTSerializerFile&&) noexcept = default;

bool LxCCCTSerializerFile::Init(const std::string& path, bool storing)
{
    if (path.rfind('.') == std::string::npos) {
        return false;
    }
    SetStoring(storing);
    m_File.close();
    m_File.clear();
    const std::filesystem::path native = platform::NativePath(path);
    if (storing || IsRegularFile(native)) {
        m_File.open(native, std::ios_base::binary | (storing ? std::ios_base::out : std::ios_base::in));
    }
    std::string text;
    if (!storing && m_File.is_open()) {
        text = ReadRest(m_File);
    }
    if (!m_File.is_open() || m_File.bad()) {
        s_Logger.Info(storing ? L"CCCTSerializer::Init: could not open '%s' for writing!\n"
                              : L"CCCTSerializer::Init: could not open '%s' for reading!\n",
                      path);
        return false;
    }
    if (!storing) {
        AppendText(text);
    }
    return LxCCCTSerializer::Init(storing, true);
}

bool LxCCCTSerializerFile::Init(const std::wstring& path, bool storing)
{
    return Init(ws2s(path), storing);
}

bool LxCCCTSerializerFile::Exit()
{
    if (IsStoring()) {
        const std::string_view text = GetStream().view();
        m_File.write(text.data(), static_cast<std::streamsize>(text.size()));
    }
    m_File.close(); // sets the fail state where it fails
    if (IsStoring() && m_File.fail()) {
        s_Logger.Warning(L"The text of a serializer was not written whole.\n");
    }
    return true;
}

} // namespace LxCV
