// Bad handles and arguments: each function, each argument.
#include <functional>
#include <tuple>

#include "tests/virtual_vci/pdu_fixture.h"

namespace virtual_vci_test {
namespace {

constexpr UNUM32 kBadHandle = 0x7777;

class ArgumentsTest : public PduTest {
 protected:
  PDU_RSC_DATA CanResource(PDU_PIN_DATA* pins) {
    pins[0] = {6, 0};
    pins[1] = {14, 0};
    return {Id(PDU_OBJT_BUSTYPE, "ISO_11898_2_DWCAN"), Id(PDU_OBJT_PROTOCOL, "ISO_11898_RAW"), 2,
            pins};
  }
};

TEST_F(ArgumentsTest, EveryFunctionRefusesBadModuleAndLinkHandles) {
  const UNUM32 good = Connect();
  const UNUM32 unconnected = ModuleNamed("4712", "Wireless");
  const TestLink link(library_, good);
  PDU_PIN_DATA pins[2];
  PDU_RSC_DATA resource = CanResource(pins);
  PDU_RSC_ID_ITEM* resources = nullptr;
  PDU_PARAM_ITEM* param = nullptr;
  UNUM32 value = 0;
  PDU_PARAM_ITEM set{PDU_IT_PARAM, Id(PDU_OBJT_COMPARAM, "CP_Loopback"), PDU_PT_UNUM32, PDU_PC_COM,
                     &value};
  PDU_UNIQUE_RESP_ID_TABLE_ITEM table{PDU_IT_UNIQUE_RESP_ID_TABLE, 0, nullptr};
  PDU_UNIQUE_RESP_ID_TABLE_ITEM* tableOut = nullptr;
  PDU_COP_CTRL_DATA control{};
  PDU_EVENT_ITEM* event = nullptr;
  UNUM32 number = 1;
  T_PDU_ERR_EVT code = 0;
  const UNUM32 filter = Id(PDU_OBJT_IO_CTRL, "PDU_IOCTL_CLEAR_MSG_FILTER");
  UNUM32 out = 0;
  using Call = std::function<T_PDU_ERROR(UNUM32, UNUM32)>;
  const std::vector<std::pair<const char*, Call>> ofLinks =
      {
          {"DestroyComLogicalLink",
           [&](auto m, auto l) { return library_.PDUDestroyComLogicalLink(m, l); }},
          {"Connect", [&](auto m, auto l) { return library_.PDUConnect(m, l); }},
          {"Disconnect", [&](auto m, auto l) { return library_.PDUDisconnect(m, l); }},
          {"LockResource", [&](auto m, auto l) { return library_.PDULockResource(m, l, 1); }},
          {"UnlockResource", [&](auto m, auto l) { return library_.PDUUnlockResource(m, l, 1); }},
          {"RegisterEventCallback",
           [&](auto m, auto l) { return library_.PDURegisterEventCallback(m, l, nullptr); }},
          {"GetComParam",
           [&](auto m, auto l) { return library_.PDUGetComParam(m, l, set.ComParamId, &param); }},
          {"SetComParam", [&](auto m, auto l) { return library_.PDUSetComParam(m, l, &set); }},
          {"GetUniqueRespIdTable",
           [&](auto m, auto l) { return library_.PDUGetUniqueRespIdTable(m, l, &tableOut); }},
          {"SetUniqueRespIdTable",
           [&](auto m, auto l) { return library_.PDUSetUniqueRespIdTable(m, l, &table); }},
          {"StartComPrimitive",
           [&](auto m, auto l) {
    return library_.PDUStartComPrimitive(m, l, PDU_COPT_DELAY, 0, nullptr, &control, nullptr, &out);
           }},
          {"CancelComPrimitive",
           [&](auto m, auto l) { return library_.PDUCancelComPrimitive(m, l, 1); }},
          {"GetEventItem", [&](auto m, auto l) { return library_.PDUGetEventItem(m, l, &event); }},
          {"GetEventItems",
           [&](auto m, auto l) { return library_.PDUGetEventItems(m, l, &number, &event); }},
          {"IoCtl",
           [&](auto m, auto l) { return library_.PDUIoCtl(m, l, filter, nullptr, nullptr); }},
          {"GetStatus",
           [&](auto m,
               auto l) { return library_.PDUGetStatus(m, l, PDU_HANDLE_UNDEF, &out, &out, &out); }},
          {"GetLastError",
           [&](auto m, auto l) { return library_.PDUGetLastError(m, l, &code, &out, &out, &out); }},
  };
  for (const auto& [name, call] : ofLinks) {
    const std::tuple<UNUM32, UNUM32, T_PDU_ERROR> handles[] = {
        {kBadHandle, link.Handle(), PDU_ERR_INVALID_HANDLE},
        {unconnected, link.Handle(), PDU_ERR_MODULE_NOT_CONNECTED},
        {good, kBadHandle, PDU_ERR_INVALID_HANDLE},
        {0, 0, PDU_ERR_INVALID_HANDLE}};
    for (const auto& [badModule, badLink, result] : handles) {
      number = 1;
      EXPECT_EQ(call(badModule, badLink), result) << name;
    }
  }
  const std::vector<std::pair<const char*, std::function<T_PDU_ERROR(UNUM32)>>> ofModules =
      {
          {"GetResourceIds",
           [&](auto m) { return library_.PDUGetResourceIds(m, &resource, &resources); }},
          {"CreateComLogicalLink",
           [&](auto m) {
    return library_.PDUCreateComLogicalLink(m, &resource, PDU_ID_UNDEF, nullptr, &out, nullptr);
           }},
          {"GetTimestamp", [&](auto m) { return library_.PDUGetTimestamp(m, &out); }},
  };
  for (const auto& [name, call] : ofModules) {
    EXPECT_EQ(call(kBadHandle), PDU_ERR_INVALID_HANDLE) << name;
    EXPECT_EQ(call(unconnected), PDU_ERR_MODULE_NOT_CONNECTED) << name;
  }
  EXPECT_EQ(library_.PDUModuleConnect(kBadHandle), PDU_ERR_INVALID_HANDLE);
  EXPECT_EQ(library_.PDUModuleDisconnect(kBadHandle), PDU_ERR_INVALID_HANDLE);
  EXPECT_EQ(library_.PDUGetStatus(good, link.Handle(), kBadHandle, &out, &out, &out),
            PDU_ERR_INVALID_HANDLE);
}

TEST_F(ArgumentsTest, EveryFunctionRefusesNullOutputsAndBadInputs) {
  const UNUM32 module = Connect();
  const TestLink link(library_, module);
  const UNUM32 handle = link.Handle();
  PDU_PIN_DATA pins[2];
  PDU_RSC_DATA resource = CanResource(pins);
  PDU_RSC_ID_ITEM* resources = nullptr;
  PDU_MODULE_ITEM modules{PDU_IT_MODULE_ID, 0, nullptr};
  PDU_RSC_CONFLICT_ITEM* conflicts = nullptr;
  PDU_COP_CTRL_DATA control{};
  UNUM32 out = 0;
  char name[] = "CP_Loopback";
  char* names[] = {name};
  UNUM32* cells[] = {nullptr};
  PDU_PARAM_ITEM wrongType{PDU_IT_RESULT, 1, PDU_PT_UNUM32, PDU_PC_COM, &out};
  PDU_PARAM_ITEM noValue{PDU_IT_PARAM, Id(PDU_OBJT_COMPARAM, name), PDU_PT_UNUM32, PDU_PC_COM,
                         nullptr};
  PDU_PARAM_ITEM wrongData{PDU_IT_PARAM, Id(PDU_OBJT_COMPARAM, name), PDU_PT_BYTEFIELD, PDU_PC_COM,
                           &out};
  PDU_UNIQUE_RESP_ID_TABLE_ITEM noRows{PDU_IT_UNIQUE_RESP_ID_TABLE, 3, nullptr};
  PDU_RSC_STATUS_ITEM noStatus{PDU_IT_RSC_STATUS, 1, nullptr};
  UNUM32 zero = 0;
  const std::pair<const char*, T_PDU_ERROR> results[] = {
      {"GetModuleIds", library_.PDUGetModuleIds(nullptr)},
      {"GetObjectId, name", library_.PDUGetObjectId(PDU_OBJT_COMPARAM, nullptr, &out)},
      {"GetObjectId, id", library_.PDUGetObjectId(PDU_OBJT_COMPARAM, name, nullptr)},
      {"GetObjectIds, names", library_.PDUGetObjectIds(PDU_OBJT_COMPARAM, 1, nullptr, cells)},
      {"GetObjectIds, cells", library_.PDUGetObjectIds(PDU_OBJT_COMPARAM, 1, names, nullptr)},
      {"GetObjectIds, a cell", library_.PDUGetObjectIds(PDU_OBJT_COMPARAM, 1, names, cells)},
      {"GetResourceIds, data", library_.PDUGetResourceIds(module, nullptr, &resources)},
      {"GetResourceIds, list", library_.PDUGetResourceIds(module, &resource, nullptr)},
      {"GetConflictingResources, modules",
       library_.PDUGetConflictingResources(1, nullptr, &conflicts)},
      {"GetConflictingResources, list", library_.PDUGetConflictingResources(1, &modules, nullptr)},
      {"GetResourceStatus", library_.PDUGetResourceStatus(nullptr)},
      {"GetResourceStatus, rows", library_.PDUGetResourceStatus(&noStatus)},
      {"CreateComLogicalLink, handle",
       library_.PDUCreateComLogicalLink(module, &resource, PDU_ID_UNDEF, nullptr, nullptr,
                                        nullptr)},
      {"CreateComLogicalLink, resource",
       library_.PDUCreateComLogicalLink(module, nullptr, PDU_ID_UNDEF, nullptr, &out, nullptr)},
      {"CreateComLogicalLink, resource id",
       library_.PDUCreateComLogicalLink(module, nullptr, 0x99999, nullptr, &out, nullptr)},
      {"LockResource, mask", library_.PDULockResource(module, handle, 0)},
      {"UnlockResource, mask", library_.PDUUnlockResource(module, handle, 8)},
      {"GetComParam", library_.PDUGetComParam(module, handle, 1, nullptr)},
      {"SetComParam, null", library_.PDUSetComParam(module, handle, nullptr)},
      {"SetComParam, item type", library_.PDUSetComParam(module, handle, &wrongType)},
      {"SetComParam, value", library_.PDUSetComParam(module, handle, &noValue)},
      {"SetComParam, data type", library_.PDUSetComParam(module, handle, &wrongData)},
      {"GetUniqueRespIdTable", library_.PDUGetUniqueRespIdTable(module, handle, nullptr)},
      {"SetUniqueRespIdTable", library_.PDUSetUniqueRespIdTable(module, handle, nullptr)},
      {"SetUniqueRespIdTable, rows", library_.PDUSetUniqueRespIdTable(module, handle, &noRows)},
      {"StartComPrimitive, handle",
       library_.PDUStartComPrimitive(module, handle, PDU_COPT_DELAY, 0, nullptr, &control, nullptr,
                                     nullptr)},
      {"StartComPrimitive, data",
       library_.PDUStartComPrimitive(module, handle, PDU_COPT_SENDRECV, 5, nullptr, &control,
                                     nullptr, &out)},
      {"StartComPrimitive, control",
       library_.PDUStartComPrimitive(module, handle, PDU_COPT_SENDRECV, 0, nullptr, nullptr,
                                     nullptr, &out)},
      {"StartComPrimitive, type",
       library_.PDUStartComPrimitive(module, handle, 0x9000, 0, nullptr, &control, nullptr, &out)},
      {"GetEventItem", library_.PDUGetEventItem(module, handle, nullptr)},
      {"GetEventItems, count", library_.PDUGetEventItems(module, handle, &zero, nullptr)},
      {"DestroyItem", library_.PDUDestroyItem(nullptr)},
      {"DestroyItems", library_.PDUDestroyItems(1, nullptr)},
      {"GetVersion", library_.PDUGetVersion(module, nullptr)},
      {"GetStatus, status",
       library_.PDUGetStatus(module, handle, PDU_HANDLE_UNDEF, nullptr, &out, &out)},
      {"GetStatus, time",
       library_.PDUGetStatus(module, handle, PDU_HANDLE_UNDEF, &out, nullptr, &out)},
      {"GetStatus, extra",
       library_.PDUGetStatus(module, handle, PDU_HANDLE_UNDEF, &out, &out, nullptr)},
      {"GetLastError, code", library_.PDUGetLastError(module, handle, nullptr, &out, &out, &out)},
      {"GetLastError, cop", library_.PDUGetLastError(module, handle, &out, nullptr, &out, &out)},
      {"GetLastError, time", library_.PDUGetLastError(module, handle, &out, &out, nullptr, &out)},
      {"GetLastError, extra", library_.PDUGetLastError(module, handle, &out, &out, &out, nullptr)},
      {"GetTimestamp", library_.PDUGetTimestamp(module, nullptr)},
  };
  for (const auto& [what, result] : results) EXPECT_EQ(result, PDU_ERR_INVALID_PARAMETERS) << what;
  library_.VirtualVciReset();  // of the bad PDUDestroyItem in the ledger
}

}  // namespace
}  // namespace virtual_vci_test
