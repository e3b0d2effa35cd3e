// The stripes of the projector's slide, their code, and where their edges lie.
#pragma once

#include "lxaprojectionpatternbase.h"
#include "lxccalibstate.h"
#include "lxcpatternposition.h"
#include "lxcpatternstorage.h"
#include "lxcsymbol.h"
#include "orx/base/export.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace LxCV {

/// A cyclic sequence of stripes of equal width in eight colours, and three tables made of it:
///
///   nominal edge positions   stripe edge e lies at (e - 1) * stripe width along the pattern height;
///   code word to edge        the code word with the digits c0 c1 ... c(L-1) is that of the last edge among those
///                            stripes, as a number within the first cycle; 0 where no edge has the code word;
///   edge to symbol           the colour transition at edge e, which lies between the stripes e - 2 and e - 1
///                            of the cyclic sequence.
///
/// The calibrated edge position LUT [patch][depth patch][edge] refines the nominal positions. Patches are equal
/// parts of the pattern, depth patches equal parts of the distances from the projector to the scene; its rows
/// have an entry for each edge from 0 to the number of edges, inclusive. The number of patches is 0 where there
/// is no such table.
///
/// A base shift, one value an edge, may have been taken out of the LUT; method `eEdgePosBaseShifted` adds it back
/// on reading. All positions and shifts are in slide units, distances in millimetres.
///
/// Any number of threads may read; nothing may rebuild the tables meanwhile.
class ORX_EXPORT LxCStripePattern : public LxAProjectionPatternBase, public LxCCalibState
{
public:
    enum EEdgePositionMethod : int
    {
        eEdgePosPlain = 0,
        eEdgePosBaseShifted = 1
    };

    using EdgePositionLUT = std::vector<std::vector<std::vector<double>>>;

    static constexpr const char* sc_sPatternA =
        "2163050307412525052743436347214303614703416165612707056507256365";
    static constexpr const char* sc_sPatternC = "50305250125214121610343014341070";

    static constexpr std::size_t sc_uiNumBaseShifts = 140;

    /// The standard base shift by stripe edge, slide units.
    static const std::array<double, sc_uiNumBaseShifts> sc_StdBaseShift;

    static std::string GetPatternStringA() { return sc_sPatternA; }
    static std::string GetPatternStringC() { return sc_sPatternC; }

    LxCStripePattern() = default;

    /// Colour digits, with any blanks and commas between them. The tables change with `ConstructLUTs` only.
    void SetPatternString(const std::string& pattern) { m_sPattern = pattern; }
    const std::string& GetPatternString() const { return m_sPattern; }

    /// Digits of a code word.
    void SetCodewordLen(int length) { m_iCodewordLen = length; }

    /// Stripe width, slide units.
    void SetPrimitiveSize(int width) { m_iStripeWidth = width; }
    int GetPrimitiveSize() const { return m_iStripeWidth; }

    /// Whether stripe width, pattern string, code word length and both sizes of the pattern are there at all.
    bool IsValid() const override;

    /// Pattern height over stripe width, rounded up.
    int GetNrOfStripeEdges() const;

    /// Characters of the pattern string, separators included.
    int GetNrOfUniqueStripeIds() const;

    /// The distance of two positions along the cycle, the shorter way; 0 without a pattern string.
    int GetPatternDistance(const LxCPatternPosition& a, const LxCPatternPosition& b) const;

    const LxCPatternStorage& GetPattern() const { return m_Pattern; }

    /// Builds the three tables. Returns false for a pattern that is not valid, that has fewer digits than a code
    /// word, or whose numbers cannot be used: negative ones, more stripe edges than `LxCPatternPosition` can
    /// number, or a code word table of more than a million entries. What cannot be used is logged. The code
    /// tables are then empty.
    bool ConstructLUTs();

