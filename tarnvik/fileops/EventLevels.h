// The repair of event levels that reading a file applies when any event arrives with a
// negative level: such levels are not trustworthy, so every level after the first is
// recomputed from its predecessor. Library-internal; public for its tests.
#pragma once

namespace tarnvik {

class CTrace;

// For each event from the second on, in the order of the trace's Events:
//   level(i) = level(i-1) + loss(i-1) + (km(i) - km(i-1)) x attenuation(i)
// in 32-bit floats, the way the loss roll-up extends a missing level. km is the event's
// position as a display distance in kilometres; attenuation(i) is event i's AttenDBperKM
// (the section before it), 9999 (never set) counting as 0. A result below 0 is stored as
// 0. The first event keeps its level. Errors of the distance conversion (a GroupIndex of
// 0) are raised.
void RecomputeEventLevels(CTrace& trace);

}  // namespace tarnvik
