#include "ComEnum.h"

namespace tarnvik::com {

struct VariantEnumerator::Items {
  std::vector<VARIANT> values;
  ~Items() {
    for (VARIANT& v : values) VariantClear(&v);
  }
};

VariantEnumerator::VariantEnumerator(std::vector<VARIANT> items) : items_(std::make_shared<Items>()) {
  items_->values = std::move(items);
}

VariantEnumerator::VariantEnumerator(std::shared_ptr<Items> items, ULONG position)
    : items_(std::move(items)), position_(position) {}

HRESULT VariantEnumerator::Next(ULONG count, VARIANT* items, ULONG* fetched) {
  if (items == nullptr) return E_POINTER;
  ULONG given = 0;
  while (given < count && position_ < items_->values.size()) {
    VariantInit(&items[given]);
    if (FAILED(VariantCopy(&items[given], &items_->values[position_]))) break;
    ++given;
    ++position_;
  }
  if (fetched != nullptr) *fetched = given;
  return given == count ? S_OK : S_FALSE;
}

HRESULT VariantEnumerator::Skip(ULONG count) {
  const std::size_t size = items_->values.size();
  const bool all = position_ + count <= size;
  position_ = all ? position_ + count : static_cast<ULONG>(size);
  return all ? S_OK : S_FALSE;
}

HRESULT VariantEnumerator::Reset() {
  position_ = 0;
  return S_OK;
}

HRESULT VariantEnumerator::Clone(IEnumVARIANT** copy) {
  if (copy == nullptr) return E_POINTER;
  *copy = new VariantEnumerator(items_, position_);
  return S_OK;
}

}  // namespace tarnvik::com
