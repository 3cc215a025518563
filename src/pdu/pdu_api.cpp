#include "pdu/pdu_api.h"

#include <optional>

#include "platform/dynamic_library.h"
#include "platform/never_destroyed.h"
#include "platform/registry.h"

namespace passbridge::pdu {

namespace {

constexpr const char* kSupportKey = "SOFTWARE\\QUARN\\QUARN_VCI\\PDU API Support";
constexpr std::size_t kMaxPath = 259;

platform::DynamicLibrary& LoadedLibrary() {
  // What is still loaded when a process ends is not unloaded under its threads.
  static platform::NeverDestroyed<platform::DynamicLibrary> library;
  return library.Get();
}

}  // namespace

FunctionTable& Api() {
  static FunctionTable table;
  return table;
}

platform::RecursiveMutex& PduApiLock() {
  static platform::NeverDestroyed<platform::RecursiveMutex> lock;
  return lock.Get();
}

std::string ReadFunctionLibraryPath() {
  const std::optional<platform::RegistryKey> key = platform::RegistryKey::Open(
      platform::RegistryRoot::Machine, kSupportKey, platform::RegistryAccess::Read);
  return key ? key->ReadText("FunctionLibrary", kMaxPath).value_or(std::string()) : std::string();
}

bool BindPduApi(const SymbolSource& symbols) {
  FunctionTable& table = Api();
  bool complete = true;
#define PASSBRIDGE_PDU_BIND(name, required)                  \
  table.name = reinterpret_cast<PFN_##name>(symbols(#name)); \
  complete = complete && (!(required) || table.name != nullptr);
  PASSBRIDGE_PDU_FUNCTIONS(PASSBRIDGE_PDU_BIND)
#undef PASSBRIDGE_PDU_BIND
  return complete;
}

bool LoadPduApi(const std::string& path) {
  platform::DynamicLibrary& library = LoadedLibrary();
  library = platform::DynamicLibrary::Open(path);
  if (!library) return false;
  return BindPduApi([&library](const char* name) { return library.Symbol(name); });
}

void UnloadPduApi() { LoadedLibrary().Close(); }

}  // namespace passbridge::pdu
