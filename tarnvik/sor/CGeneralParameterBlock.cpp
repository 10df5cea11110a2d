#include "tarnvik/sor/CGeneralParameterBlock.h"

#include "tarnvik/foundation/Utf8.h"
#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/foundation/modMain.h"
#include "tarnvik/sor/BlockCodec.h"
#include "tarnvik/sor/SorText.h"

namespace tarnvik {

void CGeneralParameterBlock::SetLanguageCode(const std::string& value) {
  Guarded(kModule, "Let LanguageCode()", [&] {
    if (CharCount(value) != 2) {
      Raise(err::InvalidCall, "LanguageCode must be 2 characters. \"" + value + "\" is not allowed.");
    }
    languageCode_ = value;
  });
}

void CGeneralParameterBlock::SetCurrentDataFlag(const std::string& value) {
  Guarded(kModule, "Let CurrentDataFlag()", [&] {
    if (value != "BC" && value != "RC" && value != "OT") {
      Raise(err::InvalidCall,
            "CurrentDataFlag must be \"BC\", \"RC\" or \"OT\". \"" + value + "\" is not allowed.");
    }
    currentDataFlag_ = value;
  });
}

void CGeneralParameterBlock::SetCableID(const std::string& value) { cableID_ = NonEmptyText(value); }
void CGeneralParameterBlock::SetFiberID(const std::string& value) { fiberID_ = NonEmptyText(value); }
void CGeneralParameterBlock::SetOriginatingLocation(const std::string& value) {
  originatingLocation_ = NonEmptyText(value);
}
void CGeneralParameterBlock::SetTerminatingLocation(const std::string& value) {
  terminatingLocation_ = NonEmptyText(value);
}
void CGeneralParameterBlock::SetCableCode(const std::string& value) { cableCode_ = NonEmptyText(value); }
void CGeneralParameterBlock::SetOperator(const std::string& value) { operator_ = NonEmptyText(value); }
void CGeneralParameterBlock::SetComment(const std::string& value) { comment_ = NonEmptyText(value); }

void CGeneralParameterBlock::Parse(ByteArray& body) {
  ParseBody("General Parameters", body, body.Count(), 1, [&](BlockReader& r) {
    SetLanguageCode(r.FixedText(2));
    SetCableID(r.Text());
    SetFiberID(r.Text());
    SetNominalWavelength(ToInt16(r.Signed(2)));
    SetOriginatingLocation(r.Text());
    SetTerminatingLocation(r.Text());
    SetCableCode(r.Text());
    SetCurrentDataFlag(r.FixedText(2));
    SetUserOffset(ToInt32(r.Signed(4)));
    SetOperator(r.Text());
    SetComment(r.Text());
  });
}

ByteArray CGeneralParameterBlock::Build() const {
  const int32_t size = 10 + TextFieldSize(cableID_) + TextFieldSize(fiberID_) + TextFieldSize(originatingLocation_) +
                       TextFieldSize(terminatingLocation_) + TextFieldSize(cableCode_) + TextFieldSize(operator_) +
                       TextFieldSize(comment_);
  return BuildBody("General Parameters", size, [&](BlockWriter& w) {
    w.FixedText(languageCode_);
    w.Text(cableID_);
    w.Text(fiberID_);
    w.Signed(nominalWavelength_, 2);
    w.Text(originatingLocation_);
    w.Text(terminatingLocation_);
    w.Text(cableCode_);
    w.FixedText(currentDataFlag_);
    w.Signed(userOffset_, 4);
    w.Text(operator_);
    w.Text(comment_);
  });
}

}  // namespace tarnvik
