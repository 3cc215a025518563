#include "support/scripted_pdu.h"

#include <atomic>
#include <cstring>

#include "pdu/com_param.h"
#include "pdu/pdu_api.h"

namespace passbridge::test {

namespace {

std::atomic<ScriptedPdu*> current{nullptr};

/// The C function behind an entry point of the table.
template <typename Function, ScriptedFunction<Function> ScriptedPdu::*member>
struct Thunk;

template <typename... Args, ScriptedFunction<T_PDU_ERROR PDUAPI(Args...)> ScriptedPdu::*member>
struct Thunk<T_PDU_ERROR PDUAPI(Args...), member> {
  static T_PDU_ERROR PDUAPI Call(Args... args) {
    ScriptedPdu* const pdu = current.load();
    return pdu != nullptr ? (pdu->*member).Invoke(args...)
                          : T_PDU_ERROR{PDU_ERR_PDUAPI_NOT_CONSTRUCTED};
  }
};

/// First identifier of each object type. ComParams begin at 1: channels index by them up to 199.
UNUM32 FirstId(T_PDU_OBJT type) {
  return type == PDU_OBJT_COMPARAM ? 1 : (type - PDU_OBJT_PROTOCOL + 4) * 0x100;
}

bool EndsByItself(const StartedCop& cop) {
  return cop.control.NumSendCycles != PDU_CYCLES_INFINITE &&
         (cop.control.NumSendCycles != 0 || cop.control.NumReceiveCycles >= 0 ||
          cop.type != PDU_COPT_SENDRECV);
}

ParamSpec ValueOf(const PDU_PARAM_ITEM& item) {
  ParamSpec given{item.ComParamDataType, {}, 0};
  if (item.ComParamDataType == PDU_PT_BYTEFIELD || item.ComParamDataType == PDU_PT_LONGFIELD) {
    const auto* const field = static_cast<const PDU_PARAM_BYTEFIELD_DATA*>(item.pComParamData);
    const UNUM32 width = item.ComParamDataType == PDU_PT_LONGFIELD ? sizeof(UNUM32) : 1;
    given.maxLength = field->ParamMaxLen;
    given.bytes.assign(field->pDataArray, field->pDataArray + field->ParamActLen * width);
    return given;
  }
  static constexpr UNUM32 kWidths[] = {1, 1, 2, 2, 4, 4};
  const UNUM32 index = item.ComParamDataType - PDU_PT_UNUM8;
  const UNUM32 width = index < std::size(kWidths) ? kWidths[index] : 0;
  given.bytes.assign(sizeof(UNUM32), 0);
  std::memcpy(given.bytes.data(), item.pComParamData, width);
  return given;
}

}  // namespace

ScriptedPdu::ScriptedPdu() {
  SetModuleActions();
  SetObjectActions();
  SetLinkActions();
  SetParamActions();
  SetCopActions();
  SetEventActions();
  SetIoActions();
  Bind();
}

ScriptedPdu::~ScriptedPdu() { current = nullptr; }

void ScriptedPdu::Bind() {
  current = this;
  pdu::ForgetPduObjectIds();
  BindWithout("");
}

void ScriptedPdu::BindWithout(const std::string& missing) {
  const std::map<std::string, void*> entries{
#define PASSBRIDGE_SCRIPTED_ENTRY(name, required) \
  {#name, reinterpret_cast<void*>(&Thunk<FN_##name, &ScriptedPdu::name>::Call)},
      PASSBRIDGE_PDU_FUNCTIONS(PASSBRIDGE_SCRIPTED_ENTRY)
#undef PASSBRIDGE_SCRIPTED_ENTRY
  };
  pdu::BindPduApi([&](const char* name) { return name != missing ? entries.at(name) : nullptr; });
}

void ScriptedPdu::SetModuleActions() {
  PDUConstruct.SetBuiltIn([this](CHAR8*, void* tag) {
    const std::lock_guard<std::mutex> lock(lock_);
    apiTag_ = tag;
    return PDU_STATUS_NOERROR;
  });
  PDUGetModuleIds.SetBuiltIn([this](PDU_MODULE_ITEM** list) {
    const std::lock_guard<std::mutex> lock(lock_);
    *list = items_.MakeModuleList(modules_);
    return PDU_STATUS_NOERROR;
  });
  PDUGetVersion.SetBuiltIn([this](UNUM32, PDU_VERSION_DATA* version) {
    const std::lock_guard<std::mutex> lock(lock_);
    *version = version_;
    return PDU_STATUS_NOERROR;
  });
  PDUGetStatus.SetBuiltIn(
      [this](UNUM32, UNUM32, UNUM32, T_PDU_STATUS* status, UNUM32* timestamp, UNUM32* extra) {
    const std::lock_guard<std::mutex> lock(lock_);
    if (status != nullptr) *status = moduleStatus_;
    if (timestamp != nullptr) *timestamp = timestamp_;
    if (extra != nullptr) *extra = moduleExtraInfo_;
    return PDU_STATUS_NOERROR;
  });
  PDUGetTimestamp.SetBuiltIn([this](UNUM32, UNUM32* timestamp) {
    const std::lock_guard<std::mutex> lock(lock_);
    *timestamp = timestamp_;
    return PDU_STATUS_NOERROR;
  });
}

void ScriptedPdu::SetObjectActions() {
  PDUGetObjectId.SetBuiltIn([this](T_PDU_OBJT type, CHAR8* name, UNUM32* id) {
    const std::lock_guard<std::mutex> lock(lock_);
    *id = IdOfLocked(type, name);
    return PDU_STATUS_NOERROR;
  });
  PDUGetObjectIds.SetBuiltIn([this](T_PDU_OBJT type, UNUM32 count, CHAR8** names, UNUM32** ids) {
    const std::lock_guard<std::mutex> lock(lock_);
    for (UNUM32 i = 0; i < count; ++i) *ids[i] = IdOfLocked(type, names[i]);
    return PDU_STATUS_NOERROR;
  });
}

void ScriptedPdu::SetLinkActions() {
  PDUCreateComLogicalLink.SetBuiltIn(
      [this](UNUM32 hMod, PDU_RSC_DATA*, UNUM32, void* tag, UNUM32* hCLL, PDU_FLAG_DATA*) {
    const std::lock_guard<std::mutex> lock(lock_);
    *hCLL = nextLink_++;
    linkTags_[{hMod, *hCLL}] = tag;
    return PDU_STATUS_NOERROR;
  });
  PDUDestroyComLogicalLink.SetBuiltIn([this](UNUM32 hMod, UNUM32 hCLL) {
    const std::lock_guard<std::mutex> lock(lock_);
    for (const PDU_EVENT_ITEM* const item : queues_[{hMod, hCLL}]) items_.Destroy(item);
    queues_.erase({hMod, hCLL});
    callbacks_.erase({hMod, hCLL});
    return PDU_STATUS_NOERROR;
  });
}

void ScriptedPdu::SetParamActions() {
  PDUGetComParam.SetBuiltIn([this](UNUM32, UNUM32, UNUM32 id, PDU_PARAM_ITEM** item) {
    const std::lock_guard<std::mutex> lock(lock_);
    *item = items_.MakeParam(id, params_[id]);
    return PDU_STATUS_NOERROR;
  });
  PDUSetComParam.SetBuiltIn([this](UNUM32, UNUM32, PDU_PARAM_ITEM* item) {
    const std::lock_guard<std::mutex> lock(lock_);
    params_[item->ComParamId] = ValueOf(*item);
    return PDU_STATUS_NOERROR;
  });
}

void ScriptedPdu::SetCopActions() {
  PDUStartComPrimitive.SetBuiltIn(
      [this](UNUM32 hMod, UNUM32 hCLL, T_PDU_COPT type, UNUM32 size, UNUM8* data,
             PDU_COP_CTRL_DATA* control, void* tag, UNUM32* hCoP) {
    StartedCop cop{hMod, hCLL, 0, type, {data, data + size}, {}, {}, tag};
    if (control != nullptr) {
      cop.control = *control;
      const PDU_FLAG_DATA& flags = control->TxFlag;
      cop.txFlags.assign(flags.pFlagData, flags.pFlagData + flags.NumFlagBytes);
      cop.control.TxFlag = {};
      cop.control.pExpectedResponseArray = nullptr;
    }
    return Start(std::move(cop), hCoP);
  });
  PDUCancelComPrimitive.SetBuiltIn([this](UNUM32 hMod, UNUM32 hCLL, UNUM32 hCoP) {
    Deliver(hMod, hCLL, items_.MakeStatus(PDU_COPST_CANCELLED, hCoP));
    return PDU_STATUS_NOERROR;
  });
}

T_PDU_ERROR ScriptedPdu::Start(StartedCop cop, UNUM32* phCoP) {
  bool finishes = false;
  {
    const std::lock_guard<std::mutex> lock(lock_);
    cop.hCoP = nextCop_++;
    *phCoP = cop.hCoP;
    finishes = finishCops_ && EndsByItself(cop);
    cops_.push_back(cop);
  }
  Deliver(cop.hMod, cop.hCLL, items_.MakeStatus(PDU_COPST_EXECUTING, cop.hCoP, cop.tag));
  if (finishes) {
    Deliver(cop.hMod, cop.hCLL, items_.MakeStatus(PDU_COPST_FINISHED, cop.hCoP, cop.tag));
  }
  return PDU_STATUS_NOERROR;
}

void ScriptedPdu::SetEventActions() {
  PDURegisterEventCallback.SetBuiltIn([this](UNUM32 hMod, UNUM32 hCLL, CALLBACKFNC callback) {
    const std::lock_guard<std::mutex> lock(lock_);
    callbacks_[{hMod, hCLL}] = callback;
    return PDU_STATUS_NOERROR;
  });
  PDUGetEventItem.SetBuiltIn(
      [this](UNUM32 hMod, UNUM32 hCLL, PDU_EVENT_ITEM** item) -> T_PDU_ERROR {
        const std::lock_guard<std::mutex> lock(lock_);
        auto& queue = queues_[{hMod, hCLL}];
        if (queue.empty()) return PDU_ERR_EVENT_QUEUE_EMPTY;
        *item = queue.front();
        queue.pop_front();
        return PDU_STATUS_NOERROR;
      });
  PDUDestroyItem.SetBuiltIn([this](PDU_ITEM* item) { return items_.Destroy(item); });
}

void ScriptedPdu::SetIoActions() {
  PDUIoCtl.SetBuiltIn(
      [this](UNUM32, UNUM32, UNUM32 control, PDU_DATA_ITEM*, PDU_DATA_ITEM** output) {
    const std::lock_guard<std::mutex> lock(lock_);
    if (output != nullptr) *output = items_.MakeIoNumber(ioValues_[control]);
    return PDU_STATUS_NOERROR;
  });
}

void ScriptedPdu::SetModules(std::vector<ModuleSpec> modules) {
  const std::lock_guard<std::mutex> lock(lock_);
  modules_ = std::move(modules);
}

void ScriptedPdu::SetIoValue(const std::string& control, UNUM32 value) {
  const std::lock_guard<std::mutex> lock(lock_);
  ioValues_[IdOfLocked(PDU_OBJT_IO_CTRL, control)] = value;
}

void ScriptedPdu::SetVersion(const PDU_VERSION_DATA& version) {
  const std::lock_guard<std::mutex> lock(lock_);
  version_ = version;
}

void ScriptedPdu::SetModuleStatus(T_PDU_STATUS status, UNUM32 extraInfo) {
  const std::lock_guard<std::mutex> lock(lock_);
  moduleStatus_ = status;
  moduleExtraInfo_ = extraInfo;
}

void ScriptedPdu::SetTimestamp(UNUM32 microseconds) {
  const std::lock_guard<std::mutex> lock(lock_);
  timestamp_ = microseconds;
}

void ScriptedPdu::SetComParam(const std::string& name, ParamSpec value) {
  const std::lock_guard<std::mutex> lock(lock_);
  params_[IdOfLocked(PDU_OBJT_COMPARAM, name)] = std::move(value);
}

void ScriptedPdu::FinishComPrimitives(bool finish) {
  const std::lock_guard<std::mutex> lock(lock_);
  finishCops_ = finish;
}

UNUM32 ScriptedPdu::IdOf(T_PDU_OBJT type, const std::string& name) {
  const std::lock_guard<std::mutex> lock(lock_);
  return IdOfLocked(type, name);
}

UNUM32 ScriptedPdu::IdOfLocked(T_PDU_OBJT type, const std::string& name) {
  const auto [id, isNew] = ids_.try_emplace({type, name}, 0);
  if (isNew) id->second = nextIds_.try_emplace(type, FirstId(type)).first->second++;
  return id->second;
}

UNUM32 ScriptedPdu::ComParamValue(const std::string& name) {
  const std::lock_guard<std::mutex> lock(lock_);
  return params_[IdOfLocked(PDU_OBJT_COMPARAM, name)].FirstWord();
}

std::vector<StartedCop> ScriptedPdu::StartedCops() const {
  const std::lock_guard<std::mutex> lock(lock_);
  return cops_;
}

void* ScriptedPdu::ApiTag() const {
  const std::lock_guard<std::mutex> lock(lock_);
  return apiTag_;
}

CALLBACKFNC ScriptedPdu::CallbackOf(UNUM32 hMod, UNUM32 hCLL) const {
  const std::lock_guard<std::mutex> lock(lock_);
  const auto found = callbacks_.find({hMod, hCLL});
  return found != callbacks_.end() ? found->second : nullptr;
}

UNUM32 ScriptedPdu::LastLink() const {
  const std::lock_guard<std::mutex> lock(lock_);
  return nextLink_ - 1;
}

void ScriptedPdu::Queue(UNUM32 hMod, UNUM32 hCLL, PDU_EVENT_ITEM* item) {
  const std::lock_guard<std::mutex> lock(lock_);
  queues_[{hMod, hCLL}].push_back(item);
}

void ScriptedPdu::Deliver(UNUM32 hMod, UNUM32 hCLL, PDU_EVENT_ITEM* item) {
  bool wasEmpty = false;
  {
    const std::lock_guard<std::mutex> lock(lock_);
    auto& queue = queues_[{hMod, hCLL}];
    wasEmpty = queue.empty();
    queue.push_back(item);
  }
  if (wasEmpty) Signal(hMod, hCLL);
}

void ScriptedPdu::Signal(UNUM32 hMod, UNUM32 hCLL, T_PDU_EVT_DATA event) {
  CALLBACKFNC callback = nullptr;
  void* linkTag = nullptr;
  void* apiTag = nullptr;
  {
    const std::lock_guard<std::mutex> lock(lock_);
    const auto found = callbacks_.find({hMod, hCLL});
    if (found != callbacks_.end()) callback = found->second;
    const auto tag = linkTags_.find({hMod, hCLL});
    if (tag != linkTags_.end()) linkTag = tag->second;
    apiTag = apiTag_;
  }
  if (callback != nullptr) callback(event, hMod, hCLL, linkTag, apiTag);
}

}  // namespace passbridge::test
