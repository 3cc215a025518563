#ifndef PASSBRIDGE_UI_POSIX_VIEW_FILES_H_
#define PASSBRIDGE_UI_POSIX_VIEW_FILES_H_

#include <string>

#include "ui/posix/view_session.h"

namespace passbridge {

// What an installation has for the dialog. The environment can name other places:
// PASSBRIDGE_DEVICE_EXPLORER a program (empty: none), PASSBRIDGE_TEXTS a folder of texts; and
// PASSBRIDGE_LANGUAGE a language instead of the user's, as a tag ("de", "zh-TW").

/// The program that shows the dialog; empty if there is none, or no display for it.
std::string FindViewProgram();

/// The user's language. What the installation has no texts for is English.
ViewLanguage ReadViewLanguage();

}  // namespace passbridge

#endif  // PASSBRIDGE_UI_POSIX_VIEW_FILES_H_
