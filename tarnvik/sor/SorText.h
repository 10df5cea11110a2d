// Text rules shared by the SOR block classes.
#pragma once

#include <cstdint>
#include <string>

namespace tarnvik {

// The parameter blocks never carry an empty text: "" is stored as one space.
inline std::string NonEmptyText(const std::string& value) { return value.empty() ? std::string(" ") : value; }

// Bytes a zero-terminated text takes in a block body: one per character, plus the zero.
int32_t TextFieldSize(const std::string& text);

}  // namespace tarnvik
