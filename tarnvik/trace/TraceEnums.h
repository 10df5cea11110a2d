// Enumerations of the trace model, with the numbers clients see.
#pragma once

#include <cstdint>

namespace tarnvik {

enum EnumEventTypes : int32_t {
  EVTYPE_Undefined = 1,
  EVTYPE_Reflective = 2,
  EVTYPE_NonReflective = 3,
  EVTYPE_ReflectiveGainer = 4,
  EVTYPE_NonReflectiveGainer = 5,
  EVTYPE_Multiple = 6,
  EVTYPE_ReflectiveEnd = 7,
  EVTYPE_NonReflectiveEnd = 8,
  EVTYPE_EstimatedEnd = 9,
  EVTYPE_Start = 10,
  EVTYPE_End = 11,
  EVTYPE_Clipped = 12,
};

enum EnumLossMethods : int32_t {
  LOSS_TwoPoint = 1,
  LOSS_Multiple = 2,
  LOSS_Single = 3,
  LOSS_FiberAttenuation = 4,
  LOSS_Start = 5,
  LOSS_End = 6,
  LOSS_Other = 7,
};

enum EnumEventSources : int32_t {
  EVSRC_Manual = 1,
  EVSRC_Auto = 2,
  EVSRC_UserEdited = 3,
};

enum EnumEventReflectances : int32_t {
  EVREFL_OverRange = 0,
  EVREFL_UnderRange = 1,
  EVREFL_NA = 2,
};

enum EnumCursors : int32_t {
  Acursor = 1,
  Bcursor = 2,
};

enum EnumDistanceUnits : int32_t {
  DU_Kilometers = 1,
  DU_Feet = 2,
  DU_Meters = 3,
  DU_Miles = 4,
  DU_Kilofeet = 5,
};

enum EnumPulseWidthIndexes : int32_t {
  PWI_Min = 1,
  PWI_20 = 1,
  PWI_100 = 2,
  PWI_400 = 3,
  PWI_1000 = 4,
  PWI_2000 = 5,
  PWI_4000 = 6,
  PWI_Max = 6,
};

enum EnumFiberTypes : int32_t {
  FT_MultiMode = 1,
  FT_SingleMode = 2,
  FT_Unknown = 3,
};

}  // namespace tarnvik
