#ifndef PASSBRIDGE_UI_DEVICE_EXPLORER_H_
#define PASSBRIDGE_UI_DEVICE_EXPLORER_H_

#include "server/device_selection.h"

namespace passbridge {

/// Shows the VCIs to the user, modally, and returns when the user has chosen or cancelled. Where it
/// can't be shown, the choice is empty. The D-PDU API is constructed meanwhile. Each system has a
/// view of its own of the ExplorerModel.
VciChoice ShowDeviceExplorer();

}  // namespace passbridge

#endif  // PASSBRIDGE_UI_DEVICE_EXPLORER_H_
