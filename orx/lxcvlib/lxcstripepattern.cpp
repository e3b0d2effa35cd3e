// Tables of the stripe pattern and their persistence.
#include "lxcstripepattern.h"

#include "floattointeger.h"
#include "integerlist.h"
#include "lxclxcvlibsettings.h"
#include "lxcpropertybag.h"
#include "orx/logging/logger.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <stdexcept>
#include <string_view>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCStripePattern");

/// A code word table holds all words of up to six digits (4 MB).
constexpr std::int64_t c_iMaxCodeWords = 1000000;

/// A pattern of zeros has one code word whatever its length, but its windows take time.
constexpr int c_iMaxCodewordLen = 9;

/// A calibrated LUT that a caller asks for takes at most this many bytes.
constexpr std::size_t c_uiMaxLUTBytes = 128 << 20;

/// A text of n bytes may ask for this many bytes of LUT for each of its own, or for the floor. Written texts ask
/// for 8, since they hold a byte for each double.
constexpr std::size_t c_uiLUTBytesPerTextByte = 16;
constexpr std::size_t c_uiLUTBytesAlways = 1 << 20;

/// Bytes of vectors and heap that a row of the LUT takes beside its entries.
constexpr std::size_t c_uiRowOverhead = 96;

/// Calibrations up to this revision were made with edges half a slide unit off.
constexpr int c_iLastOldRevision = 68089;
constexpr double c_dOldCalibrationShift = 0.5; // slide units

constexpr int c_iDataVersionList = 1;  // rows are lists of thousandths of a slide unit
constexpr int c_iDataVersionBytes = 2; // rows are a byte an edge

/// Stored shifts and offsets are bytes around this value, in quarters of a slide unit.
constexpr int c_iByteBias = 128;
constexpr double c_dByteSteps = 4.0;
constexpr double c_dByteStep = 0.25;

constexpr std::array<double, LxCStripePattern::sc_uiNumBaseShifts> MakeStdBaseShift()
{
    // The shift repeats with the cycle of 64 stripes.
    constexpr double c_adCycle[64] = {
        1.0, -1.25, 1.0,  -0.75, 1.0,  -1.0,  1.0, -0.75, 0.75, -0.5,  0.75, -1.0,  1.25, -1.25, 1.25, -1.25,
        1.0, -1.0,  1.0,  -0.75, 0.5,  -0.75, 1.0, -0.75, 1.25, -0.75, 1.0,  -0.75, 0.75, -1.0,  1.25, -0.75,
        1.0, -0.5,  1.0,  -1.0,  1.0,  -0.5,  0.5, -0.5,  1.0,  -1.0,  1.0,  -1.0,  1.0,  -1.25, 1.25, -0.75,
        1.0, -0.25, 0.25, -0.25, 0.25, -0.75, 1.0, -1.0,  0.75, -0.5,  0.5,  -1.0,  1.0,  -1.0,  1.0,  -1.0};
    std::array<double, LxCStripePattern::sc_uiNumBaseShifts> shifts{};
    for (std::size_t edge = 0; edge < shifts.size(); ++edge) {
        shifts[edge] = c_adCycle[edge % 64];
    }
    return shifts;
}

double ShiftAt(const std::vector<double>& shifts, std::size_t edge)
{
    return edge < shifts.size() ? shifts[edge] : 0.0;
}

/// One above the number with `length` digits that all are `largest`; no further than past the limit.
std::int64_t CountCodeWords(int largest, int length)
{
    std::int64_t count = 1;
    std::int64_t weight = largest;
    for (int k = 0; k < length && count <= c_iMaxCodeWords; ++k) {
        count += weight;
        weight *= 10;
    }
    return count;
}

char ShiftToByte(double shift)
{
    return static_cast<char>(TruncateTo<int>(shift * c_dByteSteps + c_iByteBias));
}

