#include "pdu/object_ids.h"

#include <cstring>
#include <vector>

#include "pdu/pdu_api.h"

namespace passbridge::pdu {

namespace {

/// A D-PDU library gets each name in a buffer of its own, as wide as the longest it may expect.
using NameBuffer = std::array<char, 128>;

NameBuffer BufferOf(const char* name) {
  NameBuffer buffer{};
  std::strncpy(buffer.data(), name, buffer.size() - 1);
  return buffer;
}

}  // namespace

void ObjectIds::ResolveOneByOne() {
  for (std::size_t i = 0; i < names_.size(); ++i) {
    if (At(i) != PDU_ID_UNDEF) continue;
    NameBuffer name = BufferOf(names_[i]);
    UNUM32 identifier = PDU_ID_UNDEF;
    if (Api().PDUGetObjectId(type_, name.data(), &identifier) == PDU_STATUS_NOERROR) {
      cells_[i] = identifier;
    }
  }
}

void ObjectIds::ResolveAtOnce() {
  if (AskAtOnce() != PDU_STATUS_NOERROR) ResolveOneByOne();
}

T_PDU_ERROR ObjectIds::AskAtOnce() {
  if (Api().PDUGetObjectIds == nullptr) return PDU_ERR_FCT_FAILED;
  std::vector<std::size_t> missing;
  std::vector<NameBuffer> buffers;
  for (std::size_t i = 0; i < names_.size(); ++i) {
    if (At(i) != PDU_ID_UNDEF) continue;
    missing.push_back(i);
    buffers.push_back(BufferOf(names_[i]));
  }
  if (missing.empty()) return PDU_STATUS_NOERROR;
  std::vector<UNUM32> identifiers(missing.size(), PDU_ID_UNDEF);
  std::vector<CHAR8*> names;
  std::vector<UNUM32*> cells;
  for (std::size_t i = 0; i < missing.size(); ++i) {
    names.push_back(buffers[i].data());
    cells.push_back(&identifiers[i]);
  }
  const T_PDU_ERROR result =
      Api().PDUGetObjectIds(type_, static_cast<UNUM32>(missing.size()), names.data(), cells.data());
  if (result != PDU_STATUS_NOERROR) return result;
  for (std::size_t i = 0; i < missing.size(); ++i) cells_[missing[i]] = identifiers[i];
  return result;
}

void ObjectIds::Forget() {
  for (Cell& cell : cells_) cell = PDU_ID_UNDEF;
}

}  // namespace passbridge::pdu
