// The exported functions of the D-PDU API: arguments are checked and converted here, the rest is
// the library's.
#include <array>
#include <cstring>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include "virtual_vci/base/objects.h"
#include "virtual_vci/exports/options.h"
#include "virtual_vci/exports/session.h"
#include "virtual_vci/library/resource_items.h"
#include "virtual_vci/links/com_params.h"
#include "virtual_vci/scenario/scenario_loader.h"

using namespace virtual_vci;

namespace {

std::optional<UNUM32> IdOfObject(T_PDU_OBJT type, const char* name) {
  return type == PDU_OBJT_COMPARAM ? ComParamIdOf(name) : ObjectIdOf(type, name);
}

/// I/O controls of a module that have an output.
bool Reads(IoCtl command) {
  return command == IoCtl::kReadVbatt || command == IoCtl::kReadProgVoltage ||
         command == IoCtl::kGetCableId;
}

T_PDU_ERROR Destroy(Library& library, PDU_ITEM* item) {
  return library.Items().Destroy(item) ? PDU_STATUS_NOERROR : PDU_ERR_INVALID_PARAMETERS;
}

}  // namespace

VVCI_EXPORT T_PDU_ERROR PDUAPI PDUConstruct(CHAR8* OptionStr, void* pAPITag) {
  return Guarded({Function::kPDUConstruct}, [&]() -> T_PDU_ERROR {
    if (CurrentLibrary()) return PDU_ERR_SHARING_VIOLATION;
    const auto options = ReadStartOptions(OptionStr == nullptr ? "" : OptionStr);
    if (!options) return PDU_ERR_INVALID_PARAMETERS;
    auto scenario = LoadScenario(options->scenarioFile);
    if (!scenario) return PDU_ERR_INVALID_PARAMETERS;
    const ClockKind clock = options->clock.value_or(scenario->clock.value_or(ClockKind::kRealtime));
    const bool first =
        SetCurrentLibrary(std::make_shared<Library>(std::move(*scenario), clock, pAPITag));
    return first ? PDU_STATUS_NOERROR : PDU_ERR_SHARING_VIOLATION;
  });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI PDUDestruct(void) {
  return Guarded({Function::kPDUDestruct}, []() -> T_PDU_ERROR {
    const auto library = CurrentLibrary();
    if (!library) return PDU_ERR_PDUAPI_NOT_CONSTRUCTED;
    // A thread can't wait for its own end.
    if (library->OnOwnThread()) return PDU_ERR_FCT_FAILED;
    if (!DropCurrentLibrary(library)) return PDU_ERR_PDUAPI_NOT_CONSTRUCTED;
    library->Shutdown();
    return PDU_STATUS_NOERROR;
  });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI PDUModuleConnect(UNUM32 hMod) {
  return WithLibrary({Function::kPDUModuleConnect, hMod},
                     [&](Library& library) { return library.ConnectModule(hMod); });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI PDUModuleDisconnect(UNUM32 hMod) {
  return WithLibrary({Function::kPDUModuleDisconnect, hMod},
                     [&](Library& library) { return library.DisconnectModule(hMod); });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI PDUGetModuleIds(PDU_MODULE_ITEM** pModuleIdList) {
  return WithLibrary({Function::kPDUGetModuleIds}, [&](Library& library) -> T_PDU_ERROR {
    if (pModuleIdList == nullptr) return PDU_ERR_INVALID_PARAMETERS;
    return HandOut(library, PDU_STATUS_NOERROR, library.MakeModuleList(), pModuleIdList);
  });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI PDUGetObjectId(T_PDU_OBJT pduObjectType, CHAR8* pShortname,
                                              UNUM32* pPduObjectId) {
  return WithLibrary({Function::kPDUGetObjectId}, [&](Library&) -> T_PDU_ERROR {
    if (pShortname == nullptr || pPduObjectId == nullptr) return PDU_ERR_INVALID_PARAMETERS;
    const auto id = IdOfObject(pduObjectType, pShortname);
    *pPduObjectId = id.value_or(PDU_ID_UNDEF);
    return id ? PDU_STATUS_NOERROR : UnknownObjectResult(pduObjectType);
  });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI PDUGetObjectIds(T_PDU_OBJT pduObjectType, UNUM32 NumNames,
                                               CHAR8** pShortnames, UNUM32** pPduObjectIds) {
  return WithLibrary({Function::kPDUGetObjectIds}, [&](Library&) -> T_PDU_ERROR {
    if (NumNames != 0 && (pShortnames == nullptr || pPduObjectIds == nullptr))
      return PDU_ERR_INVALID_PARAMETERS;
    T_PDU_ERROR result = PDU_STATUS_NOERROR;
    for (UNUM32 i = 0; i < NumNames; ++i) {
      if (pShortnames[i] == nullptr || pPduObjectIds[i] == nullptr)
        return PDU_ERR_INVALID_PARAMETERS;
      const auto id = IdOfObject(pduObjectType, pShortnames[i]);
      *pPduObjectIds[i] = id.value_or(PDU_ID_UNDEF);
      if (!id) result = UnknownObjectResult(pduObjectType);
    }
    return result;
  });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI PDUGetResourceIds(UNUM32 hMod, PDU_RSC_DATA* pResourceIdData,
                                                 PDU_RSC_ID_ITEM** pResourceIdList) {
  return WithLibrary({Function::kPDUGetResourceIds, hMod}, [&](Library& library) -> T_PDU_ERROR {
    if (pResourceIdData == nullptr || pResourceIdList == nullptr) return PDU_ERR_INVALID_PARAMETERS;
    ItemPtr item;
    const T_PDU_ERROR result = MakeResourceIds(library, hMod, *pResourceIdData, item);
    return HandOut(library, result, std::move(item), pResourceIdList);
  });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI
PDUGetConflictingResources(UNUM32 resourceId, PDU_MODULE_ITEM* pInputModuleList,
                           PDU_RSC_CONFLICT_ITEM** pOutputConflictList) {
  return WithLibrary({Function::kPDUGetConflictingResources}, [&](Library& library) -> T_PDU_ERROR {
    if (pInputModuleList == nullptr || pOutputConflictList == nullptr)
      return PDU_ERR_INVALID_PARAMETERS;
    ItemPtr item;
    const T_PDU_ERROR result = MakeConflicts(library, resourceId, *pInputModuleList, item);
    return HandOut(library, result, std::move(item), pOutputConflictList);
  });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI PDUGetResourceStatus(PDU_RSC_STATUS_ITEM* pResourceStatus) {
  return WithLibrary({Function::kPDUGetResourceStatus}, [&](Library& library) -> T_PDU_ERROR {
    if (pResourceStatus == nullptr) return PDU_ERR_INVALID_PARAMETERS;
    return FillResourceStatus(library, *pResourceStatus);
  });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI PDUCreateComLogicalLink(UNUM32 hMod, PDU_RSC_DATA* pRscData,
                                                       UNUM32 resourceId, void* pCllTag,
                                                       UNUM32* phCLL,
                                                       PDU_FLAG_DATA* pCllCreateFlag) {
  return WithModule(
      {Function::kPDUCreateComLogicalLink, hMod}, [&](Library&, Module& module) -> T_PDU_ERROR {
        if (phCLL == nullptr) return PDU_ERR_INVALID_PARAMETERS;
        return module.CreateLink(pRscData, resourceId, pCllTag, pCllCreateFlag, phCLL);
      });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI PDUDestroyComLogicalLink(UNUM32 hMod, UNUM32 hCLL) {
  return WithModule({Function::kPDUDestroyComLogicalLink, hMod, hCLL},
                    [&](Library&, Module& module) { return module.DestroyLink(hCLL); });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI PDULockResource(UNUM32 hMod, UNUM32 hCLL, UNUM32 LockMask) {
  return WithLink({Function::kPDULockResource, hMod, hCLL, LockMask},
                  [&](Library&, Link& link) { return link.Lock(LockMask); });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI PDUUnlockResource(UNUM32 hMod, UNUM32 hCLL, UNUM32 LockMask) {
  return WithLink({Function::kPDUUnlockResource, hMod, hCLL, LockMask},
                  [&](Library&, Link& link) { return link.Unlock(LockMask); });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI PDURegisterEventCallback(UNUM32 hMod, UNUM32 hCLL,
                                                        CALLBACKFNC EventCallbackFunction) {
  return WithLibrary({Function::kPDURegisterEventCallback, hMod, hCLL}, [&](Library& library) {
    return library.SetCallback(hMod, hCLL, EventCallbackFunction);
  });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI PDUGetComParam(UNUM32 hMod, UNUM32 hCLL, UNUM32 ParamId,
                                              PDU_PARAM_ITEM** pParamItem) {
  return WithModule({Function::kPDUGetComParam, hMod, hCLL, ParamId},
                    [&](Library& library, Module& module) -> T_PDU_ERROR {
                      if (pParamItem == nullptr) return PDU_ERR_INVALID_PARAMETERS;
                      return module.OnLink(hCLL, [&](Link& link) {
                        ItemPtr item;
                        const T_PDU_ERROR result = link.GetComParam(ParamId, item);
                        return HandOut(library, result, std::move(item), pParamItem);
                      });
                    });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI PDUSetComParam(UNUM32 hMod, UNUM32 hCLL,
                                              PDU_PARAM_ITEM* pParamItem) {
  const UNUM32 id = pParamItem == nullptr ? 0 : pParamItem->ComParamId;
  return WithModule(
      {Function::kPDUSetComParam, hMod, hCLL, id}, [&](Library&, Module& module) -> T_PDU_ERROR {
        if (pParamItem == nullptr || pParamItem->ItemType != PDU_IT_PARAM)
          return PDU_ERR_INVALID_PARAMETERS;
        return module.OnLink(hCLL, [&](Link& link) { return link.SetComParam(*pParamItem); });
      });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI PDUGetUniqueRespIdTable(
    UNUM32 hMod, UNUM32 hCLL, PDU_UNIQUE_RESP_ID_TABLE_ITEM** pUniqueRespIdTable) {
  return WithModule({Function::kPDUGetUniqueRespIdTable, hMod, hCLL},
                    [&](Library& library, Module& module) -> T_PDU_ERROR {
                      if (pUniqueRespIdTable == nullptr) return PDU_ERR_INVALID_PARAMETERS;
                      return module.OnLink(hCLL,
                                           [&](Link& link) {
      ItemPtr item = link.GetUniqueRespIdTable();
      return HandOut(library, PDU_STATUS_NOERROR, std::move(item), pUniqueRespIdTable);
                      });
                    });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI PDUSetUniqueRespIdTable(
    UNUM32 hMod, UNUM32 hCLL, PDU_UNIQUE_RESP_ID_TABLE_ITEM* pUniqueRespIdTable) {
  return WithModule({Function::kPDUSetUniqueRespIdTable, hMod, hCLL},
                    [&](Library&, Module& module) -> T_PDU_ERROR {
                      if (pUniqueRespIdTable == nullptr ||
                          pUniqueRespIdTable->ItemType != PDU_IT_UNIQUE_RESP_ID_TABLE) {
                        return PDU_ERR_INVALID_PARAMETERS;
                      }
                      return module.OnLink(hCLL, [&](Link& link) {
                        return link.SetUniqueRespIdTable(*pUniqueRespIdTable);
                      });
                    });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI PDUConnect(UNUM32 hMod, UNUM32 hCLL) {
  return WithLink({Function::kPDUConnect, hMod, hCLL},
                  [](Library&, Link& link) { return link.Connect(); });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI PDUDisconnect(UNUM32 hMod, UNUM32 hCLL) {
  return WithLink({Function::kPDUDisconnect, hMod, hCLL},
                  [](Library&, Link& link) { return link.Disconnect(); });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI PDUStartComPrimitive(UNUM32 hMod, UNUM32 hCLL, T_PDU_COPT CoPType,
                                                    UNUM32 CoPDataSize, UNUM8* pCoPData,
                                                    PDU_COP_CTRL_DATA* pCopCtrlData, void* pCoPTag,
                                                    UNUM32* phCoP) {
  return WithModule(
      {Function::kPDUStartComPrimitive, hMod, hCLL, CoPType},
      [&](Library&, Module& module) -> T_PDU_ERROR {
        if (phCoP == nullptr) return PDU_ERR_INVALID_PARAMETERS;
        auto cop = std::make_unique<Cop>();
        if (const auto error = ReadCop(CoPType, CoPDataSize, pCoPData, pCopCtrlData, *cop))
          return error;
        cop->tag = pCoPTag;
        const UNUM32 handle = cop->handle = NextCopHandle();
        const bool temporary = pCopCtrlData != nullptr && pCopCtrlData->TempParamUpdate != 0;
        const T_PDU_ERROR result = module.OnLink(
            hCLL, [&](Link& link) { return link.StartCop(std::move(cop), temporary); });
        if (result == PDU_STATUS_NOERROR) *phCoP = handle;
        return result;
      });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI PDUCancelComPrimitive(UNUM32 hMod, UNUM32 hCLL, UNUM32 hCoP) {
  return WithLink({Function::kPDUCancelComPrimitive, hMod, hCLL, hCoP},
                  [&](Library&, Link& link) { return link.CancelCop(hCoP); });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI PDUGetEventItem(UNUM32 hMod, UNUM32 hCLL,
                                               PDU_EVENT_ITEM** pEventItem) {
  return WithLibrary({Function::kPDUGetEventItem, hMod, hCLL},
                     [&](Library& library) -> T_PDU_ERROR {
                       if (pEventItem == nullptr) return PDU_ERR_INVALID_PARAMETERS;
                       ItemPtr item;
                       const T_PDU_ERROR result = library.NextEvent(hMod, hCLL, item);
                       return HandOut(library, result, std::move(item), pEventItem);
                     });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI PDUGetEventItems(UNUM32 hMod, UNUM32 hCLL, UNUM32* pNumItems,
                                                PDU_EVENT_ITEM** pItems) {
  return WithLibrary(
      {Function::kPDUGetEventItems, hMod, hCLL}, [&](Library& library) -> T_PDU_ERROR {
        if (pNumItems == nullptr || pItems == nullptr || *pNumItems == 0)
          return PDU_ERR_INVALID_PARAMETERS;
        const UNUM32 wanted = std::exchange(*pNumItems, 0);
        while (*pNumItems < wanted) {
          ItemPtr item;
          const T_PDU_ERROR result = library.NextEvent(hMod, hCLL, item);
          if (result != PDU_STATUS_NOERROR)
            return *pNumItems == 0 ? result : T_PDU_ERROR{PDU_STATUS_NOERROR};
          pItems[(*pNumItems)++] =
              reinterpret_cast<PDU_EVENT_ITEM*>(library.Items().HandOut(std::move(item)));
        }
        return PDU_STATUS_NOERROR;
      });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI PDUDestroyItem(PDU_ITEM* pItem) {
  return WithLibrary({Function::kPDUDestroyItem},
                     [&](Library& library) { return Destroy(library, pItem); });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI PDUDestroyItems(UNUM32 NumItems, PDU_ITEM** pItems) {
  return WithLibrary({Function::kPDUDestroyItems}, [&](Library& library) -> T_PDU_ERROR {
    if (NumItems == 0 || pItems == nullptr) return PDU_ERR_INVALID_PARAMETERS;
    T_PDU_ERROR result = PDU_STATUS_NOERROR;
    for (UNUM32 i = 0; i < NumItems; ++i) {
      if (const T_PDU_ERROR error = Destroy(library, pItems[i])) result = error;
    }
    return result;
  });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI PDUIoCtl(UNUM32 hMod, UNUM32 hCLL, UNUM32 IoCtlCommandId,
                                        PDU_DATA_ITEM* pInputData, PDU_DATA_ITEM** pOutputData) {
  return WithModule({Function::kPDUIoCtl, hMod, hCLL, IoCtlCommandId},
                    [&](Library& library, Module& module) -> T_PDU_ERROR {
                      if (ObjectNameOf(PDU_OBJT_IO_CTRL, IoCtlCommandId) == nullptr)
                        return PDU_ERR_ID_NOT_SUPPORTED;
                      const auto command = static_cast<IoCtl>(IoCtlCommandId);
                      ItemPtr item;
                      T_PDU_ERROR result = PDU_STATUS_NOERROR;
                      if (hCLL != PDU_HANDLE_UNDEF) {
                        result = module.OnLink(hCLL, [&](Link& link) {
                          return link.IoControl(command, pInputData, item);
                        });
                      } else if (Reads(command) && pOutputData == nullptr) {
                        return PDU_ERR_INVALID_PARAMETERS;
                      } else {
                        result = module.IoControl(command, pInputData, item);
                      }
                      return item && pOutputData != nullptr
                                 ? HandOut(library, result, std::move(item), pOutputData)
                                 : result;
                    });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI PDUGetVersion(UNUM32 hMod, PDU_VERSION_DATA* pVersionData) {
  return WithLibrary({Function::kPDUGetVersion, hMod}, [&](Library& library) -> T_PDU_ERROR {
    if (pVersionData == nullptr) return PDU_ERR_INVALID_PARAMETERS;
    return library.Version(hMod, *pVersionData);
  });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI PDUGetStatus(UNUM32 hMod, UNUM32 hCLL, UNUM32 hCoP,
                                            T_PDU_STATUS* pStatusCode, UNUM32* pTimestamp,
                                            UNUM32* pExtraInfo) {
  return WithLibrary({Function::kPDUGetStatus, hMod, hCLL, hCoP},
                     [&](Library& library) -> T_PDU_ERROR {
                       if (pStatusCode == nullptr || pTimestamp == nullptr || pExtraInfo == nullptr)
                         return PDU_ERR_INVALID_PARAMETERS;
                       T_PDU_STATUS status = 0;
                       UNUM32 timestamp = 0;
                       UNUM32 extraInfo = 0;
                       T_PDU_ERROR result = PDU_STATUS_NOERROR;
                       if (hCLL == PDU_HANDLE_UNDEF) {
                         if (hCoP != PDU_HANDLE_UNDEF) return PDU_ERR_INVALID_HANDLE;
                         result = library.ModuleStatus(hMod, status, timestamp, extraInfo);
                       } else {
                         std::shared_ptr<Module> module;
                         if (const T_PDU_ERROR error = library.FindModule(hMod, module))
                           return error;
                         result = module->OnLink(hCLL, [&](const Link& link) {
                           timestamp = link.Timestamp();
                           return link.GetStatus(hCoP, status);
                         });
                       }
                       if (result != PDU_STATUS_NOERROR) return result;
                       *pStatusCode = status;
                       *pTimestamp = timestamp;
                       *pExtraInfo = extraInfo;
                       return PDU_STATUS_NOERROR;
                     });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI PDUGetLastError(UNUM32 hMod, UNUM32 hCLL, T_PDU_ERR_EVT* pErrorCode,
                                               UNUM32* phCoP, UNUM32* pTimestamp,
                                               UNUM32* pExtraErrorInfo) {
  return WithModule({Function::kPDUGetLastError, hMod, hCLL},
                    [&](Library&, Module& module) -> T_PDU_ERROR {
                      if (pErrorCode == nullptr || phCoP == nullptr || pTimestamp == nullptr ||
                          pExtraErrorInfo == nullptr) {
                        return PDU_ERR_INVALID_PARAMETERS;
                      }
                      LastError error;
                      if (const T_PDU_ERROR result = module.GetLastError(hCLL, error))
                        return result;
                      *pErrorCode = error.code;
                      *phCoP = error.cop;
                      *pTimestamp = error.timestamp;
                      *pExtraErrorInfo = error.extra;
                      return PDU_STATUS_NOERROR;
                    });
}

VVCI_EXPORT T_PDU_ERROR PDUAPI PDUGetTimestamp(UNUM32 hMod, UNUM32* pTimestamp) {
  return WithModule({Function::kPDUGetTimestamp, hMod},
                    [&](Library&, Module& module) -> T_PDU_ERROR {
                      if (pTimestamp == nullptr) return PDU_ERR_INVALID_PARAMETERS;
                      *pTimestamp = module.Timestamp();
                      return PDU_STATUS_NOERROR;
                    });
}

// A signature that drifts from the header doesn't compile.
// NOLINTNEXTLINE(bugprone-macro-parentheses): a type name
#define VVCI_CHECK(name, ...) static_assert(std::is_same_v<decltype(&name), PFN_##name>);
PASSBRIDGE_PDU_FUNCTIONS(VVCI_CHECK)