char OffsetToByte(double offset)
{
    const unsigned steps = static_cast<unsigned>(TruncateTo<int>(offset * c_dByteSteps));
    return static_cast<char>(c_iByteBias - steps);
}

double ByteToShift(char byte)
{
    return (static_cast<unsigned char>(byte) - c_iByteBias) * c_dByteStep;
}

/// floor(value) clamped to 0 to count - 1; 0 for what is no number.
int ClampedFloor(double value, int count)
{
    if (!(value > 0.0) || count < 1) {
        return 0;
    }
    return value < count ? static_cast<int>(value) : count - 1;
}

std::string RowKey(const char* name, int patch, int depthPatch)
{
    return name + std::to_string(patch) + "][" + std::to_string(depthPatch) + "]";
}

/// The first value of each key of an extracted section. The rows of a large LUT are looked up here instead of by
/// a scan of the section for each.
std::map<std::string_view, const std::string*> IndexKeys(const std::vector<std::string>& section)
{
    std::map<std::string_view, const std::string*> index;
    for (std::size_t i = 1; i + 1 < section.size(); i += 2) {
        index.try_emplace(section[i], &section[i + 1]);
    }
    return index;
}

std::size_t CountBytes(const std::vector<std::string>& section)
{
    std::size_t bytes = 0;
    for (const std::string& text : section) {
        bytes += text.size();
    }
    return bytes;
}

} // namespace

constinit const std::array<double, LxCStripePattern::sc_uiNumBaseShifts> LxCStripePattern::sc_StdBaseShift =
    MakeStdBaseShift();

void LxCStripePattern::Reset()
{
    m_sPattern.clear();
    m_iCodewordLen = 4;
    m_iStripeWidth = 50;
    m_iNumPatches = 0;
    m_iNumPatchesDepth = 0;
    m_fMinDistProjToScene = 0.0F;
    m_fMaxDistProjToScene = 0.0F;
    m_iMinCalibratedEdge = 25;
    m_iMaxCalibratedEdge = 122;
    m_eEdgePositionMethod = eEdgePosPlain;
    m_bBaseShiftCalibrated = false;
}

bool LxCStripePattern::IsValid() const
{
    return m_iStripeWidth != 0 && !m_sPattern.empty() && m_iCodewordLen != 0 && GetWidth() != 0 &&
           GetHeight() != 0;
}

int LxCStripePattern::GetNrOfStripeEdges() const
{
    return TruncateTo<int>(std::ceil(static_cast<double>(GetHeight()) / m_iStripeWidth));
}

int LxCStripePattern::GetNrOfUniqueStripeIds() const
{
    return static_cast<int>(m_sPattern.size());
}

int LxCStripePattern::GetPatternDistance(const LxCPatternPosition& a, const LxCPatternPosition& b) const
{
    const std::uint64_t length = m_sPattern.size();
    if (length == 0) {
        return 0;
    }
    const std::uint64_t placeA = a.get() % length;
    const std::uint64_t placeB = b.get() % length;
    const std::uint64_t distance = placeA < placeB ? placeB - placeA : placeA - placeB;
    return static_cast<int>(distance > length / 2 ? length - distance : distance);
}

/// Whether stripe width and pattern height are positive and give edges that can be numbered.
bool LxCStripePattern::HasUsableEdges() const
{
    constexpr int c_iEnd = static_cast<int>(LxCPatternPosition::ms_uiInvalidPosition);
    return m_iStripeWidth > 0 && GetHeight() > 0 && GetNrOfStripeEdges() < c_iEnd;
}

/// The same, with a log line if not.
bool LxCStripePattern::CheckUsableEdges() const
{
    if (HasUsableEdges()) {
        return true;
    }
    s_Logger.Error(L"Pattern height %i and stripe width %i give no usable stripe edges\n", GetHeight(),
                   m_iStripeWidth);
    return false;
}

