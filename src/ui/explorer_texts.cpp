#include "ui/explorer_texts.h"

#include "platform/never_destroyed.h"
#include "ui/own_texts.h"

namespace passbridge {

namespace {

constexpr std::string_view kDevicePlace = "YYYY";

void ReplaceAll(std::string& text, std::string_view what, std::string_view by) {
  for (std::size_t at = text.find(what); at != std::string::npos;
       at = text.find(what, at + by.size())) {
    text.replace(at, what.size(), by);
  }
}

}  // namespace

ExplorerTexts::ExplorerTexts(const TextTable& language, std::string_view deviceLabel)
    : texts_(OwnTexts()) {
  for (auto& [number, text] : texts_) {
    const auto translated = language.find(number);
    const bool isOurs = number == static_cast<std::uint32_t>(TextId::SerialNumber);
    if (translated != language.end() && !isOurs) text = translated->second;
  }
  ReplaceAll(texts_[static_cast<std::uint32_t>(TextId::UpdateVci)], kDevicePlace, deviceLabel);
}

const std::string& ExplorerTexts::operator[](TextId id) const {
  static platform::NeverDestroyed<std::string> none;
  const auto found = texts_.find(static_cast<std::uint32_t>(id));
  return found != texts_.end() ? found->second : none.Get();
}

const TextTable& OwnTexts() {
  static platform::NeverDestroyed<TextTable> texts(ParseTexts(kOwnTextFile).texts);
  return texts.Get();
}

}  // namespace passbridge
