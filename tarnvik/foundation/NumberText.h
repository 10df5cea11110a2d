// Numbers as text the way the library shows them in messages, logs and dumps: the
// shortest decimal form that reads back to the same value ("0", "-45.2", "1.0210915").
// And the other way: the decimal numbers that fields typed by people hold (" 12",
// "-5", "2.5", "1E3"), as the library reads them from files.
#pragma once

#include <cstdint>
#include <string>

namespace tarnvik {

std::string NumberText(float value);
std::string NumberText(double value);

// True when text is a decimal number: optional blanks, an optional sign, digits with
// at most one decimal point, an optional exponent, optional blanks. "" and " " are not.
bool IsNumeric(const std::string& text);
// The value of a numeric text; anything else raises 13 ("Type mismatch").
double NumberFromText(const std::string& text);
// The text without leading and trailing blanks (spaces only, as typed-in fields pad).
std::string TrimBlanks(const std::string& text);

}  // namespace tarnvik
