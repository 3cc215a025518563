/// \file
/// The resources of a connected module: what links can be created on.
#ifndef VIRTUAL_VCI_LIBRARY_RESOURCES_H_
#define VIRTUAL_VCI_LIBRARY_RESOURCES_H_

#include <vector>

#include "virtual_vci/links/resource.h"
#include "virtual_vci/scenario/scenario.h"

namespace virtual_vci {

/// Guarded by the module's lock.
class ResourceList {
 public:
  /// Every protocol on each of the buses.
  explicit ResourceList(const std::vector<BusConfig>& buses);

  /// The resource with this identifier, or null.
  const Resource* Find(UNUM32 id) const;
  /// The resource that the data describes: a listed one, or a new one on other pins that the VCI
  /// can switch to. PDU_ERR_RESOURCE_ERROR for a bus type and protocol that don't go together,
  /// PDU_ERR_INVALID_PARAMETERS for pins that the bus type can't be on.
  T_PDU_ERROR For(const PDU_RSC_DATA& data, const Resource*& found);
  /// All that the data fits, in which PDU_ID_UNDEF and an empty list of pins stand for any.
  std::vector<UNUM32> Matching(const PDU_RSC_DATA& data) const;
  /// All that can't be used together with this one.
  std::vector<UNUM32> ConflictsOf(const Resource& resource) const;

 private:
  const Resource& Add(const ProtocolOnBus& kind, std::vector<UNUM32> pins);

  std::vector<Resource> resources_;
};

/// Whether links on both can't exist at once: they have a pin in common, but don't share a bus.
bool Conflict(const Resource& one, const Resource& other);

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_LIBRARY_RESOURCES_H_