std::vector<int> LxCStripePattern::CollectDigits() const
{
    std::vector<int> digits;
    for (const char character : m_sPattern) {
        if (character != ' ' && character != ',') {
            digits.push_back(character >= '0' && character <= '9' ? character - '0' : 0);
        }
    }
    return digits;
}

bool LxCStripePattern::ConstructLUTs()
{
    m_vNominalEdgePositions.clear();
    m_vCWToStripeEdgeNrLUT.clear();
    m_vStripeEdgeNrToExtLUT.clear();
    m_Pattern.init("");
    if (!IsValid() || !m_Pattern.init(m_sPattern)) {
        return false;
    }
    s_Logger.Info(L"Constructing stripe edge number to pixel position LUT\n");
    if (!FillEdgePositionArray(&m_vNominalEdgePositions, m_Pattern)) {
        return false;
    }
    const std::vector<int> digits = CollectDigits();
    if (m_iCodewordLen > static_cast<std::int64_t>(digits.size())) {
        return false;
    }
    const int largest = digits.empty() ? 0 : *std::max_element(digits.begin(), digits.end());
    const std::int64_t numCodeWords = CountCodeWords(largest, m_iCodewordLen);
    if (m_iCodewordLen < 0 || m_iCodewordLen > c_iMaxCodewordLen || numCodeWords > c_iMaxCodeWords) {
        s_Logger.Error(L"Code words of length %i cannot be used\n", m_iCodewordLen);
        return false;
    }
    s_Logger.Info(L"Final pattern LUT size is %d, number of stripe edges %d\n", numCodeWords,
                  GetNrOfStripeEdges());
    m_vCWToStripeEdgeNrLUT.assign(static_cast<std::size_t>(numCodeWords), 0);
    FillCodeWordLUT(digits);
    FillSymbolLUT(digits);
    return true;
}

void LxCStripePattern::FillCodeWordLUT(const std::vector<int>& digits)
{
    const std::size_t length = static_cast<std::size_t>(m_iCodewordLen);
    for (std::size_t i = 0; i < digits.size(); ++i) {
        std::size_t codeWord = 0;
        for (std::size_t k = 0; k < length; ++k) {
            codeWord = codeWord * 10 + static_cast<std::size_t>(digits[(i + k) % digits.size()]);
        }
        // The number of digits itself is an edge number of the first cycle, so it is not reduced to 0.
        const std::size_t edge = i + length > digits.size() ? (i + length) % digits.size() : i + length;
        m_vCWToStripeEdgeNrLUT[codeWord] = static_cast<std::int32_t>(edge);
    }
}

void LxCStripePattern::FillSymbolLUT(const std::vector<int>& digits)
{
    const std::size_t numEdges = static_cast<std::size_t>(GetNrOfStripeEdges());
    m_vStripeEdgeNrToExtLUT.assign(numEdges + 1, LxCSymbol());
    for (std::size_t i = 1; i < numEdges; ++i) {
        m_vStripeEdgeNrToExtLUT[i + 1].ConstructExtSym(digits[(i - 1) % digits.size()],
                                                       digits[i % digits.size()]);
    }
}

bool LxCStripePattern::FillEdgePositionArray(std::vector<double>* out, const LxCPatternStorage&) const
{
    if (!IsValid() || !CheckUsableEdges()) {
        return false;
    }
    if (out != nullptr) {
        out->clear();
        for (std::int64_t p = 0; p < GetHeight(); p += m_iStripeWidth) {
            out->push_back(static_cast<double>(p - m_iStripeWidth));
        }
    }
    return true;
}

void LxCStripePattern::ClearCalibratedLUT()
{
    m_vCalibratedEdgePositionLUT.clear();
    m_iNumPatches = 0;
    m_iNumPatchesDepth = 0;
}

