#pragma once

#include <QtGlobal>

// The public enumerations of the control; their names and values are part of what hosts see.
// CEnums holds them and has no members of its own. Each is a 32-bit integer underneath, so any
// value a host passes is a value of the type, and the members refuse the ones they do not know.
struct CEnums {};

enum Tavrel_CountryCode : qint32 {
    Tavrel_Language_English = 1,
    Tavrel_Language_French = 33,
    Tavrel_Language_Spanish = 34,
    Tavrel_Language_Italian = 39,
    Tavrel_Language_German = 49,
    Tavrel_Language_Japanese = 81,
    Tavrel_Language_Korean = 82,
    Tavrel_Language_Traditional_Chinese = 886,
};

enum Tavrel_ShowPropertyPage : qint32 {
    Tavrel_ShowPropertyPage_Default = 0,
    Tavrel_ShowPropertyPage_Setups = 1,
    Tavrel_ShowPropertyPage_Search = 2,
    Tavrel_ShowPropertyPage_SetIO = 3,
};

enum Tavrel_AcquisitionCount : qint32 {
    Tavrel_AcquisitionCount_1 = 1,
    Tavrel_AcquisitionCount_4 = 4,
    Tavrel_AcquisitionCount_8 = 8,
    Tavrel_AcquisitionCount_16 = 16,
    Tavrel_AcquisitionCount_32 = 32,
    Tavrel_AcquisitionCount_64 = 64,
    Tavrel_AcquisitionCount_128 = 128,
    Tavrel_AcquisitionCount_256 = 256,
};

enum Tavrel_AcquisitionType : qint32 {
    Tavrel_AcquisitionType_Auto = 5,
    Tavrel_AcquisitionType_Glitch = 3,
    Tavrel_AcquisitionType_Average = 1,
    Tavrel_AcquisitionType_Normal = 6,
    Tavrel_AcquisitionType_Peak = 2,
    Tavrel_AcquisitionType_Real = 4,
};

enum Tavrel_AllChannels : qint32 {
    Tavrel_Channel_A1 = 1,
    Tavrel_Channel_A2 = 2,
    Tavrel_Channel_A3 = 3,
    Tavrel_Channel_A4 = 4,
    Tavrel_Channel_D0 = 10,
    Tavrel_Channel_D1 = 11,
    Tavrel_Channel_D2 = 12,
    Tavrel_Channel_D3 = 13,
    Tavrel_Channel_D4 = 14,
    Tavrel_Channel_D5 = 15,
    Tavrel_Channel_D6 = 16,
    Tavrel_Channel_D7 = 17,
    Tavrel_Channel_D8 = 18,
    Tavrel_Channel_D9 = 19,
    Tavrel_Channel_D10 = 20,
    Tavrel_Channel_D11 = 21,
    Tavrel_Channel_D12 = 22,
    Tavrel_Channel_D13 = 23,
    Tavrel_Channel_D14 = 24,
    Tavrel_Channel_D15 = 25,
};

enum Tavrel_AnalogChannels : qint32 {
    Tavrel_Channel_1 = 1,
    Tavrel_Channel_2 = 2,
    Tavrel_Channel_3 = 3,
    Tavrel_Channel_4 = 4,
};

enum Tavrel_ImageFormat : qint32 {
    Tavrel_ImageFormat_BMP = 0,
    Tavrel_ImageFormat_EMF = 5,
    Tavrel_ImageFormat_GIF = 3,
    Tavrel_ImageFormat_JPG = 7,
    Tavrel_ImageFormat_TIF = 6,
    Tavrel_ImageFormat_WMF = 4,
    // Beyond the historic list: the scope sends its screen as PNG.
    Tavrel_ImageFormat_PNG = 8,
};

enum Tavrel_LogicBits : qint32 {
    Tavrel_Logic_D0 = 0,
    Tavrel_Logic_D1 = 1,
    Tavrel_Logic_D2 = 2,
    Tavrel_Logic_D3 = 3,
    Tavrel_Logic_D4 = 4,
    Tavrel_Logic_D5 = 5,
    Tavrel_Logic_D6 = 6,
    Tavrel_Logic_D7 = 7,
    Tavrel_Logic_D8 = 8,
    Tavrel_Logic_D9 = 9,
    Tavrel_Logic_D10 = 10,
    Tavrel_Logic_D11 = 11,
    Tavrel_Logic_D12 = 12,
    Tavrel_Logic_D13 = 13,
    Tavrel_Logic_D14 = 14,
    Tavrel_Logic_D15 = 15,
};

