#ifndef PASSBRIDGE_TESTS_STRESS_VCI_ACTOR_H_
#define PASSBRIDGE_TESTS_STRESS_VCI_ACTOR_H_

#include "caller.h"
#include "loaded_libraries.h"

namespace passbridge::stress {

/// The one thread that opens and closes devices, and pulls their VCIs out.
class VciActor {
 public:
  VciActor(Caller& me, test::VirtualVci& vci, bool verbose)
      : me_(me), vci_(vci), verbose_(verbose) {}

  /// Opens both devices; before the other threads start.
  void OpenAll();
  /// Until the world stops.
  void Run();
  /// Closes both devices; after the other threads have ended.
  void CloseAll();

 private:
  void Lose(Device& device);
  void Reopen(Device& device, bool withOther);
  void Close(Device& device);
  void Open(Device& device);
  void Say(const char* what, const Device& device) const;

  Caller& me_;
  test::VirtualVci& vci_;
  bool verbose_;
};

}  // namespace passbridge::stress

#endif  // PASSBRIDGE_TESTS_STRESS_VCI_ACTOR_H_
