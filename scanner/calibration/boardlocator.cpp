#include "scanner/calibration/boardlocator.h"

#include "lxccalibedge.h"
#include "lxccalibrationtargetwriter.h"
#include "lxccbcalibbody.h"
#include "lxccbcalibthres.h"
#include "lxccbrect.h"
#include "lxccctserializer.h"
#include "lxccolorvalueargb8.h"
#include "lxcgdiplusbitmaputilities.h"
#include "lxcrectcornercalibmark.h"
#include "orx/platform/keyvaluestore.h"
#include "scanner/calibration/cornerid.h"
#include "scanner/calibration/exportedrecords.h"
#include "scanner/calibration/turnedimage.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iomanip>
#include <limits>
#include <locale>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace calibration {

using LxCV::CCTImage;
using LxCV::ECalibError;
using LxCV::LxCCalibData;
using LxCV::LxCCBCalibThres;
using LxCV::LxCRectCornerCalibMark;

namespace {

constexpr std::size_t c_markedSquares = 4;
constexpr const char* c_thresholdsSection = "::Thres";

/// The text of a data file, its line ends a line feed each.
std::string ReadDataFile(const std::filesystem::path& file)
{
    constexpr std::size_t most = std::size_t{16} << 20; // bytes; some 2000 of the longest data files
    std::error_code ignored;
    std::ifstream stream;
    if (std::filesystem::is_directory(file, ignored)) {
        errno = EISDIR;
    } else {
        stream.open(file, std::ios::binary);
    }
    if (!stream.is_open()) {
        throw std::runtime_error("cannot open '" + file.string() +
                                 "': " + std::generic_category().message(errno));
    }
    std::string text(most + 1, '\0');
    stream.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(stream.gcount()));
    if (stream.bad() || text.size() > most) {
        throw std::runtime_error("'" + file.string() +
                                 "' cannot be read, or is too long for a target's data");
    }
    std::string::size_type end = 0;
    while ((end = text.find("\r\n", end)) != std::string::npos) {
        text.erase(end, 1);
    }
    return text;
}

/// Grey levels of 16 bits as `eIDT_FLOAT32` from 0 to 255.
CCTImage FromSixteenBits(const CCTImage& image)
{
    constexpr float step = 257.0F;
    CCTImage grey(image.GetWidth(), image.GetHeight(), CCTImage::eIDT_FLOAT32, true, nullptr);
    const auto* from = static_cast<const std::uint16_t*>(image.GetBuffer());
    auto* to = static_cast<float*>(grey.GetBuffer());
    std::transform(from, from + image.GetSizeInPixels(), to,
                   [](std::uint16_t level) { return static_cast<float>(level) / step; });
    return grey;
}

/// What an identification's failure means.
std::string ToProblem(ECalibError error, std::size_t marked)
{
    switch (error) {
    case LxCV::eCalibOk:
        return "";
    case LxCV::eCalibNoFourSquares:
        if (marked > c_markedSquares) {
            return "found " + std::to_string(marked) +
                   " dark squares with a bright square inside instead of four: the image shows more than one "
                   "target, or something like one";
        }
        return "found " + std::to_string(marked) +
               " of the four dark squares with a bright square inside; all of them need to be visible";
    case LxCV::eCalibWrongOrientation:
        return "the squares with a bright square inside do not form the figure of the target";
    case LxCV::eCalibTiltTooStrong:
        return "the squares with a bright square inside were found, but the target's tilt is too strong";
    case LxCV::eCalibMirrorTube:
        return "the image is mirrored, or the target's tilt is too strong";
    case LxCV::eCalibImageUnsuitable:
        return "the image's pixels are of a type that is not supported";
    case LxCV::eCalibNoMemory:
        return "the memory does not suffice";
    default:
        return "calibration error " + std::to_string(static_cast<int>(error));
    }
}

LxCV::LxCColorValueARGB8 ColourOf(const LxCV::LxCCalibMark& mark)
{
    return mark.GetId() != 0 && mark.UseForCalib() ? LxCV::LxCColorValueARGB8::eRed
                                                   : LxCV::LxCColorValueARGB8::eMagenta;
}

int Round(double pixels)
{
    return static_cast<int>(std::lround(std::clamp(pixels, -1e6, 1e6)));
}

} // namespace

