#include "ui/sealed_text.h"

#include <gcrypt.h>

#include <algorithm>
#include <array>
#include <cstdint>

namespace passbridge {

namespace {

constexpr std::string_view kMagic = "PBSEALED";
constexpr std::uint32_t kVersion = 1;
constexpr std::size_t kBlockSize = 8;
constexpr std::size_t kDigestSize = 32;
constexpr std::size_t kHeaderSize = 24;
constexpr std::array<unsigned char, 16> kKey{0x8D, 0x1F, 0x64, 0xE2, 0x37, 0xB9, 0x50, 0xCA,
                                             0x0E, 0xF3, 0x72, 0x9B, 0xA6, 0x45, 0xD8, 0x11};

std::string LittleEndian(std::size_t number) {
  std::string bytes;
  for (unsigned shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(number >> shift);
  return bytes;
}

std::size_t RoundedUp(std::size_t size) {
  return (size + kBlockSize - 1) / kBlockSize * kBlockSize;
}

/// Other users of the same libgcrypt in this process may have prepared it already.
bool IsGcryptReady() {
  static const bool ready = [] {
    if (gcry_control(GCRYCTL_INITIALIZATION_FINISHED_P) != 0) return true;
    if (gcry_check_version(nullptr) == nullptr) return false;
    gcry_control(GCRYCTL_DISABLE_SECMEM, 0);
    return gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0) == 0;
  }();
  return ready;
}

/// Blowfish in CBC mode under the key of all sealed texts.
class Cipher {
 public:
  explicit Cipher(std::string_view iv) {
    good_ = IsGcryptReady() &&
            gcry_cipher_open(&handle_, GCRY_CIPHER_BLOWFISH, GCRY_CIPHER_MODE_CBC, 0) == 0 &&
            gcry_cipher_setkey(handle_, kKey.data(), kKey.size()) == 0 &&
            gcry_cipher_setiv(handle_, iv.data(), iv.size()) == 0;
  }
  Cipher(const Cipher&) = delete;
  Cipher& operator=(const Cipher&) = delete;
  ~Cipher() { gcry_cipher_close(handle_); }

  // In place; the size is a multiple of kBlockSize.
  bool Encrypt(std::string& bytes) {
    return good_ && gcry_cipher_encrypt(handle_, bytes.data(), bytes.size(), nullptr, 0) == 0;
  }
  bool Decrypt(std::string& bytes) {
    return good_ && gcry_cipher_decrypt(handle_, bytes.data(), bytes.size(), nullptr, 0) == 0;
  }

 private:
  gcry_cipher_hd_t handle_ = nullptr;
  bool good_ = false;
};

std::string DigestOf(std::string_view text) {
  std::string digest(kDigestSize, '\0');
  gcry_md_hash_buffer(GCRY_MD_SHA256, digest.data(), text.data(), text.size());
  return digest;
}

std::string Header(std::size_t length) {
  return std::string(kMagic) + LittleEndian(kVersion) + LittleEndian(length);
}

/// What is enciphered.
std::string Content(std::string_view text) {
  std::string content = DigestOf(text).append(text);
  content.resize(RoundedUp(content.size()));
  return content;
}

}  // namespace

std::optional<std::string> SealText(std::string_view text) {
  if (text.size() > kMaxSealedText || !IsGcryptReady()) return std::nullopt;
  std::string iv(kBlockSize, '\0');
  gcry_create_nonce(iv.data(), iv.size());
  std::string content = Content(text);
  if (!Cipher(iv).Encrypt(content)) return std::nullopt;
  return Header(text.size()) + iv + content;
}

std::optional<std::string> OpenSealedText(std::string_view sealed) {
  if (sealed.size() < kHeaderSize + kDigestSize) return std::nullopt;
  std::string content(sealed.substr(kHeaderSize));
  const bool isWhole = content.size() == RoundedUp(content.size());
  if (!isWhole || !Cipher(sealed.substr(kHeaderSize - kBlockSize, kBlockSize)).Decrypt(content)) {
    return std::nullopt;
  }
  // The length is one of the eight that lead to this size.
  const std::size_t longest = content.size() - kDigestSize;
  for (std::size_t length = longest - std::min(longest, kBlockSize - 1); length <= longest;
       ++length) {
    if (sealed.substr(0, kHeaderSize - kBlockSize) != Header(length)) continue;
    std::string text = content.substr(kDigestSize, length);
    return Content(text) == content ? std::optional(std::move(text)) : std::nullopt;
  }
  return std::nullopt;
}

}  // namespace passbridge
