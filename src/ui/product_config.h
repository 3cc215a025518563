#ifndef PASSBRIDGE_UI_PRODUCT_CONFIG_H_
#define PASSBRIDGE_UI_PRODUCT_CONFIG_H_

#include <string>

namespace passbridge {

/// What the product calls its device, "VCI" unless its configuration says something else. The
/// installation's settings name the folder in which Configuration/product_config.ini lies, a sealed
/// ini text with the key "MGR:device_label".
std::string ReadDeviceLabel();

/// The same, read when it is first asked for. Any thread.
const std::string& DeviceLabel();

}  // namespace passbridge

#endif  // PASSBRIDGE_UI_PRODUCT_CONFIG_H_
