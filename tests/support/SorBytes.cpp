#include "support/SorBytes.h"

#include <fstream>
#include <iterator>
#include <stdexcept>

namespace tarnvik::testing {

BodyBuilder& BodyBuilder::U8(uint32_t v) {
  bytes_.push_back(static_cast<uint8_t>(v & 0xFF));
  return *this;
}

BodyBuilder& BodyBuilder::I16(int32_t v) { return U16(static_cast<uint32_t>(v) & 0xFFFF); }

BodyBuilder& BodyBuilder::U16(uint32_t v) {
  U8(v & 0xFF);
  return U8((v >> 8) & 0xFF);
}

BodyBuilder& BodyBuilder::I32(int64_t v) {
  const auto u = static_cast<uint32_t>(v & 0xFFFFFFFF);
  U16(u & 0xFFFF);
  return U16(u >> 16);
}

BodyBuilder& BodyBuilder::Chars(const std::string& s) {
  bytes_.insert(bytes_.end(), s.begin(), s.end());
  return *this;
}

BodyBuilder& BodyBuilder::Text(const std::string& s) { return Chars(s).U8(0); }

BodyBuilder& BodyBuilder::Raw(const Bytes& b) {
  bytes_.insert(bytes_.end(), b.begin(), b.end());
  return *this;
}

ByteArray BodyBuilder::ToByteArray() const { return ByteArray::FromBytes(bytes_.data(), bytes_.size(), 1); }

Bytes ToBytes(const ByteArray& a) { return Bytes(a.data(), a.data() + a.size()); }

uint16_t Crc16(const Bytes& bytes, uint16_t start) {
  uint32_t crc = start;
  for (uint8_t b : bytes) {
    crc ^= static_cast<uint32_t>(b) << 8;
    for (int i = 0; i < 8; ++i) crc = (crc & 0x8000) ? ((crc << 1) ^ 0x1021) : (crc << 1);
    crc &= 0xFFFF;
  }
  return static_cast<uint16_t>(crc);
}

namespace {

// The image with the checksum of all its bytes appended, least significant byte first.
Bytes WithChecksum(Bytes image, bool append) {
  if (append) {
    const uint16_t crc = Crc16(image);
    image.push_back(static_cast<uint8_t>(crc & 0xFF));
    image.push_back(static_cast<uint8_t>(crc >> 8));
  }
  return image;
}

}  // namespace

Bytes AssembleSor(const std::vector<SorBlock>& blocks, bool withChecksum, int32_t mapRevision) {
  std::vector<SorBlock> all = blocks;
  if (withChecksum) all.push_back({"Cksum", 100, {}});
  int32_t mapSize = 8;
  for (const auto& b : all) mapSize += static_cast<int32_t>(b.id.size()) + 7;
  BodyBuilder file;
  file.U16(static_cast<uint32_t>(mapRevision)).I32(mapSize).I16(static_cast<int32_t>(all.size()) + 1);
  for (const auto& b : all) {
    const int32_t size = (withChecksum && &b == &all.back()) ? 2 : static_cast<int32_t>(b.body.size());
    file.Text(b.id).U16(static_cast<uint32_t>(b.revision)).I32(size);
  }
  for (std::size_t i = 0; i + (withChecksum ? 1 : 0) < all.size(); ++i) file.Raw(all[i].body);
  return WithChecksum(file.bytes(), withChecksum);
}

Bytes AssembleSorV2(const std::vector<SorBlock>& blocks, bool withChecksum, int32_t mapRevision) {
  std::vector<SorBlock> all = blocks;
  if (withChecksum) all.push_back({"Cksum", mapRevision, {}});
  int32_t mapSize = 12;
  for (const auto& b : all) mapSize += static_cast<int32_t>(b.id.size()) + 7;
  const auto bodySize = [&](const SorBlock& b) {
    if (withChecksum && &b == &all.back()) return 8;
    return b.body.empty() ? 0 : static_cast<int32_t>(b.id.size() + 1 + b.body.size());
  };
  BodyBuilder file;
  file.Text("Map").U16(static_cast<uint32_t>(mapRevision)).I32(mapSize).I16(static_cast<int32_t>(all.size()) + 1);
  for (const auto& b : all) file.Text(b.id).U16(static_cast<uint32_t>(b.revision)).I32(bodySize(b));
  for (const auto& b : all) {
    if (bodySize(b) > 0) file.Text(b.id);
    file.Raw(b.body);
  }
  return WithChecksum(file.bytes(), withChecksum);
}

uint16_t StandardSample(std::size_t group, std::size_t k) {
  return static_cast<uint16_t>((k * 7919 + 1234 + group * 101) % 65536);
}

std::vector<SorBlock> StandardSorBlocks(const StandardSor& sor) {
  const bool v2 = sor.version == 2;
  const int32_t revision = v2 ? 200 : 100;
  BodyBuilder gen;
  gen.Chars("EN").Text("CABLE-7").Text("FIBRE-12");
  if (v2) gen.U16(652);
  gen.U16(1550).Text("Site A").Text("Site B").Text("CC-1").Chars("BC").I32(-1200);
  if (v2) gen.I32(-250);
  gen.Text("Ana").Text("route 7");

  BodyBuilder sup;
  for (const char* text : {"Tarnvik", "MF-1", "SN-100", "MOD-2", "SN-200", "1.2.3", "bench"}) sup.Text(text);

  uint32_t total = 0;
  for (uint32_t n : sor.groupSamples) total += n;
  const auto widths = static_cast<uint32_t>(sor.pulseWidths.size());
  BodyBuilder fxd;
  fxd.I32(1700000000).Chars("km").U16(15500).I32(-3000);
  if (v2) fxd.I32(-600);
  fxd.U16(widths);
  for (uint16_t w : sor.pulseWidths) fxd.U16(w);
  for (uint32_t k = 0; k < widths; ++k) fxd.I32(100000 * (k + 1));
  for (uint32_t k = 0; k < widths; ++k) fxd.I32(k + 1 < widths ? total / widths : total - (widths - 1) * (total / widths));
  fxd.I32(146800).U16(800).I32(1024);
  if (v2) fxd.U16(300);
  fxd.I32(400000);
  if (v2) fxd.I32(40000);
  fxd.I32(-75).U16(56000).I16(1000).U16(123).U16(200).U16(40000).U16(3000);
  if (v2) fxd.Chars("ST").I32(0).I32(65535).I32(40000).I32(-1000);

  BodyBuilder key;
  key.U16(static_cast<uint32_t>(sor.events));
  for (int32_t e = 1; e <= sor.events; ++e) {
    key.U16(static_cast<uint32_t>(e)).I32(10000 * e).I16(350).I16(100 * e).I32(-45000 - e);
    key.Chars(e == sor.events ? "1E9999" : "0F9999").Chars("LS");
    if (v2) {
      for (int32_t m = 1; m <= 5; ++m) key.I32(1000 * e + m);
    }
    key.Text("ev" + std::to_string(e));
  }
  key.I32(5500).I32(0).I32(10000 * sor.events).U16(32000).I32(0).I32(10000 * sor.events);

  BodyBuilder data;
  data.I32(total).U16(static_cast<uint32_t>(sor.groupSamples.size()));
  for (std::size_t g = 0; g < sor.groupSamples.size(); ++g) data.I32(sor.groupSamples[g]).U16(sor.scaleFactors[g]);
  for (std::size_t g = 0; g < sor.groupSamples.size(); ++g) {
    for (std::size_t k = 0; k < sor.groupSamples[g]; ++k) data.U16(StandardSample(g, k));
  }
  return {{"GenParams", revision, gen.bytes()}, {"SupParams", revision, sup.bytes()},
          {"FxdParams", revision, fxd.bytes()}, {"KeyEvents", revision, key.bytes()},
          {"DataPts", revision, data.bytes()}};
}

Bytes MakeStandardSor(const StandardSor& sor) {
  const auto blocks = StandardSorBlocks(sor);
  return sor.version == 2 ? AssembleSorV2(blocks) : AssembleSor(blocks);
}

namespace {
uint32_t Le(const Bytes& b, std::size_t at, int width) {
  if (at + static_cast<std::size_t>(width) > b.size()) throw std::runtime_error("file image too short");
  uint32_t v = 0;
  for (int k = width - 1; k >= 0; --k) v = (v << 8) | b[at + static_cast<std::size_t>(k)];
  return v;
}
}  // namespace

MapImage ReadMap(const Bytes& file) {
  MapImage map;
  map.revision = static_cast<int32_t>(Le(file, 0, 2));
  map.mapSize = static_cast<int32_t>(Le(file, 2, 4));
  map.blockCount = static_cast<int16_t>(Le(file, 6, 2));
  std::size_t at = 8;
  for (int32_t i = 1; i < map.blockCount; ++i) {
    MapEntry e;
    while (at < file.size() && file[at] != 0) e.id.push_back(static_cast<char>(file[at++]));
    ++at;
    e.revision = static_cast<int32_t>(Le(file, at, 2));
    e.size = static_cast<int32_t>(Le(file, at + 2, 4));
    at += 6;
    map.entries.push_back(e);
  }
  return map;
}

Bytes BlockBody(const Bytes& file, const std::string& id) {
  const MapImage map = ReadMap(file);
  std::size_t at = static_cast<std::size_t>(map.mapSize);
  for (const auto& e : map.entries) {
    if (e.id == id) {
      if (at + static_cast<std::size_t>(e.size) > file.size()) throw std::runtime_error("block past end");
      return Bytes(file.begin() + static_cast<std::ptrdiff_t>(at),
                   file.begin() + static_cast<std::ptrdiff_t>(at) + e.size);
    }
    at += static_cast<std::size_t>(e.size);
  }
  throw std::runtime_error("no block " + id);
}

Bytes DefaultGenParamsBody() {
  BodyBuilder b;
  b.Chars("EN").Text(" ").Text(" ").I16(1310).Text(" ").Text(" ").Text(" ").Chars("BC").I32(0).Text(" ").Text(" ");
  return b.bytes();
}

Bytes DefaultSupParamsBody() {
  BodyBuilder b;
  b.Text("Orvik");
  for (int i = 0; i < 6; ++i) b.Text(" ");
  return b.bytes();
}

Bytes DefaultFxdParamsBody(int32_t dateTime) {
  BodyBuilder b;
  b.I32(dateTime).Chars("km").I16(13100).I32(0).I16(1);  // date, units, wavelength, offset, N
  b.I16(100).I32(0).I32(0);                              // pulse width, spacing, points
  b.I32(149896).I16(800).I32(0).I32(0).I32(0);           // group index .. front panel offset
  b.U16(0).I16(1000).U16(0).U16(200).U16(40000).U16(3000);
  return b.bytes();
}

Bytes EmptyDataPtsBody() {
  BodyBuilder b;
  b.I32(0).I16(0);
  return b.bytes();
}

Bytes ReadFileBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("cannot open " + path);
  return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void WriteFileBytes(const std::string& path, const Bytes& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (!out) throw std::runtime_error("cannot write " + path);
}

}  // namespace tarnvik::testing
