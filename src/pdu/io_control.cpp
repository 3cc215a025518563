#include "pdu/io_control.h"

#include <array>
#include <cstddef>

namespace passbridge::pdu {

namespace {

constexpr std::array kIoControlNames{
#define PASSBRIDGE_IO_CONTROL_NAME(control, name) name,
    PASSBRIDGE_IO_CONTROLS(PASSBRIDGE_IO_CONTROL_NAME)
#undef PASSBRIDGE_IO_CONTROL_NAME
};

}  // namespace

const char* IoControlName(IoControl control) {
  return kIoControlNames[static_cast<std::size_t>(control)];
}

ObjectIds& IoControlIds() {
  static std::array<ObjectIds::Cell, kIoControlNames.size()> cells;
  static ObjectIds identifiers(PDU_OBJT_IO_CTRL, kIoControlNames, cells);
  return identifiers;
}

UNUM32 IoControlId(IoControl control) {
  return IoControlIds().At(static_cast<std::size_t>(control));
}

}  // namespace passbridge::pdu
