#include "orx/rtti/btrtti.h"

#include "orx/logging/logger.h"
#include "orx/rtti/btrttiobject.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

/// A base that is not made by its name, and two classes of it that are.
class CAnimal : public BtRTTIObject
{
public:
    static const BtRTTI& GetClassRTTI()
    {
        static const BtRTTI s_rtti(L"CAnimal", nullptr, nullptr);
        return s_rtti;
    }
};

class CCat : public CAnimal
{
public:
    static const BtRTTI& GetClassRTTI()
    {
        static const BtRTTI s_rtti(L"CCat", &CAnimal::GetClassRTTI(), &CCat::CreateByFactory);
        return s_rtti;
    }
    const BtRTTI& GetRTTI() const override { return GetClassRTTI(); }

private:
    static std::unique_ptr<BtRTTIObject> CreateByFactory() { return std::make_unique<CCat>(); }
};

class CDog : public CAnimal
{
public:
    static const BtRTTI& GetClassRTTI()
    {
        static const BtRTTI s_rtti(L"CDog", &CAnimal::GetClassRTTI(), nullptr);
        return s_rtti;
    }
    const BtRTTI& GetRTTI() const override { return GetClassRTTI(); }
};

int Errors(const Logging::CCapture& log, const std::wstring& text)
{
    return log.Count(Logging::ELevel::eError, L"ORX.Lumorad.BtRTTI", text);
}

TEST(BtRTTI, ObjectTellsItsClass)
{
    const CCat cat;
    EXPECT_EQ(cat.GetClassNameW(), L"CCat");
    EXPECT_EQ(&cat.GetRTTI(), &CCat::GetClassRTTI());
    EXPECT_TRUE(cat.Is(CCat::GetClassRTTI()));
    EXPECT_FALSE(cat.Is(CAnimal::GetClassRTTI()));
    EXPECT_FALSE(cat.Is(CDog::GetClassRTTI()));
}

TEST(BtRTTI, ObjectIsOfTheKindOfItsClassAndBases)
{
    const CCat cat;
    EXPECT_TRUE(cat.IsKindOf(CCat::GetClassRTTI()));
    EXPECT_TRUE(cat.IsKindOf(CAnimal::GetClassRTTI()));
    EXPECT_FALSE(cat.IsKindOf(CDog::GetClassRTTI()));
    EXPECT_FALSE(CAnimal::GetClassRTTI().IsKindOf(CCat::GetClassRTTI()));
    EXPECT_EQ(CCat::GetClassRTTI().GetBase(), &CAnimal::GetClassRTTI());
    EXPECT_EQ(CAnimal::GetClassRTTI().GetBase(), nullptr);
}

TEST(BtRTTI, NameMakesAnObjectOfItsClass)
{
    CCat::GetClassRTTI();
    const std::unique_ptr<BtRTTIObject> object = BtRTTI::CreateObject(L"CCat");
    ASSERT_NE(object, nullptr);
    EXPECT_TRUE(object->Is(CCat::GetClassRTTI()));
}

TEST(BtRTTI, NameWithoutClassOrFactoryMakesNothing)
{
    CDog::GetClassRTTI();
    EXPECT_EQ(CDog::GetClassRTTI().CreateObject(), nullptr);
    const Logging::CCapture log;
    EXPECT_EQ(BtRTTI::CreateObject(L"CDog"), nullptr);
    EXPECT_EQ(Errors(log, L"no object of class CDog can be made"), 1);
    EXPECT_EQ(BtRTTI::CreateObject(L"CUnicorn"), nullptr);
    EXPECT_EQ(Errors(log, L"no object of class CUnicorn can be made"), 1);
    EXPECT_EQ(BtRTTI::Find(L""), nullptr);
}

TEST(BtRTTI, ClassIsFoundAsLongAsItsDescriptorLives)
{
    {
        const BtRTTI passing(L"CPassing", nullptr, nullptr);
        EXPECT_EQ(BtRTTI::Find(L"CPassing"), &passing);
    }
    EXPECT_EQ(BtRTTI::Find(L"CPassing"), nullptr);
}

TEST(BtRTTI, FirstOfTwoClassesWithOneNameIsFound)
{
    const BtRTTI first(L"CTwice", nullptr, nullptr);
    {
        const Logging::CCapture log;
        const BtRTTI second(L"CTwice", nullptr, nullptr);
        EXPECT_EQ(Errors(log, L"class CTwice is registered already"), 1);
        EXPECT_EQ(BtRTTI::Find(L"CTwice"), &first);
        EXPECT_FALSE(first.IsKindOf(second));
    }
    EXPECT_EQ(BtRTTI::Find(L"CTwice"), &first);
}

TEST(BtRTTI, ClassesComeAndGoOnManyThreads)
{
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([thread] {
            for (int i = 0; i < 200; ++i) {
                const std::wstring name = L"C" + std::to_wstring(thread) + L"_" + std::to_wstring(i);
                const BtRTTI rtti(name, nullptr, nullptr);
                EXPECT_EQ(BtRTTI::Find(name), &rtti);
            }
        });
    }
}

} // namespace
