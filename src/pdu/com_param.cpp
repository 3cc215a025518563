#include "pdu/com_param.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "pdu/io_control.h"
#include "pdu/pdu_api.h"

namespace passbridge::pdu {

namespace {

constexpr std::array<const char*, kComParamCount> kComParamNames{
#define PASSBRIDGE_COM_PARAM_NAME(name) #name,
    PASSBRIDGE_COM_PARAMS(PASSBRIDGE_COM_PARAM_NAME)
#undef PASSBRIDGE_COM_PARAM_NAME
};

using ComParamIds = std::array<UNUM32, kComParamCount>;

ComParamIds& ComParamTable() {
  static ComParamIds identifiers = [] {
    ComParamIds undefined{};
    undefined.fill(PDU_ID_UNDEF);
    return undefined;
  }();
  return identifiers;
}

/// A D-PDU library gets each name in a buffer of its own, as wide as the longest it may expect.
using NameBuffer = std::array<char, 128>;

}  // namespace

const char* ComParamName(ComParam param) { return kComParamNames[static_cast<std::size_t>(param)]; }

UNUM32 ComParamId(ComParam param) { return ComParamTable()[static_cast<std::size_t>(param)]; }

void ResolveComParams() {
  ComParamIds& identifiers = ComParamTable();
  identifiers.fill(PDU_ID_UNDEF);
  std::array<NameBuffer, kComParamCount> buffers{};
  std::array<CHAR8*, kComParamCount> names{};
  std::array<UNUM32*, kComParamCount> cells{};
  for (std::size_t i = 0; i < kComParamCount; ++i) {
    std::copy_n(kComParamNames[i], std::strlen(kComParamNames[i]), buffers[i].begin());
    names[i] = buffers[i].data();
    cells[i] = &identifiers[i];
  }
  if (Api().PDUGetObjectIds != nullptr) {
    Api().PDUGetObjectIds(PDU_OBJT_COMPARAM, kComParamCount, names.data(), cells.data());
    return;
  }
  for (std::size_t i = 0; i < kComParamCount; ++i) {
    Api().PDUGetObjectId(PDU_OBJT_COMPARAM, names[i], cells[i]);
  }
}

void ResolvePduObjectIds() {
  ResolveComParams();
  ResolveIoControls();
}

}  // namespace passbridge::pdu
