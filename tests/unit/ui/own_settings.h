#ifndef PASSBRIDGE_TESTS_UNIT_UI_OWN_SETTINGS_H_
#define PASSBRIDGE_TESTS_UNIT_UI_OWN_SETTINGS_H_

#include "support.h"

namespace passbridge::test {

/// Settings of this process alone, which are empty: what anybody in it reads or writes below either
/// root is in the sandbox.
class OwnSettings {
 public:
  OwnSettings();
  OwnSettings(const OwnSettings&) = delete;
  OwnSettings& operator=(const OwnSettings&) = delete;
  ~OwnSettings();

 private:
  platform::testing::SettingsSandbox sandbox_;
};

}  // namespace passbridge::test

#endif  // PASSBRIDGE_TESTS_UNIT_UI_OWN_SETTINGS_H_
