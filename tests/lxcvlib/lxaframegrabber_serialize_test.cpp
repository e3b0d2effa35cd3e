// Tests of the section text of image sources.
#include "grabberprobe.h"
#include "sectiontext.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

namespace LxCV {
namespace {

using namespace TestSupport;

const std::string kSection = "::Grabber";

/// The keys of a section, in order, with a value for each that a float holds exactly.
struct SKey
{
    const char* name;
    float value;
};
constexpr std::array<SKey, 22> kKeys{{{"Gain", 1.5F},
                                      {"RGain", 2.5F},
                                      {"GGain", 3.5F},
                                      {"BGain", 4.5F},
                                      {"ShutterTimeRef", 5001.0F},
                                      {"ShutterTimePat", 5002.0F},
                                      {"CCTSequencePeriod", 7.0F},
                                      {"LEDCurrentRed", 8.0F},
                                      {"LEDCurrentGreen", 9.0F},
                                      {"LEDCurrentBlue", 10.0F},
                                      {"LEDCurrentWhite", 11.0F},
                                      {"NormShutterTimeRefFlash", 12.0F},
                                      {"NormShutterTimePatFlash", 13.0F},
                                      {"NormShutterTimeRefContinuous", 14.0F},
                                      {"NormShutterTimePatContinuous", 15.0F},
                                      {"NormRefContinuousCurrent", 16.0F},
                                      {"NormPatContinuousCurrent", 17.0F},
                                      {"NormRefFlashCurrent", 18.0F},
                                      {"NormPatFlashCurrent", 19.0F},
                                      {"NormRGain", 20.5F},
                                      {"NormGGain", -21.5F},
                                      {"NormBGain", 22.5F}}};

/// What a source holds, in the order of the keys.
std::vector<float> ValuesOf(const LxAFrameGrabber& grabber)
{
    const LxAFrameGrabber::SNormSettings& norm = grabber.GetNormSettings();
    return {grabber.GetGain(),
            grabber.GetRGain(),
            grabber.GetGGain(),
            grabber.GetBGain(),
            grabber.GetShutterTimeRef(),
            grabber.GetShutterTimePat(),
            grabber.GetCCTSequencePeriod(),
            grabber.GetLEDCurrentRed(),
            grabber.GetLEDCurrentGreen(),
            grabber.GetLEDCurrentBlue(),
            grabber.GetLEDCurrentWhite(),
            norm.NormShutterTimeRefFlash,
            norm.NormShutterTimePatFlash,
            norm.NormShutterTimeRefContinuous,
            norm.NormShutterTimePatContinuous,
            norm.NormRefContinuousCurrent,
            norm.NormPatContinuousCurrent,
            norm.NormRefFlashCurrent,
            norm.NormPatFlashCurrent,
            norm.NormRGain,
            norm.NormGGain,
            norm.NormBGain};
}

std::string FullText()
{
    std::string text = kSection + "\n";
    for (const SKey& key : kKeys) {
        text += std::string(key.name) + "=" + std::to_string(key.value) + "\n";
    }
    return text;
}

std::string StoreWithComments(LxAFrameGrabber& grabber)
{
    CTextSerializer serializer;
    serializer.Init(true, true);
    grabber.Serialize(serializer, kSection);
    return serializer.GetText();
}

TEST(LxAFrameGrabberSerialize, ReadsEveryKey)
{
    CPlainGrabber grabber;
    Load(grabber, kSection, FullText());
    const std::vector<float> values = ValuesOf(grabber);
    for (std::size_t i = 0; i < kKeys.size(); ++i) {
        EXPECT_EQ(values.at(i), kKeys[i].value) << kKeys[i].name;
    }
}

TEST(LxAFrameGrabberSerialize, ReadsASequencePeriodThatIsShorterThanASequence)
{
    // The key above, 7, is less than the 10253 that a sequence takes.
    CPlainGrabber grabber;
    Load(grabber, kSection, FullText());
    EXPECT_EQ(grabber.GetCCTSequencePeriod(), 7.0F);
}

TEST(LxAFrameGrabberSerialize, WritesItsKeysInOrderAndThenTheRequirements)
{
    CPlainGrabber grabber;
    Load(grabber, kSection, FullText());
    const std::string text = Store(grabber, kSection);
    std::size_t place = text.find(kSection + "\n");
    ASSERT_NE(place, std::string::npos);
    for (const SKey& key : kKeys) {
        place = text.find("\n" + std::string(key.name) + "=", place);
        ASSERT_NE(place, std::string::npos) << key.name << " in\n" << text;
    }
    place = text.find("::FrameGrabberReqs\n", place);
    ASSERT_NE(place, std::string::npos);
    EXPECT_NE(text.find("\nSerialNumber=unknown\n", place), std::string::npos);
    EXPECT_EQ(text.find("ShutterTime="), std::string::npos);
    EXPECT_EQ(text.find("ShutterTime2"), std::string::npos);
}

TEST(LxAFrameGrabberSerialize, ReadsWhatItWrote)
{
    CPlainGrabber grabber;
    Load(grabber, kSection, FullText());
    grabber.GetReqs()->SetRImageShiftCol(0.125F);
    for (const std::string& text : {Store(grabber, kSection), StoreWithComments(grabber)}) {
        CPlainGrabber read;
        Load(read, kSection, text);
        EXPECT_EQ(ValuesOf(read), ValuesOf(grabber));
        EXPECT_EQ(read.GetReqs()->GetRImageShiftCol(), 0.125F);
        EXPECT_EQ(Store(read, kSection), Store(grabber, kSection));
    }
}

TEST(LxAFrameGrabberSerialize, WritesItsComments)
{
    CPlainGrabber grabber;
    const std::string text = StoreWithComments(grabber);
    std::size_t place = 0;
    for (const char* line :
         {"# Momentan verwendete Einstellungen für Belichtungszeit, Gain und LED Ströme.\n"
          "# Hier können z.B. im Admin-Modus verschiedene Werte eingestellt und ausprobiert werden.\n"
          "# Bei jedem Neustart eines Prüfschritts werden diese Werte wieder überschieben.\n",
          "# Gain für einen Sensor [dB] (Bei einer Kamera mit drei Sensoren hat dieser Wert keine "
          "Bedeutung)\nGain=",
          "# Gain für den roten Sensor [dB]\nRGain=",
          "# Gain für den grünen Sensor [dB]\nGGain=",
          "# Gain für den blauen Sensor [dB]\nBGain=",
          "# Belichtungszeit für das Referenzbild [us]\nShutterTimeRef=",
          "# Belichtungszeit für das Streifenbild [us]\nShutterTimePat=",
          "# Dauer in us bis die nächste Messsequenz gestartet wird (eine Messsequenz kann aus einem oder "
          "zwei "
          "Bildern bestehen)\nCCTSequencePeriod=",
          "# FuMu: LED-Strom für die rote LED; ab ZMA: LED-Strom für Streifen-LED [mA]\nLEDCurrentRed=",
          "# LED-Strom für die grüne LED [mA]\nLEDCurrentGreen=",
          "# LED-Strom für die blaue LED [mA]\nLEDCurrentBlue=",
          "# LED-Strom für die Referenz LED [mA]\nLEDCurrentWhite=",
          "# Normwerte:\n"
          "# Bei jedem Neustart eines Prüfschritts werden die oben eingestellten Werte wieder auf die "
          "folgenden "
          "Normwerte zurückgesetzt.\n"
          "# Dabei werden auch abhängig von der LED-Sequenz die Ströme gesetzt und abhängig vom verwendeten "
          "Target "
          "die Belichtungszeiten mit einem Skalierfaktor versehen.\n",
          "# Die Normwerte werden auf einem weißen Streutarget, das nominell in der schärfsten Ebene liegt, "
          "ermittelt.\n",
          "# Normierte Belichtungszeit für das Referenzbild im Blitzbetrieb [µs]\nNormShutterTimeRefFlash=",
          "# Normierte Belichtungszeit für das Streifenbild im Blitzbetrieb [µs]\nNormShutterTimePatFlash=",
          "# Normierte Belichtungszeit für das Referenzbild im Dauerbetrieb "
          "[µs]\nNormShutterTimeRefContinuous=",
          "# Normierte Belichtungszeit für das Streifenbild im Dauerbetrieb "
          "[µs]\nNormShutterTimePatContinuous=",
          "# LED-Strom für das Referenzbild im Dauerbetrieb einer LED [mA]\nNormRefContinuousCurrent=",
          "# LED-Strom für das Streifenbild im Dauerbetrieb einer LED [mA]\nNormPatContinuousCurrent=",
          "# LED-Strom für das Referenzbild im Blitzbetrieb einer LED [mA]\nNormRefFlashCurrent=",
          "# LED-Strom für das Streifenbild im Blitzbetrieb einer LED [mA]\nNormPatFlashCurrent=",
          "# Gain für den roten Sensor [dB]\nNormRGain=",
          "# Gain für den grünen Sensor [dB]\nNormGGain=",
          "# Gain für den blauen Sensor [dB]\nNormBGain="}) {
        place = text.find(line, place);
        ASSERT_NE(place, std::string::npos) << line << "\nis not in\n" << text;
    }
}

TEST(LxAFrameGrabberSerialize, KeepsWhatATextLacksButForNormExposuresAndGains)
{
    CPlainGrabber grabber;
    Load(grabber, kSection, FullText());
    const std::vector<float> before = ValuesOf(grabber);
    Load(grabber, kSection, kSection + "\n");
    const std::vector<float> after = ValuesOf(grabber);
    for (std::size_t i = 0; i < 11; ++i) {
        EXPECT_EQ(after.at(i), before.at(i)) << kKeys[i].name;
    }
    const LxAFrameGrabber::SNormSettings& norm = grabber.GetNormSettings();
    EXPECT_EQ(norm.NormShutterTimeRefFlash, 5001.0F);
    EXPECT_EQ(norm.NormShutterTimePatFlash, 5002.0F);
    EXPECT_EQ(norm.NormShutterTimeRefContinuous, 5001.0F);
    EXPECT_EQ(norm.NormShutterTimePatContinuous, 5002.0F);
    EXPECT_EQ(norm.NormRefContinuousCurrent, 16.0F);
    EXPECT_EQ(norm.NormPatContinuousCurrent, 17.0F);
    EXPECT_EQ(norm.NormRefFlashCurrent, 18.0F);
    EXPECT_EQ(norm.NormPatFlashCurrent, 19.0F);
    EXPECT_EQ(norm.NormRGain, 2.5F);
    EXPECT_EQ(norm.NormGGain, 3.5F);
    EXPECT_EQ(norm.NormBGain, 4.5F);
}

TEST(LxAFrameGrabberSerialize, TakesNormDefaultsFromBeforeTheText)
{
    // The defaults of the norm keys are fixed before any key is read.
    CPlainGrabber grabber;
    Load(grabber, kSection, kSection + "\nShutterTimeRef=7000\nRGain=1\nNormGGain=2\n");
    EXPECT_EQ(grabber.GetShutterTimeRef(), 7000.0F);
    EXPECT_EQ(grabber.GetNormSettings().NormShutterTimeRefFlash, 5000.0F);
    EXPECT_EQ(grabber.GetNormSettings().NormShutterTimeRefContinuous, 5000.0F);
    EXPECT_EQ(grabber.GetRGain(), 1.0F);
    EXPECT_EQ(grabber.GetNormSettings().NormRGain, 96.0F);
    EXPECT_EQ(grabber.GetNormSettings().NormGGain, 2.0F);
}

TEST(LxAFrameGrabberSerialize, StoringChangesNoNormSettings)
{
    CPlainGrabber grabber;
    Load(grabber, kSection, FullText());
    const std::vector<float> before = ValuesOf(grabber);
    Store(grabber, kSection);
    EXPECT_EQ(ValuesOf(grabber), before);
}

TEST(LxAFrameGrabberSerialize, ReadsTheOlderExposureKeys)
{
    CPlainGrabber grabber;
    Load(grabber, kSection, kSection + "\nShutterTime=7000\n");
    EXPECT_EQ(grabber.GetShutterTimePat(), 7000.0F);
    EXPECT_EQ(grabber.GetShutterTimeRef(), 5000.0F);
    Load(grabber, kSection, kSection + "\nShutterTime2=8000\n");
    EXPECT_EQ(grabber.GetShutterTimePat(), 7000.0F);
    EXPECT_EQ(grabber.GetShutterTimeRef(), 8000.0F);
}

TEST(LxAFrameGrabberSerialize, LetsTheOlderExposureKeysWin)
{
    CPlainGrabber grabber;
    Load(grabber, kSection,
         kSection + "\nShutterTime=1\nShutterTime2=2\nShutterTimePat=3\nShutterTimeRef=4\n"
                    "NormShutterTimePatFlash=5\n");
    EXPECT_EQ(grabber.GetShutterTimePat(), 1.0F);
    EXPECT_EQ(grabber.GetShutterTimeRef(), 2.0F);
    EXPECT_EQ(grabber.GetNormSettings().NormShutterTimePatFlash, 5.0F);
    // A value that does not convert leaves what the new key told.
    Load(grabber, kSection, kSection + "\nShutterTimePat=3\nShutterTime=soon\n");
    EXPECT_EQ(grabber.GetShutterTimePat(), 3.0F);
}

TEST(LxAFrameGrabberSerialize, ReadsTheRequirementsFromTheirFixedSection)
{
    CPlainGrabber grabber;
    Load(grabber, "::Other", "::FrameGrabberReqs\nSerialNumber=12\nBSizeFactor=1.5\n");
    EXPECT_EQ(grabber.GetReqs()->GetSerialNumber(), "12");
    EXPECT_EQ(grabber.GetReqs()->GetBSizeFactor(), 1.5F);
    EXPECT_EQ(grabber.GetShutterTimePat(), 5000.0F);
}

} // namespace
} // namespace LxCV
