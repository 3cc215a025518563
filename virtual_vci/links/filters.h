/// \file
/// A link's message filters.
#ifndef VIRTUAL_VCI_LINKS_FILTERS_H_
#define VIRTUAL_VCI_LINKS_FILTERS_H_

#include <span>
#include <vector>

#include "passbridge/d_pdu_api.h"

namespace virtual_vci {

class FilterList {
 public:
  /// Adds all filters of the list, or none: PDU_ERR_INVALID_PARAMETERS for an unknown type, a
  /// comparison of more than 12 bytes, a missing array. Filters may share a number.
  T_PDU_ERROR Start(const PDU_IO_FILTER_LIST& list);
  /// Ends all filters of this number; false if there is none.
  bool Stop(UNUM32 number);
  void Clear() { filters_.clear(); }
  /// A message passes if a PASS filter matches and no BLOCK filter does; without any PASS filter
  /// only `passWithoutFilter` lets it pass. A filter matches a message that is at least as long as
  /// its comparison.
  bool Passes(std::span<const UNUM8> message, bool passWithoutFilter) const;

 private:
  std::vector<PDU_IO_FILTER_DATA> filters_;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_LINKS_FILTERS_H_
