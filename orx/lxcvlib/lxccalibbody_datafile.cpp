// Where a target's world coordinates and thresholds come from.
#include "lxccalibbody.h"

#include "filestreams.h"
#include "floatscanner.h"
#include "lxccalibrationtargetwriter.h"
#include "lxccctserializer.h"
#include "lxccctserializerfile.h"
#include "lxcpropertybag.h"
#include "orx/logging/logger.h"
#include "orx/platform/keyvaluestore.h"
#include "standardslides.h"
#include "stringutils.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <istream>
#include <iterator>
#include <sstream>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCCalibBody");

constexpr std::size_t c_uiLargestStoreValue = 0x10000; // bytes

constexpr const char* c_sThresSection = "::Thres";
constexpr const char* c_sCoordsLine = "::Coords";

/// The text of the target data store. No key at all, deliberately unlike a key without the value, is an empty text.
/// @return whether the value could be read, or there was none to read
bool ReadTargetDataStore(std::string& text)
{
    using platform::EStoreRoot;
    using Writer = LxCCalibrationTargetWriter;
    text.clear();
    const bool isUsers = platform::HasStoreKey(EStoreRoot::eCurrentUser, Writer::sc_sRegistryKey);
    if (!isUsers && !platform::HasStoreKey(EStoreRoot::eLocalMachine, Writer::sc_sRegistryKey)) {
        return true;
    }
    std::vector<std::byte> value;
    if (platform::ReadStoreValue(isUsers ? EStoreRoot::eCurrentUser : EStoreRoot::eLocalMachine,
                                 Writer::sc_sRegistryKey, Writer::sc_sRegistryValue, c_uiLargestStoreValue,
                                 value)) {
        return false;
    }
    const auto end = std::find(value.begin(), value.end(), std::byte{0});
    std::transform(value.begin(), end, std::back_inserter(text),
                   [](std::byte byte) { return static_cast<char>(byte); });
    text = ReplaceAll(text, "\r\n", "\n");
    return true;
}

/// Whether a name that is put behind a folder names anything but a file in it.
bool LeavesFolder(const std::string& fileName)
{
    return fileName.find_first_of("/\\") != std::string::npos || fileName.find('\0') != std::string::npos ||
           fileName == "." || fileName == "..";
}

} // namespace

void LxCCalibBody::Serialize(LxCCCTSerializer& serializer, const std::string& section)
{
    std::string coordFile = m_sCoordFile;
    LxCPropertyBag bag;
    bag.addScalar(coordFile, "CoordFile");
    bag.addScalar(m_iMaxCalibrationIteration, "MaxCalibrationIteration");
    bag.serialize(serializer, section, true);
    if (m_pThres != nullptr) {
        m_pThres->Serialize(serializer, section + c_sThresSection);
    }
    if (serializer.IsStoring()) {
        return;
    }
    m_bDataLoaded = false;
    if (LeavesFolder(coordFile)) {
        s_Logger.Error(L"LxCCalibBody::Serialize: <%s> is no name of a data file\n", coordFile);
        return;
    }
    m_sCoordFile = coordFile;
}

ECalibError LxCCalibBody::LoadDataFile()
{
    if (m_bDataLoaded && m_sLoadedFile == m_sCoordFile) {
        return eCalibOk;
    }
    m_bDataLoaded = false; // what stands may be gone after a failure
    const ECalibError result = ReadCoordFile();
    if (result == eCalibOk) {
        m_bDataLoaded = true;
        m_sLoadedFile = m_sCoordFile;
    }
    return result;
}

ECalibError LxCCalibBody::ReadCoordFile()
{
    if (m_sCoordFile == sc_FilenameReadFromRegistry) {
        std::string text;
        return ReadTargetDataStore(text) ? LoadFromText(text) : eCalibRegistryValueMissing;
    }
    if (m_sCoordFile == sc_StandardParammsDiaA2 || m_sCoordFile == sc_StandardParammsDiaC) {
        return LoadFromText(GetStandardSlide(m_sCoordFile));
    }
    const std::string path = m_sPath + m_sCoordFile;
    s_Logger.Info(L"LoadDataFile: %s\n", path);
    const ECalibError result = Read3DCoordsFromDataFile(path);
    if (result == eCalibOk && m_pThres != nullptr) {
        LxCCCTSerializerFile serializer;
        serializer.Init(path, false);
        m_pThres->Serialize(serializer, c_sThresSection);
    }
    return result;
}

ECalibError LxCCalibBody::LoadFromText(const std::string& text)
{
    std::stringstream stream(text);
    const ECalibError result = Read3DCoordsFromStream(stream);
    if (result == eCalibOk && m_pThres != nullptr) {
        LxCCCTSerializer serializer;
        serializer.ReadFromStringStream(stream);
        serializer.Init(false, true);
        m_pThres->Serialize(serializer, c_sThresSection);
    }
    return result;
}

ECalibError LxCCalibBody::Read3DCoordsFromDataFile(const std::string& path)
{
    std::ifstream file = OpenFileForReading(path);
    const std::string content = file.is_open() ? ReadRest(file) : std::string();
    if (!file.is_open() || file.bad()) {
        s_Logger.Error(L"Error: LxCCalibBody::LoadDataFile: File couldn't be opened: <%s>\n", path);
        return eCalibWorldFileNotFound;
    }
    std::stringstream stream(ReplaceAll(content, "\r\n", "\n"));
    return Read3DCoordsFromStream(stream);
}

ECalibError LxCCalibBody::Read3DCoordsFromStream(std::istream& stream)
{
    m_vWorldCoords.clear();
    m_vWorldCoords.shrink_to_fit();
    if (!stream.good()) {
        s_Logger.Error(L"Error: LxCCalibBody::Read3DCoordsFromStream: rStream not open\n");
        return eCalibWorldFileNotFound;
    }
    std::string line;
    while (std::getline(stream, line) && line != c_sCoordsLine) {
    }
    std::array<float, 3> point{};
    bool isPoint = false; // the last line that counted
    while (std::getline(stream, line)) {
        if (line.empty() || line.front() == '#') {
            continue;
        }
        if (line.front() == ':') {
            break;
        }
        isPoint = ScanFloats(line, point) >= 2;
        if (!isPoint) {
            break;
        }
        m_vWorldCoords.emplace_back(point[0], point[1], point[2]);
    }
    m_bNormalized = false;
    if (!isPoint) {
        s_Logger.Error(L"Error: LxCCalibBody::Read3DCoordsFromStream: read process got stuck and did not "
                       L"finish properly\n");
        return eCalibWorldFileBad;
    }
    if (m_vWorldCoords.empty()) {
        s_Logger.Error(L"LxCCalibBody::Read3DCoordsFromStream: no calibration data found in current file.\n");
        return eCalibNoCoordinates;
    }
    return eCalibOk;
}

} // namespace LxCV