void LxCStripePattern::InitCalibratedEdgePositionLUT(int numPatches, int numPatchesDepth, float minDist,
                                                     float maxDist)
{
    ClearCalibratedLUT();
    m_fMinDistProjToScene = minDist;
    m_fMaxDistProjToScene = maxDist;
    if (!CheckUsableEdges()) {
        return;
    }
    if (numPatches < 1 || numPatchesDepth < 1 || !FitsLUT(numPatches, numPatchesDepth, c_uiMaxLUTBytes)) {
        s_Logger.Error(L"No calibrated edge positions for %i by %i patches\n", numPatches, numPatchesDepth);
        return;
    }
    m_iNumPatches = numPatches;
    m_iNumPatchesDepth = numPatchesDepth;
    std::vector<double> row = m_vNominalEdgePositions;
    row.resize(static_cast<std::size_t>(GetNrOfStripeEdges()), 0.0);
    row.push_back(0.0);
    const std::vector<std::vector<double>> patch(static_cast<std::size_t>(numPatchesDepth), row);
    m_vCalibratedEdgePositionLUT.assign(static_cast<std::size_t>(numPatches), patch);
}

void LxCStripePattern::GetIndexOfPatchFromPos(double pos, double depth, int& patch, int& depthPatch) const
{
    patch = ClampedFloor(m_iNumPatches * pos / GetHeight(), m_iNumPatches);
    depthPatch = 0;
    if (m_iNumPatchesDepth != 1) {
        const double min = m_fMinDistProjToScene;
        const double max = m_fMaxDistProjToScene;
        depthPatch = ClampedFloor(m_iNumPatchesDepth * (depth - min) / (max - min), m_iNumPatchesDepth);
    }
}

double LxCStripePattern::GetNominalPosition(std::size_t edge) const
{
    return edge < m_vNominalEdgePositions.size() ? m_vNominalEdgePositions[edge] : 0.0;
}

double LxCStripePattern::GetLUTEntry(int patch, int depthPatch, int edge) const
{
    const std::size_t p = static_cast<std::size_t>(patch);
    const std::size_t d = static_cast<std::size_t>(depthPatch);
    const std::size_t e = static_cast<std::size_t>(edge);
    const EdgePositionLUT& lut = m_vCalibratedEdgePositionLUT;
    const bool present = p < lut.size() && d < lut[p].size() && e < lut[p][d].size();
    return present ? lut[p][d][e] : GetNominalPosition(e);
}

double LxCStripePattern::GetCalibratetPosition(int edge, double pos, double depth) const
{
    const int patch = ClampedFloor(m_iNumPatches * pos / GetHeight(), m_iNumPatches);
    const float patchesDepth = static_cast<float>(m_iNumPatchesDepth);
    float t = 0.0F;
    if (m_iNumPatchesDepth > 1) {
        t = (static_cast<float>(depth) - m_fMinDistProjToScene) /
                (m_fMaxDistProjToScene - m_fMinDistProjToScene) * patchesDepth -
            0.5F;
    }
    float shift = 0.0F;
    if (m_eEdgePositionMethod == eEdgePosBaseShifted && LxCLxCVLibSettings::IsReplaceEdgePositionRaw()) {
        shift = static_cast<float>(ShiftAt(m_vBaseShift, static_cast<std::size_t>(edge)));
    }
    // Written so that a depth that is no number falls to the first patch.
    if (!(t >= 0.0F)) {
        return GetLUTEntry(patch, 0, edge) + shift;
    }
    if (t >= patchesDepth - 1.0F) {
        return GetLUTEntry(patch, std::max(m_iNumPatchesDepth - 1, 0), edge) + shift;
    }
    const int k = static_cast<int>(t);
    const float f = std::clamp(t - static_cast<float>(k), 0.0F, 1.0F);
    return static_cast<double>(1.0F - f) * GetLUTEntry(patch, k, edge) +
           static_cast<double>(f) * GetLUTEntry(patch, k + 1, edge) + shift;
}

