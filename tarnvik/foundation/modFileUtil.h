// File-name helpers. Both "\" and "/" separate folders, on every platform.
#pragma once

#include <cstdint>
#include <istream>
#include <string>

namespace tarnvik {

// The part after the last folder separator; with none, the part after the first ":";
// with neither, the whole path.
std::string ParseFileTitle(const std::string& path);
// The title up to, not including, its last "."; the whole title when it has none.
std::string ParseFileBase(const std::string& path);
// The title after its last ".", without the dot; empty when it has none.
std::string ParseFileExt(const std::string& path);

// Deletes the file and returns true. A failure (no such file, no permission) is logged
// and false is returned.
bool SafeKill(const std::string& path);

// Reads a length-prefixed text at the stream's position: a signed 16-bit length, low
// byte first, then that many bytes, one character each. A length below 1 gives "" and
// reads nothing more; a stream that ends early raises error 62.
std::string GetStringInfo(std::istream& file);

}  // namespace tarnvik
