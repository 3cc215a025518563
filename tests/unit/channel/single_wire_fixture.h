#ifndef PASSBRIDGE_UNIT_CHANNEL_SINGLE_WIRE_FIXTURE_H_
#define PASSBRIDGE_UNIT_CHANNEL_SINGLE_WIRE_FIXTURE_H_

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "channel_fixture.h"

namespace passbridge::test {

/// The speeds of the bus.
inline constexpr std::uint32_t kNormalRate = 33333;
inline constexpr std::uint32_t kHighRate = 83333;

/// A channel on single-wire CAN; raw frames and ISO 15765, which is the parameter, behave alike.
struct SingleWireFixture : ChannelFixture, testing::WithParamInterface<std::uint32_t> {
  SingleWireFixture() { pdu.SetComParam("CP_ChangeSpeedMessage", ParamSpec::ByteField({}, 12)); }

  OwnedChannel Make() override;
  bool IsRaw() const { return GetParam() == SW_CAN_PS; }

  /// On pin 1, after the settings.
  void ConnectOnWire(std::vector<std::pair<std::uint32_t, std::uint32_t>> settings = {});

  /// What was written to the link since the log was cleared, "CP_Baudrate 83333", and the updates;
  /// clears it.
  std::vector<std::string> Written();
  UNUM32 Value(const char* comParam) { return pdu.ComParamValue(comParam); }
  /// The speed-change message, "00 00 01".
  std::string Message();
  /// Gives the library a value of a ComParam that the channel knows of.
  void SetWatched(const char* comParam, ParamSpec value);
  /// A request as a message of the class.
  PassThruMsg RequestTo(const std::vector<std::uint8_t>& address,
                        const std::vector<std::uint8_t>& request, std::uint32_t txFlags) const;
  /// A location or a report with the number of the class in front.
  std::string Located(const char* rest) const {
    return (IsRaw() ? "0A" : "0B") + std::string(rest);
  }
};
}  // namespace passbridge::test

#endif  // PASSBRIDGE_UNIT_CHANNEL_SINGLE_WIRE_FIXTURE_H_
