#include "tarnvik/instrument/KtrFrame.h"

namespace tarnvik {

uint8_t KtrChecksum(const uint8_t* bytes, std::size_t n, uint8_t initial) {
  for (std::size_t i = 0; i < n; ++i) initial = static_cast<uint8_t>(initial ^ bytes[i]);
  return initial;
}

std::vector<uint8_t> EncodeKtrFrame(char command, const uint8_t* params, std::size_t wordCount) {
  std::vector<uint8_t> frame;
  frame.reserve(2 * wordCount + 4);
  frame.push_back(kKtrStartOfHeader);
  frame.push_back(static_cast<uint8_t>(wordCount + 3));
  frame.push_back(static_cast<uint8_t>(command));
  frame.insert(frame.end(), params, params + 2 * wordCount);
  frame.push_back(KtrChecksum(frame.data() + 1, frame.size() - 1));
  return frame;
}

}  // namespace tarnvik
