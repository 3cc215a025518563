#ifndef PASSBRIDGE_TESTS_FAULTS_FAULT_SESSION_H_
#define PASSBRIDGE_TESTS_FAULTS_FAULT_SESSION_H_

#include <functional>
#include <span>
#include <string>
#include <vector>

#include "loaded_libraries.h"

namespace passbridge::test {

class FaultSession;

/// A part of a session, in which a fault may begin.
struct Stage {
  const char* name;
  void (FaultSession::*run)();
};

/// An application's whole session. A healthy one demands success and the right answers; the other
/// one goes on after every failure, with what it has, and demands statuses that exist. What went
/// wrong is collected.
class FaultSession {
 public:
  /// Is called before each call of the library, with its name and the longest that it may take.
  using Announce = std::function<void(const char* call, j2534_ulong milliseconds)>;

  FaultSession(const Library& library, bool healthy, Announce announce);

  static std::span<const Stage> Stages();
  void Run(const Stage& stage);

  /// What an application can do when something went wrong: disconnects, closes, opens the VCI again
  /// and closes it, which must succeed at the last. So much is reasonable to ask, and enough.
  void CleanUp();

  const std::vector<std::string>& Problems() const { return problems_; }

 private:
  void Open();
  void Versions();
  void Voltages();
  void Connect();
  void Configuration();
  void Filter();
  void Write();
  void Read();
  void Periodic();
  void Ioctls();
  void Pins();
  void Segments();
  void Table();
  void Speeds();
  void Disconnect();
  void Close();

  /// One call; its status, which a healthy session wants to be success.
  template <typename Function, typename... Arguments>
  long Call(const char* name, j2534_ulong timeout, Function function, Arguments... arguments);
  void Ioctl(j2534_ulong handle, j2534_ulong ioctl, void* input = nullptr, void* output = nullptr);
  j2534_ulong StartPeriodic();
  void Configure(j2534_ulong channel, j2534_ulong parameter, j2534_ulong value);
  void PassFilter(j2534_ulong channel, j2534_ulong protocol, unsigned char lastIdentifierByte,
                  j2534_ulong* filter);
  void Send(j2534_ulong channel, j2534_ulong protocol);
  void SendMessage(j2534_ulong channel, PASSTHRU_MSG message);
  void Receive(j2534_ulong channel, unsigned char lastIdentifierByte);
  void Expect(bool truth, const std::string& what);

  const Library& library_;
  const bool healthy_;
  const Announce announce_;
  const j2534_ulong timeout_;  // of reads and writes; a healthy one needs next to none of it
  const char* stage_ = "";
  std::vector<std::string> problems_;
  j2534_ulong device_ = 0;
  j2534_ulong channel_ = 0;
  j2534_ulong pinChannel_ = 0;
  j2534_ulong isoChannel_ = 0;
  j2534_ulong tableChannel_ = 0;
  j2534_ulong speedChannel_ = 0;
  j2534_ulong filter_ = 0;
};

}  // namespace passbridge::test

#endif  // PASSBRIDGE_TESTS_FAULTS_FAULT_SESSION_H_
