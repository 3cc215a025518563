#ifndef PASSBRIDGE_UI_SEALED_TEXT_H_
#define PASSBRIDGE_UI_SEALED_TEXT_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace passbridge {

// A text under seal: enciphered, so that nobody changes it without meaning to, and with a check of
// its own. The key is in every library: this keeps no secret.
//
//   offset  size
//   0       8     "PBSEALED"
//   8       4     version of the format, 1 (little-endian, as the length)
//   12      4     length of the text
//   16      8     initialisation vector
//   24            Blowfish in CBC mode: SHA-256 of the text (32 bytes), the text, zeros up to a
//                 multiple of 8 bytes

inline constexpr std::size_t kMaxSealedText = 65536;
/// Of the file that holds it.
inline constexpr std::size_t kMaxSealedFile = 24 + 32 + kMaxSealedText;

/// Nothing if the text is longer than kMaxSealedText, or the machine cannot encipher.
std::optional<std::string> SealText(std::string_view text);

/// Nothing if the bytes are not, to the last one, what SealText made.
std::optional<std::string> OpenSealedText(std::string_view sealed);

}  // namespace passbridge

#endif  // PASSBRIDGE_UI_SEALED_TEXT_H_
