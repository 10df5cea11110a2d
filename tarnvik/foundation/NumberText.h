// Numbers as text the way the library shows them in messages, logs and dumps: the
// shortest decimal form that reads back to the same value ("0", "-45.2", "1.0210915").
#pragma once

#include <string>

namespace tarnvik {

std::string NumberText(float value);
std::string NumberText(double value);

}  // namespace tarnvik
