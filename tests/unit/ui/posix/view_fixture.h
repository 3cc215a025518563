#ifndef PASSBRIDGE_TESTS_UNIT_UI_POSIX_VIEW_FIXTURE_H_
#define PASSBRIDGE_TESTS_UNIT_UI_POSIX_VIEW_FIXTURE_H_

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "own_settings.h"
#include "server/device_selection.h"
#include "support/scripted_pdu.h"
#include "ui/posix/view_session.h"

namespace passbridge::test {

/// The dialog with a program that stands in for the real one. At the end no item, no child and no
/// open file may be left.
class ViewFixture : public testing::Test {
 protected:
  ViewFixture();
  ~ViewFixture() override;

  /// Shows the dialog in the stand-in, which takes these steps.
  VciChoice Show(const std::string& steps);
  /// The same with another patience.
  VciChoice Show(const std::string& steps, const ViewPatience& patience);
  /// Until the dialog that another thread shows is told of changes.
  void AwaitOpening();
  /// Tells whoever listens that the list of modules has changed.
  void ChangeModules();

  /// "module serial-number interface", "cancelled" or "nothing".
  static std::string Said(const VciChoice& choice);
  /// What the stand-in has logged: the lines with "|" for tabs.
  std::vector<std::string> Log() const;
  void ForgetLog() const;
  static std::size_t OpenFiles();
  static bool HasChild();

  OwnSettings settings;
  ScriptedPdu pdu;

 private:
  std::string log_;
  std::size_t openFiles_;
};

}  // namespace passbridge::test

#endif  // PASSBRIDGE_TESTS_UNIT_UI_POSIX_VIEW_FIXTURE_H_
