// Data files, numbers and thresholds of calibration targets.
#include "scanner/calibration/modeltargets.h"

#include "lxccalibrationtargetwriter.h"
#include "lxccbcalibthres.h"
#include "lxccprojslidecalibthres.h"
#include "lxcpinholeframework.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>
#include <string>

namespace calibration {

namespace {

using LxCV::LxCCalibBody;
using LxCV::LxCCalibrationTargetWriter;
using LxCV::LxCCalibThres;
using LxCV::LxCCBCalibThres;
using LxCV::LxCCProjSlideCalibThres;
using LxCV::LxCPinholeFramework;
using LxCV::LxCStripePattern;

constexpr const char* c_board = "::CamCalibBody";
constexpr const char* c_slide = "::ProjCalibBody";
constexpr const char* c_correct = "correct it";

/// Collects what one model's targets are found to be.
class TargetCheck
{
public:
    std::vector<ModelFinding> Run(const LxCPinholeFramework& model)
    {
        CheckBoardFile(model.GetCamCalibBody()->GetCoordFile());
        if (const auto* const board =
                dynamic_cast<const LxCCBCalibThres*>(model.GetCamCalibBody()->GetThres())) {
            CheckBoard(*board);
            CheckSmoothing(*board, c_board);
        }
        CheckSlideOfPattern(*model.GetCLPattern());
        if (const LxCCProjSlideCalibThres* const slide = model.GetProjCalibThres()) {
            CheckSlide(*slide, *model.GetCLPattern());
            CheckSmoothing(*slide, c_slide);
        }
        return std::move(m_findings);
    }

private:
    void Add(const std::string& section, const std::string& key, const std::string& problem,
             const std::string& advice, bool isError = true)
    {
        m_findings.push_back({isError, 0, section, key, problem, advice});
    }

    void CheckBoardFile(const std::string& name)
    {
        const std::string advice = std::string("write '") + LxCCalibBody::sc_FilenameReadFromRegistry +
                                   "' for the installed target, or the name of a data file";
        if (name.empty()) {
            Add(c_board, "CoordFile", "no data file is named", advice);
        } else if (name == LxCCalibBody::sc_StandardParammsDiaA2 ||
                   name == LxCCalibBody::sc_StandardParammsDiaC) {
            Add(c_board, "CoordFile", "'" + name + "' is a slide of the projector, no checkerboard", advice);
        } else if (name != LxCCalibBody::sc_FilenameReadFromRegistry && name.find('.') == std::string::npos) {
            Add(c_board, "CoordFile",
                "'" + name + "' has no '.', without which no thresholds are read from the file",
                "give the file an extension");
        }
    }

    void CheckBoard(const LxCCBCalibThres& board)
    {
        const std::string section = std::string(c_board) + "::Thres";
        const double squares = 1.0 * board.m_iNrOfRows * board.m_iNrOfCols;
        if (board.m_iIdOfFirstMarkedSquare < 1 || board.m_iIdOfFirstMarkedSquare > squares) {
            Add(section, "IdOfFirstMarkedSquare",
                "square " + std::to_string(board.m_iIdOfFirstMarkedSquare) +
                    " is none of the board's NrOfRows times NrOfCols",
                c_correct);
        }
        if (board.m_uiTargetId == 0) {
            return; // whichever is installed
        }
        constexpr unsigned int largest = 99'999'999;
        std::array<char, 16> digits{};
        std::snprintf(digits.data(), digits.size(), "%08u", board.m_uiTargetId);
        std::string number = digits.data();
        if (board.m_uiTargetId > largest ||
            LxCCalibrationTargetWriter::GetTargetType(number) == LxCCalibrationTargetWriter::eTT_Invalid) {
            Add(section, "TargetId",
                "is no target's number: the last two of its eight digits check the others",
                "install the target by its number: 'lumorad target install'");
        } else if (board.m_sTargetIdS != std::wstring(number.begin(), number.end())) {
            Add(section, "TargetIdS", "is another number than TargetId", "write the same number");
        }
    }

    /// Kernels are squares or rectangles with a pixel in their middle.
    void CheckSmoothing(const LxCCalibThres& thresholds, const std::string& target)
    {
        const auto check = [&](const char* key, int size) {
            if (thresholds.m_eSmoothingMode != LxCV::CCTImage::eSM_None && size % 2 == 0) {
                Add(target + "::Thres::Base", key,
                    "a kernel of " + std::to_string(size) + " pixels has no middle", "write an odd number");
            }
        };
        check("KernelSizeX", thresholds.m_iKernelSizeX);
        check("KernelSizeY", thresholds.m_iKernelSizeY);
    }

    void CheckSlideOfPattern(const LxCStripePattern& pattern)
    {
        const std::string& digits = pattern.GetPatternString();
        if (digits != LxCStripePattern::GetPatternStringA() &&
            digits != LxCStripePattern::GetPatternStringC()) {
            Add(c_slide, "CoordFile",
                "the pattern is that of no slide that is built in; the marks of slide A2 are taken",
                "calibrate the projector only with a slide that has these marks", false);
        }
    }

    void CheckSlide(const LxCCProjSlideCalibThres& slide, const LxCStripePattern& pattern)
    {
        const std::string section = std::string(c_slide) + "::Thres";
        const int edges = pattern.IsValid() ? pattern.GetNrOfStripeEdges() : 0;
        const auto& stripes = slide.m_viCalibMarkPos;
        const bool areRising =
            std::adjacent_find(stripes.begin(), stripes.end(), std::greater_equal<>()) == stripes.end();
        if (stripes.empty() || !areRising || stripes.front() < 1 || stripes.back() >= edges) {
            Add(section, "CalibMarkPos",
                "the stripes with marks are not within the " + std::to_string(edges) +
                    " edges of the pattern, or not in rising order",
                "correct PatternHeight and StripeWidth of the pattern");
        }
        const bool areInside =
            std::all_of(slide.m_viBlankOutMarkerPos.begin(), slide.m_viBlankOutMarkerPos.end(),
                        [&pattern](int position) { return position >= 0 && position <= pattern.GetWidth(); });
        if (!areInside) {
            Add(section, "BlankOutMarkerPos", "marks are not within the width of the pattern",
                "correct PatternWidth of the pattern");
        }
    }

    std::vector<ModelFinding> m_findings;
};

} // namespace

std::vector<ModelFinding> CheckTargets(const LxCPinholeFramework& model)
{
    return TargetCheck().Run(model);
}

} // namespace calibration