std::string DataFileOf(const device::Checkerboard& board)
{
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << std::setprecision(std::numeric_limits<float>::max_digits10) << c_thresholdsSection
         << "\nNrOfRows=" << board.rows << "\nNrOfCols=" << board.columns
         << "\nIdOfFirstMarkedSquare=" << board.idOfFirstMarkedSquare << "\n\n::Coords\n";
    for (int row = 0; row < board.rows; ++row) {
        for (int column = 0; column < board.columns; ++column) {
            for (const double y : {board.squareBegin, board.squareEnd}) {
                for (const double x : {board.squareBegin, board.squareEnd}) {
                    text << board.pitch * column + x << " " << board.pitch * row + y << " 0\n";
                }
            }
        }
    }
    return text.str();
}

/// A target that tells how many coordinates it has.
class BoardLocator::Target : public LxCV::LxCCBCalibBody
{
public:
    Target() : LxCCBCalibBody(true) {}

    LxCCBCalibThres& Thresholds() { return *GetCBThres(); }

    /// Becomes a target of the same coordinates and thresholds, without marks.
    void TakeBoardOf(const Target& other)
    {
        Reset();
        m_vWorldCoords = other.m_vWorldCoords;
        m_bNormalized = other.m_bNormalized;
        *GetCBThres() = *other.GetCBThres();
        FillVectorBlackAreaOnTarget();
    }

    /// Moves the marks from a turned image to its source, of which the size is given.
    void TurnBack(const TurnedImage& turned, int width, int height)
    {
        for (LxCV::LxCCalibMark* mark : m_vMarks) {
            const device::Vec2 place = turned.ToSource({mark->GetXImg(), mark->GetYImg()});
            mark->SetXImg(place.x);
            mark->SetYImg(place.y);
        }
        FilterOutMarksInImgMargin(width, height);
    }

    /// Takes the corners of squares with a computed corner out of use. Nearly all of these are cut by the border of the
    /// image: the edge that leaves it is short, and its extrema bend along the border.
    void LeaveOutCutSquares()
    {
        for (const LxCV::LxCCBRect* square : m_vRects) {
            const auto& corners = square->GetCorners();
            if (std::any_of(corners.begin(), corners.end(), [](const LxCRectCornerCalibMark* corner) {
                    return corner == nullptr || corner->IsVirtual();
                })) {
                for (LxCRectCornerCalibMark* corner : corners) {
                    if (corner != nullptr) {
                        corner->MarkAsUnusableForCalib();
                    }
                }
            }
        }
    }

    /// @throws std::runtime_error unless each square has coordinates
    void RequireCoordinates(const std::string& name) const
    {
        const LxCCBCalibThres& thresholds = *GetCBThres();
        const auto squares = static_cast<double>(thresholds.m_iNrOfRows) * thresholds.m_iNrOfCols;
        if (!(thresholds.m_iNrOfRows > 0 && thresholds.m_iNrOfCols > 0 &&
              static_cast<double>(m_vWorldCoords.size()) >= c_cornersOfSquare * squares)) {
            throw std::runtime_error(name + " has coordinates of " + std::to_string(m_vWorldCoords.size()) +
                                     " corners, too few for its " + std::to_string(thresholds.m_iNrOfRows) +
                                     " rows of " + std::to_string(thresholds.m_iNrOfCols) + " squares");
        }
    }
};

BoardLocator::BoardLocator()
{
    UseBoard(device::Checkerboard());
}

BoardLocator::~BoardLocator() = default;

std::unique_ptr<BoardLocator::Target> BoardLocator::LoadText(const std::string& text,
                                                             const std::string& name) const
{
    auto target = std::make_unique<Target>();
    std::stringstream stream(text);
    if (target->Read3DCoordsFromStream(stream) != LxCV::eCalibOk) {
        throw std::runtime_error(name + " has no list of coordinates as a target's data file has");
    }
    LxCV::LxCCCTSerializer serializer;
    serializer.ReadFromStringStream(stream);
    serializer.Init(false, true);
    target->Thresholds().Serialize(serializer, c_thresholdsSection);
    target->RequireCoordinates(name);
    return target;
}

void BoardLocator::UseBoard(const device::Checkerboard& board)
{
    m_target = LoadText(DataFileOf(board), "the board");
}

void BoardLocator::LoadFile(const std::filesystem::path& file)
{
    m_target = LoadText(ReadDataFile(file), "'" + file.string() + "'");
}

