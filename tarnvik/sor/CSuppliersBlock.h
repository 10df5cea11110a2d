// The "SupParams" block: what identifies the instrument and its software.
#pragma once

#include <string>

#include "tarnvik/foundation/ByteArray.h"

namespace tarnvik {

class CSuppliersBlock {
 public:
  CSuppliersBlock() = default;
  CSuppliersBlock(const CSuppliersBlock&) = delete;
  CSuppliersBlock& operator=(const CSuppliersBlock&) = delete;

  // Every text stores "" as one space.
  const std::string& SupplierName() const { return supplierName_; }
  void SetSupplierName(const std::string& value);
  const std::string& OTDRMainframeID() const { return otdrMainframeID_; }
  void SetOTDRMainframeID(const std::string& value);
  const std::string& OTDRMainframeSN() const { return otdrMainframeSN_; }
  void SetOTDRMainframeSN(const std::string& value);
  const std::string& OpticalModuleID() const { return opticalModuleID_; }
  void SetOpticalModuleID(const std::string& value);
  const std::string& OpticalModuleSN() const { return opticalModuleSN_; }
  void SetOpticalModuleSN(const std::string& value);
  const std::string& SoftwareRev() const { return softwareRev_; }
  void SetSoftwareRev(const std::string& value);
  const std::string& Other() const { return other_; }
  void SetOther(const std::string& value);

  // Library-internal: the block body (indexed from 1) in and out. Parse errors name the
  // Fixed Parameters Block, as the library has always reported them.
  void Parse(ByteArray& body);
  ByteArray Build() const;

 private:
  std::string supplierName_ = "Orvik";
  std::string otdrMainframeID_ = " ";
  std::string otdrMainframeSN_ = " ";
  std::string opticalModuleID_ = " ";
  std::string opticalModuleSN_ = " ";
  std::string softwareRev_ = " ";
  std::string other_ = " ";
};

}  // namespace tarnvik
