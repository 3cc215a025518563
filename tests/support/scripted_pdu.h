#ifndef PASSBRIDGE_SUPPORT_SCRIPTED_PDU_H_
#define PASSBRIDGE_SUPPORT_SCRIPTED_PDU_H_

#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "passbridge/d_pdu_api.h"
#include "passbridge/d_pdu_functions.h"
#include "support/call_log.h"
#include "support/item_store.h"
#include "support/scripted_function.h"

namespace passbridge::test {

/// A ComPrimitive as it was started. Pointers of the call are gone: what they led to is copied.
struct StartedCop {
  UNUM32 hMod;
  UNUM32 hCLL;
  UNUM32 hCoP;
  T_PDU_COPT type;
  std::vector<UNUM8> data;
  PDU_COP_CTRL_DATA control;
  std::vector<UNUM8> txFlags;
  void* tag;
};

/// A D-PDU library that obeys a test: bound into the function table of the process for as long as
/// it lives (one at a time), it logs every call, gives the results it is told to, and hands out
/// items that it counts.
///
///   ScriptedPdu pdu;
///   pdu.PDUModuleConnect.Next({PDU_ERR_DEVICE_IN_USE});
///   pdu.PDUIoCtl.Does([&](UNUM32, UNUM32, UNUM32, PDU_DATA_ITEM*, PDU_DATA_ITEM** out) {
///     *out = pdu.Items().MakeIoNumber(12000);
///     return PDU_STATUS_NOERROR; });
///   …
///   EXPECT_EQ(pdu.Items().Alive(), 0u);
///
/// Untold, every call succeeds and does the obvious: handles are given out (links from 0x100,
/// ComPrimitives from 0x1000), identifiers are given to every name, ComParams keep their values,
/// event queues work, and a ComPrimitive that ends by itself is executed and finished at once, with
/// its events signalled inside PDUStartComPrimitive. No lock is held during a callback.
class ScriptedPdu {
  CallLog calls_;  // before the entry points, which log into it

 public:
  ScriptedPdu();
  ScriptedPdu(const ScriptedPdu&) = delete;
  ScriptedPdu& operator=(const ScriptedPdu&) = delete;
  ~ScriptedPdu();

  CallLog& Calls() { return calls_; }
  ItemStore& Items() { return items_; }

  // ---- what the built-in actions answer ----

  void SetModules(std::vector<ModuleSpec> modules);
  /// Output of an I/O control that asks for one, by its short name; else 0.
  void SetIoValue(const std::string& control, UNUM32 value);
  void SetVersion(const PDU_VERSION_DATA& version);
  void SetModuleStatus(T_PDU_STATUS status, UNUM32 extraInfo = 0);
  void SetTimestamp(UNUM32 microseconds);
  /// Value and type of a ComParam on every link; else an UNUM32 of 0.
  void SetComParam(const std::string& name, ParamSpec value);
  /// Whether ComPrimitives that end by themselves finish at once (they do, untold).
  void FinishComPrimitives(bool finish);

  /// Binds all entry points but one, which is an optional one.
  void BindWithout(const std::string& missing);

  // ---- what happened ----

  /// Identifier of a name; the same as the library gives. ComParams have 1 to 199.
  UNUM32 IdOf(T_PDU_OBJT type, const std::string& name);
  /// First word of the ComParam's present value.
  UNUM32 ComParamValue(const std::string& name);
  std::vector<StartedCop> StartedCops() const;
  void* ApiTag() const;
  CALLBACKFNC CallbackOf(UNUM32 hMod, UNUM32 hCLL) const;

  // ---- events ----

  /// Puts an item of Items() into a queue (hCLL PDU_HANDLE_UNDEF: the module's) and signals it with
  /// PDU_EVT_DATA_AVAILABLE on this thread, when the queue was empty.
  void Deliver(UNUM32 hMod, UNUM32 hCLL, PDU_EVENT_ITEM* item);
  /// The same without the signal.
  void Queue(UNUM32 hMod, UNUM32 hCLL, PDU_EVENT_ITEM* item);
  /// Calls the callback that is registered for the queue, if there is one.
  void Signal(UNUM32 hMod, UNUM32 hCLL, T_PDU_EVT_DATA event = PDU_EVT_DATA_AVAILABLE);
  /// Handle of the link that was created last.
  UNUM32 LastLink() const;

  // ---- the 32 entry points ----

#define PASSBRIDGE_SCRIPTED_MEMBER(name, required) ScriptedFunction<FN_##name> name{calls_, #name};
  PASSBRIDGE_PDU_FUNCTIONS(PASSBRIDGE_SCRIPTED_MEMBER)
#undef PASSBRIDGE_SCRIPTED_MEMBER

 private:
  using Endpoint = std::pair<UNUM32, UNUM32>;  // module and link
  using Object = std::pair<T_PDU_OBJT, std::string>;

  void Bind();
  void SetModuleActions();
  void SetObjectActions();
  void SetLinkActions();
  void SetParamActions();
  void SetCopActions();
  void SetEventActions();
  void SetIoActions();

  UNUM32 IdOfLocked(T_PDU_OBJT type, const std::string& name);
  T_PDU_ERROR Start(StartedCop cop, UNUM32* phCoP);

  ItemStore items_;
  mutable std::mutex lock_;  // guards everything below
  std::vector<ModuleSpec> modules_{ModuleSpec{}};
  std::map<Object, UNUM32> ids_;
  std::map<T_PDU_OBJT, UNUM32> nextIds_;
  std::map<UNUM32, UNUM32> ioValues_;
  std::map<UNUM32, ParamSpec> params_;
  std::map<Endpoint, CALLBACKFNC> callbacks_;
  std::map<Endpoint, void*> linkTags_;
  std::map<Endpoint, std::deque<PDU_EVENT_ITEM*>> queues_;
  std::vector<StartedCop> cops_;
  PDU_VERSION_DATA version_{};
  T_PDU_STATUS moduleStatus_ = PDU_MODST_READY;
  UNUM32 moduleExtraInfo_ = 0;
  UNUM32 timestamp_ = 0;
  UNUM32 nextLink_ = 0x100;
  UNUM32 nextCop_ = 0x1000;
  bool finishCops_ = true;
  void* apiTag_ = nullptr;
};

}  // namespace passbridge::test

#endif  // PASSBRIDGE_SUPPORT_SCRIPTED_PDU_H_
