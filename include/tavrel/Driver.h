#pragma once

// The scope driver on its own (Tavrel::Driver): open an address with ScopeTavrel and use its
// operation objects. Failures are BrumelTB::ServerError and CorvaneIOUtilsLib::IOError.
#include "automation/AcquisitionTavrel.h"
#include "automation/AnalogChannelTavrel.h"
#include "automation/AnalogChannelsTavrel.h"
#include "automation/CEnums.h"
#include "automation/LogicChannelTavrel.h"
#include "automation/MeasureTavrel.h"
#include "automation/ScopeTavrel.h"
#include "automation/ServerError.h"
#include "automation/TimebaseTavrel.h"
#include "automation/TraceTavrel.h"
#include "automation/TriggerTavrel.h"
#include "automation/UtilitiesTavrel.h"
#include "automation/WaveformTavrel.h"
#include "tavrel/IO.h"
#include "tavrel/Version.h"
