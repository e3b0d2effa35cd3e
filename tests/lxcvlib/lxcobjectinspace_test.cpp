#include "lxcobjectinspace.h"

#include "hardposes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace LxCV {
namespace {

using TestSupport::Pose;

/// Roundings of a position on its way over a chain, relative to the largest coordinate on that way.
constexpr double kChainTolerance = 1e-13;

void Place(LxCObjectInSpace& object, const Pose& pose)
{
    object.ReadFromEulerAnglesAndVector(pose.rx, pose.ry, pose.rz, pose.tx, pose.ty, pose.tz);
}

/// `poses` as a chain; the first is the root.
std::vector<LxCObjectInSpace> MakeChain(const std::vector<Pose>& poses)
{
    std::vector<LxCObjectInSpace> chain(poses.size());
    for (std::size_t i = 0; i < poses.size(); ++i) {
        Place(chain[i], poses[i]);
        chain[i].SetMasterCoordSystem(i > 0 ? &chain[i - 1] : nullptr);
    }
    return chain;
}

double Reach(const std::vector<Pose>& poses)
{
    double reach = 100.0;
    for (const Pose& pose : poses) {
        reach += std::abs(pose.tx) + std::abs(pose.ty) + std::abs(pose.tz);
    }
    return reach;
}

const LxC3DCoordsCCT kPoint(12.5, -7.25, 88.0);

using PointMapping = void (LxCObjectInSpace::*)(double, double, double, double*, double*, double*) const;

LxC3DCoordsCCT Map(const LxCObjectInSpace& object, PointMapping mapping, const LxC3DCoordsCCT& point)
{
    LxC3DCoordsCCT out;
    (object.*mapping)(point.x, point.y, point.z, &out.x, &out.y, &out.z);
    return out;
}

LxC3DCoordsCCT ToWorld(const LxCObjectInSpace& object, const LxC3DCoordsCCT& point)
{
    return Map(object, &LxCObjectInSpace::LocalToWorldCoords, point);
}

LxC3DCoordsCCT FromWorld(const LxCObjectInSpace& object, const LxC3DCoordsCCT& point)
{
    return Map(object, &LxCObjectInSpace::WorldToLocalCoords, point);
}

LxC3DCoordsCCT ToOther(const LxCObjectInSpace& object, const LxCObjectInSpace* other,
                       const LxC3DCoordsCCT& point)
{
    LxC3DCoordsCCT out;
    object.LocalToLocalCoords(other, point.x, point.y, point.z, &out.x, &out.y, &out.z);
    return out;
}

std::vector<double> Values(const LxC3DCoordsCCT& point)
{
    return {point.x, point.y, point.z};
}

/// Chains of one to six links from hard poses with modest translations, and from random ones.
std::vector<std::vector<Pose>> Chains()
{
    std::vector<Pose> poses = TestSupport::AllPoses();
    std::erase_if(poses, [](const Pose& pose) { return std::abs(pose.tx) > 1000.0; });
    std::vector<std::vector<Pose>> chains;
    for (std::size_t first = 0; first + 6 < poses.size(); first += 2) {
        const auto begin = poses.begin() + static_cast<std::ptrdiff_t>(first);
        chains.emplace_back(begin, begin + 1 + static_cast<std::ptrdiff_t>(first / 2 % 6));
    }
    return chains;
}

TEST(LxCObjectInSpace, StartsAsARootAtTheIdentity)
{
    const LxCObjectInSpace object;
    EXPECT_TRUE(object.IsRootObject());
    EXPECT_EQ(object.GetMasterCoordSystem(), nullptr);
    EXPECT_TRUE(object.IsIdentity());
}

TEST(LxCObjectInSpace, CopiesShareTheMaster)
{
    LxCObjectInSpace master;
    LxCObjectInSpace object;
    object.SetMasterCoordSystem(&master);
    object.MakeTranslation(LxC3DCoordsCCT(1, 2, 3));
    const LxCObjectInSpace constructed(object);
    LxCObjectInSpace assigned;
    assigned = object;
    for (const LxCObjectInSpace* copy : {&constructed, static_cast<const LxCObjectInSpace*>(&assigned)}) {
        EXPECT_EQ(copy->GetMasterCoordSystem(), &master);
        EXPECT_FALSE(copy->IsRootObject());
        EXPECT_EQ(copy->GetT(2), 3.0);
    }
    LxCObjectInSpace copied;
    copied.CopyFrom(&object);
    EXPECT_TRUE(copied.IsRootObject()) << "CopyFrom takes a transform";
    EXPECT_EQ(copied.GetT(2), 3.0);
}

TEST(LxCObjectInSpace, WorldCoordinatesApplyTheChainLinkByLink)
{
    for (const std::vector<Pose>& poses : Chains()) {
        const std::vector<LxCObjectInSpace> chain = MakeChain(poses);
        LxC3DCoordsCCT expected = kPoint;
        for (std::size_t i = chain.size(); i-- > 0;) {
            chain[i].TransformInverse(expected, expected);
        }
        EXPECT_EQ(Values(ToWorld(chain.back(), kPoint)), Values(expected)) << poses.front().name;
        expected = kPoint;
        for (const LxCObjectInSpace& link : chain) {
            link.Transform(expected, expected);
        }
        EXPECT_EQ(Values(FromWorld(chain.back(), kPoint)), Values(expected)) << poses.front().name;
    }
}

TEST(LxCObjectInSpace, ChainTransformsAgreeWithThePointMappings)
{
    for (const std::vector<Pose>& poses : Chains()) {
        const std::vector<LxCObjectInSpace> chain = MakeChain(poses);
        const double tolerance = kChainTolerance * Reach(poses);
        LxCCoordSysTrans localFromWorld;
        LxCCoordSysTrans worldFromLocal;
        chain.back().GetWorldToLocalTrafo(&localFromWorld);
        chain.back().GetLocalToWorldTrafo(&worldFromLocal);
        LxC3DCoordsCCT mapped;
        worldFromLocal.Transform(kPoint, mapped);
        EXPECT_TRUE(mapped.IsEqualTol(ToWorld(chain.back(), kPoint), tolerance)) << poses.front().name;
        localFromWorld.Transform(kPoint, mapped);
        EXPECT_TRUE(mapped.IsEqualTol(FromWorld(chain.back(), kPoint), tolerance)) << poses.front().name;
    }
}

TEST(LxCObjectInSpace, ADeepChainEndsWhereItsTranslationsAddUpTo)
{
    constexpr int depth = 200;
    std::vector<Pose> poses(depth, Pose{"step", 0, 0, 0, 1, 2, 3});
    const std::vector<LxCObjectInSpace> chain = MakeChain(poses);
    EXPECT_EQ(Values(FromWorld(chain.back(), LxC3DCoordsCCT())), (std::vector<double>{200, 400, 600}));
    LxCCoordSysTrans trafo;
    chain.back().GetLocalToWorldTrafo(&trafo);
    EXPECT_NEAR(trafo.GetT(0), -200.0, kChainTolerance * 600.0);
    EXPECT_NEAR(trafo.GetT(2), -600.0, kChainTolerance * 600.0);
}

TEST(LxCObjectInSpace, LocalToWorldTransformIsInvertedWithoutSolvingTheAngles)
{
    LxCObjectInSpace object;
    object.ReadFromEulerAnglesAndVector(0.5, 0.6, 0.7, 1, 2, 3);
    LxCCoordSysTrans trafo;
    object.GetLocalToWorldTrafo(&trafo);
    EXPECT_EQ(trafo.GetRx(), -object.GetRx());
    EXPECT_EQ(trafo.GetForward()[3], object.GetBackward()[3]);
}

TEST(LxCObjectInSpace, WorldCoordinatesHideTheOneStepOperation)
{
    LxCObjectInSpace master;
    master.MakeTranslation(LxC3DCoordsCCT(100, 0, 0));
    LxCObjectInSpace object;
    object.MakeTranslation(LxC3DCoordsCCT(1, 0, 0));
    object.SetMasterCoordSystem(&master);
    EXPECT_EQ(ToWorld(object, LxC3DCoordsCCT()).x, -101.0);
    double x = 0, y = 0, z = 0;
    object.LxCCoordSysTrans::LocalToWorldCoords(0, 0, 0, &x, &y, &z);
    EXPECT_EQ(x, -1.0);
}

TEST(LxCObjectInSpace, MovingTheMasterMovesTheObject)
{
    LxCObjectInSpace master;
    LxCObjectInSpace object;
    object.SetMasterCoordSystem(&master);
    master.MakeTranslation(LxC3DCoordsCCT(0, 0, 5));
    EXPECT_EQ(FromWorld(object, LxC3DCoordsCCT()).z, 5.0);
    object.SetMasterCoordSystem(nullptr);
    EXPECT_EQ(FromWorld(object, LxC3DCoordsCCT()).z, 0.0);
}

TEST(LxCObjectInSpace, ARootReachesTheNullObjectInOneInverseStep)
{
    LxCObjectInSpace root;
    root.ReadFromEulerAnglesAndVector(0.5, 0.6, 0.7, 1, 2, 3);
    LxC3DCoordsCCT expected;
    root.TransformInverse(kPoint, expected);
    EXPECT_EQ(Values(ToOther(root, nullptr, kPoint)), Values(expected));
}

TEST(LxCObjectInSpace, ItsMasterIsOneInverseStepAway)
{
    LxCObjectInSpace world;
    world.MakeTranslation(LxC3DCoordsCCT(1e17, 0, 0)); // the way over the world would lose all digits
    LxCObjectInSpace object;
    object.ReadFromEulerAnglesAndVector(0.5, 0.6, 0.7, 1, 2, 3);
    object.SetMasterCoordSystem(&world);
    LxC3DCoordsCCT expected;
    object.TransformInverse(kPoint, expected);
    EXPECT_EQ(Values(ToOther(object, &world, kPoint)), Values(expected));
}

TEST(LxCObjectInSpace, SiblingsMeetAtTheirMasterAndNotInTheWorld)
{
    LxCObjectInSpace master;
    master.MakeTranslation(LxC3DCoordsCCT(1e17, 0, 0));
    LxCObjectInSpace object;
    LxCObjectInSpace sibling;
    object.ReadFromEulerAnglesAndVector(0.5, 0.6, 0.7, 1, 2, 3);
    sibling.ReadFromEulerAnglesAndVector(-0.1, 0.2, 0.4, 4, 5, 6);
    object.SetMasterCoordSystem(&master);
    sibling.SetMasterCoordSystem(&master);
    LxC3DCoordsCCT expected;
    object.TransformInverse(kPoint, expected);
    sibling.Transform(expected, expected);
    EXPECT_EQ(Values(ToOther(object, &sibling, kPoint)), Values(expected));
}

TEST(LxCObjectInSpace, AnyTwoObjectsAgreeWithTheWayOverTheWorld)
{
    const std::vector<std::vector<Pose>> all = Chains();
    for (std::size_t i = 0; i + 1 < all.size(); ++i) {
        const std::vector<LxCObjectInSpace> a = MakeChain(all[i]);
        const std::vector<LxCObjectInSpace> b = MakeChain(all[i + 1]);
        const double tolerance = kChainTolerance * (Reach(all[i]) + Reach(all[i + 1]));
        const LxC3DCoordsCCT expected = FromWorld(b.back(), ToWorld(a.back(), kPoint));
        EXPECT_TRUE(ToOther(a.back(), &b.back(), kPoint).IsEqualTol(expected, tolerance));
        LxCCoordSysTrans trafo;
        a.back().GetLocalToLocalTrafo(&b.back(), &trafo);
        LxC3DCoordsCCT mapped;
        trafo.Transform(kPoint, mapped);
        EXPECT_TRUE(mapped.IsEqualTol(expected, tolerance)) << all[i].front().name;
        trafo.TransformInverse(mapped, mapped);
        EXPECT_TRUE(mapped.IsEqualTol(kPoint, tolerance)) << all[i].front().name;
    }
}

TEST(LxCObjectInSpace, ANullOtherIsTheWorldForAChainToo)
{
    const std::vector<LxCObjectInSpace> chain =
        MakeChain({{"root", 0.1, 0.2, 0.3, 1, 2, 3}, {"link", -0.4, 0.5, 0.6, 4, 5, 6}});
    EXPECT_EQ(Values(ToOther(chain.back(), nullptr, kPoint)), Values(ToWorld(chain.back(), kPoint)));
    LxCCoordSysTrans trafo;
    chain.back().GetLocalToLocalTrafo(nullptr, &trafo);
    LxC3DCoordsCCT mapped;
    trafo.Transform(kPoint, mapped);
    EXPECT_TRUE(mapped.IsEqualTol(ToWorld(chain.back(), kPoint), kChainTolerance * 100.0));
}

TEST(LxCObjectInSpace, ATransformMayBeAskedForInPlace)
{
    const std::vector<Pose> poses = {{"root", 0.1, 0.2, 0.3, 1, 2, 3}, {"link", -0.4, 0.5, 0.6, 4, 5, 6}};
    std::vector<LxCObjectInSpace> chain = MakeChain(poses);
    LxCCoordSysTrans expected;
    chain[1].GetWorldToLocalTrafo(&expected);
    chain[1].GetWorldToLocalTrafo(&chain[0]);
    EXPECT_TRUE(std::equal(expected.GetForward(), expected.GetForward() + 16, chain[0].GetForward()));
    chain = MakeChain(poses);
    chain[1].GetWorldToLocalTrafo(&chain[1]);
    EXPECT_TRUE(std::equal(expected.GetForward(), expected.GetForward() + 16, chain[1].GetForward()));
    EXPECT_EQ(chain[1].GetMasterCoordSystem(), &chain[0]);
}

TEST(LxCObjectInSpace, NullOutputsOfTransformsAreIgnored)
{
    const LxCObjectInSpace object;
    object.GetWorldToLocalTrafo(nullptr);
    object.GetLocalToWorldTrafo(nullptr);
    object.GetLocalToLocalTrafo(&object, nullptr);
    EXPECT_TRUE(object.IsIdentity());
}

} // namespace
} // namespace LxCV
