#include <gtest/gtest.h>

#include <cstdlib>

#include "platform/process_info.h"

namespace passbridge::platform {
namespace {

void SetOrUnset(const char* variable, const char* value) {
  if (value == nullptr) {
    ::unsetenv(variable);
  } else {
    ::setenv(variable, value, 1);
  }
}

TEST(UserLocale, IsTheFirstThatTheEnvironmentNames) {
  const struct {
    const char* all;
    const char* messages;
    const char* language;
    const char* tag;
  } cases[] = {
      {nullptr, nullptr, nullptr, ""},      {nullptr, nullptr, "he_IL.UTF-8", "he-IL"},
      {nullptr, "ar", "en_US.UTF-8", "ar"}, {"", "de_DE@euro", "en_US", "de-DE"},
      {"C.UTF-8", "de_DE", "en_US", ""},    {"POSIX", nullptr, "en_US", ""},
  };
  for (const auto& c : cases) {
    SetOrUnset("LC_ALL", c.all);
    SetOrUnset("LC_MESSAGES", c.messages);
    SetOrUnset("LANG", c.language);
    EXPECT_EQ(UserLocale(), c.tag);
  }
  for (const char* const variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) ::unsetenv(variable);
}

}  // namespace
}  // namespace passbridge::platform