    /// Fills `out`, if there is one, with the nominal positions of all stripe edges, slide units. The storage
    /// takes no part in them. Returns false, with `out` untouched, for a pattern that is not valid or whose
    /// numbers cannot be used.
    bool FillEdgePositionArray(std::vector<double>* out, const LxCPatternStorage& storage) const override;

    const std::vector<double>& GetNominalEdgePositions() const { return m_vNominalEdgePositions; }
    const std::vector<int>& GetCWToStripeEdgeNrLUT() const { return m_vCWToStripeEdgeNrLUT; }
    const std::vector<LxCSymbol>& GetStripeEdgeNrToExtLUT() const { return m_vStripeEdgeNrToExtLUT; }

    /// Allocates the calibrated edge position LUT with nominal positions; the entry behind the last edge is 0.
    /// Counts below 1, or of a table above 128 MB, are logged and leave no LUT.
    /// @param minDist, maxDist distances from the projector to the scene that the depth patches span
    void InitCalibratedEdgePositionLUT(int numPatches, int numPatchesDepth, float minDist, float maxDist);

    /// The table for refinement. Its shape is to be kept.
    EdgePositionLUT& GetCalibratedEdgePositionLUT() { return m_vCalibratedEdgePositionLUT; }
    const EdgePositionLUT& GetCalibratedEdgePositionLUT() const { return m_vCalibratedEdgePositionLUT; }

    int GetNumPatches() const { return m_iNumPatches; }
    int GetNumPatchesDepth() const { return m_iNumPatchesDepth; }
    float GetMinDistProjToScene() const { return m_fMinDistProjToScene; }
    float GetMaxDistProjToScene() const { return m_fMaxDistProjToScene; }

    /// The patches that hold a slide position and a depth, clamped to the table; 0 for what is no number.
    void GetIndexOfPatchFromPos(double pos, double depth, int& patch, int& depthPatch) const;

    /// The calibrated position of a stripe edge, slide units. Between the centres of depth patches it is
    /// interpolated; with one depth patch, depth plays no role. With the method `eEdgePosBaseShifted` and the
    /// setting ReplaceEdgePositionRaw, the base shift of the edge is added. Does not allocate.
    /// @param edge 0 to the number of edges; an entry that the LUT lacks is answered with the nominal position,
    ///        or 0 where there is none
    /// @param pos position along the edge, slide units
    /// @param depth distance from the projector, mm; what is no number counts as the nearest
    double GetCalibratetPosition(int edge, double pos, double depth) const;

    /// Takes the calibrated base shift, or the standard one where there is none, out of the LUT, and puts the
    /// present one back in.
    void ApplyBaseShift();

    /// Puts the base shift back into the LUT, keeps it as the calibrated one if it is one, and clears it.
    void UndoBaseShift();

    int GetMinCalibratedEdge() const { return m_iMinCalibratedEdge; }
    void SetMinCalibratedEdge(int edge) { m_iMinCalibratedEdge = edge; }
    int GetMaxCalibratedEdge() const { return m_iMaxCalibratedEdge; }
    void SetMaxCalibratedEdge(int edge) { m_iMaxCalibratedEdge = edge; }

    EEdgePositionMethod GetEdgePositionMethodCalib() const { return m_eEdgePositionMethod; }
    void SetEdgePositionMethodCalib(EEdgePositionMethod method) { m_eEdgePositionMethod = method; }

    /// Stripe edges whose calibration ignores depth.
    const std::vector<int>& GetIgnoreDepthOnLSECalib() const { return m_vIgnoreDepthOnLSECalib; }
    void SetIgnoreDepthOnLSECalib(const std::vector<int>& edges) { m_vIgnoreDepthOnLSECalib = edges; }

    /// By stripe edge, slide units; an edge beyond the end has shift 0.
    const std::vector<double>& GetBaseShift() const { return m_vBaseShift; }
    const std::vector<double>& GetCalibratedBaseShift() const { return m_vCalibratedBaseShift; }
    void SetCalibratedBaseShift(const std::vector<double>& shift) { m_vCalibratedBaseShift = shift; }
    bool IsBaseShiftCalibrated() const { return m_bBaseShiftCalibrated; }
    void SetBaseShiftCalibrated(bool calibrated) { m_bBaseShiftCalibrated = calibrated; }

