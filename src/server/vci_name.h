#ifndef PASSBRIDGE_SERVER_VCI_NAME_H_
#define PASSBRIDGE_SERVER_VCI_NAME_H_

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "server/interface_type.h"

namespace passbridge {

/// One alternative of a VCI name.
struct VciNameToken {
  bool asksUser = false;                      ///< "VQXLIST"
  std::optional<std::uint32_t> serialNumber;  ///< nothing where the token names none
  std::vector<InterfaceType> interfaces;      ///< in the order of preference
};

/// Understands the text after "J2534-2:" in the name that an application opens a VCI by, for
/// instance "SN='4711' CXN='ETHERNET,USB'; SN='4712' CXN='USB'". Alternatives are separated by ";",
/// of which 15 are taken. Blanks and letter case don't matter; "SN=" and "CXN=" may be left out;
/// interfaces that nobody knows are passed over.
std::vector<VciNameToken> ParseVciName(std::string_view name);

}  // namespace passbridge

#endif  // PASSBRIDGE_SERVER_VCI_NAME_H_