bool BoardLocator::LoadInstalled()
{
    using platform::EStoreRoot;
    constexpr const char* key = LxCV::LxCCalibrationTargetWriter::sc_sRegistryKey;
    if (!platform::HasStoreKey(EStoreRoot::eCurrentUser, key) &&
        !platform::HasStoreKey(EStoreRoot::eLocalMachine, key)) {
        return false;
    }
    auto target = std::make_unique<Target>();
    target->SetCoordFile(LxCV::LxCCalibBody::sc_FilenameReadFromRegistry);
    const ECalibError error = target->LoadDataFile();
    if (error == LxCV::eCalibRegistryValueMissing) {
        return false;
    }
    if (error != LxCV::eCalibOk) {
        throw std::runtime_error("the installed target's data have no list of coordinates");
    }
    target->RequireCoordinates("the installed target");
    m_target = std::move(target);
    return true;
}

LxCCBCalibThres& BoardLocator::Thresholds()
{
    return m_target->Thresholds();
}

bool BoardLocator::Prepare(const CCTImage& image)
{
    CCTImage& input = m_images.GetImage(LxCCalibData::eCamImage);
    const int width = image.GetWidth(), height = image.GetHeight();
    if (!image.IsValid()) {
        return false;
    }
    if (image.GetDataType() == CCTImage::eIDT_UINT16) {
        return Prepare(FromSixteenBits(image));
    }
    const bool isColour = image.GetNumChannels() > 1;
    if (input.Resize(width, height, CCTImage::eIDT_FLOAT32_3) != CCTImage::eRC_OK ||
        m_colours.Resize(width, height, CCTImage::eIDT_ARGB8) != CCTImage::eRC_OK ||
        image.ConvertToARGB8(&m_colours, false) != CCTImage::eRC_OK ||
        (isColour ? image.ConvertToFloat(&input, false)
                  : image.CreateRGBFromSingleChannel(&input, LxCV::LxCColorValueFloat::eGreen)) !=
            CCTImage::eRC_OK) {
        return false;
    }
    // Only what this step works on; `Init` would provide the projector's images, too.
    using enum CCTImage::EImageDataType;
    for (const auto& [which, type] : {std::pair{LxCCalibData::eCamImageSmoothed, eIDT_FLOAT32_3},
                                      {LxCCalibData::eCamGradientVer, eIDT_FLOAT32},
                                      {LxCCalibData::eCamGradientHor, eIDT_FLOAT32},
                                      {LxCCalibData::eCamHorEdges, eIDT_INT32},
                                      {LxCCalibData::eCamVerEdges, eIDT_INT32},
                                      {LxCCalibData::eCamVerIds, eIDT_INT32},
                                      {LxCCalibData::eCamHorIds, eIDT_INT32}}) {
        if (m_images.GetImage(which).Resize(width, height, type) != CCTImage::eRC_OK) {
            return false;
        }
    }
    return true;
}

ECalibError BoardLocator::Find(StageTimes& times)
{
    ECalibError error = LxCV::eCalibOk;
    times.Run("locate", [&] { error = m_target->LocateCalibMarks(m_images, false); });
    if (error != LxCV::eCalibOk) {
        return error;
    }
    times.Run("identify", [&] { error = m_target->IdentifyCalibMarks(); });
    if (error != LxCV::eCalibOk) {
        return error;
    }
    times.Run("assess", [&] {
        error = m_target->AssessMarkQual(&m_colours);
        m_target->LeaveOutCutSquares();
    });
    times.Run("refine", [&] { Refine(); });
    return error;
}

void BoardLocator::Refine()
{
    switch (m_refinement) {
    case Refinement::eNone:
        break;
    case Refinement::eWholeEdges:
        m_target->ImprovePositionByEstimatedCorner();
        break;
    case Refinement::eRowPolynomials:
        m_target->ImprovePositionByPolyOverEntireImage(nullptr);
        break;
    }
}

std::vector<BoardMark> BoardLocator::NamedMarks() const
{
    std::vector<BoardMark> marks;
    for (const LxCV::LxCCalibMark* found : m_target->GetCalibMarks()) {
        if (found->GetId() == 0 || found->IsInvalid()) {
            continue;
        }
        BoardMark mark;
        mark.id = found->GetId();
        mark.image = {found->GetXImg(), found->GetYImg()};
        const LxCV::LxC3DCoordsCCT world = m_target->GetWorldCoords(*found);
        mark.world = {world.x, world.y, world.z};
        mark.quality = found->GetQuality();
        mark.usable = found->UseForCalib();
        const auto* corner = dynamic_cast<const LxCRectCornerCalibMark*>(found);
        mark.computed = corner != nullptr && corner->IsVirtual();
        marks.push_back(mark);
    }
    std::stable_sort(marks.begin(), marks.end(),
                     [](const BoardMark& a, const BoardMark& b) { return a.id < b.id; });
    return marks;
}

