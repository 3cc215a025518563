#include "fault_pdu.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <string_view>
#include <thread>
#include <utility>

#include "handle_map.h"
#include "passbridge/d_pdu_functions.h"
#include "platform/dynamic_library.h"

#if defined(_WIN32)
#define FAULT_PDU_EXPORT extern "C"
#else
#define FAULT_PDU_EXPORT extern "C" __attribute__((visibility("default")))
#endif

namespace passbridge::test {
namespace {

#define FAULT_PDU_NUMBER(name, required) k##name,
#define FAULT_PDU_NAME(name, required) #name,
#define FAULT_PDU_POINTER(name, required) PFN_##name name;
#define FAULT_PDU_FIND(name, required) name(file.Function<PFN_##name>(#name)),

enum Function : std::size_t { PASSBRIDGE_PDU_FUNCTIONS(FAULT_PDU_NUMBER) kNone };
constexpr auto kNames = std::to_array<std::string_view>({PASSBRIDGE_PDU_FUNCTIONS(FAULT_PDU_NAME)});

std::string_view TextOf(const char* text) { return text != nullptr ? text : ""; }

Function FunctionOf(const char* name) {
  std::size_t i = 0;
  while (i < kNames.size() && kNames[i] != TextOf(name)) ++i;
  return static_cast<Function>(i);
}

/// The functions of the virtual VCI.
struct RealPdu {
  RealPdu()
      : file(platform::DynamicLibrary::Open(VIRTUAL_VCI_FILE)),
        PASSBRIDGE_PDU_FUNCTIONS(FAULT_PDU_FIND) end(0) {
    if (!file) std::abort();
  }
  platform::DynamicLibrary file;
  PASSBRIDGE_PDU_FUNCTIONS(FAULT_PDU_POINTER)
  char end;  // where the list of initialisers ends
};

void Pause(int milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

struct Interposer {
  using Link = std::pair<UNUM32, UNUM32>;

  const RealPdu real;
  std::array<std::atomic<UNUM32>, kNames.size()> calls{};
  std::atomic<UNUM32> nextQuirk{FAULT_PDU_PLAIN};
  std::atomic<UNUM32> quirk{FAULT_PDU_PLAIN};

  std::mutex faultLock;  // the fault
  Function function = kNone;
  UNUM32 count = 0;
  T_PDU_ERROR result = PDU_STATUS_NOERROR;

  // The application forced PDUDestruct away from the virtual VCI and may have unloaded this
  // library.
  std::atomic<bool> destructMissing{false};

  std::mutex handleLock;  // the maps
  HandleMap modules{1};   // module handle 0 stands for none
  HandleMap links{0};
  HandleMap cops{1};

  std::mutex callbackLock;  // the rest; not held in a callback
  std::map<Link, CALLBACKFNC> callbacks;
  std::map<Link, void*> linkTags;
  void* apiTag = nullptr;

  /// Whether this call is forced, to which result, and whether its outputs are spoilt.
  bool TakeFault(Function called, T_PDU_ERROR& forced, bool& spoil) {
    ++calls[called];
    const std::lock_guard lock(faultLock);
    if (called != function || count == 0) return false;
    spoil = count != FAULT_PDU_FOR_EVER;
    if (spoil) --count;
    forced = result;
    return true;
  }

  bool Maps() const { return quirk == FAULT_PDU_HANDLES; }

  UNUM32 Real(HandleMap& map, UNUM32 handle) {
    if (!Maps()) return handle;
    const std::lock_guard lock(handleLock);
    return map.ToReal(handle);
  }
  UNUM32 Application(HandleMap& map, UNUM32 handle) {
    if (!Maps()) return handle;
    const std::lock_guard lock(handleLock);
    return map.ToApplication(handle);
  }

  void CallBack(T_PDU_EVT_DATA event, UNUM32 hMod, UNUM32 hCLL) {
    std::unique_lock lock(callbackLock);
    const auto callback = callbacks.find({hMod, hCLL});
    if (callback == callbacks.end() || callback->second == nullptr) return;
    const CALLBACKFNC target = callback->second;
    const auto tag = linkTags.find({hMod, hCLL});
    void* const linkTag = tag != linkTags.end() ? tag->second : nullptr;
    void* const api = apiTag;
    lock.unlock();
    target(event, hMod, hCLL, linkTag, api);
  }

  /// What I/O controls, and calls that connect or end something, do before the virtual VCI does its
  /// part. Starts don't: one lock keeps the library's starts and callbacks in order.
  void Before(UNUM32 hMod, UNUM32 hCLL) {
    if (quirk != FAULT_PDU_WAITING) return;
    std::thread([=, this] { CallBack(PDU_EVT_DATA_AVAILABLE, hMod, hCLL); }).join();
  }
  /// What connecting, starting and cancelling do at their end.
  void After(UNUM32 hMod, UNUM32 hCLL) {
    if (quirk == FAULT_PDU_SYNCHRONOUS) CallBack(PDU_EVT_DATA_AVAILABLE, hMod, hCLL);
    if (quirk == FAULT_PDU_SLOW) Pause(10);
  }
};

/// Never destroyed: callbacks may come while the process ends.
Interposer& It() {
  static auto* const interposer = new Interposer;
  return *interposer;
}

void PDUAPI Relay(T_PDU_EVT_DATA event, UNUM32 hMod, UNUM32 hCLL, void* /*tag*/, void* /*api*/) {
  if (It().quirk == FAULT_PDU_LATE) Pause(20);
  It().CallBack(event, It().Application(It().modules, hMod), It().Application(It().links, hCLL));
}

// Garbage for an output: a number, an item, a structure. Inputs stay as they are.
template <typename Input>
void Spoil(Input /*input*/) {}
void Spoil(UNUM32* number) {
  if (number != nullptr) *number = 0xDEADBEE5;
}
void Spoil(PDU_VERSION_DATA* version) {
  if (version != nullptr) std::memset(version, 0xE5, sizeof *version);
}
template <typename Item>
void SpoilItem(Item** item) {
  if (item != nullptr) std::memset(item, 0xE5, sizeof *item);
}
void Spoil(PDU_MODULE_ITEM** item) { SpoilItem(item); }
void Spoil(PDU_PARAM_ITEM** item) { SpoilItem(item); }
void Spoil(PDU_DATA_ITEM** item) { SpoilItem(item); }
void Spoil(PDU_EVENT_ITEM** item) { SpoilItem(item); }

/// The forced result, or what `body` gives.
template <typename Body, typename... Outputs>
T_PDU_ERROR Call(Function function, Body&& body, Outputs... outputs) {
  T_PDU_ERROR result = PDU_STATUS_NOERROR;
  bool spoil = It().quirk == FAULT_PDU_GARBAGE;
  if (!It().TakeFault(function, result, spoil)) result = body();
  if (result != PDU_STATUS_NOERROR && spoil) (Spoil(outputs), ...);
  return result;
}

UNUM32 Module(UNUM32 handle) { return It().Real(It().modules, handle); }
UNUM32 Link(UNUM32 handle) { return It().Real(It().links, handle); }
UNUM32 Cop(UNUM32 handle) { return It().Real(It().cops, handle); }

/// The application's view of an event item; the last one of a ComPrimitive frees its handle.
void Translate(PDU_EVENT_ITEM& item) {
  if (!It().Maps()) return;
  const std::lock_guard lock(It().handleLock);
  const UNUM32 real = item.hCop;
  item.hCop = It().cops.ToApplication(real);
  if (item.ItemType != PDU_IT_STATUS) return;
  const T_PDU_STATUS status = *static_cast<const T_PDU_STATUS*>(item.pData);
  if (status == PDU_COPST_FINISHED || status == PDU_COPST_CANCELLED) It().cops.Free(real);
}

}  // namespace
}  // namespace passbridge::test

using namespace passbridge::test;

FAULT_PDU_EXPORT void FaultPduSetQuirk(UNUM32 quirk) { It().nextQuirk = quirk; }

FAULT_PDU_EXPORT void FaultPduForce(const CHAR8* function, UNUM32 count, T_PDU_ERROR result) {
  const std::lock_guard lock(It().faultLock);
  It().function = FunctionOf(function);
  It().count = count;
  It().result = result;
}

FAULT_PDU_EXPORT UNUM32 FaultPduCalls(const CHAR8* function) {
  const Function number = FunctionOf(function);
  return number != kNone ? It().calls[number].load() : 0;
}

// Functions that are only forwarded; `…` are the arguments as the virtual VCI gets them.
#define FORWARD(name, parameters, ...)                                \
  FAULT_PDU_EXPORT T_PDU_ERROR PDUAPI name parameters {               \
    const auto call = [](auto... arguments) {                         \
      const auto body = [&] { return It().real.name(arguments...); }; \
      return Call(k##name, body, arguments...);                       \
    };                                                                \
    return call(__VA_ARGS__);                                         \
  }

FORWARD(PDUModuleConnect, (UNUM32 hMod), Module(hMod))
FORWARD(PDUGetObjectId, (T_PDU_OBJT type, CHAR8* name, UNUM32* id), type, name, id)
FORWARD(PDUGetObjectIds, (T_PDU_OBJT type, UNUM32 count, CHAR8** names, UNUM32** ids), type, count,
        names, ids)
FORWARD(PDUGetResourceIds, (UNUM32 hMod, PDU_RSC_DATA* data, PDU_RSC_ID_ITEM** list), Module(hMod),
        data, list)
FORWARD(PDUGetConflictingResources,
        (UNUM32 resource, PDU_MODULE_ITEM* input, PDU_RSC_CONFLICT_ITEM** list), resource, input,
        list)
FORWARD(PDUGetResourceStatus, (PDU_RSC_STATUS_ITEM * status), status)
FORWARD(PDUDestroyItem, (PDU_ITEM * item), item)
FORWARD(PDUGetVersion, (UNUM32 hMod, PDU_VERSION_DATA* version), Module(hMod), version)
FORWARD(PDUGetTimestamp, (UNUM32 hMod, UNUM32* timestamp), Module(hMod), timestamp)
FORWARD(PDUGetStatus,
        (UNUM32 hMod, UNUM32 hCLL, UNUM32 hCoP, T_PDU_STATUS* status, UNUM32* timestamp,
         UNUM32* extra),
        Module(hMod), Link(hCLL), Cop(hCoP), status, timestamp, extra)
FORWARD(PDUGetLastError,
        (UNUM32 hMod, UNUM32 hCLL, T_PDU_ERR_EVT* code, UNUM32* hCoP, UNUM32* timestamp,
         UNUM32* extra),
        Module(hMod), Link(hCLL), code, hCoP, timestamp, extra)
FORWARD(PDULockResource, (UNUM32 hMod, UNUM32 hCLL, UNUM32 mask), Module(hMod), Link(hCLL), mask)
FORWARD(PDUUnlockResource, (UNUM32 hMod, UNUM32 hCLL, UNUM32 mask), Module(hMod), Link(hCLL), mask)
FORWARD(PDUGetComParam, (UNUM32 hMod, UNUM32 hCLL, UNUM32 id, PDU_PARAM_ITEM** item), Module(hMod),
        Link(hCLL), id, item)
FORWARD(PDUSetComParam, (UNUM32 hMod, UNUM32 hCLL, PDU_PARAM_ITEM* item), Module(hMod), Link(hCLL),
        item)
FORWARD(PDUGetUniqueRespIdTable, (UNUM32 hMod, UNUM32 hCLL, PDU_UNIQUE_RESP_ID_TABLE_ITEM** table),
        Module(hMod), Link(hCLL), table)
FORWARD(PDUSetUniqueRespIdTable, (UNUM32 hMod, UNUM32 hCLL, PDU_UNIQUE_RESP_ID_TABLE_ITEM* table),
        Module(hMod), Link(hCLL), table)

FAULT_PDU_EXPORT T_PDU_ERROR PDUAPI PDUDisconnect(UNUM32 hMod, UNUM32 hCLL) {
  It().Before(hMod, hCLL);
  return Call(kPDUDisconnect, [&] { return It().real.PDUDisconnect(Module(hMod), Link(hCLL)); });
}

FAULT_PDU_EXPORT T_PDU_ERROR PDUAPI PDUIoCtl(UNUM32 hMod, UNUM32 hCLL, UNUM32 command,
                                             PDU_DATA_ITEM* input, PDU_DATA_ITEM** output) {
  It().Before(hMod, hCLL);
  const auto body = [&] {
    return It().real.PDUIoCtl(Module(hMod), Link(hCLL), command, input, output);
  };
  return Call(kPDUIoCtl, body, output);
}

FAULT_PDU_EXPORT T_PDU_ERROR PDUAPI PDUConstruct(CHAR8* options, void* apiTag) {
  return Call(kPDUConstruct, [&] {
    // The file would have been loaded anew.
    if (It().destructMissing.exchange(false)) It().real.PDUDestruct();
    const std::scoped_lock lock(It().handleLock, It().callbackLock);
    It().quirk = It().nextQuirk.load();
    for (HandleMap* const map : {&It().modules, &It().links, &It().cops}) map->Clear();
    It().callbacks.clear();
    It().linkTags.clear();
    It().apiTag = apiTag;
    return It().real.PDUConstruct(options, apiTag);
  });
}

FAULT_PDU_EXPORT T_PDU_ERROR PDUAPI PDUDestruct() {
  It().Before(PDU_HANDLE_UNDEF, PDU_HANDLE_UNDEF);
  It().destructMissing = true;
  return Call(kPDUDestruct, [&] {
    It().destructMissing = false;
    return It().real.PDUDestruct();
  });
}

FAULT_PDU_EXPORT T_PDU_ERROR PDUAPI PDUModuleDisconnect(UNUM32 hMod) {
  It().Before(hMod, PDU_HANDLE_UNDEF);
  return Call(kPDUModuleDisconnect, [&] { return It().real.PDUModuleDisconnect(Module(hMod)); });
}

FAULT_PDU_EXPORT T_PDU_ERROR PDUAPI PDUGetModuleIds(PDU_MODULE_ITEM** list) {
  const auto body = [&] {
    const T_PDU_ERROR result = It().real.PDUGetModuleIds(list);
    if (result != PDU_STATUS_NOERROR) return result;
    for (UNUM32 i = 0; i < (*list)->NumEntries; ++i) {
      UNUM32& handle = (*list)->pModuleData[i].hMod;
      handle = It().Application(It().modules, handle);
    }
    return result;
  };
  return Call(kPDUGetModuleIds, body, list);
}

FAULT_PDU_EXPORT T_PDU_ERROR PDUAPI PDURegisterEventCallback(UNUM32 hMod, UNUM32 hCLL,
                                                             CALLBACKFNC callback) {
  return Call(kPDURegisterEventCallback, [&] {
    {
      const std::lock_guard lock(It().callbackLock);
      It().callbacks[{hMod, hCLL}] = callback;
    }
    return It().real.PDURegisterEventCallback(Module(hMod), Link(hCLL),
                                              callback != nullptr ? &Relay : nullptr);
  });
}

FAULT_PDU_EXPORT T_PDU_ERROR PDUAPI PDUCreateComLogicalLink(UNUM32 hMod, PDU_RSC_DATA* data,
                                                            UNUM32 resource, void* tag,
                                                            UNUM32* hCLL, PDU_FLAG_DATA* flags) {
  const auto body = [&] {
    const T_PDU_ERROR result =
        It().real.PDUCreateComLogicalLink(Module(hMod), data, resource, tag, hCLL, flags);
    if (result != PDU_STATUS_NOERROR) return result;
    *hCLL = It().Application(It().links, *hCLL);
    const std::lock_guard lock(It().callbackLock);
    It().linkTags[{hMod, *hCLL}] = tag;
    return result;
  };
  return Call(kPDUCreateComLogicalLink, body, hCLL);
}

FAULT_PDU_EXPORT T_PDU_ERROR PDUAPI PDUDestroyComLogicalLink(UNUM32 hMod, UNUM32 hCLL) {
  It().Before(hMod, hCLL);
  return Call(kPDUDestroyComLogicalLink, [&] {
    const UNUM32 real = Link(hCLL);
    const T_PDU_ERROR result = It().real.PDUDestroyComLogicalLink(Module(hMod), real);
    if (result != PDU_STATUS_NOERROR) return result;
    const std::scoped_lock lock(It().handleLock, It().callbackLock);
    It().links.Free(real);
    It().callbacks.erase({hMod, hCLL});
    It().linkTags.erase({hMod, hCLL});
    return result;
  });
}

FAULT_PDU_EXPORT T_PDU_ERROR PDUAPI PDUConnect(UNUM32 hMod, UNUM32 hCLL) {
  It().Before(hMod, hCLL);
  const T_PDU_ERROR result =
      Call(kPDUConnect, [&] { return It().real.PDUConnect(Module(hMod), Link(hCLL)); });
  It().After(hMod, hCLL);
  return result;
}

FAULT_PDU_EXPORT T_PDU_ERROR PDUAPI PDUStartComPrimitive(UNUM32 hMod, UNUM32 hCLL, T_PDU_COPT type,
                                                         UNUM32 size, UNUM8* bytes,
                                                         PDU_COP_CTRL_DATA* control, void* tag,
                                                         UNUM32* hCoP) {
  const auto body = [&] {
    const UNUM32 module = Module(hMod);
    const UNUM32 link = Link(hCLL);
    // Held, so that nobody translates an event of the ComPrimitive before it has its handle.
    std::unique_lock lock(It().handleLock, std::defer_lock);
    if (It().Maps()) lock.lock();
    const T_PDU_ERROR result =
        It().real.PDUStartComPrimitive(module, link, type, size, bytes, control, tag, hCoP);
    if (result == PDU_STATUS_NOERROR && lock) *hCoP = It().cops.ToApplication(*hCoP);
    return result;
  };
  const T_PDU_ERROR result = Call(kPDUStartComPrimitive, body, hCoP);
  It().After(hMod, hCLL);
  return result;
}

FAULT_PDU_EXPORT T_PDU_ERROR PDUAPI PDUCancelComPrimitive(UNUM32 hMod, UNUM32 hCLL, UNUM32 hCoP) {
  It().Before(hMod, hCLL);
  const T_PDU_ERROR result = Call(kPDUCancelComPrimitive, [&] {
    return It().real.PDUCancelComPrimitive(Module(hMod), Link(hCLL), Cop(hCoP));
  });
  It().After(hMod, hCLL);
  return result;
}

FAULT_PDU_EXPORT T_PDU_ERROR PDUAPI PDUGetEventItem(UNUM32 hMod, UNUM32 hCLL,
                                                    PDU_EVENT_ITEM** item) {
  const auto body = [&] {
    const T_PDU_ERROR result = It().real.PDUGetEventItem(Module(hMod), Link(hCLL), item);
    if (result == PDU_STATUS_NOERROR) Translate(**item);
    return result;
  };
  return Call(kPDUGetEventItem, body, item);
}