enum Tavrel_LogicPods : qint32 {
    Tavrel_Logic_POD1 = 1,
    Tavrel_Logic_POD2 = 2,
};

enum Tavrel_OnOffState : qint32 {
    Tavrel_Off = 0,
    Tavrel_On = 1,
};

enum Tavrel_ProbeAttenuation : qint32 {
    Tavrel_ProbeAttenuation_X1 = 1,
    Tavrel_ProbeAttenuation_X10 = 10,
    Tavrel_ProbeAttenuation_X20 = 20,
    Tavrel_ProbeAttenuation_X100 = 100,
};

enum Tavrel_ProbeCoupling : qint32 {
    Tavrel_ProbeCoupling_AC = 3,
    Tavrel_ProbeCoupling_DC = 1,
    Tavrel_ProbeCoupling_GND = 2,
};

enum Tavrel_ProbeMode : qint32 {
    Tavrel_ProbeMode_Auto = 2,
    Tavrel_ProbeMode_Manual = 1,
};

enum Tavrel_TimeMode : qint32 {
    Tavrel_TimeMode_Delayed = 1,
    Tavrel_TimeMode_Normal = 4,
    Tavrel_TimeMode_Roll = 3,
    Tavrel_TimeMode_XY = 2,
};

enum Tavrel_TriggerMode : qint32 {
    Tavrel_TriggerMode_Auto = 1,
    Tavrel_TriggerMode_AutoLevel = 3,
    Tavrel_TriggerMode_Normal = 2,
};

enum Tavrel_TimeReference : qint32 {
    Tavrel_TimeReference_Center = 1,
    Tavrel_TimeReference_Left = 3,
    Tavrel_TimeReference_Right = 2,
};

enum Tavrel_TriggerCoupling : qint32 {
    Tavrel_TriggerCoupling_AC = 2,
    Tavrel_TriggerCoupling_DC = 1,
};

enum Tavrel_TriggerSlope : qint32 {
    Tavrel_TriggerSlope_Negative = 2,
    Tavrel_TriggerSlope_Positive = 1,
};

enum Tavrel_TriggerSource : qint32 {
    Tavrel_TriggerSource_Channel1 = 1,
    Tavrel_TriggerSource_Channel2 = 2,
    Tavrel_TriggerSource_Channel3 = 3,
    Tavrel_TriggerSource_Channel4 = 4,
    Tavrel_TriggerSource_External = 5,
    Tavrel_TriggerSource_Line = 6,
    Tavrel_TriggerSource_Logic_D0 = 10,
    Tavrel_TriggerSource_Logic_D1 = 11,
    Tavrel_TriggerSource_Logic_D2 = 12,
    Tavrel_TriggerSource_Logic_D3 = 13,
    Tavrel_TriggerSource_Logic_D4 = 14,
    Tavrel_TriggerSource_Logic_D5 = 15,
    Tavrel_TriggerSource_Logic_D6 = 16,
    Tavrel_TriggerSource_Logic_D7 = 17,
    Tavrel_TriggerSource_Logic_D8 = 18,
    Tavrel_TriggerSource_Logic_D9 = 19,
    Tavrel_TriggerSource_Logic_D10 = 20,
    Tavrel_TriggerSource_Logic_D11 = 21,
    Tavrel_TriggerSource_Logic_D12 = 22,
    Tavrel_TriggerSource_Logic_D13 = 23,
    Tavrel_TriggerSource_Logic_D14 = 24,
    Tavrel_TriggerSource_Logic_D15 = 25,
};

enum Tavrel_WaveformPoints : qint32 {
    Tavrel_DataPoints_100 = 100,
    Tavrel_DataPoints_250 = 250,
    Tavrel_DataPoints_500 = 500,
    Tavrel_DataPoints_1000 = 1000,
    Tavrel_DataPoints_2000 = 2000,
    Tavrel_DataPoints_ALL = 0,
};
