#ifndef PASSBRIDGE_UI_EXPLORER_TEXTS_H_
#define PASSBRIDGE_UI_EXPLORER_TEXTS_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "ui/text_file.h"

namespace passbridge {

/// The numbers of the device explorer's texts in its string table and in resources/texts.
enum class TextId : std::uint32_t {
  Connect = 155,
  Cancel = 156,
  DeviceOnUsb = 157,
  DefaultDevice = 158,
  Title = 159,
  Usb = 160,
  Ethernet = 161,
  Wireless = 162,
  NoInterfaces = 163,
  Interfaces = 164,
  SetAsDefault = 165,
  Help = 166,
  Unknown = 167,
  Separator = 168,
  AddToPreferred = 169,
  Yes = 170,
  No = 171,
  SerialNumber = 172,
  UpdateVci = 175,
  UpdatePc = 177,
  NotReady = 178,
  LineBreak = 179,
  PreferredDevice = 180,
  Bluetooth = 189,
  Local = 190,
};

/// The texts (UTF-8) that the dialog shows.
class ExplorerTexts {
 public:
  /// @param language     the texts of the user's language; those that are missing are English, and
  ///                     TextId::SerialNumber always is
  /// @param deviceLabel  what the product calls its device
  explicit ExplorerTexts(const TextTable& language = {}, std::string_view deviceLabel = "VCI");

  /// A number that nobody knows gives an empty text.
  const std::string& operator[](TextId id) const;

 private:
  TextTable texts_;
};

/// The library's own texts: all there are, in English.
const TextTable& OwnTexts();

}  // namespace passbridge

#endif  // PASSBRIDGE_UI_EXPLORER_TEXTS_H_
