// The rigid transform of the library.
#pragma once

#include "lxc3dcoordscct.h"
#include "orx/base/export.h"

#include <array>
#include <cstdint>
#include <string>

namespace LxCV {

class LxCCCTSerializer;

/// A homogeneous 4x4 matrix F together with its inverse B and the Euler angles of its rotation block.
///
/// Direction: forward leads from the parent (or world) frame into the object's local frame, backward from the
/// local frame into the parent frame: pointInLocal = F·pointInParent, pointInParent = B·pointInLocal.
///
/// Stored: F and B row-major, row r and column c at element 4r+c. The upper left 3x3 block R is the rotation,
/// elements 3, 7 and 11 the translation in mm. Rx, Ry, Rz are radians, with
/// R = X(Rx)·Y(Ry)·Z(Rz) for the right-handed rotations X, Y, Z about the axes; element (0,2) is sin(Ry).
///
/// Invariant: B is the inverse of F and the angles are those of R after every operation, but for these, which
/// say so: the partial setters, `MakePerspectiveProjection`, and `Invert`, which only negates the angles.
/// A rotation about Ry = +-90 degrees has Rx = 0 by convention.
///
/// Output pointers of the mappings must not be null; they may point to the inputs' own variables. Const
/// operations may run on many threads at once; writing needs the caller's exclusion.
class ORX_EXPORT LxCCoordSysTrans
{
public:
    static constexpr std::uint64_t ms_uivRIdx[9] = {0, 1, 2, 4, 5, 6, 8, 9, 10}; ///< the rotation block
    static constexpr std::uint64_t ms_uivTIdx[3] = {3, 7, 11};                   ///< the translation
    static constexpr std::uint64_t ms_uivOneIdx[4] = {0, 5, 10, 15};             ///< the diagonal

    /// The identity.
    LxCCoordSysTrans() = default;

    /// Takes 16 doubles, row-major, as the forward matrix; null gives the identity.
    explicit LxCCoordSysTrans(const double* forward);

    LxCCoordSysTrans(const LxCCoordSysTrans&) = default;
    LxCCoordSysTrans& operator=(const LxCCoordSysTrans&) = default;
    virtual ~LxCCoordSysTrans() = default;

    /// Copies matrices and angles; nothing is computed anew. A null `other` is ignored.
    void CopyFrom(const LxCCoordSysTrans* other);

    /// Both matrices identity, angles zero.
    void Reset();

    /// Solves the angles and inverts F as a general matrix, so that B is true for any regular F.
    /// @return false if F is singular or not finite; B is undefined then. The operations below that end with
    ///         an update pass this result on.
    bool Update();

    /// Writes the rotation block from the angles (radians), and the translation (mm); leaves the last row of F
    /// as it is.
    bool ReadFromEulerAnglesAndVector(double rx, double ry, double rz, double tx, double ty, double tz);

    /// The same from three angles and three translation values; a null pointer stands for zeros.
    bool ReadFromEulerAnglesAndVector(const double* angles, const double* vector);

    /// The same from one array: Rx, Ry, Rz, tx, ty, tz.
    bool ReadFromEulerAnglesAndVector(const double* sixValues);

    /// Sets F from a row-major 3x3 rotation and a translation (mm). A null pointer leaves the identity rotation
    /// or the zero translation.
    bool ReadFromMatrixAndVector(const double* matrix, const double* vector);
    bool ReadFromMatrixAndVector(const double* matrix, double tx, double ty, double tz);
    bool ReadFromMatrixAndVector(const float* matrix, float tx, float ty, float tz);

    /// Sets F from the three columns of the rotation block (the pointer forms take rows) and the translation.
    bool ReadFromMatrixAndVector(const LxC3DCoordsCCT& a, const LxC3DCoordsCCT& b, const LxC3DCoordsCCT& c,
                                 const LxC3DCoordsCCT& t);

    bool MakeTranslation(const LxC3DCoordsCCT& translation);

    /// Rotation by `angle` (radians) about `axis`, whose length does not count (Rodrigues' formula). A zero axis
    /// gives the identity.
    bool MakeRotation(const LxC3DCoordsCCT& axis, double angle);

    /// F becomes the central projection (x, y, z, 1) -> (x, y, 0, z/f). F is singular then, so there is no
    /// update: B stays the identity and the angles zero.
    void MakePerspectiveProjection(double f);

    /// Overwrites the rotation block with nine values, row-major; null is ignored. B and the angles are stale
    /// until `Update`.
    void SetRotationPart(const double* matrix);

    /// Overwrites the translation (mm) with three values; null is ignored. B is stale until `Update`.
    void SetTranslationPart(const double* vector);

    /// F and B: 16 doubles, row-major, owned by this object.
    const double* GetForward() const { return m_dvForward.data(); }
    const double* GetBackward() const { return m_dvBackward.data(); }

    /// The stored angles in radians.
    double GetRx() const { return m_dRx; }
    double GetRy() const { return m_dRy; }
    double GetRz() const { return m_dRz; }

    /// Element `index` of the rotation block, row-major; 0.0 from index 9 on.
    double GetR(std::uint64_t index) const { return index < 9 ? m_dvForward[ms_uivRIdx[index]] : 0.0; }

