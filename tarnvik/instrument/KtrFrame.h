// The handheld instrument's packet frame, shared by the library's session and the
// instrument simulator:
//   1, L, command, (L - 3) parameter words (2 bytes each), checksum
// where L counts words plus 3 and the checksum is the XOR of L, the command byte and every
// parameter byte (the start byte is not included). No terminator, no escaping.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarnvik {

// Command letters of the frames.
inline constexpr uint8_t kKtrStartOfHeader = 1;
inline constexpr char kKtrFlashData = 'D';    // request to the instrument; a data block from it
inline constexpr char kKtrAcknowledge = 'Y';  // the instrument's reply to a request; the library's ack
inline constexpr char kKtrEndOfData = 'B';    // the end of one flash read

// Flash read request: four 16-bit words, most significant byte first.
inline constexpr int16_t kKtrDownloaderVersion = 32;
inline constexpr int16_t kKtrReadFileTable = 51;
inline constexpr int16_t kKtrReadFileName = 17;
inline constexpr int16_t kKtrReadTrace = 4488;
// The file table's first word when the instrument's memory is formatted.
inline constexpr int32_t kKtrFormattedGuard = 1290;

// Byte values published for clients; the packet layer neither sends nor expects them.
enum SerChars : int32_t { ACK = 6, NAK = 21 };

// XOR of n bytes, starting from initial.
uint8_t KtrChecksum(const uint8_t* bytes, std::size_t n, uint8_t initial = 0);

// One complete frame carrying wordCount words taken from params (2 * wordCount bytes).
// The caller checks that wordCount + 3 fits the length byte.
std::vector<uint8_t> EncodeKtrFrame(char command, const uint8_t* params, std::size_t wordCount);

}  // namespace tarnvik
