#ifndef PASSBRIDGE_SUPPORT_CALL_LOG_H_
#define PASSBRIDGE_SUPPORT_CALL_LOG_H_

#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "passbridge/d_pdu_api.h"

namespace passbridge::test {

/// Arguments of D-PDU calls as text. Numbers are decimal below 256, else hexadecimal ("0x8060");
/// structures are in braces; a cell for an output is "out"; a tag, whose value nobody can know, is
/// "tag". A null pointer is "null".
std::string Render(UNUM32 value);
std::string Render(const CHAR8* text);
std::string Render(const UNUM8* bytes);  // no length known: "bytes"
std::string Render(const void* tag);
std::string Render(CALLBACKFNC callback);
std::string Render(const PDU_FLAG_DATA* flags);
std::string Render(const PDU_RSC_DATA* resource);
std::string Render(const PDU_COP_CTRL_DATA* control);
std::string Render(const PDU_PARAM_ITEM* item);
std::string Render(const PDU_UNIQUE_RESP_ID_TABLE_ITEM* table);
std::string Render(const PDU_DATA_ITEM* item);
std::string Render(const PDU_ITEM* item);
/// Bytes as two hexadecimal digits each, separated by blanks.
std::string RenderBytes(const UNUM8* bytes, std::size_t size);

/// A cell for an output. Constrained: an exact match would beat the overloads above.
template <typename T>
requires(std::is_pointer_v<T> || std::is_same_v<T, UNUM32> ||
         std::is_same_v<T, PDU_VERSION_DATA>) std::string Render(T* cell) {
  return cell != nullptr ? "out" : "null";
}

/// The calls made so far, "PDUConnect(7, 0x100)" each. Any thread may add to it.
class CallLog {
 public:
  void Add(std::string call);
  void Clear();

  std::vector<std::string> All() const;
  /// Only the calls of one function.
  std::vector<std::string> Of(std::string_view function) const;
  std::size_t Count(std::string_view function) const { return Of(function).size(); }

 private:
  mutable std::mutex lock_;
  std::vector<std::string> calls_;
};

}  // namespace passbridge::test

#endif  // PASSBRIDGE_SUPPORT_CALL_LOG_H_
