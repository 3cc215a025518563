#ifndef PASSBRIDGE_TESTS_EXPLORER_SCREEN_H_
#define PASSBRIDGE_TESTS_EXPLORER_SCREEN_H_

#include <sys/types.h>

#include <string>

namespace passbridge::test {

struct Place {
  int x = 0;
  int y = 0;
};

/// A display of its own, which the environment names, with a hand at its mouse and keyboard. What
/// is done arrives in its order.
class Screen {
 public:
  Screen();
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;
  ~Screen() { End(); }

  bool IsThere() const { return server_ != 0; }
  /// Waits for a window of this title to show; false if none does for long.
  bool AwaitWindow(const std::string& title);
  /// Waits until there is none; a program's windows go a moment after the program.
  static void AwaitNoWindow(const std::string& title);
  /// From the left upper corner of that window, or for negative numbers the right lower one.
  void Click(Place place, int button = 1, int times = 1);
  /// Keys as X names them, separated by blanks.
  void Press(const std::string& keys);
  /// Takes the display away from whoever uses it.
  void End();

 private:
  Place OnScreen(Place place) const;

  pid_t server_ = 0;
  Place corner_;
  Place size_;
};

}  // namespace passbridge::test

#endif  // PASSBRIDGE_TESTS_EXPLORER_SCREEN_H_
