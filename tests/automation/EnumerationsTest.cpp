#include "automation/CEnums.h"

#include <gtest/gtest.h>
#include <initializer_list>
#include <sstream>
#include <string>
#include <vector>

// Every public enumeration against the published list: hosts compile against these names and store
// these values, so a renamed or renumbered entry breaks them.
namespace {

// The names are given as E itself, so an entry listed under the wrong enumeration does not compile.
template <typename E>
void expectPublished(const char* enumeration, const char* names, std::initializer_list<long long> expected,
                     std::initializer_list<E> values) {
    std::vector<std::string> name;
    std::istringstream list(names);
    for (std::string n; std::getline(list >> std::ws, n, ',');)
        name.push_back(n);
    ASSERT_EQ(values.size(), expected.size()) << enumeration;
    auto want = expected.begin();
    for (size_t i = 0; i < values.size(); ++i, ++want)
        EXPECT_EQ(static_cast<long long>(values.begin()[i]), *want) << enumeration << "::" << name[i];
}

#define UNPAREN(...) __VA_ARGS__
#define PUBLISHED(E, expected, ...)                                                                          \
    (++listed, expectPublished<E>(#E, #__VA_ARGS__, {UNPAREN expected}, {__VA_ARGS__}))

} // namespace

TEST(Enumerations, ValuesAreThePublishedOnes) {
    int listed = 0;
    PUBLISHED(Tavrel_CountryCode, (1, 33, 34, 39, 49, 81, 82, 886), Tavrel_Language_English,
              Tavrel_Language_French, Tavrel_Language_Spanish, Tavrel_Language_Italian,
              Tavrel_Language_German, Tavrel_Language_Japanese, Tavrel_Language_Korean,
              Tavrel_Language_Traditional_Chinese);
    PUBLISHED(Tavrel_ShowPropertyPage, (0, 1, 2, 3), Tavrel_ShowPropertyPage_Default,
              Tavrel_ShowPropertyPage_Setups, Tavrel_ShowPropertyPage_Search, Tavrel_ShowPropertyPage_SetIO);
    PUBLISHED(Tavrel_AcquisitionCount, (1, 4, 8, 16, 32, 64, 128, 256), Tavrel_AcquisitionCount_1,
              Tavrel_AcquisitionCount_4, Tavrel_AcquisitionCount_8, Tavrel_AcquisitionCount_16,
              Tavrel_AcquisitionCount_32, Tavrel_AcquisitionCount_64, Tavrel_AcquisitionCount_128,
              Tavrel_AcquisitionCount_256);
    PUBLISHED(Tavrel_AcquisitionType, (5, 3, 1, 6, 2, 4), Tavrel_AcquisitionType_Auto,
              Tavrel_AcquisitionType_Glitch, Tavrel_AcquisitionType_Average, Tavrel_AcquisitionType_Normal,
              Tavrel_AcquisitionType_Peak, Tavrel_AcquisitionType_Real);
    PUBLISHED(Tavrel_AllChannels,
              (1, 2, 3, 4, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25), Tavrel_Channel_A1,
              Tavrel_Channel_A2, Tavrel_Channel_A3, Tavrel_Channel_A4, Tavrel_Channel_D0, Tavrel_Channel_D1,
              Tavrel_Channel_D2, Tavrel_Channel_D3, Tavrel_Channel_D4, Tavrel_Channel_D5, Tavrel_Channel_D6,
              Tavrel_Channel_D7, Tavrel_Channel_D8, Tavrel_Channel_D9, Tavrel_Channel_D10, Tavrel_Channel_D11,
              Tavrel_Channel_D12, Tavrel_Channel_D13, Tavrel_Channel_D14, Tavrel_Channel_D15);
    PUBLISHED(Tavrel_AnalogChannels, (1, 2, 3, 4), Tavrel_Channel_1, Tavrel_Channel_2, Tavrel_Channel_3,
              Tavrel_Channel_4);
    PUBLISHED(Tavrel_ImageFormat, (0, 5, 3, 7, 6, 4, 8), Tavrel_ImageFormat_BMP, Tavrel_ImageFormat_EMF,
              Tavrel_ImageFormat_GIF, Tavrel_ImageFormat_JPG, Tavrel_ImageFormat_TIF, Tavrel_ImageFormat_WMF,
              Tavrel_ImageFormat_PNG);
    PUBLISHED(Tavrel_LogicBits, (0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15), Tavrel_Logic_D0,
              Tavrel_Logic_D1, Tavrel_Logic_D2, Tavrel_Logic_D3, Tavrel_Logic_D4, Tavrel_Logic_D5,
              Tavrel_Logic_D6, Tavrel_Logic_D7, Tavrel_Logic_D8, Tavrel_Logic_D9, Tavrel_Logic_D10,
              Tavrel_Logic_D11, Tavrel_Logic_D12, Tavrel_Logic_D13, Tavrel_Logic_D14, Tavrel_Logic_D15);
    PUBLISHED(Tavrel_LogicPods, (1, 2), Tavrel_Logic_POD1, Tavrel_Logic_POD2);
    PUBLISHED(Tavrel_OnOffState, (0, 1), Tavrel_Off, Tavrel_On);
    PUBLISHED(Tavrel_ProbeAttenuation, (1, 10, 20, 100), Tavrel_ProbeAttenuation_X1,
              Tavrel_ProbeAttenuation_X10, Tavrel_ProbeAttenuation_X20, Tavrel_ProbeAttenuation_X100);
    PUBLISHED(Tavrel_ProbeCoupling, (3, 1, 2), Tavrel_ProbeCoupling_AC, Tavrel_ProbeCoupling_DC,
              Tavrel_ProbeCoupling_GND);
    PUBLISHED(Tavrel_ProbeMode, (2, 1), Tavrel_ProbeMode_Auto, Tavrel_ProbeMode_Manual);
    PUBLISHED(Tavrel_TimeMode, (1, 4, 3, 2), Tavrel_TimeMode_Delayed, Tavrel_TimeMode_Normal,
              Tavrel_TimeMode_Roll, Tavrel_TimeMode_XY);
    PUBLISHED(Tavrel_TriggerMode, (1, 3, 2), Tavrel_TriggerMode_Auto, Tavrel_TriggerMode_AutoLevel,
              Tavrel_TriggerMode_Normal);
    PUBLISHED(Tavrel_TimeReference, (1, 3, 2), Tavrel_TimeReference_Center, Tavrel_TimeReference_Left,
              Tavrel_TimeReference_Right);
    PUBLISHED(Tavrel_TriggerCoupling, (2, 1), Tavrel_TriggerCoupling_AC, Tavrel_TriggerCoupling_DC);
    PUBLISHED(Tavrel_TriggerSlope, (2, 1), Tavrel_TriggerSlope_Negative, Tavrel_TriggerSlope_Positive);
    PUBLISHED(Tavrel_TriggerSource,
              (1, 2, 3, 4, 5, 6, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25),
              Tavrel_TriggerSource_Channel1, Tavrel_TriggerSource_Channel2, Tavrel_TriggerSource_Channel3,
              Tavrel_TriggerSource_Channel4, Tavrel_TriggerSource_External, Tavrel_TriggerSource_Line,
              Tavrel_TriggerSource_Logic_D0, Tavrel_TriggerSource_Logic_D1, Tavrel_TriggerSource_Logic_D2,
              Tavrel_TriggerSource_Logic_D3, Tavrel_TriggerSource_Logic_D4, Tavrel_TriggerSource_Logic_D5,
              Tavrel_TriggerSource_Logic_D6, Tavrel_TriggerSource_Logic_D7, Tavrel_TriggerSource_Logic_D8,
              Tavrel_TriggerSource_Logic_D9, Tavrel_TriggerSource_Logic_D10, Tavrel_TriggerSource_Logic_D11,
              Tavrel_TriggerSource_Logic_D12, Tavrel_TriggerSource_Logic_D13, Tavrel_TriggerSource_Logic_D14,
              Tavrel_TriggerSource_Logic_D15);
    PUBLISHED(Tavrel_WaveformPoints, (100, 250, 500, 1000, 2000, 0), Tavrel_DataPoints_100,
              Tavrel_DataPoints_250, Tavrel_DataPoints_500, Tavrel_DataPoints_1000, Tavrel_DataPoints_2000,
              Tavrel_DataPoints_ALL);
    EXPECT_EQ(listed, 20) << "every public enumeration is listed";
}