    /// Writes the section's header and keys, or reads the keys and builds the tables. Missing keys leave the
    /// defaults.
    /// @throws std::out_of_range "invalid vector<T> subscript" where a row of the LUT in the text is longer than
    ///         the pattern has edges
    void Serialize(LxCCCTSerializer& serializer, const std::string& section) override;

protected:
    /// Empties the pattern string and returns all scalar fields to their defaults; the tables stay. This and
    /// `SerializeCalibPosLUT` are the first and the second virtual operation beyond those of the base.
    virtual void Reset();

public:
    /// The part of `Serialize` from the calibration state on. Positions and shifts are stored in steps of 0.25,
    /// truncated, one byte each: an offset beyond -32 to 31.75 from the nominal position does not survive. Nor
    /// do bytes that the text format takes for white space: an offset of -29.5 (byte 10) anywhere, and at the
    /// last edge of a row also -29.75, -28.75 and -24 (bytes 9, 13 and 32).
    ///
    /// Reading refuses, with an error logged and without a LUT, tables that are out of proportion to the text.
    virtual void SerializeCalibPosLUT(LxCCCTSerializer& serializer, const std::string& section);

protected:
    /// Both clear the calibrated flag; the second keeps the number of values.
    void SetBaseShiftToStandard();
    void SetBaseShiftToZero();

private:
    bool HasUsableEdges() const;
    bool CheckUsableEdges() const;
    std::vector<int> CollectDigits() const;
    void FillCodeWordLUT(const std::vector<int>& digits);
    void FillSymbolLUT(const std::vector<int>& digits);
    void ClearCalibratedLUT();
    void ShiftCalibratedLUT(const std::vector<double>& shift);
    bool FitsLUT(int numPatches, int numPatchesDepth, std::size_t limit) const;
    double GetNominalPosition(std::size_t edge) const;
    double GetLUTEntry(int patch, int depthPatch, int edge) const;

    void WriteCalibPosLUT(LxCCCTSerializer& serializer) const;
    void ReadCalibPosLUT(LxCCCTSerializer& serializer, const std::string& section);
    bool IsCalibrationOld();
    void ReadBaseShift(const std::string& text);
    bool AllocateLUT(std::size_t textSize);
    void ReadRows(const std::vector<std::string>& section, int version, double oldShift);
    void ReadRowVersion1(const std::string& text, std::vector<double>& row) const;
    void ReadRowVersion2(const std::string& text, double oldShift, std::vector<double>& row) const;

    std::int32_t m_iCodewordLen = 4;
    std::int32_t m_iStripeWidth = 50; ///< slide units
    std::string m_sPattern;
    LxCPatternStorage m_Pattern;
    std::vector<double> m_vNominalEdgePositions; ///< slide units
    std::vector<std::int32_t> m_vCWToStripeEdgeNrLUT;
    std::vector<LxCSymbol> m_vStripeEdgeNrToExtLUT;
    EdgePositionLUT m_vCalibratedEdgePositionLUT; ///< slide units
    std::int32_t m_iNumPatches = 0;
    std::int32_t m_iNumPatchesDepth = 0;
    float m_fMinDistProjToScene = 0.0F; ///< mm
    float m_fMaxDistProjToScene = 0.0F; ///< mm
    std::int32_t m_iMinCalibratedEdge = 25;
    std::int32_t m_iMaxCalibratedEdge = 122;
    EEdgePositionMethod m_eEdgePositionMethod = eEdgePosPlain;
    std::vector<std::int32_t> m_vIgnoreDepthOnLSECalib;
    std::vector<double> m_vBaseShift;           ///< slide units
    std::vector<double> m_vCalibratedBaseShift; ///< slide units
    bool m_bBaseShiftCalibrated = false;
};

} // namespace LxCV
