/// \file
/// A link's table of response identifiers: which addresses form a conversation.
#ifndef VIRTUAL_VCI_LINKS_UNIQUE_RESP_H_
#define VIRTUAL_VCI_LINKS_UNIQUE_RESP_H_

#include <map>
#include <utility>
#include <vector>

#include "passbridge/d_pdu_api.h"
#include "virtual_vci/items/items.h"
#include "virtual_vci/links/com_params.h"

namespace virtual_vci {

/// One row: an identifier of the application's choice and the ComParams of class UNIQUE_ID that it
/// set.
struct UniqueRespEntry {
  UNUM32 uniqueRespId = 0;
  std::vector<std::pair<UNUM32, UNUM32>> params;  ///< identifier and value, in the order given

  UNUM32 Number(ComParam comParam, UNUM32 otherwise) const;
};

class UniqueRespTable {
 public:
  /// Replaces the table, or leaves it: PDU_ERR_COMPARAM_NOT_SUPPORTED for an unknown ComParam, else
  /// PDU_ERR_INVALID_PARAMETERS for one that isn't of class UNIQUE_ID or has no number, or a
  /// missing array.
  T_PDU_ERROR Set(const PDU_UNIQUE_RESP_ID_TABLE_ITEM& item);
  ItemPtr MakeItem() const;
  const std::vector<UniqueRespEntry>& Entries() const { return entries_; }

 private:
  std::vector<UniqueRespEntry> entries_;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_LINKS_UNIQUE_RESP_H_
