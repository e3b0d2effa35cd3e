// Reads code words along image columns and names the pixels of stripe edges.
#pragma once

#include "scanner/decoder/decoderconfig.h"
#include "scanner/decoder/edgecolumns.h"

#include <cstddef>
#include <span>
#include <vector>

namespace LxCV {
class CCTImage;
class LxCPinholeFramework;
} // namespace LxCV

namespace decoder {

/// Names stripe edges by the code that they show, and writes an `LxCExtremum` word for each: at the pixel that holds its
/// whole row, with its symbol and with the fraction of the row as sub-pixel offset.
///
/// Three successive edges of a column give a code word, and the pattern's table gives the cyclic number of its
/// last edge. A code word counts as one of a run of successive code words of the column that say the same of the edges
/// they share, as long as the active preset's `MinNumSymbols` wants: a single wrong symbol makes another code word of
/// the table too often to be believed alone. With `CheckOtherSymbols` a code word names all its edges, and an edge that
/// two code words name differently is not named; without, it names the last one only.
///
/// The name goes into the word as untraced id, 0 being none. The continuation flag says that there is a name, the second
/// one that all three code words that an edge can be part of agree.
class CodeWordReader
{
public:
    /// @param model calibrated, with its pattern's tables for code words of four digits; must outlive the reader
    CodeWordReader(const LxCV::LxCPinholeFramework& model, const DecoderConfig& config)
        : m_model(model), m_maxDistance(config.Edges().m_iMaxCodeLetterDist),
          m_minRun(config.algorithm.GetActiveAlgorithmConfig().m_iMinNumSymbols),
          m_namesOthers(config.algorithm.GetActiveAlgorithmConfig().m_bCheckOtherSymbols)
    {}

    /// Makes the working buffers for images of so many rows.
    void Init(int height);

    /// A model whose pattern has no table, or one for code words of another
    /// length, names nothing; nor is a cyclic number given that the 8 bits of an id do not hold.
    /// @param words image of type INT32, cleared and filled; one without pixels stays. Edges beyond it get no word
    /// @throws std::invalid_argument for pixels of another type
    void Read(const EdgeColumns& columns, LxCV::CCTImage& words);

private:
    using Column = std::span<const EdgeColumns::Edge>;

    /// What the code words make of an edge.
    struct Name
    {
        int cyclicId = 0;  ///< 0: not named, -1: named differently by two code words
        int codeWords = 0; ///< that name it
    };

    void ReadCodeWords(Column column);
    int CodeWordAt(Column column, std::size_t last) const;
    int NextOf(int id) const { return id < m_cycle ? id + 1 : 1; }
    std::size_t RunFrom(std::size_t first) const;
    void NameEdges();
    void NameEdgesOf(std::size_t last);
    void WriteWords(Column column, int index, LxCV::CCTImage& words) const;

    const LxCV::LxCPinholeFramework& m_model;
    int m_maxDistance;            ///< rows; edges further apart are not read as successive
    int m_minRun;                 ///< code words that must agree
    bool m_namesOthers;           ///< whether a code word names its first edges, too
    int m_cycle = 0;              ///< how many cyclic numbers the pattern has
    std::span<const int> m_table; ///< of the pattern: cyclic number of the last edge, by code word
    std::vector<int> m_lastIds;   ///< per edge of a column: cyclic id by the code word that ends there, or 0
    std::vector<Name> m_names;    ///< per edge of a column
};

} // namespace decoder
