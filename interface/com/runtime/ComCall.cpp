#include "ComCall.h"

#include "ComConvert.h"

namespace tarnvik::com {

HRESULT ReportError(int32_t number, const std::string& source, const std::string& description) {
  ICreateErrorInfo* create = nullptr;
  if (SUCCEEDED(CreateErrorInfo(&create))) {
    BSTR src = nullptr;
    BSTR text = nullptr;
    try {
      src = ToBstr(source);
      text = ToBstr(description);
    } catch (...) {
    }
    create->SetSource(src);
    create->SetDescription(text);
    SysFreeString(src);
    SysFreeString(text);
    IErrorInfo* info = nullptr;
    if (SUCCEEDED(create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info)))) {
      SetErrorInfo(0, info);
      info->Release();
    }
    create->Release();
  }
  return ErrorResult(number);
}

}  // namespace tarnvik::com