void LxCStripePattern::SetBaseShiftToStandard()
{
    m_vBaseShift.assign(sc_StdBaseShift.begin(), sc_StdBaseShift.end());
    m_bBaseShiftCalibrated = false;
}

void LxCStripePattern::SetBaseShiftToZero()
{
    std::fill(m_vBaseShift.begin(), m_vBaseShift.end(), 0.0);
    m_bBaseShiftCalibrated = false;
}

/// Adds the shifts of the edges to all rows. The entry of edge 0 stays as it is.
void LxCStripePattern::ShiftCalibratedLUT(const std::vector<double>& shift)
{
    for (auto& patch : m_vCalibratedEdgePositionLUT) {
        for (auto& row : patch) {
            for (std::size_t edge = 1; edge < std::min(row.size(), shift.size()); ++edge) {
                row[edge] += shift[edge];
            }
        }
    }
}

void LxCStripePattern::ApplyBaseShift()
{
    std::vector<double> difference = m_vBaseShift;
    if (!m_vCalibratedBaseShift.empty()) {
        m_vBaseShift = m_vCalibratedBaseShift;
        m_bBaseShiftCalibrated = true;
    } else {
        SetBaseShiftToStandard();
    }
    difference.resize(std::max(difference.size(), m_vBaseShift.size()), 0.0);
    for (std::size_t edge = 0; edge < difference.size(); ++edge) {
        difference[edge] -= ShiftAt(m_vBaseShift, edge);
    }
    ShiftCalibratedLUT(difference);
}

void LxCStripePattern::UndoBaseShift()
{
    ShiftCalibratedLUT(m_vBaseShift);
    if (m_bBaseShiftCalibrated) {
        m_vCalibratedBaseShift = m_vBaseShift;
    }
    SetBaseShiftToZero();
}

void LxCStripePattern::Serialize(LxCCCTSerializer& serializer, const std::string& section)
{
    LxAProjectionPatternBase::Serialize(serializer, section);
    const bool reading = !serializer.IsStoring();
    if (reading) {
        m_iStripeWidth = 50;
        m_iCodewordLen = 4;
        ClearCalibratedLUT();
        m_fMinDistProjToScene = 0.0F;
        m_fMaxDistProjToScene = 0.0F;
        m_iMinCalibratedEdge = 25;
        m_iMaxCalibratedEdge = 122;
        m_eEdgePositionMethod = eEdgePosPlain;
    }
    int method = m_eEdgePositionMethod;
    LxCPropertyBag bag;
    bag.addScalar(m_sPattern, "Pattern");
    bag.addScalar(m_iCodewordLen, "CodewordLen");
    bag.addScalar(m_iStripeWidth, "StripeWidth");
    bag.addScalar(method, "EdgePositionMethod");
    bag.addScalar(m_iMinCalibratedEdge, "MinCalibratedEdge");
    bag.addScalar(m_iMaxCalibratedEdge, "MaxCalibratedEdge");
    bag.serialize(serializer, section, false);
    m_eEdgePositionMethod = method < eEdgePosBaseShifted ? eEdgePosPlain : eEdgePosBaseShifted;
    if (reading) {
        ConstructLUTs();
    }
    SerializeCalibPosLUT(serializer, section);
}

void LxCStripePattern::SerializeCalibPosLUT(LxCCCTSerializer& serializer, const std::string& section)
{
    LxCCalibState::Serialize(serializer, section);
    if (serializer.IsStoring()) {
        WriteCalibPosLUT(serializer);
    } else {
        ReadCalibPosLUT(serializer, section);
    }
}

