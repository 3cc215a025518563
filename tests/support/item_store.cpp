#include "support/item_store.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace passbridge::test {

/// The memory of one item: the item itself and what it points to, each allocated by itself.
class ItemStore::Block {
 public:
  template <typename T>
  T* New(std::size_t count = 1) {
    return reinterpret_cast<T*>(Allocate(count * sizeof(T)));
  }
  UNUM8* Bytes(const std::vector<UNUM8>& bytes) {
    if (bytes.empty()) return nullptr;
    UNUM8* const copy = New<UNUM8>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), copy);
    return copy;
  }
  CHAR8* Text(const std::string& text) {
    CHAR8* const copy = New<CHAR8>(text.size() + 1);
    std::copy(text.begin(), text.end(), copy);
    return copy;
  }

 private:
  void* Allocate(std::size_t size) {
    parts_.push_back(std::make_unique<std::byte[]>(std::max<std::size_t>(size, 1)));
    return parts_.back().get();
  }

  std::vector<std::unique_ptr<std::byte[]>> parts_;
};

ItemStore::ItemStore() = default;
ItemStore::~ItemStore() = default;

template <typename T>
T* ItemStore::Keep(T* item, std::unique_ptr<Block> block) {
  const std::lock_guard<std::mutex> lock(lock_);
  items_.emplace(item, std::move(block));
  ++handedOut_;
  return item;
}

ParamSpec ParamSpec::Number(UNUM32 value, T_PDU_PT type) {
  ParamSpec given{type, std::vector<UNUM8>(sizeof value), 0};
  std::memcpy(given.bytes.data(), &value, sizeof value);
  return given;
}

ParamSpec ParamSpec::ByteField(std::vector<UNUM8> bytes, UNUM32 maxLength) {
  return {PDU_PT_BYTEFIELD, std::move(bytes), maxLength};
}

UNUM32 ParamSpec::FirstWord() const {
  UNUM32 word = 0;
  std::memcpy(&word, bytes.data(), std::min(bytes.size(), sizeof word));
  return word;
}

PDU_MODULE_ITEM* ItemStore::MakeModuleList(const std::vector<ModuleSpec>& modules) {
  auto block = std::make_unique<Block>();
  auto* const item = block->New<PDU_MODULE_ITEM>();
  auto* const entries = block->New<PDU_MODULE_DATA>(modules.size());
  *item = {PDU_IT_MODULE_ID, static_cast<UNUM32>(modules.size()), entries};
  for (std::size_t i = 0; i < modules.size(); ++i) {
    const ModuleSpec& module = modules[i];
    entries[i] = {0, module.handle, module.nullName ? nullptr : block->Text(module.name),
                  module.nullInfo ? nullptr : block->Text(module.info), module.status};
  }
  return Keep(item, std::move(block));
}

PDU_EVENT_ITEM* ItemStore::MakeResult(const ResultSpec& given) {
  auto block = std::make_unique<Block>();
  auto* const item = block->New<PDU_EVENT_ITEM>();
  auto* const result = block->New<PDU_RESULT_DATA>();
  *item = {PDU_IT_RESULT, given.hCop, given.copTag, given.timestamp, result};
  result->RxFlag = {static_cast<UNUM32>(given.rxFlags.size()), block->Bytes(given.rxFlags)};
  result->UniqueRespIdentifier = given.uniqueRespId;
  result->AcceptanceId = given.acceptanceId;
  result->TxMsgDoneTimestamp = given.txMsgDoneTimestamp;
  result->StartMsgTimestamp = given.startMsgTimestamp;
  result->NumDataBytes = static_cast<UNUM32>(given.data.size());
  result->pDataBytes = block->Bytes(given.data);
  if (given.extraInfo || !given.header.empty() || !given.footer.empty()) {
    result->pExtraInfo = block->New<PDU_EXTRA_INFO>();
    *result->pExtraInfo = {static_cast<UNUM32>(given.header.size()),
                           static_cast<UNUM32>(given.footer.size()), block->Bytes(given.header),
                           block->Bytes(given.footer)};
  }
  return Keep(item, std::move(block));
}

