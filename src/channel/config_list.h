#ifndef PASSBRIDGE_CHANNEL_CONFIG_LIST_H_
#define PASSBRIDGE_CHANNEL_CONFIG_LIST_H_

#include "j2534/app_memory.h"
#include "trace/method.h"

namespace passbridge {

/// Probes the SCONFIG_LIST that SET_CONFIG was given, and its entries; reports at exits 1 and 2.
Status CheckConfigList(const Exits& exit, const AppPointer& input);

}  // namespace passbridge

#endif  // PASSBRIDGE_CHANNEL_CONFIG_LIST_H_
