#ifndef PASSBRIDGE_CONFIG_CHANNEL_LINK_H_
#define PASSBRIDGE_CONFIG_CHANNEL_LINK_H_

#include <cstdint>
#include <vector>

#include "j2534/protocol.h"
#include "passbridge/d_pdu_api.h"
#include "trace/location.h"

namespace passbridge {

/// What a parameter list and a filter list need of the channel that owns them.
class ChannelLink {
 public:
  virtual std::uint32_t ChannelProtocolId() const = 0;
  virtual ProtocolType ChannelProtocolType() const = 0;
  /// D-PDU handles of the channel's module and ComLogicalLink; the latter 0 while there is none.
  virtual UNUM32 ModuleHandle() const = 0;
  virtual UNUM32 CllHandle() const = 0;
  /// Whether the link is connected and communication is set up.
  virtual bool IsVehicleConnected() const = 0;

  /// The first 32 bits of a ComParam's value on the link.
  virtual Status GetPDUValue(UNUM32 comParamId, UNUM32* value) = 0;
  /// Writes a ComParam to the link if its value changes; in force after the next update.
  virtual Status SetPduComParam(UNUM32 comParamId, const void* value, std::uint32_t size) = 0;
  /// Starts the ComPrimitive that puts the ComParams written since the last one in force.
  virtual Status CommitComParams() = 0;

  /// Target addresses of functional messages that the channel accepts (J1850 PWM; else none).
  virtual std::vector<std::uint8_t> FunctionalAddresses() const = 0;

 protected:
  ~ChannelLink() = default;
};

}  // namespace passbridge

#endif  // PASSBRIDGE_CONFIG_CHANNEL_LINK_H_
