// CKTRCommand: one instrument command as a plain value, for clients that build or log
// packets themselves. The library's own packet procedures work on byte arrays instead.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tarnvik {

class CKTRCommand {
 public:
  CKTRCommand() = default;
  CKTRCommand(const CKTRCommand&) = delete;
  CKTRCommand& operator=(const CKTRCommand&) = delete;

  // The command letter.
  const std::string& CommandType() const { return commandType_; }
  void SetCommandType(const std::string& value) { commandType_ = value; }

  // Writing sizes the parameter list to 1..value, keeping the parameters that still fit
  // (new ones are empty); a negative count raises 9.
  int16_t ParamsCount() const { return static_cast<int16_t>(params_.size()); }
  void SetParamsCount(int16_t value);

  // One parameter, 1..ParamsCount; any other index raises 9.
  std::string Params(int16_t Index) const;
  void SetParams(int16_t Index, const std::string& value);

 private:
  static constexpr const char* kModule = "CKTRCommand";
  std::size_t Slot(int16_t index) const;

  std::string commandType_;
  std::vector<std::string> params_;
};

}  // namespace tarnvik