void BoardLocator::Count(LocatedBoard& board) const
{
    board.corners = m_target->GetCalibMarks().size();
    board.squares = m_target->GetRects().size();
    std::vector<LxCV::LxCCBRect*> embedded, enclosing;
    m_target->DetectEmbeddedRects(embedded, enclosing);
    board.marked = enclosing.size();
}

/// Searches the last image once more, turned. Unless that identifies the target, the marks stay.
void BoardLocator::FindTurned(LocatedBoard& board)
{
    const CCTImage& input = m_images.GetImage(LxCCalibData::eCamImage);
    const int width = input.GetWidth(), height = input.GetHeight();
    auto other = std::make_unique<Target>();
    other->TakeBoardOf(*m_target);
    m_target.swap(other);
    std::optional<TurnedImage> turned;
    ECalibError error = LxCV::eCalibImageUnsuitable;
    StageTimes& times = board.times;
    times.Run("prepare", [&] {
        turned.emplace(input);
        if (Prepare(turned->Image())) {
            error = LxCV::eCalibOk;
        }
    });
    if (error == LxCV::eCalibOk) {
        error = Find(times);
    }
    if (error != LxCV::eCalibOk) {
        m_target.swap(other);
        return;
    }
    Count(board);
    m_target->TurnBack(*turned, width, height);
    board.error = error;
    board.isTurned = true;
}

LocatedBoard BoardLocator::Locate(const CCTImage& image)
{
    LocatedBoard board;
    m_target->Reset();
    bool isPrepared = false;
    board.times.Run("prepare", [&] { isPrepared = Prepare(image); });
    board.error = isPrepared ? Find(board.times) : LxCV::eCalibImageUnsuitable;
    Count(board);
    if (board.error == LxCV::eCalibNoFourSquares && board.marked < c_markedSquares &&
        image.GetSizeInPixels() <= sc_largestTurned) {
        FindTurned(board);
    }
    board.problem = ToProblem(board.error, board.marked);
    if (board.error == LxCV::eCalibOk) {
        board.orientation = m_target->GetCalibOrientation();
        board.marks = NamedMarks();
    }
    return board;
}

std::vector<LxCV::LxCCalibrationData> BoardLocator::ExportRecords()
{
    return calibration::ExportRecords(*m_target);
}

void BoardLocator::Draw(CCTImage& picture)
{
    m_target->DrawCalibMarks(&picture);
    LxCV::LxCGdiPlusBitmapUtilities surface(picture);
    constexpr int arm = 4, fontSize = 12; // pixels
    for (const LxCV::LxCCalibMark* mark : m_target->GetCalibMarks()) {
        if (!mark->IsInvalid()) {
            const int x = Round(mark->GetXImg()), y = Round(mark->GetYImg());
            surface.DrawLine(x - arm, y, x + arm, y, ColourOf(*mark));
            surface.DrawLine(x, y - arm, x, y + arm, ColourOf(*mark));
        }
    }
    for (const LxCV::LxCCBRect* square : m_target->GetRects()) {
        if (square->GetId() > 0) {
            const std::wstring text = std::to_wstring(square->GetId());
            constexpr int halfDigit = 3;
            surface.DrawTextW(text, Round(square->GetXCenter()) - halfDigit * static_cast<int>(text.size()),
                              Round(square->GetYCenter()) - fontSize / 2, fontSize,
                              LxCV::LxCColorValueARGB8::eRed);
        }
    }
    surface.CopyResult(&picture);
}

CCTImage BoardLocator::DrawEdges() const
{
    const CCTImage& horizontal = m_images.GetImage(LxCCalibData::eCamHorEdges);
    const CCTImage& vertical = m_images.GetImage(LxCCalibData::eCamVerEdges);
    CCTImage picture(horizontal.GetWidth(), horizontal.GetHeight(), CCTImage::eIDT_ARGB8, true, nullptr);
    picture.Clear();
    for (int y = 0; y < picture.GetHeight(); ++y) {
        for (int x = 0; x < picture.GetWidth(); ++x) {
            for (const CCTImage* edges : {&vertical, &horizontal}) {
                const LxCV::LxCCalibEdge edge(edges->GetInt32PixelFast(x, y));
                if (edge.HasEntry()) {
                    const LxCV::LxCColorValueARGB8 colour =
                        edge.IsLocalMax() ? LxCV::LxCColorValueARGB8::eGreen : LxCV::LxCColorValueARGB8::eRed;
                    picture.SetPixelFast(x, y, &colour);
                }
            }
        }
    }
    return picture;
}

} // namespace calibration
