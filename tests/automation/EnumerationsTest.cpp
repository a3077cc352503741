#include "control/CEnums.h"

#include <gtest/gtest.h>
#include <map>
#include <string>

// Every public enumeration against the published list: hosts compile against these names and store
// these values, so a renamed or renumbered entry breaks them.
namespace {

struct Published {
    const char* enumeration;
    const char* name;
    long long value;
    long long expected;
};

// Takes only a value of E itself, so an entry listed under the wrong enumeration does not compile.
template <typename E> constexpr long long valueOf(E value) {
    return value;
}
#define ENTRY(enumeration, name, expected)                                                                   \
    { #enumeration, #name, valueOf < enumeration>(name), expected }

const Published kPublished[] = {
    ENTRY(Tavrel_CountryCode, Tavrel_Language_English, 1),
    ENTRY(Tavrel_CountryCode, Tavrel_Language_French, 33),
    ENTRY(Tavrel_CountryCode, Tavrel_Language_Spanish, 34),
    ENTRY(Tavrel_CountryCode, Tavrel_Language_Italian, 39),
    ENTRY(Tavrel_CountryCode, Tavrel_Language_German, 49),
    ENTRY(Tavrel_CountryCode, Tavrel_Language_Japanese, 81),
    ENTRY(Tavrel_CountryCode, Tavrel_Language_Korean, 82),
    ENTRY(Tavrel_CountryCode, Tavrel_Language_Traditional_Chinese, 886),
    ENTRY(Tavrel_ShowPropertyPage, Tavrel_ShowPropertyPage_Default, 0),
    ENTRY(Tavrel_ShowPropertyPage, Tavrel_ShowPropertyPage_Setups, 1),
    ENTRY(Tavrel_ShowPropertyPage, Tavrel_ShowPropertyPage_Search, 2),
    ENTRY(Tavrel_ShowPropertyPage, Tavrel_ShowPropertyPage_SetIO, 3),
    ENTRY(Tavrel_AcquisitionCount, Tavrel_AcquisitionCount_1, 1),
    ENTRY(Tavrel_AcquisitionCount, Tavrel_AcquisitionCount_4, 4),
    ENTRY(Tavrel_AcquisitionCount, Tavrel_AcquisitionCount_8, 8),
    ENTRY(Tavrel_AcquisitionCount, Tavrel_AcquisitionCount_16, 16),
    ENTRY(Tavrel_AcquisitionCount, Tavrel_AcquisitionCount_32, 32),
    ENTRY(Tavrel_AcquisitionCount, Tavrel_AcquisitionCount_64, 64),
    ENTRY(Tavrel_AcquisitionCount, Tavrel_AcquisitionCount_128, 128),
    ENTRY(Tavrel_AcquisitionCount, Tavrel_AcquisitionCount_256, 256),
    ENTRY(Tavrel_AcquisitionType, Tavrel_AcquisitionType_Auto, 5),
    ENTRY(Tavrel_AcquisitionType, Tavrel_AcquisitionType_Glitch, 3),
    ENTRY(Tavrel_AcquisitionType, Tavrel_AcquisitionType_Average, 1),
    ENTRY(Tavrel_AcquisitionType, Tavrel_AcquisitionType_Normal, 6),
    ENTRY(Tavrel_AcquisitionType, Tavrel_AcquisitionType_Peak, 2),
    ENTRY(Tavrel_AcquisitionType, Tavrel_AcquisitionType_Real, 4),
    ENTRY(Tavrel_AllChannels, Tavrel_Channel_A1, 1),
    ENTRY(Tavrel_AllChannels, Tavrel_Channel_A2, 2),
    ENTRY(Tavrel_AllChannels, Tavrel_Channel_A3, 3),
    ENTRY(Tavrel_AllChannels, Tavrel_Channel_A4, 4),
    ENTRY(Tavrel_AllChannels, Tavrel_Channel_D0, 10),
    ENTRY(Tavrel_AllChannels, Tavrel_Channel_D1, 11),
    ENTRY(Tavrel_AllChannels, Tavrel_Channel_D2, 12),
    ENTRY(Tavrel_AllChannels, Tavrel_Channel_D3, 13),
    ENTRY(Tavrel_AllChannels, Tavrel_Channel_D4, 14),
    ENTRY(Tavrel_AllChannels, Tavrel_Channel_D5, 15),
    ENTRY(Tavrel_AllChannels, Tavrel_Channel_D6, 16),
    ENTRY(Tavrel_AllChannels, Tavrel_Channel_D7, 17),
    ENTRY(Tavrel_AllChannels, Tavrel_Channel_D8, 18),
    ENTRY(Tavrel_AllChannels, Tavrel_Channel_D9, 19),
    ENTRY(Tavrel_AllChannels, Tavrel_Channel_D10, 20),
    ENTRY(Tavrel_AllChannels, Tavrel_Channel_D11, 21),
    ENTRY(Tavrel_AllChannels, Tavrel_Channel_D12, 22),
    ENTRY(Tavrel_AllChannels, Tavrel_Channel_D13, 23),
    ENTRY(Tavrel_AllChannels, Tavrel_Channel_D14, 24),
    ENTRY(Tavrel_AllChannels, Tavrel_Channel_D15, 25),
    ENTRY(Tavrel_AnalogChannels, Tavrel_Channel_1, 1),
    ENTRY(Tavrel_AnalogChannels, Tavrel_Channel_2, 2),
    ENTRY(Tavrel_AnalogChannels, Tavrel_Channel_3, 3),
    ENTRY(Tavrel_AnalogChannels, Tavrel_Channel_4, 4),
    ENTRY(Tavrel_ImageFormat, Tavrel_ImageFormat_BMP, 0),
    ENTRY(Tavrel_ImageFormat, Tavrel_ImageFormat_EMF, 5),
    ENTRY(Tavrel_ImageFormat, Tavrel_ImageFormat_GIF, 3),
    ENTRY(Tavrel_ImageFormat, Tavrel_ImageFormat_JPG, 7),
    ENTRY(Tavrel_ImageFormat, Tavrel_ImageFormat_TIF, 6),
    ENTRY(Tavrel_ImageFormat, Tavrel_ImageFormat_WMF, 4),
    ENTRY(Tavrel_LogicBits, Tavrel_Logic_D0, 0),
    ENTRY(Tavrel_LogicBits, Tavrel_Logic_D1, 1),
    ENTRY(Tavrel_LogicBits, Tavrel_Logic_D2, 2),
    ENTRY(Tavrel_LogicBits, Tavrel_Logic_D3, 3),
    ENTRY(Tavrel_LogicBits, Tavrel_Logic_D4, 4),
    ENTRY(Tavrel_LogicBits, Tavrel_Logic_D5, 5),
    ENTRY(Tavrel_LogicBits, Tavrel_Logic_D6, 6),
    ENTRY(Tavrel_LogicBits, Tavrel_Logic_D7, 7),
    ENTRY(Tavrel_LogicBits, Tavrel_Logic_D8, 8),
    ENTRY(Tavrel_LogicBits, Tavrel_Logic_D9, 9),
    ENTRY(Tavrel_LogicBits, Tavrel_Logic_D10, 10),
    ENTRY(Tavrel_LogicBits, Tavrel_Logic_D11, 11),
    ENTRY(Tavrel_LogicBits, Tavrel_Logic_D12, 12),
    ENTRY(Tavrel_LogicBits, Tavrel_Logic_D13, 13),
    ENTRY(Tavrel_LogicBits, Tavrel_Logic_D14, 14),
    ENTRY(Tavrel_LogicBits, Tavrel_Logic_D15, 15),
    ENTRY(Tavrel_LogicPods, Tavrel_Logic_POD1, 1),
    ENTRY(Tavrel_LogicPods, Tavrel_Logic_POD2, 2),
    ENTRY(Tavrel_OnOffState, Tavrel_Off, 0),
    ENTRY(Tavrel_OnOffState, Tavrel_On, 1),
    ENTRY(Tavrel_ProbeAttenuation, Tavrel_ProbeAttenuation_X1, 1),
    ENTRY(Tavrel_ProbeAttenuation, Tavrel_ProbeAttenuation_X10, 10),
    ENTRY(Tavrel_ProbeAttenuation, Tavrel_ProbeAttenuation_X20, 20),
    ENTRY(Tavrel_ProbeAttenuation, Tavrel_ProbeAttenuation_X100, 100),
    ENTRY(Tavrel_ProbeCoupling, Tavrel_ProbeCoupling_AC, 3),
    ENTRY(Tavrel_ProbeCoupling, Tavrel_ProbeCoupling_DC, 1),
    ENTRY(Tavrel_ProbeCoupling, Tavrel_ProbeCoupling_GND, 2),
    ENTRY(Tavrel_ProbeMode, Tavrel_ProbeMode_Auto, 2),
    ENTRY(Tavrel_ProbeMode, Tavrel_ProbeMode_Manual, 1),
    ENTRY(Tavrel_TimeMode, Tavrel_TimeMode_Delayed, 1),
    ENTRY(Tavrel_TimeMode, Tavrel_TimeMode_Normal, 4),
    ENTRY(Tavrel_TimeMode, Tavrel_TimeMode_Roll, 3),
    ENTRY(Tavrel_TimeMode, Tavrel_TimeMode_XY, 2),
    ENTRY(Tavrel_TriggerMode, Tavrel_TriggerMode_Auto, 1),
    ENTRY(Tavrel_TriggerMode, Tavrel_TriggerMode_AutoLevel, 3),
    ENTRY(Tavrel_TriggerMode, Tavrel_TriggerMode_Normal, 2),
    ENTRY(Tavrel_TimeReference, Tavrel_TimeReference_Center, 1),
    ENTRY(Tavrel_TimeReference, Tavrel_TimeReference_Left, 3),
    ENTRY(Tavrel_TimeReference, Tavrel_TimeReference_Right, 2),
    ENTRY(Tavrel_TriggerCoupling, Tavrel_TriggerCoupling_AC, 2),
    ENTRY(Tavrel_TriggerCoupling, Tavrel_TriggerCoupling_DC, 1),
    ENTRY(Tavrel_TriggerSlope, Tavrel_TriggerSlope_Negative, 2),
    ENTRY(Tavrel_TriggerSlope, Tavrel_TriggerSlope_Positive, 1),
    ENTRY(Tavrel_TriggerSource, Tavrel_TriggerSource_Channel1, 1),
    ENTRY(Tavrel_TriggerSource, Tavrel_TriggerSource_Channel2, 2),
    ENTRY(Tavrel_TriggerSource, Tavrel_TriggerSource_Channel3, 3),
    ENTRY(Tavrel_TriggerSource, Tavrel_TriggerSource_Channel4, 4),
    ENTRY(Tavrel_TriggerSource, Tavrel_TriggerSource_External, 5),
    ENTRY(Tavrel_TriggerSource, Tavrel_TriggerSource_Line, 6),
    ENTRY(Tavrel_TriggerSource, Tavrel_TriggerSource_Logic_D0, 10),
    ENTRY(Tavrel_TriggerSource, Tavrel_TriggerSource_Logic_D1, 11),
    ENTRY(Tavrel_TriggerSource, Tavrel_TriggerSource_Logic_D2, 12),
    ENTRY(Tavrel_TriggerSource, Tavrel_TriggerSource_Logic_D3, 13),
    ENTRY(Tavrel_TriggerSource, Tavrel_TriggerSource_Logic_D4, 14),
    ENTRY(Tavrel_TriggerSource, Tavrel_TriggerSource_Logic_D5, 15),
    ENTRY(Tavrel_TriggerSource, Tavrel_TriggerSource_Logic_D6, 16),
    ENTRY(Tavrel_TriggerSource, Tavrel_TriggerSource_Logic_D7, 17),
    ENTRY(Tavrel_TriggerSource, Tavrel_TriggerSource_Logic_D8, 18),
    ENTRY(Tavrel_TriggerSource, Tavrel_TriggerSource_Logic_D9, 19),
    ENTRY(Tavrel_TriggerSource, Tavrel_TriggerSource_Logic_D10, 20),
    ENTRY(Tavrel_TriggerSource, Tavrel_TriggerSource_Logic_D11, 21),
    ENTRY(Tavrel_TriggerSource, Tavrel_TriggerSource_Logic_D12, 22),
    ENTRY(Tavrel_TriggerSource, Tavrel_TriggerSource_Logic_D13, 23),
    ENTRY(Tavrel_TriggerSource, Tavrel_TriggerSource_Logic_D14, 24),
    ENTRY(Tavrel_TriggerSource, Tavrel_TriggerSource_Logic_D15, 25),
    ENTRY(Tavrel_WaveformPoints, Tavrel_DataPoints_100, 100),
    ENTRY(Tavrel_WaveformPoints, Tavrel_DataPoints_250, 250),
    ENTRY(Tavrel_WaveformPoints, Tavrel_DataPoints_500, 500),
    ENTRY(Tavrel_WaveformPoints, Tavrel_DataPoints_1000, 1000),
    ENTRY(Tavrel_WaveformPoints, Tavrel_DataPoints_2000, 2000),
    ENTRY(Tavrel_WaveformPoints, Tavrel_DataPoints_ALL, 0),
    ENTRY(Tavrel_ImageFormat, Tavrel_ImageFormat_PNG, 8),
};

} // namespace

TEST(Enumerations, ValuesAreThePublishedOnes) {
    for (const Published& entry : kPublished)
        EXPECT_EQ(entry.value, entry.expected) << entry.enumeration << "::" << entry.name;
}

TEST(Enumerations, NoValueRepeatsWithinAnEnumeration) {
    std::map<std::string, std::map<long long, std::string>> seen;
    for (const Published& entry : kPublished) {
        auto [it, fresh] = seen[entry.enumeration].emplace(entry.value, entry.name);
        EXPECT_TRUE(fresh) << entry.name << " repeats " << it->second;
    }
    EXPECT_EQ(seen.size(), 20u) << "every public enumeration is listed";
}
