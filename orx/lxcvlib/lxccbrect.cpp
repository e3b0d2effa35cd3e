// Squares from corners, and what their corners tell.
#include "lxccbrect.h"

#include "c2dstraightline.h"
#include "lxccbrectedge.h"
#include "lxcrectcornercalibmark.h"

#include <algorithm>
#include <cmath>

namespace LxCV {

namespace {

using Corner = LxCRectCornerCalibMark;

// Places of the corners in their array.
constexpr std::size_t c_UpperLeft = 0;
constexpr std::size_t c_UpperRight = 1;
constexpr std::size_t c_LowerLeft = 2;
constexpr std::size_t c_LowerRight = 3;

constexpr double c_dMinSideQuotient = 0.7;
constexpr double c_dMaxSideQuotient = 1.3;
constexpr double c_dMaxSideDifference = 3.0; // pixels; small squares differ by more than the quotients allow
constexpr int c_iSkippedAtGap = 1;           // entries left out where a fourth corner is made

Corner* IfOfType(Corner* corner, Corner::EType type)
{
    return corner != nullptr && corner->GetType() == type ? corner : nullptr;
}

Corner* IfFree(Corner* corner)
{
    return corner != nullptr && !corner->IsPartOfRect() ? corner : nullptr;
}

Corner* FirstOf(Corner* first, Corner* second)
{
    return first != nullptr ? first : second;
}

/// The upper left or lower right corner that a square can be built from.
Corner* FindAnchor(Corner* corner)
{
    if (corner == nullptr) {
        return nullptr;
    }
    switch (corner->GetType()) {
    case Corner::eUpperLeft:
    case Corner::eLowerRight:
        return corner;
    case Corner::eUpperRight:
        return FirstOf(IfOfType(corner->GetLeftNeighbor(), Corner::eUpperLeft),
                       IfOfType(corner->GetLowerNeighbor(), Corner::eLowerRight));
    case Corner::eLowerLeft:
        return FirstOf(IfOfType(corner->GetUpperNeighbor(), Corner::eUpperLeft),
                       IfOfType(corner->GetRightNeighbor(), Corner::eLowerRight));
    case Corner::eNone:
        break;
    }
    return nullptr;
}

/// Where the ends of two edges cross.
bool IntersectEnds(const LxCCBRectEdge& horEdge, const LxCCBRectEdge& verEdge, double& x, double& y)
{
    C2DStraightLine hor;
    C2DStraightLine ver;
    double residual = 0.0;
    return horEdge.FitToStrLine(&hor, horEdge.GetLen(), c_iSkippedAtGap, false, residual, true) &&
           verEdge.FitToStrLine(&ver, verEdge.GetLen(), c_iSkippedAtGap, false, residual, true) &&
           hor.Intersect(&ver, &x, &y) && std::isfinite(x) && std::isfinite(y);
}

bool HoldsJust(const LxCCBRectEdge* edge, const LxCCBRectEdge* sameEdge, const Corner* start,
               const Corner* end)
{
    return edge != nullptr && edge == sameEdge && edge->GetCorner(true) == start &&
           edge->GetCorner(false) == end;
}

bool IsSideQuotient(double quotient)
{
    return c_dMinSideQuotient <= quotient && quotient <= c_dMaxSideQuotient;
}

/// The mean of what `position` tells of two corners, as far as they exist; false if neither does.
bool MeanOf(const Corner* first, const Corner* second, double (Corner::*position)() const, double& mean)
{
    if (first == nullptr && second == nullptr) {
        return false;
    }
    const Corner& one = first != nullptr ? *first : *second;
    const Corner& other = second != nullptr ? *second : *first;
    mean = ((one.*position)() + (other.*position)()) / 2.0;
    return true;
}

double MeanDistance(const std::array<Corner*, 4>& from, const LxCCBRect* to,
                    double (Corner::*position)() const)
{
    if (to == nullptr) {
        return 0.0;
    }
    double sum = 0.0;
    int count = 0;
    for (std::size_t i = 0; i < from.size(); ++i) {
        const Corner* const target = to->GetCorners()[i];
        if (from[i] != nullptr && target != nullptr) {
            sum += (target->*position)() - (from[i]->*position)();
            ++count;
        }
    }
    return count == 0 ? 0.0 : sum / count;
}

} // namespace

bool LxCCBRect::HasFourCorners() const
{
    return std::find(m_aCorners.begin(), m_aCorners.end(), nullptr) == m_aCorners.end();
}

void LxCCBRect::FindCornersFromUpperLeft(Corner& anchor)
{
    m_aCorners[c_UpperLeft] = &anchor;
    Corner* const upperRight = IfFree(IfOfType(anchor.GetRightNeighbor(), Corner::eUpperRight));
    Corner* const lowerLeft = IfFree(IfOfType(anchor.GetLowerNeighbor(), Corner::eLowerLeft));
    m_aCorners[c_UpperRight] = upperRight;
    m_aCorners[c_LowerLeft] = lowerLeft;
    m_aCorners[c_LowerRight] =
        IfOfType(FirstOf(lowerLeft != nullptr ? lowerLeft->GetRightNeighbor() : nullptr,
                         upperRight != nullptr ? upperRight->GetLowerNeighbor() : nullptr),
                 Corner::eLowerRight);
}

void LxCCBRect::FindCornersFromLowerRight(Corner& anchor)
{
    m_aCorners[c_LowerRight] = &anchor;
    Corner* const upperRight = IfFree(IfOfType(anchor.GetUpperNeighbor(), Corner::eUpperRight));
    Corner* const lowerLeft = IfFree(IfOfType(anchor.GetLeftNeighbor(), Corner::eLowerLeft));
    m_aCorners[c_UpperRight] = upperRight;
    m_aCorners[c_LowerLeft] = lowerLeft;
    m_aCorners[c_UpperLeft] =
        IfFree(IfOfType(FirstOf(upperRight != nullptr ? upperRight->GetLeftNeighbor() : nullptr,
                                lowerLeft != nullptr ? lowerLeft->GetUpperNeighbor() : nullptr),
                        Corner::eUpperLeft));
}

void LxCCBRect::MakeFourthCorner(std::unique_ptr<Corner>& virtualCorner)
{
    const auto place = static_cast<std::size_t>(std::find(m_aCorners.begin(), m_aCorners.end(), nullptr) -
                                                m_aCorners.begin());
    // The edges that end at the gap are those of the corners across: one column further, one row further.
    LxCCBRectEdge* const horEdge = m_aCorners[place ^ 1U]->GetHorEdge();
    LxCCBRectEdge* const verEdge = m_aCorners[place ^ 2U]->GetVerEdge();
    double x = 0.0;
    double y = 0.0;
    if (horEdge == nullptr || verEdge == nullptr || !IntersectEnds(*horEdge, *verEdge, x, y)) {
        return;
    }
    virtualCorner = std::make_unique<Corner>(true);
    Corner& corner = *virtualCorner;
    const bool isLeft = (place & 1U) == 0;
    const bool isUpper = (place & 2U) == 0;
    corner.SetType(Corner::TypeOf(isLeft, isUpper));
    corner.SetXImg(x);
    corner.SetYImg(y);
    corner.SetEdges(horEdge, verEdge);
    horEdge->SetCorner(isLeft, &corner);
    verEdge->SetCorner(isUpper, &corner);
    m_aCorners[place] = &corner;
}

bool LxCCBRect::DetRemCorners(Corner* corner, std::unique_ptr<Corner>& virtualCorner, bool checkPlausible)
{
    m_aCorners = {};
    virtualCorner.reset();
    Corner* const anchor = FindAnchor(corner);
    if (anchor == nullptr) {
        return false;
    }
    if (anchor->GetType() == Corner::eUpperLeft) {
        FindCornersFromUpperLeft(*anchor);
    } else {
        FindCornersFromLowerRight(*anchor);
    }
    // First, so that without memory for it no corner points to a square that its owner gives up.
    if (std::count(m_aCorners.begin(), m_aCorners.end(), nullptr) == 1) {
        MakeFourthCorner(virtualCorner);
    }
    for (Corner* const found : m_aCorners) {
        if (found != nullptr) {
            found->SetRect(this);
        }
    }
    if (HasFourCorners() && (!checkPlausible || IsPlausible())) {
        return true;
    }
    for (Corner*& found : m_aCorners) {
        if (found != nullptr) {
            found->SetRect(nullptr);
            found = nullptr;
        }
    }
    return false;
}

/// Whether each of the four edges has just the two corners of its side.
bool LxCCBRect::HasSharedEdges() const
{
    const auto& [upperLeft, upperRight, lowerLeft, lowerRight] = m_aCorners;
    return HoldsJust(upperLeft->GetHorEdge(), upperRight->GetHorEdge(), upperLeft, upperRight) &&
           HoldsJust(lowerLeft->GetHorEdge(), lowerRight->GetHorEdge(), lowerLeft, lowerRight) &&
           HoldsJust(upperLeft->GetVerEdge(), lowerLeft->GetVerEdge(), upperLeft, lowerLeft) &&
           HoldsJust(upperRight->GetVerEdge(), lowerRight->GetVerEdge(), upperRight, lowerRight);
}

bool LxCCBRect::IsPlausible() const
{
    if (IsInvalid() || !HasSharedEdges()) {
        return false;
    }
    const auto& [upperLeft, upperRight, lowerLeft, lowerRight] = m_aCorners;
    const double top = upperRight->GetXImg() - upperLeft->GetXImg();
    const double bottom = lowerRight->GetXImg() - lowerLeft->GetXImg();
    const double left = lowerLeft->GetYImg() - upperLeft->GetYImg();
    const double right = lowerRight->GetYImg() - upperRight->GetYImg();
    if (bottom == 0.0 || right == 0.0) {
        return false;
    }
    return (IsSideQuotient(top / bottom) && IsSideQuotient(left / right)) ||
           (std::abs(top - bottom) < c_dMaxSideDifference && std::abs(left - right) < c_dMaxSideDifference);
}

double LxCCBRect::GetXCenter() const
{
    double left = 0.0;
    double right = 0.0;
    return MeanOf(m_aCorners[c_UpperLeft], m_aCorners[c_LowerLeft], &Corner::GetXImg, left) &&
                   MeanOf(m_aCorners[c_UpperRight], m_aCorners[c_LowerRight], &Corner::GetXImg, right)
               ? (left + right) / 2.0
               : -1.0;
}

double LxCCBRect::GetYCenter() const
{
    double upper = 0.0;
    double lower = 0.0;
    return MeanOf(m_aCorners[c_UpperLeft], m_aCorners[c_UpperRight], &Corner::GetYImg, upper) &&
                   MeanOf(m_aCorners[c_LowerLeft], m_aCorners[c_LowerRight], &Corner::GetYImg, lower)
               ? (upper + lower) / 2.0
               : -1.0;
}

double LxCCBRect::GetXDist(const LxCCBRect* other) const
{
    return MeanDistance(m_aCorners, other, &Corner::GetXImg);
}

double LxCCBRect::GetYDist(const LxCCBRect* other) const
{
    return MeanDistance(m_aCorners, other, &Corner::GetYImg);
}

bool LxCCBRect::IsEnclosedBy(const LxCCBRect& other) const
{
    if (!HasFourCorners() || !other.HasFourCorners()) {
        return false;
    }
    for (std::size_t place = 0; place < m_aCorners.size(); ++place) {
        const double x = m_aCorners[place]->GetXImg();
        const double y = m_aCorners[place]->GetYImg();
        const double outerX = other.m_aCorners[place]->GetXImg();
        const double outerY = other.m_aCorners[place]->GetYImg();
        const bool isInsideX = (place & 1U) == 0 ? x > outerX : x < outerX;
        const bool isInsideY = (place & 2U) == 0 ? y > outerY : y < outerY;
        if (!isInsideX || !isInsideY) {
            return false;
        }
    }
    return true;
}

bool LxCCBRect::IsInvalid() const
{
    return std::any_of(m_aCorners.begin(), m_aCorners.end(),
                       [](const Corner* corner) { return corner == nullptr || corner->IsInvalid(); });
}

void LxCCBRect::MakeInvalid()
{
    for (Corner* const corner : m_aCorners) {
        if (corner != nullptr) {
            corner->MakeInvalid();
        }
    }
}

int LxCCBRect::GetManAssignedId() const
{
    for (const std::size_t place : {c_UpperLeft, c_LowerLeft, c_UpperRight, c_LowerRight}) {
        const Corner* const corner = m_aCorners[place];
        if (corner != nullptr && corner->IsRectIdManAssigned()) {
            return corner->GetRectId();
        }
    }
    return 0;
}

} // namespace LxCV