void LxCStripePattern::WriteCalibPosLUT(LxCCCTSerializer& serializer) const
{
    if (m_iNumPatches < 1 || m_iNumPatchesDepth < 1 || !HasUsableEdges()) {
        return;
    }
    const auto write = [&serializer](const std::string& key, const auto& value) {
        serializer.Write(key, value, "", c_iFormatDecimal);
    };
    write("MinDistProjToScene", m_fMinDistProjToScene);
    write("MaxDistProjToScene", m_fMaxDistProjToScene);
    write("NumPatches", m_iNumPatches);
    write("NumPatchesDepth", m_iNumPatchesDepth);
    write("IgnoreDepthOnLSECalib", JoinIntegers(m_vIgnoreDepthOnLSECalib));
    write("BaseShiftCalibrated", m_bBaseShiftCalibrated);

    const int numEdges = GetNrOfStripeEdges();
    std::string bytes;
    for (int edge = 1; edge < numEdges; ++edge) {
        bytes += ShiftToByte(ShiftAt(m_vBaseShift, static_cast<std::size_t>(edge)));
    }
    write("BaseShift", bytes);
    write("DataVersion", c_iDataVersionBytes);
    for (int patch = 0; patch < m_iNumPatches; ++patch) {
        for (int depthPatch = 0; depthPatch < m_iNumPatchesDepth; ++depthPatch) {
            bytes.clear();
            for (int edge = 1; edge < numEdges; ++edge) {
                bytes += OffsetToByte(GetNominalPosition(static_cast<std::size_t>(edge)) -
                                      GetLUTEntry(patch, depthPatch, edge));
            }
            write(RowKey("LUT[", patch, depthPatch), bytes);
        }
    }
}

/// Tells a calibration of the old kind by its revision number, and stamps it as converted.
bool LxCStripePattern::IsCalibrationOld()
{
    const int revision = GetRevisionNumber();
    s_Logger.Info(L"Calib RevissionNumber %i", revision);
    if (revision == 0 || revision > c_iLastOldRevision) {
        return false;
    }
    FinishedCalibrationSuccessful(L"converted from " + std::to_wstring(revision));
    s_Logger.Info(L"alte Kalibrierung: Verwende Zusatzshift bei Kantenposition");
    return true;
}

void LxCStripePattern::ReadCalibPosLUT(LxCCCTSerializer& serializer, const std::string& section)
{
    m_vCalibratedEdgePositionLUT.clear();
    const double oldShift = IsCalibrationOld() ? c_dOldCalibrationShift : 0.0;
    serializer.FindExtractSection(section);
    const LxCCCTSerializer::SectionData& data = serializer.GetSectionData();
    const auto read = [&serializer, &data]<typename T>(const char* key, T& value, const T& defaultValue) {
        serializer.Read<T>(data, key, value, defaultValue);
    };
    read("MinDistProjToScene", m_fMinDistProjToScene, float{m_fMinDistProjToScene});
    read("MaxDistProjToScene", m_fMaxDistProjToScene, float{m_fMaxDistProjToScene});
    read("NumPatches", m_iNumPatches, int{m_iNumPatches});
    read("NumPatchesDepth", m_iNumPatchesDepth, int{m_iNumPatchesDepth});
    std::string list;
    read("IgnoreDepthOnLSECalib", list, std::string());
    m_vIgnoreDepthOnLSECalib = list.empty() ? std::vector<int>() : SplitIntegers(list);
    read("BaseShiftCalibrated", m_bBaseShiftCalibrated, false);
    std::string baseShift;
    read("BaseShift", baseShift, std::string());
    ReadBaseShift(baseShift);
    int version = c_iDataVersionList;
    read("DataVersion", version, int{c_iDataVersionList});
    if (m_iNumPatches < 1 || m_iNumPatchesDepth < 1) {
        ClearCalibratedLUT();
    } else if (AllocateLUT(CountBytes(data))) {
        ReadRows(data, version, oldShift);
    }
}

void LxCStripePattern::ReadBaseShift(const std::string& text)
{
    m_vBaseShift.clear();
    const std::size_t numEdges = HasUsableEdges() ? static_cast<std::size_t>(GetNrOfStripeEdges()) : 0;
    m_vBaseShift.resize(numEdges + 1, 0.0);
    for (std::size_t i = 0; i + 1 < numEdges && i < text.size(); ++i) {
        m_vBaseShift[i + 1] = ByteToShift(text[i]);
    }
}

