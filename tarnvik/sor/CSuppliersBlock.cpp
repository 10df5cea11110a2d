#include "tarnvik/sor/CSuppliersBlock.h"

#include "tarnvik/sor/BlockCodec.h"
#include "tarnvik/sor/SorText.h"

namespace tarnvik {

void CSuppliersBlock::SetSupplierName(const std::string& value) { supplierName_ = NonEmptyText(value); }
void CSuppliersBlock::SetOTDRMainframeID(const std::string& value) { otdrMainframeID_ = NonEmptyText(value); }
void CSuppliersBlock::SetOTDRMainframeSN(const std::string& value) { otdrMainframeSN_ = NonEmptyText(value); }
void CSuppliersBlock::SetOpticalModuleID(const std::string& value) { opticalModuleID_ = NonEmptyText(value); }
void CSuppliersBlock::SetOpticalModuleSN(const std::string& value) { opticalModuleSN_ = NonEmptyText(value); }
void CSuppliersBlock::SetSoftwareRev(const std::string& value) { softwareRev_ = NonEmptyText(value); }
void CSuppliersBlock::SetOther(const std::string& value) { other_ = NonEmptyText(value); }

void CSuppliersBlock::Parse(ByteArray& body) {
  ParseBody("Fixed Parameters", body, body.Count(), 1, [&](BlockReader& r) {
    SetSupplierName(r.Text());
    SetOTDRMainframeID(r.Text());
    SetOTDRMainframeSN(r.Text());
    SetOpticalModuleID(r.Text());
    SetOpticalModuleSN(r.Text());
    SetSoftwareRev(r.Text());
    SetOther(r.Text());
  });
}

ByteArray CSuppliersBlock::Build() const {
  const int32_t size = TextFieldSize(supplierName_) + TextFieldSize(otdrMainframeID_) +
                       TextFieldSize(otdrMainframeSN_) + TextFieldSize(opticalModuleID_) +
                       TextFieldSize(opticalModuleSN_) + TextFieldSize(softwareRev_) + TextFieldSize(other_);
  return BuildBody("Supplier Parameters", size, [&](BlockWriter& w) {
    w.Text(supplierName_);
    w.Text(otdrMainframeID_);
    w.Text(otdrMainframeSN_);
    w.Text(opticalModuleID_);
    w.Text(opticalModuleSN_);
    w.Text(softwareRev_);
    w.Text(other_);
  });
}

}  // namespace tarnvik
