// For Each over a collection: an IEnumVARIANT over the items as they were when the
// enumeration began.
#pragma once

#include <windows.h>
#include <oaidl.h>

#include <memory>
#include <vector>

#include "ComUnknown.h"

namespace tarnvik::com {

class VariantEnumerator final : public Unknown<IEnumVARIANT> {
 public:
  // Takes ownership of the items (each VariantClear'd when the last enumerator goes).
  explicit VariantEnumerator(std::vector<VARIANT> items);
  VariantEnumerator(const VariantEnumerator&) = delete;
  VariantEnumerator& operator=(const VariantEnumerator&) = delete;

  HRESULT STDMETHODCALLTYPE Next(ULONG count, VARIANT* items, ULONG* fetched) override;
  HRESULT STDMETHODCALLTYPE Skip(ULONG count) override;
  HRESULT STDMETHODCALLTYPE Reset() override;
  HRESULT STDMETHODCALLTYPE Clone(IEnumVARIANT** copy) override;

 private:
  struct Items;
  VariantEnumerator(std::shared_ptr<Items> items, ULONG position);
  ~VariantEnumerator() override = default;

  std::shared_ptr<Items> items_;
  ULONG position_ = 0;
};

}  // namespace tarnvik::com