/// Whether a calibrated LUT of this size takes at most `limit` bytes.
bool LxCStripePattern::FitsLUT(int numPatches, int numPatchesDepth, std::size_t limit) const
{
    const std::size_t rowLength = static_cast<std::size_t>(GetNrOfStripeEdges()) + 1;
    const std::size_t rowSize = rowLength * sizeof(double) + c_uiRowOverhead;
    return static_cast<std::size_t>(numPatches) <=
           limit / rowSize / static_cast<std::size_t>(numPatchesDepth);
}

/// Makes room for the patches that were read, without rows yet. Refuses more than a text of this size can hold.
bool LxCStripePattern::AllocateLUT(std::size_t textSize)
{
    const std::size_t limit = std::max(c_uiLUTBytesAlways, c_uiLUTBytesPerTextByte * textSize);
    if (!CheckUsableEdges()) {
        ClearCalibratedLUT();
        return false;
    }
    if (!FitsLUT(m_iNumPatches, m_iNumPatchesDepth, limit)) {
        s_Logger.Error(L"Refused calibrated edge positions of %i by %i patches in a text of %i bytes\n",
                       m_iNumPatches, m_iNumPatchesDepth, textSize);
        ClearCalibratedLUT();
        return false;
    }
    const std::vector<std::vector<double>> patch(static_cast<std::size_t>(m_iNumPatchesDepth));
    m_vCalibratedEdgePositionLUT.assign(static_cast<std::size_t>(m_iNumPatches), patch);
    return true;
}

void LxCStripePattern::ReadRows(const std::vector<std::string>& section, int version, double oldShift)
{
    if (version != c_iDataVersionList && version != c_iDataVersionBytes) {
        return;
    }
    const auto index = IndexKeys(section);
    const char* name = version == c_iDataVersionList ? "CalibratedPositionLUTPD[" : "LUT[";
    const std::size_t rowLength = static_cast<std::size_t>(GetNrOfStripeEdges()) + 1;
    for (int patch = 0; patch < m_iNumPatches; ++patch) {
        for (int depthPatch = 0; depthPatch < m_iNumPatchesDepth; ++depthPatch) {
            std::vector<double>& row = m_vCalibratedEdgePositionLUT[static_cast<std::size_t>(patch)]
                                                                   [static_cast<std::size_t>(depthPatch)];
            row.assign(rowLength, 0.0);
            const std::string key = RowKey(name, patch, depthPatch);
            const auto found = index.find(key);
            if (found == index.end()) {
                continue;
            }
            if (version == c_iDataVersionList) {
                ReadRowVersion1(*found->second, row);
            } else {
                ReadRowVersion2(*found->second, oldShift, row);
            }
        }
    }
}

void LxCStripePattern::ReadRowVersion1(const std::string& text, std::vector<double>& row) const
{
    // Each item ends at its comma: what stands behind the last one is none.
    std::size_t begin = 0;
    for (std::size_t edge = 1; edge < row.size(); ++edge) {
        const std::size_t comma = text.find(',', begin);
        if (comma == std::string::npos) {
            return;
        }
        const int item = ParseInteger(text.substr(begin, comma - begin));
        row[edge] = static_cast<float>(item) / 1000.0F;
        begin = comma + 1;
    }
}

void LxCStripePattern::ReadRowVersion2(const std::string& text, double oldShift,
                                       std::vector<double>& row) const
{
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::size_t edge = i + 1;
        if (edge >= m_vNominalEdgePositions.size() || edge >= row.size()) {
            throw std::out_of_range("invalid vector<T> subscript");
        }
        row[edge] = ByteToShift(text[i]) + m_vNominalEdgePositions[edge] - oldShift;
    }
}

} // namespace LxCV
