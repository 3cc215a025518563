#ifndef PASSBRIDGE_UNIT_SERVER_SCRIPTED_CHANNEL_H_
#define PASSBRIDGE_UNIT_SERVER_SCRIPTED_CHANNEL_H_

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "channel/channel.h"

namespace passbridge::test {

/// What the scripted channels of a test do and have done.
struct ChannelScript {
  Status initialize = STATUS_NOERROR;
  Status result = STATUS_NOERROR;   ///< of every other operation
  std::function<void()> meanwhile;  ///< what else happens during a read
  std::vector<std::string> calls;
  int alive = 0;
};

/// A channel without a link: it notes what it is asked for and gives the script's statuses.
class ScriptedChannel final : public CJ2534Channel {
 public:
  explicit ScriptedChannel(ChannelScript& script) : script_(script) { ++script_.alive; }
  ScriptedChannel(const ScriptedChannel&) = delete;
  ScriptedChannel& operator=(const ScriptedChannel&) = delete;
  ~ScriptedChannel() override { --script_.alive; }

  Status Initialize(UNUM32 moduleHandle, std::uint32_t protocolId, std::uint32_t flags,
                    std::uint32_t baudRate) override {
    CJ2534Channel::Initialize(moduleHandle, protocolId, flags, baudRate);
    return script_.initialize;
  }
  Status PassThruConnect(std::uint32_t, std::uint32_t, std::uint32_t) override {
    return Note("Connect");
  }
  Status PassThruDisconnect() override { return Note("Disconnect"); }
  Status PassThruReadMsgs(const AppMessage&, const AppValue&, std::uint32_t) override {
    if (script_.meanwhile) script_.meanwhile();
    return Note("Read");
  }
  Status PassThruWriteMsgs(const AppMessage&, const AppValue&, std::uint32_t) override {
    return Note("Write");
  }
  Status PassThruStartPeriodicMsg(const AppMessage&, const AppValue&, std::uint32_t) override {
    return Note("StartPeriodic");
  }
  Status PassThruStopPeriodicMsg(std::uint32_t) override { return Note("StopPeriodic"); }
  Status PassThruStartMsgFilter(std::uint32_t, const AppMessage&, const AppMessage&,
                                const AppMessage&, const AppValue&) override {
    return Note("StartFilter");
  }
  Status PassThruStopMsgFilter(std::uint32_t) override { return Note("StopFilter"); }
  Status PassThruIoctl(std::uint32_t, const AppPointer&, const AppPointer&) override {
    return Note("Ioctl");
  }
  Status GetPduResourceBusTypeId(PDU_RSC_DATA*) override { return STATUS_NOERROR; }
  Status GetPduResourceProtocolId(PDU_RSC_DATA*) override { return STATUS_NOERROR; }
  Status SetProtocolConnectionComParameters() override { return STATUS_NOERROR; }

 private:
  Status Note(const char* call) {
    script_.calls.emplace_back(call);
    return script_.result;
  }

  ChannelScript& script_;
};

}  // namespace passbridge::test

#endif  // PASSBRIDGE_UNIT_SERVER_SCRIPTED_CHANNEL_H_
