// Whole-file reads and safe whole-file writes, shared by every file format of the library.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace tarnvik {

// The path a UTF-8 file name names. On Windows it is converted to UTF-16 for the wide
// file calls (malformed bytes read as in DecodeUtf8); elsewhere the bytes are the name.
std::filesystem::path PathFromUtf8(const std::string& name);

// The whole file. A missing file raises 53, a folder or unreadable file 75, an empty or
// missing name 52.
std::vector<uint8_t> ReadWholeFile(const std::string& path);

// Writes the bytes to a new file beside the target, then renames it over the target, so
// that a failure (no space, no permission: 75; missing folder: 76) leaves any existing file
// untouched and no partial file behind. On POSIX systems the new file is on the disk before
// the rename and the folder is synced after it, so that a crash or a power loss at any
// moment leaves the old file or the new one, whole. A process killed mid-save may leave its
// temporary file (the target's name followed by ".~tarnvik-") beside the target.
// (Not called ReplaceFile: <windows.h> defines that name as a macro.)
void ReplaceWholeFile(const std::string& path, const std::vector<uint8_t>& bytes);

// Creates (or empties) the file and opens it for binary output, for writers that keep
// what they wrote when they fail part-way. A missing folder raises 76, a folder or an
// unwritable file 75, an empty name 52.
std::ofstream OpenNewFile(const std::string& path);

}  // namespace tarnvik
