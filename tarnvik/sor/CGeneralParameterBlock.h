// The "GenParams" block: what identifies the fibre and the test.
#pragma once

#include <cstdint>
#include <string>

#include "tarnvik/foundation/ByteArray.h"

namespace tarnvik {

class CGeneralParameterBlock {
 public:
  CGeneralParameterBlock() = default;
  CGeneralParameterBlock(const CGeneralParameterBlock&) = delete;
  CGeneralParameterBlock& operator=(const CGeneralParameterBlock&) = delete;

  // Exactly two characters; anything else raises 5.
  const std::string& LanguageCode() const { return languageCode_; }
  void SetLanguageCode(const std::string& value);
  // "BC", "RC" or "OT"; anything else raises 5.
  const std::string& CurrentDataFlag() const { return currentDataFlag_; }
  void SetCurrentDataFlag(const std::string& value);

  // The free texts never hold "": assigning it stores one space.
  const std::string& CableID() const { return cableID_; }
  void SetCableID(const std::string& value);
  const std::string& FiberID() const { return fiberID_; }
  void SetFiberID(const std::string& value);
  const std::string& OriginatingLocation() const { return originatingLocation_; }
  void SetOriginatingLocation(const std::string& value);
  const std::string& TerminatingLocation() const { return terminatingLocation_; }
  void SetTerminatingLocation(const std::string& value);
  const std::string& CableCode() const { return cableCode_; }
  void SetCableCode(const std::string& value);
  const std::string& Operator() const { return operator_; }
  void SetOperator(const std::string& value);
  const std::string& Comment() const { return comment_; }
  void SetComment(const std::string& value);

  int16_t NominalWavelength() const { return nominalWavelength_; }
  void SetNominalWavelength(int16_t value) { nominalWavelength_ = value; }
  int32_t UserOffset() const { return userOffset_; }
  void SetUserOffset(int32_t value) { userOffset_ = value; }

  // Library-internal: the block body (indexed from 1) in and out.
  void Parse(ByteArray& body);
  ByteArray Build() const;

 private:
  static constexpr const char* kModule = "CGeneralParameterBlock";

  std::string languageCode_ = "EN";
  std::string cableID_ = " ";
  std::string fiberID_ = " ";
  int16_t nominalWavelength_ = 1310;
  std::string originatingLocation_ = " ";
  std::string terminatingLocation_ = " ";
  std::string cableCode_ = " ";
  std::string currentDataFlag_ = "BC";
  int32_t userOffset_ = 0;
  std::string operator_ = " ";
  std::string comment_ = " ";
};

}  // namespace tarnvik
