#include "virtual_vci/library/resource_items.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace virtual_vci {

T_PDU_ERROR MakeResourceIds(Library& library, UNUM32 module, const PDU_RSC_DATA& data,
                            ItemPtr& out) {
  if (data.NumPinData != 0 && data.pDLCPinData == nullptr) return PDU_ERR_INVALID_PARAMETERS;
  std::vector<std::shared_ptr<Module>> modules;
  if (module == PDU_HANDLE_UNDEF) {
    modules = library.ConnectedModules();
  } else if (const T_PDU_ERROR error = library.FindModule(module, modules.emplace_back())) {
    return error;
  }
  std::vector<std::vector<UNUM32>> ids;
  std::size_t count = 0;
  for (const auto& each : modules) count += ids.emplace_back(each->FindResources(data)).size();

  ItemBuilder builder;
  builder.Need<PDU_RSC_ID_ITEM>()
      .Need<PDU_RSC_ID_ITEM_DATA>(modules.size())
      .Need<UNUM32>(count)
      .Make();
  auto* item = builder.Take<PDU_RSC_ID_ITEM>();
  auto* row = builder.Take<PDU_RSC_ID_ITEM_DATA>(modules.size());
  auto* id = builder.Take<UNUM32>(count);
  *item = {PDU_IT_RSC_ID, static_cast<UNUM32>(modules.size()), row};
  for (std::size_t i = 0; i < modules.size(); ++i) {
    *row++ = {modules[i]->Handle(), static_cast<UNUM32>(ids[i].size()),
              ids[i].empty() ? nullptr : id};
    id = std::copy(ids[i].begin(), ids[i].end(), id);
  }
  out = builder.Finish();
  return PDU_STATUS_NOERROR;
}

T_PDU_ERROR MakeConflicts(Library& library, UNUM32 resourceId, const PDU_MODULE_ITEM& modules,
                          ItemPtr& out) {
  if (modules.NumEntries != 0 && modules.pModuleData == nullptr) return PDU_ERR_INVALID_PARAMETERS;
  std::vector<PDU_RSC_CONFLICT_DATA> conflicts;
  for (UNUM32 i = 0; i < modules.NumEntries; ++i) {
    std::shared_ptr<Module> module;
    if (const T_PDU_ERROR error = library.FindModule(modules.pModuleData[i].hMod, module))
      return error;
    const auto ids = module->ConflictsOf(resourceId);
    if (!ids) return PDU_ERR_INVALID_PARAMETERS;
    for (const UNUM32 id : *ids) conflicts.push_back({module->Handle(), id});
  }
  ItemBuilder builder;
  builder.Need<PDU_RSC_CONFLICT_ITEM>().Need<PDU_RSC_CONFLICT_DATA>(conflicts.size()).Make();
  auto* item = builder.Take<PDU_RSC_CONFLICT_ITEM>();
  auto* row = builder.Take<PDU_RSC_CONFLICT_DATA>(conflicts.size());
  *item = {PDU_IT_RSC_CONFLICT, static_cast<UNUM32>(conflicts.size()), row};
  std::copy(conflicts.begin(), conflicts.end(), row);
  out = builder.Finish();
  return PDU_STATUS_NOERROR;
}

T_PDU_ERROR FillResourceStatus(Library& library, PDU_RSC_STATUS_ITEM& item) {
  if (item.ItemType != PDU_IT_RSC_STATUS || item.NumEntries == 0 ||
      item.pResourceStatusData == nullptr) {
    return PDU_ERR_INVALID_PARAMETERS;
  }
  for (UNUM32 i = 0; i < item.NumEntries; ++i) {
    PDU_RSC_STATUS_DATA& row = item.pResourceStatusData[i];
    std::shared_ptr<Module> module;
    if (const T_PDU_ERROR error = library.FindModule(row.hMod, module)) return error;
    const auto status = module->ResourceStatus(row.ResourceId);
    if (!status) return PDU_ERR_INVALID_PARAMETERS;
    row.ResourceStatus = *status;
  }
  return PDU_STATUS_NOERROR;
}

}  // namespace virtual_vci
