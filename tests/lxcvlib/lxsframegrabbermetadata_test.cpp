#include "lxsframegrabbermetadata.h"

#include "cperformancecounter.h"
#include "lxsaccelerometerdata.h"
#include "tests/support/virtualslot.h"

#include <gtest/gtest.h>
#include <pugixml.hpp>

#include <memory>
#include <ostream>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>

namespace LxCV {
namespace {

using TestSupport::SlotBehindDestructor;

void ExpectInitialButForTheReading(const LxSFrameGrabberMetaData& data)
{
    EXPECT_EQ(data.GetPerformanceCounter(), nullptr);
    EXPECT_EQ(data.GetFileName(), "");
    EXPECT_EQ(data.GetText(), "");
    EXPECT_EQ(data.GetTemperatur(), 0.0);
    EXPECT_EQ(data.GetLEDSequence(), 5);
    EXPECT_EQ(data.GetShutterTimePat(), 0.0F);
    EXPECT_EQ(data.GetShutterTimeRef(), 0.0F);
    EXPECT_EQ(data.GetHostValue(), -1.0);
}

/// A record in which every value differs from the initial one.
LxSFrameGrabberMetaData FullRecord(CPerformanceCounter& counter)
{
    LxSFrameGrabberMetaData data;
    data.Update(&counter, "Set1_metaData.xml", "jaw", LxAFrameGrabber::eLS_Pat, 1250.5F, 4000.25F);
    data.SetTemperatur(36.5);
    data.SetAccelerometerData(std::make_shared<LxSAccelerometerData>(1, 2, 3, 4));
    data.SetHostValue(0.25);
    return data;
}

TEST(LxSFrameGrabberMetaData, NewRecordIsEmpty)
{
    const LxSFrameGrabberMetaData data;
    ExpectInitialButForTheReading(data);
    EXPECT_EQ(data.GetAccelerometerData(), nullptr);
}

TEST(LxSFrameGrabberMetaData, UpdateStoresItsSixValuesAlone)
{
    CPerformanceCounter counter;
    LxSFrameGrabberMetaData data = FullRecord(counter);
    const auto reading = data.GetAccelerometerData();
    EXPECT_EQ(data.GetPerformanceCounter(), &counter);
    EXPECT_EQ(data.GetFileName(), "Set1_metaData.xml");
    EXPECT_EQ(data.GetText(), "jaw");
    EXPECT_EQ(data.GetLEDSequence(), 2);
    EXPECT_EQ(data.GetShutterTimePat(), 1250.5F);
    EXPECT_EQ(data.GetShutterTimeRef(), 4000.25F);
    data.Update(nullptr, "b", "", LxAFrameGrabber::eLS_Ref, 1.0F, 2.0F);
    EXPECT_EQ(data.GetPerformanceCounter(), nullptr);
    EXPECT_EQ(data.GetFileName(), "b");
    EXPECT_EQ(data.GetText(), "");
    EXPECT_EQ(data.GetLEDSequence(), 1);
    EXPECT_EQ(data.GetShutterTimePat(), 1.0F);
    EXPECT_EQ(data.GetShutterTimeRef(), 2.0F);
    EXPECT_EQ(data.GetTemperatur(), 36.5);
    EXPECT_EQ(data.GetHostValue(), 0.25);
    EXPECT_EQ(data.GetAccelerometerData(), reading);
}

TEST(LxSFrameGrabberMetaData, ResetKeepsTheAccelerationReading)
{
    CPerformanceCounter counter;
    LxSFrameGrabberMetaData data = FullRecord(counter);
    const auto reading = data.GetAccelerometerData();
    data.Reset();
    ExpectInitialButForTheReading(data);
    EXPECT_EQ(data.GetAccelerometerData(), reading);
    EXPECT_NE(reading, nullptr);
}

TEST(LxSFrameGrabberMetaData, CopiesShareTheReading)
{
    CPerformanceCounter counter;
    const LxSFrameGrabberMetaData data = FullRecord(counter);
    LxSFrameGrabberMetaData copy(data);
    EXPECT_EQ(copy.GetAccelerometerData(), data.GetAccelerometerData());
    EXPECT_EQ(copy.GetPerformanceCounter(), &counter);
    copy.SetAccelerometerData(nullptr);
    EXPECT_NE(data.GetAccelerometerData(), nullptr) << "only the handle was replaced";
    copy = data;
    EXPECT_EQ(copy.GetAccelerometerData(), data.GetAccelerometerData());
    const LxSFrameGrabberMetaData moved(std::move(copy));
    EXPECT_EQ(moved.GetFileName(), "Set1_metaData.xml");
}

TEST(LxSFrameGrabberMetaData, OtherModulesReadItThroughItsFace)
{
    CPerformanceCounter counter;
    const LxSFrameGrabberMetaData data = FullRecord(counter);
    const Base::IFrameGrabberMetaDataSimple& face = data;
    EXPECT_EQ(face.GetTemperatur(), 36.5);
    EXPECT_EQ(face.GetAccelerometerData()->GetZ(), 3);
    EXPECT_EQ(face.GetShutterTimePat(), 1250.5F);
    EXPECT_EQ(face.GetShutterTimeRef(), 4000.25F);
    EXPECT_FALSE(std::is_copy_constructible_v<Base::IFrameGrabberMetaDataSimple>);
}

TEST(LxSFrameGrabberMetaData, VirtualFunctionsOfTheFaceKeepTheirSlots)
{
    using Face = Base::IFrameGrabberMetaDataSimple;
    EXPECT_EQ(SlotBehindDestructor(&Face::GetTemperatur), 0);
    EXPECT_EQ(SlotBehindDestructor(&Face::GetAccelerometerData), 1);
    EXPECT_EQ(SlotBehindDestructor(&Face::GetShutterTimePat), 2);
    EXPECT_EQ(SlotBehindDestructor(&Face::GetShutterTimeRef), 3);
}

TEST(LxSFrameGrabberMetaData, WritesNothingByItself)
{
    CPerformanceCounter counter;
    const LxSFrameGrabberMetaData data = FullRecord(counter);
    std::ostringstream stream;
    data.writeToXML(stream);
    EXPECT_EQ(stream.str(), "");
    EXPECT_TRUE(stream.good());
    pugi::xml_document document;
    pugi::xml_node node = document.append_child("record");
    data.writeToXML(node);
    EXPECT_FALSE(node.first_child());
    EXPECT_FALSE(node.first_attribute());
    pugi::xml_node none;
    data.writeToXML(none);
    EXPECT_TRUE(none.empty());
}

/// A record that a host wants stored.
class HostRecord : public LxSFrameGrabberMetaData
{
public:
    void writeToXML(std::ostream& stream) const override { stream << "<t>" << GetTemperatur() << "</t>"; }
    void writeToXML(pugi::xml_node& node) const override
    {
        node.append_child("t").text().set(GetTemperatur());
    }
};

TEST(LxSFrameGrabberMetaData, AHostWritesWhatItWants)
{
    HostRecord record;
    record.SetTemperatur(36.5);
    const LxSFrameGrabberMetaData& data = record;
    std::ostringstream stream;
    data.writeToXML(stream);
    EXPECT_EQ(stream.str(), "<t>36.5</t>");
    pugi::xml_document document;
    pugi::xml_node node = document.append_child("record");
    data.writeToXML(node);
    EXPECT_EQ(node.child("t").text().as_double(), 36.5);
}

} // namespace
} // namespace LxCV