    /// Element `index` of the translation (mm); 0.0 from index 3 on.
    double GetT(std::uint64_t index) const { return index < 3 ? m_dvForward[ms_uivTIdx[index]] : 0.0; }

    /// Writes Rx, Ry, Rz, tx, ty, tz; null is ignored.
    void WriteToEulerAnglesAndVector(double* sixValues) const;

    /// Writes the rotation block, row-major, and the translation; a null pointer skips that output.
    void WriteToMatrixAndVector(double* matrix, double* vector) const;

    /// Whether F is exactly the identity, without any tolerance.
    bool IsIdentity() const;

    /// F becomes A·B, with a factor's backward matrix where its flag is set. Either may be this object.
    bool Concatenate(const LxCCoordSysTrans& a, const LxCCoordSysTrans& b, bool invertA, bool invertB);

    /// F becomes O·F, with O the forward matrix of `other`, or its backward matrix if `invert`. A null `other`
    /// is the identity.
    bool LeftMultiply(const LxCCoordSysTrans* other, bool invert);

    /// Swaps F and B and negates the angles. Deliberately without trigonometry: the negated angles are not those
    /// of the inverse rotation until `Update`. Twice restores everything bit for bit. Always true.
    bool Invert();

    /// Parent to local frame: the upper three rows of F applied to (x, y, z, 1).
    void Transform(const LxC3DCoordsCCT& in, LxC3DCoordsCCT& out) const
    {
        Apply(m_dvForward, in.x, in.y, in.z, &out.x, &out.y, &out.z);
    }
    void Transform(double x, double y, double z, double* ox, double* oy, double* oz) const
    {
        Apply(m_dvForward, x, y, z, ox, oy, oz);
    }

    /// All of F applied to (x, y, z, w), without normalisation.
    void Transform(double x, double y, double z, double w, double* ox, double* oy, double* oz,
                   double* ow) const
    {
        Apply(m_dvForward, x, y, z, w, ox, oy, oz, ow);
    }

    /// Local to parent frame: the same three forms with B.
    void TransformInverse(const LxC3DCoordsCCT& in, LxC3DCoordsCCT& out) const
    {
        Apply(m_dvBackward, in.x, in.y, in.z, &out.x, &out.y, &out.z);
    }
    void TransformInverse(double x, double y, double z, double* ox, double* oy, double* oz) const
    {
        Apply(m_dvBackward, x, y, z, ox, oy, oz);
    }
    void TransformInverse(double x, double y, double z, double w, double* ox, double* oy, double* oz,
                          double* ow) const
    {
        Apply(m_dvBackward, x, y, z, w, ox, oy, oz, ow);
    }

    /// One step from the local frame to the parent frame.
    void LocalToWorldCoords(double x, double y, double z, double* ox, double* oy, double* oz) const
    {
        TransformInverse(x, y, z, ox, oy, oz);
    }

    /// Keys Tx, Ty, Tz (mm) and Rx, Ry, Rz (radians). Reading starts from the identity, so a missing key is
    /// zero, and keeps the angles bit for bit as the text has them: they are not solved from the matrix again.
    virtual void Serialize(LxCCCTSerializer& serializer, const std::string& section);

    /// Replaces `out` by the translation, the angles in degrees and the rotation block as text.
    void PrettyPrint(std::string& out) const;

private:
    using Matrix = std::array<double, 16>;

    static constexpr Matrix c_dvIdentity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

    static double Row(const Matrix& m, std::size_t first, double x, double y, double z)
    {
        return m[first] * x + m[first + 1] * y + m[first + 2] * z + m[first + 3];
    }
    static double Row(const Matrix& m, std::size_t first, double x, double y, double z, double w)
    {
        return m[first] * x + m[first + 1] * y + m[first + 2] * z + m[first + 3] * w;
    }

    // Everything is read before anything is written: the compiler cannot know that the outputs lie elsewhere.
    static void Apply(const Matrix& m, double x, double y, double z, double* ox, double* oy, double* oz)
    {
        const double rx = Row(m, 0, x, y, z);
        const double ry = Row(m, 4, x, y, z);
        const double rz = Row(m, 8, x, y, z);
        *ox = rx;
        *oy = ry;
        *oz = rz;
    }
    static void Apply(const Matrix& m, double x, double y, double z, double w, double* ox, double* oy,
                      double* oz, double* ow)
    {
        const double rx = Row(m, 0, x, y, z, w);
        const double ry = Row(m, 4, x, y, z, w);
        const double rz = Row(m, 8, x, y, z, w);
        const double rw = Row(m, 12, x, y, z, w);
        *ox = rx;
        *oy = ry;
        *oz = rz;
        *ow = rw;
    }

    static Matrix Multiply(const Matrix& a, const Matrix& b);
    void SetRotationFromAngles(double rx, double ry, double rz);
    void SolveRPYTransform();
    bool SolveBackward();

    Matrix m_dvForward = c_dvIdentity;  ///< parent frame to local frame, translation in mm
    Matrix m_dvBackward = c_dvIdentity; ///< local frame to parent frame, translation in mm
    double m_dRx = 0.0;                 ///< radians
    double m_dRy = 0.0;                 ///< radians
    double m_dRz = 0.0;                 ///< radians
};

} // namespace LxCV