PDU_EVENT_ITEM* ItemStore::MakeStatus(T_PDU_STATUS status, UNUM32 hCop, void* copTag) {
  auto block = std::make_unique<Block>();
  auto* const item = block->New<PDU_EVENT_ITEM>();
  auto* const data = block->New<T_PDU_STATUS>();
  *data = status;
  *item = {PDU_IT_STATUS, hCop, copTag, 0, data};
  return Keep(item, std::move(block));
}

PDU_EVENT_ITEM* ItemStore::MakeError(T_PDU_ERR_EVT code, UNUM32 hCop, void* copTag, UNUM32 extra) {
  auto block = std::make_unique<Block>();
  auto* const item = block->New<PDU_EVENT_ITEM>();
  auto* const data = block->New<PDU_ERROR_DATA>();
  *data = {code, extra};
  *item = {PDU_IT_ERROR, hCop, copTag, 0, data};
  return Keep(item, std::move(block));
}

PDU_EVENT_ITEM* ItemStore::MakeInfo(T_PDU_INFO code, UNUM32 extra) {
  auto block = std::make_unique<Block>();
  auto* const item = block->New<PDU_EVENT_ITEM>();
  auto* const data = block->New<PDU_INFO_DATA>();
  *data = {code, extra};
  *item = {PDU_IT_INFO, 0, nullptr, 0, data};
  return Keep(item, std::move(block));
}

PDU_EVENT_ITEM* ItemStore::MakeEvent(T_PDU_IT type, void* data) {
  auto block = std::make_unique<Block>();
  auto* const item = block->New<PDU_EVENT_ITEM>();
  *item = {type, 0, nullptr, 0, data};
  return Keep(item, std::move(block));
}

PDU_PARAM_ITEM* ItemStore::MakeParam(UNUM32 id, const ParamSpec& value) {
  auto block = std::make_unique<Block>();
  auto* const item = block->New<PDU_PARAM_ITEM>();
  *item = {PDU_IT_PARAM, id, value.type, PDU_PC_COM, nullptr};
  if (value.type == PDU_PT_BYTEFIELD || value.type == PDU_PT_LONGFIELD) {
    const UNUM32 width = value.type == PDU_PT_LONGFIELD ? sizeof(UNUM32) : sizeof(UNUM8);
    auto* const array = block->New<UNUM8>(std::size_t{value.maxLength} * width);
    std::copy(value.bytes.begin(), value.bytes.end(), array);
    auto* const field = block->New<PDU_PARAM_BYTEFIELD_DATA>();
    *field = {value.maxLength, static_cast<UNUM32>(value.bytes.size()) / width, array};
    item->pComParamData = field;
  } else {
    item->pComParamData = block->Bytes(value.bytes);
  }
  return Keep(item, std::move(block));
}

PDU_DATA_ITEM* ItemStore::MakeIoNumber(UNUM32 value) {
  auto block = std::make_unique<Block>();
  auto* const item = block->New<PDU_DATA_ITEM>();
  auto* const data = block->New<UNUM32>();
  *data = value;
  *item = {PDU_IT_IO_UNUM32, data};
  return Keep(item, std::move(block));
}

PDU_DATA_ITEM* ItemStore::MakeIoItem(T_PDU_IT type, void* data) {
  auto block = std::make_unique<Block>();
  auto* const item = block->New<PDU_DATA_ITEM>();
  *item = {type, data};
  return Keep(item, std::move(block));
}

T_PDU_ERROR ItemStore::Destroy(const void* item) {
  const std::lock_guard<std::mutex> lock(lock_);
  if (items_.erase(item) == 0) {
    ++wrongDestroys_;
    return PDU_ERR_INVALID_HANDLE;
  }
  ++destroyed_;
  return PDU_STATUS_NOERROR;
}

std::size_t ItemStore::HandedOut() const {
  const std::lock_guard<std::mutex> lock(lock_);
  return handedOut_;
}

std::size_t ItemStore::Destroyed() const {
  const std::lock_guard<std::mutex> lock(lock_);
  return destroyed_;
}

std::size_t ItemStore::WrongDestroys() const {
  const std::lock_guard<std::mutex> lock(lock_);
  return wrongDestroys_;
}

}  // namespace passbridge::test
