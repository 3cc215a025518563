/// \file
/// What a protocol does for its link, and what the link gives it.
#ifndef VIRTUAL_VCI_LINKS_PROTOCOL_H_
#define VIRTUAL_VCI_LINKS_PROTOCOL_H_

#include <memory>
#include <span>

#include "virtual_vci/base/objects.h"
#include "virtual_vci/items/event_port.h"
#include "virtual_vci/links/cop.h"
#include "virtual_vci/links/filters.h"
#include "virtual_vci/vehicle/bus.h"

namespace virtual_vci {

class CopEngine;
class UniqueRespTable;

/// The link as its protocol sees it. Everything lives as long as the protocol.
struct LinkContext {
  Scheduler& scheduler;
  CopEngine& cops;
  EventPort& events;
  const FilterList& filters;
  const UniqueRespTable& responses;  ///< active table
  bool rawMode;                      ///< data begin with the address of their bus
  bool packing;                      ///< waiting frames are delivered packed
  bool passWithoutFilter;
};

/// Guarded by the module's lock. A protocol never sees two ComPrimitives at once: the link's engine
/// gives it one, hears of its end (CopEngine, "For the protocol"), and then gives it the next.
class Protocol {
 public:
  virtual ~Protocol() = default;
  /// The link goes online, with these ComParams; a protocol detaches itself from its bus when it is
  /// destroyed.
  virtual void GoOnline(const ComParamSet& params) = 0;
  virtual void GoOffline() = 0;
  /// The active ComParams, or the response table, have changed.
  virtual void ParamsChanged(const ComParamSet& params) = 0;
  /// Whether the protocol can send what the ComPrimitive holds.
  virtual T_PDU_ERROR Check(const Cop& cop) const = 0;
  /// Starts one send cycle.
  virtual void Send(const Cop& cop) = 0;
  /// Forgets the send cycle, start or stop under way; nothing is reported.
  virtual void StopSending() = 0;
  /// Initialises the bus. Answer with CopEngine::CommunicationDone or SendFailed, at once or later:
  /// only then is the communication started.
  virtual void StartCommunication(const Cop& cop) = 0;
  /// Likewise.
  virtual void StopCommunication(const Cop& cop) = 0;
  /// The ComParam that says how long a response is waited for: the first one after a message, and
  /// further ones.
  virtual ComParam ResponseTime(bool /*first*/) const { return ComParam::CP_P2Max; }
  /// I/O controls that the link doesn't know.
  virtual T_PDU_ERROR IoControl(IoCtl, const PDU_DATA_ITEM*, ItemPtr&) {
    return PDU_ERR_ID_NOT_SUPPORTED;
  }
};

/// A ComParam and a value: what a protocol starts with on its bus instead of with the usual
/// default, what the bus makes a link change.
struct ComParamDefault {
  ComParam id;
  UNUM32 value;
};

/// A protocol on a type of bus.
struct ProtocolOnBus {
  ProtocolId protocol;
  BusType bus;
  bool shared;  ///< several links may use the pins
  /// `bitRate`: of the ECUs that have none of their own; 0 if there are none.
  std::unique_ptr<Bus> (*makeBus)(Scheduler& scheduler, std::uint32_t bitRate);
  /// On a bus that makeBus made.
  std::unique_ptr<Protocol> (*makeProtocol)(const LinkContext& link, Bus& bus);
  std::span<const ComParamDefault> defaults;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_LINKS_PROTOCOL_H_
