#ifndef PASSBRIDGE_J2534_FOREIGN_TEXT_H_
#define PASSBRIDGE_J2534_FOREIGN_TEXT_H_

#include <cstddef>
#include <optional>
#include <string>

namespace passbridge {

/// Copies a zero-terminated text of unknown origin: an application's, or a D-PDU library's.
/// @param maxLength  a longer text is cut
/// @return nothing if the address is null or the text cannot be read up to its end
std::optional<std::string> ReadForeignText(const void* address, std::size_t maxLength);

}  // namespace passbridge

#endif  // PASSBRIDGE_J2534_FOREIGN_TEXT_H_
