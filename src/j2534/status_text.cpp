#include "j2534/status_text.h"

#include <array>

#include "passbridge/j2534.h"

namespace passbridge {

namespace {

constexpr std::array<const char*, ERR_INVALID_DEVICE_ID + 1> kStatusTexts{
    "Function call successful",
    "Requested function is not supported.",
    "Invalid ChannelID value",
    "Invalid or unsupported ProtocolID, or a resource conflict.",
    "NULL pointer supplied where a valid pointer is required",
    "Invalid value for Ioctl parameter",
    "Invalid flag values",
    "Undefined error, use PassThruGetLastError for description",
    "Unable to communicate with device.",
    "Timeout: Can't read/write requested number of msgs.",
    "Invalid message structure pointed to by pMsg",
    "Invalid TimeInterval value.",
    "Exceeded maximum number of message IDs or allocated space.",
    "Invalid MsgID value.",
    "Device is currently open.",
    "Invalid IoctlID value.",
    "Protocol message buffer empty, no msgs available to read.",
    "Protocol msg buffer full. Some msgs may not have been sent.",
    "Indicates a buffer overflow occurred and messages were lost.",
    "Invalid pin #, pin # in use or voltage on a different pin.",
    "Channel number is currently connected.",
    "Msg ProtocolID doesn't match the ProtocolID of ChannelID",
    "Invalid Filter ID value",
    "No FLOW_CONTROL_FILTER set or matched (ISO15765 only)",
    "A CAN ID in Pattern or FlowControl matches existing filter.",
    "Desired Baud Rate cannot be achieved within the tolerance",
    "Device ID invalid",
};

}  // namespace

const char* StatusText(Status status) {
  return status < kStatusTexts.size() ? kStatusTexts[status] : nullptr;
}

}  // namespace passbridge
