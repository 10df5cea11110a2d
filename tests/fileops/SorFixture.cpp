#include "SorFixture.h"

namespace tarnvik::testing {

namespace {
// The "KeyEvents" block reads a positive reflectance as its negative (but 1000 and
// 2000); the vendor copy stores the value as read, so that the two compare equal.
void EventHead(BodyBuilder& b, const KeyEventFields& e, bool asRead) {
  const bool flips = e.reflectance > 0 && e.reflectance != 1000 && e.reflectance != 2000;
  const int32_t reflectance = asRead && flips ? -e.reflectance : e.reflectance;
  b.I16(e.number).I32(e.time).I16(e.atten).I16(e.loss).I32(reflectance).Chars(e.code).Chars(e.lossMT);
}
}  // namespace

Bytes SorFixture::Build() const {
  std::vector<SorBlock> blocks;
  BodyBuilder gen;
  gen.Chars(language).Text(cableID).Text(fiberID).I16(nominal).Text(origin).Text(terminus).Text(cableCode);
  gen.Chars(dataFlag).I32(userOffset).Text(op).Text(comment);
  blocks.push_back({"GenParams", 100, gen.bytes()});

  BodyBuilder sup;
  sup.Text(supplier).Text(mainframe).Text(mainframeSN).Text(module).Text(moduleSN).Text(softwareRev).Text(other);
  blocks.push_back({"SupParams", 100, sup.bytes()});

  BodyBuilder fxd;
  fxd.I32(dateTime).Chars(units).I16(actual).I32(acqOffset).I16(pulseCount);
  for (int32_t i = 0; i < pulseCount; ++i) fxd.I16(pulseWidth).I32(spacing).I32(points);
  fxd.I32(groupIndex).I16(backScatter).I32(averages).I32(acqRange).I32(frontPanel);
  fxd.U16(noiseFloor).I16(noiseScale).U16(powerOffset).U16(lossThreshold).U16(reflThreshold).U16(eofThreshold);
  blocks.push_back({"FxdParams", 100, fxd.bytes()});

  if (withData) {
    BodyBuilder data;
    data.I32(static_cast<int64_t>(samples.size())).I16(1).I32(static_cast<int64_t>(samples.size())).I16(scaleFactor);
    for (uint32_t s : samples) data.U16(s);
    blocks.push_back({"DataPts", 100, data.bytes()});
  }
  if (withKeyEvents) {
    BodyBuilder key;
    key.I16(static_cast<int32_t>(events.size()));
    for (const auto& e : events) {
      EventHead(key, e, false);
      key.Text(e.comment);
    }
    key.I32(endLoss).I32(endStart).I32(endEnd).U16(orl).I32(orlStart).I32(orlEnd);
    blocks.push_back({"KeyEvents", 100, key.bytes()});
  }
  if (withOrvik) {
    BodyBuilder orvik;
    orvik.I32(orvikA).I32(orvikB);
    for (uint32_t l : orvikLevels) orvik.U16(l);
    blocks.push_back({"Orvik", 100, orvik.bytes()});
  }
  if (orvik2Revision != 0) {
    BodyBuilder o2;
    o2.Text("Orvik2").I16(static_cast<int32_t>(cursors.size()));
    for (int32_t c : cursors) o2.I32(c);
    const auto kept = static_cast<int32_t>(events.size()) - vendorEventsDropped;
    o2.I16(kept);
    for (int32_t i = 0; i < kept; ++i) {
      const auto& e = events[static_cast<std::size_t>(i)];
      EventHead(o2, e, true);
      for (int32_t m : e.markers) o2.I32(m);
      o2.Text(e.comment).Chars(e.type).U16(e.level).I32(e.groupEnd);
    }
    if (orvik2Revision >= 201) o2.I16(0);
    if (orvik2Revision >= 202) o2.I16(orvik2FiberID);
    blocks.push_back({"Orvik2", orvik2Revision, o2.bytes()});
  }
  return AssembleSor(blocks);
}

}  // namespace tarnvik::testing
