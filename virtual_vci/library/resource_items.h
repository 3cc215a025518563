/// \file
/// Lists of resources over several modules.
#ifndef VIRTUAL_VCI_LIBRARY_RESOURCE_ITEMS_H_
#define VIRTUAL_VCI_LIBRARY_RESOURCE_ITEMS_H_

#include "virtual_vci/library/library.h"

namespace virtual_vci {

/// The resources that the data describes, of one module or (PDU_HANDLE_UNDEF) of all that are
/// connected. PDU_ID_UNDEF in the data stands for any bus type or protocol, an empty pin list for
/// any pins.
T_PDU_ERROR MakeResourceIds(Library& library, UNUM32 module, const PDU_RSC_DATA& data,
                            ItemPtr& out);
/// The resources that can't be used together with this one, in the modules of the list.
T_PDU_ERROR MakeConflicts(Library& library, UNUM32 resourceId, const PDU_MODULE_ITEM& modules,
                          ItemPtr& out);
/// Fills in the status of each resource that the application lists.
T_PDU_ERROR FillResourceStatus(Library& library, PDU_RSC_STATUS_ITEM& item);

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_LIBRARY_RESOURCE_ITEMS_H_
