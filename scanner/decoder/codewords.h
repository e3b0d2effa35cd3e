// Reads code words along image columns and names the stripe edges.
#pragma once

#include "lxcsymbol.h"
#include "scanner/decoder/decoderconfig.h"

#include <vector>

namespace LxCV {
class CCTImage;
class LxCPinholeFramework;
} // namespace LxCV

namespace decoder {

/// A stripe edge seen at one place of one image column.
struct EdgePixel
{
    int column;     ///< pixels
    double row;     ///< pixels, distorted image; integer rows are pixel centres
    int stripeEdge; ///< number of the stripe edge on the slide
};

/// Names the stripe edges of an image of `LxCExtremum` words.
///
/// Three successive edges of a column give a code word, and the pattern's table gives the cyclic number of its
/// last edge. A code word counts where the next or the previous code word of the column, which shares two of its
/// edges, says the same of them; edges that two confirmed code words name differently are dropped. The model
/// turns cyclic numbers into stripe edge numbers by the working range. Edge numbers grow with the image row.
class CodeWordReader
{
public:
    /// @param model calibrated, with its pattern's tables for code words of four digits; must outlive the reader
    CodeWordReader(const LxCV::LxCPinholeFramework& model, const DecoderConfig& config)
        : m_model(model), m_config(config)
    {}

    /// Appends the named edges of all columns, by ascending column and row, and writes the stripe edge number
    /// as untraced id into their words where it fits the 8 bits. A model whose pattern has no table, or one for
    /// code words of another length, names nothing.
    /// @param words image of type INT32; one without pixels holds no edges
    /// @throws std::invalid_argument for pixels of another type
    void Read(LxCV::CCTImage& words, std::vector<EdgePixel>& edges);

private:
    /// One word of the column that is being read.
    struct ColumnEdge
    {
        int pixelRow;
        double row;
        LxCV::LxCSymbol symbol;
        int cyclicId; ///< 0: not named, -1: named differently by two code words
    };

    void CollectColumn(const LxCV::CCTImage& words, int column);
    void ReadCodeWords();
    int CodeWordAt(std::size_t last) const;
    void NameEdges();

    const LxCV::LxCPinholeFramework& m_model;
    DecoderConfig m_config;
    int m_cycle = 0; ///< how many cyclic numbers the pattern has
    std::vector<ColumnEdge> m_column;
    std::vector<int> m_lastIds; ///< per edge of the column: cyclic id by the code word that ends there, or 0
};

} // namespace decoder
