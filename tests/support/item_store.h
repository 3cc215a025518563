#ifndef PASSBRIDGE_SUPPORT_ITEM_STORE_H_
#define PASSBRIDGE_SUPPORT_ITEM_STORE_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "passbridge/d_pdu_api.h"

namespace passbridge::test {

/// One module as PDUGetModuleIds lists it. A text that is set to null is a null pointer there.
struct ModuleSpec {
  UNUM32 handle = 1;
  std::string name = "4711";
  std::string info = "ConnectionType='USB'";
  T_PDU_STATUS status = PDU_MODST_AVAIL;
  bool nullName = false;
  bool nullInfo = false;
};

/// A result item: its flag bytes, header and footer may be left out.
struct ResultSpec {
  std::vector<UNUM8> data = {};
  std::vector<UNUM8> rxFlags = {0, 0, 0, 0};
  std::vector<UNUM8> header = {};
  std::vector<UNUM8> footer = {};
  UNUM32 timestamp = 0;
  UNUM32 hCop = 0;
  void* copTag = nullptr;
  UNUM32 uniqueRespId = PDU_ID_UNDEF;
  UNUM32 acceptanceId = 0;
  UNUM32 startMsgTimestamp = 0;
  UNUM32 txMsgDoneTimestamp = 0;
  bool extraInfo = false;  ///< pExtraInfo is there even without header and footer
};

/// Value of a ComParam: its type and its bytes (of one number, or of a byte or long field).
struct ParamSpec {
  T_PDU_PT type = PDU_PT_UNUM32;
  std::vector<UNUM8> bytes = {0, 0, 0, 0};
  UNUM32 maxLength = 64;  ///< of a field, in elements

  static ParamSpec Number(UNUM32 value, T_PDU_PT type = PDU_PT_UNUM32);
  static ParamSpec ByteField(std::vector<UNUM8> bytes, UNUM32 maxLength = 64);
  /// The number, or the first 32 bits of a field.
  UNUM32 FirstWord() const;
};

/// The items that a D-PDU library hands out. Each lies in memory of its own and is freed when it is
/// destroyed, so that a sanitizer sees who touches it afterwards. Any thread may use the store.
class ItemStore {
 public:
  ItemStore();
  ItemStore(const ItemStore&) = delete;
  ItemStore& operator=(const ItemStore&) = delete;
  ~ItemStore();

  PDU_MODULE_ITEM* MakeModuleList(const std::vector<ModuleSpec>& modules);
  PDU_EVENT_ITEM* MakeResult(const ResultSpec& given);
  PDU_EVENT_ITEM* MakeStatus(T_PDU_STATUS status, UNUM32 hCop = 0, void* copTag = nullptr);
  PDU_EVENT_ITEM* MakeError(T_PDU_ERR_EVT code, UNUM32 hCop = 0, void* copTag = nullptr,
                            UNUM32 extra = 0);
  PDU_EVENT_ITEM* MakeInfo(T_PDU_INFO code, UNUM32 extra = 0);
  /// An event item of any type whose pData is as given.
  PDU_EVENT_ITEM* MakeEvent(T_PDU_IT type, void* data);
  PDU_PARAM_ITEM* MakeParam(UNUM32 id, const ParamSpec& value);
  PDU_DATA_ITEM* MakeIoNumber(UNUM32 value);
  /// An I/O control's output item of any type whose pData is as given.
  PDU_DATA_ITEM* MakeIoItem(T_PDU_IT type, void* data);

  /// PDU_ERR_INVALID_HANDLE for what is no living item of this store; that is counted, too.
  T_PDU_ERROR Destroy(const void* item);

  std::size_t HandedOut() const;
  std::size_t Destroyed() const;
  std::size_t Alive() const { return HandedOut() - Destroyed(); }
  /// Attempts to destroy what was no item, or not any more.
  std::size_t WrongDestroys() const;

 private:
  class Block;
  template <typename T>
  T* Keep(T* item, std::unique_ptr<Block> block);

  mutable std::mutex lock_;
  std::map<const void*, std::unique_ptr<Block>> items_;
  std::size_t handedOut_ = 0;
  std::size_t destroyed_ = 0;
  std::size_t wrongDestroys_ = 0;
};

}  // namespace passbridge::test

#endif  // PASSBRIDGE_SUPPORT_ITEM_STORE_H_
