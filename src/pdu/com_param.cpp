#include "pdu/com_param.h"

#include <array>
#include <cstddef>

#include "pdu/io_control.h"
#include "pdu/object_ids.h"

namespace passbridge::pdu {

namespace {

constexpr std::array kComParamNames{
#define PASSBRIDGE_COM_PARAM_NAME(name) #name,
    PASSBRIDGE_COM_PARAMS(PASSBRIDGE_COM_PARAM_NAME)
#undef PASSBRIDGE_COM_PARAM_NAME
};

ObjectIds& ComParamIds() {
  static std::array<ObjectIds::Cell, kComParamNames.size()> cells;
  static ObjectIds identifiers(PDU_OBJT_COMPARAM, kComParamNames, cells);
  return identifiers;
}

}  // namespace

const char* ComParamName(ComParam param) { return kComParamNames[static_cast<std::size_t>(param)]; }

UNUM32 ComParamId(ComParam param) { return ComParamIds().At(static_cast<std::size_t>(param)); }

void ResolvePduObjectIds() {
  ComParamIds().ResolveAtOnce();
  IoControlIds().ResolveOneByOne();
}

void ForgetPduObjectIds() {
  ComParamIds().Forget();
  IoControlIds().Forget();
}

}  // namespace passbridge::pdu
