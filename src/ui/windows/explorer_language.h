#ifndef PASSBRIDGE_UI_WINDOWS_EXPLORER_LANGUAGE_H_
#define PASSBRIDGE_UI_WINDOWS_EXPLORER_LANGUAGE_H_

#include <optional>

#include "ui/language.h"
#include "ui/text_file.h"

namespace passbridge {

/// What the dialog takes from the user's language.
struct ExplorerLanguage {
  TextTable texts;                   ///< what the language library has; empty without one
  std::optional<LanguageFont> font;  ///< nothing: that of the template
  bool isRightToLeft = false;
};

/// Of the language that the environment variable PASSBRIDGE_LANGUAGE names, else of the user's
/// default locale.
ExplorerLanguage ReadExplorerLanguage();

}  // namespace passbridge

#endif  // PASSBRIDGE_UI_WINDOWS_EXPLORER_LANGUAGE_H_
